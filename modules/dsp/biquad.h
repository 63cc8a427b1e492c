#pragma once
// RBiquad: one filter stage, its design from type, gain, frequency and Q, and its run. The
// stage holds only coefficients; each channel keeps an RBiquadState of its own, so one design
// serves every channel and a cascade is an array of stages with an array of states.
//
// Design runs wherever the owning module updates its parameters (editor, host or audio
// thread); Run is [audio-thread], allocation-free and noexcept. Output and state are held to
// +-100000 and a NaN becomes 0, so a stage fed garbage or redesigned while it rings recovers.

#include <complex>
#include <cstdint>

#include "modules/dsp/biquadstate.h"

class RBiquad {
public:
  // Second-order types are the bilinear designs with the corner prewarped, so the digital
  // response at each frequency is that of the analogue prototype at the warped frequency.
  // The first-order types 6, 7, 11, 12 and 13 match the pole instead (e = exp(-w)).
  enum Type : int32_t {
    kPeak = 0,
    kPeakHeld = 1,  // a peak whose shape holds up to the top of the band, where the bilinear peak cramps
    kLowShelf = 2,
    kHighShelf = 3,
    kLowPass = 4,
    kHighPass = 5,
    kOnePoleLowPass = 6,
    kOnePoleHighPass = 7,
    kBandPass = 8,  // 0 dB at the centre
    kNotch = 9,
    kAllPass = 10,
    kFirstOrderAllPass = 11,
    kOnePoleZeroLowPass = 12,  // one-pole low-pass with a zero that flattens the top of the band
    kOnePoleZeroHighPass = 13,  // the complement of 12: the two add up to the input
    kBilinearLowPass = 14,
    kBilinearHighPass = 15,  // the complement of 14
  };

  // Gain in dB matters for the peaks and shelves only; Q for the second-order types. The
  // frequency isn't limited: a caller keeps it below 0.499 * sampleRate. An unknown type
  // raises RException "Invalid filter type.".
  void Design(int32_t type, double gainDb, double frequency, double sampleRate, double q);

  // Filters count samples; input may equal output.
  void Run(RBiquadState& state, const float* input, float* output, int32_t count) const noexcept;
  // Two channels at once, with a state each.
  void RunPair(RBiquadState& left, RBiquadState& right, const float* inLeft, const float* inRight, float* outLeft,
               float* outRight, int32_t count) const noexcept;
  // stageCount stages in turn, 256 samples at a time through the stack: states holds one
  // state per stage. The result equals running each stage over the whole buffer in turn.
  static void RunCascade(const RBiquad* stages, RBiquadState* states, int32_t stageCount, const float* input,
                         float* output, int32_t count) noexcept;

  // The response at a frequency in Hz, from the coefficients: H(e^jw) = B(z) / A(z).
  std::complex<double> Response(double frequency) const noexcept;

  const RBiquadCoefficients& GetCoefficients() const noexcept { return coefficients_; }
  // Scales b0, b1 and b2, as a weighting filter that needs an exact gain does.
  void ScaleNumerator(double factor) noexcept;
  int32_t GetType() const noexcept { return type_; }
  double GetFrequency() const noexcept { return frequency_; }
  double GetSampleRate() const noexcept { return sampleRate_; }
  // Set by Design and ScaleNumerator; the owner clears it once it has taken the change in.
  bool HasChanged() const noexcept { return changed_; }
  void ClearChanged() noexcept { changed_ = false; }

private:
  void DesignSecondOrder(int32_t type);
  void DesignPeakHeld();
  void DesignFirstOrder(int32_t type);
  // b0, b1, b2, a0, a1, a2 into the stored form, divided by a0 and the feedback sign folded in.
  void SetNormalised(double b0, double b1, double b2, double a0, double a1, double a2) noexcept;

  double gain_ = 0.0;
  double frequency_ = 0.0;
  double sampleRate_ = 0.0;
  double q_ = 0.0;
  RBiquadCoefficients coefficients_;
  bool changed_ = false;
  int32_t type_ = kPeak;
  double cosw_ = 1.0;
  double alpha_ = 0.0;
  double w_ = 0.0;
};
