// The product on the audio thread: with every path engaged and the host automating the knobs
// in every block, after the first blocks nothing is allocated, and whatever comes in, only
// finite samples go out.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "graph/product/quillon.h"
#include "modulation/multiparameter.h"
#include "tests/support/allocationcounter.h"

namespace {

constexpr double kRate = 48000.0;
constexpr int32_t kBlock = 512;

int32_t Index(RQuillon& product, const char* name) {
  const int32_t index = product.GetParameterIndex(RString::FromUTF8(name));
  EXPECT_GE(index, 0) << name;
  return index;
}

TEST(ProductRealtime, EngagedAndAutomatedItAllocatesNothingAndStaysFinite) {
  auto product = RQuillon::Create();
  product->SetHostFormat(kRate, kBlock, 2, 2, 1);
  product->Setup();
  // Everything awake: both paths' effects, the master's stages, the side-chain as B.
  const char* engaged[] = {"A Delay Time", "B Delay Time", "A Feed", "B Feed", "A Rate", "B Rate", "A Error",
                           "B Error", "Press", "Heat", "Clip", "A HP", "B LP"};
  for (const char* name : engaged) product->ScheduleAutomationEvent(0, Index(*product, name), 0.6);
  product->ScheduleAutomationEvent(0, Index(*product, "A Shift"), 0.8);
  product->ScheduleAutomationEvent(0, Index(*product, "B Shift"), 0.3);
  product->ScheduleAutomationEvent(0, Index(*product, "B Source"), 0.5);
  product->DeliverSlotChanges();
  // The knobs a host automates continuously; the structural choices (mode, pattern) switch
  // graphs and banks editor-side and are not audio-thread work.
  const char* automated[] = {"Morph", "A Gain", "B Pan", "A Delay Time", "B Rate", "A Shift", "B Error",
                             "Dry/Wet", "Press", "Heat", "Master LP", "Out"};

  std::vector<std::vector<float>> in(4, std::vector<float>(kBlock)), out(2, std::vector<float>(kBlock));
  float* inputs[4] = {in[0].data(), in[1].data(), in[2].data(), in[3].data()};
  float* outputs[2] = {out[0].data(), out[1].data()};
  const auto run = [&](int32_t block, bool hostile) {
    for (int32_t i = 0; i < kBlock; ++i) {
      const double t = double(block * kBlock + i) / kRate;
      in[0][size_t(i)] = in[1][size_t(i)] = float(0.5 * std::sin(2.0 * M_PI * 220.0 * t));
      in[2][size_t(i)] = in[3][size_t(i)] = float(0.5 * std::sin(2.0 * M_PI * 330.0 * t));
    }
    if (hostile) {
      in[0][7] = std::numeric_limits<float>::quiet_NaN();
      in[1][9] = std::numeric_limits<float>::infinity();
      in[2][11] = -std::numeric_limits<float>::infinity();
      in[3][13] = 1e30f;
    }
    // Each knob moves at two points of the block, as a host's ramp does.
    for (const char* name : automated) {
      const double phase = 0.5 + 0.5 * std::sin(0.05 * block + double(name[0]));
      product->ScheduleAutomationEvent(kBlock / 3, Index(*product, name), phase);
      product->ScheduleAutomationEvent(2 * kBlock / 3, Index(*product, name), 1.0 - phase);
    }
    product->ProcessCycle(inputs, outputs, kBlock, nullptr);
    for (const auto& channel : out)
      for (const float x : channel) ASSERT_TRUE(std::isfinite(x)) << "block " << block;
  };
  // The first blocks settle: rings fill, the ramps' free list is topped up.
  for (int32_t block = 0; block < 40; ++block) run(block, false);
  long allocations = 0;
  {
    RCountingScope scope;
    for (int32_t block = 40; block < 400; ++block) run(block, block % 50 == 7);
    allocations = scope.Allocations();
  }
  EXPECT_EQ(allocations, 0);
}

} // namespace
