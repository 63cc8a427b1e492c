#include "editor/alphamask.h"

#include <gtest/gtest.h>

#include "base/memorystream.h"
#include "imagetestpictures.h"

using namespace imagetest;

namespace {

RAlphaMask Pattern(int32_t width, int32_t height) {
  RAlphaMask mask(width, height);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) mask.Set(x, y, uint8_t(x * 31 + y * 7));
  }
  return mask;
}

bool SameMask(const RAlphaMask& a, const RAlphaMask& b) {
  if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight()) return false;
  for (int32_t y = 0; y < a.GetHeight(); ++y) {
    for (int32_t x = 0; x < a.GetWidth(); ++x) {
      if (a.Get(x, y) != b.Get(x, y)) return false;
    }
  }
  return true;
}

TEST(AlphaMask, PlainAndCompressedFormsRoundTrip) {
  const RAlphaMask mask = Pattern(9, 4);
  RMemoryStream plain;
  mask.Save(plain);
  ASSERT_EQ(plain.GetSize(), 20 + 36);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(plain.GetData()), 4), "MASK");
  EXPECT_EQ(plain.GetData()[20 + 9 + 1], mask.Get(1, 1));  // rows in order

  RAlphaMask back;
  RMemoryStream in(plain.GetData(), plain.GetSize());
  back.Load(in);
  EXPECT_TRUE(SameMask(back, mask));
  EXPECT_EQ(back.GetClip(), (RRect{0, 0, 9, 4}));

  RMemoryStream packed;
  mask.SaveCompressed(packed);
  RAlphaMask unpacked;
  RMemoryStream packedIn(packed.GetData(), packed.GetSize());
  unpacked.LoadCompressed(packedIn);
  EXPECT_TRUE(SameMask(unpacked, mask));
}

TEST(AlphaMask, ReservedWordsAreReadAndDropped) {
  std::vector<uint8_t> file = {'M', 'A', 'S', 'K', 2, 0, 0, 0, 1, 0, 0, 0, 9, 9, 9, 9, 7, 7, 7, 7, 50, 60};
  RAlphaMask mask;
  RMemoryStream in(file.data(), int64_t(file.size()));
  mask.Load(in);
  EXPECT_EQ(mask.Get(0, 0), 50);
  EXPECT_EQ(mask.Get(1, 0), 60);
  EXPECT_EQ(mask.Get(2, 0), 0);  // outside
}

TEST(AlphaMask, BadMagicOrSizeIsInvalidAndShortDataIsAReadFailure) {
  auto load = [](std::vector<uint8_t> bytes) {
    RAlphaMask mask;
    RMemoryStream in(bytes.data(), int64_t(bytes.size()));
    mask.Load(in);
  };
  std::vector<uint8_t> header = {'M', 'A', 'S', 'K', 4, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  std::vector<uint8_t> wrong = header;
  wrong[0] = 'm';
  EXPECT_EQ(MessageOf([&] { load(wrong); }), "Alphamask stream content is invalid.");
  std::vector<uint8_t> negative = header;
  negative[7] = 0x80;
  EXPECT_EQ(MessageOf([&] { load(negative); }), "Alphamask stream content is invalid.");

  EXPECT_EQ(MessageOf([&] { load(header); }), "Could not read the required data from stream.");
  // A claim of 0x40000 squared from a 20-byte file fails on reading, not on memory.
  std::vector<uint8_t> huge = header;
  huge[4] = 0, huge[5] = 0, huge[6] = 4;
  huge[8] = 0, huge[9] = 0, huge[10] = 4;
  EXPECT_EQ(MessageOf([&] { load(huge); }), "Could not read the required data from stream.");
  std::vector<uint8_t> shortHeader(header.begin(), header.begin() + 10);
  EXPECT_EQ(MessageOf([&] { load(shortHeader); }), "Could not read the required data from stream.");
}

TEST(AlphaMask, FailedLoadKeepsThePreviousMask) {
  RAlphaMask mask = Pattern(3, 3);
  std::vector<uint8_t> header = {'M', 'A', 'S', 'K', 4, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  RMemoryStream in(header.data(), int64_t(header.size()));
  EXPECT_THROW(mask.Load(in), RException);
  EXPECT_TRUE(SameMask(mask, Pattern(3, 3)));
}

} // namespace
