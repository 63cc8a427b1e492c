#include "modules/hertzslider/hilbertnetwork.h"

#include <algorithm>

namespace {

const RHilbertNetwork::Table kTables[RHilbertNetwork::kCharacterCount] = {
#include "modules/hertzslider/hilberttables.inc"
};

} // namespace

const RHilbertNetwork::Table& RHilbertNetwork::GetTable(int32_t character) noexcept {
  return kTables[std::clamp(character, 0, kCharacterCount - 1)];
}

void RHilbertNetwork::State::Clear() noexcept {
  inPhase.Clear();
  quadrature.Clear();
}

void RHilbertNetwork::Design(int32_t character) {
  character = std::clamp(character, 0, kCharacterCount - 1);
  const Table& table = kTables[character];
  for (int32_t s = 0; s < kStagesPerPath; ++s) {
    inPhase_[s].Design(RBiquad::kAllPass, 0.0, table.stages[s][0], kDesignRate, table.stages[s][1]);
    const auto& q = table.stages[kStagesPerPath + s];
    quadrature_[s].Design(RBiquad::kAllPass, 0.0, q[0], kDesignRate, q[1]);
    for (int32_t lane = 0; lane < 2; ++lane) {
      lanes_[s].Set(lane, inPhase_[s].GetCoefficients());
      lanes_[s].Set(2 + lane, quadrature_[s].GetCoefficients());
    }
  }
  character_ = character;
}

void RHilbertNetwork::Run(State& state, const float* input, float* inPhase, float* quadrature,
                          int32_t count) const noexcept {
  // The right-hand lanes idle on scratch states.
  RLaneFilters::RLaneState* const states[4] = {&state.inPhase, nullptr, &state.quadrature, nullptr};
  const float* const inputs[4] = {input, input, input, input};
  float* const outputs[4] = {inPhase, nullptr, quadrature, nullptr};
  RLaneFilters::AllPassQuad(lanes_, kStagesPerPath, states, inputs, outputs, count);
}

void RHilbertNetwork::RunPair(State& left, State& right, const float* inLeft, const float* inRight,
                              float* inPhaseLeft, float* quadratureLeft, float* inPhaseRight,
                              float* quadratureRight, int32_t count) const noexcept {
  RLaneFilters::RLaneState* const states[4] = {&left.inPhase, &right.inPhase, &left.quadrature, &right.quadrature};
  const float* const inputs[4] = {inLeft, inRight, inLeft, inRight};
  float* const outputs[4] = {inPhaseLeft, inPhaseRight, quadratureLeft, quadratureRight};
  RLaneFilters::AllPassQuad(lanes_, kStagesPerPath, states, inputs, outputs, count);
}
