#include "modules/blend/manywayblend.h"

#include <algorithm>
#include <cmath>

#include "graph/audiopluginmodular.h"
#include "graph/moduleregistry.h"
#include "modules/dsp/dspkernels.h"
#include "modules/dsp/vectorops.h"

namespace {

// How far short of the end of the span a moving position stops: its whole part then never
// reaches the bus after the last.
constexpr double kEndMargin = 1.000001;

} // namespace

RManyWayBlend::RManyWayBlend() : RTwoWayBlend(RString("ManyWayBlend"), false) {
  cyclic_ = std::make_unique<RBoolValue>(this, RString("Cyclic mode"), false, RString("Cyclic"),
                                         RString("With this option enabled, the ratio of 0% would remain input 1, "
                                                 "but then 33% input 2, 66% input 3 and 100% input 1."));
}

void RManyWayBlend::Process(float* const* inputs, float* const* outputs, int32_t frames) {
  if (frames <= 0) return;
  RPercentValue& ratio = GetRatio();
  const int32_t buses = inputs ? inputBuses_ : 0;
  const int32_t channels = processChannels_;
  if (buses <= 1) {
    for (int32_t c = 0; c < channels; ++c) {
      if (!outputs[c]) continue;
      const float* in = buses == 1 ? inputs[c] : nullptr;
      if (!in) {
        RVectorOps::Zero(outputs[c], frames);
      } else if (in != outputs[c]) {
        RVectorOps::Copy(in, outputs[c], frames);
      }
    }
    ratio.MarkRampDone();
    return;
  }
  const bool cyclic = cyclic_->IsProcessingOn();
  double start = 0.0, step = 0.0;
  if (ratio.GetRamp(frames, start, step)) {
    BlendRamp(inputs, outputs, frames, buses, cyclic, start, step);
  } else {
    BlendAt(inputs, outputs, frames, buses, cyclic, ratio.GetProcessing());
  }
  ratio.MarkRampDone();
}

uint64_t RManyWayBlend::GetInputsInUse() const noexcept {
  const int32_t buses = inputBuses_;
  const RPercentValue& ratio = GetRatio();
  // A cyclic walk wraps, a ramp of the block's own automation may go anywhere, and the dry
  // path of a bypass (or its crossfade) reads the first bus whatever the ratio says.
  const bool bypassing = bypassState_ || bypassMix_ < 1.0f || (bypassValue_ && bypassValue_->IsProcessingOn());
  if (buses <= 1 || buses > 63 || cyclic_->IsProcessingOn() || HasActiveRamps() || bypassing) return ~uint64_t(0);
  const int32_t span = buses - 1;
  const double from = std::min(ratio.GetLastValue(), ratio.GetProcessing());
  const double to = std::max(ratio.GetLastValue(), ratio.GetProcessing());
  // The mix computes its position in single precision: a margin keeps a bus it may round down
  // to inside.
  const int32_t first = std::clamp(int32_t(std::floor(from * span - 1e-4)), 0, span);
  const int32_t last = std::clamp(int32_t(std::floor(to * span)) + 1, 0, span);
  return ((uint64_t(1) << (last + 1)) - 1) & ~((uint64_t(1) << first) - 1);
}

void RManyWayBlend::BlendAt(float* const* inputs, float* const* outputs, int32_t frames, int32_t buses, bool cyclic,
                            double ratio) noexcept {
  const int32_t span = cyclic ? buses : buses - 1;
  // Single precision, so that 0.875 of 16 lands exactly on bus 14 as the control shows it.
  const float position = std::clamp(float(span) * float(ratio), 0.0f, float(span));
  const auto k = int32_t(position);
  const RBlendGains g = BlendGainsAt(ProcessingMode(), double(position - float(k)));
  const int32_t from = k % buses;
  // Not cyclic, the end of the span has no bus after it: the last bus alone.
  const int32_t to = (!cyclic && k + 1 >= buses) ? -1 : (k + 1) % buses;
  for (int32_t c = 0; c < processChannels_; ++c) {
    float* out = outputs[c];
    if (!out) continue;
    const float* x = inputs[from * channelStride_ + c];
    const float* y = to >= 0 ? inputs[to * channelStride_ + c] : nullptr;
    if (!x) {
      RVectorOps::Zero(out, frames);
      if (y && g.a != 0.0) RVectorOps::MultiplyAdd(y, out, frames, float(g.a));
    } else if (y && g.a != 0.0) {
      RDspKernels::Mix(x, y, out, frames, float(g.b), float(g.a));
    } else {
      // A neighbour at gain 0 stays out entirely, whatever it holds.
      RVectorOps::MultiplyByConstant(x, out, frames, float(g.b));
    }
  }
}

void RManyWayBlend::BlendRamp(float* const* inputs, float* const* outputs, int32_t frames, int32_t buses,
                              bool cyclic, double start, double step) noexcept {
  const int32_t span = cyclic ? buses : buses - 1;
  const double top = double(span + 1) - kEndMargin;
  const RBlendMode mode = ProcessingMode();
  int32_t whole[kChunk];
  float fraction[kChunk], a[kChunk], b[kChunk];
  for (int32_t offset = 0; offset < frames; offset += kChunk) {
    const int32_t n = std::min(kChunk, frames - offset);
    for (int32_t i = 0; i < n; ++i) {
      const double position = std::clamp((start + double(offset + i) * step) * double(span), 0.0, top);
      whole[i] = int32_t(position);
      fraction[i] = float(position - double(whole[i]));
    }
    BlendGainsOver(mode, fraction, a, b, n);
    // A ramp crosses a bus boundary at most a few times per block: mix each stretch that
    // shares one pair of buses with the vector form.
    for (int32_t begin = 0; begin < n;) {
      const int32_t k = whole[begin];
      int32_t end = begin + 1;
      while (end < n && whole[end] == k) ++end;
      const int32_t from = k % buses;
      const int32_t to = (!cyclic && k + 1 >= buses) ? -1 : (k + 1) % buses;
      const int32_t at = offset + begin;
      for (int32_t c = 0; c < processChannels_; ++c) {
        float* out = outputs[c];
        if (!out) continue;
        const float* x = inputs[from * channelStride_ + c];
        const float* y = to >= 0 ? inputs[to * channelStride_ + c] : nullptr;
        if (x && y) {
          BlendMix(x + at, y + at, out + at, a + begin, b + begin, end - begin);
        } else if (x) {
          RVectorOps::Multiply(x + at, b + begin, out + at, end - begin);
        } else if (y) {
          RVectorOps::Multiply(y + at, a + begin, out + at, end - begin);
        } else {
          RVectorOps::Zero(out + at, end - begin);
        }
      }
      begin = end;
    }
  }
}

void RegisterManyWayBlend() {
  RModuleRegistry::RegisterClass<RManyWayBlend>(RString("ManyWayBlend"));
}
