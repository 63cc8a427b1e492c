#include "modules/dsp/autogain.h"

#include <algorithm>
#include <cmath>

#include "kernel/blockkernels.h"
#include "modules/dsp/dspkernels.h"

namespace {

// Measured blocks go through the weighting this many samples at a time.
constexpr int32_t kChunk = RDspKernels::kBiquadChunk;
constexpr double kMinimumGain = 0.01;
constexpr double kMaximumGain = 100.0;
// Below this power the output counts as silent and is left alone.
constexpr double kSilentPower = 1e-10;
constexpr double kUnchanged = 1e-10;
// The high-pass stage's gain correction, so that the weighting reads 0 dB where BS.1770 does.
constexpr double kHighPassCorrection = 1.0049859725991726;

} // namespace

void RAutoGain::Setup(int32_t channels, double sampleRate) {
  channels_ = std::max(channels, 0);
  sampleRate_ = sampleRate;
  input_.SetWindow(kWindowSeconds, sampleRate);
  output_.SetWindow(kWindowSeconds, sampleRate);
  stages_[0].Design(RBiquad::kHighShelf, 4.0, 1501.5, sampleRate, 0.7072);
  stages_[1].Design(RBiquad::kHighPass, 0.0, 38.05, sampleRate, 0.5);
  stages_[1].ScaleNumerator(kHighPassCorrection);
  inputStates_.assign(size_t(channels_) * 2, RBiquadState());
  outputStates_.assign(size_t(channels_) * 2, RBiquadState());
  scratch_.assign(size_t(channels_ + 1) * kChunk, 0.0f);
  pointers_.assign(size_t(channels_), nullptr);
  Clear();
}

void RAutoGain::Clear() noexcept {
  input_.Clear();
  output_.Clear();
  for (RBiquadState& state : inputStates_) state.Clear();
  for (RBiquadState& state : outputStates_) state.Clear();
  previousGain_ = 0.0f;
  warmUp_ = int64_t(2.0 * sampleRate_);
}

void RAutoGain::Measure(const float* const* channels, int32_t count, RMovingSum& window,
                        RBiquadState* states) noexcept {
  if (channels_ == 0) return;
  float* power = scratch_.data() + size_t(channels_) * kChunk;
  const float scale = 1.0f / float(channels_);
  for (int32_t done = 0; done < count; done += kChunk) {
    const int32_t n = std::min(kChunk, count - done);
    for (int32_t c = 0; c < channels_; ++c) {
      if (weighting_) {
        float* filtered = scratch_.data() + size_t(c) * kChunk;
        RBiquad::RunCascade(stages_, states + 2 * c, 2, channels[c] + done, filtered, n);
        pointers_[size_t(c)] = filtered;
      } else {
        pointers_[size_t(c)] = channels[c] + done;
      }
    }
    RDspKernels::SumSquaresOverChannels(pointers_.data(), channels_, power, n, scale);
    window.Process(power, n);
  }
}

void RAutoGain::MeasureInput(const float* const* channels, int32_t count) noexcept {
  if (count > 0) Measure(channels, count, input_, inputStates_.data());
}

void RAutoGain::Apply(float* const* channels, int32_t count) noexcept {
  if (count <= 0) return;
  Measure(channels, count, output_, outputStates_.data());

  const double outputPower = output_.GetMean();
  double gain = outputPower < kSilentPower ? 1.0 : std::sqrt(input_.GetMean() / outputPower);
  gain = std::clamp(gain, kMinimumGain, kMaximumGain);
  if (warmUp_ > 0) {
    gain = std::min(gain, 1.0);
    warmUp_ -= count;
  }

  const auto target = float(gain);
  const float step = (target - previousGain_) / float(count);
  for (int32_t c = 0; c < channels_; ++c) {
    if (std::fabs(step) >= kUnchanged) {
      RBlockKernels::ScaleRamp(channels[c], count, previousGain_, step);
    } else if (std::fabs(previousGain_ - 1.0f) >= kUnchanged) {
      RBlockKernels::Scale(channels[c], count, previousGain_);
    }
  }
  previousGain_ = target;
}
