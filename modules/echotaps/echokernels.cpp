#include "modules/echotaps/echokernels.h"

#include <algorithm>
#include <array>
#include <utility>

#include "modules/dsp/dspkernels.h"

namespace REchoKernels {
namespace {

// The read point of one line in one form, held in locals for the loop.
template <int Form>
struct ReadPoint {
  int32_t mask, read, write;
  double position, speed, size;
  int32_t fadeRead;
  float fade, fadeStep;

  explicit ReadPoint(const REchoCursor& c) noexcept
      : mask(c.mask), read(c.read), write(c.write), position(c.position), speed(c.speed), size(c.size),
        fadeRead(c.fadeRead), fade(c.fade), fadeStep(c.fadeStep) {}

  float Read(const float* ring) const noexcept {
    if constexpr (Form == REchoLine::kStill) {
      return ring[read];
    } else if constexpr (Form == REchoLine::kGlide) {
      const auto index = int32_t(position);
      const double fraction = position - double(index);
      const float a = ring[index & mask];
      const float b = ring[(index + 1) & mask];
      return float(a + (b - a) * fraction);
    } else {
      return ring[fadeRead] * (1.0f - fade) + ring[read] * fade;
    }
  }

  void Step() noexcept {
    write = (write + 1) & mask;
    if constexpr (Form == REchoLine::kGlide) {
      position += speed;
      if (position >= size) position -= size;
    } else {
      read = (read + 1) & mask;
    }
    if constexpr (Form == REchoLine::kFade) {
      fadeRead = (fadeRead + 1) & mask;
      fade += fadeStep;
    }
  }

  void Store(REchoCursor& c) const noexcept {
    c.read = read;
    c.write = write;
    c.position = position;
    c.fadeRead = fadeRead;
    c.fade = fade;
  }
};

// One band-pass stage, in the order and with the limits of the filter runs.
inline double Tick(const RBiquadCoefficients& c, RBiquadState& s, double x) noexcept {
  double y = c.b0 * x + c.b1 * s.x1 + c.b2 * s.x2 + c.f1 * s.y1 + c.f2 * s.y2;
  y = y == y ? y : 0.0;
  y = std::min(std::max(y, -RDspKernels::kBiquadLimit), RDspKernels::kBiquadLimit);
  s.y2 = s.y1;
  s.y1 = y;
  s.x2 = s.x1;
  s.x1 = x;
  return y;
}

// NaN to 0, then within the ring's limit: branch-free min/max.
inline float Guard(double v) noexcept {
  const double finite = v == v ? v : 0.0;
  return float(std::min(std::max(finite, -double(kRingLimit)), double(kRingLimit)));
}

// What enters the ring after the feedback: band-pass, saturation, guard.
template <bool Filter, bool Sat>
inline float Shape(double w, RBiquadState* states, const RBiquadCoefficients* bandPass, double saturation) noexcept {
  if constexpr (Filter) {
    // Garbage must not reach the filter's memory, where it would outlive the sample.
    w = double(Guard(w));
    w = Tick(bandPass[0], states[0], w);
    w = Tick(bandPass[1], states[1], w);
  }
  if constexpr (Sat) w = Saturate(w, saturation);
  return Guard(w);
}

template <bool Stereo, int Mode, bool Filter, bool Sat, bool Shuffle, int Form>
void Run(Args& a) noexcept {
  constexpr int C = Stereo ? 2 : 1;
  // Ping-pong's partner is the other channel; the other modes feed a channel back into itself.
  constexpr bool kCross = Mode == kPingPong && Stereo;
  const int32_t passes = Stereo ? 1 : a.channels;
  const int32_t n = a.count;
  ReadPoint<Form> last(*a.cursors[0]);
  ReadPoint<Form> lastShuffle(*a.cursors[Shuffle ? 1 : 0]);
  for (int32_t pass = 0; pass < passes; ++pass) {
    ReadPoint<Form> pa(*a.cursors[0]);
    ReadPoint<Form> pb(*a.cursors[Shuffle ? 1 : 0]);
    const float* x[C];
    float* out[C];
    float* ringA[C];
    float* ringB[C];
    RBiquadState* stateA[C];
    RBiquadState* stateB[C];
    double gain[C], gainStep[C];
    for (int k = 0; k < C; ++k) {
      const int32_t ch = Stereo ? k : pass;
      x[k] = a.input[ch];
      out[k] = a.output[ch];
      ringA[k] = a.rings[0][ch];
      ringB[k] = Shuffle ? a.rings[1][ch] : nullptr;
      stateA[k] = a.filterStates ? a.filterStates + ch * kStages : nullptr;
      stateB[k] = a.filterStates ? a.filterStates + (a.channels + ch) * kStages : nullptr;
      gain[k] = a.gain[Stereo ? k : 0];
      gainStep[k] = a.gainStep[Stereo ? k : 0];
    }
    double f = a.feedback;
    for (int32_t i = 0; i < n; ++i) {
      float ra[C], rb[C];
      for (int k = 0; k < C; ++k) {
        ra[k] = pa.Read(ringA[k]);
        rb[k] = Shuffle ? pb.Read(ringB[k]) : 0.0f;
      }
      for (int k = 0; k < C; ++k) {
        const int o = kCross ? C - 1 - k : k;
        const double xk = x[k][i];
        // The value that returns to the main line: its own echo, or the shuffle line's.
        const double back = Shuffle ? double(rb[o]) : double(ra[o]);
        const double w = Mode == kDefault ? (back + xk) * f : xk + back * f;
        ringA[k][pa.write] = Shape<Filter, Sat>(w, stateA[k], a.bandPass, a.saturation);
        if constexpr (Shuffle) {
          ringB[k][pb.write] = Shape<Filter, Sat>(double(ra[o]) * f, stateB[k], a.bandPass, a.saturation);
        }
        const double echo = Shuffle ? double(ra[k]) + double(rb[k]) : double(ra[k]);
        out[k][i] += float(echo * gain[k]);
        gain[k] += gainStep[k];
      }
      pa.Step();
      if constexpr (Shuffle) pb.Step();
      f += a.feedbackStep;
    }
    last = pa;
    lastShuffle = pb;
  }
  last.Store(*a.cursors[0]);
  if constexpr (Shuffle) lastShuffle.Store(*a.cursors[1]);
}

constexpr int32_t kForms = 3;
constexpr int32_t kLayoutModes = 5;  // stereo: three modes; other layouts: "Default", "Classic"
constexpr int32_t kKernelCount = kLayoutModes * 2 * 2 * 2 * kForms;

template <size_t I>
constexpr Kernel KernelAt() {
  constexpr int form = int(I % kForms);
  constexpr bool shuffle = (I / kForms) % 2 != 0;
  constexpr bool sat = (I / (kForms * 2)) % 2 != 0;
  constexpr bool filter = (I / (kForms * 4)) % 2 != 0;
  constexpr int layoutMode = int(I / (kForms * 8));
  constexpr bool stereo = layoutMode < 3;
  constexpr int mode = stereo ? layoutMode : layoutMode - 3;
  return &Run<stereo, mode, filter, sat, shuffle, form>;
}

template <size_t... I>
constexpr std::array<Kernel, sizeof...(I)> MakeTable(std::index_sequence<I...>) {
  return {KernelAt<I>()...};
}

constexpr std::array<Kernel, kKernelCount> kKernels = MakeTable(std::make_index_sequence<kKernelCount>());

} // namespace

double Saturate(double v, double amount) noexcept {
  // A rational tanh that reaches exactly 1 at 3 with a flat slope, so the clip has no corner.
  const double u = std::min(std::max(v, -3.0), 3.0);
  const double soft = u * (27.0 + u * u) / (27.0 + 9.0 * u * u);
  return v + amount * (soft - v);
}

Kernel Get(const Key& key) noexcept {
  const int32_t mode = std::clamp(key.mode, 0, 2);
  const int32_t layoutMode = key.stereo ? mode : 3 + std::min(mode, int32_t(kClassic));
  const int32_t index =
      (((layoutMode * 2 + int32_t(key.filter)) * 2 + int32_t(key.saturation)) * 2 + int32_t(key.shuffle)) * kForms +
      std::clamp(int32_t(key.form), 0, kForms - 1);
  return kKernels[size_t(index)];
}

void Copy(Args& a) noexcept {
  for (int32_t ch = 0; ch < a.channels; ++ch) {
    const int k = a.channels == 2 ? ch : 0;
    double gain = a.gain[k];
    const float* x = a.input[ch];
    float* out = a.output[ch];
    RBiquadState* states = a.filterStates ? a.filterStates + ch * kStages : nullptr;
    if (states || a.saturation > 0.0) {
      // At no delay the echo is its input as the ring would hold it: through the band-pass
      // and the saturation that sit in the loop.
      for (int32_t i = 0; i < a.count; ++i) {
        const double w = states ? Shape<true, false>(x[i], states, a.bandPass, 0.0) : double(x[i]);
        out[i] += float((a.saturation > 0.0 ? Saturate(w, a.saturation) : w) * gain);
        gain += a.gainStep[k];
      }
      continue;
    }
    for (int32_t i = 0; i < a.count; ++i) {
      out[i] += float(x[i] * gain);
      gain += a.gainStep[k];
    }
  }
}

} // namespace REchoKernels
