// Planned parameter changes and the sub-blocks they cut: what the DSP sees at each cut.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <vector>

#include "tests/kernel/ramptestplugin.h"

namespace {

constexpr int32_t kGain = 0;
constexpr int32_t kFine = 1;
constexpr int32_t kPower = 2;
constexpr int32_t kEnd = RAudioPluginBase::kEndOfBlock;

using Block = RRampTestPlugin::Block;

std::vector<int32_t> Lengths(const Block& block) {
  std::vector<int32_t> lengths;
  for (const auto& cut : block.cuts) lengths.push_back(cut.length);
  return lengths;
}

class Ramps : public ::testing::Test {
protected:
  void SetUp() override { plugin.SetUp(); }
  RRampTestPlugin plugin;
};

TEST_F(Ramps, APointCutsTheBlockAndTheValueGlidesStraightTowardsIt) {
  plugin.SetParameterEdited(100, kGain, 0.5);
  EXPECT_EQ(plugin.NearestRampTime(), 100);
  const Block block = plugin.RunBlock(256, 64, 16, plugin.gain);
  EXPECT_EQ(block.first, 64);
  EXPECT_EQ(block.remainingAfterPrepare, 256);  // the block is cut
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{64, 36, 64, 64, 28}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.5 * 64 / 100);
  EXPECT_DOUBLE_EQ(block.cuts[1].value, 0.5);
  EXPECT_DOUBLE_EQ(block.cuts[4].value, 0.5);
  EXPECT_FALSE(plugin.HasActiveRamps());
  EXPECT_EQ(plugin.GetRemainingFrames(), 0);
  EXPECT_EQ(plugin.NearestRampTime(), kEnd);
}

TEST_F(Ramps, EverySubBlockEndsAtAPointOfTheRamp) {
  plugin.SetParameterEdited(40, kGain, 0.2);
  plugin.SetParameterEdited(100, kGain, 0.8);
  const Block block = plugin.RunBlock(128, 1024, 256, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{40, 60, 28}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.2);
  EXPECT_DOUBLE_EQ(block.cuts[1].value, 0.8);
  EXPECT_DOUBLE_EQ(block.cuts[2].value, 0.8);
}

TEST_F(Ramps, ARampLongerThanTheBlockCarriesOverAndStartsTheNextBlockWhereItStopped) {
  plugin.SetParameterEdited(300, kGain, 0.6);
  Block block = plugin.RunBlock(200, 1024, 256, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{200}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.4);
  EXPECT_EQ(block.remainingAfterPrepare, 0);  // not cut
  EXPECT_TRUE(plugin.HasActiveRamps());
  EXPECT_EQ(plugin.NearestRampTime(), 100);
  block = plugin.RunBlock(200, 1024, 256, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{100, 100}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.6);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, InterpolationPrepareSetsTheValueAtTheBlockStartBeforeAnySample) {
  plugin.SetParameterEdited(100, kGain, 1.0);
  plugin.RunBlock(50, 1024, 256, plugin.gain);
  // Someone set the processing value by hand between blocks; the ramp puts it back.
  plugin.gain.SetProcessing(0.0);
  int32_t limit = 1024;
  EXPECT_EQ(plugin.InterpolationPrepare(10, limit, 256), 10);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.5);
  EXPECT_EQ(plugin.GetRemainingFrames(), 0);
  plugin.InterpolationProcess(10, 10);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.6);
  plugin.InterpolationFinish();
}

TEST_F(Ramps, AnEventAtOffsetZeroAppliesAtOnceAndIsNeverRamped) {
  plugin.SetParameterEdited(0, kGain, 0.7);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.7);
  EXPECT_FALSE(plugin.HasActiveRamps());
  plugin.SetParameterEdited(-5, kGain, 0.3);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.3);
  const Block block = plugin.RunBlock(64, 1024, 1024, plugin.gain);
  EXPECT_EQ(Lengths(block), (std::vector<int32_t>{64}));  // no cut for it
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.3);
}

TEST_F(Ramps, WithoutSampleAccurateEventsEveryChangeAppliesAtOnce) {
  plugin.SetSampleAccurate(false);
  plugin.SetParameterEdited(40, kGain, 0.9);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.9);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, NoChangeMakesNoRamp) {
  plugin.SetParameterEdited(10, kGain, 0.0);
  plugin.SetParameterEdited(10, kGain, 5e-9);
  EXPECT_FALSE(plugin.HasActiveRamps());
  plugin.SetParameterEdited(10, 99, 0.5);  // no such parameter
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, APointOnTheLastFrameIsReachedAndRetiredByTheBlockEnd) {
  plugin.SetParameterEdited(63, kGain, 0.9);
  const Block block = plugin.RunBlock(64, 1024, 256, plugin.gain);
  EXPECT_EQ(Lengths(block), (std::vector<int32_t>{63, 1}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.9);
  EXPECT_FALSE(plugin.HasActiveRamps());
  EXPECT_EQ(plugin.GetRemainingFrames(), 0);
  EXPECT_EQ(plugin.CountFree(), plugin.GetAutomatableCount());
}

TEST_F(Ramps, AnEndOfBlockChangeGlidesAcrossTheWholeBlockWhateverItsLength) {
  plugin.SetParameterEdited(kEnd, kGain, 1.0);
  EXPECT_EQ(plugin.NearestRampTime(), kEnd);
  Block block = plugin.RunBlock(256, 64, 16, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{64, 64, 64, 64}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.25);
  EXPECT_DOUBLE_EQ(block.cuts[1].value, 0.5);
  EXPECT_DOUBLE_EQ(block.cuts[2].value, 0.75);
  EXPECT_DOUBLE_EQ(block.cuts[3].value, 1.0);
  EXPECT_FALSE(plugin.HasActiveRamps());

  // A second end-of-block value before the block replaces the first.
  plugin.SetParameterEdited(kEnd, kGain, 0.0);
  plugin.SetParameterEdited(kEnd, kGain, 0.5);
  block = plugin.RunBlock(100, 1024, 256, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{100}));
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.5);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, TwoPointsAtOneOffsetMakeAJumpAtThatSample) {
  plugin.SetParameterEdited(10, kGain, 0.2);
  plugin.SetParameterEdited(10, kGain, 0.9);
  const Block block = plugin.RunBlock(20, 5, 5, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{5, 5, 5, 5}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.1);  // gliding towards the first point
  EXPECT_DOUBLE_EQ(block.cuts[1].value, 0.9);  // then the second holds from sample 10
  EXPECT_DOUBLE_EQ(block.cuts[2].value, 0.9);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, AnEarlierEventDiscardsEveryPointPlannedAfterIt) {
  plugin.SetParameterEdited(10, kGain, 0.1);
  plugin.SetParameterEdited(20, kGain, 0.2);
  plugin.SetParameterEdited(30, kGain, 0.3);
  plugin.SetParameterEdited(15, kGain, 0.5);
  const Block block = plugin.RunBlock(64, 1024, 256, plugin.gain);
  ASSERT_EQ(Lengths(block), (std::vector<int32_t>{10, 5, 49}));
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.1);
  EXPECT_DOUBLE_EQ(block.cuts[1].value, 0.5);
  EXPECT_DOUBLE_EQ(block.cuts[2].value, 0.5);
}

TEST_F(Ramps, ASixtyFifthPointOverwritesTheSixtyFourth) {
  for (int32_t offset = 1; offset <= 63; ++offset) plugin.SetParameterEdited(offset, kGain, offset / 100.0);
  plugin.SetParameterEdited(64, kGain, 1.0);
  plugin.SetParameterEdited(80, kGain, 0.0);  // a 66th as well: still the last slot
  plugin.SetParameterEdited(70, kGain, 1.0);
  const Block block = plugin.RunBlock(128, 1, 1, plugin.gain);
  ASSERT_EQ(block.cuts.size(), 128u);
  EXPECT_DOUBLE_EQ(block.cuts[61].value, 0.62);  // the value at 62, as planned
  // The point at 63 is gone: from 62 the value heads for (70, 1.0).
  EXPECT_DOUBLE_EQ(block.cuts[62].value, 0.62 + (1.0 - 0.62) / 8);
  EXPECT_DOUBLE_EQ(block.cuts[69].value, 1.0);
  EXPECT_DOUBLE_EQ(block.cuts[127].value, 1.0);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, AFineRampLowersTheLimitForTheRestOfTheBlock) {
  plugin.SetParameterEdited(200, kFine, 1.0);
  const Block block = plugin.RunBlock(256, 128, 16, plugin.fine);
  EXPECT_EQ(block.first, 16);
  EXPECT_EQ(block.limitAfterPrepare, 16);
  int32_t end = 0;
  bool endsAt200 = false;
  for (const auto& cut : block.cuts) {
    EXPECT_LE(cut.length, 16);
    end += cut.length;
    endsAt200 = endsAt200 || end == 200;
    EXPECT_DOUBLE_EQ(cut.value, std::min(1.0, end / 200.0));
  }
  EXPECT_TRUE(endsAt200);

  // The same ramp on a value that isn't fine keeps the step limit.
  plugin.SetParameterEdited(200, kGain, 1.0);
  const Block coarse = plugin.RunBlock(256, 128, 16, plugin.gain);
  EXPECT_EQ(coarse.limitAfterPrepare, 128);
  EXPECT_EQ(Lengths(coarse), (std::vector<int32_t>{128, 72, 56}));
}

TEST_F(Ramps, OffsetsAreScaledByTheOversamplingAndShifted) {
  plugin.SetOversampling(4, 3);
  plugin.SetParameterEdited(10, kGain, 0.5);
  EXPECT_EQ(plugin.NearestRampTime(), 43);
  plugin.SetParameterEdited(kEnd, kFine, 0.5);
  EXPECT_EQ(plugin.NearestRampTime(), 43);  // the end-of-block mark is not scaled
  const Block block = plugin.RunBlock(64, 1024, 1024, plugin.gain);
  EXPECT_EQ(Lengths(block), (std::vector<int32_t>{43, 21}));
  EXPECT_DOUBLE_EQ(plugin.fine.GetProcessingNormalised(), 0.5);
}

TEST_F(Ramps, RampsOfSeveralParametersCutTheBlockTogether) {
  plugin.SetParameterEdited(30, kGain, 0.3);
  plugin.SetParameterEdited(50, kFine, 0.5);
  const Block block = plugin.RunBlock(64, 1024, 1024, plugin.gain);
  EXPECT_EQ(Lengths(block), (std::vector<int32_t>{30, 20, 14}));
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.3);
  EXPECT_DOUBLE_EQ(plugin.fine.GetProcessingNormalised(), 0.5);
}

TEST_F(Ramps, FlushingOrTheNoRampsBitJumpsToTheLastPlannedValue) {
  plugin.SetParameterEdited(10, kGain, 0.2);
  plugin.SetParameterEdited(90, kGain, 0.4);
  plugin.FlushRamps();
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.4);
  EXPECT_FALSE(plugin.HasActiveRamps());

  plugin.SetParameterEdited(50, kGain, 0.8);
  plugin.SetNoRamps();
  const Block block = plugin.RunBlock(64, 16, 16, plugin.gain);
  EXPECT_EQ(block.first, 16);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.8);
  EXPECT_FALSE(plugin.HasActiveRamps());
}

TEST_F(Ramps, CancellingARampLeavesTheValueWhereItStands) {
  plugin.SetParameterEdited(100, kGain, 1.0);
  plugin.SetParameterEdited(100, kFine, 1.0);
  plugin.RunBlock(50, 1024, 1024, plugin.gain);
  plugin.CancelRamp(kGain);
  EXPECT_EQ(plugin.CountActive(), 1);
  plugin.RunBlock(100, 1024, 1024, plugin.gain);
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.5);
  EXPECT_DOUBLE_EQ(plugin.fine.GetProcessingNormalised(), 1.0);
}

TEST_F(Ramps, ResetSyncsEveryValueAndDropsThePlannedRamps) {
  plugin.gain.SetNormalised(0.3);
  plugin.SetParameterEdited(100, kGain, 0.9);
  plugin.RunBlock(50, 1024, 1024, plugin.gain);
  plugin.ResetParameters();
  EXPECT_FALSE(plugin.HasActiveRamps());
  EXPECT_DOUBLE_EQ(plugin.gain.GetProcessingNormalised(), 0.3);
  EXPECT_DOUBLE_EQ(plugin.gain.GetLastValue(), 0.3);
  const Block block = plugin.RunBlock(64, 16, 16, plugin.gain);
  EXPECT_DOUBLE_EQ(block.cuts[0].value, 0.3);
}

TEST_F(Ramps, AutomationReusesTheRampsReservedAtReset) {
  const int32_t reserved = plugin.GetAutomatableCount();
  EXPECT_EQ(plugin.CountFree(), reserved);
  for (int round = 0; round < 20; ++round) {
    for (int32_t index = 0; index < plugin.GetParameterCount(); ++index) {
      if (index == kPower) continue;  // a switch would apply at once anyway
      plugin.SetParameterEdited(1 + round % 7, index, (round % 2) ? 0.25 : 0.75);
      plugin.SetParameterEdited(kEnd, index, (round % 2) ? 0.5 : 1.0);
    }
    EXPECT_EQ(plugin.CountActive() + plugin.CountFree(), reserved);
    plugin.RunBlock(32, 8, 8, plugin.gain);
  }
  EXPECT_EQ(plugin.CountFree(), reserved);
  plugin.ResetParameters();  // a second reset adds nothing
  EXPECT_EQ(plugin.CountFree(), reserved);
}

TEST(RampReserve, AtMostFiveHundredAndTwelveRecordsAreReservedAndMoreAreMadeOnDemand) {
  RRampTestPlugin plugin;
  std::vector<std::unique_ptr<RRealValue>> many;
  for (int i = 0; i < 600; ++i) {
    char name[16];
    std::snprintf(name, sizeof name, "P%d", i);
    many.push_back(std::make_unique<RRealValue>(&plugin, RString::FromUTF8(name), 0.0, 1.0, 0.0));
  }
  plugin.SetUp();
  EXPECT_EQ(plugin.CountFree(), 512);
  const int32_t first = plugin.GetParameterIndexOf(many[0].get());
  for (int32_t i = 0; i < 600; ++i) plugin.SetParameterEdited(5, first + i, 1.0);
  EXPECT_EQ(plugin.CountActive(), 600);
  EXPECT_EQ(plugin.CountFree(), 0);
  plugin.RunBlock(8, 8, 8, plugin.gain);
  EXPECT_EQ(plugin.CountFree(), 600);
  EXPECT_DOUBLE_EQ(many[599]->GetProcessingNormalised(), 1.0);
}

} // namespace
