#pragma once
// Vector kernels behind RShapeSegments::EvaluateBlock for the cheap segment forms: a constant
// fill and a polynomial of degree up to 4 over an evenly spaced run of positions
// x[i] = start + i * step. A modulator or a target's curve fills a whole sub-block through one
// call instead of one switch per sample.
//
// Each kernel is compiled once per processor level and picked through a slot table at the
// first call, as the kernel's value kernels are. The arithmetic is the one of the scalar
// segment evaluation, operation by operation (no fused multiply-add: this library builds with
// contraction off), so a block gives exactly what single evaluations give.
//
// [any-thread], allocation-free and noexcept: safe on the audio thread.

#include <cstdint>

namespace RShapeKernels {

void Fill(float* out, int32_t count, double value) noexcept;
void Fill(double* out, int32_t count, double value) noexcept;

// For i in 0..count-1: x = start + (first + i) * step, u = (x - origin) * scale, and
// out[i] = c[0] + u * (c[1] + u * (... c[degree])) by Horner's rule from c[degree] down.
// degree is 0..4. first lets a run inside a block keep the block's own positions.
void Polynomial(float* out, int32_t count, int32_t first, double start, double step, double origin, double scale,
                const double* coefficients, int32_t degree) noexcept;
void Polynomial(double* out, int32_t count, int32_t first, double start, double step, double origin,
                double scale, const double* coefficients, int32_t degree) noexcept;

} // namespace RShapeKernels
