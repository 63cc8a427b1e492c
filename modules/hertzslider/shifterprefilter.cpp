#include "modules/hertzslider/shifterprefilter.h"

#include <algorithm>

namespace {

// Q of the second-order sections of Butterworth filters: 1 / (2 sin((2k - 1) pi / 2n)).
constexpr double kSixthOrderQ[3] = {0.5176380902050415, 0.7071067811865476, 1.9318516525781366};
constexpr double kEighthOrderQ[4] = {0.5097955791041592, 0.6013448869350453, 0.8999762231364156,
                                     2.5629154477415055};

} // namespace

void RShifterPrefilter::State::Clear() noexcept { stages.Clear(); }

void RShifterPrefilter::Design(double sampleRate) {
  const double lowPass = std::min(kLowPassHz, 0.42 * sampleRate);
  for (int32_t s = 0; s < 3; ++s) stages_[s].Design(RBiquad::kHighPass, 0.0, kHighPassHz, sampleRate, kSixthOrderQ[s]);
  for (int32_t s = 0; s < 4; ++s) stages_[3 + s].Design(RBiquad::kLowPass, 0.0, lowPass, sampleRate, kEighthOrderQ[s]);
  stages_[7].Design(RBiquad::kBilinearLowPass, 0.0, 0.45 * sampleRate, sampleRate, 0.0);
  for (int32_t s = 0; s < kStageCount; ++s) {
    for (int32_t lane = 0; lane < 2; ++lane) lanes_[s].Set(lane, stages_[s].GetCoefficients());
  }
}

void RShifterPrefilter::Run(State& state, const float* input, float* output, int32_t count) const noexcept {
  RLaneFilters::RLaneState* const states[2] = {&state.stages, nullptr};
  const float* const inputs[2] = {input, input};
  float* const outputs[2] = {output, nullptr};
  RLaneFilters::BiquadPair(lanes_, kStageCount, states, inputs, outputs, count);
}

void RShifterPrefilter::RunPair(State& left, State& right, const float* inLeft, const float* inRight,
                                float* outLeft, float* outRight, int32_t count) const noexcept {
  RLaneFilters::RLaneState* const states[2] = {&left.stages, &right.stages};
  const float* const inputs[2] = {inLeft, inRight};
  float* const outputs[2] = {outLeft, outRight};
  RLaneFilters::BiquadPair(lanes_, kStageCount, states, inputs, outputs, count);
}
