#include "editor/imageloader.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "base/filestream.h"
#include "editor/jpegcodec.h"
#include "editor/pngcodec.h"
#include "editor/rpic.h"
#include "imagetestpictures.h"

using namespace imagetest;
namespace fs = std::filesystem;

namespace {

class ImageFiles : public testing::Test {
protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "quillon-images-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { fs::remove_all(folder_); }

  RString PathOf(const std::string& name) const { return RString::FromUTF8((folder_ / name).string()); }

  fs::path folder_;
};

TEST(ImageExtension, TakesTheTextAfterTheLastPointOfTheFileName) {
  EXPECT_EQ(ImageExtension("skin/KnobA.PNG").ToUTF8(), "png");
  EXPECT_EQ(ImageExtension("C:\\art.v2\\knob.JpEg").ToUTF8(), "jpeg");
  EXPECT_EQ(ImageExtension("a.b/c").ToUTF8(), "");
  EXPECT_EQ(ImageExtension("archive.tar.rpic").ToUTF8(), "rpic");
  EXPECT_EQ(ImageExtension("noextension").ToUTF8(), "");
  // A backslash wins over a later slash: the name is what follows the last backslash.
  EXPECT_EQ(ImageExtension("x\\y.dir/z").ToUTF8(), "dir/z");
}

TEST_F(ImageFiles, EachExtensionChoosesItsReader) {
  const RBitmap picture = SmoothPicture(12, 8);
  {
    RFileStream png(PathOf("a.png"), RFileStream::kWrite | RFileStream::kReplace);
    SavePNG(picture, png);
    RFileStream rpic(PathOf("b.RPIC"), RFileStream::kWrite | RFileStream::kReplace);
    SaveImageRPIC(picture, 0, 0, 0, rpic);
    RFileStream jpg(PathOf("c.jpg"), RFileStream::kWrite | RFileStream::kReplace);
    SaveJPEG(picture, 95, jpg);
    RFileStream jpeg(PathOf("d.jpeg"), RFileStream::kWrite | RFileStream::kReplace);
    SaveJPEG(picture, 95, jpeg);
  }
  EXPECT_TRUE(SamePixels(LoadImageFile(PathOf("a.png")), picture));
  EXPECT_TRUE(SamePixels(LoadImageFile(PathOf("b.RPIC")), picture));
  EXPECT_LE(MaxColourError(LoadImageFile(PathOf("c.jpg")), picture), 12);
  EXPECT_EQ(LoadImageFile(PathOf("d.jpeg")).GetHeight(), 8);

  // The extension decides, not the content: a PNG named .jpg fails as a JPEG.
  fs::copy_file(folder_ / "a.png", folder_ / "e.jpg");
  EXPECT_EQ(MessageOf([&] { LoadImageFile(PathOf("e.jpg")); }).rfind("Error loading JPEG file - ", 0), 0u);
}

TEST_F(ImageFiles, UnknownExtensionOrMissingFileNamesThePath) {
  std::ofstream(folder_ / "f.gif") << "GIF89a";
  const RString gif = PathOf("f.gif");
  EXPECT_EQ(MessageOf([&] { LoadImageFile(gif); }), "Could not load image \"" + gif.ToUTF8() + "\".");
  const RString missing = PathOf("missing.png");
  EXPECT_EQ(MessageOf([&] { LoadImageFile(missing); }), "Could not load image \"" + missing.ToUTF8() + "\".");
}

TEST(DetectImageFormat, KnowsEachFormatByItsFirstBytes) {
  auto detect = [](std::vector<uint8_t> bytes) { return DetectImageFormat(bytes.data(), bytes.size()); };
  EXPECT_EQ(detect({'R', 'P', 'I', 'C', 0}), RImageFormat::kRPIC);
  EXPECT_EQ(detect({'M', 'A', 'S', 'K'}), RImageFormat::kMask);
  EXPECT_EQ(detect({0x89, 'P', 'N', 'G', 13, 10}), RImageFormat::kPNG);
  EXPECT_EQ(detect({0xFF, 0xD8, 0xFF, 0xE0}), RImageFormat::kJPEG);
  EXPECT_EQ(detect({0x78, 0xDA, 1, 2}), RImageFormat::kCompressedMask);
  EXPECT_EQ(detect({0x78, 0xDB, 1, 2}), RImageFormat::kUnknown);
  EXPECT_EQ(detect({'G', 'I', 'F', '8'}), RImageFormat::kUnknown);
  EXPECT_EQ(detect({'R', 'P', 'I'}), RImageFormat::kUnknown);
}

} // namespace
