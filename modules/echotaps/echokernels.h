#pragma once
// The sample kernels of an echo tap: one per combination of the settings that stay constant
// over a run (channel layout, mode, band-pass in the feedback, saturation, shuffle path, and
// the form in which the read points move), so that the sample loop holds no test of any of
// them. Each is an instantiation of one template; GetEchoKernel picks it from a table.
//
// Per sample and channel, with r read from the ring, x the tap's input and f the feedback:
//   "Default"   writes (r + x) f: the first echo already depends on the feedback;
//   "Classic"   writes x + r f: the first echo comes at full level;
//   "PingPong"  writes x + r' f with r' read from the other channel, so echoes change sides.
// The written value passes the band-pass (feedback form) and the saturation, then a guard
// (NaN to 0, +-kRingLimit) so that no input can leave garbage circulating in a ring. The
// output gets r times the channel's gain share.
//
// The shuffle path runs a second line beside the main one: the main line (delay (1 + a) T)
// feeds the second (delay (1 - a) T), whose output returns to the main line. Echoes land at
// T + aT, 2T, 3T + aT, 4T ...: every other echo is pushed late (a > 0) or early (a < 0), and
// at a = 0 the result equals the single line.
//
// [audio-thread], allocation-free and noexcept.

#include <cstdint>

#include "modules/dsp/biquadstate.h"
#include "modules/echotaps/echoline.h"

namespace REchoKernels {

// No sample leaves a ring above this: +30 dB over full scale is far beyond any sane echo, and
// a feedback of 1 on a steady input can't climb without end.
constexpr float kRingLimit = 32.0f;

enum Mode : int32_t { kDefault = 0, kClassic = 1, kPingPong = 2 };
constexpr int32_t kLines = 2;   // main line and shuffle line
constexpr int32_t kStages = 2;  // band-pass: high-pass at the lower edge, low-pass at the upper

struct Args {
  const float* const* input = nullptr;  // per channel
  float* const* output = nullptr;       // per channel; the tap's part is added
  int32_t channels = 0;                 // a stereo kernel takes exactly 2
  int32_t count = 0;
  double feedback = 0.0;
  double feedbackStep = 0.0;
  // Stereo: the shares of left and right; other layouts use [0] for every channel.
  double gain[2] = {0.0, 0.0};
  double gainStep[2] = {0.0, 0.0};
  double saturation = 0.0;                        // 0..1
  const RBiquadCoefficients* bandPass = nullptr;  // kStages stages
  // Per line, channel and stage: states[(line * channels + channel) * kStages + stage].
  RBiquadState* filterStates = nullptr;
  REchoCursor* cursors[kLines] = {nullptr, nullptr};
  float* const* rings[kLines] = {nullptr, nullptr};
};

struct Key {
  bool stereo = true;
  int32_t mode = kClassic;  // ping-pong needs two channels: other layouts run it as "Classic"
  bool filter = false;
  bool saturation = false;
  bool shuffle = false;
  REchoLine::Motion form = REchoLine::kStill;
};

using Kernel = void (*)(Args& args) noexcept;

Kernel Get(const Key& key) noexcept;

// A tap whose line has no length: the input, times the gain shares, added to the output.
void Copy(Args& args) noexcept;

// The saturation curve on its own: v blended towards a soft clip by amount (0..1).
double Saturate(double v, double amount) noexcept;

} // namespace REchoKernels
