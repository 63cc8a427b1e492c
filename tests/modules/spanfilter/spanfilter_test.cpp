// The span filter module through its cycle: gains and mixes exact where they must be, every
// slope against the prototype at the corner and into the stop band, rates, ramps, resets,
// block sizes and channel counts, its stored form, and its place in a graph.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "base/tagitem.h"
#include "tests/graph/testmodules.h"
#include "tests/modules/dsp/dsptestsignals.h"
#include "tests/modules/spanfilter/spanfiltertest.h"

using namespace spanfiltertest;

namespace {

// The level of a sine at f through the rig, in dB, once the stages have settled.
double SineThrough(Rig& rig, double f, double sampleRate, double seconds = 0.75) {
  const auto frames = int32_t(seconds * sampleRate);
  const auto out = rig.RunAll(dsptest::Sine(f, sampleRate, frames));
  return Decibels(dsptest::MeasureLevel(out[0], f, sampleRate, frames / 3));
}

void OnlyOneSide(Rig& rig, bool high, const Slope& slope) {
  rig.Set("High-pass slope", high ? slope.hp : "Off");
  rig.Set("Low-pass slope", high ? "Off" : slope.lp);
}

} // namespace

TEST(SpanFilter, WithBothSidesOffTheOutputIsTheInputTimesTheGainExactly) {
  // Off by slope, and off by panel switch with the slopes still chosen.
  for (bool bySwitch : {false, true}) {
    Rig rig;
    if (bySwitch) {
      rig.Set("High-pass slope", "HP 48");
      rig.Set("High-pass filter", "0");
      rig.Set("Low-pass filter", "0");
    } else {
      rig.Set("High-pass slope", "Off");
      rig.Set("Low-pass slope", "Off");
    }
    rig.Set("Output", "+7.5");
    rig.Settle();
    const auto x = dsptest::Noise(3000, 11);
    const auto out = rig.RunAll(x);
    const auto gain = float(rig.Value("Output").GetProcessing());
    EXPECT_NEAR(gain, std::pow(10.0, 7.5 / 20.0), 1e-6);
    for (size_t i = 0; i < x.size(); ++i) {
      ASSERT_EQ(out[0][i], x[i] * gain) << i << " by switch " << bySwitch;
      ASSERT_EQ(out[1][i], x[i] * gain) << i;
    }
  }
}

TEST(SpanFilter, EverySlopeMatchesThePrototypeAtTheCornerAndAnOctaveAndTwoBeyond) {
  constexpr double kRate = 48000.0;
  Rig rig(kRate);
  rig.Set("High-pass", "1 kHz");
  rig.Set("Low-pass", "1 kHz");
  for (const Slope& slope : Slopes()) {
    for (bool high : {true, false}) {
      OnlyOneSide(rig, high, slope);
      for (int32_t octaves : {0, 1, 2}) {
        const double f = 1000.0 * std::pow(2.0, high ? -octaves : octaves);
        const double expected = PrototypeDecibels(high, slope.order, f, 1000.0, kRate);
        // Below about -100 dB the float audio between stages can't resolve the level; the
        // design's own response covers those.
        if (expected < -100.0) continue;
        rig.filter.ClearState();
        EXPECT_NEAR(SineThrough(rig, f, kRate), expected, 0.1) << slope.lp << " high " << high << " at " << f;
      }
    }
  }
}

TEST(SpanFilter, TheCornerStaysAtMinusThreeDecibelsAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    Rig low(rate);
    low.Set("High-pass slope", "Off");
    low.Set("Low-pass slope", "LP 24");
    low.Set("Low-pass", "15 kHz");
    EXPECT_NEAR(SineThrough(low, 15000.0, rate, 0.3), -3.0103, 0.1) << rate;

    Rig high(rate);
    high.Set("Low-pass slope", "Off");
    high.Set("High-pass slope", "HP 48");
    high.Set("High-pass", "40 Hz");
    EXPECT_NEAR(SineThrough(high, 40.0, rate, 1.5), -3.0103, 0.1) << rate;
  }
}

TEST(SpanFilter, EachSideTakesItsOwnResonanceAndTheGainAndMixComeLast) {
  Rig rig;
  rig.Set("High-pass slope", "Off");
  rig.Set("Low-pass slope", "LP 24");
  rig.Set("Low-pass", "2 kHz");
  rig.Set("High-pass Q", "4");
  EXPECT_NEAR(SineThrough(rig, 2000.0, 48000.0), -3.0103, 0.1);
  rig.Set("Low-pass Q", "4");
  EXPECT_NEAR(SineThrough(rig, 2000.0, 48000.0), Decibels(4.0), 0.1);
  rig.Set("Output", "-6");
  EXPECT_NEAR(SineThrough(rig, 2000.0, 48000.0), Decibels(4.0) - 6.0, 0.1);

  // Half dry, half wet: far in the stop band only the dry half is left; at 0 % the input.
  rig.Set("Dry/Wet", "50");
  EXPECT_NEAR(SineThrough(rig, 16000.0, 48000.0), Decibels(0.5), 0.01);
  rig.Set("Dry/Wet", "0");
  rig.Settle();
  const auto x = dsptest::Noise(1000, 5);
  const auto out = rig.RunAll(x);
  for (size_t i = 0; i < x.size(); ++i) ASSERT_EQ(out[1][i], x[i]);
}

TEST(SpanFilter, ARampingCornerIsDesignedAnewAlongTheRamp) {
  // The low-pass corner glides from 100 Hz to 10 kHz over one block of 48000 samples, under
  // a 1 kHz tone: the tone comes through gradually, at about the level a fixed filter at each
  // point of the glide would give it, not all at once at the end.
  constexpr double kRate = 48000.0;
  Rig rig(kRate, 2, 48000);
  rig.Set("High-pass slope", "Off");
  rig.Set("Low-pass slope", "LP 24");
  rig.Set("Low-pass", "100 Hz");
  rig.RunAll(dsptest::Sine(1000.0, kRate, 4800), 48000);
  rig.Automate("Low-pass", "10 kHz", 48000);
  const auto out = rig.RunAll(dsptest::Sine(1000.0, kRate, 48000), 48000);

  // The travel of a frequency is logarithmic: the corner passes 1 kHz half-way.
  const auto window = [&](int32_t first) {
    std::vector<float> part(out[0].begin() + first, out[0].begin() + first + 2400);
    return Decibels(dsptest::MeasureLevel(part, 1000.0, kRate, 0));
  };
  const double early = window(4800), middle = window(22800), late = window(43200);
  EXPECT_LT(early, -30.0);
  EXPECT_NEAR(middle, -3.0, 3.0);
  EXPECT_NEAR(late, 0.0, 0.5);
  EXPECT_LT(early, middle);
}

TEST(SpanFilter, AResetForgetsTheSignalAndNoStateIsLostBetweenBlocks) {
  Rig rig;
  rig.Set("High-pass", "100 Hz");
  rig.Set("High-pass slope", "HP 96");
  rig.Set("Low-pass", "3 kHz");
  rig.Set("Low-pass Q", "5");
  const auto x = dsptest::Noise(4096, 3);
  const std::vector<float> silence(512, 0.0f);

  rig.RunAll(x);
  const auto ringing = rig.RunAll(silence);
  EXPECT_GT(std::fabs(ringing[0][10]), 1e-6f);
  rig.RunAll(x);
  rig.filter.ClearState();
  const auto quiet = rig.RunAll(silence);
  for (float v : quiet[0]) ASSERT_EQ(v, 0.0f);

  // Blocks of any size give the same samples as one long block.
  rig.filter.ClearState();
  const auto whole = rig.RunAll(x, 4096);
  for (int32_t block : {1, 7, 255, 256, 1000}) {
    rig.filter.ClearState();
    const auto cut = rig.RunAll(x, block);
    for (size_t i = 0; i < x.size(); ++i) ASSERT_EQ(cut[0][i], whole[0][i]) << "block " << block << " at " << i;
  }
}

TEST(SpanFilter, ChannelsRunAloneOrInPairsWithTheSameResult) {
  const auto x = dsptest::Noise(2000, 8);
  std::vector<std::vector<float>> results;
  for (int32_t channels : {1, 2, 3}) {
    Rig rig(48000.0, channels);
    rig.Set("High-pass", "300 Hz");
    rig.Set("Low-pass slope", "LP 60");
    rig.Set("Low-pass", "5 kHz");
    const auto out = rig.RunAll(x, 300);
    for (const auto& channel : out) results.push_back(channel);
  }
  for (const auto& channel : results) ASSERT_EQ(channel, results[0]);
  EXPECT_NE(results[0], x);
}

TEST(SpanFilter, ItsSettingsSurviveTheStoreWithCornersAsLogarithmsAndSlopesByName) {
  Rig rig;
  rig.Set("High-pass", "1 kHz");
  rig.Set("High-pass Q", "2.5");
  rig.Set("High-pass slope", "HP 36");
  rig.Set("Low-pass", "5 kHz");
  rig.Set("Low-pass slope", "LP 108");
  rig.Set("Low-pass filter", "0");
  rig.Set("Output", "-4.5");
  rig.Set("Dry/Wet", "80");

  RTagItem tree;
  rig.filter.SaveStateTree(tree);
  EXPECT_NEAR(tree.FindAttribute(RHashedString("#HPF"))->ToDouble(), 3.0, 1e-9);
  EXPECT_NEAR(tree.FindAttribute(RHashedString("#LPF"))->ToDouble(), std::log10(5000.0), 1e-9);
  EXPECT_EQ(tree.FindAttribute(RHashedString("#HPSlope"))->ToText(), RString("HP 36"));
  EXPECT_EQ(tree.FindAttribute(RHashedString("#LPSlope"))->ToText(), RString("LP 108"));

  Rig loaded;
  loaded.filter.LoadStateTree(tree);
  for (int32_t i = 0; i < rig.filter.GetParameterCount(); ++i) {
    EXPECT_EQ(loaded.filter.GetParameterValue(i)->GetText(), rig.filter.GetParameterValue(i)->GetText()) << i;
  }
  const auto x = dsptest::Noise(2000, 4);
  EXPECT_EQ(loaded.RunAll(x), rig.RunAll(x));
}

TEST(SpanFilter, AStoredCornerOutsideTheRangeIsClampedByTheValue) {
  Rig rig;
  rig.Set("Low-pass slope", "Off");
  RTagItem tree;
  rig.filter.SaveStateTree(tree);
  tree.SetAttribute(RHashedString("#HPF"), RVariant::FromDouble(5.0));  // 100 kHz
  tree.SetAttribute(RHashedString("#LPF"), RVariant::FromDouble(0.5));  // 3.2 Hz
  rig.filter.LoadStateTree(tree);
  EXPECT_DOUBLE_EQ(rig.Value("High-pass").GetValue(), 20000.0);
  EXPECT_DOUBLE_EQ(rig.Value("Low-pass").GetValue(), 20.0);
  // The filter works at the clamped corner: 20 kHz is the high-pass's -3 dB point.
  EXPECT_NEAR(SineThrough(rig, 20000.0, 48000.0, 0.2), -3.0103, 0.1);
}

TEST(SpanFilter, InAGraphItFiltersItsLane) {
  RegisterSpanFilter();
  RGraphFixture f;
  const PluginDescriptor* row = f.graph.FindDescriptor(RString("SpanFilter"));
  ASSERT_NE(row, nullptr);
  RPluginSlot* slot = f.graph.CreateSlot(0, 0, *row, false);
  ASSERT_NE(slot, nullptr);
  RAudioPlugin& module = slot->GetModule();
  const auto set = [&](const char* name, const char* text) {
    const int32_t index = module.GetParameterIndex(RString::FromUTF8(name));
    double normalised = 0.0;
    ASSERT_TRUE(module.GetParameterValue(index)->ParseToNormalised(RString::FromUTF8(text), normalised)) << name;
    module.SetParameterEdited(0, index, normalised);
  };
  // A constant on the lane: the high-pass takes it away, the low-pass lets it through.
  set("High-pass", "1 kHz");
  set("High-pass slope", "HP 48");
  auto out = f.Run({0.5f}, 40);
  EXPECT_LT(std::fabs(out[0][RGraphFixture::kBlock - 1]), 1e-4f);
  set("High-pass slope", "Off");
  set("Low-pass", "1 kHz");
  set("Low-pass slope", "LP 48");
  out = f.Run({0.5f}, 40);
  EXPECT_NEAR(out[1][RGraphFixture::kBlock - 1], 0.5f, 1e-4f);
}
