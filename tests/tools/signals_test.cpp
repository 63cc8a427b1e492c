// Test signals: the texts that name them, and facts about the audio they make.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tools/quillon/commands.h"
#include "tools/quillon/progress.h"
#include "tools/quillon/signals.h"

namespace quillon_cli {
namespace {

TEST(SignalTextTest, NamesFrequenciesAndLengthsAreRead) {
  RSignalSpec sine = ParseSignal("sine:440:2");
  EXPECT_EQ(RSignalSpec::kSine, sine.kind);
  EXPECT_EQ(440.0, sine.hz);
  EXPECT_EQ(2.0, sine.seconds);

  RSignalSpec shortSine = ParseSignal("sine:1000");
  EXPECT_EQ(1000.0, shortSine.hz);
  EXPECT_EQ(RSignalSpec::kDefaultSeconds, shortSine.seconds);
  EXPECT_EQ(RSignalSpec::kDefaultSineHz, ParseSignal("sine").hz);

  EXPECT_EQ(RSignalSpec::kSilence, ParseSignal("silence").kind);
  EXPECT_EQ(0.25, ParseSignal("noise:0.25").seconds);
  EXPECT_EQ(RSignalSpec::kSweep, ParseSignal("sweep:3").kind);
  EXPECT_EQ(RSignalSpec::kImpulse, ParseSignal("impulse:1").kind);
  EXPECT_EQ(RSignalSpec::kDrums, ParseSignal("drums:3").kind);
  EXPECT_EQ(3.0, ParseSignal("drums:3").seconds);
  EXPECT_EQ(RSignalSpec::kChord, ParseSignal("chord").kind);
}

TEST(SignalTextTest, MalformedTextsAreRefused) {
  for (const char* text : {"square", "", "sine:", "sine:abc", "sine:-5", "sine:0", "sine:440:0", "sine:440:2:9",
                           "noise:1:2", "silence:x", "sine:nan", "impulse:inf", "silence:7200"}) {
    EXPECT_THROW(ParseSignal(text), CommandError) << text;
  }
}

// Upward zero crossings per second give the frequency of a clean sine.
double MeasuredFrequency(const std::vector<float>& samples, double rate) {
  int crossings = 0;
  for (size_t i = 1; i < samples.size(); ++i) {
    if (samples[i - 1] < 0.0f && samples[i] >= 0.0f) ++crossings;
  }
  return crossings / (double(samples.size()) / rate);
}

float Peak(const std::vector<float>& samples) {
  float peak = 0.0f;
  for (float s : samples) peak = std::max(peak, std::fabs(s));
  return peak;
}

TEST(SignalAudioTest, LengthRateAndChannelsFollowTheRequest) {
  for (double rate : {44100.0, 48000.0, 96000.0}) {
    RAudioData audio = GenerateSignal(ParseSignal("sine:440:1.5"), rate);
    EXPECT_EQ(rate, audio.rate);
    EXPECT_EQ(2, audio.GetChannelCount());
    EXPECT_EQ(int64_t(std::llround(1.5 * rate)), audio.GetFrameCount());
    EXPECT_EQ(RSampleFormat::kFloat, audio.format);
  }
  EXPECT_EQ(1, GenerateSignal(ParseSignal("noise:0.1"), 48000.0, 1).GetChannelCount());
}

TEST(SignalAudioTest, ASineHasItsFrequencyAndLevelOnEveryChannel) {
  RAudioData audio = GenerateSignal(ParseSignal("sine:1000:1"), 48000.0);
  for (const auto& channel : audio.channels) {
    EXPECT_NEAR(1000.0, MeasuredFrequency(channel, 48000.0), 1.0);
    EXPECT_NEAR(0.5f, Peak(channel), 1e-3f);
  }
  EXPECT_EQ(audio.channels[0], audio.channels[1]);
  EXPECT_THROW(GenerateSignal(ParseSignal("sine:30000"), 48000.0), CommandError);
  EXPECT_THROW(GenerateSignal(ParseSignal("sine:440"), 0.0), CommandError);
}

TEST(SignalAudioTest, NoiseIsSeededBoundedAndDifferentPerChannel) {
  RAudioData first = GenerateSignal(ParseSignal("noise:0.5"), 48000.0);
  RAudioData second = GenerateSignal(ParseSignal("noise:0.5"), 48000.0);
  EXPECT_EQ(first.channels, second.channels);
  EXPECT_NE(first.channels[0], first.channels[1]);
  double sum = 0.0, squares = 0.0;
  for (float s : first.channels[0]) {
    sum += s;
    squares += double(s) * s;
  }
  const double n = double(first.GetFrameCount());
  EXPECT_LE(Peak(first.channels[0]), 0.5f);
  EXPECT_NEAR(0.0, sum / n, 0.01);
  // Uniform over -0.5..0.5 has a variance of 1/12.
  EXPECT_NEAR(1.0 / 12.0, squares / n, 0.005);
}

TEST(SignalAudioTest, ASweepRisesFromLowToHighFrequencies) {
  RAudioData audio = GenerateSignal(ParseSignal("sweep:2"), 48000.0);
  const std::vector<float>& s = audio.channels[0];
  const size_t tenth = s.size() / 10;
  std::vector<float> start(s.begin(), s.begin() + tenth), end(s.end() - tenth, s.end());
  const double low = MeasuredFrequency(start, 48000.0), high = MeasuredFrequency(end, 48000.0);
  EXPECT_LT(low, 60.0);
  EXPECT_GT(high, 8000.0);
  EXPECT_LE(Peak(s), 0.5f);
  // At a low rate the sweep stays below the rate's half.
  RAudioData slow = GenerateSignal(ParseSignal("sweep:1"), 8000.0);
  const std::vector<float>& t = slow.channels[0];
  std::vector<float> slowEnd(t.end() - 400, t.end());
  EXPECT_LT(MeasuredFrequency(slowEnd, 8000.0), 4000.0);
}

TEST(SignalAudioTest, SilenceAndImpulseHoldWhatTheirNamesSay) {
  RAudioData silence = GenerateSignal(ParseSignal("silence:0.2"), 48000.0);
  EXPECT_EQ(0.0f, Peak(silence.channels[0]));
  EXPECT_EQ(0.0f, Peak(silence.channels[1]));
  RAudioData impulse = GenerateSignal(ParseSignal("impulse:0.2"), 48000.0);
  for (const auto& channel : impulse.channels) {
    EXPECT_EQ(1.0f, channel[0]);
    EXPECT_EQ(1.0f, Peak(channel));
    std::vector<float> rest(channel.begin() + 1, channel.end());
    EXPECT_EQ(0.0f, Peak(rest));
  }
}

// Root mean square of samples [from, to) seconds.
double Rms(const std::vector<float>& samples, double rate, double from, double to) {
  const size_t begin = size_t(from * rate), end = std::min(samples.size(), size_t(to * rate));
  double sum = 0.0;
  for (size_t i = begin; i < end; ++i) sum += double(samples[i]) * samples[i];
  return end > begin ? std::sqrt(sum / double(end - begin)) : 0.0;
}

// Level of one frequency in samples (Goertzel over the whole signal), relative to a full sine.
double Level(const std::vector<float>& samples, double rate, double hz) {
  const double w = 2.0 * M_PI * hz / rate;
  double s1 = 0.0, s2 = 0.0;
  for (float x : samples) {
    const double s0 = double(x) + 2.0 * std::cos(w) * s1 - s2;
    s2 = s1;
    s1 = s0;
  }
  const double power = s1 * s1 + s2 * s2 - 2.0 * std::cos(w) * s1 * s2;
  return 2.0 * std::sqrt(std::max(power, 0.0)) / double(samples.size());
}

TEST(SignalAudioTest, DrumsHitOnTheGridAtTheirLevelAndTheSameEveryTime) {
  RAudioData drums = GenerateSignal(ParseSignal("drums:4"), 48000.0);
  EXPECT_EQ(drums.channels, GenerateSignal(ParseSignal("drums:4"), 48000.0).channels);
  const std::vector<float>& left = drums.channels[0];
  EXPECT_NEAR(0.5f, std::max(Peak(drums.channels[0]), Peak(drums.channels[1])), 1e-6f);
  // The second bar's kick at 2 s and snare at 2.5 s stand out of what rings before them.
  EXPECT_GT(Rms(left, 48000.0, 2.0, 2.05), 4.0 * Rms(left, 48000.0, 1.93, 1.98));
  EXPECT_GT(Rms(left, 48000.0, 2.5, 2.55), 2.0 * Rms(left, 48000.0, 2.43, 2.48));
  // The kick's body is low: far more at 60 Hz than at 1 kHz's neighbour 1.1 kHz.
  EXPECT_GT(Level(left, 48000.0, 60.0), 3.0 * Level(left, 48000.0, 1100.0));
  // The hats lean right.
  EXPECT_NE(drums.channels[0], drums.channels[1]);
}

TEST(SignalAudioTest, TheChordHoldsItsFourNotesBandLimitedAndSpread) {
  const double rate = 44100.0;
  RAudioData chord = GenerateSignal(ParseSignal("chord:2"), rate);
  std::vector<float> mono(chord.channels[0].size());
  for (size_t i = 0; i < mono.size(); ++i) mono[i] = chord.channels[0][i] + chord.channels[1][i];
  const double between = Level(mono, rate, 300.0);
  for (double note : {220.0, 261.6255653005986, 329.6275569128699, 391.99543598174927}) {
    EXPECT_GT(Level(mono, rate, note), 10.0 * between) << note << " Hz";
  }
  // Nothing above the harmonics' limit of 8 kHz, so nothing folds back below the rate's half.
  EXPECT_LT(Level(mono, rate, 12000.0), 1e-3 * Level(mono, rate, 220.0));
  EXPECT_NEAR(0.5f, std::max(Peak(chord.channels[0]), Peak(chord.channels[1])), 1e-6f);
  // A on the left, G on the right.
  EXPECT_GT(Level(chord.channels[0], rate, 220.0), 1.5 * Level(chord.channels[1], rate, 220.0));
  EXPECT_GT(Level(chord.channels[1], rate, 391.99543598174927), 1.5 * Level(chord.channels[0], rate, 391.99543598174927));
}

TEST(ProgressTest, TheRealTimeFactorIsAudioSecondsPerCPUSecond) {
  EXPECT_EQ("real-time factor: 250.0x", FormatRealTimeFactor(10.0, 0.04));
  EXPECT_EQ("real-time factor: 0.5x", FormatRealTimeFactor(1.0, 2.0));
  // No measurable time is no division by zero.
  EXPECT_EQ("real-time factor: 2000000.0x", FormatRealTimeFactor(2.0, 0.0));
}

TEST(ProgressTest, TheTimerAddsUpOnlyTheTimedIntervals) {
  RProcessTimer timer;
  EXPECT_EQ(0.0, timer.GetSeconds());
  volatile double sink = 0.0;
  timer.Start();
  for (int i = 0; i < 2000000; ++i) sink = sink + std::sqrt(double(i));
  timer.Stop();
  const double once = timer.GetSeconds();
  EXPECT_GT(once, 0.0);
  for (int i = 0; i < 2000000; ++i) sink = sink + std::sqrt(double(i));  // not timed
  timer.Start();
  timer.Stop();
  EXPECT_LT(timer.GetSeconds() - once, once);
}

} // namespace
} // namespace quillon_cli
