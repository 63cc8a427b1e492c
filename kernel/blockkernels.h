#pragma once
// Vector kernels of the block stages (kernel/blockstages.h): scaling by a constant or a
// ramp, and the channel-pair forms of panorama and stereo width, constant or ramped.
//
// Like kernel/valuekernels.h, each kernel is compiled once per processor level and the build
// for the running processor is picked at the first call through a slot table. Ramps step
// per sample: sample i sees start + i * increment. Pointers need no alignment, the count may
// be any size (0 or less does nothing), and the buffers are changed in place.
//
// [any-thread], allocation-free and noexcept: safe on the audio thread.

#include <cstdint>

namespace RBlockKernels {

// x[i] *= factor.
void Scale(float* x, int32_t count, float factor) noexcept;
// x[i] *= start + i * increment.
void ScaleRamp(float* x, int32_t count, float start, float increment) noexcept;

// A constant 2 x 2 mix of the pair: left = ll * left + rl * right, right = lr * left + rr * right.
void MixPair(float* left, float* right, int32_t count, float ll, float rl, float lr, float rr) noexcept;

// Panorama of the pair with p = start + i * increment, held within -1..1; law scales both
// outputs by 1 + (law - 1) * |p| (1: no change). See ApplyPanorama for the form.
void PanRamp(float* left, float* right, int32_t count, float start, float increment, float law) noexcept;

// Stereo width of the pair with f = start + i * increment, held within -1..1: side scaled by
// f + 1 and the level compensated per sample. See ApplyWidth for the form.
void WidthRamp(float* left, float* right, int32_t count, float start, float increment) noexcept;

// x[i] held within -limit..limit, NaN to 0: the cycle's output guard, which every module of a
// graph runs once per block.
void Clamp(float* x, int32_t count, float limit) noexcept;

} // namespace RBlockKernels
