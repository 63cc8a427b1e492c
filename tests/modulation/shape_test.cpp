// Shapes: what each curve kind draws between its points, the remembered segment, the block
// form on every vector build, and the stored form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "base/exception.h"
#include "base/tagitem.h"
#include "hwy/targets.h"
#include "kernel/storecontext.h"
#include "modulation/shape.h"

namespace {

RShapePoint P(double x, double y, int32_t type = kCurveQuartic, double c = 0, double cx = 0, uint8_t flags = 0) {
  RShapePoint p;
  p.X = x;
  p.Y = y;
  p.Type = type;
  p.Curvature = c;
  p.CurvatureX = cx;
  p.Flags = flags;
  return p;
}

RShape Make(const std::vector<RShapePoint>& points) {
  RShape shape;
  shape.SetPoints(points);
  return shape;
}

// A fresh evaluator: no remembered segment.
double Fresh(const RShape& shape, double x) {
  RShapeSegments::Cursor cursor;
  return shape.GetSegments().Evaluate(x, cursor);
}

int Sign(double v, double tolerance) { return v > tolerance ? 1 : (v < -tolerance ? -1 : 0); }

TEST(RShapeEdges, TwoPointsOfKindZeroWithoutCurvatureAreTheIdentity) {
  RShape shape = Make({P(0, 0, kCurveQuadratic), P(1, 1, kCurveQuadratic)});
  for (double x = 0; x < 1; x += 0.0625) EXPECT_NEAR(shape.Evaluate(x), x, 1e-15) << x;
}

TEST(RShapeEdges, FullCurvatureOfKindZeroStartsFlat) {
  RShape shape = Make({P(0.2, 0.1, kCurveQuadratic, 1), P(0.6, 0.9, kCurveQuadratic)});
  const double h = 1e-6;
  EXPECT_NEAR((shape.Evaluate(0.2 + h) - shape.Evaluate(0.2)) / h, 0, 1e-4);
  // And it still arrives: the end slope is twice the straight one.
  EXPECT_NEAR((shape.Evaluate(0.6 - h) - shape.Evaluate(0.6 - 2 * h)) / h, 2 * 0.8 / 0.4, 1e-4);
}

TEST(RShapeEdges, EqualPositionsMakeAStep) {
  RShape shape = Make({P(0, 0), P(0.5, 0.25), P(0.5, 0.75), P(1, 1)});
  EXPECT_NEAR(shape.Evaluate(0.5 - 1e-9), 0.25, 1e-8);
  EXPECT_DOUBLE_EQ(shape.Evaluate(0.5), 0.75);
  // Nearly equal positions are a step too, never a steep segment.
  RShape near = Make({P(0, 0), P(0.5, 0.25), P(0.5 + 5e-9, 0.75), P(1, 1)});
  EXPECT_NEAR(near.Evaluate(0.5 - 1e-9), 0.25, 1e-8);
  EXPECT_NEAR(near.Evaluate(0.5 + 2e-9), 0.75, 1e-7);
  EXPECT_NEAR(near.Evaluate(0.5 + 6e-9), 0.75, 1e-7);
}

TEST(RShapeEdges, OutsideThePointsTheEndValuesHold) {
  RShape shape = Make({P(0.2, 0.3, kCurveSines, 0.7), P(0.8, 0.6)});
  EXPECT_EQ(shape.Evaluate(-1e300), 0.3);
  EXPECT_EQ(shape.Evaluate(0.1999), 0.3);
  EXPECT_EQ(shape.Evaluate(0.8), 0.6);
  EXPECT_EQ(shape.Evaluate(1e300), 0.6);
  EXPECT_EQ(shape.Evaluate(INFINITY), 0.6);
  EXPECT_EQ(shape.Evaluate(-INFINITY), 0.3);
  EXPECT_TRUE(std::isfinite(shape.Evaluate(NAN)));
}

TEST(RShapeEdges, NoPointIsZeroAndOnePointIsItsValue) {
  RShape none = Make({});
  EXPECT_EQ(none.Evaluate(0.5), 0);
  RShape one = Make({P(0.3, 0.7)});
  EXPECT_EQ(one.Evaluate(-3), 0.7);
  EXPECT_EQ(one.Evaluate(0.3), 0.7);
  EXPECT_EQ(one.Evaluate(9), 0.7);
}

TEST(RShapeEdges, OneWholeStairIsFlatAtTheStart) {
  RShape shape = Make({P(0, 0.2, kCurveStairs, 0.125, 0, RShapePoint::kFlagWholeCount), P(1, 0.9)});
  for (double x = 0; x < 1; x += 1.0 / 64) EXPECT_EQ(shape.Evaluate(x), 0.2) << x;
  EXPECT_EQ(shape.Evaluate(1), 0.9);
}

TEST(RShapeEdges, AnUnknownKindIsRefused) {
  RShape shape;
  for (int32_t kind : {-1, 13, 99}) {
    try {
      shape.SetPoints({P(0, 0, kind, 0.5), P(1, 1)});
      ADD_FAILURE() << "kind " << kind << " was built";
    } catch (const RException& e) {
      EXPECT_EQ(e.GetMessage(), RString("Invalid control point type."));
    }
  }
  // The kind of the last point starts no segment and is never used.
  EXPECT_NO_THROW(shape.SetPoints({P(0, 0), P(1, 1, 99)}));
}

// Kinds 0 to 5 pass through both ends and bend by the sign of the curvature: below the
// straight line for a positive curvature on a rise (above on a fall); Bézier the other way;
// the double curves change sides at the middle.
TEST(RShapeKinds, EverySmoothKindPassesBothEndsAndFollowsTheCurvature) {
  const double x0 = 0.15, x1 = 0.75;
  for (int32_t kind = 0; kind <= 5; ++kind) {
    for (double e : {0.6, -0.45}) {
      for (int step = -8; step <= 8; ++step) {
        const double c = step / 8.0;
        SCOPED_TRACE(testing::Message() << "kind " << kind << " c " << c << " e " << e);
        const double y0 = 0.3;
        RShape shape = Make({P(x0, y0, kind, c), P(x1, y0 + e)});
        EXPECT_NEAR(shape.Evaluate(x0), y0, 1e-12);
        EXPECT_NEAR(shape.Evaluate(x1 - 1e-12), y0 + e, 1e-9);
        for (int i = 1; i < 16; ++i) {
          if (i == 8 && kind >= 4) continue;  // the double curves cross the line there
          const double t = i / 16.0;
          const double deviation = shape.Evaluate(x0 + t * (x1 - x0)) - (y0 + t * e);
          int expected = -Sign(c * e, 0);
          if (kind == kCurveBezier) expected = -expected;
          if (kind >= kCurveDoubleQuartic && t > 0.5) expected = -expected;
          EXPECT_EQ(Sign(deviation, 1e-12), expected) << "t " << t << " deviation " << deviation;
        }
      }
    }
  }
}

TEST(RShapeKinds, TheQuarticStaysInsideItsEndsAtEveryCurvature) {
  for (int step = -8; step <= 8; ++step) {
    RShape shape = Make({P(0, 0, kCurveQuartic, step / 8.0), P(1, 1)});
    double last = 0;
    for (double x = 0; x <= 1; x += 1.0 / 256) {
      const double y = shape.Evaluate(x);
      EXPECT_GE(y, last - 1e-12) << step << " " << x;
      EXPECT_LE(y, 1 + 1e-12);
      last = y;
    }
  }
}

TEST(RShapeKinds, BezierFollowsItsSecondCurvatureAlongX) {
  // The control point moved toward the start makes the curve rise earlier.
  RShape early = Make({P(0, 0, kCurveBezier, 0.5, -0.8), P(1, 1)});
  RShape late = Make({P(0, 0, kCurveBezier, 0.5, 0.8), P(1, 1)});
  RShape middle = Make({P(0, 0, kCurveBezier, 0.5, 0), P(1, 1)});
  for (double x : {0.1, 0.25, 0.4}) {
    EXPECT_GT(early.Evaluate(x), middle.Evaluate(x)) << x;
    EXPECT_LT(late.Evaluate(x), middle.Evaluate(x)) << x;
  }
  EXPECT_NEAR(late.Evaluate(1 - 1e-12), 1, 1e-9);
}

TEST(RShapeKinds, SmoothKindsJoinWithoutAKinkAndPassThroughTheirPoints) {
  const std::vector<std::pair<double, double>> xy = {{0, 0.1}, {0.2, 0.7}, {0.35, 0.4}, {0.7, 0.9}, {1, 0.2}};
  for (int32_t kind : {kCurveSmooth, kCurveSmoothMonotone}) {
    std::vector<RShapePoint> points;
    for (auto [x, y] : xy) points.push_back(P(x, y, kind));
    RShape shape = Make(points);
    const double h = 1e-7;
    for (size_t i = 1; i + 1 < xy.size(); ++i) {
      const double x = xy[i].first;
      EXPECT_NEAR(shape.Evaluate(x), xy[i].second, 1e-12);
      const double left = (shape.Evaluate(x) - shape.Evaluate(x - h)) / h;
      const double right = (shape.Evaluate(x + h) - shape.Evaluate(x)) / h;
      EXPECT_NEAR(left, right, 1e-4) << "kind " << kind << " at " << x;
    }
  }
}

TEST(RShapeKinds, TheMonotoneSmoothKindNeverOvershootsItsPoints) {
  RShape shape = Make({P(0, 0, kCurveSmoothMonotone), P(0.1, 0.9, kCurveSmoothMonotone),
                       P(0.5, 1, kCurveSmoothMonotone), P(0.55, 0.2, kCurveSmoothMonotone), P(1, 0.1)});
  for (double x = 0; x <= 1; x += 1.0 / 512) {
    const double y = shape.Evaluate(x);
    EXPECT_GE(y, -1e-12) << x;
    EXPECT_LE(y, 1 + 1e-12) << x;
  }
}

TEST(RShapeCounts, TheCountIsCurvatureSquaredTimes64) {
  struct Case {
    double c;
    uint8_t flags;
    double count;
  };
  const Case cases[] = {{0.5, 0, 16}, {0.5, 128, 16}, {0.1, 0, 0.64}, {0.1, 128, 1}, {0.05, 0, 0.5},
                        {0.05, 128, 1}, {0, 128, 1}, {0.2, 128, 3}, {-0.2, 0, 2.56}, {1, 0, 64}};
  for (const Case& c : cases) {
    RShapePoint p = P(0, 0, kCurveStairs, c.c, 0, c.flags);
    EXPECT_NEAR(p.GetCount(), c.count, 1e-12) << c.c << " flags " << int(c.flags);
  }
}

// Distinct values met over the stretch, in order of first meeting.
std::vector<double> Levels(RShape& shape, double x0, double x1) {
  std::vector<double> levels;
  for (int i = 0; i < 4000; ++i) {
    const double y = shape.Evaluate(x0 + (x1 - x0) * i / 4000.0);
    if (levels.empty() || std::fabs(levels.back() - y) > 1e-12) levels.push_back(y);
  }
  return levels;
}

TEST(RShapeCounts, StairLikeKindsDrawTheirCount) {
  const double c3 = std::sqrt(3.0 / 64);
  RShape stairs = Make({P(0, 0, kCurveStairs, c3, 0, 128), P(1, 0.9)});
  const std::vector<double> levels = Levels(stairs, 0, 1);
  ASSERT_EQ(levels.size(), 3u);
  EXPECT_NEAR(levels[1], 0.3, 1e-12);
  EXPECT_NEAR(levels[2], 0.6, 1e-12);

  RShape pulses = Make({P(0, 0.2, kCurvePulses, c3, 0, 128), P(1, 0.8)});
  EXPECT_EQ(Levels(pulses, 0, 1).size(), 6u);  // three pulses: low and high each
  EXPECT_EQ(pulses.Evaluate(1.0 / 12), 0.2);
  EXPECT_EQ(pulses.Evaluate(3.0 / 12), 0.8);

  RShape saw = Make({P(0, 0, kCurveSaw, c3, 0, 128), P(1, 1)});
  EXPECT_NEAR(saw.Evaluate(1.0 / 6), 0.5, 1e-12);
  EXPECT_NEAR(saw.Evaluate(1.0 / 3 + 1e-9), 0, 1e-6);

  RShape triangles = Make({P(0, 0, kCurveTriangles, c3, 0, 128), P(1, 1)});
  EXPECT_NEAR(triangles.Evaluate(1.0 / 6), 1, 1e-12);
  EXPECT_NEAR(triangles.Evaluate(1.0 / 3), 0, 1e-12);

  RShape sines = Make({P(0, 0.2, kCurveSines, c3, 0, 128), P(1, 0.6)});
  EXPECT_NEAR(sines.Evaluate(1.0 / 12), 0.6, 1e-12);  // crest of the first wave
  EXPECT_NEAR(sines.Evaluate(3.0 / 12), 0.2, 1e-12);
}

TEST(RShapeCounts, WithoutWholeCountsTheLastStairIsCutShort) {
  const double c = std::sqrt(2.5 / 64);
  RShape shape = Make({P(0, 0, kCurveStairs, c), P(1, 1)});
  EXPECT_NEAR(shape.Evaluate(0.79), 0.4, 1e-12);
  EXPECT_NEAR(shape.Evaluate(0.81), 0.8, 1e-12);
  EXPECT_NEAR(shape.Evaluate(0.999), 0.8, 1e-12);
}

TEST(RShapeTexts, CurvatureReadsByKind) {
  EXPECT_EQ(P(0, 0, kCurveQuadratic, 0.254).GetCurvatureText(), RString("25%"));
  EXPECT_EQ(P(0, 0, kCurveDoubleExponential, -0.5).GetCurvatureText(), RString("-50%"));
  EXPECT_EQ(P(0, 0, kCurveBezier, -0.4, 0.1).GetCurvatureText(), RString("10% x -40%"));
  EXPECT_EQ(P(0, 0, kCurveSmooth, 0.4).GetCurvatureText(), RString());
  EXPECT_EQ(P(0, 0, kCurveStairs, 0.1).GetCurvatureText(), RString("1 stair"));
  EXPECT_EQ(P(0, 0, kCurvePulses, 0.1).GetCurvatureText(), RString("1 pulse"));
  EXPECT_EQ(P(0, 0, kCurveSaw, 0.1).GetCurvatureText(), RString("1 tooth"));
  EXPECT_EQ(P(0, 0, kCurveTriangles, 0.1).GetCurvatureText(), RString("1 triangle"));
  EXPECT_EQ(P(0, 0, kCurveSines, 0.1).GetCurvatureText(), RString("1 wave"));
  EXPECT_EQ(P(0, 0, kCurveStairs, 0.25, 0, 128).GetCurvatureText(), RString("4 stairs"));
  EXPECT_EQ(P(0, 0, kCurveSaw, 0.5).GetCurvatureText(), RString("16 teeth"));
  EXPECT_EQ(GetCurveKindDescription(kCurveQuadratic), RString("Fastest, minimal curvature freedom."));
  EXPECT_EQ(GetCurveKindDescription(kCurveSines), RString("Sines, curvature controls the number of waves."));
  EXPECT_EQ(GetCurveKindDescription(13), RString());
  EXPECT_EQ(GetCurveInputs(kCurveBezier), 3);
  EXPECT_EQ(GetCurveInputs(kCurveSmooth), 4);
}

TEST(RShapeBuild, PointsOutOfOrderAreSortedAndTiesKeepTheirOrder) {
  RShape shape = Make({P(1, 1), P(0.5, 0.2), P(0, 0), P(0.5, 0.8)});
  EXPECT_EQ(shape.Evaluate(0.5), 0.8);
  EXPECT_NEAR(shape.Evaluate(0.25), 0.1, 1e-12);
  EXPECT_NEAR(shape.Evaluate(0.75), 0.9, 1e-12);
}

TEST(RShapeBuild, KeepOrderShapesCompileTheirFirst32Points) {
  std::vector<RShapePoint> points;
  for (int i = 0; i < 40; ++i) points.push_back(P(i / 39.0, i < 32 ? 0.25 : 1));
  RShape all = Make(points);
  EXPECT_EQ(all.Evaluate(1), 1);
  RShape kept;
  kept.SetKeepOrder(true);
  kept.SetPoints(points);
  EXPECT_EQ(kept.Evaluate(1), 0.25);
  EXPECT_EQ(kept.GetPoints().size(), 40u);
}

TEST(RShapeBuild, ARoundedCornerJoinsItsNeighboursSmoothly) {
  std::vector<RShapePoint> points = {P(0, 0, kCurveQuadratic), P(0.5, 1, kCurveQuadratic), P(1, 0)};
  points[1].SmoothingType = 1;
  points[1].SmoothX1 = 0.1;
  points[1].SmoothX2 = 0.4;  // limited to half of the stretch to the right
  RShape shape = Make(points);
  EXPECT_NEAR(shape.Evaluate(0.3), 0.6, 1e-12);   // untouched outside the rounding
  EXPECT_NEAR(shape.Evaluate(0.8), 0.4, 1e-12);
  EXPECT_LT(shape.Evaluate(0.5), 0.99);
  const double h = 1e-7;
  for (double x : {0.4, 0.75}) {
    EXPECT_NEAR(shape.Evaluate(x - h), shape.Evaluate(x), 1e-6) << x;
    const double left = (shape.Evaluate(x - h) - shape.Evaluate(x - 2 * h)) / h;
    const double right = (shape.Evaluate(x + 2 * h) - shape.Evaluate(x + h)) / h;
    EXPECT_NEAR(left, right, 1e-3) << x;
  }
  // Cleared smoothing leaves the sharp corner.
  points[1].SmoothingType = 0;
  EXPECT_NEAR(Make(points).Evaluate(0.5), 1, 1e-12);
}

// A shape with every kind, a jump and a rounded corner.
std::vector<RShapePoint> EveryKind() {
  std::vector<RShapePoint> points;
  for (int32_t kind = 0; kind < kCurveKindCount; ++kind) {
    const double x = 0.05 + kind * 0.07;
    points.push_back(P(x, 0.5 + 0.4 * std::sin(kind * 1.7), kind, kind % 2 ? 0.6 : -0.35, 0.3, kind > 9 ? 128 : 0));
  }
  points.push_back(P(points.back().X, 0.05, kCurveQuartic, 0.5));  // a jump
  points.push_back(P(0.98, 0.95));
  points[4].SmoothingType = 1;
  points[4].SmoothX1 = points[4].SmoothX2 = 0.02;
  return points;
}

TEST(RShapeEvaluate, TheRememberedSegmentNeverChangesTheAnswer) {
  RShape shape = Make(EveryKind());
  std::mt19937 random(7031);
  std::uniform_real_distribution<double> uniform(-0.2, 1.2);
  std::vector<double> xs;
  for (int i = 0; i < 3000; ++i) xs.push_back(uniform(random));
  std::vector<double> rising(xs.begin(), xs.begin() + 1000);
  std::sort(rising.begin(), rising.end());
  std::vector<double> falling(rising.rbegin(), rising.rend());
  xs.insert(xs.end(), rising.begin(), rising.end());
  xs.insert(xs.end(), falling.begin(), falling.end());
  for (const RShapeSegment& s : {shape.GetSegments()[3], shape.GetSegments()[7]}) xs.push_back(s.end);
  for (double x : xs) ASSERT_EQ(shape.Evaluate(x), Fresh(shape, x)) << x;
}

TEST(RShapeEvaluate, ARebuildKeepsTheAnswersRight) {
  RShape shape = Make(EveryKind());
  for (double x = 0; x < 1; x += 0.01) shape.Evaluate(x);
  std::vector<RShapePoint> points = {P(0, 1), P(0.1, 0)};
  shape.SetPoints(points);  // far fewer segments than the remembered index
  EXPECT_EQ(shape.Evaluate(0.05), Fresh(shape, 0.05));
  EXPECT_EQ(shape.Evaluate(0.5), 0);
}

class RShapeBlock : public ::testing::Test {
protected:
  void TearDown() override { hwy::SetSupportedTargetsForTest(0); }

  template <class Check>
  void ForEachTarget(const Check& check) {
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (int64_t target : targets) {
      hwy::SetSupportedTargetsForTest(target);
      SCOPED_TRACE(hwy::TargetName(target));
      check();
    }
  }

  // The block must equal single evaluations at start + i * step, and write nothing beyond.
  template <typename T>
  static void ExpectBlockMatches(RShape& shape, double start, double step, int32_t frames) {
    std::vector<T> out(size_t(frames) + 8, T(-777));
    shape.EvaluateBlock(out.data(), start, step, frames);
    for (int32_t i = 0; i < frames; ++i) {
      const double x = start + double(i) * step;
      ASSERT_EQ(out[size_t(i)], T(Fresh(shape, x))) << "frame " << i << " x " << x;
    }
    for (size_t i = size_t(frames); i < out.size(); ++i) ASSERT_EQ(out[i], T(-777));
  }
};

TEST_F(RShapeBlock, EveryKindGivesWhatSingleEvaluationsGive) {
  const int32_t sizes[] = {1, 2, 3, 5, 7, 8, 9, 16, 17, 33, 511, 513};
  const double steps[] = {1.0 / 512, 1.0 / 37, -1.0 / 300, 0, 0.3};
  ForEachTarget([&] {
    for (int32_t kind = 0; kind < kCurveKindCount; ++kind) {
      SCOPED_TRACE(testing::Message() << "kind " << kind);
      RShape shape = Make({P(0.1, 0.2, kind, 0.45, -0.3, 128), P(0.5, 0.9, kind, -0.7, 0.2), P(0.85, 0.1)});
      for (int32_t frames : sizes) {
        for (double step : steps) {
          const double start = step < 0 ? 1.05 : -0.03;
          ExpectBlockMatches<float>(shape, start, step, frames);
          ExpectBlockMatches<double>(shape, start, step, frames);
        }
      }
    }
    // Many segments in one block, the cursor carried from the block before.
    RShape every = Make(EveryKind());
    ExpectBlockMatches<double>(every, -0.1, 1.3 / 997, 997);
    ExpectBlockMatches<float>(every, 1.2, -1.3 / 512, 512);
    ExpectBlockMatches<double>(every, 0.4, 1e-4, 64);
  });
}

TEST_F(RShapeBlock, PositionsThatAreNotNumbersGiveFiniteValues) {
  RShape shape = Make(EveryKind());
  std::vector<float> out(16);
  shape.EvaluateBlock(out.data(), NAN, 0.01, 16);
  for (float v : out) EXPECT_TRUE(std::isfinite(v));
  shape.EvaluateBlock(out.data(), 0, INFINITY, 16);
  for (float v : out) EXPECT_TRUE(std::isfinite(v));
}

// --- stored form


TEST(RShapeStore, ARoundTripKeepsEveryKeyAndWritesNoDefault) {
  RShape shape;
  std::vector<RShapePoint> points = EveryKind();
  points[2].SmoothingType = 2;
  points[2].SmoothX2 = 0.01;
  points[3].Flags = RShapePoint::kFlagFixedX | RShapePoint::kFlagFixedY;
  shape.SetPoints(points);
  shape.Assignable = true;
  shape.PresetName = RString("Ramp up");
  shape.DrawingMode = 2;
  shape.SnapToGridX = 8;
  shape.SnapToGridY = 4;
  shape.OverrideUnitsX = RString("ms");
  shape.OverrideUnitsY = RString("dB");
  shape.MinX = -1;
  shape.MaxY = 12;

  RTagItem root(RString("Shape"));
  RStoreContext writer(root, RStoreContext::kWriting);
  shape.Store(writer);

  RShape loaded;
  RStoreContext reader(root, 0);
  loaded.Store(reader);
  ASSERT_EQ(loaded.GetPoints().size(), shape.GetPoints().size());
  for (size_t i = 0; i < points.size(); ++i) {
    const RShapePoint& a = shape.GetPoints()[i];
    const RShapePoint& b = loaded.GetPoints()[i];
    EXPECT_EQ(a.X, b.X);
    EXPECT_EQ(a.Y, b.Y);
    EXPECT_EQ(a.Curvature, b.Curvature);
    EXPECT_EQ(a.CurvatureX, b.CurvatureX);
    EXPECT_EQ(a.Type, b.Type);
    EXPECT_EQ(a.Flags, b.Flags);
    EXPECT_EQ(a.SmoothingType, b.SmoothingType);
    EXPECT_EQ(a.SmoothX1, b.SmoothX1);
    EXPECT_EQ(a.SmoothX2, b.SmoothX2);
  }
  EXPECT_TRUE(loaded.Assignable);
  EXPECT_EQ(loaded.PresetName, RString("Ramp up"));
  EXPECT_EQ(loaded.DrawingMode, 2);
  EXPECT_EQ(loaded.SnapToGridX, 8);
  EXPECT_EQ(loaded.SnapToGridY, 4);
  EXPECT_EQ(loaded.OverrideUnitsX, RString("ms"));
  EXPECT_EQ(loaded.OverrideUnitsY, RString("dB"));
  EXPECT_EQ(loaded.MinX, -1);
  EXPECT_EQ(loaded.MaxX, 1);
  EXPECT_EQ(loaded.MaxY, 12);
  for (double x = 0; x < 1; x += 0.01) EXPECT_EQ(loaded.Evaluate(x), shape.Evaluate(x));

  // A default shape and a default point write nothing but the point element.
  RTagItem empty(RString("Shape"));
  RShape plain;
  plain.SetPoints({RShapePoint(), P(1e-11, -1e-11, kCurveQuartic, 1e-12)});
  RStoreContext plainWriter(empty, RStoreContext::kWriting);
  plain.Store(plainWriter);
  EXPECT_EQ(empty.GetAttributeCount(), 0);
  ASSERT_EQ(empty.GetSubItemCount(), 2);
  EXPECT_EQ(empty.GetFirstSubItem()->GetAttributeCount(), 0);
  EXPECT_EQ(empty.GetLastSubItem()->GetAttributeCount(), 0);
}

TEST(RShapeStore, OldAndLooselyTypedKeysRead) {
  RTagItem root(RString("Shape"));
  RTagItem* old = root.AddSubItem(RString("Point"));  // no Type: kind 1
  old->SetAttribute("x", int32_t(0));
  old->SetAttribute("y", RString("0.25"));
  old->SetAttribute("c", float(0.5));
  old->SetAttribute("Flags", int32_t(128));
  RTagItem* fixed = root.AddSubItem(RString("Point"));
  fixed->SetAttribute("x", int64_t(1));
  fixed->SetAttribute("y", 0.75);
  fixed->SetAttribute("fixed", true);
  fixed->SetAttribute("Type", int32_t(0));
  root.SetAttribute("MaxY", int32_t(2));

  RShape shape;
  shape.MinY = 5;  // an absent key reads as its default
  RStoreContext reader(root, 0);
  shape.Store(reader);
  ASSERT_EQ(shape.GetPoints().size(), 2u);
  const RShapePoint& a = shape.GetPoints()[0];
  EXPECT_EQ(a.Type, kCurveQuartic);
  EXPECT_EQ(a.Y, 0.25);
  EXPECT_EQ(a.Curvature, 0.5);
  EXPECT_EQ(a.Flags, RShapePoint::kFlagWholeCount);
  const RShapePoint& b = shape.GetPoints()[1];
  EXPECT_EQ(b.X, 1);
  EXPECT_EQ(b.Type, kCurveQuadratic);
  EXPECT_EQ(b.Flags, RShapePoint::kFlagFixedX | RShapePoint::kFlagFixedY);
  EXPECT_EQ(shape.MinY, 0);
  EXPECT_EQ(shape.MaxY, 2);
  // FlagsB wins over the older key.
  old->SetAttribute("FlagsB", int32_t(4));
  shape.Store(reader);
  EXPECT_EQ(shape.GetPoints()[0].Flags, 4);
}

} // namespace
