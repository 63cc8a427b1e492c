#include "editor/rpic.h"

#include <gtest/gtest.h>

#include "base/memorystream.h"
#include "base/zlibstream.h"
#include "editor/jpegcodec.h"
#include "imagetestpictures.h"

using namespace imagetest;

namespace {

constexpr const char* kReadFailure = "Could not read the required data from stream.";
constexpr const char* kCorrupt = "RPIC file is corrupt.";

RBitmap Decode(const std::vector<uint8_t>& bytes) {
  RMemoryStream stream(bytes.data(), int64_t(bytes.size()));
  return LoadImage(stream);
}

std::vector<uint8_t> Encode(const RBitmap& bitmap, int32_t type, int32_t frameRows, int quality = 95) {
  RMemoryStream out;
  SaveImageRPIC(bitmap, type, frameRows, quality, out);
  return Bytes(out);
}

std::vector<uint8_t> Deflate(const std::vector<uint8_t>& plain) {
  RMemoryStream out;
  RZlibStream compress(&out, RCompressedStream::kCompress, 100);
  compress.Write(plain.data(), int64_t(plain.size()));
  compress.Finish();
  return Bytes(out);
}

// A type 2 file built by hand: the colours of `bitmap` as JPEG and `stored` as the alpha
// stream, exactly as given.
std::vector<uint8_t> TypeTwo(const RBitmap& bitmap, int32_t frameRows, const std::vector<uint8_t>& stored) {
  RMemoryStream jpeg;
  SaveJPEG(bitmap, 95, jpeg);
  const std::vector<uint8_t> alpha = Deflate(stored);
  std::vector<uint8_t> file = RpicHeader(bitmap.GetWidth(), bitmap.GetHeight(), frameRows, 2,
                                         int32_t(jpeg.GetSize()), int32_t(alpha.size()));
  Append(file, Bytes(jpeg));
  Append(file, alpha);
  return file;
}

std::vector<uint8_t> AlphaOf(const RBitmap& bitmap) {
  std::vector<uint8_t> alpha;
  for (int32_t y = 0; y < bitmap.GetHeight(); ++y) {
    for (int32_t x = 0; x < bitmap.GetWidth(); ++x) alpha.push_back(uint8_t(RPixel::Alpha(bitmap.GetPixel(x, y))));
  }
  return alpha;
}

TEST(RpicHeader, ShortHeaderIsAReadFailure) {
  std::vector<uint8_t> header = RpicHeader(4, 4, 0, 0);
  header.resize(35);
  EXPECT_EQ(MessageOf([&] { Decode(header); }), kReadFailure);
  EXPECT_EQ(MessageOf([&] {
              RMemoryStream stream(header.data(), 35);
              ReadImageSize(stream);
            }),
            kReadFailure);
}

TEST(RpicHeader, WrongMagicOrSizeOutOfRangeIsCorrupt) {
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(0x40001, 1, 0, 0)); }), kCorrupt);
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(1, 0x40001, 0, 0)); }), kCorrupt);
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(-1, 1, 0, 0)); }), kCorrupt);
  std::vector<uint8_t> wrongMagic = RpicHeader(1, 1, 0, 0);
  wrongMagic[3] = 'D';
  EXPECT_EQ(MessageOf([&] { Decode(wrongMagic); }), kCorrupt);

  // The limit itself passes the header test, and ReadImageSize stops there.
  const std::vector<uint8_t> largest = RpicHeader(0x40000, 0x40000, 0, 0);
  RMemoryStream stream(largest.data(), int64_t(largest.size()));
  const RImageSize size = ReadImageSize(stream);
  EXPECT_EQ(size.width, 0x40000);
  EXPECT_EQ(size.height, 0x40000);
}

TEST(RpicHeader, UnknownTypeNamesItself) {
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(2, 2, 0, 3)); }), "Unknown RPIC file type. Please update the software.");
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(2, 2, 0, -1)); }), "Unknown RPIC file type. Please update the software.");
}

TEST(RpicHeader, HugeClaimFromATinyFileFailsCleanly) {
  // 0x40000 squared as pixels would be a terabyte: the claim is refused before memory is taken.
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(0x40000, 0x40000, 0, 0, 0x7FFFFFFF)); }), kReadFailure);
  EXPECT_EQ(MessageOf([] { Decode(RpicHeader(0x40000, 0x40000, 0, 2, 10, 0x7FFFFFFF)); }), kReadFailure);
}

TEST(RpicDecode, ZeroSizedImageIsLegalAndEmpty) {
  for (int32_t type = 0; type <= 2; ++type) {
    const RBitmap bitmap = Decode(RpicHeader(0, 7, 0, type));
    EXPECT_TRUE(bitmap.IsEmpty()) << type;
    EXPECT_EQ(bitmap.GetPixels(), nullptr) << type;
  }
  // And the encoder writes such an image back.
  const RBitmap again = Decode(Encode(RBitmap(5, 0), 2, 0));
  EXPECT_EQ(again.GetWidth(), 5);
  EXPECT_EQ(again.GetHeight(), 0);
}

TEST(RpicDecode, TypeTwoWithoutFrameRowsHasPlainAlpha) {
  const RBitmap picture = SmoothPicture(6, 5);
  const std::vector<uint8_t> stored = {0, 1, 2, 127, 128, 129, 200, 255, 3, 4, 5, 6, 7, 8, 9,
                                       10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24};
  const RBitmap decoded = Decode(TypeTwo(picture, 0, stored));
  EXPECT_EQ(AlphaOf(decoded), stored);
  EXPECT_LE(MaxColourError(decoded, picture), 16);
}

TEST(RpicDecode, LaterFramesAddToTheFirstFrameWithWrapAround) {
  // Width 4, frames of one row: a stored 128 copies the first frame's alpha.
  const RBitmap picture = SmoothPicture(4, 3);
  const std::vector<uint8_t> stored = {10, 200, 255, 0,  //
                                       128, 128, 128, 128,  //
                                       127, 200, 0, 129};
  const RBitmap decoded = Decode(TypeTwo(picture, 1, stored));
  const std::vector<uint8_t> expected = {10, 200, 255, 0,  //
                                         10, 200, 255, 0,  //
                                         9, 16, 127, 1};
  EXPECT_EQ(AlphaOf(decoded), expected);
}

TEST(RpicDecode, FrameRowsAtOrAboveTheHeightMeanPlainAlpha) {
  // The product stores the width as frame rows for every image; a wide image has no frames.
  const RBitmap picture = SmoothPicture(8, 2);
  std::vector<uint8_t> stored(16);
  for (size_t i = 0; i < stored.size(); ++i) stored[i] = uint8_t(i * 13);
  EXPECT_EQ(AlphaOf(Decode(TypeTwo(picture, 8, stored))), stored);
  EXPECT_EQ(AlphaOf(Decode(TypeTwo(picture, 2, stored))), stored);
}

TEST(RpicDecode, TruncatedPayloadsAreReadFailures) {
  std::vector<uint8_t> pixels = Encode(SmoothPicture(16, 16), 0, 0);
  pixels.resize(pixels.size() - 10);
  EXPECT_EQ(MessageOf([&] { Decode(pixels); }), kReadFailure);

  // The alpha stream announced longer than what remains.
  const RBitmap picture = SmoothPicture(16, 16);
  std::vector<uint8_t> strip = Encode(picture, 2, 0);
  strip.resize(strip.size() - 6);
  EXPECT_FALSE(MessageOf([&] { Decode(strip); }).empty());
}

TEST(RpicDecode, JpegOfAnotherSizeThanTheHeaderIsCorrupt) {
  std::vector<uint8_t> file = Encode(SmoothPicture(8, 8), 1, 0);
  PutInt32(file, 4, 9);
  EXPECT_EQ(MessageOf([&] { Decode(file); }), kCorrupt);
}

TEST(RpicRoundTrip, TypeZeroIsExact) {
  for (auto [w, h] : {std::pair{1, 1}, {17, 5}, {5, 300}, {64, 64}}) {
    const RBitmap picture = SmoothPicture(w, h, h > w ? w : 0);
    const std::vector<uint8_t> file = Encode(picture, 0, 0);
    EXPECT_TRUE(SamePixels(Decode(file), picture)) << w << "x" << h;
    RMemoryStream header(file.data(), int64_t(file.size()));
    const RImageSize size = ReadImageSize(header);
    EXPECT_EQ(size.width, w);
    EXPECT_EQ(size.height, h);
  }
}

TEST(RpicRoundTrip, IndexedBitmapIsWrittenAsItsColours) {
  RBitmap indexed;
  indexed.CreateIndexed(3, 2);
  indexed.GetPalette()[1] = 0x80102030u;
  indexed.GetIndices()[4] = 1;
  RBitmap expanded = indexed;
  expanded.ExpandIndices();
  EXPECT_TRUE(SamePixels(Decode(Encode(indexed, 0, 0)), expanded));
}

TEST(RpicRoundTrip, JpegTypesKeepColoursCloseAndAlphaExact) {
  struct Case {
    int32_t width, height, frameRows, type;
  };
  // Strips of frames, an image wider than high with the width as frame rows, one frame
  // taller than the rest of the strip, and colour only.
  for (const Case c : {Case{24, 24 * 6, 24, 2}, Case{40, 12, 40, 2}, Case{30, 70, 0, 2}, Case{21, 21 * 4 + 5, 21, 2},
                       Case{50, 30, 0, 1}}) {
    const RBitmap picture = SmoothPicture(c.width, c.height, c.frameRows);
    const RBitmap decoded = Decode(Encode(picture, c.type, c.frameRows, 95));
    ASSERT_EQ(decoded.GetWidth(), c.width);
    ASSERT_EQ(decoded.GetHeight(), c.height);
    EXPECT_LE(MaxColourError(decoded, picture), 12) << c.width << "x" << c.height;
    if (c.type == 2) {
      EXPECT_TRUE(SameAlpha(decoded, picture)) << c.width << "x" << c.height;
    } else {
      EXPECT_EQ(RPixel::Alpha(decoded.GetPixel(3, 3)), 255u);
    }
  }
}

TEST(RpicRoundTrip, FrameCodingMakesRepeatedFramesCheap) {
  // Identical frames store 128 everywhere after the first: the alpha stream shrinks.
  RBitmap strip(32, 32 * 8);
  const RBitmap frame = SmoothPicture(32, 32);
  for (int32_t y = 0; y < strip.GetHeight(); ++y) {
    for (int32_t x = 0; x < 32; ++x) strip.SetPixel(x, y, frame.GetPixel(x, y % 32));
  }
  const std::vector<uint8_t> coded = Encode(strip, 2, 32);
  const std::vector<uint8_t> plain = Encode(strip, 2, 0);
  auto alphaSize = [](const std::vector<uint8_t>& file) {
    return uint32_t(file[24]) | uint32_t(file[25]) << 8 | uint32_t(file[26]) << 16 | uint32_t(file[27]) << 24;
  };
  EXPECT_LT(alphaSize(coded), alphaSize(plain));
  EXPECT_TRUE(SameAlpha(Decode(coded), strip));
}

TEST(RpicEncode, HeaderFieldsAndSizesAddUp) {
  const RBitmap picture = SmoothPicture(10, 20, 10);
  for (int32_t type = 0; type <= 2; ++type) {
    const std::vector<uint8_t> file = Encode(picture, type, 10);
    auto field = [&](size_t at) {
      return int32_t(uint32_t(file[at]) | uint32_t(file[at + 1]) << 8 | uint32_t(file[at + 2]) << 16 |
                     uint32_t(file[at + 3]) << 24);
    };
    EXPECT_EQ(field(4), 10);
    EXPECT_EQ(field(8), 20);
    EXPECT_EQ(field(12), 10);
    EXPECT_EQ(field(16), type);
    EXPECT_EQ(field(28), -1);
    EXPECT_EQ(field(32), -1);
    if (type == 1) {
      EXPECT_EQ(field(20), 0);
      EXPECT_EQ(field(24), 0);
    } else {
      EXPECT_EQ(size_t(36 + field(20) + field(24)), file.size()) << type;
    }
  }
  EXPECT_EQ(MessageOf([&] {
              RMemoryStream out;
              SaveImageRPIC(picture, 3, 0, 90, out);
            }),
            "Unknown RPIC file type. Please update the software.");
}

} // namespace
