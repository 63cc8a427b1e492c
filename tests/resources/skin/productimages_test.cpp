// The embedded skin: every image registered in order under its name and as its HiDPI twin,
// undecoded; headers as the editor expects them; each image survives our encoder and decoder.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>

#include "editor/imageresource.h"
#include "tests/resources/skin/skintesting.h"

namespace {

TEST(ProductImages, RegistersEveryImageOfBothSetsInOrderWithoutDecoding) {
  ASSERT_EQ(GetProductImageCount(), kExpectedCount);
  RegisterProductImages();
  RegisterProductImages();  // a second call changes nothing
  for (int i = 0; i < kExpectedCount; ++i) {
    const RExpectedImage& expected = kExpectedImages[i];
    SCOPED_TRACE(expected.name);
    EXPECT_STREQ(GetProductImage(i, 1).name, expected.name);
    EXPECT_STREQ(GetProductImage(i, 2).name, expected.name);
    const RImageResource* plain = RImageRegistry::Get().Find(RString::FromUTF8(expected.name));
    const RImageResource* hidpi = RImageRegistry::Get().Find(HiDPIName(RString::FromUTF8(expected.name)));
    ASSERT_NE(plain, nullptr);
    ASSERT_NE(hidpi, nullptr);
    EXPECT_EQ(plain->width, expected.width);
    EXPECT_EQ(plain->height, expected.height);
    EXPECT_EQ(hidpi->width, 2 * expected.width);
    EXPECT_EQ(hidpi->height, 2 * expected.height);
    EXPECT_EQ(plain->data, GetProductImage(i, 1).data);
    EXPECT_EQ(hidpi->data, GetProductImage(i, 2).data);
    // Nothing is decoded until a control first paints.
    EXPECT_EQ(plain->state, 0);
    EXPECT_EQ(hidpi->state, 0);
    EXPECT_TRUE(plain->bitmap.IsEmpty());
    EXPECT_TRUE(hidpi->bitmap.IsEmpty());
  }
  EXPECT_EQ(HiDPIName(RString("KnobA")).ToUTF8(), "KnobA@2x");
}

TEST(ProductImages, HeadersCarryTheSizeTypeAndFrameRowsOfTheTable) {
  for (int i = 0; i < kExpectedCount; ++i) {
    const RExpectedImage& expected = kExpectedImages[i];
    for (int scale = 1; scale <= 2; ++scale) {
      SCOPED_TRACE(std::string(expected.name) + " at " + std::to_string(scale) + "x");
      const RProductImage image = GetProductImage(i, scale);
      ASSERT_GE(image.size, 36);
      EXPECT_EQ(std::memcmp(image.data, "RPIC", 4), 0);
      EXPECT_EQ(HeaderField(image, 4), scale * expected.width);
      EXPECT_EQ(HeaderField(image, 8), scale * expected.height);
      const int32_t type = HeaderField(image, 16);
      // JPEG stops at 65500 rows: only the HiDPI morph knob (69084) keeps exact pixels instead.
      const bool tooTallForJpeg = scale * expected.height > 65500 && expected.type != 0;
      EXPECT_EQ(type, tooTallForJpeg ? 0 : expected.type);
      EXPECT_EQ(HeaderField(image, 12), tooTallForJpeg ? 0 : scale * expected.frameRows);
      EXPECT_EQ(HeaderField(image, 28), -1);
      EXPECT_EQ(HeaderField(image, 32), -1);
      // The sizes add up to the data: nothing missing, nothing trailing.
      if (type == 1) {
        EXPECT_EQ(HeaderField(image, 20), 0);
        EXPECT_EQ(HeaderField(image, 24), 0);
      } else {
        EXPECT_EQ(36 + int64_t(HeaderField(image, 20)) + HeaderField(image, 24), image.size);
      }
    }
  }
}

// Peak signal to noise of the colour channels, and whether every alpha is equal.
struct RDifference {
  double psnr = 0;
  int maxColour = 0;
  bool alphaEqual = true;
};

RDifference Compare(const RBitmap& a, const RBitmap& b) {
  RDifference d;
  const int64_t count = int64_t(a.GetWidth()) * a.GetHeight();
  const uint32_t* p = a.GetPixels();
  const uint32_t* q = b.GetPixels();
  double total = 0;
  for (int64_t i = 0; i < count; ++i) {
    if ((p[i] >> 24) != (q[i] >> 24)) d.alphaEqual = false;
    for (int shift = 0; shift < 24; shift += 8) {
      const int e = std::abs(int((p[i] >> shift) & 0xFF) - int((q[i] >> shift) & 0xFF));
      total += double(e) * e;
      d.maxColour = std::max(d.maxColour, e);
    }
  }
  const double mse = count > 0 ? total / double(3 * count) : 0.0;
  d.psnr = mse > 0 ? 10.0 * std::log10(255.0 * 255.0 / mse) : 99.0;
  return d;
}

TEST(ProductImages, EveryImageDecodesAndRoundTripsThroughOurEncoder) {
  for (int i = 0; i < kExpectedCount; ++i) {
    for (int scale = 1; scale <= 2; ++scale) {
      const RExpectedImage& expected = kExpectedImages[i];
      SCOPED_TRACE(std::string(expected.name) + " at " + std::to_string(scale) + "x");
      const RProductImage image = GetProductImage(i, scale);
      const RBitmap decoded = DecodeSkinImage(i, scale);
      ASSERT_EQ(decoded.GetWidth(), scale * expected.width);
      ASSERT_EQ(decoded.GetHeight(), scale * expected.height);
      const int32_t type = HeaderField(image, 16);
      RMemoryStream encoded;
      SaveImageRPIC(decoded, type, HeaderField(image, 12), 90, encoded);
      encoded.Seek(0);
      const RBitmap again = LoadImage(encoded);
      ASSERT_EQ(again.GetWidth(), decoded.GetWidth());
      ASSERT_EQ(again.GetHeight(), decoded.GetHeight());
      const RDifference d = Compare(decoded, again);
      if (type == 0) {
        EXPECT_EQ(d.maxColour, 0);
      } else {
        // JPEG at quality 90 stays above 32 dB even on the small saturated LEDs, where the
        // halved colour resolution costs most.
        EXPECT_GT(d.psnr, 32.0);
      }
      EXPECT_TRUE(d.alphaEqual);
      if (type == 1) {
        EXPECT_EQ(decoded.GetPixel(0, 0) >> 24, 255u);
      }
    }
  }
}

} // namespace
