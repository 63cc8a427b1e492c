#pragma once
// RHilbertNetwork: the frequency shifter's phase network, two chains of four second-order
// all-pass stages whose outputs stand 90 degrees apart over a band: the in-phase path and the
// quadrature path, which lags it. One table of stages per Character, from the offline design
// in tools/generators/gen_hilbert_tables.py.
//
// The stages are designed at 44100 Hz whatever the running rate: at another rate the band
// moves along with it (at 96 kHz it lies a little over twice as high), which keeps the
// coefficients independent of the host and the Characters sounding alike across rates.
//
// Both paths of a stereo pair run as four lanes of one all-pass cascade
// (modules/dsp/lanefilters.h): two multiplies a stage, every stage of all four chains per
// sample, which is what makes the shifter cheap. Values between the stages stay 64-bit.
//
// Design runs where the owner takes a parameter change in; Run is [audio-thread],
// allocation-free and noexcept.

#include <cstdint>

#include "modules/dsp/biquad.h"
#include "modules/dsp/lanefilters.h"

class RHilbertNetwork {
public:
  static constexpr int32_t kStagesPerPath = 4;
  static constexpr int32_t kCharacterCount = 4;
  static constexpr double kDesignRate = 44100.0;

  // One row of the design: the band it holds at 44100 Hz, its worst phase error there in
  // degrees, and the stages as frequency in Hz and Q, in-phase path first.
  struct Table {
    const char* name;
    double lowHz;
    double highHz;
    double worstErrorDegrees;
    double stages[2 * kStagesPerPath][2];
  };
  static const Table& GetTable(int32_t character) noexcept;

  // Per channel: the history of both paths.
  struct State {
    RLaneFilters::RLaneState inPhase;
    RLaneFilters::RLaneState quadrature;
    void Clear() noexcept;
  };

  RHilbertNetwork() { Design(0); }
  // Designs the eight stages of a Character (clamped into the tables).
  void Design(int32_t character);
  int32_t GetCharacter() const noexcept { return character_; }

  // input to both paths; input may be neither output.
  void Run(State& state, const float* input, float* inPhase, float* quadrature, int32_t count) const noexcept;
  // Two channels at once, each with its state, input and two outputs.
  void RunPair(State& left, State& right, const float* inLeft, const float* inRight, float* inPhaseLeft,
               float* quadratureLeft, float* inPhaseRight, float* quadratureRight, int32_t count) const noexcept;

  const RBiquad* GetInPhaseStages() const noexcept { return inPhase_; }
  const RBiquad* GetQuadratureStages() const noexcept { return quadrature_; }

private:
  RBiquad inPhase_[kStagesPerPath];
  RBiquad quadrature_[kStagesPerPath];
  // The same stages by lane: in-phase left and right, then quadrature left and right.
  RLaneFilters::RLaneStage lanes_[kStagesPerPath];
  int32_t character_ = -1;
};
