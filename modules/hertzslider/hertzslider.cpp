#include "modules/hertzslider/hertzslider.h"

#include <algorithm>
#include <cmath>

#include "base/array.h"
#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "kernel/storecontext.h"

namespace {

RArray<RString> CharacterItems() {
  RArray<RString> items;
  for (int32_t i = 0; i < RHilbertNetwork::kCharacterCount; ++i) {
    items.Add(RString::FromUTF8(RHilbertNetwork::GetTable(i).name));
  }
  return items;
}

constexpr int32_t kDefaultCharacter = 2;  // "Rough"

// Inf and NaN must not reach the dry path, which no filter cleans.
inline float Sanitise(float x) noexcept {
  constexpr float kLimit = RAudioPlugin::kOutputClamp;
  if (std::fabs(x) <= kLimit) return x;
  return x > 0.0f ? kLimit : (x < 0.0f ? -kLimit : 0.0f);
}

bool SamePoints(const std::vector<RShapePoint>& a, const std::vector<RShapePoint>& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (a[i].X != b[i].X || a[i].Y != b[i].Y || a[i].Type != b[i].Type || a[i].Curvature != b[i].Curvature ||
        a[i].CurvatureX != b[i].CurvatureX || a[i].Flags != b[i].Flags) {
      return false;
    }
  }
  return true;
}

} // namespace

RHertzSlider::RHertzSlider()
    : RAudioPlugin(RString("HertzSlider")),
      dryWet_(this, "Dry/Wet", 0.0, 1.0, 1.0, "DryWet",
              "<name>Depth</name> determines how powerful the effect is, thus this is the ratio between dry and wet "
              "signals."),
      shift_(this, "Shift", "Shift",
             "<name>Shift</name> moves every frequency of the sound by the same number of hertz, up or down. Small "
             "shifts beat and phase; large ones turn harmonic sounds metallic."),
      width_(this, "Width", -2.0, 2.0, 1.0, "{0.2}", "Width",
             "<name>Width</name> multiplies the shift from one channel to the next: at -1 the left channel goes up "
             "while the right goes down."),
      feedback_(this, "Feedback", 0.0, 0.99, 0.0, "Feedback",
                "<name>Feedback</name> sends the shifted sound back to the input, so that it is shifted again on "
                "every pass."),
      feedbackDelay_(this, "Delay", 0.0, 1.0, 0.01, RString(), "FeedbackDelay",
                     "<name>Delay</name> is the time one pass round the feedback loop takes."),
      character_(this, "Character", CharacterItems(), kDefaultCharacter, "Character",
                 "<name>Character</name> picks the phase network: Clean keeps the mirror image of a shifted tone "
                 "lowest over the widest band, Ugly lets it through, most of all in the bass."),
      prefiltering_(this, "Prefiltering", true, "Prefiltering",
                    "<name>Prefiltering</name> band-limits the input to where the shifter works cleanly."),
      sync_(this) {
  shape_.SetKeepOrder(true);
  shape_.SetPoints(DefaultShape());
  network_.Design(kDefaultCharacter);
}

RHertzSlider::~RHertzSlider() = default;

std::vector<RShapePoint> RHertzSlider::DefaultShape() {
  RShapePoint first, last;
  first.X = 0.0;
  first.Y = 1.0;
  first.Type = kCurveStairs;
  last.X = 1.0;
  last.Y = 1.0;
  last.Type = kCurveStairs;
  return {first, last};
}

double RHertzSlider::GetOscillatorPhase(int32_t channel) const noexcept {
  if (channel < 0 || channel >= int32_t(channels_.size())) return 0.0;
  return channels_[size_t(channel)].oscillator.GetPhase();
}

void RHertzSlider::Setup_Locked() {
  RAudioPlugin::Setup_Locked();
  prefilter_.Design(sampleRate_);
  maxDelay_ = std::max(1, int32_t(sampleRate_ * kMaxDelaySeconds));
  channels_.resize(size_t(std::max(processChannels_, 0)));
  for (Channel& channel : channels_) channel.line.Reserve(maxDelay_);
  delay_ = 0;
  ClearState();
}

void RHertzSlider::Update() {
  sync_.Refresh();
  if (character_.GetProcessingIndex() != network_.GetCharacter()) {
    network_.Design(character_.GetProcessingIndex());
    clearLines_ = true;
  }
}

void RHertzSlider::ClearState() {
  for (Channel& channel : channels_) {
    channel.oscillator.Reset();
    channel.prefilter.Clear();
    channel.network.Clear();
  }
  ClearLines();
}

void RHertzSlider::Reset() { ClearState(); }

void RHertzSlider::ClearLines() noexcept {
  for (Channel& channel : channels_) {
    channel.line.Clear();
    std::fill(std::begin(channel.feedback), std::end(channel.feedback), 0.0f);
    std::fill(std::begin(channel.written), std::end(channel.written), 0.0f);
  }
  piecePosition_ = 0;
  clearLines_ = false;
}

void RHertzSlider::SetDelay(int32_t samples) {
  samples = std::clamp(samples, 1, maxDelay_);
  if (samples == delay_) return;
  delay_ = samples;
  pieceLength_ = std::min(samples, kPiece);
  // The piece itself is the rest of the loop: the line holds what lies beyond it.
  for (Channel& channel : channels_) channel.line.SetDelay(samples - pieceLength_);
  clearLines_ = true;
}

void RHertzSlider::UpdateDelay() {
  int64_t samples = 0;
  if (sync_.IsOn()) {
    const int64_t length = sync_.Samples(GetTimeInfo().Tempo, sampleRate_);
    if (length > 1) samples = length / 2;
    else samples = delay_ > 0 ? delay_ : int64_t(sampleRate_ * kFallbackDelaySeconds);
  } else {
    samples = int64_t(sampleRate_ * feedbackDelay_.GetProcessing());
  }
  SetDelay(int32_t(std::clamp<int64_t>(samples, 1, maxDelay_)));
  if (GetTimeInfo().HasJumped()) clearLines_ = true;
  if (clearLines_) ClearLines();
}

void RHertzSlider::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0 || channels_.empty()) return;
  UpdateDelay();

  double shiftStart = 0.0, shiftStep = 0.0, widthStart = 0.0, widthStep = 0.0;
  double feedbackStart = 0.0, feedbackStep = 0.0, mixStart = 0.0, mixStep = 0.0;
  shift_.GetRamp(frames, shiftStart, shiftStep);
  width_.GetRamp(frames, widthStart, widthStep);
  feedback_.GetRamp(frames, feedbackStart, feedbackStep);
  dryWet_.GetRamp(frames, mixStart, mixStep);
  const bool prefilter = prefiltering_.IsProcessingOn();
  const bool feedbackOn = feedbackStart != 0.0 || feedbackStep != 0.0;
  // A closed loop is idle: its blocks need no cutting, and it opens again on silence, not on
  // whatever it held when it closed.
  if (feedbackOn && !loopOpen_) ClearLines();
  loopOpen_ = feedbackOn;
  const int32_t channelCount = std::min(int32_t(channels_.size()), processChannels_);

  float dry[kPiece], work[kPiece], inPhase[kPiece], quadrature[kPiece], cosine[kPiece], minusSine[kPiece];
  for (int32_t done = 0; done < frames;) {
    const int32_t count = std::min(frames - done, feedbackOn ? pieceLength_ - piecePosition_ : kPiece);
    // Shift and Width move linearly over the block; each piece's oscillator glides between
    // the channel frequencies at its ends.
    const double s0 = RShiftRange::ToHertz(shiftStart + shiftStep * done);
    const double s1 = RShiftRange::ToHertz(shiftStart + shiftStep * (done + count));
    const double w0 = widthStart + widthStep * done, w1 = widthStart + widthStep * (done + count);
    double factor0 = 1.0, factor1 = 1.0;
    for (int32_t c = 0; c < channelCount; ++c) {
      Channel& channel = channels_[size_t(c)];
      const float* in = (inputs && inputBuses_ > 0) ? inputs[c] : nullptr;
      for (int32_t i = 0; i < count; ++i) dry[i] = in ? Sanitise(in[done + i]) : 0.0f;

      const float* shifterInput = dry;
      if (feedbackOn) {
        const float* fed = channel.feedback + piecePosition_;
        for (int32_t i = 0; i < count; ++i) {
          work[i] = dry[i] + float(feedbackStart + feedbackStep * (done + i)) * fed[i];
        }
        shifterInput = work;
      }
      if (prefilter) {
        prefilter_.Run(channel.prefilter, shifterInput, work, count);
        shifterInput = work;
      }
      network_.Run(channel.network, shifterInput, inPhase, quadrature, count);
      channel.oscillator.Run(cosine, minusSine, count, s0 * factor0, s1 * factor1, sampleRate_);

      float* out = outputs[c] + done;
      float* shifted = inPhase;
      for (int32_t i = 0; i < count; ++i) {
        shifted[i] = inPhase[i] * cosine[i] + quadrature[i] * minusSine[i];
        const auto mix = float(mixStart + mixStep * (done + i));
        out[i] = (shifted[i] - dry[i]) * mix + dry[i];
      }
      if (feedbackOn) {
        float* written = channel.written + piecePosition_;
        for (int32_t i = 0; i < count; ++i) written[i] = std::clamp(shifted[i], -kFeedbackClamp, kFeedbackClamp);
      }
      factor0 *= w0;
      factor1 *= w1;
    }
    done += count;
    if (!feedbackOn) continue;
    piecePosition_ += count;
    if (piecePosition_ == pieceLength_) {
      // The finished piece enters the line; what comes out is the next piece's feedback.
      for (int32_t c = 0; c < channelCount; ++c) {
        Channel& channel = channels_[size_t(c)];
        channel.line.Process(channel.written, channel.feedback, pieceLength_);
      }
      piecePosition_ = 0;
    }
  }
  for (int32_t c = channelCount; c < processChannels_; ++c) std::fill(outputs[c], outputs[c] + frames, 0.0f);

  shift_.MarkRampDone();
  width_.MarkRampDone();
  feedback_.MarkRampDone();
  dryWet_.MarkRampDone();
}

void RHertzSlider::Store(RStoreContext& context) {
  RAudioPlugin::Store(context);
  const std::vector<RShapePoint> defaults = DefaultShape();
  RStoreContext child = context;
  if (context.IsWriting()) {
    if (!SamePoints(shape_.GetPoints(), defaults) && context.Enter("Shape", child)) shape_.Store(child);
  } else if (context.Enter("Shape", child)) {
    shape_.Store(child);
  } else {
    shape_.SetPoints(defaults);
  }
}

void RegisterHertzSlider() {
  RModuleRegistry::RegisterClass<RHertzSlider>(RString("HzSlide"));
}
