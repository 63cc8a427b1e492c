// The software painter's blits: copies with the source's alpha and an opacity, masks, scaling
// with and without kept corners, turns, and the arc of a knob.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "drawertesting.h"
#include "editor/alphamask.h"
#include "editor/drawertobitmap.h"

using namespace drawertesting;

namespace {

constexpr uint32_t kRed = 0xFFFF0000u;
constexpr uint32_t kGreen = 0xFF00FF00u;
constexpr uint32_t kBlue = 0xFF0000FFu;

// Distinct opaque pixels: red counts columns, green rows.
RBitmap Numbered(int32_t width, int32_t height) {
  RBitmap bitmap(width, height);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) bitmap.SetPixel(x, y, RPixel::Make(uint32_t(x * 10), uint32_t(y * 10), 200));
  }
  return bitmap;
}

TEST(DrawerBlit, BitBltCopiesOpaquePixelsAndBlendsBySourceAlphaAndOpacity) {
  const RBitmap source = Numbered(4, 3);
  RBitmap bitmap(10, 10);
  RDrawerToRBitmap drawer(bitmap);
  drawer.BitBlt(5, 6, source, RRect{1, 1, 4, 3});
  EXPECT_EQ(bitmap.GetPixel(5, 6), source.GetPixel(1, 1));
  EXPECT_EQ(bitmap.GetPixel(7, 7), source.GetPixel(3, 2));
  EXPECT_EQ(CountInk(bitmap), 6);

  // A source rectangle reaching outside the source draws its inside where it would have been.
  RBitmap clipped(10, 10);
  RDrawerToRBitmap(clipped).BitBlt(2, 2, source, RRect{-1, -1, 2, 2});
  EXPECT_EQ(clipped.GetPixel(3, 3), source.GetPixel(0, 0));
  EXPECT_EQ(clipped.GetPixel(4, 4), source.GetPixel(1, 1));
  EXPECT_EQ(CountInk(clipped), 4);

  RBitmap translucent(1, 1);
  translucent.SetPixel(0, 0, 0x80FF0000u);
  RBitmap over(3, 1);
  RDrawerToRBitmap blend(over);
  blend.BitBlt(0, 0, translucent, translucent.GetBounds());
  // Half red over white by the 8-bit rule; white's alpha stays full.
  EXPECT_EQ(over.GetPixel(0, 0), 0xFFFE7E7Eu);
  RBitmap black(1, 1);
  black.Fill(kBlack);
  blend.BitBlt(1, 0, black, black.GetBounds(), 128);
  EXPECT_EQ(over.GetPixel(1, 0), 0xFF7E7E7Eu);
  blend.BitBlt(2, 0, black, black.GetBounds(), 0);
  EXPECT_EQ(over.GetPixel(2, 0), kWhite);

  // Over a transparent target the alpha builds up as coverage does.
  RBitmap clear(1, 1);
  clear.Fill(0);
  RDrawerToRBitmap(clear).BitBlt(0, 0, translucent, translucent.GetBounds());
  EXPECT_EQ(RPixel::Alpha(clear.GetPixel(0, 0)), 128u);
}

TEST(DrawerBlit, AlphaMaskPaintsTheColourThroughItsCoverageWithinItsClip) {
  RAlphaMask mask(3, 2);
  mask.Set(0, 0, 255);
  mask.Set(1, 0, 128);
  mask.Set(2, 1, 255);
  RBitmap bitmap(6, 4);
  RDrawerToRBitmap drawer(bitmap);
  drawer.AlphaMask(2, 1, mask, kBlack);
  EXPECT_EQ(bitmap.GetPixel(2, 1), kBlack);
  EXPECT_EQ(bitmap.GetPixel(3, 1), 0xFF7E7E7Eu);
  EXPECT_EQ(bitmap.GetPixel(4, 2), kBlack);
  EXPECT_EQ(CountInk(bitmap), 3);

  // The colour's alpha scales the coverage; the mask's clip picks what is drawn.
  RBitmap half(6, 4);
  mask.SetClip(RRect{1, 0, 3, 2});
  RDrawerToRBitmap(half).AlphaMask(0, 0, mask, 0x80000000u);
  EXPECT_EQ(half.GetPixel(0, 0), RPixel::Make(190, 190, 190)) << "128 * 128 / 255 = 64";
  EXPECT_EQ(half.GetPixel(1, 1), 0xFF7E7E7Eu);
  EXPECT_EQ(CountInk(half), 2);
}

TEST(DrawerStretch, WholeMagnificationsRepeatPixelsExactly) {
  const RBitmap source = Numbered(3, 2);
  RBitmap bitmap(12, 8);
  RDrawerToRBitmap(bitmap).StretchBlt(RRect{0, 0, 6, 6}, source, source.GetBounds());
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 6; ++x) EXPECT_EQ(bitmap.GetPixel(x, y), source.GetPixel(x / 2, y / 3)) << x << "," << y;
  }
  EXPECT_EQ(bitmap.GetPixel(6, 0), kWhite);
  EXPECT_EQ(bitmap.GetPixel(0, 6), kWhite);
}

TEST(DrawerStretch, OtherRatiosSampleBilinearlyWithinTheSourceRectangle) {
  RBitmap source(2, 1);
  source.SetPixel(0, 0, kBlack);
  RBitmap bitmap(5, 1);
  RDrawerToRBitmap(bitmap).StretchBlt(RRect{0, 0, 5, 1}, source, source.GetBounds());
  // Five pixels over two: sample positions -0.3, 0.1, 0.5, 0.9, 1.3, the ends clamped.
  EXPECT_EQ(bitmap.GetPixel(0, 0), kBlack);
  EXPECT_EQ(bitmap.GetPixel(4, 0), kWhite);
  EXPECT_NEAR(double(RPixel::Red(bitmap.GetPixel(1, 0))), 0.1 * 255.0, 2.0);
  EXPECT_NEAR(double(RPixel::Red(bitmap.GetPixel(2, 0))), 0.5 * 255.0, 2.0);
  EXPECT_NEAR(double(RPixel::Red(bitmap.GetPixel(3, 0))), 0.9 * 255.0, 2.0);

  // The second frame of a strip, stretched by 1.5: its neighbours never bleed in.
  RBitmap strip(4, 12);
  strip.Fill(kRed);
  for (int32_t y = 4; y < 8; ++y) {
    for (int32_t x = 0; x < 4; ++x) strip.SetPixel(x, y, kBlue);
  }
  RBitmap frame(6, 6);
  RDrawerToRBitmap(frame).StretchBlt(frame.GetBounds(), strip, RRect{0, 4, 4, 8});
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 6; ++x) {
      // Blue blended with blue comes out a shade darker (alpha too) by the 8-bit rule, so a
      // trace of the white target shows; a red neighbour bleeding in would show far more.
      EXPECT_LE(RPixel::Red(frame.GetPixel(x, y)), 2u) << x << "," << y;
      EXPECT_GE(RPixel::Blue(frame.GetPixel(x, y)), 250u) << x << "," << y;
    }
  }

  // Shrinking by two halves the picture: a checkerboard becomes grey.
  RBitmap checker(8, 8);
  for (int32_t y = 0; y < 8; ++y) {
    for (int32_t x = 0; x < 8; ++x) checker.SetPixel(x, y, (x + y) % 2 ? kBlack : kWhite);
  }
  RBitmap small(3, 3);
  RDrawerToRBitmap(small).StretchBlt(small.GetBounds(), checker, checker.GetBounds());
  EXPECT_EQ(CountInk(small), 9);
}

TEST(DrawerStretch, OneAxisStretchesKeepTheirCornersExact) {
  // Columns: two left corner columns, two middle, two right.
  RBitmap source(6, 2);
  const uint32_t columns[6] = {kRed, kGreen, kBlack, kBlack, kBlue, 0xFFFFFF00u};
  for (int32_t y = 0; y < 2; ++y) {
    for (int32_t x = 0; x < 6; ++x) source.SetPixel(x, y, columns[x]);
  }
  RBitmap bitmap(20, 2);
  RDrawerToRBitmap(bitmap).StretchBltH(bitmap.GetBounds(), source, source.GetBounds(), 2, 2);
  for (int32_t y = 0; y < 2; ++y) {
    EXPECT_EQ(bitmap.GetPixel(0, y), kRed);
    EXPECT_EQ(bitmap.GetPixel(1, y), kGreen);
    EXPECT_EQ(bitmap.GetPixel(18, y), kBlue);
    EXPECT_EQ(bitmap.GetPixel(19, y), 0xFFFFFF00u);
    for (int32_t x = 3; x < 17; ++x) EXPECT_EQ(bitmap.GetPixel(x, y), kBlack) << x;
  }

  // The same turned on its side.
  RBitmap tall(2, 6);
  for (int32_t y = 0; y < 6; ++y) {
    for (int32_t x = 0; x < 2; ++x) tall.SetPixel(x, y, columns[y]);
  }
  RBitmap vertical(2, 20);
  RDrawerToRBitmap(vertical).StretchBltV(vertical.GetBounds(), tall, tall.GetBounds(), 2, 2);
  EXPECT_EQ(vertical.GetPixel(1, 0), kRed);
  EXPECT_EQ(vertical.GetPixel(1, 1), kGreen);
  EXPECT_EQ(vertical.GetPixel(0, 18), kBlue);
  EXPECT_EQ(vertical.GetPixel(0, 19), 0xFFFFFF00u);
  EXPECT_EQ(vertical.GetPixel(0, 10), kBlack);

  // Narrower than its corners: they share the width, nothing spills over.
  RBitmap narrow(3, 2);
  RDrawerToRBitmap(narrow).StretchBltH(RRect{0, 0, 2, 2}, source, source.GetBounds(), 2, 2);
  EXPECT_EQ(RPixel::Blue(narrow.GetPixel(0, 0)), 0u) << "the left corner, red and green";
  EXPECT_GT(RPixel::Blue(narrow.GetPixel(1, 0)), 100u) << "the right corner, blue and yellow";
  EXPECT_EQ(narrow.GetPixel(2, 0), kWhite);
}

TEST(DrawerRotate, AQuarterTurnMovesPixelsExactly) {
  const RBitmap source = Numbered(4, 2);
  RBitmap bitmap(10, 10);
  RDrawerToRBitmap(bitmap).RotatedBlt(5.0f, 5.0f, source, source.GetBounds(), 90.0f);
  // Clockwise: the source's top row becomes the right column.
  for (int32_t sy = 0; sy < 2; ++sy) {
    for (int32_t sx = 0; sx < 4; ++sx) {
      EXPECT_EQ(bitmap.GetPixel(5 - sy, 3 + sx), source.GetPixel(sx, sy)) << sx << "," << sy;
    }
  }
  EXPECT_EQ(CountInk(bitmap), 8);

  // No turn at whole-pixel placement is a plain copy; a half turn mirrors both ways.
  RBitmap straight(10, 10);
  RDrawerToRBitmap(straight).RotatedBlt(5.0f, 5.0f, source, source.GetBounds(), 0.0f);
  EXPECT_EQ(straight.GetPixel(3, 4), source.GetPixel(0, 0));
  EXPECT_EQ(straight.GetPixel(6, 5), source.GetPixel(3, 1));
  RBitmap half(10, 10);
  RDrawerToRBitmap(half).RotatedBlt(5.0f, 5.0f, source, source.GetBounds(), -180.0f);
  EXPECT_EQ(half.GetPixel(6, 5), source.GetPixel(0, 0));
  EXPECT_EQ(CountInk(half), 8);
}

TEST(DrawerRotate, AnEighthTurnKeepsTheAreaAndTurnsTheCorners) {
  RBitmap square(10, 10);
  square.Fill(kBlack);
  RBitmap bitmap(40, 40);
  RDrawerToRBitmap(bitmap).RotatedBlt(20.0f, 20.0f, square, square.GetBounds(), 45.0f);
  EXPECT_NEAR(SumOfCoverage(bitmap), 100.0, 3.0);
  EXPECT_GT(CoverageAt(bitmap, 20, 20), 0.99f);
  // The corners now point up, down, left and right, 7.07 from the centre.
  EXPECT_GT(CoverageAt(bitmap, 20, 14), 0.9f);
  EXPECT_GT(CoverageAt(bitmap, 25, 20), 0.9f);
  EXPECT_EQ(bitmap.GetPixel(20, 11), kWhite);
  EXPECT_EQ(bitmap.GetPixel(15, 15), kWhite);
  EXPECT_EQ(bitmap.GetPixel(24, 24), kWhite);
}

TEST(DrawerArc, OnlyPixelsOnTheSweepAndTheRingAreDrawn) {
  RBitmap source(40, 40);
  source.Fill(kBlack);
  const auto paint = [&](float start, float end, float inner, float outer) {
    RBitmap bitmap(40, 40);
    RDrawerToRBitmap(bitmap).StretchBltArc(bitmap.GetBounds(), source, source.GetBounds(), start, end, inner, outer);
    return bitmap;
  };
  // From straight left, clockwise to straight up: the upper left quarter of the ring.
  const RBitmap quarter = paint(-90.0f, 0.0f, 8.0f, 18.0f);
  EXPECT_EQ(quarter.GetPixel(10, 10), kBlack) << "up and left, 13.4 out";
  EXPECT_EQ(quarter.GetPixel(29, 10), kWhite) << "up and right";
  EXPECT_EQ(quarter.GetPixel(10, 29), kWhite) << "down and left";
  EXPECT_EQ(quarter.GetPixel(18, 18), kWhite) << "inside the ring";
  EXPECT_EQ(quarter.GetPixel(5, 5), kWhite) << "outside the ring";
  for (int32_t y = 0; y < 40; ++y) {
    for (int32_t x = 0; x < 40; ++x) {
      if (quarter.GetPixel(x, y) != kWhite) {
        // Borders are softened over the pixel that straddles them, no further.
        const float dx = float(x) + 0.5f - 20.0f, dy = float(y) + 0.5f - 20.0f;
        EXPECT_LE(dx, 0.5f);
        EXPECT_LE(dy, 0.5f);
        EXPECT_LE(std::hypot(dx, dy), 18.5f);
        EXPECT_GE(std::hypot(dx, dy), 7.5f);
      }
    }
  }
  // The ends may come in either order; a sweep across straight down wraps round.
  const RBitmap swapped = paint(0.0f, -90.0f, 8.0f, 18.0f);
  for (int32_t y = 0; y < 40; ++y) {
    for (int32_t x = 0; x < 40; ++x) ASSERT_EQ(swapped.GetPixel(x, y), quarter.GetPixel(x, y));
  }
  const RBitmap knob = paint(-135.0f, 135.0f, 8.0f, 18.0f);
  EXPECT_EQ(knob.GetPixel(19, 35), kWhite) << "the gap at the bottom of a knob";
  EXPECT_EQ(knob.GetPixel(35, 20), kBlack);
  EXPECT_EQ(knob.GetPixel(19, 4), kBlack);
  const RBitmap ring = paint(0.0f, 360.0f, 8.0f, 18.0f);
  EXPECT_EQ(ring.GetPixel(19, 35), kBlack);
  const double area = 3.14159 * (18.0 * 18.0 - 8.0 * 8.0);
  EXPECT_NEAR(SumOfCoverage(ring), area, 0.01 * area);
  EXPECT_NEAR(SumOfCoverage(quarter), 0.25 * area, 0.02 * area);
}

TEST(DrawerBlit, EmptySourcesAndTargetsDrawNothing) {
  RBitmap empty;
  RBitmap bitmap(8, 8);
  RDrawerToRBitmap drawer(bitmap);
  drawer.BitBlt(0, 0, empty, RRect{0, 0, 4, 4});
  drawer.StretchBlt(bitmap.GetBounds(), empty, RRect{0, 0, 4, 4});
  drawer.StretchBltH(bitmap.GetBounds(), empty, RRect{0, 0, 4, 4}, 1, 1);
  drawer.StretchBltV(bitmap.GetBounds(), empty, RRect{0, 0, 4, 4}, 1, 1);
  drawer.RotatedBlt(4, 4, empty, RRect{0, 0, 4, 4}, 30);
  drawer.StretchBltArc(bitmap.GetBounds(), empty, RRect{0, 0, 4, 4}, 0, 360, 0, 10);
  RAlphaMask mask;
  drawer.AlphaMask(0, 0, mask, kBlack);
  RBitmap source(4, 4);
  source.Fill(kBlack);
  drawer.StretchBlt(RRect{2, 2, 2, 6}, source, source.GetBounds());
  drawer.BitBlt(0, 0, source, RRect{1, 1, 1, 3});
  EXPECT_EQ(CountInk(bitmap), 0);

  RDrawerToRBitmap onEmpty(empty);
  onEmpty.BitBlt(0, 0, source, source.GetBounds());
  onEmpty.StretchBlt(RRect{0, 0, 8, 8}, source, source.GetBounds());
  EXPECT_TRUE(empty.IsEmpty());
}

} // namespace
