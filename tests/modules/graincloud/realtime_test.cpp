// GrainCloud's block must not touch the heap once set up: this binary replaces the global
// allocation functions with counting ones and runs the module with every stage engaged.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tests/modules/graincloud/graincloudtestsupport.h"
#include "tests/support/allocationcounter.h"

TEST(GrainCloudRealtime, EveryStageRunsWithoutAllocatingAfterSetup) {
  constexpr int32_t kBlock = 512;
  RGrainCloud m;
  m.InitParameters();
  m.GetDryWet().SetValueNow(0.8);
  m.GetGrainSize().SetValueNow(0.004);
  m.GetGrainSizeRandom().SetValueNow(0.01);
  m.GetTempoSync().GetSync().SetValueNow(1.0);
  for (int32_t voice = 0; voice < 4; ++voice) {
    RGrainCloud::VoiceValues& v = m.GetVoiceValues(voice);
    v.Enable->SetValueNow(1.0);
    v.Copies->SetValueNow(20.0);
    v.GrainCount->SetValueNow(32);
    v.Delay->SetValueNow(0.01 * (voice + 1));
    v.CopyMaxDelay->SetValueNow(0.02);
    v.CopyDelayRand->SetValueNow(0.5);
    v.SideChain->SetValueNow(0.5);
    v.PitchRandom->SetValueNow(12.0);
    v.PitchMode->SetValueNow(voice + 1);
    v.SequencerCount->SetValueNow(4);
    v.PanRandom->SetValueNow(0.7);
    v.GainRandom->SetValueNow(0.3);
    v.OutputChannel->SetValueNow(1 + voice % 2);
    v.Transformation->SetValueNow(voice);
    RShapePoint a, b, c;
    a.X = 0, a.Y = 0, b.X = 0.3, b.Y = 1, c.X = 1, c.Y = 0.2;
    RShape shape;
    shape.SetPoints({a, b, c});
    m.SetTransform(voice, voice, shape);
    for (int32_t s = 0; s < 4; ++s) m.SetStep(voice, s, RGrainSequencer::AddNote(RGrainSequencer::AddNote(0, s), -s));
  }
  graintest::Prepare(m, 48000.0, kBlock, 2, 2);

  const float inf = std::numeric_limits<float>::infinity();
  std::vector<float> main = graintest::Sine(220, 48000, kBlock), side = graintest::Sine(3000, 48000, kBlock);
  std::vector<float> hostile(kBlock);
  for (int32_t i = 0; i < kBlock; ++i) {
    const float kinds[] = {std::nanf(""), inf, -inf, 1e30f, 1e-41f, 0.2f};
    hostile[size_t(i)] = kinds[i % 6];
  }
  std::vector<std::vector<float>> out(4, std::vector<float>(kBlock));
  float* outputs[4] = {out[0].data(), out[1].data(), out[2].data(), out[3].data()};
  // Warm up so that the lists and the pool are in their steady use.
  for (int32_t round = 0; round < 20; ++round) {
    float* inputs[4] = {main.data(), main.data(), side.data(), side.data()};
    m.ProcessCycle(inputs, outputs, kBlock, nullptr);
  }

  const int32_t gain = m.GetParameterIndexOf(m.GetVoiceValues(0).Gain.get());
  const int32_t pitch = m.GetParameterIndexOf(m.GetVoiceValues(1).Pitch.get());
  const int32_t pan = m.GetParameterIndexOf(m.GetVoiceValues(2).Pan.get());
  const int32_t mix = m.GetParameterIndexOf(&m.GetDryWet());
  const int32_t freeze = m.GetParameterIndexOf(m.GetVoiceValues(3).Freeze.get());
  const int32_t copies = m.GetParameterIndexOf(m.GetVoiceValues(1).Copies.get());
  ASSERT_GE(gain, 0);
  RCountingScope scope;
  for (int32_t round = 0; round < 60; ++round) {
    const double t = double(round % 10) / 10.0;
    m.SetParameterEdited(17, gain, 1.0 - 0.5 * t);
    m.SetParameterEdited(100, pitch, t);
    m.SetParameterEdited(200, pan, t);
    m.SetParameterEdited(300, mix, 1.0 - t);
    m.SetParameterEdited(0, copies, t);
    m.SetParameterEdited(0, freeze, round % 20 < 10 ? 1.0 : 0.0);
    float* source = round % 7 == 3 ? hostile.data() : main.data();
    float* inputs[4] = {source, source, side.data(), side.data()};
    m.ProcessCycle(inputs, outputs, kBlock - round % 3, nullptr);
    if (round == 30) m.Reset();
    for (const auto& channel : out) {
      for (float v : channel) ASSERT_TRUE(std::isfinite(v)) << round;
    }
  }
  EXPECT_EQ(scope.Allocations(), 0);
  double energy = 0;
  for (float v : out[0]) energy += double(v) * v;
  EXPECT_GT(energy, 0.0);
}
