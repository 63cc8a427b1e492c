#pragma once
// Butterworth high-pass and low-pass cascades of RBiquad stages, one per slope of n dB/octave.
//
// A slope of n dB/octave is a Butterworth filter of order N = n / 6. It becomes N / 2
// second-order stages (rounded down), preceded by one first-order stage when N is odd.
// Second-order stage k (k = 1 .. N / 2, in that order) takes the pole Q of the order-N
// prototype,
//   N even: Q_k = 1 / (2 cos((2k - 1) pi / (2N)))       N odd: Q_k = 1 / (2 cos(k pi / N)),
// so the Qs rise from stage to stage and the last stage holds the poles nearest the axis, the
// ones that shape the knee. That stage takes the user's resonance q as well: its Q becomes
// Q_last * q / sqrt(1/2). So q = 0.7071 gives the plain Butterworth response (-3.01 dB at the
// corner for every slope), a higher q a resonant peak just inside the pass band, a lower q a
// softer knee. A second-order stage's magnitude at its corner is its Q and the Butterworth Qs
// multiply to sqrt(1/2), so from 12 dB/octave on the corner sits at q itself (20 log10 q dB)
// whatever the slope. A lone first-order stage (6 dB) has no Q to change.
//
// Every stage is a bilinear design prewarped at the corner, so the cascade is the bilinear
// transform of the analogue prototype: its magnitude at f is the prototype's at the warped
// frequency, 1 / sqrt(1 + (tan(pi f / fs) / tan(pi fc / fs))^(2N)) for the low-pass and the
// ratio inverted for the high-pass.
//
// [any-thread], allocation-free.

#include <cstdint>

class RBiquad;

enum class RButterworthKind : int32_t { kHighPass = 0, kLowPass = 1 };

// Order 20 is 120 dB/octave, the steepest slope a module offers.
constexpr int32_t kMaxButterworthOrder = 20;
constexpr int32_t kMaxButterworthStages = (kMaxButterworthOrder + 1) / 2;

// Stages an order needs: N / 2 second-order ones and a first-order one for odd N; 0 for N < 1.
int32_t ButterworthStageCount(int32_t order) noexcept;

// Designs the stages of an order (clamped to 0 .. kMaxButterworthOrder) into stages, which
// holds at least ButterworthStageCount(order) entries; returns that count. The corner is held
// within 1 Hz .. 0.49 * sampleRate, where the bilinear design stays well conditioned.
int32_t DesignButterworth(RBiquad* stages, RButterworthKind kind, int32_t order, double frequency,
                          double sampleRate, double q);
