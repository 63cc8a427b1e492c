#include "modules/echotaps/echotap.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "base/array.h"
#include "base/tagitem.h"
#include "kernel/audiopluginbase.h"
#include "kernel/storecontext.h"

namespace {

// Channels a tap echoes; further channels of a wider layout pass without echo.
constexpr int32_t kMaxChannels = 16;

RArray<RString> Items(std::initializer_list<const char*> texts) {
  RArray<RString> items;
  for (const char* text : texts) items.Add(RString::FromUTF8(text));
  return items;
}

struct Ramp {
  double start = 0.0;
  double step = 0.0;
};

Ramp RampOf(const RRangedValue& value, int32_t frames) {
  Ramp ramp;
  if (!value.GetRamp(frames, ramp.start, ramp.step)) {
    ramp.start = value.GetProcessing();
    ramp.step = 0.0;
  }
  return ramp;
}

} // namespace

REchoTap::REchoTap(int32_t index) : index_(index) {
  const auto key = [index](const char* base) {
    RString k = RString::FromUTF8(base);
    if (index > 0) k += RString("1");
    return k;
  };
  tap_ = std::make_unique<RBoolValue>(nullptr, RString::FromUTF8(index == 0 ? "Tap 1" : "Tap 2"), index == 0, key("tap"));
  feedback_ = std::make_unique<RPercentValue>(nullptr, RString("Feedback"), 0.0, 1.0, 0.4, key("feedback"),
                                              RString("Share of the tap's output returned to its input."));
  gain_ = std::make_unique<RVolumeValue>(nullptr, RString("Gain"), 1.0, 0.707106781186, key("gain"),
                                         RString("Tap output level. Affects only the delayed signal."));
  panorama_ = std::make_unique<RPanValue>(nullptr, RString("Panorama"), -1.0, 1.0, 0.0, key("panorama"),
                                          RString("Tap panorama."));
  delay_ = std::make_unique<RTimeValue>(nullptr, RString("Delay"), 0.0, kMaxDelaySeconds, 0.1, RString(), key("delay"),
                                        RString("Tap time. The tap's sync group sets it instead while it is on."));
  leftOffset_ = std::make_unique<RTimeValue>(
      nullptr, RString("Left offset"), -kMaxOffsetSeconds, kMaxOffsetSeconds, 0.0, RString(), key("LeftOffset"),
      RString("Predelay of the left channel; a negative offset delays the right channel. Stereo only."));
  leftOffset_->SetAltName(RString("Left"));
  rightOffset_ = std::make_unique<RTimeValue>(
      nullptr, RString("Right offset"), -kMaxOffsetSeconds, kMaxOffsetSeconds, 0.0, RString(), key("RightOffset"),
      RString("Predelay of the right channel; a negative offset delays the left channel. Stereo only."));
  rightOffset_->SetAltName(RString("Right"));
  algorithm_ = std::make_unique<RModuleChoiceValue>(
      nullptr, RString("Algorithm"), Items({"Tape", "Modern"}), kTape, key("Algorithm"),
      RString("<value>Tape</value> glides and shifts the pitch when the time changes; <value>Modern</value> "
              "crossfades to the new time and avoids the pitch change."));
  mode_ = std::make_unique<RModuleChoiceValue>(
      nullptr, RString("Mode"), Items({"Default", "Classic", "PingPong"}), REchoKernels::kClassic, key("mode"),
      RString("<value>Default</value> makes the first echo depend on feedback; <value>Classic</value> doesn't; "
              "<value>PingPong</value> works as classic, switching channels in stereo."));
  freeze_ = std::make_unique<RBoolValue>(nullptr, RString("Freeze"), false, key("Freeze"),
                                         RString("Stops changing the delay buffer: its contents play over and over."));
  silence_ = std::make_unique<RBoolValue>(nullptr, RString("Silence"), false, key("Silence"),
                                          RString("Makes the feedback buffer silent while on."));
  shuffle_ = std::make_unique<RRealValue>(nullptr, RString("Shuffle"), -2.0, 2.0, 0.0, RString("{0.2}"), key("Shuffle"),
                                          RString("simulates shuffling using 2 delays."));
  // The count lets a tap span several notes of the length ("3 x 1 / 16").
  sync_ = std::make_unique<RTempoSync>(nullptr, RTempoSync::kCount);
  if (index_ > 0) {
    // The group's keys are the first tap's; StoreSyncGroup writes these under their own.
    for (RValue* value : {static_cast<RValue*>(&sync_->GetSync()), static_cast<RValue*>(&sync_->GetLength()),
                          static_cast<RValue*>(&sync_->GetType()), static_cast<RValue*>(sync_->GetCount())}) {
      value->SetFlag(RValue::kStored, false);
    }
  }
}

REchoTap::~REchoTap() = default;

std::vector<RValue*> REchoTap::Values() const {
  return {tap_.get(),       feedback_.get(),  gain_.get(),    panorama_.get(),     delay_.get(),
          leftOffset_.get(), rightOffset_.get(), algorithm_.get(), mode_.get(),       freeze_.get(),
          silence_.get(),   shuffle_.get(),   &sync_->GetSync(), &sync_->GetLength(), &sync_->GetType(),
          sync_->GetCount()};
}

void REchoTap::Register(RAudioPluginBase& owner) {
  const RString prefix = index_ == 0 ? RString() : RString("Tap 2 - ");
  // The panel switch names the panel itself.
  for (RValue* value : Values()) owner.RegisterParameter(value, value == tap_.get() ? RString() : prefix);
}

void REchoTap::StoreSyncGroup(RStoreContext& context) {
  if (index_ == 0) return;
  // Each value stores itself into a scratch element under its own key, which is then moved
  // to the suffixed key, so the value's own stored form (a choice by its text) is kept.
  for (RValue* value : {static_cast<RValue*>(&sync_->GetSync()), static_cast<RValue*>(&sync_->GetLength()),
                        static_cast<RValue*>(&sync_->GetType()), static_cast<RValue*>(sync_->GetCount())}) {
    const RHashedString own(context.ValueKey(value->GetKey()));
    const RHashedString suffixed(context.ValueKey(value->GetKey() + RString("1")));
    RTagItem scratch;
    RStoreContext inner(scratch, context.GetFlags());
    RTagItem& element = context.GetElement();
    value->SetFlag(RValue::kStored, true);
    if (context.IsWriting()) {
      value->Store(inner);
      if (const RVariant* stored = scratch.FindAttribute(own))
        element.SetAttribute(suffixed, *stored);
      else
        element.RemoveAttribute(suffixed);
    } else {
      if (const RVariant* stored = element.FindAttribute(suffixed)) scratch.SetAttribute(own, *stored);
      value->Store(inner);
    }
    value->SetFlag(RValue::kStored, false);
  }
  sync_->Refresh();
}

void REchoTap::Setup(int32_t channels, double sampleRate, int32_t chunk) {
  sampleRate_ = sampleRate;
  channels_ = std::clamp(channels, 0, kMaxChannels);
  chunk_ = chunk;
  main_.SetChannels(channels_);
  shuffleLine_.SetChannels(channels_);
  predelays_.clear();
  predelays_.resize(channels_ == 2 ? 2 : 0);
  // Both offsets may add up on one side.
  for (RDelayLine& line : predelays_) line.Reserve(int32_t(std::ceil(2.0 * kMaxOffsetSeconds * sampleRate)) + 1);
  filterStates_.assign(size_t(REchoKernels::kLines * channels_ * REchoKernels::kStages), RBiquadState());
  predelayed_.assign(size_t(2 * chunk), 0.0f);
  // Room for the present time (and its shuffle) now, so the first blocks don't allocate.
  const double reach = 1.0 + std::fabs(shuffle_->GetProcessing()) * kShufflePerUnit;
  const int32_t target = TargetDelay(120.0);
  main_.Reserve(int32_t(target * reach) + 1);
  if (std::fabs(shuffle_->GetProcessing()) > 0.0) shuffleLine_.Reserve(int32_t(target * reach) + 1);
  on_ = false;
  Clear();
  // The module's own reset doesn't reach values it doesn't list as its own: ramps start here.
  for (RValue* value : Values()) value->ResetRamp();
}

void REchoTap::Clear() noexcept {
  main_.Clear();
  shuffleLine_.Clear();
  for (RDelayLine& line : predelays_) line.Clear();
  for (RBiquadState& state : filterStates_) state.Clear();
}

int32_t REchoTap::TargetDelay(double tempo) const noexcept {
  const double most = std::round(kMaxDelaySeconds * sampleRate_);
  double samples = std::round(delay_->GetProcessing() * sampleRate_);
  if (sync_->IsOn()) {
    const int64_t synced = sync_->Samples(tempo, sampleRate_);
    if (synced > 0) samples = double(synced);
  }
  return int32_t(std::clamp(samples, 0.0, most));
}

bool REchoTap::SetDelayBySync(double tempo) {
  if (!(tempo > 0.0)) return false;
  // The divisor as the audio side last refreshed it; the note length in seconds: a whole
  // note lasts 240 s at one beat a minute.
  const double seconds = 240.0 / (tempo * sync_->GetDivisor());
  delay_->SetValueNow(std::clamp(seconds, 0.0, kMaxDelaySeconds));
  return true;
}

void REchoTap::SetLineDelay(REchoLine& line, int32_t samples) {
  // A tap's lines move in one form at a time; a new change follows the form that runs.
  const bool gliding = main_.GetMotion() == REchoLine::kGlide || shuffleLine_.GetMotion() == REchoLine::kGlide;
  const bool fading = main_.GetMotion() == REchoLine::kFade || shuffleLine_.GetMotion() == REchoLine::kFade;
  const bool modern = algorithm_->GetProcessingIndex() == kModern;
  if (gliding || (!fading && !modern))
    line.SetDelayGlide(samples);
  else
    line.SetDelayFade(samples, int32_t(std::lround(kFadeSeconds * sampleRate_)));
}

void REchoTap::ApplyTimes(double tempo) {
  const int32_t target = TargetDelay(tempo);
  int32_t mainDelay = target, shuffleDelay = 0;
  if (shuffling_ && target > 0) {
    const double a = shuffle_->GetProcessing() * kShufflePerUnit;
    mainDelay = std::max(1, int32_t(std::lround(target * (1.0 + a))));
    shuffleDelay = std::max(1, int32_t(std::lround(target * (1.0 - a))));
  }
  SetLineDelay(main_, mainDelay);
  SetLineDelay(shuffleLine_, shuffleDelay);
}

void REchoTap::ApplyOffsets() {
  offsets_ = false;
  if (predelays_.size() != 2) return;
  const double left = leftOffset_->GetProcessing(), right = rightOffset_->GetProcessing();
  const double sides[2] = {std::max(left, 0.0) + std::max(-right, 0.0), std::max(right, 0.0) + std::max(-left, 0.0)};
  for (int32_t c = 0; c < 2; ++c) {
    const auto samples = int32_t(std::lround(sides[c] * sampleRate_));
    predelays_[size_t(c)].SetDelay(samples);
    offsets_ = offsets_ || samples > 0;
  }
}

void REchoTap::BeginBlock(int32_t frames, double tempo) {
  const bool on = tap_->IsProcessingOn() && channels_ > 0;
  // A tap switched on again starts from silence, not from what it held back then.
  if (on && !on_) Clear();
  on_ = on;
  const bool silenced = silence_->IsProcessingOn();
  if (silenced && !silenced_) Clear();
  silenced_ = silenced;
  frozen_ = freeze_->IsProcessingOn();
  modeIndex_ = std::clamp(mode_->GetProcessingIndex(), 0, 2);
  shuffling_ = std::fabs(shuffle_->GetProcessing()) > 1e-6;
  // A frozen ring keeps its length too: a glide would rewrite it.
  if (on_ && !frozen_) ApplyTimes(tempo);
  if (on_) ApplyOffsets();
  const Ramp feedback = RampOf(*feedback_, frames), gain = RampOf(*gain_, frames), pan = RampOf(*panorama_, frames);
  feedbackStart_ = feedback.start;
  feedbackStep_ = feedback.step;
  gainStart_ = gain.start;
  gainStep_ = gain.step;
  panStart_ = pan.start;
  panStep_ = pan.step;
}

void REchoTap::EndBlock() noexcept {
  feedback_->MarkRampDone();
  gain_->MarkRampDone();
  panorama_->MarkRampDone();
}

void REchoTap::Process(const float* const* input, float* const* output, int32_t channels, int32_t offset,
                       int32_t count, const Context& context) noexcept {
  if (!on_ || count <= 0) return;
  channels = std::min(channels, channels_);
  const bool stereo = context.stereo && channels == 2;
  std::array<const float*, kMaxChannels> x{};
  std::array<float*, kMaxChannels> out{};
  for (int32_t c = 0; c < channels; ++c) {
    x[size_t(c)] = input[c];
    out[size_t(c)] = output[c];
  }
  if (frozen_ || silenced_) {
    // Nothing new enters a frozen or silenced ring.
    for (int32_t c = 0; c < channels; ++c) x[size_t(c)] = context.silence;
  } else if (offsets_ && stereo) {
    for (int32_t c = 0; c < 2; ++c) {
      float* delayed = predelayed_.data() + size_t(c * chunk_);
      predelays_[size_t(c)].Process(input[c], delayed, count);
      x[size_t(c)] = delayed;
    }
  }

  REchoKernels::Args args;
  args.channels = channels;
  // A frozen ring returns itself whole; a silenced one returns nothing.
  args.feedback = frozen_ ? 1.0 : silenced_ ? 0.0 : feedbackStart_ + offset * feedbackStep_;
  args.feedbackStep = frozen_ || silenced_ ? 0.0 : feedbackStep_;
  args.saturation = context.saturation;
  args.bandPass = context.bandPass;
  const bool shaping = !frozen_ && !silenced_;
  args.filterStates = shaping && context.feedbackFilter ? filterStates_.data() : nullptr;
  args.cursors[0] = &main_.Cursor();
  args.cursors[1] = &shuffleLine_.Cursor();
  args.rings[0] = main_.Rings();
  args.rings[1] = shuffleLine_.Rings();
  // The stereo shares: G = 2 gain split by the pan position, so the centre gives each side gain.
  const auto shares = [&](int32_t at, double (&g)[2]) {
    const double gain = gainStart_ + at * gainStep_;
    const double pan = std::clamp(panStart_ + at * panStep_, -1.0, 1.0);
    g[0] = stereo ? gain * (1.0 - pan) : gain;
    g[1] = stereo ? gain * (1.0 + pan) : gain;
  };

  REchoKernels::Key key;
  key.stereo = stereo;
  key.mode = modeIndex_;
  key.filter = args.filterStates != nullptr;
  key.saturation = shaping && context.saturation > 0.0;
  key.shuffle = shuffling_ && shuffleLine_.GetDelay() > 0;

  for (int32_t done = 0; done < count;) {
    const REchoLine::Motion second = key.shuffle ? shuffleLine_.GetMotion() : REchoLine::kStill;
    const REchoLine::Motion motion = main_.GetMotion() == REchoLine::kGlide || second == REchoLine::kGlide
                                         ? REchoLine::kGlide
                                         : main_.GetMotion() == REchoLine::kFade || second == REchoLine::kFade
                                               ? REchoLine::kFade
                                               : REchoLine::kStill;
    int32_t n = std::min(count - done, main_.MotionLeft());
    if (key.shuffle) n = std::min(n, shuffleLine_.MotionLeft());
    std::array<const float*, kMaxChannels> xs{};
    std::array<float*, kMaxChannels> outs{};
    for (int32_t c = 0; c < channels; ++c) {
      xs[size_t(c)] = x[size_t(c)] + done;
      outs[size_t(c)] = out[size_t(c)] + done;
    }
    args.input = xs.data();
    args.output = outs.data();
    args.count = n;
    double start[2], end[2];
    shares(offset + done, start);
    shares(offset + done + n, end);
    for (int32_t k = 0; k < 2; ++k) {
      args.gain[k] = start[k];
      args.gainStep[k] = (end[k] - start[k]) / n;
    }
    if (main_.GetDelay() == 0) {
      REchoKernels::Copy(args);
      break;
    }
    key.form = motion;
    REchoKernels::Get(key)(args);
    main_.Advance(n, motion);
    if (key.shuffle) shuffleLine_.Advance(n, motion);
    args.feedback += n * args.feedbackStep;
    done += n;
  }
}
