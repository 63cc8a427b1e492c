#include "editor/imageadjust.h"

#include <gtest/gtest.h>

namespace {

// Each channel within 1 of the expected value, alpha exact.
testing::AssertionResult Near(uint32_t actual, uint32_t expected) {
  for (int shift = 0; shift < 24; shift += 8) {
    if (std::abs(int((actual >> shift) & 0xFF) - int((expected >> shift) & 0xFF)) > 1) {
      return testing::AssertionFailure() << std::hex << actual << " vs " << expected;
    }
  }
  if ((actual >> 24) != (expected >> 24)) return testing::AssertionFailure() << "alpha " << std::hex << actual;
  return testing::AssertionSuccess();
}

RImageAdjust Colorizer(int32_t algorithm, uint32_t colour = RPixel::Make(51, 102, 204)) {
  RImageAdjust adjust;
  adjust.colorizeEnable = true;
  adjust.colorize = colour;
  adjust.colorizeAlgorithm = algorithm;
  return adjust;
}

TEST(ImageAdjust, KeysRoundTripThroughATree) {
  RImageAdjust adjust;
  adjust.colorizeEnable = true;
  adjust.colorize = 0x44112233u;
  adjust.colorizeSaturation = 55.5;
  adjust.colorizeBrightness = -20;
  adjust.adjustBrightness = 10;
  adjust.adjustContrast = -30;
  adjust.adjustSaturation = 40;
  adjust.adjustHue = 90;
  adjust.colorizeAlgorithm = kColorizeLinearBrightness;

  RTagItem item;
  adjust.Write(item);
  EXPECT_EQ(item.GetAttributeText("Colorize").ToUTF8(), "11223344");
  EXPECT_EQ(item.GetAttributeCount(), 9);
  RImageAdjust back;
  back.Read(item);
  EXPECT_EQ(back, adjust);
}

TEST(ImageAdjust, ReadingKeepsMissingKeysAndRefusesBadValues) {
  RTagItem item;
  item.SetAttribute("Colorize", "FFFFFFFF");
  item.SetAttribute("ColorizeAlgorithm", int32_t(42));
  RImageAdjust adjust;
  adjust.colorize = 0;
  adjust.adjustHue = 12;
  adjust.Read(item);
  EXPECT_EQ(adjust.colorize, 0xFFFFFFFFu);
  EXPECT_EQ(adjust.adjustHue, 12);
  EXPECT_EQ(adjust.colorizeAlgorithm, kColorizeNone);

  uint32_t colour = 7;
  EXPECT_FALSE(TextToColour("FFFFFF", colour));
  EXPECT_FALSE(TextToColour("FFFFFFFG", colour));
  EXPECT_EQ(colour, 7u);
  EXPECT_TRUE(TextToColour("a0b1c2d3", colour));
  EXPECT_EQ(colour, 0xD3A0B1C2u);
  EXPECT_EQ(ColourToText(0x0A0B0C0Du).ToUTF8(), "0B0C0D0A");
}

TEST(ImageAdjust, EachAlgorithmOnAKnownPixel) {
  // Pixel (0.4, 0.6, 0.2), luma 0.5286; colour (0.2, 0.4, 0.8).
  const uint32_t pixel = RPixel::Make(102, 153, 51, 0x80);
  EXPECT_EQ(Colorizer(kColorizeNone).ApplyToPixel(pixel), pixel);
  EXPECT_TRUE(Near(Colorizer(kColorizeAdd).ApplyToPixel(pixel), RPixel::Make(153, 255, 255, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeSubtract).ApplyToPixel(pixel), RPixel::Make(51, 51, 0, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeMax).ApplyToPixel(pixel), RPixel::Make(102, 153, 204, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeMin).ApplyToPixel(pixel), RPixel::Make(51, 102, 51, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeMul).ApplyToPixel(pixel), RPixel::Make(20, 61, 41, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeFullBrightness).ApplyToPixel(pixel), RPixel::Make(63, 111, 207, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeLinearBrightness).ApplyToPixel(pixel), RPixel::Make(27, 54, 108, 0x80)));
  EXPECT_TRUE(Near(Colorizer(kColorizeBrightnessSaturated).ApplyToPixel(pixel), RPixel::Make(86, 136, 113, 0x80)));
}

TEST(ImageAdjust, BrightnessAlgorithmsKeepTheEndsAndGreys) {
  const uint32_t black = 0xFF000000u, white = 0xFFFFFFFFu, grey = RPixel::Make(128, 128, 128);
  const RImageAdjust full = Colorizer(kColorizeFullBrightness);
  EXPECT_EQ(full.ApplyToPixel(black), black);
  EXPECT_EQ(full.ApplyToPixel(white), white);
  EXPECT_TRUE(Near(full.ApplyToPixel(grey), RPixel::Make(51, 102, 204)));  // mid-grey is the colour
  EXPECT_TRUE(Near(Colorizer(kColorizeLinearBrightness).ApplyToPixel(white), RPixel::Make(51, 102, 204)));
  EXPECT_EQ(Colorizer(kColorizeBrightnessSaturated).ApplyToPixel(grey), grey);
}

TEST(ImageAdjust, ColourAlphaIsTheStrengthAndColourSettingsShapeTheColour) {
  const uint32_t pixel = RPixel::Make(102, 153, 51);
  // Half strength of Add: 0.4 + 0.2 * 128/255.
  EXPECT_TRUE(Near(Colorizer(kColorizeAdd, RPixel::Make(51, 102, 204, 128)).ApplyToPixel(pixel),
                   RPixel::Make(128, 204, 153)));
  EXPECT_EQ(Colorizer(kColorizeAdd, RPixel::Make(51, 102, 204, 0)).ApplyToPixel(pixel), pixel);

  // No saturation left: the colour is its grey (luma of (0.2, 0.4, 0.8) = 0.3862).
  RImageAdjust grey = Colorizer(kColorizeMax);
  grey.colorizeSaturation = 0;
  EXPECT_TRUE(Near(grey.ApplyToPixel(RPixel::Make(0, 0, 0)), RPixel::Make(98, 98, 98)));
  RImageAdjust brighter = Colorizer(kColorizeMax);
  brighter.colorizeBrightness = 100;
  EXPECT_EQ(brighter.ApplyToPixel(RPixel::Make(0, 0, 0)), 0xFFFFFFFFu);
  // Disabled colourising changes nothing.
  RImageAdjust off = Colorizer(kColorizeAdd);
  off.colorizeEnable = false;
  EXPECT_TRUE(off.IsNeutral());
  EXPECT_EQ(off.ApplyToPixel(pixel), pixel);
}

TEST(ImageAdjust, AdjustmentsMoveTheirOwnQuantity) {
  const uint32_t pixel = RPixel::Make(102, 153, 51, 0x33);
  RImageAdjust adjust;
  adjust.adjustBrightness = 100;
  EXPECT_EQ(adjust.ApplyToPixel(pixel), 0x33FFFFFFu);
  adjust = RImageAdjust();
  adjust.adjustContrast = -100;
  EXPECT_TRUE(Near(adjust.ApplyToPixel(pixel), RPixel::Make(128, 128, 128, 0x33)));
  adjust = RImageAdjust();
  adjust.adjustSaturation = -100;
  EXPECT_TRUE(Near(adjust.ApplyToPixel(pixel), RPixel::Make(135, 135, 135, 0x33)));
  adjust = RImageAdjust();
  adjust.adjustHue = 360;
  EXPECT_TRUE(adjust.IsNeutral());
  adjust.adjustHue = 180;
  EXPECT_FALSE(adjust.IsNeutral());
  const uint32_t rotated = adjust.ApplyToPixel(pixel);
  EXPECT_NE(rotated, pixel);
  EXPECT_TRUE(Near(adjust.ApplyToPixel(RPixel::Make(90, 90, 90)), RPixel::Make(90, 90, 90)));  // grey has no hue
  adjust.adjustHue = -180;
  EXPECT_TRUE(Near(adjust.ApplyToPixel(pixel), rotated));
}

TEST(ImageAdjust, ApplyCoversEveryPixelOfAnIndexedBitmap) {
  RBitmap bitmap;
  bitmap.CreateIndexed(2, 2);
  bitmap.GetPalette()[1] = RPixel::Make(200, 100, 0, 0x70);
  bitmap.GetIndices()[3] = 1;
  Colorizer(kColorizeSubtract, RPixel::Make(255, 255, 255)).Apply(bitmap);
  ASSERT_FALSE(bitmap.IsIndexed());
  EXPECT_EQ(bitmap.GetPixel(0, 0), 0xFF000000u);
  EXPECT_EQ(bitmap.GetPixel(1, 1), 0x70000000u);
}

} // namespace
