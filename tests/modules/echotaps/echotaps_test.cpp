// The echo module through its public operations: echoes at their times and levels, each mode's
// character, the shuffle path, offsets, the band-pass in both places, saturation, freeze and
// silence, serial taps, tempo sync, rates and odd blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>

#include "tests/modules/echotaps/echorig.h"

using namespace echotest;

namespace {

double Rms(const std::vector<float>& signal, int32_t from, int32_t count) {
  double sum = 0.0;
  for (int32_t i = from; i < from + count; ++i) sum += double(signal[size_t(i)]) * signal[size_t(i)];
  return std::sqrt(sum / count);
}

float PeakIn(const std::vector<float>& signal, int32_t from, int32_t count) {
  float peak = 0.0f;
  for (int32_t i = from; i < from + count; ++i) peak = std::max(peak, std::fabs(signal[size_t(i)]));
  return peak;
}

// Distances between rising zero crossings within [from, to).
std::vector<int32_t> Periods(const std::vector<float>& signal, int32_t from, int32_t to) {
  std::vector<int32_t> periods;
  int32_t last = -1;
  for (int32_t i = from + 1; i < to; ++i) {
    if (signal[size_t(i - 1)] < 0.0f && signal[size_t(i)] >= 0.0f) {
      if (last >= 0) periods.push_back(i - last);
      last = i;
    }
  }
  return periods;
}

} // namespace

TEST(EchoTaps, EchoesArriveAtTheSetTimeWithTheSetGain) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.5, 0.5);
  rig.Start();
  const Channels out = rig.RunMono(Impulse(2000));
  for (const auto& channel : out) {
    EXPECT_EQ(Peaks(channel), (std::vector<int32_t>{480, 960, 1440, 1920}));
    EXPECT_FLOAT_EQ(channel[480], 0.5f);
    EXPECT_FLOAT_EQ(channel[960], 0.25f);
    EXPECT_FLOAT_EQ(channel[1440], 0.125f);
  }
}

TEST(EchoTaps, PanoramaSplitsTwiceTheGainBetweenTheSides) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.0, 0.5);
  rig.module.Tap(0).Panorama().SetValueNow(0.5);
  rig.Start();
  const Channels out = rig.RunMono(Impulse(1000));
  EXPECT_FLOAT_EQ(out[0][480], 0.25f);
  EXPECT_FLOAT_EQ(out[1][480], 0.75f);
}

TEST(EchoTaps, DryPassesTheInputAndTapsAddOnTop) {
  REchoRig rig;
  PlainTap(rig.module, 0.001, 0.0, 0.5);
  rig.module.Dry().SetValueNow(0.25);
  rig.Start();
  const Channels out = rig.RunMono(Impulse(200));
  EXPECT_FLOAT_EQ(out[0][0], 0.25f);
  EXPECT_FLOAT_EQ(out[0][48], 0.5f);
}

TEST(EchoTaps, DefaultModeScalesEveryEchoByTheFeedbackAndIdlesAtZero) {
  {
    REchoRig rig;
    PlainTap(rig.module, 0.01, 0.0, 1.0, 0);
    rig.Start();
    const Channels out = rig.RunMono(Noise(4000, 3));
    for (const auto& channel : out) EXPECT_TRUE(Peaks(channel, 0.0f).empty());
  }
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.5, 1.0, 0);
  rig.Start();
  const Channels out = rig.RunMono(Impulse(1500));
  EXPECT_FLOAT_EQ(out[0][480], 0.5f);
  EXPECT_FLOAT_EQ(out[0][960], 0.25f);
}

TEST(EchoTaps, ZeroDelayMakesTheTapACopy) {
  REchoRig rig;
  PlainTap(rig.module, 0.0, 0.9, 0.5, 0);
  rig.Start();
  const std::vector<float> input = Noise(1000, 5);
  const Channels out = rig.RunMono(input);
  for (const auto& channel : out)
    for (size_t i = 0; i < input.size(); ++i) ASSERT_FLOAT_EQ(channel[i], input[i] * 0.5f) << i;
}

TEST(EchoTaps, PingPongAlternatesTheSides) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.5, 0.5, 2);
  rig.Start();
  const Channels out = rig.Run({Impulse(2000), std::vector<float>(2000, 0.0f)});
  EXPECT_EQ(Peaks(out[0]), (std::vector<int32_t>{480, 1440}));
  EXPECT_EQ(Peaks(out[1]), (std::vector<int32_t>{960, 1920}));
  EXPECT_FLOAT_EQ(out[1][960], 0.25f);
}

TEST(EchoTaps, ModernChangesTimeWithoutAPitchGlideAndTapeGlides) {
  const auto periodsDuringChange = [](int32_t algorithm) {
    REchoRig rig;
    PlainTap(rig.module, 0.01, 0.0, 0.5);
    rig.module.Tap(0).AlgorithmValue().SetValueNow(algorithm);
    rig.Start(48000.0, 2, 256);
    const std::vector<float> sine = Sine(9600, 1000.0, 48000.0);
    Channels out = rig.RunMono(std::vector<float>(sine.begin(), sine.begin() + 4800));
    rig.module.Tap(0).Delay().SetValueNow(0.0203);
    const Channels after = rig.RunMono(std::vector<float>(sine.begin() + 4800, sine.end()));
    return Periods(after[0], 0, 1200);
  };
  const std::vector<int32_t> modern = periodsDuringChange(REchoTap::kModern);
  ASSERT_GT(modern.size(), 10u);
  // Where the two read points are weighted alike their phases meet: one period may stretch
  // by a few samples there, but the frequency never slides.
  for (int32_t period : modern) EXPECT_NEAR(period, 48, 4);
  const double mean = std::accumulate(modern.begin(), modern.end(), 0.0) / double(modern.size());
  EXPECT_NEAR(mean, 48.0, 1.0);
  // The same measure sees the tape's slide: the read point runs at half speed for a while.
  const std::vector<int32_t> tape = periodsDuringChange(REchoTap::kTape);
  EXPECT_GE(*std::max_element(tape.begin(), tape.end()), 90);
}

TEST(EchoTaps, TimeChangesArriveAtTheNewDistanceInBothAlgorithms) {
  for (int32_t algorithm : {int32_t(REchoTap::kTape), int32_t(REchoTap::kModern)}) {
    REchoRig rig;
    PlainTap(rig.module, 0.01, 0.0, 0.5);
    rig.module.Tap(0).AlgorithmValue().SetValueNow(algorithm);
    rig.Start();
    rig.RunMono(std::vector<float>(4096, 0.0f));
    rig.module.Tap(0).Delay().SetValueNow(0.005);
    rig.RunMono(std::vector<float>(4096, 0.0f));
    const Channels out = rig.RunMono(Impulse(1000));
    EXPECT_EQ(Peaks(out[0]), std::vector<int32_t>{240}) << algorithm;
  }
}

TEST(EchoTaps, FreezeRepeatsTheRingAndIgnoresInputAndFeedback) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.3, 1.0);
  rig.Start(48000.0, 2, 160);
  const std::vector<float> burst = Noise(480, 7);
  rig.RunMono(burst);
  rig.module.Tap(0).Freeze().SetValueNow(1.0);
  rig.module.Tap(0).Feedback().SetValueNow(0.9);
  const Channels out = rig.RunMono(Noise(480 * 6, 8));
  // The ring held the burst; every period now plays it again, whatever comes in.
  for (int32_t period = 0; period < 6; ++period)
    for (int32_t i = 0; i < 480; ++i) ASSERT_FLOAT_EQ(out[0][size_t(period * 480 + i)], burst[size_t(i)]) << period;
}

TEST(EchoTaps, SilenceEmptiesTheRing) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.9, 1.0);
  rig.Start();
  rig.RunMono(Noise(2048, 9));
  rig.module.Tap(0).Silence().SetValueNow(1.0);
  const Channels out = rig.RunMono(Noise(2048, 10));
  EXPECT_TRUE(Peaks(out[0], 0.0f).empty());
}

TEST(EchoTaps, ShuffleMovesEveryOtherEcho) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.5, 1.0);
  rig.module.Tap(0).Shuffle().SetValueNow(2.0);
  rig.Start();
  const Channels out = rig.RunMono(Impulse(2500));
  // Main line 1.5 T, shuffle line 0.5 T: echoes at 1.5 T, 2 T, 3.5 T, 4 T.
  EXPECT_EQ(Peaks(out[0]), (std::vector<int32_t>{720, 960, 1680, 1920}));
  EXPECT_FLOAT_EQ(out[0][720], 1.0f);
  EXPECT_FLOAT_EQ(out[0][960], 0.5f);
  EXPECT_FLOAT_EQ(out[0][1680], 0.25f);
}

TEST(EchoTaps, OffsetsPredelayOneSide) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.0, 0.5);
  rig.module.Tap(0).LeftOffset().SetValueNow(0.005);
  rig.module.Tap(0).RightOffset().SetValueNow(-0.001);
  rig.Start();
  const Channels out = rig.RunMono(Impulse(1500));
  // The left gets both: its own offset and the negative right one.
  EXPECT_EQ(Peaks(out[0]), std::vector<int32_t>{480 + 240 + 48});
  EXPECT_EQ(Peaks(out[1]), std::vector<int32_t>{480});
}

TEST(EchoTaps, SerialTapsEchoTheFirstTapParallelTapsTheInput) {
  for (int32_t mode : {int32_t(REchoTaps::kParallel), int32_t(REchoTaps::kSerial)}) {
    REchoRig rig;
    PlainTap(rig.module, 0.01, 0.0, 0.5);
    rig.module.Tap(1).Tap().SetValueNow(1.0);
    rig.module.Tap(1).Delay().SetValueNow(0.002);
    rig.module.Tap(1).Feedback().SetValueNow(0.0);
    rig.module.Tap(1).Gain().SetValueNow(0.5);
    rig.module.DelayModeValue().SetValueNow(mode);
    rig.Start();
    const Channels out = rig.RunMono(Impulse(1500));
    if (mode == REchoTaps::kParallel) {
      EXPECT_EQ(Peaks(out[0]), (std::vector<int32_t>{96, 480}));
    } else {
      EXPECT_EQ(Peaks(out[0]), (std::vector<int32_t>{480, 576}));
      EXPECT_FLOAT_EQ(out[0][576], 0.25f);
    }
  }
}

TEST(EchoTaps, FeedbackFilterFiltersEveryEchoAgainInputFilterOnce) {
  const auto echoRatio = [](int32_t filterMode) {
    REchoRig rig;
    PlainTap(rig.module, 0.05, 0.8, 1.0);
    rig.module.MinFrequency().SetValueNow(1000.0);
    rig.module.MaxFrequency().SetValueNow(2000.0);
    rig.module.FilterModeValue().SetValueNow(filterMode);
    rig.Start();
    std::vector<float> burst = Noise(7200, 11);
    std::fill(burst.begin() + 1200, burst.end(), 0.0f);
    const Channels out = rig.RunMono(burst);
    return Rms(out[0], 4800, 1200) / Rms(out[0], 2400, 1200);
  };
  EXPECT_NEAR(echoRatio(REchoTaps::kInputFilter), 0.8, 0.02);
  EXPECT_LT(echoRatio(REchoTaps::kFeedbackFilter), 0.7);
}

TEST(EchoTaps, SaturationGrowsWithEveryEcho) {
  const auto peaks = [](double saturation) {
    REchoRig rig;
    PlainTap(rig.module, 0.02, 1.0, 1.0);
    rig.module.Saturation().SetValueNow(saturation);
    rig.Start();
    std::vector<float> burst = Sine(4800, 500.0, 48000.0, 0.9f);
    std::fill(burst.begin() + 480, burst.end(), 0.0f);
    const Channels out = rig.RunMono(burst);
    return std::vector<float>{PeakIn(out[0], 960, 480), PeakIn(out[0], 1920, 480), PeakIn(out[0], 2880, 480)};
  };
  const std::vector<float> clean = peaks(0.0), saturated = peaks(1.0);
  EXPECT_FLOAT_EQ(clean[0], clean[2]);
  EXPECT_LT(saturated[1], saturated[0] - 0.01f);
  EXPECT_LT(saturated[2], saturated[1] - 0.005f);
}

TEST(EchoTaps, SyncGivesTheNoteLengthAtTheTempo) {
  REchoRig rig;
  PlainTap(rig.module, 0.01, 0.0, 1.0);
  rig.module.Tap(0).Sync().GetSync().SetValueNow(1.0);  // "1 / 4" by default
  rig.Start();
  // A quarter note at 100 bpm is 0.6 s.
  const Channels out = rig.RunMono(Impulse(30000), 100.0);
  EXPECT_EQ(Peaks(out[0]), std::vector<int32_t>{28800});
  ASSERT_TRUE(rig.module.SetDelayBySync(0));
  EXPECT_NEAR(rig.module.Tap(0).Delay().GetValue(), 0.6, 1e-9);
}

TEST(EchoTaps, EchoTimeHoldsAtEveryRateAndOddBlocks) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    for (int32_t block : {1, 37, 4097}) {
      REchoRig rig;
      PlainTap(rig.module, 0.003, 0.5, 0.5);
      rig.Start(rate, 2, block);
      const int32_t t = rig.Samples(0.003);
      const Channels out = rig.RunMono(Impulse(3 * t + 10));
      EXPECT_EQ(Peaks(out[1]), (std::vector<int32_t>{t, 2 * t, 3 * t})) << rate << " " << block;
    }
  }
}

TEST(EchoTaps, OtherLayoutsEchoEachChannelAlone) {
  for (int32_t channels : {1, 4}) {
    REchoRig rig;
    PlainTap(rig.module, 0.01, 0.5, 0.5, 2);  // ping-pong needs two channels: classic here
    rig.Start(48000.0, channels);
    Channels in(size_t(channels), std::vector<float>(1500, 0.0f));
    in[size_t(channels - 1)][0] = 1.0f;
    const Channels out = rig.Run(in);
    EXPECT_EQ(Peaks(out[size_t(channels - 1)]), (std::vector<int32_t>{480, 960, 1440}));
    if (channels > 1) {
      EXPECT_TRUE(Peaks(out[0]).empty());
    }
  }
}

TEST(EchoTaps, FullFeedbackStaysBoundedOverMinutes) {
  REchoRig rig;
  PlainTap(rig.module, 0.037, 1.0, 1.0);
  rig.module.Tap(1).Tap().SetValueNow(1.0);
  rig.module.Tap(1).Feedback().SetValueNow(1.0);
  rig.module.Tap(1).Mode().SetValueNow(2);
  rig.module.Tap(1).Shuffle().SetValueNow(1.3);
  rig.module.FilterModeValue().SetValueNow(REchoTaps::kFeedbackFilter);
  rig.module.MinFrequency().SetValueNow(30.0);
  rig.module.Resonance().SetValueNow(1.0);
  rig.Start(48000.0, 2, 1024);
  const std::vector<float> noise = Noise(48000 * 10, 12, 1.0f);
  float peak = 0.0f;
  for (int32_t tenSeconds = 0; tenSeconds < 18; ++tenSeconds) {
    const Channels out = rig.RunMono(noise);
    for (const auto& channel : out)
      for (float v : channel) {
        ASSERT_TRUE(std::isfinite(v));
        peak = std::max(peak, std::fabs(v));
      }
  }
  // Each tap's rings are held to the guard; gains of 1 give each side at most twice that.
  EXPECT_LE(peak, 4.0f * REchoKernels::kRingLimit);
}
