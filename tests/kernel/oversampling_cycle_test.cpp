// Oversampling in the cycle: the two factor choices and their stored factors, the factor a
// Setup runs at (normal, offline, automatic, forced), the plug-in running at the multiple
// between the filters, the latency it reports and the one its dry paths use, and where host
// events land in the oversampled block.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/tagitem.h"
#include "cycletestplugin.h"
#include "kernel/channelmodes.h"
#include "kernel/oversamplingchoice.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

RAudioPlugin::Options Offering(int32_t maxFactor) {
  RAudioPlugin::Options options;
  options.maxOversampling = maxFactor;
  return options;
}

void Choose(RAudioPlugin& plugin, int32_t factor, bool offline = false) {
  plugin.GetOversamplingValue(offline)->SetValueNow(double(ROversamplingChoice::GetIndex(factor)));
}

// Runs a sine through a plug-in and returns both channels' output, block after block.
std::vector<float> RunSine(RAudioPlugin& plugin, double hz, int32_t blocks, int32_t frames = 256) {
  RTestBlock block(2, frames);
  std::vector<float> out;
  int64_t n = 0;
  for (int32_t b = 0; b < blocks; ++b) {
    for (int32_t i = 0; i < frames; ++i, ++n) {
      block.in[0][size_t(i)] = block.in[1][size_t(i)] = float(0.5 * std::sin(2.0 * kPi * hz * double(n) / 48000.0));
    }
    block.Run(plugin);
    out.insert(out.end(), block.out[0].begin(), block.out[0].end());
  }
  return out;
}

} // namespace

TEST(OversamplingChoice, StoredFactorsFindTheirItems) {
  EXPECT_EQ(ROversamplingChoice::GetIndex(0), 0);
  EXPECT_EQ(ROversamplingChoice::GetIndex(1), 0);
  for (int32_t factor = 2; factor <= 8; ++factor) EXPECT_EQ(ROversamplingChoice::GetIndex(factor), factor - 1);
  EXPECT_EQ(ROversamplingChoice::GetIndex(12), 8);
  EXPECT_EQ(ROversamplingChoice::GetFactor(8), 16);
  EXPECT_EQ(ROversamplingChoice::GetIndex(16), 8);
  EXPECT_EQ(ROversamplingChoice::GetIndex(17), 9);
  EXPECT_EQ(ROversamplingChoice::GetIndex(1024), 14);
  EXPECT_EQ(ROversamplingChoice::GetIndex(1025), 0);
  EXPECT_EQ(ROversamplingChoice::GetText(0).ToUTF8(), "1x");
  EXPECT_EQ(ROversamplingChoice::GetText(14).ToUTF8(), "1024x");
  EXPECT_EQ(ROversamplingChoice::CountUpTo(8), 8);
  EXPECT_EQ(ROversamplingChoice::CountUpTo(1), 1);
  EXPECT_EQ(ROversamplingChoice::CountUpTo(1024), 15);
}

TEST(OversamplingValues, OnlyAPlugInThatOffersOversamplingShowsTheChoices) {
  RCycleTestPlugin plain;
  plain.Prepare();
  EXPECT_LT(plain.GetParameterIndex(RString("Oversampling (normal)")), 0);

  RCycleTestPlugin offering(Offering(8));
  offering.Prepare();
  const int32_t normal = offering.GetParameterIndex(RString("Oversampling (normal)"));
  ASSERT_GE(normal, 0);
  EXPECT_EQ(offering.GetParameterIndex(RString("Oversampling (offline)")), normal + 1);
  EXPECT_EQ(offering.GetParameterIndex(RString("HQ oversampling")), normal + 2);
  const RValueRange* range = offering.GetParameterValue(normal)->GetRange();
  ASSERT_NE(range, nullptr);
  EXPECT_EQ(range->GetItemCount(), 8);
  EXPECT_EQ(range->GetItemText(7).ToUTF8(), "8x");
  EXPECT_TRUE(offering.GetHQOversamplingValue()->IsOn());
}

TEST(OversamplingValues, AStoredFactorOfTwelveLoadsAsSixteenTimes) {
  RCycleTestPlugin plugin(Offering(1024));
  plugin.Prepare();
  RTagItem tree(RString("Cyclesettings"));
  tree.SetAttribute(RHashedString("Upsampling"), 12);
  tree.SetAttribute(RHashedString("UpsamplingOffline"), 3);
  tree.SetAttribute(RHashedString("HQUpsampling"), false);
  plugin.LoadStateTree(tree);
  EXPECT_EQ(plugin.GetOversamplingValue(false)->GetIndex(), 8);
  EXPECT_EQ(plugin.GetOversamplingValue(true)->GetIndex(), 2);
  EXPECT_FALSE(plugin.GetHQOversamplingValue()->IsOn());
  EXPECT_EQ(plugin.GetOversampling(), 16);

  RTagItem again;
  plugin.SaveStateTree(again);
  EXPECT_EQ(again.FindAttribute(RHashedString("Upsampling"))->ToInt32(), 16);
  EXPECT_EQ(again.FindAttribute(RHashedString("UpsamplingOffline"))->ToInt32(), 3);

  // Outside the list: 1x. Beyond what a plug-in offers: its highest.
  tree.SetAttribute(RHashedString("Upsampling"), 4096);
  plugin.LoadStateTree(tree);
  EXPECT_EQ(plugin.GetOversampling(), 1);
  RCycleTestPlugin product(Offering(8));
  product.Prepare();
  tree.SetAttribute(RHashedString("Upsampling"), 12);
  product.LoadStateTree(tree);
  EXPECT_EQ(product.GetOversampling(), 8);
}

TEST(OversamplingSetup, TheFactorComesFromTheNormalOrTheOfflineChoice) {
  RCycleTestPlugin plugin(Offering(8));
  plugin.Prepare(48000.0, 256);
  Choose(plugin, 4);
  Choose(plugin, 2, true);
  EXPECT_EQ(plugin.GetOversampling(), 1) << "a choice waits for the host side";
  EXPECT_TRUE(plugin.NeedsSetupForChoices());
  plugin.DeliverPendingChanges();
  EXPECT_EQ(plugin.GetOversampling(), 4);
  EXPECT_DOUBLE_EQ(plugin.GetSampleRate(), 192000.0);
  EXPECT_FALSE(plugin.NeedsSetupForChoices());

  plugin.SetOffline(true);
  plugin.Setup();
  EXPECT_EQ(plugin.GetOversampling(), 2);
  plugin.SetOffline(false);
  plugin.Setup();
  EXPECT_EQ(plugin.GetOversampling(), 4);

  // The plug-in's own blocks are the multiple of the host's.
  plugin.calls.clear();
  RTestBlock block(2, 256);
  block.Fill(0.25f);
  block.Run(plugin);
  int32_t frames = 0;
  for (const auto& call : plugin.calls) frames += call.frames;
  EXPECT_EQ(frames, 1024);
}

TEST(OversamplingSetup, TheAutomaticChoiceTakesTwiceAbove80kHzOnTheFirstSetupOnly) {
  RAudioPlugin::Options options = Offering(8);
  options.automaticOversampling = true;
  RCycleTestPlugin high(options);
  high.Prepare(96000.0, 256);
  EXPECT_EQ(high.GetOversampling(), 2);
  EXPECT_EQ(high.GetOversamplingValue(true)->GetIndex(), 1);
  Choose(high, 4);
  high.SetHostFormat(88200.0, 256, 2);
  EXPECT_EQ(high.GetOversampling(), 4) << "the user's choice stands after the first Setup";

  RCycleTestPlugin low(options);
  low.Prepare(44100.0, 256);
  EXPECT_EQ(low.GetOversampling(), 1);

  RAudioPlugin::Options forced = Offering(8);
  forced.forcedOversampling = 3;
  RCycleTestPlugin fixed(forced);
  fixed.Prepare(48000.0, 256);
  Choose(fixed, 8);
  fixed.Setup();
  EXPECT_EQ(fixed.GetOversampling(), 3);
}

TEST(OversamplingCycle, ThePlugInsSignalComesBackDelayedByTheFiltersAlone) {
  for (const bool hq : {true, false}) {
    for (const int32_t factor : {2, 3, 4, 8}) {
      RCycleTestPlugin plugin(Offering(8));
      Choose(plugin, factor);
      plugin.GetHQOversamplingValue()->SetValueNow(hq ? 1.0 : 0.0);
      plugin.Prepare(48000.0, 256);
      ASSERT_EQ(plugin.GetOversampling(), factor);
      const int32_t delay = plugin.GetOversamplingDelay();
      EXPECT_GT(delay, 0);
      EXPECT_EQ(plugin.GetReportedLatency(), delay);
      const std::vector<float> out = RunSine(plugin, 1000.0, 20);
      double worst = 0.0;
      for (size_t n = 2048; n < out.size(); ++n) {
        const double want = 0.5 * std::sin(2.0 * kPi * 1000.0 * double(int64_t(n) - delay) / 48000.0);
        worst = std::max(worst, std::fabs(double(out[n]) - want));
      }
      EXPECT_LT(worst, hq ? 1e-4 : 2e-3) << factor << (hq ? " HQ" : "");
    }
  }
}

TEST(OversamplingCycle, LatencyIsThePlugInsOverTheFactorPlusTheFilters) {
  RCycleTestPlugin plugin(Offering(8));
  plugin.latency = 400;  // in the plug-in's own, oversampled samples
  Choose(plugin, 4);
  plugin.Prepare(48000.0, 256);
  const int32_t delay = plugin.GetOversamplingDelay();
  EXPECT_EQ(plugin.GetTrueLatency(), 100 + delay);
  EXPECT_EQ(plugin.GetReportedLatency(), 100 + delay);
  EXPECT_EQ(plugin.GetBypassDelay(), 100 + delay);

  // Reporting off: the host hears 0, the dry paths keep the true figure.
  RTagItem tree(RString("Cyclesettings"));
  tree.SetAttribute(RHashedString("Upsampling"), 4);
  tree.SetAttribute(RHashedString("EnableLatencyReporting"), false);
  plugin.LoadStateTree(tree);
  plugin.Setup();
  EXPECT_EQ(plugin.GetReportedLatency(), 0);
  EXPECT_EQ(plugin.GetBypassDelay(), 100 + delay);
}

TEST(OversamplingCycle, BypassedTheDrySignalKeepsTheWetOnesTime) {
  RCycleTestPlugin plugin(Offering(8));
  Choose(plugin, 4);
  plugin.Prepare(48000.0, 256);
  const int32_t delay = plugin.GetTrueLatency();
  RunSine(plugin, 440.0, 8);
  plugin.GetBypassValue()->SetProcessing(1.0);
  const std::vector<float> dry = RunSine(plugin, 440.0, 16);
  ASSERT_TRUE(plugin.IsBypassed());
  // The sine continues in both: compare the last bypassed block with the wet path's sine.
  for (size_t n = dry.size() - 256; n < dry.size(); ++n) {
    const double want = 0.5 * std::sin(2.0 * kPi * 440.0 * double(int64_t(n) - delay) / 48000.0);
    ASSERT_NEAR(dry[n], want, 1e-6) << n;
  }
}

TEST(OversamplingCycle, HostEventsLandWhereTheUpsampledSignalDoes) {
  RCycleTestPlugin plugin(Offering(8));
  Choose(plugin, 4);
  plugin.Prepare(48000.0, 256);
  RTestBlock block(2, 256);
  block.Fill(0.25f);
  block.Run(plugin);
  const int32_t shift = plugin.GetOversamplingDelay() * 4 / 2;
  const int32_t index = plugin.GetParameterIndexOf(&plugin.level);
  plugin.calls.clear();
  plugin.ScheduleAutomationEvent(100, index, 1.0);
  block.Run(plugin);
  bool cutThere = false;
  for (const auto& call : plugin.calls) cutThere = cutThere || call.offset == 400 + shift;
  EXPECT_TRUE(cutThere) << "a sub-block starts where the event's point lies, 4 x 100 + " << shift;
  EXPECT_DOUBLE_EQ(plugin.level.GetProcessingNormalised(), 1.0);
}

TEST(OversamplingCycle, AModeLeavingAChannelDryKeepsItInTimeWithTheProcessedOne) {
  RCycleTestPlugin plugin(Offering(8));
  Choose(plugin, 2);
  plugin.SetChannelMode(RChannelModes::kLeft);
  plugin.Prepare(48000.0, 256);
  EXPECT_EQ(plugin.GetChannels(), 1);
  RTestBlock block(2, 256);
  std::vector<float> left, right;
  int64_t n = 0;
  for (int32_t b = 0; b < 12; ++b) {
    for (int32_t i = 0; i < 256; ++i, ++n) {
      block.in[0][size_t(i)] = block.in[1][size_t(i)] = float(0.5 * std::sin(2.0 * kPi * 700.0 * double(n) / 48000.0));
    }
    block.Run(plugin);
    left.insert(left.end(), block.out[0].begin(), block.out[0].end());
    right.insert(right.end(), block.out[1].begin(), block.out[1].end());
  }
  for (size_t i = 1024; i < left.size(); ++i) ASSERT_NEAR(left[i], right[i], 1e-4) << i;
}

TEST(OversamplingCycle, TheCeilingHoldsAfterTheFilters) {
  class RLoud : public RCycleTestPlugin {
  public:
    RLoud() : RCycleTestPlugin(Offering(8)) {
      mode = Mode::Gain;
      gain = 4.0f;
    }
    double GetOutputCeiling() const override { return 0.5; }
  };
  RLoud plugin;
  Choose(plugin, 4);
  plugin.Prepare(48000.0, 256);
  const std::vector<float> out = RunSine(plugin, 3000.0, 8);
  float loudest = 0.0f;
  for (float y : out) loudest = std::max(loudest, std::fabs(y));
  EXPECT_LE(loudest, 0.5f);
  EXPECT_GT(loudest, 0.49f);
}
