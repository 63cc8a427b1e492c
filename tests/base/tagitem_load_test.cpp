#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"

namespace {

using namespace std::string_literals;

std::string Bytes(RMemoryStream& memory) {
  return std::string(reinterpret_cast<const char*>(memory.GetData()), size_t(memory.GetSize()));
}

std::string Saved(const RTagItem& item, bool compress) {
  RMemoryStream memory;
  item.Save(memory, compress);
  return Bytes(memory);
}

std::string Binary(const RTagItem& item) {
  RMemoryStream memory;
  item.WriteBinary(memory);
  return Bytes(memory);
}

void LoadFrom(RTagItem& item, const std::string& bytes) {
  RMemoryStream memory;
  memory.Write(bytes.data(), int64_t(bytes.size()));
  memory.Seek(0);
  item.Load(memory);
}

// A tree of text values only, so that every stored form gives it back unchanged.
void MakeTree(RTagItem& root) {
  root.SetName(RString("State"));
  root.SetAttribute("Product", RString("Quillon"));
  for (int i = 0; i < 20; ++i) {
    RTagItem* slot = root.AddSubItem(RString("Slot"));
    slot->SetAttribute("Name", RString::FromLatin1("slot " + std::to_string(i)));
    slot->AddSubItem(RString("Value"))->Value().SetText(RString::FromLatin1(std::to_string(i * 37)));
  }
}

// Disables the binary form for the life of the object.
class DisabledRTG {
public:
  DisabledRTG() { RTagItem::SetDisableRTG(true); }
  ~DisabledRTG() { RTagItem::SetDisableRTG(false); }
};

// Offers only Read: no position, no seeking.
class ForwardOnlyStream : public RStream {
public:
  explicit ForwardOnlyStream(std::string bytes) : bytes_(std::move(bytes)) {}
  int64_t Read(void* to, int64_t count) override {
    const int64_t n = std::min<int64_t>(count, int64_t(bytes_.size() - at_));
    std::memcpy(to, bytes_.data() + at_, size_t(n));
    at_ += size_t(n);
    return n;
  }

private:
  std::string bytes_;
  size_t at_ = 0;
};

TEST(TagItemSave, WritesBinaryOrZlibAroundBinary) {
  RTagItem root;
  MakeTree(root);
  const std::string plain = Saved(root, false);
  EXPECT_EQ(plain, Binary(root));
  const std::string packed = Saved(root, true);
  ASSERT_GE(packed.size(), 2u);
  EXPECT_EQ(uint8_t(packed[0]), 0x78);  // a zlib header at the highest level
  EXPECT_EQ(uint8_t(packed[1]), 0xDA);
  EXPECT_LT(packed.size(), plain.size());
}

TEST(TagItemSave, WithDisableRTGWritesXmlTextAndCompactXmlWhenCompressed) {
  RTagItem root;
  MakeTree(root);
  DisabledRTG disabled;
  EXPECT_TRUE(RTagItem::GetDisableRTG());
  const std::string text = Saved(root, false);
  EXPECT_EQ(text.rfind("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<State", 0), 0u);
  EXPECT_NE(text.find('\t'), std::string::npos);
  const std::string packed = Saved(root, true);
  EXPECT_EQ(uint8_t(packed[0]), 0x78);
  RTagItem back;
  LoadFrom(back, packed);
  EXPECT_EQ(Binary(back), Binary(root));
}

TEST(TagItemLoad, TellsEveryStoredFormApartByItsBytes) {
  RTagItem root;
  MakeTree(root);
  const std::string expected = Binary(root);
  std::string forms[4] = {Saved(root, false), Saved(root, true)};
  {
    DisabledRTG disabled;
    forms[2] = Saved(root, false);
    forms[3] = Saved(root, true);
  }
  for (const std::string& form : forms) {
    RTagItem back(RString("stale"));
    back.SetAttribute("old", int32_t(1));
    LoadFrom(back, form);
    EXPECT_EQ(Binary(back), expected);
  }
}

TEST(TagItemLoad, ALineOfBase64BehindADollarLoadsThroughTheLastAttempt) {
  RTagItem root;
  MakeTree(root);
  const std::string binary = Binary(root);
  const std::string encoded = RVariant::EncodeBase64(binary.data(), int64_t(binary.size())).ToUTF8();
  RTagItem back;
  LoadFrom(back, "$" + encoded + "\n");
  EXPECT_EQ(Binary(back), binary);
  // The same for the compressed form: the decoded stream starts all attempts again.
  const std::string packed = Saved(root, true);
  RTagItem again;
  LoadFrom(again, "$" + RVariant::EncodeBase64(packed.data(), int64_t(packed.size())).ToUTF8());
  EXPECT_EQ(Binary(again), binary);
}

TEST(TagItemLoad, StartsAtTheStreamsPosition) {
  RTagItem root;
  MakeTree(root);
  const std::string packed = Saved(root, true);
  RMemoryStream memory;
  memory.Write("prefix", 6);
  memory.Write(packed.data(), int64_t(packed.size()));
  memory.Seek(6);
  RTagItem back;
  back.Load(memory);
  EXPECT_EQ(Binary(back), Binary(root));
}

TEST(TagItemLoad, ReadsAStreamThatCannotSeek) {
  RTagItem root;
  MakeTree(root);
  for (bool compress : {false, true}) {
    ForwardOnlyStream stream(Saved(root, compress));
    RTagItem back;
    back.Load(stream);
    EXPECT_EQ(Binary(back), Binary(root));
  }
}

TEST(TagItemLoad, BytesOfNoFormGiveAnEmptyTreeWithoutAnException) {
  RTagItem item(RString("before"));
  LoadFrom(item, "just some text that is no tree");
  EXPECT_TRUE(item.GetName().IsEmpty());
  EXPECT_EQ(item.GetSubItemCount(), 0);
  // A tree that breaks off halfway is dropped, not kept in part.
  RTagItem root;
  MakeTree(root);
  const std::string binary = Binary(root);
  LoadFrom(item, binary.substr(0, binary.size() / 2));
  EXPECT_TRUE(item.GetName().IsEmpty());
  EXPECT_EQ(item.GetSubItemCount(), 0);
  EXPECT_EQ(item.GetAttributeCount(), 0);
}

TEST(TagItemLoad, RandomBytesNeverThrowUnlessTheStreamIsEmpty) {
  std::mt19937 random(20261122);
  for (int run = 0; run < 300; ++run) {
    std::string bytes(size_t(1 + random() % 300), '\0');
    for (char& c : bytes) c = char(random());
    if (run % 3 == 0) bytes.replace(0, std::min<size_t>(4, bytes.size()), "\0RTG"s, 0, std::min<size_t>(4, bytes.size()));
    if (run % 3 == 1) bytes[0] = '<';
    // A leading '$' is the base-64 form, whose decoding may end in an empty stream.
    if (bytes[0] == '$') bytes[0] = '#';
    RTagItem item;
    EXPECT_NO_THROW(LoadFrom(item, bytes)) << "run " << run;
  }
  RTagItem item;
  try {
    LoadFrom(item, "");
    ADD_FAILURE() << "an empty stream loaded";
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage().ToUTF8(), "Could not read the required data from stream.");
  }
}

TEST(TagItemFile, SavesAndLoadsByPathReplacingTheOldContent) {
  const char* tmp = std::getenv("TMPDIR");
  const std::string path = std::string(tmp ? tmp : "/tmp") + "/tagitem_load_test_" + std::to_string(::getpid()) + ".rtg";
  RTagItem big;
  MakeTree(big);
  for (int i = 0; i < 5000; ++i) big.AddSubItem(RString("Filler"))->SetAttribute("i", int32_t(i));
  big.Save(RString::FromUTF8(path));
  RTagItem small(RString("Small"));
  small.Save(RString::FromUTF8(path), true);
  std::ifstream file(path, std::ios::binary);
  std::stringstream content;
  content << file.rdbuf();
  EXPECT_EQ(content.str(), Saved(small, true));
  RTagItem back;
  back.Load(RString::FromUTF8(path));
  EXPECT_EQ(back.GetName().ToUTF8(), "Small");
  {
    DisabledRTG disabled;
    big.Save(RString::FromUTF8(path));
  }
  back.Load(RString::FromUTF8(path));
  EXPECT_EQ(back.GetSubItemCount(), big.GetSubItemCount());
  ASSERT_TRUE(back.GetLastSubItem()->HasAttribute("i"));
  EXPECT_EQ(back.GetLastSubItem()->GetAttribute().ToInt64(), 4999);
  std::remove(path.c_str());
}

} // namespace
