// The grain engine: copies and their gains, the ranges a voice draws from, freeze, the side
// chain's share, pitch as a read rate, transformations as grain envelopes, output buses.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/modules/graincloud/graincloudtestsupport.h"

using graintest::EngineRun;

namespace {

// The mean of x over [from, to).
double Mean(const std::vector<float>& x, size_t from, size_t to) {
  double sum = 0;
  for (size_t i = from; i < to; ++i) sum += x[i];
  return sum / double(to - from);
}

// A voice on a constant input, 10 ms grains without random size, one grain held.
EngineRun& Steady(EngineRun& run, double copies, double gain) {
  RGrainVoiceSettings& s = run.engine.GetVoice(0).Settings;
  s.Copies = copies;
  s.GainStart = s.GainEnd = gain;
  s.GrainCount = 1;
  run.Sizes(0.01);
  return run;
}

} // namespace

TEST(GrainCopies, TheCountAndTheLastCopysGainFollowTheFractionalSetting) {
  const struct {
    double copies;
    int32_t count;
    double last;
  } cases[] = {{1.0, 1, 1.0}, {2.5, 3, 0.5}, {2.000001, 2, 1.0}, {3.00002, 4, 0.00002}, {20.0, 20, 1.0},
               {37.0, 20, 1.0}, {0.2, 1, 1.0}, {std::nan(""), 1, 1.0}};
  for (const auto& c : cases) {
    const RGrainCopyCount count = CountCopies(c.copies);
    EXPECT_EQ(count.Count, c.count) << c.copies;
    EXPECT_NEAR(count.LastGain, c.last, 1e-9) << c.copies;
  }
}

TEST(GrainCopies, CopiesShareTheSquaredOutputLevelAndTheLastPlaysAtItsFraction) {
  // A constant input of 1 comes out at Output^2 * (whole copies + last fraction) / copies: the
  // fades of successive grains add up to 1.
  const struct {
    double copies;
    double level;
  } cases[] = {{1.0, 0.64}, {2.5, 0.64 * 2.5 / 3.0}, {2.000001, 0.64}};
  for (const auto& c : cases) {
    EngineRun run;
    Steady(run, c.copies, 0.8);
    const std::vector<float> out = run.Run(std::vector<float>(48000, 1.0f));
    EXPECT_NEAR(Mean(out, 24000, 48000), c.level, 1e-4) << c.copies;
    EXPECT_NEAR(out[47999], c.level, 1e-4) << c.copies;
  }
}

TEST(GrainCopies, TheOutputLevelRampsFromTheOldSquareToTheNewOverABlock) {
  EngineRun run;
  Steady(run, 1.0, 1.0);
  run.Run(std::vector<float>(9600, 1.0f));
  RGrainVoiceSettings& s = run.engine.GetVoice(0).Settings;
  s.GainStart = 1.0;
  s.GainEnd = 0.5;
  const std::vector<float> out = run.Run(std::vector<float>(256, 1.0f), nullptr, 256);
  EXPECT_NEAR(out[0], 1.0, 1e-3);
  EXPECT_NEAR(out[128], 1.0 - 0.75 * 128.0 / 256.0, 1e-3);
  EXPECT_NEAR(out[255], 0.25, 5e-3);
}

TEST(GrainCopies, EachCopyIsDelayedByTheVoiceDelayPlusItsEvenShareOfTheLongest) {
  // Three copies, 100 frames of voice delay, copies spread over 0..400 more: an impulse train's
  // first grain leaves 100, 300 and 500 frames after it is played.
  EngineRun run;
  RGrainVoiceSettings& s = run.engine.GetVoice(0).Settings;
  s.Copies = 3.0;
  s.DelayFrames = 100;
  s.CopyMaxDelayFrames = 400;
  s.CopyDelayRand = 0.0;
  s.GrainCount = 1;
  run.engine.Setup(48000.0, 2);
  run.engine.SetSizes(RGrainSizes{64, 64, 0});
  std::vector<float> x(4096, 0.0f);
  x[0] = 1.0f;  // the first grain holds the click at its start
  const std::vector<float> out = run.Run(x, nullptr, 64);
  // The first grain plays from the frame after its cut, the start of the output block.
  for (int32_t delay : {100, 300, 500}) EXPECT_NEAR(out[size_t(delay)], 1.0f / 3.0f, 1e-6) << delay;
  EXPECT_EQ(out[0], 0.0f);
  EXPECT_EQ(out[200], 0.0f);
  EXPECT_EQ(run.engine.GetVoice(0).Copies[1].GetDelay(), 300);
}

TEST(GrainVoiceRanges, PitchPanAndGainRangesAreClamped) {
  RGrainVoiceSettings voice;
  voice.Pitch = 20;
  voice.PitchRandom = 10;
  voice.Pan = 0.8;
  voice.PanRandom = 0.5;
  voice.GainMin = 0.6;
  voice.GainRandom = 0.3;
  RGrainCopySettings s = MakeCopySettings(voice);
  EXPECT_EQ(s.PitchLo, 20.0);
  EXPECT_EQ(s.PitchHi, 24.0);
  EXPECT_NEAR(s.PanLo, 0.3, 1e-12);
  EXPECT_EQ(s.PanHi, 1.0);
  EXPECT_EQ(s.GainLo, 0.6);
  EXPECT_NEAR(s.GainHi, 0.9, 1e-12);
  voice.Pan = -0.9;
  s = MakeCopySettings(voice);
  EXPECT_EQ(s.PanLo, -1.0);
  EXPECT_NEAR(s.PanHi, -0.4, 1e-12);
}

TEST(GrainVoiceRanges, PanningMovesTheGrainsBetweenTheSides) {
  EngineRun run;
  Steady(run, 1.0, 1.0);
  run.engine.GetVoice(0).Settings.Pan = 0.5;
  std::vector<float> right;
  const std::vector<float> left = run.Run(std::vector<float>(9600, 1.0f), nullptr, 256, &right);
  EXPECT_NEAR(left[9599], 0.5f, 1e-4);
  EXPECT_NEAR(right[9599], 1.0f, 1e-4);

  // A random pan spreads each grain somewhere within the range: gains drawn per grain.
  EngineRun spread;
  Steady(spread, 1.0, 1.0);
  spread.engine.GetVoice(0).Settings.PanRandom = 1.0;
  const std::vector<float> moved = spread.Run(std::vector<float>(48000, 1.0f));
  float lowest = 1, highest = 0;
  for (size_t i = 24000; i < moved.size(); ++i) {
    lowest = std::min(lowest, moved[i]);
    highest = std::max(highest, moved[i]);
  }
  EXPECT_LT(lowest, 0.3f);
  EXPECT_NEAR(highest, 1.0f, 1e-3);
}

TEST(GrainFreeze, AVoiceFrozenWithNothingHeldIsSilentUntilReleased) {
  EngineRun run;
  Steady(run, 1.0, 1.0);
  run.engine.GetVoice(0).Settings.Freeze = true;
  const std::vector<float> frozen = run.Run(std::vector<float>(9600, 1.0f));
  for (float v : frozen) ASSERT_EQ(v, 0.0f);
  EXPECT_EQ(run.engine.GetVoice(0).Copies[0].GetFrozenCount(), 0);
  run.engine.GetVoice(0).Settings.Freeze = false;
  const std::vector<float> released = run.Run(std::vector<float>(9600, 1.0f));
  // The list went on taking grains while frozen: the first one after the release is heard.
  EXPECT_NEAR(released[300], 1.0f, 1e-4);
  EXPECT_NEAR(released[9599], 1.0f, 1e-4);
}

TEST(GrainFreeze, AFrozenVoicePlaysTheGrainsItHeldAndLetsThemGoWhenReleased) {
  EngineRun run;
  Steady(run, 1.0, 1.0);
  RGrainCopy& copy = run.engine.GetVoice(0).Copies[0];
  run.engine.GetVoice(0).Settings.GrainCount = 4;
  run.Run(std::vector<float>(9600, 0.5f));
  run.engine.GetVoice(0).Settings.Freeze = true;
  // The input changes; the frozen voice still plays the grains of 0.5.
  const std::vector<float> out = run.Run(std::vector<float>(24000, -1.0f));
  EXPECT_NEAR(Mean(out, 4800, 24000), 0.5, 1e-4);
  EXPECT_EQ(copy.GetFrozenCount(), 4);
  EXPECT_EQ(copy.GetHeldCount(), 4);
  const int32_t holding = run.engine.GetPool().GetLiveCount();

  run.engine.GetVoice(0).Settings.Freeze = false;
  const std::vector<float> thawed = run.Run(std::vector<float>(2400, -1.0f));
  EXPECT_NEAR(thawed[2399], -1.0f, 1e-4);
  EXPECT_EQ(copy.GetFrozenCount(), 0);
  EXPECT_LT(run.engine.GetPool().GetLiveCount(), holding) << "the frozen grains went back";
}

TEST(GrainSideChain, WithoutASideChainEveryGrainComesFromTheMainInput) {
  EngineRun run;
  Steady(run, 1.0, 1.0);
  run.engine.GetVoice(0).Settings.SideShare = 1.0;
  const std::vector<float> out = run.Run(std::vector<float>(9600, 0.5f));
  EXPECT_NEAR(out[9599], 0.5f, 1e-4);
}

TEST(GrainSideChain, TheShareDecidesWhichInputEachGrainComesFrom) {
  const std::vector<float> main(48000, 1.0f), side(48000, -1.0f);
  for (double share : {0.0, 1.0, 0.5}) {
    EngineRun run;
    Steady(run, 1.0, 1.0);
    run.engine.GetVoice(0).Settings.SideShare = share;
    run.engine.GetVoice(0).Settings.GrainCount = 8;
    const std::vector<float> out = run.Run(main, &side);
    const double mean = Mean(out, 9600, 48000);
    // Half the grains from either input: the mean lies near 0.
    const double expected = share == 0.5 ? 0.0 : 1.0 - 2.0 * share;
    EXPECT_NEAR(mean, expected, share == 0.5 ? 0.3 : 1e-4) << share;
  }
}

TEST(GrainPitch, TwelveSemitonesDoubleASinesFrequencyAndMinusTwelveHalveIt) {
  const double rate = 48000.0;
  const std::vector<float> sine = graintest::Sine(441.0, rate, 96000);
  for (auto [pitch, expected] : {std::pair{0.0, 441.0}, std::pair{12.0, 882.0}, std::pair{-12.0, 220.5}}) {
    EngineRun run(rate);
    Steady(run, 1.0, 1.0);
    run.Sizes(0.05, 0.2);
    run.engine.GetVoice(0).Settings.Pitch = pitch;
    const std::vector<float> out = run.Run(sine);
    EXPECT_NEAR(graintest::RisingCrossingsPerSecond(out, 24000, rate), expected, expected * 0.03) << pitch;
  }
}

TEST(GrainTransformation, TheChosenShapeIsEachGrainsAmplitudeEnvelope) {
  // No cross-fade and one held grain: a rising line as the shape makes each 480-frame grain of a
  // constant input a ramp from 0 towards 1.
  EngineRun run;
  Steady(run, 1.0, 1.0);
  run.Sizes(0.01, 0.0);
  RShapePoint a, b;
  a.X = 0;
  a.Y = 0;
  b.X = 1;
  b.Y = 1;
  run.engine.GetVoice(0).Transforms[3].SetPoints({a, b});
  run.engine.GetVoice(0).Settings.Transformation = 3;
  const std::vector<float> out = run.Run(std::vector<float>(9600, 1.0f));
  // Find a grain's start: a fall back to 0.
  size_t start = 4800;
  while (out[start] != 0.0f) ++start;
  for (size_t i = 0; i < 480; i += 37) EXPECT_NEAR(out[start + i], float(i) / 480.0f, 1e-5) << i;
  EXPECT_EQ(out[start + 480], 0.0f);

  // Another transformation of the same voice leaves grains flat.
  run.engine.GetVoice(0).Settings.Transformation = 2;
  const std::vector<float> flat = run.Run(std::vector<float>(4800, 1.0f));
  for (size_t i = 960; i < flat.size(); ++i) ASSERT_NEAR(flat[i], 1.0f, 1e-5) << i;
}

TEST(GrainTransformation, ATriangleShapePeaksInTheMiddleOfEveryGrain) {
  EngineRun run;
  Steady(run, 1.0, 1.0);
  run.Sizes(0.01, 0.0);
  RShapePoint a, b, c;
  a.X = 0, a.Y = 0, b.X = 0.5, b.Y = 1, c.X = 1, c.Y = 0;
  run.engine.GetVoice(0).Transforms[0].SetPoints({a, b, c});
  const std::vector<float> out = run.Run(std::vector<float>(9600, 1.0f));
  size_t start = 4800;
  while (out[start] != 0.0f) ++start;
  EXPECT_NEAR(out[start + 240], 1.0f, 1e-5);
  EXPECT_NEAR(out[start + 120], 0.5f, 1e-5);
  EXPECT_NEAR(out[start + 360], 0.5f, 1e-5);
}

TEST(GrainOutput, AVoiceWritesItsOutputBusOrTheHighestThereIs) {
  for (auto [bus, buses, expectSecond] : {std::tuple{1, 2, true}, std::tuple{5, 2, true}, std::tuple{1, 1, false}}) {
    EngineRun run;
    Steady(run, 1.0, 1.0);
    run.engine.GetVoice(0).Settings.OutputBus = bus;
    std::vector<float> second;
    const std::vector<float> first = run.Run(std::vector<float>(4800, 1.0f), nullptr, 256, nullptr, buses, &second);
    EXPECT_NEAR(expectSecond ? second[4799] : first[4799], 1.0f, 1e-4) << bus;
    EXPECT_EQ(expectSecond ? first[4799] : second[4799], 0.0f) << bus;
  }
}

TEST(GrainEngine, EveryGrainReturnsToThePoolAfterAReset) {
  EngineRun run;
  for (int32_t v = 0; v < RGrainEngine::kVoices; ++v) {
    RGrainVoiceSettings& s = run.engine.GetVoice(v).Settings;
    s.Enable = true;
    s.Copies = 20;
    s.GrainCount = RGrainEngine::kMaxGrainCount;
    s.Pitch = -12 + 6 * v;
    s.Freeze = v == 3;
  }
  run.Sizes(0.002, 1.0, 0.004);
  run.Run(graintest::Sine(300, 48000, 24000));
  EXPECT_GT(run.engine.GetPool().GetLiveCount(), 0);
  run.engine.Reset(false);
  EXPECT_EQ(run.engine.GetPool().GetLiveCount(), 0);
}
