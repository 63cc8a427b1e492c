#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"

namespace {

using namespace std::string_literals;

std::string Written(const RTagItem& item) {
  RMemoryStream memory;
  item.WriteBinary(memory);
  return std::string(reinterpret_cast<const char*>(memory.GetData()), size_t(memory.GetSize()));
}

// The bytes behind the magic.
std::string Commands(const RTagItem& item) {
  const std::string all = Written(item);
  EXPECT_EQ(all.substr(0, 4), "\0RTG"s);
  return all.substr(4);
}

void ReadFrom(RTagItem& item, const std::string& bytes) {
  RMemoryStream memory;
  memory.Write(bytes.data(), int64_t(bytes.size()));
  memory.Seek(0);
  item.ReadBinary(memory);
}

// The message of the RException that reading these commands (behind the magic) throws.
std::string ReadFailure(const std::string& commands) {
  RTagItem item;
  try {
    ReadFrom(item, "\0RTG"s + commands);
  } catch (const RException& e) {
    return e.GetMessage().ToUTF8();
  }
  return "(no exception)";
}

TEST(TagItemBinaryWriter, ABareRootIsItsNameBetweenXAndTilde) {
  RTagItem root(RString("Root"));
  EXPECT_EQ(Written(root), "\0RTGXRoot\0~"s);
}

TEST(TagItemBinaryWriter, IntegersAreNarrowedToTheSmallestTypeThatHoldsThem) {
  RTagItem root(RString("r"));
  root.SetAttribute("a", int32_t(300));
  root.SetAttribute("b", int32_t(100));
  root.SetAttribute("c", int64_t(70000));
  root.SetAttribute("d", int64_t(5000000000));
  root.SetAttribute("e", int32_t(-129));
  root.SetAttribute("f", int64_t(-128));
  const std::string expected = "Xr\0"s + "Aa\0" "2\x2c\x01"s + "Ab\0" "1\x64"s + "Ac\0" "4\x70\x11\x01\x00"s +
                               "Ad\0" "8\x00\xf2\x05\x2a\x01\x00\x00\x00"s + "Ae\0" "2\x7f\xff"s + "Af\0" "1\x80"s + "~";
  EXPECT_EQ(Commands(root), expected);

  RTagItem back;
  ReadFrom(back, Written(root));
  ASSERT_TRUE(back.HasAttribute("a"));
  EXPECT_EQ(back.GetAttribute().GetType(), RVariant::kInt16);
  EXPECT_EQ(back.GetAttribute().ToInt64(), 300);
  ASSERT_TRUE(back.HasAttribute("b"));
  EXPECT_EQ(back.GetAttribute().GetType(), RVariant::kInt8);
  ASSERT_TRUE(back.HasAttribute("d"));
  EXPECT_EQ(back.GetAttribute().GetType(), RVariant::kInt64);
  EXPECT_EQ(back.GetAttribute().ToInt64(), 5000000000);
  ASSERT_TRUE(back.HasAttribute("e"));
  EXPECT_EQ(back.GetAttribute().ToInt64(), -129);
}

TEST(TagItemBinaryWriter, FloatsKeepTheirWidth) {
  RTagItem root(RString("r"));
  root.SetAttribute("f", 1.5f);
  root.SetAttribute("d", 1.5);
  float f = 1.5f;
  double d = 1.5;
  const std::string expected = "Xr\0"s + "Af\0f"s + std::string(reinterpret_cast<char*>(&f), 4) + "Ad\0d"s +
                               std::string(reinterpret_cast<char*>(&d), 8) + "~";
  EXPECT_EQ(Commands(root), expected);
}

TEST(TagItemBinaryWriter, TextBelow256GoesAsBytesAndWiderTextAsUtf8) {
  RTagItem root(RString("r"));
  root.SetAttribute("s", RString(u"\u00e9", 1));
  root.SetAttribute("u", RString(u"\u0101", 1));
  EXPECT_EQ(Commands(root), "Xr\0As\0s\xe9\0"s + "Au\0u\x02\0\0\0\xc4\x81"s + "~");

  RTagItem back;
  ReadFrom(back, Written(root));
  EXPECT_EQ(back.GetAttributeText("s").ToU16(), u"\u00e9");
  EXPECT_EQ(back.GetAttributeText("u").ToU16(), u"\u0101");
}

TEST(TagItemBinaryWriter, EmptyValuesAreLeftOutAndOthersFollowTheAttributes) {
  RTagItem root(RString("r"));
  root.SetAttribute("k", RString("v"));
  root.Value().SetText(RString(""));
  EXPECT_EQ(Commands(root), "Xr\0Ak\0sv\0~"s);
  root.Value().SetText(RString("text"));
  EXPECT_EQ(Commands(root), "Xr\0Ak\0sv\0Vstext\0~"s);
}

TEST(TagItemBinaryWriter, SubitemsCloseWithSlashAndOnlyTheRootWithTilde) {
  RTagItem root(RString("r"));
  RTagItem* a = root.AddSubItem(RString("a"));
  a->AddSubItem(RString("b"));
  root.AddSubItem(RString("c"))->SetAttribute("k", int32_t(1));
  EXPECT_EQ(Commands(root), "Xr\0Xa\0Xb\0//Xc\0Ak\0" "1\x01/~"s);
}

TEST(TagItemBinaryWriter, BuffersCarryTheirCompressionFlag) {
  RTagItem root(RString("r"));
  const uint8_t bytes[3] = {1, 2, 3};
  root.AddSubItem(RString("plain"))->Value().SetRawBuffer(bytes, 3, false);
  root.AddSubItem(RString("packed"))->Value().SetRawBuffer(bytes, 3, true);
  EXPECT_EQ(Commands(root), "Xr\0Xplain\0Vb\x03\0\0\0\x01\x02\x03/Xpacked\0Vz\x03\0\0\0\x01\x02\x03/~"s);

  RTagItem back;
  ReadFrom(back, Written(root));
  const RVariant& packed = back.GetRequiredSubItem(RString("packed"))->Value();
  ASSERT_EQ(packed.GetType(), RVariant::kBuffer);
  EXPECT_TRUE(packed.IsCompressed());
  ASSERT_EQ(packed.GetBuffer()->size, 3);
  EXPECT_EQ(std::memcmp(packed.GetBuffer()->data, bytes, 3), 0);
  EXPECT_FALSE(back.GetRequiredSubItem(RString("plain"))->Value().IsCompressed());
}

TEST(TagItemBinaryWriter, KeysAreFoldedTo8BitAndWideNamesGoAsUtf8) {
  RTagItem root(RString(u"n\u00e9", 2));
  root.SetAttribute(RHashedString(RShortString(u"\u0101b", 2)), RString("v"));
  EXPECT_EQ(Commands(root), "Xn\xc3\xa9\0Aab\0sv\0~"s);

  // The reader widens byte by byte, so the name does not survive: the format's asymmetry.
  RTagItem back;
  ReadFrom(back, Written(root));
  EXPECT_EQ(back.GetName().ToU16(), u"n\u00c3\u00a9");
}

TEST(TagItemBinaryWriter, LargeValuesPassTheWriteBufferWhole) {
  // Records the size of each write that reaches the stream.
  class RecordingStream : public RStream {
  public:
    void Write(const void* bytes, int64_t count) override {
      sizes.push_back(count);
      data.append(static_cast<const char*>(bytes), size_t(count));
    }
    std::vector<int64_t> sizes;
    std::string data;
  };
  RTagItem root(RString("r"));
  for (int i = 0; i < 200; ++i) root.AddSubItem(RString("item"))->SetAttribute("k", int32_t(i));
  std::vector<uint8_t> big(5000, 7);
  root.AddSubItem(RString("big"))->Value().SetRawBuffer(big.data(), int64_t(big.size()), false);
  RecordingStream recorder;
  root.WriteBinary(recorder);
  EXPECT_EQ(recorder.data, Written(root));
  bool sawWhole = false;
  for (int64_t size : recorder.sizes) {
    if (size == 5000) sawWhole = true;
    else EXPECT_LE(size, 1024);
  }
  EXPECT_TRUE(sawWhole);
  EXPECT_LT(recorder.sizes.size(), 10u);
}

TEST(TagItemBinaryReader, RebuildsTheTreeSoThatWritingAgainGivesTheSameBytes) {
  RTagItem root(RString("Preset"));
  root.SetAttribute("Version", int32_t(3));
  root.SetAttribute("Name", RString(u"Caf\u00e9 \u0101", 6));
  for (int i = 0; i < 50; ++i) {
    RTagItem* slot = root.AddSubItem(RString("Slot"));
    slot->SetAttribute("Index", int32_t(i * 1000));
    slot->SetAttribute("Gain", double(i) / 7.0);
    slot->AddSubItem(RString("Param"))->Value().SetText(RString(std::u16string(size_t(i * 40), u'x')));
  }
  const std::string first = Written(root);
  RTagItem back;
  ReadFrom(back, first);
  EXPECT_EQ(back.GetSubItemCount(), 50);
  EXPECT_EQ(back.GetAttributeCount(), 2);
  EXPECT_EQ(Written(back), first);
}

TEST(TagItemBinaryReader, AKeyWithABlankLosesAllUnitsOf32AndBelow) {
  RTagItem item;
  ReadFrom(item, "\0RTGXr\0A a\tb \0sv\0Ac\td\0sw\0~"s);
  ASSERT_EQ(item.GetAttributeCount(), 2);
  EXPECT_EQ(item.GetFirstAttribute()->key.Text().ToU16(), u"ab");
  // Without a blank the key stays as it is.
  EXPECT_EQ(item.GetFirstAttribute()->next->key.Text().ToU16(), u"c\td");
}

TEST(TagItemBinaryReader, IgnoresEverythingBehindTheEnd) {
  RTagItem item;
  ReadFrom(item, "\0RTGXr\0~garbage\xff"s);
  EXPECT_EQ(item.GetName().ToUTF8(), "r");
}

TEST(TagItemBinaryReader, ReadsFromABlockInMemory) {
  const std::string bytes = "\0RTGXr\0Xs\0V2\x2c\x01/~"s;
  RTagItem item;
  item.ReadBinary(reinterpret_cast<const uint8_t*>(bytes.data()), int64_t(bytes.size()));
  ASSERT_NE(item.GetFirstSubItem(), nullptr);
  EXPECT_EQ(item.GetFirstSubItem()->Value().ToInt64(), 300);
}

TEST(TagItemBinaryReader, EachMalformedInputHasItsMessage) {
  RTagItem item;
  try {
    ReadFrom(item, "\0RTX"s);
    ADD_FAILURE() << "a wrong magic was taken";
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage().ToUTF8(), "Not an RTG file.");
  }
  EXPECT_EQ(ReadFailure("Xr\0Q~"s), "Incorrect RTG command identifier.");
  EXPECT_EQ(ReadFailure("Xr\0"s), "Incorrect RTG command identifier.");  // truncated before a command
  EXPECT_EQ(ReadFailure("Xr\0/"s), "Incorrect RTG ending.");
  EXPECT_EQ(ReadFailure("Xr\0Xs\0~"s), "Unexpected RTG end.");
  EXPECT_EQ(ReadFailure("Xr\0Vq~"s), "Unknown variant type.");
  EXPECT_EQ(ReadFailure("Xr\0V!~"s), "Unknown variant type.");
  EXPECT_EQ(ReadFailure("Xr\0V4\x01\x02"s), "Data range not available.");
  EXPECT_EQ(ReadFailure("Xr\0Vb\xff\xff\xff\xff~"s), "Data range not available.");
  EXPECT_EQ(ReadFailure("Xr\0Vu\x10\0\0\0ab~"s), "Data range not available.");
  EXPECT_EQ(ReadFailure("Xr\0VB\xff\xff\xff\xff\xff\xff\xff\x7f~"s), "Data range not available.");
  EXPECT_EQ(ReadFailure("X"s), "Invalid buffer GetStringLength call.");
  EXPECT_EQ(ReadFailure("Xr\0Vs"s), "Invalid buffer GetStringLength call.");
  EXPECT_EQ(ReadFailure("Xroot"s), "Not a terminated string for GetStringLength.");
  EXPECT_EQ(ReadFailure("Xr\0Akey"s), "Not a terminated string for GetStringLength.");
}

TEST(TagItemBinaryReader, DeepNestingNeedsNoStackOfItsOwn) {
  constexpr int kDepth = 10000;
  std::string bytes = "\0RTG"s;
  for (int i = 0; i < kDepth; ++i) bytes += "Xn\0"s;
  bytes += std::string(kDepth - 1, '/') + "~";
  RTagItem item;
  ReadFrom(item, bytes);
  int depth = 0;
  for (const RTagItem* p = &item; p->GetFirstSubItem(); p = p->GetFirstSubItem()) ++depth;
  EXPECT_EQ(depth, kDepth - 1);
  EXPECT_EQ(Written(item), bytes);
}

} // namespace
