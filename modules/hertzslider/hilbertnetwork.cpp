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
  for (RBiquadState& s : inPhase) s.Clear();
  for (RBiquadState& s : quadrature) s.Clear();
}

void RHilbertNetwork::Design(int32_t character) {
  character = std::clamp(character, 0, kCharacterCount - 1);
  const Table& table = kTables[character];
  for (int32_t s = 0; s < kStagesPerPath; ++s) {
    inPhase_[s].Design(RBiquad::kAllPass, 0.0, table.stages[s][0], kDesignRate, table.stages[s][1]);
    const auto& q = table.stages[kStagesPerPath + s];
    quadrature_[s].Design(RBiquad::kAllPass, 0.0, q[0], kDesignRate, q[1]);
  }
  character_ = character;
}

void RHilbertNetwork::Run(State& state, const float* input, float* inPhase, float* quadrature,
                          int32_t count) const noexcept {
  RBiquad::RunCascade(inPhase_, state.inPhase, kStagesPerPath, input, inPhase, count);
  RBiquad::RunCascade(quadrature_, state.quadrature, kStagesPerPath, input, quadrature, count);
}
