// PNG and JPEG through their libraries: round trips of every form we write, and the messages
// of broken files and broken streams.
#include <gtest/gtest.h>

#include "base/memorystream.h"
#include "editor/jpegcodec.h"
#include "editor/pngcodec.h"
#include "imagetestpictures.h"

using namespace imagetest;

namespace {

std::vector<uint8_t> ToPNG(const RBitmap& bitmap, const RPngWriteOptions& options = {}) {
  RMemoryStream out;
  SavePNG(bitmap, out, options);
  return Bytes(out);
}

RBitmap FromPNG(const std::vector<uint8_t>& bytes) {
  RMemoryStream in(bytes.data(), int64_t(bytes.size()));
  return LoadPNG(in);
}

RBitmap Grey(const RBitmap& bitmap, bool keepAlpha) {
  RBitmap out = bitmap;
  for (int32_t y = 0; y < out.GetHeight(); ++y) {
    for (int32_t x = 0; x < out.GetWidth(); ++x) {
      const uint32_t p = out.GetPixel(x, y);
      const uint32_t v = (RPixel::Red(p) * 77 + RPixel::Green(p) * 150 + RPixel::Blue(p) * 29) >> 8;
      out.SetPixel(x, y, RPixel::Make(v, v, v, keepAlpha ? RPixel::Alpha(p) : 255));
    }
  }
  return out;
}

RBitmap Opaque(const RBitmap& bitmap) {
  RBitmap out = bitmap;
  for (int32_t y = 0; y < out.GetHeight(); ++y) {
    for (int32_t x = 0; x < out.GetWidth(); ++x) out.SetPixel(x, y, out.GetPixel(x, y) | 0xFF000000u);
  }
  return out;
}

TEST(Png, EveryWrittenFormReadsBackAsWritten) {
  const RBitmap picture = SmoothPicture(13, 9, 3);
  for (bool sixteen : {false, true}) {
    for (bool interlaced : {false, true}) {
      auto options = [&](RPngColour colour) { return RPngWriteOptions{colour, sixteen, interlaced}; };
      SCOPED_TRACE(testing::Message() << "16-bit " << sixteen << ", interlaced " << interlaced);
      EXPECT_TRUE(SamePixels(FromPNG(ToPNG(picture, options(RPngColour::kRGBA))), picture));
      EXPECT_TRUE(SamePixels(FromPNG(ToPNG(picture, options(RPngColour::kRGB))), Opaque(picture)));
      EXPECT_TRUE(SamePixels(FromPNG(ToPNG(picture, options(RPngColour::kGray))), Grey(picture, false)));
      EXPECT_TRUE(SamePixels(FromPNG(ToPNG(picture, options(RPngColour::kGrayAlpha))), Grey(picture, true)));
    }
  }
}

TEST(Png, IndexedBitmapWritesAPaletteWithTransparency) {
  RBitmap indexed;
  indexed.CreateIndexed(5, 4);
  indexed.GetPalette()[0] = 0xFF000000u;
  indexed.GetPalette()[1] = 0x40FF8000u;
  indexed.GetPalette()[2] = 0x00FFFFFFu;
  for (int i = 0; i < 20; ++i) indexed.GetIndices()[i] = uint8_t(i % 3);
  RBitmap expanded = indexed;
  expanded.ExpandIndices();
  for (bool interlaced : {false, true}) {
    const std::vector<uint8_t> file = ToPNG(indexed, {RPngColour::kPalette, false, interlaced});
    EXPECT_EQ(file[25], 3) << "colour type in the header";
    EXPECT_TRUE(SamePixels(FromPNG(file), expanded));
  }
  // Asked of a bitmap that has no table, the palette form writes colours.
  const RBitmap picture = SmoothPicture(4, 4);
  EXPECT_TRUE(SamePixels(FromPNG(ToPNG(picture, {RPngColour::kPalette})), picture));
}

TEST(Png, IndexPastThePaletteIsAPaletteError) {
  RBitmap indexed;
  indexed.CreateIndexed(4, 1);
  indexed.GetIndices()[3] = 200;
  std::vector<uint8_t> file = ToPNG(indexed, {RPngColour::kPalette});
  // Shorten PLTE from 256 to 2 entries: the chunk sits right after the 33 bytes of signature
  // and header; its length, its data and its check are rewritten.
  const size_t plte = 33;
  ASSERT_EQ(std::string(file.begin() + plte + 4, file.begin() + plte + 8), "PLTE");
  const size_t oldLength = 768;
  std::vector<uint8_t> chunk = {0, 0, 0, 6, 'P', 'L', 'T', 'E', 1, 2, 3, 4, 5, 6};
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 4; i < chunk.size(); ++i) {
    crc ^= chunk[i];
    for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  crc ^= 0xFFFFFFFFu;
  for (int i = 3; i >= 0; --i) chunk.push_back(uint8_t(crc >> (8 * i)));
  file.erase(file.begin() + plte, file.begin() + plte + 12 + oldLength);
  file.insert(file.begin() + plte, chunk.begin(), chunk.end());
  EXPECT_EQ(MessageOf([&] { FromPNG(file); }), "Error loading PNG palette.");
}

TEST(Png, BrokenFilesAndStreamsGiveTheLoadingMessage) {
  const std::vector<uint8_t> good = ToPNG(SmoothPicture(20, 20));
  std::vector<uint8_t> truncated(good.begin(), good.begin() + long(good.size() / 2));
  EXPECT_EQ(MessageOf([&] { FromPNG(truncated); }), "Error loading a PNG file.");

  std::vector<uint8_t> flipped = good;
  flipped[good.size() / 2] ^= 0x55;  // inside the image data: its check fails
  EXPECT_EQ(MessageOf([&] { FromPNG(flipped); }), "Error loading a PNG file.");

  const std::vector<uint8_t> notPng = {'G', 'I', 'F', '8', '9', 'a', 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(MessageOf([&] { FromPNG(notPng); }), "Error loading a PNG file.");

  RFailingStream failing(good, 60);
  EXPECT_EQ(MessageOf([&] { LoadPNG(failing); }), "Error loading a PNG file.");
}

TEST(Png, EmptyImageIsNotSaved) {
  EXPECT_EQ(MessageOf([] { ToPNG(RBitmap(0, 3)); }), "Empty image cannot be saved to PNG.");
}

TEST(Jpeg, RoundTripStaysWithinTheCodecsError) {
  const RBitmap picture = Opaque(SmoothPicture(64, 48));
  for (int quality : {75, 95}) {
    RMemoryStream out;
    SaveJPEG(picture, quality, out);
    RMemoryStream in(out.GetData(), out.GetSize());
    const RBitmap decoded = LoadJPEG(in);
    ASSERT_EQ(decoded.GetWidth(), 64);
    ASSERT_EQ(decoded.GetHeight(), 48);
    EXPECT_LE(MaxColourError(decoded, picture), quality == 95 ? 8 : 24) << quality;
    EXPECT_EQ(RPixel::Alpha(decoded.GetPixel(10, 10)), 255u);
  }
}

TEST(Jpeg, SizeCheckRunsBeforeDecoding) {
  RMemoryStream out;
  SaveJPEG(SmoothPicture(7, 3), 90, out);
  RMemoryStream in(out.GetData(), out.GetSize());
  int32_t seenWidth = 0, seenHeight = 0;
  EXPECT_EQ(MessageOf([&] {
              LoadJPEG(in, [&](int32_t w, int32_t h) {
                seenWidth = w;
                seenHeight = h;
                throw RException("refused");
              });
            }),
            "refused");
  EXPECT_EQ(seenWidth, 7);
  EXPECT_EQ(seenHeight, 3);
}

TEST(Jpeg, BrokenFilesAndStreamsNameTheCause) {
  RMemoryStream out;
  SaveJPEG(SmoothPicture(32, 32), 90, out);
  const std::vector<uint8_t> good = Bytes(out);

  const std::vector<uint8_t> notJpeg = {'R', 'P', 'I', 'C', 0, 0, 0, 0};
  const std::string message = MessageOf([&] {
    RMemoryStream in(notJpeg.data(), int64_t(notJpeg.size()));
    LoadJPEG(in);
  });
  EXPECT_EQ(message.rfind("Error loading JPEG file - ", 0), 0u) << message;
  EXPECT_GT(message.size(), std::string("Error loading JPEG file - ").size());

  RFailingStream failing(good, 100);
  EXPECT_EQ(MessageOf([&] { LoadJPEG(failing); }), "Error loading JPEG file - read error");

  const std::vector<uint8_t> empty;
  EXPECT_EQ(MessageOf([&] {
              RMemoryStream in(empty.data(), 0);
              LoadJPEG(in);
            }).rfind("Error loading JPEG file - ", 0),
            0u);

  // A file cut short in its picture data decodes to its end (the library pads it).
  RMemoryStream large;
  SaveJPEG(SmoothPicture(160, 160), 90, large);
  const std::vector<uint8_t> cut(large.GetData(), large.GetData() + large.GetSize() * 9 / 10);
  RMemoryStream in(cut.data(), int64_t(cut.size()));
  EXPECT_EQ(LoadJPEG(in).GetWidth(), 160);
}

} // namespace
