#include "editor/imageresource.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/filestream.h"
#include "editor/pngcodec.h"
#include "editor/rpic.h"
#include "imagetestpictures.h"

using namespace imagetest;

namespace {

class ImageRegistry : public testing::Test {
protected:
  void SetUp() override {
    RImageRegistry::Get().Clear();
    good_ = Encoded(SmoothPicture(6, 4));
  }
  void TearDown() override { RImageRegistry::Get().Clear(); }

  static std::vector<uint8_t> Encoded(const RBitmap& bitmap) {
    RMemoryStream out;
    SaveImageRPIC(bitmap, 0, 0, 0, out);
    return Bytes(out);
  }

  std::vector<uint8_t> good_;
};

TEST_F(ImageRegistry, RegistrationReadsOnlyTheHeader) {
  RImageResource& record = RegisterImage("KnobA", good_.data(), int64_t(good_.size()));
  EXPECT_EQ(record.width, 6);
  EXPECT_EQ(record.height, 4);
  EXPECT_EQ(record.state, 0);
  EXPECT_TRUE(record.bitmap.IsEmpty());
  // Names compare as strings compare.
  EXPECT_EQ(RImageRegistry::Get().Find("knoba"), &record);
  EXPECT_EQ(RImageRegistry::Get().Find("KnobB"), nullptr);

  // A payload that is broken past the header registers; only its use fails.
  std::vector<uint8_t> broken = good_;
  broken.resize(40);
  EXPECT_EQ(RegisterImage("Broken", broken.data(), int64_t(broken.size())).width, 6);
  std::vector<uint8_t> header = good_;
  header[0] = 'X';
  EXPECT_EQ(MessageOf([&] { RegisterImage("Bad", header.data(), int64_t(header.size())); }), "RPIC file is corrupt.");
}

TEST_F(ImageRegistry, FirstUseDecodesOnceAndSetsTheState) {
  RImageResource& record = RegisterImage("Panel", good_.data(), int64_t(good_.size()));
  RBitmap& first = GetBitmap(record);
  EXPECT_EQ(record.state, 1);
  EXPECT_TRUE(SamePixels(first, SmoothPicture(6, 4)));
  // Changing the pixels shows that a second call doesn't decode again.
  first.SetPixel(0, 0, 0x12345678u);
  EXPECT_EQ(GetBitmap(record).GetPixel(0, 0), 0x12345678u);
}

TEST_F(ImageRegistry, FailureIsReportedOnceAndNeverRetried) {
  std::vector<uint8_t> broken = good_;
  broken.resize(40);
  RImageResource& record = RegisterImage("Broken", broken.data(), int64_t(broken.size()));
  EXPECT_EQ(MessageOf([&] { GetBitmap(record); }), "Error loading image from a data storage.");
  EXPECT_EQ(record.state, 1);
  EXPECT_NO_THROW(GetBitmap(record));
  EXPECT_TRUE(GetBitmap(record).IsEmpty());
}

TEST_F(ImageRegistry, CopyComesFirstThenDataThenFile) {
  const RBitmap other = SmoothPicture(3, 3);
  const std::vector<uint8_t> otherBytes = Encoded(other);
  RImageResource& source = RegisterImage("Source", otherBytes.data(), int64_t(otherBytes.size()));

  RImageResource& all = RImageRegistry::Get().Enter("All");
  all.copyOf = &source;
  all.data = good_.data();
  all.dataSize = int64_t(good_.size());
  all.filePath = "/nonexistent/image.png";
  EXPECT_TRUE(SamePixels(GetBitmap(all), other));

  RImageResource& dataAndFile = RImageRegistry::Get().Enter("DataAndFile");
  dataAndFile.data = good_.data();
  dataAndFile.dataSize = int64_t(good_.size());
  dataAndFile.filePath = "/nonexistent/image.png";
  EXPECT_TRUE(SamePixels(GetBitmap(dataAndFile), SmoothPicture(6, 4)));

  // With no source at all, the bitmap stays empty and nothing throws.
  RImageResource& nothing = RImageRegistry::Get().Enter("Nothing");
  EXPECT_TRUE(GetBitmap(nothing).IsEmpty());
}

TEST_F(ImageRegistry, EachSourceHasItsOwnMessage) {
  std::vector<uint8_t> broken = good_;
  broken.resize(40);
  RImageResource& bad = RegisterImage("Bad", broken.data(), int64_t(broken.size()));
  RImageResource& copy = RImageRegistry::Get().Enter("Copy");
  copy.copyOf = &bad;
  EXPECT_EQ(MessageOf([&] { GetBitmap(copy); }), "Error loading image from a copy.");

  RImageResource& file = RImageRegistry::Get().Enter("File");
  file.filePath = "/nonexistent/knob.png";
  EXPECT_EQ(MessageOf([&] { GetBitmap(file); }), "Error loading image /nonexistent/knob.png.");
}

TEST_F(ImageRegistry, FileSourceDecodesFromDisk) {
  const std::string path = (std::filesystem::temp_directory_path() / "quillon-imageresource-test.png").string();
  {
    RFileStream out(RString::FromUTF8(path), RFileStream::kWrite | RFileStream::kReplace);
    SavePNG(SmoothPicture(5, 5), out);
  }
  RImageResource& record = RImageRegistry::Get().Enter("FromDisk");
  record.filePath = RString::FromUTF8(path);
  EXPECT_TRUE(SamePixels(GetBitmap(record), SmoothPicture(5, 5)));
  std::filesystem::remove(path);
}

TEST_F(ImageRegistry, RecolouringIsAppliedAfterDecoding) {
  RImageResource& source = RegisterImage("Plain", good_.data(), int64_t(good_.size()));
  RImageResource& tinted = RImageRegistry::Get().Enter("Tinted");
  tinted.copyOf = &source;
  tinted.adjust = std::make_unique<RImageAdjust>();
  tinted.adjust->colorizeEnable = true;
  tinted.adjust->colorize = 0xFF000000u;  // black, fully
  tinted.adjust->colorizeAlgorithm = kColorizeMin;
  const RBitmap& result = GetBitmap(tinted);
  for (int32_t x = 0; x < 6; ++x) {
    EXPECT_EQ(result.GetPixel(x, 1) & 0x00FFFFFFu, 0u);
    EXPECT_EQ(RPixel::Alpha(result.GetPixel(x, 1)), RPixel::Alpha(SmoothPicture(6, 4).GetPixel(x, 1)));
  }
  // The source keeps its own colours.
  EXPECT_TRUE(SamePixels(GetBitmap(source), SmoothPicture(6, 4)));
}

} // namespace
