#include "base/textcodec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/exception.h"
#include "base/memorystream.h"

namespace {

std::u16string Decode(const RTextCodec& codec, const std::string& bytes) {
  return codec.Decode(reinterpret_cast<const uint8_t*>(bytes.data()), int64_t(bytes.size()));
}

std::string Bytes(std::initializer_list<int> values) {
  std::string s;
  for (int v : values) s.push_back(char(v));
  return s;
}

// The canonical names of the single-byte pages.
const std::vector<const char*> kPages = {
    "windows-1250", "windows-1251", "windows-1252", "windows-1253", "windows-1254", "windows-1255", "windows-1256",
    "windows-1257", "windows-1258", "iso-8859-1",   "iso-8859-2",   "iso-8859-3",   "iso-8859-4",   "iso-8859-5",
    "iso-8859-6",   "iso-8859-7",   "iso-8859-8",   "iso-8859-9",   "iso-8859-10",  "iso-8859-13",  "iso-8859-14",
    "iso-8859-15",  "iso-8859-16",  "koi8-r",       "koi8-u",       "ibm437",       "ibm850",       "macintosh"};

// ---------------------------------------------------------------------------------------------
// Finding by name

TEST(RTextCodecFind, NamesCompareWithoutCaseOrAccents) {
  EXPECT_TRUE(RTextCodec::Find("UTF-8").IsUTF8());
  EXPECT_TRUE(RTextCodec::Find("Utf8").IsUTF8());
  EXPECT_STREQ(RTextCodec::Find("UTF16").Name(), "utf-16");
  EXPECT_STREQ(RTextCodec::Find("LATIN1").Name(), "iso-8859-1");
  EXPECT_STREQ(RTextCodec::Find(RString::FromUTF8("L\xC3\xA1tin2")).Name(), "iso-8859-2");
  EXPECT_STREQ(RTextCodec::Find("CP1252").Name(), "windows-1252");
  EXPECT_STREQ(RTextCodec::Find("ISO-8859-15").Name(), "iso-8859-15");
  EXPECT_STREQ(RTextCodec::Find("Latin9").Name(), "iso-8859-15");
  EXPECT_STREQ(RTextCodec::Find("KOI8-R").Name(), "koi8-r");
  EXPECT_STREQ(RTextCodec::Find("Macintosh").Name(), "macintosh");
}

TEST(RTextCodecFind, TheEmptyNameGivesUTF8) {
  EXPECT_TRUE(RTextCodec::Find("").IsUTF8());
  EXPECT_EQ(&RTextCodec::Find(""), &RTextCodec::Default());
}

TEST(RTextCodecFind, EveryPageIsFoundByItsCanonicalName) {
  for (const char* name : kPages) {
    const RTextCodec& codec = RTextCodec::Find(RString::FromLatin1(name));
    EXPECT_STREQ(codec.Name(), name);
    EXPECT_FALSE(codec.IsUTF8());
  }
}

TEST(RTextCodecFind, AnUnknownNameThrowsWithTheName) {
  for (const char* name : {"klingon-1", "utf-7", "iso-8859", "latin"}) {
    try {
      RTextCodec::Find(RString::FromLatin1(name));
      ADD_FAILURE() << name << " was found";
    } catch (const RException& e) {
      EXPECT_EQ(e.GetMessage().ToUTF8(), std::string("No codec found for encoding ") + name + ".");
    }
  }
}

// ---------------------------------------------------------------------------------------------
// Single-byte pages

TEST(RTextCodecPages, KnownCharactersOfThePublishedSets) {
  struct Case {
    const char* page;
    int byte;
    char16_t unit;
  };
  const Case cases[] = {
      {"windows-1252", 0x80, u'\u20AC'}, {"windows-1252", 0x93, u'\u201C'}, {"windows-1252", 0xE9, u'\u00E9'},
      {"iso-8859-1", 0x80, u'\u0080'},   {"iso-8859-1", 0xFF, u'\u00FF'},   {"iso-8859-2", 0xA3, u'\u0141'},
      {"iso-8859-15", 0xA4, u'\u20AC'},  {"windows-1251", 0xC0, u'\u0410'}, {"koi8-r", 0xC1, u'\u0430'},
      {"ibm437", 0xB0, u'\u2591'},       {"ibm850", 0x9B, u'\u00F8'},       {"macintosh", 0x80, u'\u00C4'},
      {"iso-8859-7", 0xC1, u'\u0391'},   {"windows-1250", 0x8A, u'\u0160'}, {"iso-8859-5", 0xB0, u'\u0410'},
  };
  for (const Case& c : cases) {
    const RTextCodec& codec = RTextCodec::Find(RString::FromLatin1(c.page));
    EXPECT_EQ(Decode(codec, Bytes({'a', c.byte})), (std::u16string{u'a', c.unit})) << c.page << " byte " << c.byte;
    EXPECT_EQ(codec.Encode(RString(&c.unit, 1)), Bytes({c.byte})) << c.page << " byte " << c.byte;
  }
}

TEST(RTextCodecPages, EveryDefinedByteRoundTrips) {
  for (const char* name : kPages) {
    const RTextCodec& codec = RTextCodec::Find(RString::FromLatin1(name));
    for (int b = 0; b < 256; ++b) {
      const std::u16string units = Decode(codec, Bytes({b}));
      ASSERT_EQ(units.size(), 1u);
      if (units[0] == u'\uFFFD') continue;  // a byte the page leaves undefined
      if (b < 128) {
        EXPECT_EQ(units[0], char16_t(b)) << name << ": the lower half is ASCII";
      }
      EXPECT_EQ(codec.Encode(RString(units.data(), 1)), Bytes({b})) << name << " byte " << b;
    }
  }
}

TEST(RTextCodecPages, ACharacterThePageLacksBecomesOneQuestionMark) {
  const RTextCodec& codec = RTextCodec::Find("windows-1252");
  const char16_t text[] = {u'x', u'\u65E5', u'y', 0xD83D, 0xDE00, u'z', u'\u0410'};
  EXPECT_EQ(codec.Encode(RString(text, 7)), "x?y?z?");
  // A literal's 8-bit text is Latin-1.
  EXPECT_EQ(RTextCodec::Find("iso-8859-2").Encode("caf\xE9"), "caf\xE9");
  EXPECT_EQ(RTextCodec::Find("koi8-r").Encode("caf\xE9"), "caf?");
}

TEST(RTextCodecPages, UndefinedBytesDecodeAsTheReplacementCharacter) {
  EXPECT_EQ(Decode(RTextCodec::Find("windows-1252"), Bytes({0x81})), u"\uFFFD");
  EXPECT_EQ(Decode(RTextCodec::Find("iso-8859-3"), Bytes({0xA5})), u"\uFFFD");
}

// ---------------------------------------------------------------------------------------------
// UTF-8 and UTF-16

TEST(RTextCodecUnicode, UTF8DecodesAsTheStringClassDoes) {
  const std::vector<std::string> inputs = {
      "plain",
      "h\xC3\xA9llo \xE2\x82\xAC",         // two- and three-byte characters
      "\xF0\x9F\x98\x80!",                 // a pair
      "a\x80z",                            // a stray continuation byte
      "cut \xE2\x82",                      // a sequence cut by the end
      "\xC3(",                             // a lead without its continuation
      "\xFF\xFE",                          // bytes that never start a sequence
  };
  const RTextCodec& utf8 = RTextCodec::Find("utf-8");
  for (const std::string& in : inputs) {
    EXPECT_EQ(Decode(utf8, in), RString::FromUTF8(in).ToU16()) << in;
  }
  EXPECT_EQ(Decode(utf8, "\xF0\x9F\x98\x80"), (std::u16string{0xD83D, 0xDE00}));
}

TEST(RTextCodecUnicode, UTF8EncodesPairsAsOneSequence) {
  const char16_t text[] = {u'\u00E9', 0xD83D, 0xDE00};
  EXPECT_EQ(RTextCodec::Default().Encode(RString(text, 3)), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(RTextCodec::Default().Encode("caf\xE9"), "caf\xC3\xA9");
}

TEST(RTextCodecUnicode, UTF16IsLittleEndianUnitByUnit) {
  const RTextCodec& utf16 = RTextCodec::Find("utf-16");
  const char16_t text[] = {u'A', u'\u20AC', 0xD83D, 0xDE00};
  const std::string bytes = utf16.Encode(RString(text, 4));
  EXPECT_EQ(bytes, Bytes({0x41, 0, 0xAC, 0x20, 0x3D, 0xD8, 0x00, 0xDE}));
  EXPECT_EQ(Decode(utf16, bytes), std::u16string(text, 4));
  // An odd last byte is no unit.
  EXPECT_EQ(Decode(utf16, bytes + "x"), std::u16string(text, 4));
}

// ---------------------------------------------------------------------------------------------
// Through a stream

// Bytes in memory, read in pieces no larger than `piece`, as a chain of decompressors may hand
// them out, so that characters get cut.
class RPieceStream : public RStream {
public:
  explicit RPieceStream(std::string bytes = {}, int64_t piece = 1 << 30) : bytes_(std::move(bytes)), piece_(piece) {}
  int64_t Read(void* out, int64_t count) override {
    const int64_t n = std::min({count, piece_, int64_t(bytes_.size()) - position_});
    std::memcpy(out, bytes_.data() + position_, size_t(n));
    position_ += n;
    return n;
  }

private:
  std::string bytes_;
  int64_t piece_;
  int64_t position_ = 0;
};

TEST(RTextCodecStream, ReadAllKeepsCharactersThatStraddleBlocks) {
  // Three-byte characters behind two ASCII bytes: a block of 4096 bytes ends inside one.
  std::string text = "xy";
  for (int i = 0; i < 5000; ++i) text += "\xE2\x82\xAC";
  for (int64_t piece : {int64_t(1) << 30, int64_t(4096), int64_t(1000)}) {
    RPieceStream in(text, piece);
    const std::u16string read = RTextCodec::Find("utf-8").ReadAll(in).ToU16();
    EXPECT_TRUE(read == RString::FromUTF8(text).ToU16()) << "read in pieces of " << piece;
  }
}

TEST(RTextCodecStream, UTF16WritesItsMarkerAndReadingRequiresIt) {
  const RTextCodec& utf16 = RTextCodec::Find("utf-16");
  RMemoryStream out;
  utf16.WriteMarker(out);
  utf16.Write(out, RString::FromUTF8("caf\xC3\xA9"));
  const std::string written(reinterpret_cast<const char*>(out.GetData()), size_t(out.GetSize()));
  EXPECT_EQ(written, Bytes({255, 254, 'c', 0, 'a', 0, 'f', 0, 0xE9, 0}));

  out.Seek(0);
  RMemoryStream& in = out;
  utf16.ReadMarker(in);
  EXPECT_EQ(utf16.ReadAll(in).ToUTF8(), "caf\xC3\xA9");

  for (const std::string& bad : {Bytes({254, 255, 'c', 0}), Bytes({255}), std::string()}) {
    RMemoryStream wrong(bad.data(), int64_t(bad.size()));
    try {
      utf16.ReadMarker(wrong);
      ADD_FAILURE() << "a missing marker was accepted";
    } catch (const RException& e) {
      EXPECT_EQ(e.GetMessage().ToUTF8(), "Invalid UTF8 header.");
    }
  }
  // Other codecs have no marker and consume nothing.
  RMemoryStream plain("ab", 2);
  RTextCodec::Find("utf-8").ReadMarker(plain);
  EXPECT_EQ(RTextCodec::Find("utf-8").ReadAll(plain).ToUTF8(), "ab");
}

TEST(RTextCodecStream, AReaderSwitchesCodecsInMidStream) {
  // A declaration in ASCII, then bytes in windows-1252: the look-ahead already taken from the
  // stream is decoded by the new codec.
  RPieceStream in("enc=\x80\xE9", 1);
  RTextReader reader(in, RTextCodec::Default());
  std::u16string head;
  char16_t unit;
  for (int i = 0; i < 4 && reader.ReadChar(unit); ++i) head += unit;
  EXPECT_EQ(head, u"enc=");
  reader.SetCodec(RTextCodec::Find("cp1252"));
  std::u16string tail;
  while (reader.ReadChar(unit)) tail += unit;
  EXPECT_EQ(tail, u"\u20AC\u00E9");
}

TEST(RTextCodecStream, AReaderHandsOutAPairInTwoUnits) {
  RMemoryStream in("\xF0\x9F\x98\x80z", 5);
  RTextReader reader(in, RTextCodec::Default());
  std::u16string units;
  char16_t unit;
  while (reader.ReadChar(unit)) units += unit;
  EXPECT_EQ(units, (std::u16string{0xD83D, 0xDE00, u'z'}));
}

}  // namespace
