// The software painter's fills and shapes, checked pixel by pixel on small targets: exact where
// a shape's edges lie on pixel borders, by summed coverage where they are anti-aliased.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "base/guard.h"
#include "drawertesting.h"
#include "editor/alphamask.h"
#include "editor/drawertobitmap.h"
#include "editor/fonts.h"

using namespace drawertesting;

namespace {

constexpr double kPi = std::numbers::pi;

TEST(DrawerFills, PatBltCombinesTheColourByItsRasterOperation) {
  RBitmap bitmap(6, 4);
  RDrawerToRBitmap drawer(bitmap);
  drawer.PatBlt(RRect{0, 0, 2, 2}, 0x80112233u, RRasterOp::kCopy);
  drawer.PatBlt(RRect{2, 0, 4, 2}, 0x80FF0000u, RRasterOp::kBlend);
  drawer.PatBlt(RRect{4, 0, 6, 2}, 0, RRasterOp::kInvert);
  drawer.PatBlt(RRect{0, 2, 2, 4}, 0xFF00FF00u, RRasterOp::kXor);

  EXPECT_EQ(bitmap.GetPixel(1, 1), 0x80112233u) << "copy writes alpha as it stands";
  // Half red over white: (255 * 128 + 255 * 127) >> 8 and (255 * 127) >> 8; alpha stays full.
  EXPECT_EQ(bitmap.GetPixel(3, 1), 0xFFFE7E7Eu);
  EXPECT_EQ(bitmap.GetPixel(5, 0), kBlack);
  EXPECT_EQ(bitmap.GetPixel(0, 3), 0xFFFF00FFu);
  EXPECT_EQ(bitmap.GetPixel(2, 2), kWhite);

  // Inverting twice gives the picture back.
  drawer.PatBlt(bitmap.GetBounds(), 0, RRasterOp::kInvert);
  drawer.PatBlt(bitmap.GetBounds(), 0, RRasterOp::kInvert);
  EXPECT_EQ(bitmap.GetPixel(3, 1), 0xFFFE7E7Eu);
  EXPECT_EQ(bitmap.GetPixel(1, 1), 0x80112233u);
}

TEST(DrawerFills, RectanglesFillOutlineAndGradientOnPixelBorders) {
  RBitmap bitmap(10, 8);
  RDrawerToRBitmap drawer(bitmap);
  drawer.Rectangle(RRect{2, 1, 8, 6}, kBlack);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 10; ++x) {
      const bool inside = x >= 2 && x <= 7 && y >= 1 && y <= 5;
      const bool border = inside && (x == 2 || x == 7 || y == 1 || y == 5);
      EXPECT_EQ(bitmap.GetPixel(x, y), border ? kBlack : kWhite) << x << "," << y;
    }
  }

  RBitmap thick(10, 10);
  RDrawerToRBitmap(thick).Rectangle(RRect{0, 0, 10, 10}, kBlack, 2);
  EXPECT_EQ(thick.GetPixel(1, 5), kBlack);
  EXPECT_EQ(thick.GetPixel(2, 5), kWhite);
  EXPECT_EQ(thick.GetPixel(5, 8), kBlack);
  EXPECT_EQ(CountInk(thick), 100 - 36);

  RBitmap filled(4, 4);
  RDrawerToRBitmap fill(filled);
  fill.FillRectangle(RRect{1, 1, 3, 3}, 0x80000000u);
  EXPECT_EQ(filled.GetPixel(1, 1), 0xFF7E7E7Eu);
  EXPECT_EQ(filled.GetPixel(0, 0), kWhite);
  EXPECT_EQ(filled.GetPixel(3, 3), kWhite);

  RBitmap gradient(3, 5);
  RDrawerToRBitmap(gradient).FillRectangleGradient(gradient.GetBounds(), kBlack, kWhite);
  EXPECT_EQ(gradient.GetPixel(1, 0), kBlack);
  EXPECT_EQ(gradient.GetPixel(1, 4), kWhite);
  EXPECT_EQ(gradient.GetPixel(2, 2), 0xFF808080u);
  for (int32_t y = 1; y < 5; ++y) EXPECT_GT(RPixel::Red(gradient.GetPixel(0, y)), RPixel::Red(gradient.GetPixel(0, y - 1)));
  RDrawerToRBitmap(gradient).FillRectangleGradient(gradient.GetBounds(), kBlack, kWhite, false);
  EXPECT_EQ(gradient.GetPixel(0, 4), kBlack);
  EXPECT_EQ(gradient.GetPixel(2, 0), kWhite);
  EXPECT_EQ(gradient.GetPixel(1, 3), 0xFF808080u);
}

TEST(DrawerLines, AHorizontalOrVerticalLineCoversItsPixelsExactly) {
  RBitmap bitmap(10, 8);
  RDrawerToRBitmap drawer(bitmap);
  drawer.Line(1, 3, 6, 3, kBlack);
  for (int32_t x = 0; x < 10; ++x) EXPECT_EQ(bitmap.GetPixel(x, 3), x >= 1 && x <= 6 ? kBlack : kWhite) << x;
  EXPECT_EQ(CountInk(bitmap), 6);

  drawer.Line(8, 1, 8, 6, kBlack, 3);
  // Three wide: the square ends reach one pixel beyond each end point, rows 0 to 7.
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 7; x <= 9; ++x) EXPECT_EQ(bitmap.GetPixel(x, y), kBlack) << x << "," << y;
    EXPECT_EQ(bitmap.GetPixel(6, y), y == 3 ? kBlack : kWhite) << y;
  }

  // LineTo goes on from where the last one ended.
  RBitmap path(8, 8);
  RDrawerToRBitmap pen(path);
  pen.MoveTo(1, 1);
  pen.LineTo(5, 1, kBlack);
  pen.LineTo(5, 5, kBlack);
  EXPECT_EQ(path.GetPixel(3, 1), kBlack);
  EXPECT_EQ(path.GetPixel(5, 3), kBlack);
  EXPECT_EQ(path.GetPixel(3, 3), kWhite);
  EXPECT_FLOAT_EQ(pen.GetPosition().x, 5.5f);
  EXPECT_FLOAT_EQ(pen.GetPosition().y, 5.5f);
  pen.MoveToF(0.0f, 7.5f);
  pen.LineToF(8.0f, 7.5f, kBlack);
  EXPECT_EQ(path.GetPixel(0, 7), kBlack);
  EXPECT_EQ(path.GetPixel(7, 7), kBlack);
  EXPECT_EQ(path.GetPixel(4, 6), kWhite);
}

TEST(DrawerLines, ADiagonalIsSymmetricAndCoversItsLengthTimesItsWidth) {
  RBitmap bitmap(16, 16);
  RDrawerToRBitmap drawer(bitmap);
  drawer.Line(2, 2, 12, 12, kBlack);
  for (int32_t y = 0; y < 16; ++y) {
    for (int32_t x = 0; x < 16; ++x) EXPECT_EQ(bitmap.GetPixel(x, y), bitmap.GetPixel(y, x)) << x << "," << y;
  }
  // Length between the centres plus the two square ends of half the width.
  const double expected = 10.0 * std::sqrt(2.0) + 1.0;
  EXPECT_NEAR(SumOfCoverage(bitmap), expected, 0.02 * expected);
  EXPECT_GT(CoverageAt(bitmap, 7, 7), 0.6f);
  EXPECT_LT(CoverageAt(bitmap, 7, 7), 1.0f) << "a diagonal's pixels are anti-aliased";
  EXPECT_EQ(bitmap.GetPixel(12, 2), kWhite);

  RBitmap wide(16, 16);
  RDrawerToRBitmap(wide).Line(2, 2, 12, 12, kBlack, 3);
  EXPECT_NEAR(SumOfCoverage(wide), (10.0 * std::sqrt(2.0) + 3.0) * 3.0, 0.02 * 45.0);
}

TEST(DrawerLines, APolyLineIsOneShapeSoItsJointsAreNotBlendedTwice) {
  RBitmap bitmap(10, 10);
  RDrawerToRBitmap drawer(bitmap);
  const RPoint points[3] = {RPoint{1, 1}, RPoint{7, 1}, RPoint{7, 7}};
  drawer.PolyLine(points, 3, 0x80000000u);
  const uint32_t leg = bitmap.GetPixel(4, 1);
  EXPECT_EQ(leg, 0xFF7E7E7Eu);
  EXPECT_EQ(bitmap.GetPixel(7, 1), leg);
  EXPECT_EQ(bitmap.GetPixel(7, 4), leg);
  EXPECT_EQ(bitmap.GetPixel(7, 7), leg);
  EXPECT_EQ(bitmap.GetPixel(4, 4), kWhite);
  EXPECT_EQ(CountInk(bitmap), 13);

  RBitmap floats(10, 10);
  const RPointF line[2] = {RPointF{0.0f, 5.0f}, RPointF{10.0f, 5.0f}};
  RDrawerToRBitmap(floats).PolyLineF(line, 2, kBlack, 2);
  // Centred on the border between rows 4 and 5: both rows whole, nothing else.
  EXPECT_EQ(floats.GetPixel(3, 4), kBlack);
  EXPECT_EQ(floats.GetPixel(3, 5), kBlack);
  EXPECT_EQ(CountInk(floats), 20);
}

TEST(DrawerShapes, RoundedRectanglesCutTheirCorners) {
  RBitmap bitmap(20, 20);
  RDrawerToRBitmap drawer(bitmap);
  drawer.FillRoundRectangle(bitmap.GetBounds(), 6, kBlack);
  for (RPoint corner : {RPoint{0, 0}, RPoint{19, 0}, RPoint{0, 19}, RPoint{19, 19}}) {
    EXPECT_EQ(bitmap.GetPixel(corner.x, corner.y), kWhite);
  }
  EXPECT_EQ(bitmap.GetPixel(0, 10), kBlack);
  EXPECT_EQ(bitmap.GetPixel(10, 0), kBlack);
  EXPECT_EQ(bitmap.GetPixel(10, 10), kBlack);
  // The area lost to the corners is a square of the radius less a quarter circle, four times.
  const double expected = 400.0 - (4.0 - kPi) * 36.0;
  EXPECT_NEAR(SumOfCoverage(bitmap), expected, 0.01 * expected);

  RBitmap outline(20, 20);
  RDrawerToRBitmap(outline).RoundRectangle(outline.GetBounds(), 6, kBlack);
  EXPECT_EQ(outline.GetPixel(0, 0), kWhite);
  EXPECT_EQ(outline.GetPixel(0, 10), kBlack);
  EXPECT_EQ(outline.GetPixel(10, 19), kBlack);
  EXPECT_EQ(outline.GetPixel(10, 10), kWhite);
  EXPECT_EQ(outline.GetPixel(1, 10), kWhite);

  // A radius of 0 is a plain rectangle.
  RBitmap square(6, 6);
  RDrawerToRBitmap(square).FillRoundRectangle(RRect{1, 1, 5, 5}, 0, kBlack);
  EXPECT_EQ(CountInk(square), 16);
  EXPECT_EQ(square.GetPixel(1, 1), kBlack);
}

TEST(DrawerShapes, CirclesCoverTheirAreaAndAreSymmetric) {
  RBitmap bitmap(64, 64);
  RDrawerToRBitmap drawer(bitmap);
  drawer.FillCircle(32.0f, 32.0f, 20.0f, kBlack);
  EXPECT_NEAR(SumOfCoverage(bitmap), kPi * 400.0, 0.01 * kPi * 400.0);
  EXPECT_EQ(bitmap.GetPixel(32, 32), kBlack);
  EXPECT_EQ(bitmap.GetPixel(32, 32 - 22), kWhite);
  EXPECT_EQ(bitmap.GetPixel(9, 9), kWhite);
  for (int32_t y = 0; y < 64; ++y) {
    for (int32_t x = 0; x < 64; ++x) {
      EXPECT_NEAR(CoverageAt(bitmap, x, y), CoverageAt(bitmap, 63 - x, y), 0.02f) << x << "," << y;
      EXPECT_NEAR(CoverageAt(bitmap, x, y), CoverageAt(bitmap, y, x), 0.02f) << x << "," << y;
    }
  }

  RBitmap ring(64, 64);
  RDrawerToRBitmap(ring).Circle(32.0f, 32.0f, 20.0f, kBlack, 2);
  EXPECT_NEAR(SumOfCoverage(ring), 2.0 * kPi * 20.0 * 2.0, 0.02 * 2.0 * kPi * 40.0);
  EXPECT_EQ(ring.GetPixel(32, 32), kWhite);
  // The polygon behind a circle leaves a pixel's coverage a hair below whole.
  EXPECT_GT(CoverageAt(ring, 32, 12), 0.98f);
  EXPECT_GT(CoverageAt(ring, 32, 51), 0.98f);
  EXPECT_EQ(ring.GetPixel(32, 9), kWhite);

  RBitmap small(8, 8);
  RDrawerToRBitmap(small).FillCircle(4.0f, 4.0f, 2.0f, kBlack);
  EXPECT_NEAR(SumOfCoverage(small), kPi * 4.0, 0.01 * kPi * 4.0);
}

TEST(DrawerShapes, TrianglesAndPolygonsCoverTheirArea) {
  RBitmap bitmap(32, 32);
  RDrawerToRBitmap drawer(bitmap);
  drawer.FillTriangle(RPointF{2, 2}, RPointF{22, 2}, RPointF{2, 22}, kBlack);
  EXPECT_NEAR(SumOfCoverage(bitmap), 200.0, 1.0);
  EXPECT_EQ(bitmap.GetPixel(3, 3), kBlack);
  EXPECT_EQ(bitmap.GetPixel(20, 20), kWhite);
  // The hypotenuse crosses pixel (11, 12) through its corners: half covered.
  EXPECT_NEAR(CoverageAt(bitmap, 11, 12), 0.5f, 0.01f);

  // Either winding fills the same pixels.
  RBitmap reversed(32, 32);
  RDrawerToRBitmap(reversed).FillTriangle(RPointF{2, 22}, RPointF{22, 2}, RPointF{2, 2}, kBlack);
  for (int32_t y = 0; y < 32; ++y) {
    for (int32_t x = 0; x < 32; ++x) ASSERT_EQ(reversed.GetPixel(x, y), bitmap.GetPixel(x, y));
  }

  // Non-zero: the centre of a five-pointed star, where its edges overlap, is filled.
  RBitmap star(40, 40);
  std::vector<RPointF> points;
  for (int32_t i = 0; i < 5; ++i) {
    const double a = -kPi / 2.0 + double(i) * 4.0 * kPi / 5.0;
    points.push_back(RPointF{float(20.0 + 18.0 * std::cos(a)), float(20.0 + 18.0 * std::sin(a))});
  }
  RDrawerToRBitmap(star).FillPolygon(points.data(), 5, kBlack);
  EXPECT_EQ(star.GetPixel(20, 20), kBlack);
  EXPECT_EQ(star.GetPixel(20, 10), kBlack);
  EXPECT_EQ(star.GetPixel(3, 3), kWhite);

  // Edges on pixel borders give whole pixels.
  RBitmap square(8, 8);
  const RPointF corners[4] = {RPointF{1, 2}, RPointF{5, 2}, RPointF{5, 7}, RPointF{1, 7}};
  RDrawerToRBitmap(square).FillPolygon(corners, 4, kBlack);
  EXPECT_EQ(CountInk(square), 20);
  EXPECT_EQ(square.GetPixel(1, 2), kBlack);
  EXPECT_EQ(square.GetPixel(4, 6), kBlack);
}

TEST(DrawerGraphs, ColumnsRiseToTheirValues) {
  RBitmap bitmap(6, 10);
  RDrawerToRBitmap drawer(bitmap);
  const float values[6] = {0.0f, 0.5f, 1.0f, 0.25f, 2.0f, std::numeric_limits<float>::quiet_NaN()};
  drawer.PaintHorizontalGraph(bitmap.GetBounds(), values, 6, kBlack);
  const auto height = [&](int32_t x) {
    int32_t h = 0;
    for (int32_t y = 0; y < 10; ++y) h += bitmap.GetPixel(x, y) == kBlack;
    return h;
  };
  EXPECT_EQ(height(0), 0);
  EXPECT_EQ(height(1), 5);
  EXPECT_EQ(bitmap.GetPixel(1, 5), kBlack);
  EXPECT_EQ(bitmap.GetPixel(1, 4), kWhite);
  EXPECT_EQ(height(2), 10);
  // 2.5 rows: two whole, the third half covered.
  EXPECT_EQ(height(3), 2);
  EXPECT_NEAR(CoverageAt(bitmap, 3, 7), 0.5f, 0.01f);
  EXPECT_EQ(bitmap.GetPixel(3, 6), kWhite);
  EXPECT_EQ(height(4), 10) << "values above 1 are clamped";
  EXPECT_EQ(height(5), 0) << "a value that is not a number counts as 0";

  RBitmap interval(3, 10);
  const float lows[3] = {0.2f, 0.6f, 0.0f};
  const float highs[3] = {0.6f, 0.2f, 0.0f};
  RDrawerToRBitmap(interval).PaintHorizontalIntervalGraph(interval.GetBounds(), lows, highs, 3, kBlack);
  for (int32_t y = 0; y < 10; ++y) {
    EXPECT_EQ(interval.GetPixel(0, y), y >= 4 && y <= 7 ? kBlack : kWhite) << y;
    EXPECT_EQ(interval.GetPixel(1, y), interval.GetPixel(0, y)) << "low and high may come in either order";
    EXPECT_EQ(interval.GetPixel(2, y), kWhite);
  }

  // The line runs from the bottom row's centre (0) to the top row's (1).
  RBitmap line(5, 11);
  const float levels[5] = {0.5f, 0.5f, 0.5f, 0.5f, 0.5f};
  RDrawerToRBitmap(line).PaintHorizontalPolyLine(line.GetBounds(), levels, 5, kBlack);
  for (int32_t x = 0; x < 5; ++x) EXPECT_EQ(line.GetPixel(x, 5), kBlack);
  EXPECT_EQ(CountInk(line), 5);

  // Only as many columns as the rectangle is wide.
  RBitmap narrow(4, 4);
  const float full[8] = {1, 1, 1, 1, 1, 1, 1, 1};
  RDrawerToRBitmap(narrow).PaintHorizontalGraph(RRect{0, 0, 2, 4}, full, 8, kBlack);
  EXPECT_EQ(CountInk(narrow), 8);
}

TEST(DrawerPixels, SetPixelWritesAsItStandsAndScreenShotReadsBack) {
  RBitmap bitmap(6, 6);
  RDrawerToRBitmap drawer(bitmap);
  drawer.SetPixel(2, 3, 0x40102030u);
  drawer.SetPixel(-1, 0, kBlack);
  drawer.SetPixel(6, 0, kBlack);
  EXPECT_EQ(bitmap.GetPixel(2, 3), 0x40102030u);
  EXPECT_EQ(CountInk(bitmap), 1);

  RBitmap shot;
  drawer.GetScreenShot(RRect{1, 2, 4, 5}, shot);
  ASSERT_EQ(shot.GetWidth(), 3);
  ASSERT_EQ(shot.GetHeight(), 3);
  EXPECT_EQ(shot.GetPixel(1, 1), 0x40102030u);
  EXPECT_EQ(shot.GetPixel(0, 0), kWhite);

  drawer.GetScreenShot(RRect{4, 4, 10, 10}, shot);
  EXPECT_EQ(shot.GetWidth(), 2);
  EXPECT_EQ(shot.GetHeight(), 2);
  drawer.GetScreenShot(RRect{10, 10, 12, 12}, shot);
  EXPECT_TRUE(shot.IsEmpty());
}

// Every operation, with shapes far larger than the clip.
void PaintEverything(RDrawer& drawer, const RBitmap& source, const RAlphaMask& mask, RFont& font) {
  const RRect all{-5, -5, 40, 40};
  const float values[40] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1,
                            1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
  const float zeros[40] = {};
  const RPoint points[3] = {RPoint{0, 0}, RPoint{29, 29}, RPoint{0, 29}};
  const RPointF pointsF[4] = {RPointF{-3, -3}, RPointF{33, -3}, RPointF{33, 33}, RPointF{-3, 33}};
  drawer.PatBlt(all, kBlack, RRasterOp::kCopy);
  drawer.PatBlt(all, 0, RRasterOp::kInvert);
  drawer.BitBlt(-2, -2, source, source.GetBounds());
  drawer.AlphaMask(-2, -2, mask, kBlack);
  drawer.StretchBlt(all, source, source.GetBounds());
  drawer.StretchBltH(all, source, source.GetBounds(), 3, 3);
  drawer.StretchBltV(all, source, source.GetBounds(), 3, 3);
  drawer.RotatedBlt(15, 15, source, source.GetBounds(), 30);
  drawer.StretchBltArc(all, source, source.GetBounds(), 0, 360, 0, 100);
  drawer.AlignedTextOut(all, RString("WWWWWW"), font, kBlack, RAlignH::kCentre, RAlignV::kMiddle);
  drawer.MoveTo(0, 0);
  drawer.LineTo(29, 29, kBlack, 5);
  drawer.Line(0, 29, 29, 0, kBlack, 5);
  drawer.MoveToF(0, 15);
  drawer.LineToF(30, 15, kBlack, 5);
  drawer.Rectangle(RRect{0, 0, 30, 30}, kBlack, 3);
  drawer.FillRectangle(all, kBlack);
  drawer.FillRectangleGradient(all, kBlack, kBlack);
  drawer.RoundRectangle(RRect{0, 0, 30, 30}, 4, kBlack, 3);
  drawer.FillRoundRectangle(all, 4, kBlack);
  drawer.Circle(15, 15, 14, kBlack, 3);
  drawer.FillCircle(15, 15, 30, kBlack);
  drawer.FillTriangle(RPointF{-10, -10}, RPointF{60, -10}, RPointF{-10, 60}, kBlack);
  drawer.PolyLine(points, 3, kBlack, 4);
  drawer.PolyLineF(pointsF, 4, kBlack, 4);
  drawer.FillPolygon(pointsF, 4, kBlack);
  drawer.PaintHorizontalPolyLine(all, values, 40, kBlack, 4);
  drawer.PaintHorizontalGraph(all, values, 40, kBlack);
  drawer.PaintHorizontalIntervalGraph(all, zeros, values, 40, kBlack);
  drawer.PaintGLTexture(all, 1);
  drawer.SetPixel(0, 0, kBlack);
  drawer.SetPixel(29, 29, kBlack);
}

TEST(DrawerClip, NoOperationWritesOutsideTheClipRectangle) {
  RBitmap source(8, 8);
  source.Fill(kBlack);
  RAlphaMask mask(40, 40);
  for (int32_t y = 0; y < 40; ++y) {
    for (int32_t x = 0; x < 40; ++x) mask.Set(x, y, 255);
  }
  RFont font(RString::FromUTF8(RFont::kRobotoPath), 24.0f);

  const RRect clip{10, 12, 17, 20};
  RBitmap bitmap(30, 30);
  bitmap.SetClip(clip);
  RDrawerToRBitmap drawer(bitmap);
  PaintEverything(drawer, source, mask, font);
  EXPECT_TRUE(UntouchedOutside(bitmap, clip));
  EXPECT_EQ(bitmap.GetPixel(12, 15), kBlack) << "the clip's inside is painted";

  // A whole clip of nothing: an empty target and one whose clip is empty.
  RBitmap empty;
  RDrawerToRBitmap onEmpty(empty);
  PaintEverything(onEmpty, source, mask, font);
  EXPECT_TRUE(empty.IsEmpty());
  RBitmap closed(30, 30);
  closed.SetClip(RRect{5, 5, 5, 20});
  RDrawerToRBitmap onClosed(closed);
  PaintEverything(onClosed, source, mask, font);
  EXPECT_EQ(CountInk(closed), 0);
}

// Collects what the guards report.
std::vector<std::string> gReports;
void Collect(const char* name, const RString&, bool) { gReports.push_back(name); }

TEST(DrawerFailures, AFailingOperationEndsAloneAndThePaintGoesOn) {
  gReports.clear();
  const RGuardObserver previous = RSetGuardObserver(&Collect);
  RBitmap bitmap(8, 8);
  RDrawerToRBitmap drawer(bitmap);
  RBitmap indexed;
  indexed.CreateIndexed(4, 4);

  drawer.FillRectangle(RRect{0, 0, 8, 2}, kBlack);
  drawer.BitBlt(0, 2, indexed, indexed.GetBounds());
  drawer.PolyLine(nullptr, 3, kBlack);
  drawer.PaintHorizontalGraph(RRect{0, 0, 4, 4}, nullptr, 4, kBlack);
  drawer.FillRectangle(RRect{0, 6, 8, 8}, kBlack);
  RSetGuardObserver(previous);

  EXPECT_EQ(gReports, (std::vector<std::string>{"RDrawerToRBitmap::BitBlt", "RDrawerToRBitmap::PolyLine",
                                                "RDrawerToRBitmap::PaintHorizontalGraph"}));
  EXPECT_EQ(CountInk(bitmap), 32);
  EXPECT_EQ(bitmap.GetPixel(3, 1), kBlack);
  EXPECT_EQ(bitmap.GetPixel(3, 7), kBlack);
  EXPECT_EQ(bitmap.GetPixel(3, 3), kWhite);

  // A target held as indices can't be painted: reported, untouched.
  gReports.clear();
  RSetGuardObserver(&Collect);
  RBitmap indexedTarget;
  indexedTarget.CreateIndexed(4, 4);
  RDrawerToRBitmap(indexedTarget).FillCircle(2, 2, 2, kBlack);
  RSetGuardObserver(previous);
  EXPECT_EQ(gReports, std::vector<std::string>{"RDrawerToRBitmap::FillCircle"});
  EXPECT_EQ(indexedTarget.GetIndices()[5], 0);
}

} // namespace
