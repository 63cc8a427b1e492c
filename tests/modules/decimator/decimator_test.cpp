// The decimator as a host and a graph see it: its parameter table, the order of its block
// (input gain, word stage, rate stage, output gain, dry/wet), host ramps stepping the stages
// sample by sample, the stored form, a slot in a graph, every sample rate and hostile input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "base/tagitem.h"
#include "graph/audiopluginmodular.h"
#include "graph/pluginslot.h"
#include "tests/modules/decimator/decimatorreference.h"
#include "tests/modules/decimator/decimatortestrig.h"

namespace {

using decimatortest::Noise;
using decimatortest::RDecimatorRig;

std::vector<float> Linear(int32_t count, float slope) {
  std::vector<float> x(static_cast<size_t>(count));
  for (int32_t i = 0; i < count; ++i) x[size_t(i)] = float(i) * slope;
  return x;
}

// The core of the reference over a stereo pair with held settings.
std::array<std::vector<float>, 2> ReferenceCore(std::array<std::vector<float>, 2> x, double fs, bool word, double bits,
                                                double bitsWidth, bool rate, double sampleRate, double rateWidth) {
  for (int32_t c = 0; c < 2; ++c) {
    decimatortest::RateState state;
    decimatortest::Channel(x[size_t(c)], c, fs, word, {bits}, {bitsWidth}, rate, {sampleRate}, {rateWidth}, state);
  }
  return x;
}

// --- the table

TEST(Decimator, TheParameterTableHoldsEveryValueInOrderWithItsLabelRangeAndDefault) {
  RDecimatorRig rig;
  struct Row {
    const char* key;
    const char* label;
    double min, max, defaultValue;
  };
  const Row rows[] = {{"GainIn", "Input gain", -24.0, 24.0, 0.0},
                      {"GainOut", "Output gain", -24.0, 24.0, 0.0},
                      {"DryWet", "Dry/Wet", 0.0, 1.0, 1.0},
                      {"BitReduction", "Bit reduction", 0.0, 1.0, 1.0},
                      {"Bits", "Bits", 1.0, 16.0, 16.0},
                      {"BitsWidth", "Width", -4.0, 4.0, 0.0},
                      {"SampleRateReduction", "Sample rate reduction", 0.0, 1.0, 1.0},
                      {"SampleRate", "Sample rate", 20.0, 48000.0, 48000.0},
                      {"SampleRateWidth", "Width", -1.0, 1.0, 0.0}};
  // The kernel's Bypass follows the module's own values.
  ASSERT_EQ(rig.module.GetParameterCount(), 10);
  EXPECT_EQ(rig.module.GetParameterValue(9), rig.module.GetBypassValue());
  for (int32_t i = 0; i < 9; ++i) {
    const Row& row = rows[i];
    RValue& value = *rig.module.GetParameterValue(i);
    SCOPED_TRACE(row.key);
    EXPECT_EQ(value.GetKey().ToUTF8(), row.key);
    EXPECT_EQ(value.GetName().ToUTF8(), row.label);
    auto& ranged = dynamic_cast<RRangedValue&>(value);
    if (auto* gain = dynamic_cast<RGainRange*>(ranged.GetRange())) {
      EXPECT_EQ(gain->GetMinDecibels(), row.min);
      EXPECT_EQ(gain->GetMaxDecibels(), row.max);
      EXPECT_DOUBLE_EQ(ranged.GetValue(), std::pow(10.0, row.defaultValue / 20.0));
      EXPECT_FALSE(value.HasFlag(RValue::kNoRamp));
    } else if (auto* toggle = dynamic_cast<RBoolValue*>(&value)) {
      EXPECT_EQ(toggle->IsOn(), row.defaultValue == 1.0);
      // A switch takes effect at once: the stage is on or off for the whole sub-block.
      EXPECT_TRUE(value.HasFlag(RValue::kNoRamp));
    } else {
      EXPECT_EQ(ranged.GetRange()->GetMin(), row.min);
      EXPECT_EQ(ranged.GetRange()->GetMax(), row.max);
      EXPECT_EQ(ranged.GetValue(), row.defaultValue);
      EXPECT_FALSE(value.HasFlag(RValue::kNoRamp));
    }
  }
  EXPECT_NE(dynamic_cast<RFrequencyValue*>(&rig.Value("SampleRate")), nullptr);
  EXPECT_NE(dynamic_cast<RPercentValue*>(&rig.Value("DryWet")), nullptr);
  EXPECT_EQ(rig.Value("GainIn").GetDisplayName(true).ToUTF8(), "Input");
  EXPECT_EQ(rig.Value("GainOut").GetDisplayName(true).ToUTF8(), "Output");
  EXPECT_EQ(rig.Value("Bits").GetDescription().ToUTF8(),
            "<name>Bits</name> controls the number of bits in each sample that are represented. The lower the number, "
            "the lower the accuracy and more lo-fi the sound becomes.");
  EXPECT_EQ(rig.Value("BitsWidth").GetDescription().ToUTF8(),
            "<name>Width</name> lets you apply different bit reduction to different channels, producing a stereo "
            "expansion effect.");
  // Bits keep their fractions: 7.25 is 7.25 bits, not 7.
  rig.Value("Bits").SetNormalised(rig.Value("Bits").GetRange()->RealToNormalised(7.25));
  EXPECT_NEAR(rig.Value("Bits").GetValue(), 7.25, 1e-9);
  EXPECT_EQ(rig.module.GetLatency(), 0);
}

// --- the block

TEST(Decimator, WithItsDefaultsAt48kHzItRoundsTo16BitsAndExtrapolatesOneSampleLate) {
  // SampleRate 48000 at a cycle of 48 kHz: P = 1, so every sample comes out as 2A - B.
  for (double fs : {48000.0, 96000.0}) {
    RDecimatorRig rig(fs);
    const std::array<std::vector<float>, 2> x = {Noise(512, 1, 0.9), Noise(512, 2, 0.9)};
    const auto y = rig.Run(x[0], x[1]);
    const auto expected = ReferenceCore(x, fs, true, 16.0, 0.0, true, 48000.0, 0.0);
    EXPECT_EQ(y[0], expected[0]) << fs;
    EXPECT_EQ(y[1], expected[1]) << fs;
    EXPECT_NE(y[0], x[0]);
  }
}

TEST(Decimator, ABlockRunsInputGainThenTheStagesThenOutputGainThenTheMixWithTheUntouchedInput) {
  RDecimatorRig rig;
  rig.Set("GainIn", std::pow(10.0, 6.0 / 20.0));
  rig.Set("GainOut", std::pow(10.0, -9.0 / 20.0));
  rig.Set("DryWet", 0.3);
  rig.Set("Bits", 4.0);
  rig.Set("BitsWidth", 1.5);
  rig.Set("SampleRate", 5000.0);
  rig.Set("SampleRateWidth", 0.25);
  const std::array<std::vector<float>, 2> x = {Noise(700, 3, 0.6), decimatortest::Sine(440.0, 48000.0, 700)};
  const auto y = rig.Run(x[0], x[1]);

  const float gainIn = float(rig.Value("GainIn").GetProcessing());
  const float gainOut = float(rig.Value("GainOut").GetProcessing());
  std::array<std::vector<float>, 2> wet = x;
  for (auto& channel : wet) {
    for (float& v : channel) v *= gainIn;
  }
  wet = ReferenceCore(wet, 48000.0, true, 4.0, 1.5, true, 5000.0, 0.25);
  for (int32_t c = 0; c < 2; ++c) {
    for (size_t i = 0; i < x[0].size(); ++i) {
      const double expected = 0.3 * double(wet[size_t(c)][i] * gainOut) + 0.7 * double(x[size_t(c)][i]);
      ASSERT_NEAR(double(y[size_t(c)][i]), expected, 1e-6) << "channel " << c << " sample " << i;
    }
  }
  // A dry/wet of 0 is the input exactly, whatever the stages do.
  rig.Set("DryWet", 0.0);
  const auto dry = rig.Run(x[0], x[1]);
  EXPECT_EQ(dry[0], x[0]);
  EXPECT_EQ(dry[1], x[1]);
}

TEST(Decimator, EachSwitchTakesItsStageOutAndNeutralSettingsPassTheInputUntouched) {
  const std::array<std::vector<float>, 2> x = {Noise(512, 4, 0.7), Noise(512, 5, 0.7)};
  for (int32_t mask = 0; mask < 4; ++mask) {
    RDecimatorRig rig;
    const bool word = (mask & 1) != 0, rate = (mask & 2) != 0;
    rig.Set("BitReduction", word ? 1.0 : 0.0);
    rig.Set("SampleRateReduction", rate ? 1.0 : 0.0);
    rig.Set("Bits", 5.0);
    rig.Set("SampleRate", 3000.0);
    const auto y = rig.Run(x[0], x[1]);
    const auto expected = ReferenceCore(x, 48000.0, word, 5.0, 0.0, rate, 3000.0, 0.0);
    EXPECT_EQ(y[0], expected[0]) << mask;
    EXPECT_EQ(y[1], expected[1]) << mask;
    if (mask == 0) {
      EXPECT_EQ(y[0], x[0]);
    }
  }
}

// --- ramps

TEST(Decimator, AHostRampOfTheWordLengthStepsItEverySample) {
  RDecimatorRig rig;
  rig.Set("SampleRateReduction", 0.0);
  rig.Set("BitsWidth", 1.0);
  const std::array<std::vector<float>, 2> warm = {Noise(512, 6), Noise(512, 7)};
  rig.Run(warm[0], warm[1]);  // awake: a host change now ramps

  rig.Automate("Bits", 2.0);
  rig.Automate("BitsWidth", -0.5);
  std::array<std::vector<float>, 2> x = {Noise(512, 8), Noise(512, 9)};
  const auto y = rig.Run(x[0], x[1]);
  const double bitsStep = (2.0 - 16.0) / 512.0, widthStep = (-0.5 - 1.0) / 512.0;
  for (int32_t c = 0; c < 2; ++c) {
    for (int32_t i = 0; i < 512; ++i) {
      const float expected = decimatortest::Word(x[size_t(c)][size_t(i)], 16.0 + i * bitsStep, 1.0 + i * widthStep, c);
      ASSERT_EQ(y[size_t(c)][size_t(i)], expected) << "channel " << c << " sample " << i;
    }
  }
  // The ramp is done: the next block holds the value it reached.
  x = {Noise(300, 10), Noise(300, 11)};
  const auto held = rig.Run(x[0], x[1]);
  const auto expected = ReferenceCore(x, 48000.0, true, 2.0, -0.5, false, 48000.0, 0.0);
  EXPECT_EQ(held[0], expected[0]);
  EXPECT_EQ(held[1], expected[1]);
}

TEST(Decimator, AHostRampOfTheRateStepsThePeriodEverySampleAndKeepsTheStateAcrossBlocks) {
  const double fs = 44100.0;
  RDecimatorRig rig(fs);
  rig.Set("BitReduction", 0.0);
  rig.Set("SampleRate", 8000.0);
  std::array<std::vector<float>, 2> warm = {Noise(512, 12), Noise(512, 13)};
  const auto first = rig.Run(warm[0], warm[1]);

  decimatortest::RateState states[2];
  for (int32_t c = 0; c < 2; ++c) {
    std::vector<float> reference = warm[size_t(c)];
    decimatortest::Channel(reference, c, fs, false, {16.0}, {0.0}, true, {8000.0}, {0.0}, states[c]);
    ASSERT_EQ(first[size_t(c)], reference);
  }

  const double targetRate = rig.Value("SampleRate").GetRange()->NormalisedToReal(
      rig.Value("SampleRate").GetRange()->RealToNormalised(700.0));
  rig.Automate("SampleRate", 700.0);
  rig.Automate("SampleRateWidth", 0.8);
  const std::array<std::vector<float>, 2> x = {Noise(512, 14), Noise(512, 15)};
  const auto y = rig.Run(x[0], x[1]);
  const double targetWidth = rig.Value("SampleRateWidth").GetProcessing();
  ASSERT_NEAR(rig.Value("SampleRate").GetProcessing(), targetRate, 1e-9);
  for (int32_t c = 0; c < 2; ++c) {
    std::vector<float> reference = x[size_t(c)];
    decimatortest::Channel(reference, c, fs, false, {16.0}, {0.0}, true,
                           {8000.0, (rig.Value("SampleRate").GetProcessing() - 8000.0) / 512.0}, {0.0, targetWidth / 512.0},
                           states[c]);
    for (size_t i = 0; i < reference.size(); ++i) {
      ASSERT_EQ(y[size_t(c)][i], reference[i]) << "channel " << c << " sample " << i;
    }
  }
}

TEST(Decimator, AGlideWhileItsStageIsOffIsNotReplayedWhenTheStageComesOn) {
  RDecimatorRig rig;
  rig.Set("BitReduction", 0.0);
  rig.Set("SampleRateReduction", 0.0);
  const std::array<std::vector<float>, 2> warm = {Noise(512, 23), Noise(512, 24)};
  rig.Run(warm[0], warm[1]);
  rig.Automate("Bits", 3.0);
  rig.Run(warm[0], warm[1]);
  rig.Set("BitReduction", 1.0);
  const std::array<std::vector<float>, 2> x = {Noise(512, 25), Noise(512, 26)};
  const auto y = rig.Run(x[0], x[1]);
  const auto expected = ReferenceCore(x, 48000.0, true, 3.0, 0.0, false, 48000.0, 0.0);
  EXPECT_EQ(y[0], expected[0]);
  EXPECT_EQ(y[1], expected[1]);
}

TEST(Decimator, GainAndMixRampsGlideLinearlyOverTheBlock) {
  RDecimatorRig rig;
  rig.Set("BitReduction", 0.0);
  rig.Set("SampleRateReduction", 0.0);
  const std::array<std::vector<float>, 2> warm = {Noise(256, 16), Noise(256, 17)};
  rig.Run(warm[0], warm[1]);
  rig.Automate("GainIn", std::pow(10.0, 12.0 / 20.0));
  rig.Automate("DryWet", 0.5);
  const std::vector<float> ones(256, 0.25f);
  const auto y = rig.Run(ones, ones);
  const double gainEnd = rig.Value("GainIn").GetProcessing();
  for (int32_t i = 0; i < 256; ++i) {
    const double gain = 1.0 + (gainEnd - 1.0) * i / 256.0;
    const double mix = 1.0 - 0.5 * i / 256.0;
    ASSERT_NEAR(double(y[0][size_t(i)]), 0.25 * (gain * mix + (1.0 - mix)), 1e-5) << i;
  }
  EXPECT_GT(y[0][255], y[0][0]);
}

// --- stored form

TEST(Decimator, SettingsSurviveTheStoredFormAndSoundTheSameAfterwards) {
  RDecimatorRig source;
  source.Set("GainIn", std::pow(10.0, 3.5 / 20.0));
  source.Set("GainOut", std::pow(10.0, -7.0 / 20.0));
  source.Set("DryWet", 0.65);
  source.Set("BitReduction", 0.0);
  source.Set("Bits", 6.75);
  source.Set("BitsWidth", -2.25);
  source.Set("SampleRateReduction", 1.0);
  source.Set("SampleRate", 2205.0);
  source.Set("SampleRateWidth", -0.4);
  RTagItem root;
  source.module.SaveStateTree(root);
  EXPECT_NE(root.FindAttribute(RHashedString("#Bits")), nullptr);
  // A value at its default isn't written.
  EXPECT_EQ(root.FindAttribute(RHashedString("#SampleRateReduction")), nullptr);

  RDecimatorRig copy;
  copy.module.LoadStateTree(root);
  for (const char* key : {"GainIn", "GainOut", "DryWet", "BitReduction", "Bits", "BitsWidth", "SampleRateReduction",
                          "SampleRate", "SampleRateWidth"}) {
    EXPECT_NEAR(copy.Value(key).GetValue(), source.Value(key).GetValue(), 1e-9 * std::fabs(source.Value(key).GetValue()))
        << key;
    copy.Value(key).ResetRamp();
  }
  source.Set("BitReduction", 1.0);
  copy.Set("BitReduction", 1.0);
  const std::array<std::vector<float>, 2> x = {Noise(512, 18), Noise(512, 19)};
  EXPECT_EQ(copy.Run(x[0], x[1]), source.Run(x[0], x[1]));
}

// --- in a graph

TEST(Decimator, ASlotInAGraphSoundsAsTheModuleOnItsOwn) {
  RegisterDecimator();
  RAudioPlugin::Options options;
  options.sleep = false;
  RAudioPluginModular graph(RString("Graph"), 6, false, options);
  graph.SetHostFormat(48000.0, 256, 2);
  const PluginDescriptor* row = graph.FindDescriptor(RString("Decimator"));
  ASSERT_NE(row, nullptr);
  EXPECT_EQ(row->Category.ToUTF8(), "Distortion");
  RPluginSlot* slot = graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  RAudioPlugin& module = slot->GetModule();
  ASSERT_NE(dynamic_cast<RDecimator*>(&module), nullptr);
  EXPECT_EQ(module.GetParameterCount(), 10);

  RDecimatorRig alone;
  for (auto [key, value] : {std::pair{"Bits", 5.5}, std::pair{"BitsWidth", 2.0}, std::pair{"SampleRate", 6000.0},
                            std::pair{"SampleRateWidth", 0.5}, std::pair{"DryWet", 0.8}}) {
    decimatortest::SetNow(module, key, value);
    alone.Set(key, value);
  }
  for (int32_t block = 0; block < 3; ++block) {
    std::vector<std::vector<float>> in = {Noise(256, uint32_t(30 + block), 0.8), Noise(256, uint32_t(40 + block), 0.8)};
    std::vector<std::vector<float>> out(2, std::vector<float>(256, -9.0f));
    float* inputs[2] = {in[0].data(), in[1].data()};
    float* outputs[2] = {out[0].data(), out[1].data()};
    graph.ProcessCycle(inputs, outputs, 256, nullptr);
    const auto expected = alone.Run(in[0], in[1]);
    for (int32_t c = 0; c < 2; ++c) {
      for (size_t i = 0; i < 256; ++i) ASSERT_NEAR(out[size_t(c)][i], expected[size_t(c)][i], 1e-7) << block << " " << c;
    }
  }
}

// --- rates, block sizes, hostile input

TEST(Decimator, ThePeriodFollowsTheCycleRateFrom44_1To192kHz) {
  for (double fs : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    RDecimatorRig rig(fs, 4096);
    rig.Set("BitReduction", 0.0);
    // A rate that gives no whole period at any of these rates: a take at a whole place reads
    // the sample before it, which would add a sample to the lag.
    rig.Set("SampleRate", 3001.0);
    const std::vector<float> x = Linear(4096, 1e-4f);
    const auto y = rig.Run(x, x);
    const double P = fs / 3001.0;
    for (size_t i = 400; i < x.size(); ++i) {
      ASSERT_NEAR(double(y[0][i]), (double(i) - 2.0 * P) * 1e-4, 1e-5) << "fs " << fs << " sample " << i;
    }
  }
}

TEST(Decimator, BlocksOfAnySizeGiveTheSameOutputAsOneLongBlock) {
  const std::array<std::vector<float>, 2> x = {Noise(2048, 20), Noise(2048, 21)};
  auto configure = [](RDecimatorRig& rig) {
    rig.Set("Bits", 7.3);
    rig.Set("BitsWidth", -1.0);
    rig.Set("SampleRate", 4321.0);
    rig.Set("SampleRateWidth", 0.7);
    rig.Set("DryWet", 0.9);
  };
  RDecimatorRig whole(48000.0, 2048), cut(48000.0, 2048);
  configure(whole);
  configure(cut);
  const auto expected = whole.Run(x[0], x[1]);
  const int32_t sizes[] = {1, 7, 255, 3, 1000, 64, 17};
  size_t at = 0;
  for (int32_t k = 0; at < x[0].size(); ++k) {
    const size_t n = std::min(x[0].size() - at, size_t(sizes[k % 7]));
    const auto part = cut.Run(std::vector<float>(x[0].begin() + long(at), x[0].begin() + long(at + n)),
                              std::vector<float>(x[1].begin() + long(at), x[1].begin() + long(at + n)));
    for (size_t i = 0; i < n; ++i) {
      ASSERT_EQ(part[0][i], expected[0][at + i]) << at + i;
      ASSERT_EQ(part[1][i], expected[1][at + i]) << at + i;
    }
    at += n;
  }
}

TEST(Decimator, AResetOrANewRateForgetsEveryTake) {
  auto configure = [](RDecimatorRig& rig) {
    rig.Set("Bits", 6.0);
    rig.Set("SampleRate", 1500.0);
    rig.Set("SampleRateWidth", -0.3);
  };
  const std::array<std::vector<float>, 2> x = {Noise(512, 27), Noise(512, 28)};
  RDecimatorRig rig, fresh;
  configure(rig);
  configure(fresh);
  rig.Run(x[0], x[1]);
  rig.module.Reset();
  EXPECT_EQ(rig.Run(x[0], x[1]), fresh.Run(x[0], x[1]));

  RDecimatorRig fresh96(96000.0);
  configure(fresh96);
  rig.module.SetHostFormat(96000.0, 512, 2);
  EXPECT_EQ(rig.Run(x[0], x[1]), fresh96.Run(x[0], x[1]));
}

TEST(Decimator, HostileInputGivesFiniteOutputAndLeavesNothingBehind) {
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  const std::vector<float> hostile = {nan, inf, -inf, 1e30f, -1e30f, 1e-40f, -1e-42f, 3e38f, nan, 0.5f, inf};
  for (int32_t mask = 0; mask < 4; ++mask) {
    RDecimatorRig rig, fresh;
    for (RDecimatorRig* r : {&rig, &fresh}) {
      r->Set("BitReduction", (mask & 1) ? 1.0 : 0.0);
      r->Set("SampleRateReduction", (mask & 2) ? 1.0 : 0.0);
      r->Set("Bits", 3.0);
      r->Set("SampleRate", 1000.0);
      r->Set("GainIn", std::pow(10.0, 24.0 / 20.0));
      r->Set("DryWet", 0.5);
    }
    std::vector<float> x(512);
    for (size_t i = 0; i < x.size(); ++i) x[i] = hostile[i % hostile.size()];
    x.back() = nan;
    const auto y = rig.Run(x, x);
    for (const auto& channel : y) {
      for (float v : channel) ASSERT_TRUE(std::isfinite(v)) << mask;
    }
    // The next clean block sounds as it would from a fresh start.
    const std::vector<float> clean = Noise(512, 22, 0.1);
    EXPECT_EQ(rig.Run(clean, clean), fresh.Run(clean, clean)) << mask;
  }
}

} // namespace
