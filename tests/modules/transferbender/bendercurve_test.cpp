// RBenderCurve: the family between hard clip and tanh, its antiderivative, and the run's
// ceiling for any input.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "modules/transferbender/bendercurve.h"

TEST(BenderCurve, RunsFromTheHardClipToTanhWithItsAntiderivative) {
  const RBenderCurve hard(0.0), smooth(1.0);
  for (double u : {-3.0, -1.0, -0.5, 0.0, 0.25, 0.99, 1.5, 40.0}) {
    EXPECT_DOUBLE_EQ(hard.Value(u), std::clamp(u, -1.0, 1.0)) << u;
    EXPECT_NEAR(smooth.Value(u), std::tanh(u), 1e-15) << u;
  }
  for (double shape : {0.0, 0.3, 0.7, 1.0}) {
    const RBenderCurve curve(shape);
    EXPECT_DOUBLE_EQ(curve.GetShape(), shape);
    // Straight below the knee, within the ceiling everywhere.
    EXPECT_DOUBLE_EQ(curve.Value(0.999 * (1.0 - shape)), 0.999 * (1.0 - shape));
    for (double u = -6.0; u <= 6.0; u += 0.01) {
      ASSERT_LE(std::fabs(curve.Value(u)), 1.0) << shape << " " << u;
      // F' = f, on both sides of the knee.
      constexpr double h = 1e-6;
      ASSERT_NEAR((curve.Integral(u + h) - curve.Integral(u - h)) / (2.0 * h), curve.Value(u), 1e-6)
          << shape << " " << u;
    }
    EXPECT_DOUBLE_EQ(curve.Integral(0.0), 0.0);
  }
  EXPECT_DOUBLE_EQ(RBenderCurve(-2.0).GetShape(), 0.0);
  EXPECT_DOUBLE_EQ(RBenderCurve(5.0).GetShape(), 1.0);
}

TEST(BenderCurve, TheRunNeverPassesTheCeilingWhateverComesIn) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> uniform(-1e5f, 1e5f);
  std::vector<float> x(4096);
  for (size_t i = 0; i < x.size(); ++i) {
    // Noise up to 1e5, full swings between the extremes, and garbage.
    switch (i % 8) {
      case 0: x[i] = 1e5f; break;
      case 1: x[i] = -1e5f; break;
      case 2: x[i] = std::numeric_limits<float>::quiet_NaN(); break;
      case 3: x[i] = std::numeric_limits<float>::infinity(); break;
      default: x[i] = uniform(random);
    }
  }
  for (double shape : {0.0, 0.01, 0.5, 1.0}) {
    for (double ceiling : {1.0, 0.5, 0.063}) {
      const RBenderCurve curve(shape);
      RAntiderivativeState state;
      std::vector<float> y(x);
      RunBenderCurve(curve, y.data(), int32_t(y.size()), {ceiling, 0.0}, state);
      for (float v : y) ASSERT_LE(std::fabs(v), float(ceiling)) << shape << " " << ceiling;
    }
  }
  // A ceiling that glides holds sample by sample.
  RAntiderivativeState state;
  std::vector<float> y(x);
  const RBlockRamp ramp{1.0, -0.9 / double(y.size())};
  RunBenderCurve(RBenderCurve(0.2), y.data(), int32_t(y.size()), ramp, state);
  for (size_t i = 0; i < y.size(); ++i) ASSERT_LE(std::fabs(y[i]), float(ramp.At(int32_t(i)))) << i;
}
