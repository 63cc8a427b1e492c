#include "modules/hertzslider/shifterprefilter.h"

#include <algorithm>

namespace {

// Q of the second-order sections of Butterworth filters: 1 / (2 sin((2k - 1) pi / 2n)).
constexpr double kSixthOrderQ[3] = {0.5176380902050415, 0.7071067811865476, 1.9318516525781366};
constexpr double kEighthOrderQ[4] = {0.5097955791041592, 0.6013448869350453, 0.8999762231364156,
                                     2.5629154477415055};

} // namespace

void RShifterPrefilter::State::Clear() noexcept {
  for (RBiquadState& s : stages) s.Clear();
}

void RShifterPrefilter::Design(double sampleRate) {
  const double lowPass = std::min(kLowPassHz, 0.42 * sampleRate);
  for (int32_t s = 0; s < 3; ++s) stages_[s].Design(RBiquad::kHighPass, 0.0, kHighPassHz, sampleRate, kSixthOrderQ[s]);
  for (int32_t s = 0; s < 4; ++s) stages_[3 + s].Design(RBiquad::kLowPass, 0.0, lowPass, sampleRate, kEighthOrderQ[s]);
  stages_[7].Design(RBiquad::kBilinearLowPass, 0.0, 0.45 * sampleRate, sampleRate, 0.0);
}

void RShifterPrefilter::Run(State& state, const float* input, float* output, int32_t count) const noexcept {
  RBiquad::RunCascade(stages_, state.stages, kStageCount, input, output, count);
}
