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

  // Channels go in pairs, a pair's filters and oscillators in one pass: the stages of both
  // channels and both paths then run side by side.
  float dry[2][kPiece], work[2][kPiece], inPhase[2][kPiece], quadrature[2][kPiece];
  float cosine[2][kPiece], minusSine[2][kPiece];
  for (int32_t done = 0; done < frames;) {
    const int32_t count = std::min(frames - done, feedbackOn ? pieceLength_ - piecePosition_ : kPiece);
    // Shift and Width move linearly over the block; each piece's oscillator glides between
    // the channel frequencies at its ends.
    const double s0 = RShiftRange::ToHertz(shiftStart + shiftStep * done);
    const double s1 = RShiftRange::ToHertz(shiftStart + shiftStep * (done + count));
    const double w0 = widthStart + widthStep * done, w1 = widthStart + widthStep * (done + count);
    double factor0 = 1.0, factor1 = 1.0;
    for (int32_t first = 0; first < channelCount; first += 2) {
      const bool pair = first + 1 < channelCount;
      const int32_t members = pair ? 2 : 1;
      Channel* group[2] = {&channels_[size_t(first)], pair ? &channels_[size_t(first + 1)] : nullptr};
      const float* shifterInput[2] = {dry[0], dry[1]};
      double startHz[2] = {}, endHz[2] = {};
      for (int32_t k = 0; k < members; ++k) {
        const float* in = (inputs && inputBuses_ > 0) ? inputs[first + k] : nullptr;
        for (int32_t i = 0; i < count; ++i) dry[k][i] = in ? Sanitise(in[done + i]) : 0.0f;
        if (feedbackOn) {
          const float* fed = group[k]->feedback + piecePosition_;
          for (int32_t i = 0; i < count; ++i) {
            work[k][i] = dry[k][i] + float(feedbackStart + feedbackStep * (done + i)) * fed[i];
          }
          shifterInput[k] = work[k];
        }
        startHz[k] = s0 * factor0;
        endHz[k] = s1 * factor1;
        factor0 *= w0;
        factor1 *= w1;
      }
      if (pair) {
        if (prefilter) {
          prefilter_.RunPair(group[0]->prefilter, group[1]->prefilter, shifterInput[0], shifterInput[1], work[0],
                             work[1], count);
          shifterInput[0] = work[0];
          shifterInput[1] = work[1];
        }
        network_.RunPair(group[0]->network, group[1]->network, shifterInput[0], shifterInput[1], inPhase[0],
                         quadrature[0], inPhase[1], quadrature[1], count);
        RQuadratureOscillator::RunPair(group[0]->oscillator, group[1]->oscillator, cosine[0], minusSine[0],
                                       cosine[1], minusSine[1], count, startHz[0], endHz[0], startHz[1], endHz[1],
                                       sampleRate_);
      } else {
        if (prefilter) {
          prefilter_.Run(group[0]->prefilter, shifterInput[0], work[0], count);
          shifterInput[0] = work[0];
        }
        network_.Run(group[0]->network, shifterInput[0], inPhase[0], quadrature[0], count);
        group[0]->oscillator.Run(cosine[0], minusSine[0], count, startHz[0], endHz[0], sampleRate_);
      }

      for (int32_t k = 0; k < members; ++k) {
        float* out = outputs[first + k] + done;
        float* shifted = inPhase[k];
        const float* d = dry[k];
        const float* q = quadrature[k];
        const float* c = cosine[k];
        const float* s = minusSine[k];
        for (int32_t i = 0; i < count; ++i) shifted[i] = shifted[i] * c[i] + q[i] * s[i];
        if (mixStep == 0.0) {
          const auto mix = float(mixStart);
          for (int32_t i = 0; i < count; ++i) out[i] = (shifted[i] - d[i]) * mix + d[i];
        } else {
          for (int32_t i = 0; i < count; ++i) {
            const auto mix = float(mixStart + mixStep * (done + i));
            out[i] = (shifted[i] - d[i]) * mix + d[i];
          }
        }
        if (feedbackOn) {
          float* written = group[k]->written + piecePosition_;
          for (int32_t i = 0; i < count; ++i) written[i] = std::clamp(shifted[i], -kFeedbackClamp, kFeedbackClamp);
        }
      }
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
