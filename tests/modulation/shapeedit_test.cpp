// The shape editor's operations without a window: each on a selection or on all points.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "base/exception.h"
#include "modulation/shapeedit.h"

namespace {

RShapePoint P(double x, double y, int32_t type = kCurveQuartic, double c = 0) {
  RShapePoint p;
  p.X = x;
  p.Y = y;
  p.Type = type;
  p.Curvature = c;
  return p;
}

RShape Make(const std::vector<RShapePoint>& points) {
  RShape shape;
  shape.SetPoints(points);
  return shape;
}

std::vector<double> Ys(const RShape& shape) {
  std::vector<double> ys;
  for (const RShapePoint& p : shape.GetPoints()) ys.push_back(p.Y);
  return ys;
}

TEST(RShapeEditInvert, InvertingXDrawsTheMirrorImage) {
  RShape shape = Make({P(0, 0.1, kCurveQuadratic, 0.8), P(0.3, 0.9, kCurveBezier, -0.4), P(0.7, 0.2, kCurveStairs, 0.25),
                       P(1, 0.6)});
  RShape before = shape;
  RShapeEdit::InvertX(shape, {});
  ASSERT_EQ(shape.GetPoints().size(), 4u);
  EXPECT_EQ(shape.GetPoints()[1].X, 1 - 0.7);
  for (double x = 0.01; x < 1; x += 0.0137) {
    // Stairs are mirrored only in where they stand, not in how they step.
    if (x > 0.0 && x < 0.3) continue;
    EXPECT_NEAR(shape.Evaluate(x), before.Evaluate(1 - x), 1e-9) << x;
  }
  // Twice is the original again.
  RShapeEdit::InvertX(shape, {});
  for (double x = 0; x <= 1; x += 0.05) EXPECT_NEAR(shape.Evaluate(x), before.Evaluate(x), 1e-9) << x;
}

TEST(RShapeEditInvert, InvertingASelectionStaysInsideItsSpan) {
  RShape shape = Make({P(0, 0), P(0.2, 0.2), P(0.4, 0.8), P(0.5, 0.5), P(1, 1)});
  RShapeEdit::InvertX(shape, {1, 3});
  const std::vector<RShapePoint>& p = shape.GetPoints();
  EXPECT_EQ(p[0].X, 0);
  EXPECT_NEAR(p[1].X, 0.2, 1e-12);
  EXPECT_NEAR(p[2].X, 0.3, 1e-12);
  EXPECT_EQ(p[2].Y, 0.8);
  EXPECT_EQ(p[4].X, 1);
  EXPECT_EQ(p[1].Y, 0.5);
}

TEST(RShapeEditInvert, InvertingYMirrorsTheValuesOverTheAxis) {
  RShape shape = Make({P(0, 0.1, kCurveQuadratic, 0.5), P(1, 0.7)});
  shape.MinY = -1;
  shape.MaxY = 1;
  RShape before = shape;
  RShapeEdit::InvertY(shape, {});
  for (double x = 0; x <= 1; x += 0.1) EXPECT_NEAR(shape.Evaluate(x), -before.Evaluate(x), 1e-12) << x;
  RShapeEdit::InvertY(shape, {1});
  EXPECT_EQ(Ys(shape), (std::vector<double>{-0.1, 0.7}));
}

TEST(RShapeEditValues, RandomizingIsRepeatableAndStaysInRange) {
  std::vector<RShapePoint> points;
  for (int i = 0; i < 20; ++i) points.push_back(P(i / 19.0, 0.5));
  RShape a = Make(points);
  RShape b = Make(points);
  RShape c = Make(points);
  RShapeEdit::Randomize(a, {}, 42);
  RShapeEdit::Randomize(b, {}, 42);
  RShapeEdit::Randomize(c, {}, 43);
  EXPECT_EQ(Ys(a), Ys(b));
  EXPECT_NE(Ys(a), Ys(c));
  double low = 1, high = 0;
  for (double y : Ys(a)) {
    EXPECT_GE(y, 0);
    EXPECT_LT(y, 1);
    low = std::min(low, y);
    high = std::max(high, y);
  }
  EXPECT_GT(high - low, 0.3);  // spread, not one value
  RShape some = Make(points);
  RShapeEdit::Randomize(some, {0, 5}, 1);
  for (size_t i = 1; i < 20; ++i) {
    if (i != 5) {
      EXPECT_EQ(Ys(some)[i], 0.5) << i;
    }
  }
}

TEST(RShapeEditValues, DistributingSpacesTheSelectionEvenly) {
  RShape shape = Make({P(0, 0), P(0.1, 0.1), P(0.15, 0.2), P(0.8, 0.3), P(0.9, 1)});
  RShapeEdit::Distribute(shape, {0, 1, 2, 3});
  const std::vector<RShapePoint>& p = shape.GetPoints();
  EXPECT_EQ(p[0].X, 0);
  EXPECT_NEAR(p[1].X, 0.8 / 3, 1e-12);
  EXPECT_NEAR(p[2].X, 1.6 / 3, 1e-12);
  EXPECT_EQ(p[3].X, 0.8);
  EXPECT_EQ(p[4].X, 0.9);
  EXPECT_EQ(Ys(shape), (std::vector<double>{0, 0.1, 0.2, 0.3, 1}));
}

TEST(RShapeEditValues, TheStepSequencerHoldsTheCurveAtEachStepsMiddle) {
  RShape shape = Make({P(0, 0, kCurveQuadratic), P(1, 1)});
  RShapeEdit::StepSequencer(shape, 4);
  ASSERT_EQ(shape.GetPoints().size(), 5u);
  for (int k = 0; k < 4; ++k) {
    const double middle = (k + 0.5) / 4;
    EXPECT_NEAR(shape.Evaluate(k / 4.0 + 0.01), middle, 1e-12) << k;
    EXPECT_NEAR(shape.Evaluate(k / 4.0 + 0.24), middle, 1e-12) << k;
  }
}

TEST(RShapeEditKinds, KindCurvatureAndSmoothingChangeOnlyTheSelection) {
  std::vector<RShapePoint> points = {P(0, 0, kCurveQuadratic, 0.5), P(0.5, 1, kCurveQuadratic, 0.5), P(1, 0)};
  points[1].SmoothingType = 1;
  points[1].SmoothX1 = points[1].SmoothX2 = 0.1;
  RShape shape = Make(points);
  RShapeEdit::SetCurveKind(shape, {1}, kCurveStairs);
  EXPECT_EQ(shape.GetPoints()[0].Type, kCurveQuadratic);
  EXPECT_EQ(shape.GetPoints()[1].Type, kCurveStairs);
  EXPECT_THROW(RShapeEdit::SetCurveKind(shape, {}, 13), RException);
  EXPECT_EQ(shape.GetPoints()[0].Type, kCurveQuadratic);

  RShapeEdit::SetIntegralCurvature(shape, {1}, true);
  EXPECT_EQ(shape.GetPoints()[1].Flags, RShapePoint::kFlagWholeCount);
  EXPECT_EQ(shape.GetPoints()[0].Flags, 0);
  RShapeEdit::SetIntegralCurvature(shape, {}, false);
  EXPECT_EQ(shape.GetPoints()[1].Flags, 0);

  RShapeEdit::ClearCurvature(shape, {0});
  EXPECT_EQ(shape.GetPoints()[0].Curvature, 0);
  EXPECT_EQ(shape.GetPoints()[1].Curvature, 0.5);
  EXPECT_NEAR(shape.Evaluate(0.25), 0.5, 1e-12);  // now a straight line

  EXPECT_LT(shape.Evaluate(0.5), 1);
  RShapeEdit::ClearSmoothing(shape, {});
  EXPECT_EQ(shape.GetPoints()[1].SmoothingType, 0);
  EXPECT_EQ(shape.GetPoints()[1].SmoothX1, 0);
  EXPECT_EQ(shape.Evaluate(0.5), 1);
}

TEST(RShapeEditText, ExportAndImportMakeARoundTrip) {
  RShape shape = Make({P(0, 0.125), P(0.333333, -2.5), P(1, 1)});
  const RString text = RShapeEdit::Export(shape);
  EXPECT_EQ(text, RString("0.000000;0.125000\n0.333333;-2.500000\n1.000000;1.000000\n"));
  RShape other = Make({P(0.5, 0.5)});
  EXPECT_EQ(RShapeEdit::Import(other, text, true), RString("3 points have been imported."));
  ASSERT_EQ(other.GetPoints().size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(other.GetPoints()[i].X, shape.GetPoints()[i].X);
    EXPECT_EQ(other.GetPoints()[i].Y, shape.GetPoints()[i].Y);
  }
}

TEST(RShapeEditText, ImportSkipsMalformedLinesAndCanAppend) {
  RShape shape = Make({P(0.5, 0.5)});
  const RString text("0,25;0.75\r\n\nnonsense\n0.1;\n;0.3\n0.2;0.4x\n  0.9 ; 0.1 \n0.3;0.6;0.9\n");
  EXPECT_EQ(RShapeEdit::Import(shape, text, false), RString("2 points have been imported."));
  ASSERT_EQ(shape.GetPoints().size(), 3u);
  EXPECT_EQ(shape.GetPoints()[0].X, 0.25);
  EXPECT_EQ(shape.GetPoints()[0].Y, 0.75);
  EXPECT_EQ(shape.GetPoints()[1].X, 0.5);
  EXPECT_EQ(shape.GetPoints()[2].X, 0.9);
  EXPECT_EQ(RShapeEdit::Import(shape, RString("x;y"), true), RString("0 points have been imported."));
  EXPECT_TRUE(shape.GetPoints().empty());
}

} // namespace
