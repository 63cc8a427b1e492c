// The transport as the DSP sees it: carried on without a host, taken from one field by field,
// and the jump and transport-change marks.
#include <gtest/gtest.h>

#include "cycletestplugin.h"
#include "kernel/timeinfo.h"

namespace {

TEST(RTimeInfoWithoutHost, GrowsFromZeroAtOneHundredTwentyBeats) {
  RTimeInfo time;
  time.Reset();
  time.Advance(nullptr, 0, 48000.0);
  EXPECT_EQ(time.SamplePosition, 0);
  EXPECT_DOUBLE_EQ(time.PPQPosition, 0.0);
  for (int32_t block = 1; block <= 300; ++block) {
    time.Advance(nullptr, 480, 48000.0);
    EXPECT_EQ(time.SamplePosition, 480 * block);
  }
  // 144000 samples at 48 kHz are 3 s: 6 quarter notes at 120 bpm, bar start 4 in 4/4.
  EXPECT_DOUBLE_EQ(time.Tempo, 120.0);
  EXPECT_NEAR(time.PPQPosition, 6.0, 1e-9);
  EXPECT_DOUBLE_EQ(time.BarStart, 4.0);
  EXPECT_FALSE(time.HasJumped());
  EXPECT_FALSE(time.IsPlaying());
}

TEST(RTimeInfoWithoutHost, APluginWithoutTransportCountsFromZero) {
  RCycleTestPlugin plugin;
  plugin.Prepare(48000.0, 480);
  RTestBlock block(2, 480);
  block.Fill(0.5f);
  for (int32_t i = 0; i < 101; ++i) block.Run(plugin);
  // The hundred and first block begins 100 blocks, one second, in: two quarter notes.
  EXPECT_EQ(plugin.GetTimeInfo().SamplePosition, 48000);
  EXPECT_NEAR(plugin.GetTimeInfo().PPQPosition, 2.0, 1e-9);
}

TEST(RTimeInfoFromHost, TakesWhatTheHostGivesAndCarriesOnTheRest) {
  RTimeInfo time;
  time.Reset();
  RHostTimeInfo host;
  host.tempo = 90.0;
  host.ppqPosition = 33.5;
  host.numerator = 3;
  host.denominator = 8;
  host.flags = RHostTimeInfo::kPlaying;
  time.Advance(&host, 0, 44100.0);
  EXPECT_DOUBLE_EQ(time.Tempo, 90.0);
  EXPECT_DOUBLE_EQ(time.PPQPosition, 33.5);
  EXPECT_DOUBLE_EQ(time.BarStart, 33.0);  // bars of three
  EXPECT_EQ(time.Denominator, 8);
  EXPECT_TRUE(time.IsPlaying());
  EXPECT_TRUE(time.TransportChanged());  // it wasn't playing before
  EXPECT_TRUE(time.HasJumped());         // from 0 to 33.5

  // Next block: the host gives only the flags. Tempo and signature are kept, the position
  // moves on by the last block at the kept tempo.
  RHostTimeInfo sparse;
  sparse.flags = RHostTimeInfo::kPlaying;
  sparse.numerator = 0;  // not above 0: ignored
  time.Advance(&sparse, 44100, 44100.0);
  EXPECT_DOUBLE_EQ(time.Tempo, 90.0);
  EXPECT_NEAR(time.PPQPosition, 35.0, 1e-12);
  EXPECT_EQ(time.Numerator, 3);
  EXPECT_DOUBLE_EQ(time.BarStart, 33.0);
  EXPECT_FALSE(time.TransportChanged());
  EXPECT_FALSE(time.HasJumped());

  // A host that says it jumped, and one that stops.
  sparse.flags = RHostTimeInfo::kJumped;
  time.Advance(&sparse, 100, 44100.0);
  EXPECT_TRUE(time.HasJumped());
  EXPECT_TRUE(time.TransportChanged());
  EXPECT_FALSE(time.IsPlaying());
}

TEST(RTimeInfoFromHost, KeepsTheOtherBitsOfItsStateByte) {
  RTimeInfo time;
  time.state = 0x80 | RTimeInfo::kJumped;
  time.Advance(nullptr, 0, 48000.0);
  EXPECT_EQ(time.state, 0x80);
  time.Reset();
  EXPECT_EQ(time.state, 0x80);
}

TEST(RTimeInfoBarStart, CountsWholeBarsOfTheNumerator) {
  EXPECT_DOUBLE_EQ(RTimeInfo::BarStartOf(9.75, 4), 8.0);
  EXPECT_DOUBLE_EQ(RTimeInfo::BarStartOf(9.75, 0), 8.0);  // no signature: 4/4
  EXPECT_DOUBLE_EQ(RTimeInfo::BarStartOf(14.0, 7), 14.0);
  EXPECT_DOUBLE_EQ(RTimeInfo::BarStartOf(0.5, 3), 0.0);
}

} // namespace
