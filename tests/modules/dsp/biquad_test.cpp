// Filter stages against their analogue prototypes, measured both from the coefficients and
// with sines through the run; cascades, garbage input and the per-processor builds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "base/exception.h"
#include "hwy/targets.h"
#include "modules/dsp/biquad.h"
#include "modules/dsp/dspkernels.h"
#include "tests/modules/dsp/dsptestsignals.h"

namespace {

using dsptest::Decibels;
using Complex = std::complex<double>;

// The analogue prototype of each bilinear type at s = j omega, the corner at omega = 1.
Complex Prototype(int32_t type, double gainDb, double q, double omega) {
  const Complex s(0.0, omega);
  const double a = std::pow(10.0, gainDb / 40.0);
  const double root = std::sqrt(a);
  const Complex poles = s * s + s / q + 1.0;
  switch (type) {
  case RBiquad::kPeak: return (s * s + s * (a / q) + 1.0) / (s * s + s / (a * q) + 1.0);
  case RBiquad::kLowShelf: return a * (s * s + s * (root / q) + a) / (a * s * s + s * (root / q) + 1.0);
  case RBiquad::kHighShelf: return a * (a * s * s + s * (root / q) + 1.0) / (s * s + s * (root / q) + a);
  case RBiquad::kLowPass: return 1.0 / poles;
  case RBiquad::kHighPass: return s * s / poles;
  case RBiquad::kBandPass: return (s / q) / poles;
  case RBiquad::kNotch: return (s * s + 1.0) / poles;
  case RBiquad::kAllPass: return (s * s - s / q + 1.0) / poles;
  case RBiquad::kBilinearLowPass:
  case RBiquad::kOnePoleLowPass:
  case RBiquad::kOnePoleZeroLowPass: return 1.0 / (s + 1.0);
  case RBiquad::kBilinearHighPass:
  case RBiquad::kOnePoleHighPass:
  case RBiquad::kOnePoleZeroHighPass: return s / (s + 1.0);
  default: return 1.0;
  }
}

// The bilinear transform maps digital f to the analogue frequency tan(pi f / fs), so with the
// corner prewarped the digital response at f is the prototype's at tan(pi f / fs) / tan(pi fc / fs).
double Warped(double f, double corner, double rate) {
  return std::tan(std::numbers::pi * f / rate) / std::tan(std::numbers::pi * corner / rate);
}

// The level of a sine through a cascade of stages copies of one design, after the transient.
double MeasuredDecibels(const RBiquad& stage, int32_t stages, double frequency) {
  const double rate = stage.GetSampleRate();
  const auto count = int32_t(rate);
  std::vector<float> x = dsptest::Sine(frequency, rate, count);
  std::vector<RBiquad> cascade(size_t(stages), stage);
  std::vector<RBiquadState> states(static_cast<size_t>(stages));
  RBiquad::RunCascade(cascade.data(), states.data(), stages, x.data(), x.data(), count);
  return Decibels(dsptest::MeasureLevel(x, frequency, rate, count / 2));
}

struct Case {
  int32_t type;
  double gainDb;
  double q;
};

const Case kBilinearCases[] = {
    {RBiquad::kPeak, 9.0, 1.5},      {RBiquad::kPeak, -12.0, 0.7},    {RBiquad::kLowShelf, 6.0, 0.7071},
    {RBiquad::kLowShelf, -9.0, 1.0}, {RBiquad::kHighShelf, 6.0, 0.7071}, {RBiquad::kHighShelf, -9.0, 0.5},
    {RBiquad::kLowPass, 0.0, 0.7071}, {RBiquad::kLowPass, 0.0, 4.0},   {RBiquad::kHighPass, 0.0, 0.7071},
    {RBiquad::kBandPass, 0.0, 2.0},  {RBiquad::kNotch, 0.0, 1.0},     {RBiquad::kAllPass, 0.0, 0.7},
    {RBiquad::kBilinearLowPass, 0.0, 1.0}, {RBiquad::kBilinearHighPass, 0.0, 1.0},
};

} // namespace

TEST(Biquad, BilinearTypesFollowTheirPrototypesAtTheCornerAndInTheStopBandForEverySlope) {
  for (double rate : {44100.0, 96000.0}) {
    for (double corner : {120.0, 1000.0, 9000.0}) {
      for (const Case& c : kBilinearCases) {
        RBiquad stage;
        stage.Design(c.type, c.gainDb, corner, rate, c.q);
        for (double f : {corner, corner / 8.0, std::min(corner * 4.0, 0.45 * rate)}) {
          const double omega = Warped(f, corner, rate);
          const double prototype = std::abs(Prototype(c.type, c.gainDb, c.q, omega));
          // A notch at its centre and a band edge that falls at zero gain have no finite level.
          if (prototype < 1e-3) continue;
          SCOPED_TRACE(testing::Message() << "type " << c.type << " rate " << rate << " corner " << corner
                                          << " at " << f);
          EXPECT_NEAR(Decibels(std::abs(stage.Response(f))), Decibels(prototype), 0.1);
          // The run, one stage and slopes of 2 and 4 stages, each a power of the prototype.
          for (int32_t stages : {1, 2, 4}) {
            EXPECT_NEAR(MeasuredDecibels(stage, stages, f), stages * Decibels(prototype), 0.1) << stages;
          }
        }
      }
    }
  }
}

TEST(Biquad, PoleMatchedFirstOrderTypesFollowTheirPrototypesBelowTheTopOfTheBand) {
  const double rate = 48000.0;
  for (int32_t type : {RBiquad::kOnePoleLowPass, RBiquad::kOnePoleHighPass, RBiquad::kOnePoleZeroLowPass,
                       RBiquad::kOnePoleZeroHighPass}) {
    const double corner = 100.0;
    RBiquad stage;
    stage.Design(type, 0.0, corner, rate, 0.7);
    for (double f : {corner, corner / 10.0, corner * 10.0}) {
      SCOPED_TRACE(testing::Message() << "type " << type << " at " << f);
      const double prototype = Decibels(std::abs(Prototype(type, 0.0, 1.0, f / corner)));
      EXPECT_NEAR(Decibels(std::abs(stage.Response(f))), prototype, 0.1);
      EXPECT_NEAR(MeasuredDecibels(stage, 1, f), prototype, 0.1);
    }
  }
  // The zero of type 12 flattens the top: a tenth of the way to the top of the band its
  // stop band is closer to the prototype than the plain one-pole's.
  RBiquad plain, zero;
  plain.Design(RBiquad::kOnePoleLowPass, 0.0, 1000.0, rate, 0.7);
  zero.Design(RBiquad::kOnePoleZeroLowPass, 0.0, 1000.0, rate, 0.7);
  const double prototype = Decibels(std::abs(Prototype(RBiquad::kOnePoleLowPass, 0.0, 1.0, 10.0)));
  EXPECT_LT(std::fabs(Decibels(std::abs(zero.Response(10000.0))) - prototype),
            std::fabs(Decibels(std::abs(plain.Response(10000.0))) - prototype));
}

TEST(Biquad, ComplementTypesAddUpToTheInputAndAllPassesKeepTheLevel) {
  const double rate = 44100.0;
  for (const auto& [low, high] : {std::pair{RBiquad::kOnePoleZeroLowPass, RBiquad::kOnePoleZeroHighPass},
                                  std::pair{RBiquad::kBilinearLowPass, RBiquad::kBilinearHighPass}}) {
    RBiquad a, b;
    a.Design(low, 0.0, 700.0, rate, 1.0);
    b.Design(high, 0.0, 700.0, rate, 1.0);
    for (double f : {10.0, 700.0, 5000.0, 20000.0}) EXPECT_NEAR(std::abs(a.Response(f) + b.Response(f)), 1.0, 1e-12);
  }
  for (int32_t type : {RBiquad::kAllPass, RBiquad::kFirstOrderAllPass}) {
    RBiquad stage;
    stage.Design(type, 0.0, 2500.0, rate, 0.8);
    for (double f : {20.0, 2500.0, 15000.0}) EXPECT_NEAR(std::abs(stage.Response(f)), 1.0, 1e-12) << type;
  }
}

TEST(Biquad, HeldPeakKeepsTheAnalogueShapeUpToTheTopOfTheBand) {
  const double rate = 48000.0;
  for (double gain : {12.0, -12.0}) {
    for (double q : {0.7, 3.0}) {
      for (double corner : {1000.0, 10000.0, 18000.0}) {
        SCOPED_TRACE(testing::Message() << gain << " dB, Q " << q << ", " << corner << " Hz");
        RBiquad held, bilinear;
        held.Design(RBiquad::kPeakHeld, gain, corner, rate, q);
        bilinear.Design(RBiquad::kPeak, gain, corner, rate, q);
        // The prototype without warping: the held shape is the analogue one at the same Hz.
        const auto analogue = [&](double f) {
          return Decibels(std::abs(Prototype(RBiquad::kPeak, gain, q, f / corner)));
        };
        EXPECT_NEAR(Decibels(std::abs(held.Response(corner))), gain, 0.1);
        EXPECT_NEAR(Decibels(std::abs(held.Response(rate / 2.0))), analogue(rate / 2.0), 0.1);
        EXPECT_NEAR(Decibels(std::abs(held.Response(1.0))), 0.0, 0.1);
        EXPECT_NEAR(MeasuredDecibels(held, 1, corner), gain, 0.1);
        // Above the centre the bilinear peak falls to 0 dB at the top; the held one doesn't.
        const double above = (corner + rate / 2.0) / 2.0;
        EXPECT_LT(std::fabs(Decibels(std::abs(held.Response(above))) - analogue(above)),
                  std::fabs(Decibels(std::abs(bilinear.Response(above))) - analogue(above)) + 1e-9);
      }
    }
  }
  // At 0 dB it is the plain peak: a straight wire.
  RBiquad flat;
  flat.Design(RBiquad::kPeakHeld, 0.0, 5000.0, rate, 1.0);
  EXPECT_NEAR(std::abs(flat.Response(3000.0)), 1.0, 1e-12);
}

TEST(Biquad, UnknownTypesAreRefused) {
  RBiquad stage;
  for (int32_t type : {-1, 16, 99}) {
    try {
      stage.Design(type, 0.0, 1000.0, 48000.0, 0.7);
      ADD_FAILURE() << "type " << type << " was accepted";
    } catch (const RException& e) {
      EXPECT_EQ(e.GetMessage().ToUTF8(), "Invalid filter type.");
    }
  }
}

TEST(Biquad, NaNAndInfinityNeverStayInTheState) {
  const float bad[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                       -std::numeric_limits<float>::infinity(), 3e38f};
  for (float garbage : bad) {
    RBiquad stage;
    stage.Design(RBiquad::kLowPass, 0.0, 500.0, 48000.0, 8.0);
    RBiquadState state, pairLeft, pairRight;
    std::vector<float> x = dsptest::Sine(300.0, 48000.0, 48000, 0.5);
    x[100] = garbage;
    std::vector<float> y(x.size()), left(x.size()), right(x.size());
    stage.Run(state, x.data(), y.data(), 101);
    stage.RunPair(pairLeft, pairRight, x.data(), x.data(), left.data(), right.data(), 101);
    for (const RBiquadState& s : {state, pairLeft, pairRight}) {
      for (double v : {s.y1, s.x1, s.y2, s.x2}) {
        EXPECT_TRUE(std::isfinite(v)) << garbage;
        EXPECT_LE(std::fabs(v), RDspKernels::kBiquadLimit);
      }
    }
    stage.Run(state, x.data() + 101, y.data() + 101, 47899);
    for (float v : y) EXPECT_TRUE(std::isfinite(v)) << garbage;
    // The ringing of the bad sample dies away: the end is the tone again.
    EXPECT_NEAR(dsptest::MeasureLevel(y, 300.0, 48000.0, 24000), 0.5 * std::abs(stage.Response(300.0)), 1e-3);
  }
}

TEST(Biquad, RunawayCoefficientsAreHeldAtTheLimit) {
  // A pole outside the unit circle, as a stage redesigned while ringing may briefly have.
  RBiquad stage;
  stage.Design(RBiquad::kLowPass, 0.0, 1000.0, 48000.0, -0.5);
  RBiquadState state;
  std::vector<float> x = dsptest::Noise(20000, 7);
  stage.Run(state, x.data(), x.data(), 20000);
  for (float v : x) ASSERT_LE(std::fabs(v), float(RDspKernels::kBiquadLimit));
  EXPECT_LE(std::fabs(state.y1), RDspKernels::kBiquadLimit);
}

TEST(Biquad, CascadeInChunksMatchesEachStageOverTheWholeBuffer) {
  const double rate = 48000.0;
  std::vector<RBiquad> stages(11);
  const int32_t types[] = {RBiquad::kLowPass, RBiquad::kHighShelf, RBiquad::kPeak, RBiquad::kOnePoleHighPass};
  for (size_t s = 0; s < stages.size(); ++s) {
    stages[s].Design(types[s % 4], 3.0 - double(s), 200.0 + 900.0 * double(s), rate, 0.6 + 0.1 * double(s));
  }
  const std::vector<float> x = dsptest::Noise(5000, 11);
  for (int32_t stageCount : {1, 2, 4, 11}) {
    {
      // Reference: each stage in turn over the whole buffer.
      std::vector<float> expected = x;
      for (int32_t s = 0; s < stageCount; ++s) {
        RBiquadState state;
        stages[size_t(s)].Run(state, expected.data(), expected.data(), int32_t(expected.size()));
      }
      // The cascade, fed in awkward blocks.
      std::vector<RBiquadState> states(static_cast<size_t>(stageCount));
      std::vector<float> y(x.size());
      const int32_t blocks[] = {1, 255, 256, 257, 700, 3};
      for (size_t done = 0, b = 0; done < x.size(); ++b) {
        const auto n = int32_t(std::min<size_t>(size_t(blocks[b % 6]), x.size() - done));
        RBiquad::RunCascade(stages.data(), states.data(), stageCount, x.data() + done, y.data() + done, n);
        done += size_t(n);
      }
      for (size_t i = 0; i < x.size(); ++i) ASSERT_EQ(y[i], expected[i]) << "stages " << stageCount << " at " << i;
    }
  }
}

namespace {

// The run formula as written, for the per-processor comparison.
void ScalarStage(const RBiquadCoefficients& c, RBiquadState& s, const float* in, float* out, int32_t n) {
  const auto limit = [](double v) {
    if (std::isnan(v)) return 0.0;
    return std::clamp(v, -RDspKernels::kBiquadLimit, RDspKernels::kBiquadLimit);
  };
  for (int32_t i = 0; i < n; ++i) {
    const double x = limit(in[i]);
    const double y = limit(c.b0 * x + c.b1 * s.x1 + c.b2 * s.x2 + c.f1 * s.y1 + c.f2 * s.y2);
    s.y2 = s.y1;
    s.y1 = y;
    s.x2 = s.x1;
    s.x1 = x;
    out[i] = float(y);
  }
}

} // namespace

TEST(Biquad, EveryProcessorBuildGivesTheScalarResultBitForBit) {
  RBiquad stages[3];
  stages[0].Design(RBiquad::kPeak, 6.0, 1200.0, 44100.0, 2.0);
  stages[1].Design(RBiquad::kLowPass, 0.0, 300.0, 44100.0, 10.0);
  stages[2].Design(RBiquad::kBilinearHighPass, 0.0, 40.0, 44100.0, 1.0);
  std::vector<float> left = dsptest::Noise(1500, 3), right = dsptest::Noise(1500, 4);
  left[700] = std::numeric_limits<float>::quiet_NaN();
  right[20] = std::numeric_limits<float>::infinity();

  std::vector<float> expectedLeft = left, expectedRight = right;
  for (const RBiquad& stage : stages) {
    RBiquadState a, b;
    ScalarStage(stage.GetCoefficients(), a, expectedLeft.data(), expectedLeft.data(), 1500);
    ScalarStage(stage.GetCoefficients(), b, expectedRight.data(), expectedRight.data(), 1500);
  }
  const RBiquadCoefficients coefficients[3] = {stages[0].GetCoefficients(), stages[1].GetCoefficients(),
                                                stages[2].GetCoefficients()};
  for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
    hwy::SetSupportedTargetsForTest(target);
    SCOPED_TRACE(hwy::TargetName(target));
    RBiquadState single[3], pairLeft[3], pairRight[3];
    std::vector<float> y(1500), outLeft(1500), outRight(1500);
    RDspKernels::BiquadCascade(coefficients, single, 3, left.data(), y.data(), 1500);
    RDspKernels::BiquadCascadePair(coefficients, pairLeft, pairRight, 3, left.data(), right.data(), outLeft.data(),
                                   outRight.data(), 1500);
    for (size_t i = 0; i < 1500; ++i) {
      ASSERT_EQ(y[i], expectedLeft[i]) << i;
      ASSERT_EQ(outLeft[i], expectedLeft[i]) << i;
      ASSERT_EQ(outRight[i], expectedRight[i]) << i;
    }
  }
  hwy::SetSupportedTargetsForTest(0);
}
