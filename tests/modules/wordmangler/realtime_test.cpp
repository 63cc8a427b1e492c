// The word mangler on the audio thread touches no heap once set up: every stage engaged,
// gains, mix, delay and low-pass ramping under automation, and hostile input; and nothing
// undefined leaves it.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "modules/wordmangler/wordmangler.h"
#include "tests/support/allocationcounter.h"

namespace {

constexpr int32_t kBlock = 512;

void Enable(RWordMangler& m, RWordOperationKind kind, int32_t shift, bool rotate) {
  RWordMangler::Operation& op = m.GetOperation(kind);
  op.Enable->SetValueNow(1.0);
  op.Shift->SetValueNow(shift);
  op.Rotate->SetValueNow(rotate ? 1.0 : 0.0);
  for (int32_t i = 0; i < 16; i += 3) op.Mask[i]->SetValueNow(1.0);
}

} // namespace

TEST(WordManglerRealtime, EveryStageRampingAllocatesNothing) {
  RAudioPlugin::Options options;
  options.sleep = false;
  RWordMangler m(options);
  m.InitParameters();
  m.GetSideChain().SetValueNow(1.0);
  m.GetAGC().SetValueNow(1.0);
  m.GetBits().SetValueNow(14);
  m.GetLowPass().SetValueNow(3000.0);
  // The largest delay the automation below reaches: set-up sizes the rings for it.
  m.GetDelay().SetValueNow(0.05);
  Enable(m, RWordOperationKind::kXor, 3, true);
  Enable(m, RWordOperationKind::kReplace, -2, true);
  Enable(m, RWordOperationKind::kAnd, 1, false);
  Enable(m, RWordOperationKind::kOr, -1, false);
  m.SetHostFormat(48000.0, kBlock, 2, 2, 1);

  const int32_t gainIn = m.GetParameterIndexOf(&m.GetGainIn());
  const int32_t gainOut = m.GetParameterIndexOf(&m.GetGainOut());
  const int32_t dryWet = m.GetParameterIndexOf(&m.GetDryWet());
  const int32_t delay = m.GetParameterIndexOf(&m.GetDelay());
  const int32_t lowPass = m.GetParameterIndexOf(&m.GetLowPass());
  const int32_t shift = m.GetParameterIndexOf(m.GetOperation(RWordOperationKind::kXor).Shift.get());

  std::mt19937 random(7);
  std::uniform_real_distribution<float> noise(-1.2f, 1.2f);
  std::vector<std::vector<float>> in(4, std::vector<float>(kBlock));
  std::vector<float> outL(kBlock), outR(kBlock);
  const float hostile[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                           -std::numeric_limits<float>::infinity(), 1e30f, -1e30f, 1e-41f};
  bool finite = true;

  auto round = [&](int32_t r) {
    for (auto& channel : in) {
      for (float& x : channel) x = noise(random);
    }
    if (r % 5 == 4) {
      for (auto& channel : in) {
        for (int32_t i = 0; i < kBlock; i += 7) channel[size_t(i)] = hostile[size_t((i / 7 + r) % 6)];
      }
    }
    const double t = 0.5 + 0.5 * std::sin(r * 0.3);
    m.SetParameterEdited(0, gainIn, t);
    m.SetParameterEdited(kBlock / 3, gainOut, 1.0 - t);
    m.SetParameterEdited(kBlock / 2, dryWet, 0.2 + 0.6 * t);
    m.SetParameterEdited(kBlock / 4, lowPass, 0.3 + 0.5 * t);
    // 25 to 50 ms: gliding within the rings set-up made.
    m.SetParameterEdited(0, delay, 0.0025 + 0.0025 * t);
    m.SetParameterEdited(kBlock / 5, shift, t);
    float* inputs[4] = {in[0].data(), in[1].data(), in[2].data(), in[3].data()};
    float* outputs[2] = {outL.data(), outR.data()};
    m.ProcessCycle(inputs, outputs, kBlock, nullptr);
    for (int32_t i = 0; i < kBlock; ++i) {
      finite = finite && std::isfinite(outL[size_t(i)]) && std::isfinite(outR[size_t(i)]);
    }
  };

  // The first ramps of each parameter take their records from the heap once.
  for (int32_t r = 0; r < 20; ++r) round(r);
  RCountingScope scope;
  for (int32_t r = 20; r < 400; ++r) round(r);
  EXPECT_EQ(scope.Allocations(), 0);
  EXPECT_TRUE(finite);
}

// Without the cycle's output guard: after NaN, infinities, 1e30 and denormals, no filter,
// delay line or gain state keeps anything undefined, and the wet path stays in range.
TEST(WordManglerRealtime, HostileInputLeavesNothingInTheState) {
  RWordMangler m;
  m.InitParameters();
  m.GetSideChain().SetValueNow(1.0);
  m.GetAGC().SetValueNow(1.0);
  m.GetLowPass().SetValueNow(2000.0);
  m.GetDelay().SetValueNow(0.001);
  Enable(m, RWordOperationKind::kReplace, 1, true);
  Enable(m, RWordOperationKind::kOr, 0, false);
  m.SetHostFormat(48000.0, kBlock, 2, 2, 1);
  RWordManglerState& state = *m.GetState();

  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  std::vector<float> main(kBlock), side(kBlock), outL(kBlock), outR(kBlock);
  const float* inputs[2] = {main.data(), main.data()};
  const float* sides[2] = {side.data(), side.data()};
  float* outputs[2] = {outL.data(), outR.data()};
  const float hostile[] = {nan, inf, -inf, 1e30f, -1e30f, 1e-41f};
  for (int32_t r = 0; r < 12; ++r) {
    for (int32_t i = 0; i < kBlock; ++i) {
      main[size_t(i)] = hostile[size_t((i + r) % 6)];
      side[size_t(i)] = hostile[size_t((i + 2 * r) % 6)];
    }
    m.PrepareBands(kBlock);
    m.ProcessBand(state, inputs, sides, outputs, kBlock);
  }
  std::mt19937 random(3);
  std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
  float peak = 0.0f;
  for (int32_t r = 0; r < 200; ++r) {
    for (int32_t i = 0; i < kBlock; ++i) {
      main[size_t(i)] = noise(random);
      side[size_t(i)] = noise(random);
    }
    m.PrepareBands(kBlock);
    m.ProcessBand(state, inputs, sides, outputs, kBlock);
    for (int32_t i = 0; i < kBlock; ++i) {
      ASSERT_TRUE(std::isfinite(outL[size_t(i)])) << r;
      if (r > 150) peak = std::max(peak, std::fabs(outL[size_t(i)]));
    }
  }
  // The automatic gain has forgotten the hostile blocks: the output is about as loud as the input.
  EXPECT_LT(peak, 4.0f);
  EXPECT_GT(peak, 0.05f);
}
