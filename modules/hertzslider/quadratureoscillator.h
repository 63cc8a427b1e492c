#pragma once
// RQuadratureOscillator: cos and -sin of a running phase, for the single-sideband mix of the
// frequency shifter (in-phase path times cos plus quadrature path times -sin moves every
// frequency up by the oscillator's).
//
// The phase is held as a unit phasor and advanced by multiplying with the step's rotation,
// two multiplies and two adds per sample instead of a sine and a cosine. Rounding makes the
// phasor's length drift by about 1e-16 a sample; one Newton step towards length 1 after each
// block, g = (3 - |z|^2) / 2, takes that out, so that hours of running keep the level.
// A frequency that glides over a block rotates the step itself by a fixed small rotation a
// sample, which makes the frequency move linearly.
//
// [audio-thread], allocation-free and noexcept, apart from construction.

#include <cstdint>

class RQuadratureOscillator {
public:
  // Back to phase 0.
  void Reset() noexcept;
  // The phase in radians, -pi..pi.
  double GetPhase() const noexcept;
  // Length of the phasor; 1 up to rounding.
  double GetAmplitude() const noexcept;

  // count samples of cos(phase) and -sin(phase), the phase advancing by 2 pi frequency /
  // sampleRate a sample with the frequency moving linearly from startHz to endHz over the
  // block. Either output may be null.
  void Run(float* cosine, float* minusSine, int32_t count, double startHz, double endHz, double sampleRate) noexcept;
  // Two oscillators in one loop, each as its own Run would go (the same values): the two
  // recursions overlap, where one after the other each waits on its multiplies.
  static void RunPair(RQuadratureOscillator& left, RQuadratureOscillator& right, float* cosineLeft,
                      float* minusSineLeft, float* cosineRight, float* minusSineRight, int32_t count,
                      double startLeftHz, double endLeftHz, double startRightHz, double endRightHz,
                      double sampleRate) noexcept;

private:
  // The phasor and its step per sample, as a loop carries them.
  struct Rotation {
    double re, im, stepRe, stepIm, glideRe, glideIm;
    bool gliding;
  };
  Rotation Start(int32_t count, double startHz, double endHz, double sampleRate) noexcept;
  // Takes the loop's phasor back, renormalised.
  void Finish(double re, double im) noexcept;
  static void Advance(Rotation& r) noexcept;

  double re_ = 1.0;
  double im_ = 0.0;
  // The rotation of the last step angle: a feedback loop of one sample starts a run every
  // sample, mostly at the frequency of the run before, and a sine and a cosine cost more
  // than the rest of the sample.
  double lastStep_ = 0.0;
  double lastStepRe_ = 1.0;
  double lastStepIm_ = 0.0;
};
