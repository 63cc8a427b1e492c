#pragma once
// The inner loops of grain playback: read a grain at a fractional position that moves by a
// rate per output frame (linear interpolation between neighbouring frames), weight each frame
// by an envelope and a gain, and add it into the output. At rate 1 from a whole position the
// read is a plain weighted add.
//
// Each kernel is compiled once per processor level and the build for the running processor is
// picked at the first call (Highway's dynamic dispatch), as the kernels of modules/dsp are.
// Every build gives the scalar form's result within a few units in the last place: the lanes
// of a vector take their fractions in single precision relative to the first lane's frame.
//
// The caller keeps every read position below length: position + (frames - 1) * rate < length.
// [audio-thread], allocation-free and noexcept.

#include <cstdint>

namespace RGrainKernels {

// out[i] += x(position + i * rate) * envelope[i] * gain
void AddMono(const float* source, int32_t length, double position, double rate, const float* envelope, float gain,
             float* out, int32_t frames) noexcept;

// The stereo pair in one pass: one position and one envelope, a gain per side.
void AddStereo(const float* left, const float* right, int32_t length, double position, double rate,
               const float* envelope, float gainLeft, float gainRight, float* outLeft, float* outRight,
               int32_t frames) noexcept;

} // namespace RGrainKernels
