// The panel stages of the channel tool on known signals: the delay and its latency report, the
// DC blocker, the RMS and envelope followers, math, the expression and the coder.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/modules/channeltool/channeltoolrig.h"

using namespace channeltooltest;

namespace {

double Decibels(double ratio) { return 20.0 * std::log10(ratio); }

} // namespace

// --- delay

TEST(ChannelToolDelay, DelaysByTheSamplesAndReportsOnlyWhenAsked) {
  for (bool report : {false, true}) {
    SCOPED_TRACE(report ? "reported" : "not reported");
    RChannelToolRig rig;
    rig.Set("DelayEnabled", 1.0);
    rig.Set("DelaySamples", 37.0);
    rig.Set("DelayReportLatency", report ? 1.0 : 0.0);
    const RStereo in{Ramp(3000, 0.001f, 0.0003f), Ramp(3000, -0.2f, 0.0001f)};
    const RStereo out = rig.Run(in);
    for (size_t i = 0; i < 37; ++i) ASSERT_EQ(out.first[i], 0.0f) << i;
    for (size_t i = 37; i < in.first.size(); ++i) {
      ASSERT_EQ(out.first[i], in.first[i - 37]) << i;
      ASSERT_EQ(out.second[i], in.second[i - 37]) << i;
    }
    EXPECT_EQ(rig.Tool().GetActiveDelay(), 37);
    EXPECT_EQ(rig.Tool().GetLatency(), report ? 37 : 0);
    EXPECT_EQ(rig.Tool().GetReportedLatency(), report ? 37 : 0);
    ASSERT_FALSE(rig.adapter.Reports.empty());
    EXPECT_EQ(rig.adapter.Reports.back(), report ? 37 : 0);
  }
}

TEST(ChannelToolDelay, MillisecondsAddToSamplesAtEveryRateAndOddBlocksAgree) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RChannelToolRig rig(rate, 512);
    rig.Set("DelayEnabled", 1.0);
    rig.Set("DelaySamples", 10.0);
    rig.Set("DelayMilliseconds", 0.0015);
    rig.Set("DelayReportLatency", 1.0);
    const int32_t expected = 10 + int32_t(std::lround(0.0015 * rate));
    EXPECT_EQ(rig.Tool().GetLatency(), expected);
    std::vector<float> impulse(4000, 0.0f);
    impulse[5] = 1.0f;
    const RStereo whole = rig.Run(impulse, impulse, nullptr, 512);
    EXPECT_EQ(rig.Tool().GetActiveDelay(), expected);
    EXPECT_EQ(whole.first[size_t(5 + expected)], 1.0f);

    RChannelToolRig odd(rate, 512);
    odd.Set("DelayEnabled", 1.0);
    odd.Set("DelaySamples", 10.0);
    odd.Set("DelayMilliseconds", 0.0015);
    const RStereo pieces = odd.Run(impulse, impulse, nullptr, 37);
    EXPECT_EQ(pieces.first, whole.first);
  }
}

TEST(ChannelToolDelay, ALaterChangeIsReportedAndTheReportFollowsTheSwitches) {
  RChannelToolRig rig;
  const RStereo in{Constant(512, 0.1f), Constant(512, 0.1f)};
  rig.Run(in);
  rig.Set("DelayEnabled", 1.0);
  rig.Set("DelayReportLatency", 1.0);
  rig.Set("DelaySamples", 256.0);
  rig.Run(in);
  EXPECT_EQ(rig.adapter.Reports.back(), 256);
  rig.Set("DelayEnabled", 0.0);
  rig.Run(in);
  EXPECT_EQ(rig.adapter.Reports.back(), 0);
  EXPECT_EQ(rig.Tool().GetActiveDelay(), 0);
}

// --- DC blocker

TEST(ChannelToolDCBlocker, RemovesAnOffsetAtEveryAttenuationAndLeavesOneKilohertz) {
  constexpr double kRate = 48000.0;
  constexpr size_t kLength = 96000;  // 2 s: the slowest order settles in well under one
  for (int32_t index = 0; index < 6; ++index) {
    SCOPED_TRACE(index);
    RChannelToolRig rig;
    rig.Set("DCBlocker", 1.0);
    rig.Set("DCBlockerAttenuation", index);
    const std::vector<float> tone = Sine(1000.0, kRate, kLength, 0.5, 0.3);
    const RStereo out = rig.Run(tone, Constant(kLength, -0.4f));
    const size_t from = kLength - 24000;  // the last half second, whole periods of 1 kHz
    EXPECT_NEAR(Mean(out.first, from, kLength), 0.0, 1e-4);
    EXPECT_NEAR(Mean(out.second, from, kLength), 0.0, 1e-4);
    EXPECT_LT(std::fabs(out.second[kLength - 1]), 1e-4f);
    const double level = Decibels(Rms(out.first, from, kLength) / (0.5 / std::sqrt(2.0)));
    EXPECT_LT(std::fabs(level), 0.1) << level << " dB at 1 kHz";
  }
}

TEST(ChannelToolDCBlocker, ButterworthResponseOfEachOrderAtItsCornerAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 88200.0, 96000.0, 192000.0}) {
    for (double quality : {0.0, 0.5, 1.0}) {
      for (int32_t order = 1; order <= RDCBlocker::kMaxOrder; ++order) {
        SCOPED_TRACE(testing::Message() << rate << " Hz, quality " << quality << ", order " << order);
        RDCBlocker blocker;
        blocker.Design(order, quality, rate);
        ASSERT_EQ(blocker.GetStageCount(), (order + 1) / 2);
        auto magnitude = [&](double hertz) {
          double m = 1.0;
          for (int32_t s = 0; s < blocker.GetStageCount(); ++s) m *= std::abs(blocker.GetStage(s).Response(hertz));
          return m;
        };
        const double corner = RDCBlocker::CornerFrequency(quality);
        EXPECT_LT(magnitude(1e-6), 1e-6);
        EXPECT_NEAR(Decibels(magnitude(corner)), -3.01, 0.05);
        // An octave below the corner: 10 log10(1 + 4^n), about 6 dB per order.
        EXPECT_NEAR(Decibels(magnitude(corner / 2.0)), -10.0 * std::log10(1.0 + std::pow(4.0, order)), 0.05);
        EXPECT_GT(Decibels(magnitude(1000.0)), -0.01);
        if (quality == 0.5) {
          EXPECT_GT(Decibels(magnitude(30.0)), -0.15);
        }
      }
    }
  }
  EXPECT_DOUBLE_EQ(RDCBlocker::CornerFrequency(0.0), 20.0);
  EXPECT_DOUBLE_EQ(RDCBlocker::CornerFrequency(0.5), 5.0);
  EXPECT_DOUBLE_EQ(RDCBlocker::CornerFrequency(1.0), 1.25);
}

// --- all stages

TEST(ChannelToolStages, EveryStageGivesTheSameOutputWhateverTheBlockSize) {
  auto configure = [](RChannelToolRig& rig) {
    for (const char* panel : {"DCBlocker", "DelayEnabled", "RMSEnabled", "EnvelopeEnabled", "MathEnabled",
                              "ExpressionEnabled", "Coder", "InvertLeft", "SwapLeftRight"}) {
      rig.Set(panel, 1.0);
    }
    rig.Set("DelaySamples", 50.0);
    rig.Set("DCBlockerAttenuation", 4.0);
    rig.Set("RMSLength", 0.002);
    rig.Set("RMSHold", 0.001);
    rig.Set("Attack", 0.001);
    rig.Set("Release", 0.01);
    rig.Set("Exp", 0.5);
    rig.Set("Param1", 0.5);
    rig.Set("panorama", 0.25);
    ASSERT_TRUE(rig.Tool().SetExpressionText(RString("x * p1 - 0.1")));
  };
  const RStereo in{Sine(330.0, 48000.0, 6000, 0.6, 0.2), Sine(1234.0, 48000.0, 6000, 0.3)};
  RChannelToolRig whole, pieces, single;
  configure(whole);
  configure(pieces);
  configure(single);
  const RStereo a = whole.Run(in.first, in.second, nullptr, 512);
  const RStereo b = pieces.Run(in.first, in.second, nullptr, 37);
  const RStereo c = single.Run(in.first, in.second, nullptr, 1);
  EXPECT_EQ(a.first, b.first);
  EXPECT_EQ(a.second, b.second);
  EXPECT_EQ(a.first, c.first);
  EXPECT_EQ(a.second, c.second);
  EXPECT_GT(Rms(a.first, 1000, 6000), 0.01);
}

// --- followers

TEST(ChannelToolRMS, ReadsTheRMSOfASineAtEveryRate) {
  for (double rate : {44100.0, 48000.0, 96000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RChannelToolRig rig(rate);
    rig.Set("RMSEnabled", 1.0);
    rig.Set("RMSLength", 0.02);  // 20 periods of 1 kHz
    const size_t n = size_t(rate * 0.1);
    const RStereo out = rig.Run(Sine(1000.0, rate, n, 0.5), Sine(1000.0, rate, n, 0.1));
    for (size_t i = size_t(rate * 0.03); i < n; i += 97) {
      ASSERT_NEAR(out.first[i], 0.5 / std::sqrt(2.0), 2e-3) << i;
      ASSERT_NEAR(out.second[i], 0.1 / std::sqrt(2.0), 5e-4) << i;
    }
  }
}

TEST(ChannelToolRMS, HoldKeepsThePeakLevelForItsTime) {
  constexpr double kRate = 48000.0;
  std::vector<float> burst = Sine(1000.0, kRate, 24000, 0.5);
  std::fill(burst.begin() + 9600, burst.end(), 0.0f);  // 0.2 s of tone, then silence
  for (double hold : {0.0, 0.05}) {
    SCOPED_TRACE(hold);
    RChannelToolRig rig;
    rig.Set("RMSEnabled", 1.0);
    rig.Set("RMSLength", 0.01);
    rig.Set("RMSHold", hold);
    const RStereo out = rig.Run(burst, burst);
    const size_t end = 9600;
    EXPECT_NEAR(out.first[end - 1], 0.3536, 5e-3);
    // 40 ms after the tone: the window is empty, the held level isn't.
    EXPECT_NEAR(out.first[end + 1920], hold > 0.0 ? 0.3536 : 0.0, 5e-3);
    // 70 ms after: the hold is over too.
    EXPECT_NEAR(out.first[end + 3360], 0.0, 1e-3);
  }
}

TEST(ChannelToolEnvelope, AttackAndReleaseCloseOneMinusOneOverEOfAStepInTheirTimes) {
  for (double rate : {44100.0, 48000.0, 192000.0}) {
    SCOPED_TRACE(rate);
    RChannelToolRig rig(rate);
    rig.Set("EnvelopeEnabled", 1.0);
    rig.Set("Attack", 0.01);
    rig.Set("Release", 0.1);
    const size_t up = size_t(rate * 0.2), n = size_t(rate * 0.5);
    std::vector<float> step(n, 0.0f);
    std::fill(step.begin(), step.begin() + long(up), -0.8f);  // rectified: the sign doesn't matter
    const RStereo out = rig.Run(step, step);
    const size_t attack = size_t(std::lround(rate * 0.01));
    EXPECT_NEAR(out.first[attack - 1], 0.8 * (1.0 - std::exp(-1.0)), 2e-3);
    EXPECT_NEAR(out.first[up - 1], 0.8, 1e-4);
    const size_t release = size_t(std::lround(rate * 0.1));
    EXPECT_NEAR(out.first[up + release - 1], 0.8 * std::exp(-1.0), 2e-3);
    for (size_t i = 1; i < up; ++i) ASSERT_GE(out.first[i], out.first[i - 1]);
  }
  // No attack time: a rising level follows the rectified signal at once.
  RChannelToolRig rig;
  rig.Set("EnvelopeEnabled", 1.0);
  const RStereo out = rig.Run(Ramp(100, -0.1f, -0.002f), Constant(100, 0.0f));
  for (size_t i = 0; i < 100; ++i) ASSERT_NEAR(out.first[i], 0.1f + 0.002f * float(i), 1e-6f);
}

// --- math

TEST(ChannelToolMath, OffsetAndTheTwoCurvesWithTheirBase) {
  const RStereo in{Ramp(101, -1.0f, 0.02f), Ramp(101, 1.0f, -0.02f)};
  {
    RChannelToolRig rig;
    rig.Set("MathEnabled", 1.0);
    rig.Set("Add", 0.25);
    const RStereo out = rig.Run(in);
    for (size_t i = 0; i < 101; ++i) ASSERT_FLOAT_EQ(out.first[i], in.first[i] + 0.25f);
  }
  {
    RChannelToolRig rig;
    rig.Set("MathEnabled", 1.0);
    rig.Set("Exp", 1.0);
    rig.Set("Base", 2.0);  // "10"
    const RStereo out = rig.Run(in);
    EXPECT_NEAR(out.first[75], (std::sqrt(10.0) - 1.0) / 9.0, 1e-6);   // x = 0.5
    EXPECT_NEAR(out.first[25], -(std::sqrt(10.0) - 1.0) / 9.0, 1e-6);  // x = -0.5: odd
    EXPECT_NEAR(out.first[100], 1.0, 1e-6);
    EXPECT_NEAR(out.first[50], 0.0, 1e-6);
  }
  {
    // Half of the logarithmic curve in base e at x = 0.5.
    RChannelToolRig rig;
    rig.Set("MathEnabled", 1.0);
    rig.Set("Log", 0.5);
    const RStereo out = rig.Run(in);
    const double curve = std::log1p((std::exp(1.0) - 1.0) * 0.5);
    EXPECT_NEAR(out.first[75], 0.5 * 0.5 + 0.5 * curve, 1e-6);
    EXPECT_NEAR(out.first[25], -(0.5 * 0.5 + 0.5 * curve), 1e-6);
  }
  {
    // The logarithmic curve undoes the exponential one in every base.
    for (int32_t base = 0; base < RChannelMath::kBaseCount; ++base) {
      RChannelToolRig rig;
      rig.Set("MathEnabled", 1.0);
      rig.Set("Exp", 1.0);
      rig.Set("Log", 1.0);
      rig.Set("Base", base);
      const RStereo out = rig.Run(in);
      for (size_t i = 0; i < 101; ++i) ASSERT_NEAR(out.first[i], in.first[i], 1e-5f) << base << " " << i;
    }
  }
}

// --- expression

TEST(ChannelToolExpression, EvaluatesEachSampleWithBothParameters) {
  RChannelToolRig rig;
  rig.Set("ExpressionEnabled", 1.0);
  rig.Set("Param1", 0.5);
  rig.Set("Param2", 0.25);
  ASSERT_TRUE(rig.Tool().SetExpressionText(RString("x * p1 + p2")));
  EXPECT_TRUE(rig.Tool().GetExpressionError().IsEmpty());
  const RStereo in{Ramp(300, -1.0f, 0.0078125f), Constant(300, 0.5f)};
  const RStereo out = rig.Run(in);
  for (size_t i = 0; i < 300; ++i) {
    ASSERT_FLOAT_EQ(out.first[i], in.first[i] * 0.5f + 0.25f) << i;
    ASSERT_FLOAT_EQ(out.second[i], 0.5f);
  }
  // Off, the text stays but the stage passes.
  rig.Set("ExpressionEnabled", 0.0);
  const RStereo off = rig.Run(in);
  EXPECT_EQ(off.first, in.first);
  EXPECT_EQ(rig.Tool().GetExpressionText().ToUTF8(), "x * p1 + p2");
}

TEST(ChannelToolExpression, ABadTextKeepsItsMessageAndPassesAudioThrough) {
  for (const char* text : {"x +", "sin(", "p3 * x", "t1"}) {
    SCOPED_TRACE(text);
    RChannelToolRig rig;
    rig.Set("ExpressionEnabled", 1.0);
    EXPECT_FALSE(rig.Tool().SetExpressionText(RString::FromUTF8(text)));
    EXPECT_FALSE(rig.Tool().GetExpressionError().IsEmpty());
    EXPECT_EQ(rig.Tool().GetExpressionText().ToUTF8(), text);
    const RStereo in{Ramp(200, -0.3f, 0.003f), Ramp(200, 0.3f, -0.003f)};
    const RStereo out = rig.Run(in);
    EXPECT_EQ(out.first, in.first);
    EXPECT_EQ(out.second, in.second);
    // A good text afterwards clears the message.
    EXPECT_TRUE(rig.Tool().SetExpressionText(RString("-x")));
    EXPECT_TRUE(rig.Tool().GetExpressionError().IsEmpty());
  }
}

TEST(ChannelToolExpression, DivisionByZeroAndLogarithmOfNegativesStayFinite) {
  for (const char* text : {"x / 0", "log(x)", "1 / x", "sqrt(x) * exp(1000 * x)"}) {
    SCOPED_TRACE(text);
    RChannelToolRig rig;
    rig.Set("ExpressionEnabled", 1.0);
    ASSERT_TRUE(rig.Tool().SetExpressionText(RString::FromUTF8(text)));
    const RStereo out = rig.Run(Ramp(400, -1.0f, 0.005f), Constant(400, -0.5f));
    for (size_t i = 0; i < 400; ++i) {
      ASSERT_TRUE(std::isfinite(out.first[i])) << i;
      ASSERT_TRUE(std::isfinite(out.second[i])) << i;
    }
    if (std::string(text) == "x / 0" || std::string(text) == "log(x)") {
      EXPECT_EQ(out.second[0], 0.0f);
    }
  }
}

// --- coder

TEST(ChannelToolCoder, EachModeGivesItsPairExactly) {
  // Values on a grid of 1/64, so that halves and sums are exact in float.
  std::vector<float> left(128), right(128);
  for (size_t i = 0; i < 128; ++i) {
    left[i] = float(int(i) - 64) / 64.0f;
    right[i] = float(int(i * 37 % 128) - 64) / 64.0f;
  }
  struct Expected {
    float l, r;
  };
  auto expected = [](int32_t mode, float l, float r) -> Expected {
    switch (mode) {
    case 0: return {(l + r) / 2, (l - r) / 2};
    case 1: return {l + r, l - r};
    case 2: return {(l + r) / 2, (l + r) / 2};
    case 3: return {(l - r) / 2, (l - r) / 2};
    case 4: return {l, l};
    default: return {r, r};
    }
  };
  for (int32_t mode = 0; mode < kCoderModeCount; ++mode) {
    SCOPED_TRACE(mode);
    RChannelToolRig rig;
    rig.Set("Coder", 1.0);
    rig.Set("CoderMode", mode);
    const RStereo out = rig.Run(left, right);
    for (size_t i = 0; i < 128; ++i) {
      const Expected e = expected(mode, left[i], right[i]);
      ASSERT_EQ(out.first[i], e.l) << i;
      ASSERT_EQ(out.second[i], e.r) << i;
    }
  }
  // Encoding and decoding return the pair.
  RChannelToolRig encode, decode;
  encode.Set("Coder", 1.0);
  decode.Set("Coder", 1.0);
  decode.Set("CoderMode", 1.0);
  const RStereo back = decode.Run(encode.Run(left, right));
  EXPECT_EQ(back.first, left);
  EXPECT_EQ(back.second, right);
  EXPECT_EQ(CoderModeItems()[1].ToUTF8(), "Mono+Stereo -> Left+Right");
}

// --- hostile input

TEST(ChannelToolStages, HostileInputLeavesNoTraceOnceItHasPassed) {
  struct Config {
    const char* name;
    std::vector<std::pair<const char*, double>> settings;
    const char* expression;
  };
  const Config configs[] = {
      {"rms", {{"RMSEnabled", 1.0}, {"RMSLength", 0.01}}, nullptr},
      {"delay", {{"DelayEnabled", 1.0}, {"DelaySamples", 50.0}}, nullptr},
      {"envelope", {{"EnvelopeEnabled", 1.0}, {"Release", 0.001}}, nullptr},
      {"math and expression", {{"MathEnabled", 1.0}, {"Log", 1.0}, {"ExpressionEnabled", 1.0}}, "log(x) + 1 / x"},
  };
  std::vector<float> hostile(512);
  const float kinds[] = {NAN, INFINITY, -INFINITY, 1e30f, -1e30f, 1e-40f};
  for (size_t i = 0; i < hostile.size(); ++i) hostile[i] = kinds[i % 6];
  const std::vector<float> tone = Sine(440.0, 48000.0, 14400, 0.5);
  for (const Config& config : configs) {
    SCOPED_TRACE(config.name);
    RChannelToolRig exposed, clean;
    for (RChannelToolRig* rig : {&exposed, &clean}) {
      for (const auto& [key, value] : config.settings) rig->Set(key, value);
      if (config.expression) {
        ASSERT_TRUE(rig->Tool().SetExpressionText(RString::FromUTF8(config.expression)));
      }
    }
    const RStereo burst = exposed.Run(hostile, hostile);
    for (size_t i = 0; i < hostile.size(); ++i) ASSERT_TRUE(std::isfinite(burst.first[i])) << i;
    const RStereo after = exposed.Run(tone, tone);
    const RStereo expected = clean.Run(tone, tone);
    for (size_t i = 9600; i < tone.size(); ++i) ASSERT_NEAR(after.first[i], expected.first[i], 1e-5f) << i;
  }
}
