#include "modules/channeltool/channeltool.h"

#include <algorithm>
#include <cmath>

#include "base/exception.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/blockstages.h"
#include "kernel/storecontext.h"
#include "modules/dsp/vectorops.h"

namespace {

// The panorama law is a gain around 6 dB: at 6 dB the pan is plain, so the factor handed to
// the stage is the law's linear value divided by that of 6 dB.
const double kPlainLawFactor = std::pow(10.0, 6.0 / 20.0);

RArray<RString> AttenuationItems() {
  RArray<RString> items;
  for (const char* text : {"-6dB / octave", "-12dB / octave", "-18dB / octave", "-24dB / octave", "-30dB / octave",
                           "-36dB / octave"}) {
    items.Add(RString::FromUTF8(text));
  }
  return items;
}

std::unique_ptr<RBoolValue> Switch(RAudioPluginBase* owner, const char* label, const char* key,
                                   const char* description) {
  return std::make_unique<RBoolValue>(owner, RString::FromUTF8(label), false, RString::FromUTF8(key),
                                      RString::FromUTF8(description));
}

} // namespace

RChannelTool::RChannelTool() : RAudioPlugin(RString("ChannelTool")) {
  // Values enter the parameter table in the order they are made.
  volume_ = std::make_unique<RVolumeValue>(this, RString("Volume"), 1.0, 1.0, RString(),
                                           RString("Output level of the strip."));
  gain_ = std::make_unique<RGainValue>(this, RString("Gain"), -24.0, 24.0, 0.0, RString(), RString(),
                                       RString("Gain of the strip."));
  gain_->SetAltName(RString("Input"));
  panorama_ = std::make_unique<RPanValue>(this, RString("Panorama"), -1.0, 1.0, 0.0, RString("panorama"),
                                          RString("Moves the stereo image to one side."));
  panoramaLaw_ = std::make_unique<RGainValue>(this, RString("Panorama law"), -12.0, 12.0, 6.0, RString(),
                                              RString("panlaw2"),
                                              RString("Level towards the sides: 6 dB keeps the sum of both channels "
                                                      "at every position, more makes the sides louder."));
  panoramaLeft_ = std::make_unique<RPanValue>(this, RString("Panorama left"), -1.0, 1.0, -1.0,
                                              RString("panoramaleft"), RString("Where the left input is placed."));
  panoramaRight_ = std::make_unique<RPanValue>(this, RString("Panorama right"), -1.0, 1.0, 1.0,
                                               RString("panoramaright"), RString("Where the right input is placed."));
  volumeLeft_ = std::make_unique<RVolumeValue>(this, RString("Volume left"), 2.0, 1.0, RString("VolumeLeft"),
                                               RString("Level of the left channel."));
  volumeRight_ = std::make_unique<RVolumeValue>(this, RString("Volume right"), 2.0, 1.0, RString("VolumeRight"),
                                                RString("Level of the right channel."));
  invertLeft_ = Switch(this, "Invert left channel", "InvertLeft", "Turns the left channel upside down.");
  invertRight_ = Switch(this, "Invert right channel", "InvertRight", "Turns the right channel upside down.");
  swapLeftRight_ = Switch(this, "Swap left and right", "SwapLeftRight", "Exchanges the two channels.");
  silencePlaybackOn_ = Switch(this, "Silence when playback is ON", "SilencePlaybackOn",
                              "Mutes the output while the host plays.");
  silencePlaybackOff_ = Switch(this, "Silence when playback is OFF", "SilencePlaybackOff",
                               "Mutes the output while the host stands still.");
  silenceOnline_ = Switch(this, "Silence when REALTIME", "SilenceOnline", "Mutes the output in real-time playback.");
  silenceOffline_ = Switch(this, "Silence when OFFLINE", "SilenceOffline", "Mutes the output in an offline render.");

  dcBlocker_ = Switch(this, "DC blocker", "DCBlocker", "Removes any offset of the signal.");
  dcQuality_ = std::make_unique<RPercentValue>(this, RString("Quality"), 0.0, 1.0, 0.5, RString("DCBlockerQuality"),
                                               RString("Higher quality lowers the corner: less effect on the bass, "
                                                       "slower to settle."));
  dcAttenuation_ = std::make_unique<RModuleChoiceValue>(this, RString("Attenuation"), AttenuationItems(), 0,
                                                        RString("DCBlockerAttenuation"),
                                                        RString("Steepness of the DC blocker."));

  delayEnabled_ = Switch(this, "Delay", "DelayEnabled", "Delays the signal.");
  delaySamples_ = std::make_unique<RIntegerValue>(this, RString("Samples"), 0, kMaxDelaySamples, 0,
                                                  RString("DelaySamples"), RString("Delay in samples."));
  delayMilliseconds_ = std::make_unique<RTimeValue>(this, RString("Milliseconds"), 0.0, kMaxDelaySeconds, 0.0,
                                                    RString(), RString("DelayMilliseconds"),
                                                    RString("Delay in time, added to the samples."));
  delayReportLatency_ = Switch(this, "Report as latency", "DelayReportLatency",
                               "Tells the host about the delay, so that it plays the track earlier.");

  rmsEnabled_ = Switch(this, "RMS", "RMSEnabled", "Turns the signal into its RMS level.");
  rmsLength_ = std::make_unique<RTimeValue>(this, RString("Length"), 0.0, kMaxRMSSeconds, 0.01, RString(),
                                            RString("RMSLength"), RString("Window of the RMS level."));
  rmsHold_ = std::make_unique<RTimeValue>(this, RString("Hold"), 0.0, 1.0, 0.0, RString(), RString("RMSHold"),
                                          RString("How long a peak of the level is held."));

  envelopeEnabled_ = Switch(this, "Envelope", "EnvelopeEnabled", "Turns the signal into its envelope.");
  attack_ = std::make_unique<RTimeValue>(this, RString("Attack"), 0.0, 1.0, 0.0, RString(), RString(),
                                         RString("Rise time of the envelope."));
  release_ = std::make_unique<RTimeValue>(this, RString("Release"), 0.0, 1.0, 0.1, RString(), RString(),
                                          RString("Fall time of the envelope."));

  mathEnabled_ = Switch(this, "Math", "MathEnabled", "Adds an offset and bends the signal's curve.");
  mathAdd_ = std::make_unique<RRealValue>(this, RString("Add"), -1.0, 1.0, 0.0, RString("{+0.3}"), RString(),
                                          RString("Offset added to the signal."));
  mathExp_ = std::make_unique<RPercentValue>(this, RString("Exp"), 0.0, 1.0, 0.0, RString(),
                                             RString("Blend towards exponential shaping: small values get smaller."));
  mathLog_ = std::make_unique<RPercentValue>(this, RString("Log"), 0.0, 1.0, 0.0, RString(),
                                             RString("Blend towards logarithmic shaping: small values get larger."));
  mathBase_ = std::make_unique<RModuleChoiceValue>(this, RString("Base"), RChannelMath::BaseItems(), 0, RString(),
                                                   RString("How strongly Exp and Log bend."));

  expressionEnabled_ = Switch(this, "Expression", "ExpressionEnabled",
                              "Runs each sample through a formula of x, p1 and p2.");
  param1_ = std::make_unique<RRealValue>(this, RString("Param1"), 0.0, 1.0, 0.0, RString("{0.3}"), RString(),
                                         RString("The value of p1 in the expression."));
  param2_ = std::make_unique<RRealValue>(this, RString("Param2"), 0.0, 1.0, 0.0, RString("{0.3}"), RString(),
                                         RString("The value of p2 in the expression."));

  coder_ = Switch(this, "Coder", "Coder", "Converts between left/right and mid/side.");
  coderMode_ = std::make_unique<RModuleChoiceValue>(this, RString("CoderMode"), CoderModeItems(), 0, RString(),
                                                    RString("What the coder turns the pair into."));

  // Values that Process reads as they stand need no Update, which would otherwise run on
  // every sub-block of a gain ramp.
  for (RValue* value : std::initializer_list<RValue*>{
           volume_.get(), gain_.get(), panorama_.get(), panoramaLaw_.get(), panoramaLeft_.get(), panoramaRight_.get(),
           volumeLeft_.get(), volumeRight_.get(), invertLeft_.get(), invertRight_.get(), swapLeftRight_.get(),
           silencePlaybackOn_.get(), silencePlaybackOff_.get(), silenceOnline_.get(), silenceOffline_.get(),
           dcBlocker_.get(), rmsEnabled_.get(), envelopeEnabled_.get(), mathEnabled_.get(), expressionEnabled_.get(),
           param1_.get(), param2_.get(), coder_.get(), coderMode_.get()}) {
    value->SetFlag(RValue::kNeedsSetup, false);
  }
  for (RValue* value : std::initializer_list<RValue*>{delayEnabled_.get(), delaySamples_.get(),
                                                      delayMilliseconds_.get(), delayReportLatency_.get()}) {
    value->Changed.Subscribe(this, nullptr, 0, &RChannelTool::DelaySettingChanged);
  }

  expression_ = std::make_unique<RExpression>();
  expressionText_ = expression_->GetText();
}

RChannelTool::~RChannelTool() = default;

// --- set-up and parameters

void RChannelTool::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  const size_t channels = size_t(std::max(processChannels_, 0));
  delayLines_.clear();
  delayLines_.resize(channels);
  const int32_t room = DelayRoom();
  for (RDelayLine& line : delayLines_) line.Reserve(room);
  rmsFollowers_.clear();
  rmsFollowers_.resize(channels);
  for (RRMSFollower& follower : rmsFollowers_) follower.Reserve(kMaxRMSSeconds, sampleRate_);
  envelopes_.assign(channels, REnvelopeFollower());
  dcBlockerFilter_.SetChannels(int32_t(channels));
  activeDelay_ = 0;
  dcOrder_ = 0;
  dcQualityDesigned_ = -1.0;
  announcedLatency_ = graphLatency_ = GetLatency();
  // The base ran Update before the state above existed.
  ClearState();
  Update();
}

void RChannelTool::ClearState() {
  for (RDelayLine& line : delayLines_) line.Clear();
  for (RRMSFollower& follower : rmsFollowers_) follower.Clear();
  for (REnvelopeFollower& envelope : envelopes_) envelope.Clear();
  dcBlockerFilter_.Clear();
}

int32_t RChannelTool::DelayOfSettings(bool processing) const noexcept {
  const double samples = processing ? delaySamples_->GetProcessing() : delaySamples_->GetValue();
  const double seconds = processing ? delayMilliseconds_->GetProcessing() : delayMilliseconds_->GetValue();
  const double total = std::round(samples) + std::round(seconds * sampleRate_);
  return int32_t(std::clamp(total, 0.0, kMaxDelaySamples + kMaxDelaySeconds * std::max(sampleRate_, 0.0)));
}

int32_t RChannelTool::GetLatency() const {
  return delayEnabled_->IsOn() && delayReportLatency_->IsOn() ? DelayOfSettings(false) : 0;
}

void RChannelTool::Update() {
  const double rate = sampleRate_;
  if (rate <= 0.0) return;

  const int32_t delay = delayEnabled_->IsProcessingOn() ? DelayOfSettings(true) : 0;
  if (delay != activeDelay_) {
    for (RDelayLine& line : delayLines_) line.SetDelay(delay);
    activeDelay_ = delay;
  }

  const int32_t order = dcAttenuation_->GetProcessingIndex() + 1;
  const double quality = dcQuality_->GetProcessing();
  if (order != dcOrder_ || quality != dcQualityDesigned_) {
    dcBlockerFilter_.Design(order, quality, rate);
    dcOrder_ = order;
    dcQualityDesigned_ = quality;
  }

  const double length = rmsLength_->GetProcessing(), hold = rmsHold_->GetProcessing();
  for (RRMSFollower& follower : rmsFollowers_) follower.Configure(length, hold, rate);
  const double attack = attack_->GetProcessing(), release = release_->GetProcessing();
  for (REnvelopeFollower& envelope : envelopes_) envelope.Configure(attack, release, rate);
  math_.Configure(mathAdd_->GetProcessing(), mathExp_->GetProcessing(), mathLog_->GetProcessing(),
                  mathBase_->GetProcessingIndex());

  const int32_t latency = GetLatency();
  if (latency != announcedLatency_) {
    announcedLatency_ = latency;
    RequestLatencyReport(0);
  }
}

int32_t RChannelTool::DelayRoom() const noexcept {
  if (!delayEnabled_->IsOn()) return 0;
  // The whole sample range costs at most 64 KB a channel and covers its automation; the
  // milliseconds, up to 10 s (8 MB a channel at 192 kHz), get room as far as they are set.
  return kMaxDelaySamples + int32_t(std::lround(delayMilliseconds_->GetValue() * sampleRate_));
}

void RChannelTool::ReserveDelay() {
  const int32_t room = DelayRoom();
  if (room <= 0) return;
  RLockGuard audio(GetAudioLock());
  for (RDelayLine& line : delayLines_) line.Reserve(room);
}

void RChannelTool::DelaySettingChanged(void* receiver, void*, int32_t, const REventPayload&) {
  auto& tool = *static_cast<RChannelTool*>(receiver);
  tool.ReserveDelay();
  // In a graph the rows are lined up by the compile, which reads each module's latency.
  auto* graph = dynamic_cast<RAudioPluginModular*>(tool.GetParent());
  const int32_t latency = tool.GetLatency();
  if (graph && latency != tool.graphLatency_) {
    tool.graphLatency_ = latency;
    graph->Recompile(false);
  }
}

// --- expression

bool RChannelTool::SetExpressionText(const RString& text) {
  auto next = std::make_unique<RExpression>();
  RString error;
  try {
    next->Compile(text);
    for (int32_t slot = 0; slot < next->GetVariableCount(); ++slot) {
      const RExpressionVariable variable = next->GetVariable(slot);
      if (variable.kind != RExpressionVariable::kMultiParameter || variable.number < 1 || variable.number > 2) {
        throw RException(RString("The expression can use x, p1 and p2 only."));
      }
    }
  } catch (const RException& e) {
    // The text stays for the editor and the store; the stage runs the identity meanwhile.
    error = e.GetMessage();
    next = std::make_unique<RExpression>();
  }
  const int32_t slot1 = next->FindVariable({RExpressionVariable::kMultiParameter, 1});
  const int32_t slot2 = next->FindVariable({RExpressionVariable::kMultiParameter, 2});
  {
    RLockGuard audio(GetAudioLock());
    std::swap(expression_, next);
    param1Slot_ = slot1;
    param2Slot_ = slot2;
    expressionText_ = text;
    expressionError_ = error;
  }
  return error.IsEmpty();
}

void RChannelTool::Store(RStoreContext& context) {
  RAudioPlugin::Store(context);
  RString text = expressionText_;
  context.Text("ExpressionText", text, RString("x"));
  if (context.IsReading()) {
    SetExpressionText(text);
    // A loaded delay finds its room here rather than on the audio thread.
    ReserveDelay();
  }
}

// --- the block

void RChannelTool::PlaceInputs(float* const* inputs, float* const* outputs, int32_t frames) noexcept {
  const int32_t channels = processChannels_;
  double leftStart = 0.0, leftStep = 0.0, rightStart = 0.0, rightStep = 0.0;
  const bool leftMoves = panoramaLeft_->GetRamp(frames, leftStart, leftStep);
  const bool rightMoves = panoramaRight_->GetRamp(frames, rightStart, rightStep);
  if (!leftMoves) leftStart = panoramaLeft_->GetProcessing();
  if (!rightMoves) rightStart = panoramaRight_->GetProcessing();
  panoramaLeft_->MarkRampDone();
  panoramaRight_->MarkRampDone();

  const bool pair = channels >= 2 && inputs && inputs[0] && inputs[1] && outputs[0] && outputs[1];
  const bool asItIs = !leftMoves && !rightMoves && leftStart <= -1.0 + 1e-10 && rightStart >= 1.0 - 1e-10;
  for (int32_t c = (pair && !asItIs) ? 2 : 0; c < channels; ++c) {
    if (!outputs[c]) continue;
    const float* in = inputs ? inputs[c] : nullptr;
    if (!in) {
      RVectorOps::Zero(outputs[c], frames);
    } else if (in != outputs[c]) {
      RVectorOps::Copy(in, outputs[c], frames);
    }
  }
  if (!pair || asItIs) return;

  // Read both inputs before writing: the outputs may be the input buffers.
  const float* inLeft = inputs[0];
  const float* inRight = inputs[1];
  float* outLeft = outputs[0];
  float* outRight = outputs[1];
  for (int32_t i = 0; i < frames; ++i) {
    const float p = float(std::clamp(leftStart + leftStep * i, -1.0, 1.0));
    const float q = float(std::clamp(rightStart + rightStep * i, -1.0, 1.0));
    const float l = inLeft[i], r = inRight[i];
    outLeft[i] = 0.5f * ((1.0f - p) * l + (1.0f - q) * r);
    outRight[i] = 0.5f * ((1.0f + p) * l + (1.0f + q) * r);
  }
}

void RChannelTool::RunExpression(float* const* outputs, int32_t channels, int32_t frames) noexcept {
  RExpression& expression = *expression_;
  expression.SetVariable(param1Slot_, param1_->GetProcessing());
  expression.SetVariable(param2Slot_, param2_->GetProcessing());
  for (int32_t c = 0; c < channels; ++c) expression.EvaluateBlock(outputs[c], outputs[c], frames);
}

bool RChannelTool::SilenceHolds() const noexcept {
  const bool playing = GetTimeInfo().IsPlaying();
  const bool offline = IsOffline();
  return (silencePlaybackOn_->IsProcessingOn() && playing) || (silencePlaybackOff_->IsProcessingOn() && !playing) ||
         (silenceOnline_->IsProcessingOn() && !offline) || (silenceOffline_->IsProcessingOn() && offline);
}

void RChannelTool::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || !outputs) return;
  int32_t channels = processChannels_;
  // The stages below work on whole channel sets; a missing output buffer ends the set.
  for (int32_t c = 0; c < channels; ++c) {
    if (!outputs[c]) channels = c;
  }
  PlaceInputs(inputs, outputs, frames);
  const bool stereo = channels >= 2;

  ApplyGain(*volume_, outputs, channels, frames);
  ApplyGain(*gain_, outputs, channels, frames);
  ApplyGain(*volumeLeft_, outputs, std::min(channels, 1), frames);
  if (stereo) {
    ApplyGain(*volumeRight_, outputs + 1, 1, frames);
    ApplyPanorama(*panorama_, outputs[0], outputs[1], frames, panoramaLaw_->GetProcessing() / kPlainLawFactor);
  } else {
    volumeRight_->MarkRampDone();
    panorama_->MarkRampDone();
  }

  if (activeDelay_ > 0) {
    const int32_t lines = std::min(channels, int32_t(delayLines_.size()));
    for (int32_t c = 0; c < lines; ++c) delayLines_[size_t(c)].Process(outputs[c], outputs[c], frames);
  }

  if (channels >= 1 && invertLeft_->IsProcessingOn()) {
    RVectorOps::MultiplyByConstant(outputs[0], outputs[0], frames, -1.0f);
  }
  if (stereo && invertRight_->IsProcessingOn()) {
    RVectorOps::MultiplyByConstant(outputs[1], outputs[1], frames, -1.0f);
  }
  if (stereo && swapLeftRight_->IsProcessingOn()) std::swap_ranges(outputs[0], outputs[0] + frames, outputs[1]);

  if (dcBlocker_->IsProcessingOn()) {
    for (int32_t c = 0; c < channels; ++c) dcBlockerFilter_.Process(c, outputs[c], frames);
  }
  if (rmsEnabled_->IsProcessingOn()) {
    const int32_t count = std::min(channels, int32_t(rmsFollowers_.size()));
    for (int32_t c = 0; c < count; ++c) rmsFollowers_[size_t(c)].Process(outputs[c], frames);
  }
  if (envelopeEnabled_->IsProcessingOn()) {
    const int32_t count = std::min(channels, int32_t(envelopes_.size()));
    for (int32_t c = 0; c < count; ++c) envelopes_[size_t(c)].Process(outputs[c], frames);
  }
  if (mathEnabled_->IsProcessingOn()) {
    for (int32_t c = 0; c < channels; ++c) math_.Process(outputs[c], frames);
  }
  if (expressionEnabled_->IsProcessingOn()) RunExpression(outputs, channels, frames);
  if (stereo && coder_->IsProcessingOn()) {
    ApplyCoder(RCoderMode(std::clamp(coderMode_->GetProcessingIndex(), 0, kCoderModeCount - 1)), outputs[0],
               outputs[1], frames);
  }

  if (SilenceHolds()) {
    for (int32_t c = 0; c < channels; ++c) RVectorOps::Zero(outputs[c], frames);
  }
}

void RegisterChannelTool() {
  RModuleRegistry::RegisterClass<RChannelTool>(RString("ChannelTool"));
}
