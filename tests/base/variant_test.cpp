#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "base/exception.h"
#include "base/stream.h"
#include "base/variant.h"

namespace {

// Collects what a buffer read writes.
class RSink final : public RStream {
public:
  void Write(const void* bytes, int64_t count) override { data.append(static_cast<const char*>(bytes), size_t(count)); }
  std::string data;
};

std::string Bytes(std::initializer_list<int> values) {
  std::string s;
  for (int v : values) s.push_back(char(v));
  return s;
}

std::string Random(size_t size, unsigned seed) {
  std::mt19937 rng(seed);
  std::string s(size, '\0');
  for (char& c : s) c = char(rng() & 0xFF);
  return s;
}

RVariant Text(const char16_t* text) { return RVariant::FromText(RShortString(std::u16string_view(text))); }

RVariant Buffer(const std::string& bytes, bool compress = false) {
  RVariant v;
  v.SetBuffer(bytes.data(), int64_t(bytes.size()), compress);
  return v;
}

std::string Read(const RVariant& v, bool allowHex = false, bool compressed = false, int64_t limit = -1) {
  RSink sink;
  const int64_t n = v.ReadBuffer(sink, allowHex, compressed, limit);
  EXPECT_EQ(n, int64_t(sink.data.size()));
  return sink.data;
}

std::string Message(const RException& e) { return e.GetMessage().ToUTF8(); }

TEST(VariantConversions, BooleansFollowTheOneTable) {
  EXPECT_TRUE(RVariant::FromInt64(int64_t(1) << 40).ToBool());
  EXPECT_FALSE(RVariant::FromInt32(0).ToBool());
  EXPECT_TRUE(RVariant::FromDouble(1e-10).ToBool());
  EXPECT_TRUE(RVariant::FromDouble(-1e-10).ToBool());
  EXPECT_FALSE(RVariant::FromDouble(9.9e-11).ToBool());
  EXPECT_TRUE(RVariant::FromFloat(0.5f).ToBool());
  EXPECT_FALSE(RVariant::FromFloat(5e-11f).ToBool());
  // Text is read as an integer and only its low 8 bits count.
  EXPECT_FALSE(Text(u"256").ToBool());
  EXPECT_TRUE(Text(u"257").ToBool());
  EXPECT_TRUE(Text(u"-1").ToBool());
  EXPECT_FALSE(Text(u"true").ToBool());
  EXPECT_FALSE(Text(u"0.9").ToBool());
  EXPECT_FALSE(Buffer("\x01").ToBool());
}

TEST(VariantConversions, FloatsRoundToNearestWithTiesToEven) {
  EXPECT_EQ(RVariant::FromDouble(2.5).ToInt64(), 2);
  EXPECT_EQ(RVariant::FromDouble(3.5).ToInt64(), 4);
  EXPECT_EQ(RVariant::FromDouble(-2.5).ToInt64(), -2);
  EXPECT_EQ(RVariant::FromDouble(-3.5).ToInt32(), -4);
  EXPECT_EQ(RVariant::FromDouble(2.4999).ToInt32(), 2);
  EXPECT_EQ(RVariant::FromFloat(0.5f).ToInt16(), 0);
  EXPECT_EQ(RVariant::FromFloat(1.5f).ToInt8(), 2);
  EXPECT_EQ(RVariant::FromDouble(1e30).ToInt64(), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(RVariant::FromDouble(-1e30).ToInt64(), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(RVariant::FromDouble(std::numeric_limits<double>::quiet_NaN()).ToInt64(), 0);
}

TEST(VariantConversions, IntegersCastBetweenWidthsAndReadTextUpToTheFirstOtherCharacter) {
  EXPECT_EQ(RVariant::FromInt64(0x100000001ll).ToInt32(), 1);
  EXPECT_EQ(RVariant::FromInt32(300).ToInt8(), int8_t(44));
  EXPECT_EQ(RVariant::FromInt32(-5).ToInt64(), -5);
  EXPECT_EQ(Text(u"12abc").ToInt32(), 12);
  EXPECT_EQ(Text(u"-7 dB").ToInt64(), -7);
  EXPECT_EQ(Text(u"abc12").ToInt32(), 0);
  EXPECT_EQ(Text(u"").ToInt32(), 0);
  EXPECT_EQ(Text(u"3.9").ToInt32(), 3);
  EXPECT_EQ(Buffer("\x05").ToInt32(), 0);
}

TEST(VariantConversions, FloatsFromTextTakeCommasAsPoints) {
  EXPECT_DOUBLE_EQ(Text(u"1,5").ToDouble(), 1.5);
  EXPECT_DOUBLE_EQ(Text(u"-0.25").ToDouble(), -0.25);
  EXPECT_FLOAT_EQ(Text(u"2,75").ToFloat(), 2.75f);
  EXPECT_DOUBLE_EQ(Text(u"nothing").ToDouble(), 0.0);
  EXPECT_DOUBLE_EQ(RVariant::FromInt32(-3).ToDouble(), -3.0);
  EXPECT_DOUBLE_EQ(RVariant::FromFloat(0.125f).ToDouble(), 0.125);
  EXPECT_DOUBLE_EQ(Buffer("abc").ToDouble(), 0.0);
}

TEST(VariantConversions, TextOfNumbersUsesSixDecimalsForFloatsAndTwelveDigitsForDoubles) {
  EXPECT_EQ(RVariant::FromInt64(-9000000000ll).ToText().ToUTF8(), "-9000000000");
  EXPECT_EQ(RVariant::FromInt32(0).ToText().ToUTF8(), "0");
  EXPECT_EQ(RVariant::FromFloat(1.5f).ToText().ToUTF8(), "1.500000");
  EXPECT_EQ(RVariant::FromDouble(0.1).ToText().ToUTF8(), "0.1");
  EXPECT_EQ(RVariant::FromDouble(1.0 / 3.0).ToText().ToUTF8(), "0.333333333333");
  EXPECT_EQ(RVariant::FromDouble(1e20).ToText().ToUTF8(), "1e+20");
  EXPECT_EQ(Text(u"Feedback filter").ToText().ToUTF8(), "Feedback filter");
}

TEST(VariantValues, ANewVariantIsEmptyTextAndSettersSwitchTheType) {
  RVariant v;
  EXPECT_EQ(v.GetType(), RVariant::kText);
  EXPECT_TRUE(v.IsEmptyText());
  EXPECT_TRUE(v.IsEmpty());
  v.SetInt16(-3);
  EXPECT_EQ(v.GetType(), RVariant::kInt16);
  EXPECT_FALSE(v.IsEmpty());
  v.SetBuffer("ab", 2);
  EXPECT_EQ(v.GetType(), RVariant::kBuffer);
  v.SetText(RString("x"));
  EXPECT_EQ(v.GetType(), RVariant::kText);
  EXPECT_EQ(v.GetBuffer(), nullptr);
  v.SetBuffer("ab", 0, true);
  EXPECT_TRUE(v.IsEmptyText());
}

TEST(VariantValues, ACopyOwnsItsBytesAndAMoveLeavesEmptyText) {
  const std::string bytes = Random(1000, 7);
  RVariant copy;
  {
    RVariant original = Buffer(bytes);
    copy = original;
    EXPECT_NE(copy.GetBuffer()->data, original.GetBuffer()->data);
    RVariant moved(std::move(original));
    EXPECT_TRUE(original.IsEmptyText());
    EXPECT_EQ(Read(moved), bytes);
  }
  EXPECT_EQ(Read(copy), bytes);
  const RVariant& alias = copy;
  copy = alias;
  EXPECT_EQ(Read(copy), bytes);
}

TEST(VariantValues, AForeignBufferIsReferencedNotCopied) {
  static const char kBlob[] = "embedded bytes";
  RVariant v;
  v.SetForeignBuffer(kBlob, 14, false);
  EXPECT_TRUE(v.GetBuffer()->notOwned);
  EXPECT_EQ(v.GetBuffer()->data, reinterpret_cast<const uint8_t*>(kBlob));
  RVariant copy(v);
  EXPECT_TRUE(copy.GetBuffer()->notOwned);
  EXPECT_EQ(copy.GetBuffer()->data, reinterpret_cast<const uint8_t*>(kBlob));
  EXPECT_EQ(Read(copy), "embedded bytes");
}

TEST(VariantValues, ComparisonTreatsIntegerWidthsAlikeAndTextWithoutCase) {
  EXPECT_EQ(RVariant::FromInt32(100), RVariant::FromInt64(100));
  RVariant small;
  small.SetInt8(100);
  EXPECT_EQ(small, RVariant::FromInt32(100));
  EXPECT_LT(RVariant::FromInt32(-1).Compare(RVariant::FromInt32(1)), 0);
  EXPECT_GT(RVariant::FromDouble(2.0).Compare(RVariant::FromFloat(1.5f)), 0);
  EXPECT_EQ(Text(u"Linear"), Text(u"LINEAR"));
  EXPECT_FALSE(Text(u"Linear") == Text(u"Ugly"));
  EXPECT_FALSE(RVariant::FromInt32(5) == Text(u"5"));
  EXPECT_EQ(Buffer("abc"), Buffer("abc"));
  EXPECT_FALSE(Buffer("abc") == Buffer("abd"));
  EXPECT_FALSE(Buffer("abc") == Buffer("ab"));
}

TEST(VariantBuffers, TextIsBase64WithPlusAndMinusBehindADollar) {
  // FB FF gives the digits 62, 63 and 60: standard base-64 would print "+/8=".
  EXPECT_EQ(Buffer(Bytes({0xFB, 0xFF})).ToText().ToUTF8(), "$+-8=");
  EXPECT_EQ(Buffer("Man").ToText().ToUTF8(), "$TWFu");
  EXPECT_EQ(Buffer("M").ToText().ToUTF8(), "$TQ==");
  EXPECT_EQ(Buffer("Ma").ToText().ToUTF8(), "$TWE=");
  EXPECT_EQ(RVariant::EncodeBase64("", 0).ToUTF8(), "");
}

TEST(VariantBuffers, BuffersOfAwkwardSizesSurviveTheirText) {
  for (size_t size : {0u, 1u, 2u, 3u, 4u, 191u, 192u, 193u, 256u, 100000u}) {
    SCOPED_TRACE(size);
    const std::string bytes = Random(size, unsigned(size) + 11);
    const RString text = Buffer(bytes).ToText();
    if (size > 0) {
      EXPECT_EQ(text.Length(), int(1 + (size + 2) / 3 * 4));
      // One line: a stored '$' form is read back a line at a time.
      EXPECT_EQ(text.Find(u'\n'), -1);
    }
    RVariant back;
    back.SetText(text);
    EXPECT_EQ(Read(back), bytes);
  }
}

TEST(VariantBuffers, Base64ReadingSkipsLineFeedsAndStopsAtPaddingOrAStrangeCharacter) {
  EXPECT_EQ(Read(Text(u"$TW\nFu\n")), "Man");
  EXPECT_EQ(Read(Text(u"$TWFu=TWFu")), "Man");
  EXPECT_EQ(Read(Text(u"$TWFu*TWFu")), "Man");
  EXPECT_EQ(Read(Text(u"$TWFu/TWFu")), "Man");
  EXPECT_EQ(Read(Text(u"$+-8=")), Bytes({0xFB, 0xFF}));
}

TEST(VariantBuffers, CompressedBuffersHoldDeflatedBytesAndReadBackPlain) {
  std::string bytes;
  for (int i = 0; i < 20000; ++i) bytes += char('a' + i % 7);
  bytes += Random(5000, 3);
  const RVariant packed = Buffer(bytes, true);
  ASSERT_EQ(packed.GetType(), RVariant::kBuffer);
  EXPECT_TRUE(packed.IsCompressed());
  EXPECT_LT(packed.GetBuffer()->size, int64_t(bytes.size()) / 2);
  // A zlib header: deflate method, and a check value over the first two bytes.
  const uint8_t* head = packed.GetBuffer()->data;
  EXPECT_EQ(head[0] & 0x0F, 8);
  EXPECT_EQ((head[0] * 256 + head[1]) % 31, 0);
  EXPECT_EQ(Read(packed), bytes);
  EXPECT_EQ(Read(packed, false, false, 100), bytes.substr(0, 100));
  // Its text is the compressed bytes; the reader of that text says that they are compressed.
  RVariant asText;
  asText.SetText(packed.ToText());
  EXPECT_EQ(Read(asText, false, true), bytes);
  EXPECT_NE(Read(asText, false, false), bytes);
  RVariant raw;
  raw.SetRawBuffer(packed.GetBuffer()->data, packed.GetBuffer()->size, true);
  EXPECT_EQ(Read(raw), bytes);
}

TEST(VariantBuffers, HexadecimalTextIsReadOnlyWhenAllowedAndFailsOnABadDigit) {
  EXPECT_EQ(Read(Text(u"00FFa07f"), true), Bytes({0x00, 0xFF, 0xA0, 0x7F}));
  // With hexadecimal allowed, a '$' still selects base-64.
  EXPECT_EQ(Read(Text(u"$TWFu"), true), "Man");
  try {
    Read(Text(u"0G"), true);
    FAIL() << "a bad digit went through";
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "Invalid character to be converted to a number.");
  }
  EXPECT_THROW(Read(Text(u"12 4"), true), RException);
}

TEST(VariantBuffers, ReadingANumberAsABufferFailsAndEmptyValuesGiveNothing) {
  try {
    Read(RVariant::FromDouble(1.0));
    FAIL() << "a number read as a buffer";
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "Not a buffer variant.");
  }
  EXPECT_EQ(Read(RVariant()), "");
  EXPECT_EQ(Read(RVariant(), true, true), "");
  EXPECT_EQ(Read(Buffer("abcdef"), false, false, 4), "abcd");
}

TEST(VariantBuffers, ReadingIntoABlockFillsDemandsOrZeroesItByMode) {
  using Mode = RVariant::BlockMode;
  const RVariant five = Buffer("12345");
  char block[8];
  std::memset(block, '#', sizeof block);
  EXPECT_EQ(five.ReadBufferInto(block, 5, Mode::kRequireFull), 5);
  EXPECT_EQ(std::string(block, 6), "12345#");

  try {
    five.ReadBufferInto(block, 8, Mode::kRequireFull);
    FAIL() << "a short value filled a full block";
  } catch (const RException& e) {
    EXPECT_EQ(Message(e), "Value doesn't have correct format.");
  }
  EXPECT_THROW(RVariant().ReadBufferInto(block, 8, Mode::kRequireFull), RException);

  std::memset(block, '#', sizeof block);
  EXPECT_EQ(five.ReadBufferInto(block, 8, Mode::kPartial), 5);
  EXPECT_EQ(std::string(block, 8), "12345###");

  // A block smaller than the value takes only what fits.
  std::memset(block, '#', sizeof block);
  EXPECT_EQ(five.ReadBufferInto(block, 3, Mode::kPartial), 3);
  EXPECT_EQ(std::string(block, 4), "123#");

  std::memset(block, '#', sizeof block);
  EXPECT_EQ(RVariant().ReadBufferInto(block, 8, Mode::kZeroFillWhenEmpty), 0);
  EXPECT_EQ(std::string(block, 8), std::string(8, '\0'));
  EXPECT_THROW(five.ReadBufferInto(block, 8, Mode::kZeroFillWhenEmpty), RException);

  const RVariant hex = Text(u"0102");
  uint8_t two[2] = {0, 0};
  hex.ReadBufferInto(two, 2, Mode::kRequireFull, true);
  EXPECT_EQ(two[0], 1);
  EXPECT_EQ(two[1], 2);
}

} // namespace
