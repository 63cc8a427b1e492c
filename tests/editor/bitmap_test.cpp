#include "editor/bitmap.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr uint32_t kWhite = 0xFFFFFFFFu;
constexpr uint32_t kBlack = 0xFF000000u;

RBitmap Row(std::initializer_list<uint32_t> pixels) {
  RBitmap bitmap(int32_t(pixels.size()), 1);
  int32_t x = 0;
  for (uint32_t p : pixels) bitmap.SetPixel(x++, 0, p);
  return bitmap;
}

TEST(Bitmap, NewBitmapIsOpaqueWhiteWithTheWholeImageAsClip) {
  RBitmap bitmap(3, 2);
  ASSERT_NE(bitmap.GetPixels(), nullptr);
  for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(bitmap.GetPixels()[i], kWhite);
  const auto* bytes = reinterpret_cast<const uint8_t*>(bitmap.GetPixels());
  for (int32_t i = 0; i < 24; ++i) EXPECT_EQ(bytes[i], 255);
  EXPECT_EQ(bitmap.GetClip(), (RRect{0, 0, 3, 2}));

  // Recreating forgets the old clip and content.
  bitmap.SetClip(RRect{1, 1, 2, 2});
  bitmap.Fill(kBlack);
  bitmap.Create(4, 4);
  EXPECT_EQ(bitmap.GetClip(), (RRect{0, 0, 4, 4}));
  EXPECT_EQ(bitmap.GetPixel(1, 1), kWhite);
}

TEST(Bitmap, PixelsAreBlueGreenRedAlphaInMemory) {
  RBitmap bitmap(1, 1);
  bitmap.SetPixel(0, 0, RPixel::Make(0x11, 0x22, 0x33, 0x44));
  const auto* bytes = reinterpret_cast<const uint8_t*>(bitmap.GetPixels());
  EXPECT_EQ(bytes[0], 0x33);
  EXPECT_EQ(bytes[1], 0x22);
  EXPECT_EQ(bytes[2], 0x11);
  EXPECT_EQ(bytes[3], 0x44);
}

TEST(Bitmap, ZeroOrNegativeSizeHoldsNoPixelsAndIgnoresDrawing) {
  RBitmap empty(0, 5);
  EXPECT_TRUE(empty.IsEmpty());
  EXPECT_EQ(empty.GetPixels(), nullptr);
  empty.Fill(kBlack);
  empty.SetPixel(0, 0, kBlack);
  EXPECT_EQ(empty.GetPixel(0, 0), 0u);
  EXPECT_EQ(empty.SampleBilinear(0.0f, 0.0f), 0u);
  EXPECT_EQ(empty.SampleBicubic(0.0f, 0.0f), 0u);

  RBitmap negative(-3, 4);
  EXPECT_EQ(negative.GetWidth(), 0);
  EXPECT_TRUE(negative.GetClip().IsEmpty());
}

TEST(Bitmap, ClipStaysInsideTheImageAndBoundsFill) {
  RBitmap bitmap(4, 3);
  bitmap.SetClip(RRect{2, -5, 10, 2});
  EXPECT_EQ(bitmap.GetClip(), (RRect{2, 0, 4, 2}));
  bitmap.Fill(kBlack);
  for (int32_t y = 0; y < 3; ++y) {
    for (int32_t x = 0; x < 4; ++x) {
      EXPECT_EQ(bitmap.GetPixel(x, y), x >= 2 && y < 2 ? kBlack : kWhite) << x << "," << y;
    }
  }

  // A clip that misses the image fills nothing; ResetClip gives back the whole image.
  bitmap.SetClip(RRect{5, 5, 8, 8});
  EXPECT_TRUE(bitmap.GetClip().IsEmpty());
  bitmap.Fill(0u);
  EXPECT_EQ(bitmap.GetPixel(0, 0), kWhite);
  bitmap.ResetClip();
  bitmap.Fill(0u);
  EXPECT_EQ(bitmap.GetPixel(0, 0), 0u);
  EXPECT_EQ(bitmap.GetPixel(3, 2), 0u);
}

TEST(Bitmap, PixelAccessOutsideTheImageIsHarmless) {
  RBitmap bitmap(2, 2);
  bitmap.SetPixel(-1, 0, kBlack);
  bitmap.SetPixel(2, 0, kBlack);
  bitmap.SetPixel(0, 2, kBlack);
  EXPECT_EQ(bitmap.GetPixel(-1, 0), 0u);
  EXPECT_EQ(bitmap.GetPixel(0, 2), 0u);
  for (int32_t i = 0; i < 4; ++i) EXPECT_EQ(bitmap.GetPixels()[i], kWhite);
}

TEST(Bitmap, IndexedBitmapExpandsThroughItsTable) {
  RBitmap bitmap;
  bitmap.CreateIndexed(3, 2);
  ASSERT_TRUE(bitmap.IsIndexed());
  EXPECT_EQ(bitmap.GetPixels(), nullptr);
  ASSERT_NE(bitmap.GetIndices(), nullptr);
  EXPECT_EQ(bitmap.GetPalette()[0], kWhite);
  EXPECT_EQ(bitmap.GetPalette()[255], kWhite);

  bitmap.GetPalette()[7] = 0x80123456u;
  bitmap.GetPalette()[200] = kBlack;
  bitmap.GetIndices()[1] = 7;
  bitmap.GetIndices()[5] = 200;
  EXPECT_EQ(bitmap.GetPixel(1, 0), 0x80123456u);

  bitmap.ExpandIndices();
  EXPECT_FALSE(bitmap.IsIndexed());
  EXPECT_EQ(bitmap.GetIndices(), nullptr);
  ASSERT_NE(bitmap.GetPixels(), nullptr);
  const uint32_t expected[6] = {kWhite, 0x80123456u, kWhite, kWhite, kWhite, kBlack};
  for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(bitmap.GetPixels()[i], expected[i]) << i;

  // A second expansion changes nothing.
  bitmap.ExpandIndices();
  EXPECT_EQ(bitmap.GetPixels()[1], 0x80123456u);
}

TEST(Bitmap, BlendWeightsEachChannelAndLosesABitInBetween) {
  EXPECT_EQ(RPixel::Blend(0x11223344u, 0xAABBCCDDu, 255), 0x11223344u);
  EXPECT_EQ(RPixel::Blend(0x11223344u, 0xAABBCCDDu, 0), 0xAABBCCDDu);
  // (255 * 128 + 0 * 127) >> 8 = 127 per colour; alpha (255 * 255) >> 8 = 254.
  EXPECT_EQ(RPixel::Blend(kWhite, kBlack, 128), 0xFE7F7F7Fu);
  // Two equal pixels come out a little darker.
  EXPECT_EQ(RPixel::Blend(kWhite, kWhite, 100), 0xFEFEFEFEu);
  // Channels don't leak into each other.
  EXPECT_EQ(RPixel::Blend(0x00FF0000u, 0x000000FFu, 64), 0x003F00BEu);
}

TEST(Bitmap, BilinearUsesRoundedEightBitWeights) {
  RBitmap row = Row({kBlack, kWhite});
  EXPECT_EQ(row.SampleBilinear(0.0f, 0.0f), kBlack);
  EXPECT_EQ(row.SampleBilinear(1.0f, 0.0f), kWhite);
  // 0.5 * 255 rounds to 128.
  EXPECT_EQ(row.SampleBilinear(0.5f, 0.0f), 0xFE7F7F7Fu);
  // 0.1 * 255 = 25.5 rounds to 26: (255 * 26) >> 8 = 25, alpha 254.
  EXPECT_EQ(row.SampleBilinear(0.1f, 0.0f), 0xFE191919u);

  // Two steps: across, then down. Blue channels 0 / 200 over 100 / 40, at (0.25, 0.75):
  // weights 64 and 191; top (200*64)>>8 = 50, bottom (40*64 + 100*191)>>8 = 84,
  // then (84*191 + 50*64)>>8 = 75; alpha 255 -> 254 -> 253.
  RBitmap square(2, 2);
  square.SetPixel(0, 0, RPixel::Make(0, 0, 0));
  square.SetPixel(1, 0, RPixel::Make(0, 0, 200));
  square.SetPixel(0, 1, RPixel::Make(0, 0, 100));
  square.SetPixel(1, 1, RPixel::Make(0, 0, 40));
  EXPECT_EQ(square.SampleBilinear(0.25f, 0.75f), 0xFD00004Bu);
}

TEST(Bilinear, PositionIsClampedSoThatTheNextPixelExists) {
  RBitmap row = Row({0xFF000010u, 0xFF000020u, 0xFF000030u});
  EXPECT_EQ(row.SampleBilinear(-4.0f, 0.0f), 0xFF000010u);
  EXPECT_EQ(row.SampleBilinear(2.0f, 0.0f), 0xFF000030u);
  EXPECT_EQ(row.SampleBilinear(17.5f, 3.0f), 0xFF000030u);
  EXPECT_EQ(row.SampleBilinear(std::numeric_limits<float>::quiet_NaN(), 0.0f), 0xFF000010u);

  RBitmap single(1, 1);
  single.SetPixel(0, 0, 0x12345678u);
  EXPECT_EQ(single.SampleBilinear(0.7f, -0.3f), 0x12345678u);
}

TEST(Bicubic, PassesThroughPixelsAndClampsOvershoot) {
  RBitmap ridge = Row({RPixel::Make(0, 0, 0), RPixel::Make(0, 0, 255), RPixel::Make(0, 0, 255),
                       RPixel::Make(0, 0, 0)});
  EXPECT_EQ(ridge.SampleBicubic(1.0f, 0.0f), RPixel::Make(0, 0, 255));
  EXPECT_EQ(ridge.SampleBicubic(3.0f, 0.0f), RPixel::Make(0, 0, 0));
  // Between two 255s with 0s outside, the cubic rises above 255 and is clamped.
  EXPECT_EQ(ridge.SampleBicubic(1.5f, 0.0f), RPixel::Make(0, 0, 255));

  RBitmap valley = Row({RPixel::Make(0, 255, 0), RPixel::Make(0, 0, 0), RPixel::Make(0, 0, 0),
                        RPixel::Make(0, 255, 0)});
  // Below 0 is clamped to 0; alpha stays whole.
  EXPECT_EQ(valley.SampleBicubic(1.5f, 0.0f), RPixel::Make(0, 0, 0));

  // A linear ramp is reproduced between samples.
  RBitmap ramp = Row({RPixel::Make(0, 0, 0), RPixel::Make(0, 0, 40), RPixel::Make(0, 0, 80), RPixel::Make(0, 0, 120)});
  EXPECT_EQ(ramp.SampleBicubic(1.5f, 0.0f), RPixel::Make(0, 0, 60));
  // Beyond the image the edge pixel stands.
  EXPECT_EQ(ramp.SampleBicubic(9.0f, 4.0f), RPixel::Make(0, 0, 120));
  EXPECT_EQ(ramp.SampleBicubic(-2.0f, -1.0f), RPixel::Make(0, 0, 0));
}

TEST(Rect, IntersectionIsEmptyWhenRectanglesDontMeet) {
  EXPECT_EQ((RRect{0, 0, 10, 10}.Intersect(RRect{5, -2, 20, 4})), (RRect{5, 0, 10, 4}));
  EXPECT_TRUE((RRect{0, 0, 2, 2}.Intersect(RRect{2, 0, 4, 2})).IsEmpty());
}

} // namespace
