#include "modules/spanfilter/spanfilterchain.h"

#include <algorithm>
#include <cstring>

#include "modules/dsp/dspkernels.h"

void RSpanFilterChain::Setup(int32_t channels) {
  channels_ = std::max(channels, 0);
  states_.assign(size_t(channels_) * kSides * kMaxButterworthStages, RBiquadState());
}

bool RSpanFilterChain::Design(RButterworthKind kind, int32_t order, double frequency, double sampleRate,
                              double q) noexcept {
  const int32_t index = Index(kind);
  Side& side = sides_[index];
  order = std::clamp(order, 0, kMaxButterworthOrder);
  if (order == side.order && frequency == side.frequency && sampleRate == side.sampleRate && q == side.q) return false;
  if (order != side.order) ClearSide(index);
  side.order = order;
  side.frequency = frequency;
  side.sampleRate = sampleRate;
  side.q = q;
  // Only the valid types reach the design, which raises nothing for them.
  side.count = sampleRate > 0.0 ? DesignButterworth(side.stages, kind, order, frequency, sampleRate, q) : 0;
  for (int32_t s = 0; s < side.count; ++s) side.packed[s] = side.stages[s].GetCoefficients();
  return true;
}

void RSpanFilterChain::Clear() noexcept {
  for (RBiquadState& state : states_) state.Clear();
}

void RSpanFilterChain::ClearSide(int32_t side) noexcept {
  for (int32_t c = 0; c < channels_; ++c) {
    RBiquadState* states = States(c, side);
    std::fill(states, states + kMaxButterworthStages, RBiquadState());
  }
}

void RSpanFilterChain::RunChannel(const float* in, float* out, int32_t channel, int32_t frames) noexcept {
  // The first side reads the input (or copies it when off); the second works in place.
  RDspKernels::BiquadCascade(sides_[0].packed, States(channel, 0), sides_[0].count, in, out, frames);
  RDspKernels::BiquadCascade(sides_[1].packed, States(channel, 1), sides_[1].count, out, out, frames);
}

void RSpanFilterChain::RunPair(const float* inLeft, const float* inRight, float* outLeft, float* outRight,
                               int32_t channel, int32_t frames) noexcept {
  for (int32_t s = 0; s < kSides; ++s) {
    RDspKernels::BiquadCascadePair(sides_[s].packed, States(channel, s), States(channel + 1, s), sides_[s].count,
                                   s == 0 ? inLeft : outLeft, s == 0 ? inRight : outRight, outLeft, outRight, frames);
  }
}

void RSpanFilterChain::Process(const float* const* inputs, float* const* outputs, int32_t channels,
                               int32_t frames) noexcept {
  if (frames <= 0 || !outputs) return;
  // Silence in place of a missing input: the stages still ring out what they hold.
  const auto source = [&](int32_t c) -> const float* {
    const float* in = inputs ? inputs[c] : nullptr;
    if (in) return in;
    std::memset(outputs[c], 0, size_t(frames) * sizeof(float));
    return outputs[c];
  };
  int32_t c = 0;
  for (; c + 1 < std::min(channels, channels_); c += 2) {
    if (!outputs[c] || !outputs[c + 1]) {
      if (outputs[c]) RunChannel(source(c), outputs[c], c, frames);
      if (outputs[c + 1]) RunChannel(source(c + 1), outputs[c + 1], c + 1, frames);
      continue;
    }
    const float* left = source(c);
    const float* right = source(c + 1);
    RunPair(left, right, outputs[c], outputs[c + 1], c, frames);
  }
  for (; c < channels; ++c) {
    if (!outputs[c]) continue;
    const float* in = source(c);
    if (c < channels_) {
      RunChannel(in, outputs[c], c, frames);
    } else if (in != outputs[c]) {
      std::memmove(outputs[c], in, size_t(frames) * sizeof(float));
    }
  }
}

std::complex<double> RSpanFilterChain::Response(double frequency) const noexcept {
  std::complex<double> h(1.0, 0.0);
  for (const Side& side : sides_) {
    for (int32_t s = 0; s < side.count; ++s) h *= side.stages[s].Response(frequency);
  }
  return h;
}
