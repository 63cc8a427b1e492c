#include "base/textcodec.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

#include "base/exception.h"
#include "base/format.h"

namespace {

constexpr char16_t kReplacement = 0xFFFD;  // a byte a code page leaves undefined

// ---------------------------------------------------------------------------------------------
// UTF-8, decoded exactly as RString::FromUTF8 decodes it, so that a text reads the same
// whichever of the two takes it.

class RUTF8Codec final : public RTextCodec {
public:
  RUTF8Codec() noexcept : RTextCodec("utf-8") {}
  bool IsUTF8() const noexcept override { return true; }
  int MaxCharBytes() const noexcept override { return 4; }

  int DecodeChar(const uint8_t* s, int64_t n, int64_t& i, char16_t out[2]) const noexcept override {
    if (i >= n) return 0;
    const uint32_t c = s[i];
    int extra = c >= 0xF0 && c < 0xF8 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    if (c >= 0xF8) extra = 0;
    bool ok = extra > 0;
    uint32_t cp = c & (0x3Fu >> extra);
    for (int j = 1; ok && j <= extra; ++j) {
      if (i + j >= n || (s[i + j] & 0xC0) != 0x80) ok = false;
      else cp = (cp << 6) | (s[i + j] & 0x3Fu);
    }
    if (!ok) {
      out[0] = char16_t(c);
      ++i;
      return 1;
    }
    i += extra + 1;
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out[0] = char16_t(0xD800 + (cp >> 10));
      out[1] = char16_t(0xDC00 + (cp & 0x3FF));
      return 2;
    }
    out[0] = char16_t(cp);
    return 1;
  }

  void EncodeUnits(const char16_t* units, int count, std::string& out) const override {
    // The string class owns the rules for unpaired surrogates (dropped).
    out += RString(units, count).ToUTF8();
  }
};

// ---------------------------------------------------------------------------------------------
// UTF-16, little-endian. Units pass as they are, surrogates included; an odd last byte is
// dropped.

class RUTF16Codec final : public RTextCodec {
public:
  RUTF16Codec() noexcept : RTextCodec("utf-16") {}
  int MaxCharBytes() const noexcept override { return 2; }

  int DecodeChar(const uint8_t* s, int64_t n, int64_t& i, char16_t out[2]) const noexcept override {
    if (i + 1 >= n) {
      i = n;
      return 0;
    }
    out[0] = char16_t(s[i] | (s[i + 1] << 8));
    i += 2;
    return 1;
  }

  void EncodeUnits(const char16_t* units, int count, std::string& out) const override {
    out.reserve(out.size() + size_t(count) * 2);
    for (int k = 0; k < count; ++k) {
      out.push_back(char(units[k] & 0xFF));
      out.push_back(char(units[k] >> 8));
    }
  }

  bool HasMarker() const noexcept override { return true; }
};

// ---------------------------------------------------------------------------------------------
// Single-byte code pages: bytes below 128 are ASCII, the upper half comes from the table.

struct RCodePageData {
  const char* name;
  const char* aliases[16];
  char16_t upper[128];
};

constexpr RCodePageData kCodePages[] = {
#include "base/codepages.inc"
};

class RSingleByteCodec final : public RTextCodec {
public:
  explicit RSingleByteCodec(const RCodePageData& data) : RTextCodec(data.name), data_(data) {
    for (int b = 0; b < 128; ++b) {
      if (data.upper[b] != kReplacement) reverse_.push_back({data.upper[b], uint8_t(128 + b)});
    }
    std::sort(reverse_.begin(), reverse_.end(), [](const Pair& a, const Pair& b) { return a.unit < b.unit; });
  }

  int MaxCharBytes() const noexcept override { return 1; }

  bool Names(const RString& name) const noexcept {
    if (name == data_.name) return true;
    for (const char* const* a = data_.aliases; *a; ++a) {
      if (name == *a) return true;
    }
    return false;
  }

  int DecodeChar(const uint8_t* s, int64_t n, int64_t& i, char16_t out[2]) const noexcept override {
    if (i >= n) return 0;
    const uint8_t b = s[i++];
    out[0] = b < 128 ? char16_t(b) : data_.upper[b - 128];
    return 1;
  }

  void EncodeUnits(const char16_t* units, int count, std::string& out) const override {
    out.reserve(out.size() + size_t(count));
    for (int k = 0; k < count; ++k) {
      const char16_t u = units[k];
      if (u < 128) {
        out.push_back(char(u));
        continue;
      }
      // A pair stands for one character, which no single-byte page has.
      if (u >= 0xD800 && u < 0xDC00 && k + 1 < count && units[k + 1] >= 0xDC00 && units[k + 1] < 0xE000) ++k;
      const auto it = std::lower_bound(reverse_.begin(), reverse_.end(), u,
                                       [](const Pair& p, char16_t unit) { return p.unit < unit; });
      out.push_back(it != reverse_.end() && it->unit == u ? char(it->byte) : '?');
    }
  }

private:
  struct Pair {
    char16_t unit;
    uint8_t byte;
  };
  const RCodePageData& data_;
  std::vector<Pair> reverse_;  // sorted by unit, for encoding
};

// Built on first use, never torn down.
const std::vector<std::unique_ptr<RSingleByteCodec>>& CodePages() {
  static const auto* pages = [] {
    auto* list = new std::vector<std::unique_ptr<RSingleByteCodec>>;
    for (const RCodePageData& data : kCodePages) list->push_back(std::make_unique<RSingleByteCodec>(data));
    return list;
  }();
  return *pages;
}

const RUTF8Codec gUTF8;
const RUTF16Codec gUTF16;

}  // namespace

// ---------------------------------------------------------------------------------------------

const RTextCodec& RTextCodec::Default() noexcept { return gUTF8; }

const RTextCodec& RTextCodec::Find(const RString& name) {
  if (name.IsEmpty()) return Default();
  if (name == "utf8" || name == "utf-8") return gUTF8;
  if (name == "utf16" || name == "utf-16") return gUTF16;
  for (const auto& page : CodePages()) {
    if (page->Names(name)) return *page;
  }
  throw RException(RFormat("No codec found for encoding {0}.") << name);
}

std::u16string RTextCodec::Decode(const uint8_t* bytes, int64_t size) const {
  std::u16string out;
  out.reserve(size_t(size > 0 ? size : 0));
  char16_t units[2];
  int64_t i = 0;
  while (int k = DecodeChar(bytes, size, i, units)) out.append(units, size_t(k));
  return out;
}

RString RTextCodec::DecodeToString(const uint8_t* bytes, int64_t size) const {
  const std::u16string units = Decode(bytes, size);
  return RString(units.data(), int(units.size()));
}

std::string RTextCodec::Encode(const RString& text) const {
  std::string out;
  if (const char* narrow = text.Narrow()) {
    // A literal's bytes are Latin-1 units.
    std::u16string units(size_t(text.Length()), u'\0');
    for (int k = 0; k < text.Length(); ++k) units[size_t(k)] = char16_t(static_cast<unsigned char>(narrow[k]));
    EncodeUnits(units.data(), int(units.size()), out);
  } else {
    EncodeUnits(text.Wide(), text.Length(), out);
  }
  return out;
}
