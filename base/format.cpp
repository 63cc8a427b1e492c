#include "base/format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/exception.h"

namespace {

constexpr uint8_t kHex = 1;
constexpr uint8_t kPlus = 2;

// Widest rendering: "%.99f" of 1e308 needs about 410 characters; integers need at most
// 20 digits, a sign and 99 pad characters.
constexpr int kNumberBufferSize = 512;

// What a placeholder says, as read from the template.
struct Placeholder {
  int index = 0;
  uint8_t flags = 0;
  uint8_t width = 0;
  uint8_t pad = ' ';
  uint8_t precision = 4;
};

bool IsDigit(char16_t c) noexcept { return c >= '0' && c <= '9'; }

// An optional '-' and decimal digits, at most maxChars characters in all. Only what was
// read as a number is consumed; with no digits nothing is consumed and the result is 0.
int ReadSmallNumber(const RString& text, int& i, int maxChars) {
  const int end = std::min(text.Length(), i + maxChars);
  int j = i;
  bool negative = false;
  if (j < end && text[j] == '-') {
    negative = true;
    ++j;
  }
  const int digitsStart = j;
  int value = 0;
  while (j < end && IsDigit(text[j])) value = value * 10 + (text[j++] - '0');
  if (j == digitsStart) return 0;
  i = j;
  return negative ? -value : value;
}

uint8_t ClampField(int value) noexcept { return uint8_t(std::clamp(value, 0, 255)); }

// Parses a placeholder from just behind its '{' up to and including its '}'; returns the
// index behind the '}'. Shared by writing and reading so that both see the same templates.
int ParsePlaceholder(const RString& text, int i, Placeholder& out) {
  const int length = text.Length();
  out = Placeholder();
  out.index = ReadSmallNumber(text, i, 3);
  for (;;) {
    if (i >= length) throw RException("Formatting string ends in an argument specification.");
    const char16_t c = text[i++];
    switch (c) {
    case '}':
      return i;
    case 'x':
      out.flags |= kHex;
      break;
    case '+':
      out.flags |= kPlus;
      break;
    case '.':
      out.precision = ClampField(ReadSmallNumber(text, i, 2));
      break;
    case '0':
    case ' ':
      out.pad = uint8_t(c);
      out.width = ClampField(ReadSmallNumber(text, i, 2));
      break;
    default:
      break;  // separators such as ':' and ';' carry no meaning
    }
  }
}

// Digits of a magnitude, padded to the width, with the sign in front of the padding.
int WriteInteger(char* out, uint64_t magnitude, char sign, bool hex, int width, char pad) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  const unsigned base = hex ? 16 : 10;
  char reversed[24];
  int count = 0;
  do {
    reversed[count++] = kDigits[magnitude % base];
    magnitude /= base;
  } while (magnitude != 0);
  int n = 0;
  if (sign) out[n++] = sign;
  for (int i = count; i < width; ++i) out[n++] = pad;
  while (count > 0) out[n++] = reversed[--count];
  return n;
}

int WriteDouble(char* out, int capacity, double value, int precision) {
  char* const end = out + capacity;
  if (precision <= 0) {
    // Ties to even: the default rounding mode of nearbyint.
    const double rounded = std::nearbyint(value);
    if (std::fabs(rounded) < 9.2e18) {
      const int64_t integer = int64_t(rounded);
      return int(std::to_chars(out, end, integer).ptr - out);
    }
    return int(std::to_chars(out, end, rounded, std::chars_format::fixed, 0).ptr - out);
  }
  if (precision < 10) {
    // Keeps "-0.00" and rounding residue of tiny values out of displays.
    if (std::fabs(value) < 1e-6) value = 0.0;
    return int(std::to_chars(out, end, value, std::chars_format::fixed, precision).ptr - out);
  }
  return int(std::to_chars(out, end, value, std::chars_format::general, precision).ptr - out);
}

// Field text as 8-bit; fields hold numbers, so anything beyond Latin-1 only has to fail to parse.
std::string ToNarrow(const RString& text) {
  std::string s(size_t(text.Length()), '\0');
  for (int i = 0; i < text.Length(); ++i) {
    const char16_t c = text[i];
    s[size_t(i)] = c < 256 ? char(c) : '?';
  }
  return s;
}

} // namespace

// ---------------------------------------------------------------------------------------------
// RFormat

RFormat::RFormat(const RString& templateText) {
  const RString& t = templateText;
  const int length = t.Length();
  char16_t staging[255];
  int staged = 0;
  auto flush = [&] {
    if (staged > 0) output_.Append(staging, staged);
    staged = 0;
  };
  auto put = [&](char16_t c) {
    if (staged == int(std::size(staging))) flush();
    staging[staged++] = c;
  };

  int i = 0;
  while (i < length) {
    const char16_t c = t[i];
    if (c == '{') {
      if (i + 1 < length && t[i + 1] == '{') {
        put('{');
        i += 2;
        continue;
      }
      Placeholder p;
      i = ParsePlaceholder(t, i + 1, p);
      if (p.index < 0 || p.index >= kMaxArguments) continue;  // no record to hold it
      flush();
      Argument& a = args_[p.index];
      a = Argument();
      a.position = output_.Length();
      a.flags = p.flags;
      a.width = p.width;
      a.pad = p.pad;
      a.precision = p.precision;
      highest_ = std::max(highest_, p.index + 1);
      for (int k = 0; k < highest_; ++k)
        if (k != p.index && args_[k].position == a.position) ++a.tieRank;
      continue;
    }
    if (c == '}') {
      // "}}" is a literal brace; a lone '}' is dropped and the next character taken as it is.
      if (i + 1 < length) put(t[i + 1]);
      i += 2;
      continue;
    }
    put(c);
    ++i;
  }
  flush();
}

void RFormat::Insert(const RString& text) {
  if (next_ >= kMaxArguments) return;
  const int index = next_++;
  const Argument& a = args_[index];
  const int added = text.Length();
  if (a.position < 0 || added == 0) return;  // an index the template never named
  const int length = output_.Length();
  const int at = std::min(a.position, length);
  char16_t* d = output_.Reserve(length + added);
  std::memmove(d + at + added, d + at, sizeof(char16_t) * size_t(length - at));
  for (int i = 0; i < added; ++i) d[at + i] = text[i];
  output_.SetLength(length + added);
  for (int k = index + 1; k < highest_; ++k) {
    Argument& later = args_[k];
    if (later.position > a.position || (later.position == a.position && later.tieRank > a.tieRank))
      later.position += added;
  }
}

RFormat& RFormat::operator<<(const RString& value) {
  Insert(value);
  return *this;
}

RFormat& RFormat::operator<<(int64_t value) {
  if (next_ >= kMaxArguments) return *this;
  const Argument& a = args_[next_];
  const uint64_t magnitude = value < 0 ? uint64_t(0) - uint64_t(value) : uint64_t(value);
  const char sign = value < 0 ? '-' : ((a.flags & kPlus) && value > 0 ? '+' : '\0');
  char buffer[kNumberBufferSize];
  const int n = WriteInteger(buffer, magnitude, sign, a.flags & kHex, a.width, char(a.pad));
  Insert(RString(buffer, n));
  return *this;
}

RFormat& RFormat::operator<<(uint64_t value) {
  if (next_ >= kMaxArguments) return *this;
  const Argument& a = args_[next_];
  const char sign = (a.flags & kPlus) && value != 0 ? '+' : '\0';
  char buffer[kNumberBufferSize];
  const int n = WriteInteger(buffer, value, sign, a.flags & kHex, a.width, char(a.pad));
  Insert(RString(buffer, n));
  return *this;
}

RFormat& RFormat::operator<<(double value) {
  if (next_ >= kMaxArguments) return *this;
  const Argument& a = args_[next_];
  char buffer[kNumberBufferSize];
  int n = 0;
  if ((a.flags & kPlus) && value > 1e-10) buffer[n++] = '+';
  n += WriteDouble(buffer + n, kNumberBufferSize - n, value, a.precision);
  Insert(RString(buffer, n));
  return *this;
}

// ---------------------------------------------------------------------------------------------
// RFormatScan

RFormatScan::RFormatScan(const RString& templateText, const RString& input) {
  const RString& t = templateText;
  const RString& s = input;
  const int tn = t.Length();
  const int sn = s.Length();
  int ti = 0;
  int si = 0;
  while (ti < tn && si < sn) {
    char16_t c = t[ti];
    if (c == '{' && ti + 1 < tn && t[ti + 1] == '{') {
      if (s[si] != '{') break;
      ti += 2;
      ++si;
      continue;
    }
    if (c == '{') {
      Placeholder p;
      ti = ParsePlaceholder(t, ti + 1, p);
      const int start = si;
      if (ti >= tn) {
        si = sn;  // the last field takes the rest of the input
      } else {
        const char16_t stop = t[ti];
        if (stop <= 32) {
          while (si < sn && s[si] > 32) ++si;
        } else {
          while (si < sn && s[si] != stop) ++si;
        }
      }
      if (p.index >= 0 && p.index < kMaxFields) {
        fields_[p.index].text = s.Mid(start, si - start);
        fields_[p.index].flags = p.flags;
      }
      ++found_;
      continue;
    }
    if (c == '}') {
      // As when writing: "}}" stands for '}', a lone '}' for the character behind it.
      if (ti + 1 >= tn) break;
      c = t[++ti];
    }
    if (c > 32) {
      if (s[si] != c) break;
      ++ti;
      ++si;
      continue;
    }
    if (s[si] > 32) break;
    while (ti < tn && t[ti] <= 32) ++ti;
    while (si < sn && s[si] <= 32) ++si;
  }
}

bool RFormatScan::NextField(Field*& field) {
  if (next_ >= found_ || next_ >= kMaxFields) return false;
  field = &fields_[next_++];
  return true;
}

int64_t RFormatScan::ReadInteger(const Field& field) const {
  return RNumberText::TextToInteger(field.text, (field.flags & kHex) != 0);
}

RFormatScan& RFormatScan::operator>>(int8_t& target) {
  Field* f;
  if (NextField(f)) target = int8_t(ReadInteger(*f));
  return *this;
}

RFormatScan& RFormatScan::operator>>(int16_t& target) {
  Field* f;
  if (NextField(f)) target = int16_t(ReadInteger(*f));
  return *this;
}

RFormatScan& RFormatScan::operator>>(int32_t& target) {
  Field* f;
  if (NextField(f)) target = int32_t(ReadInteger(*f));
  return *this;
}

RFormatScan& RFormatScan::operator>>(int64_t& target) {
  Field* f;
  if (NextField(f)) target = ReadInteger(*f);
  return *this;
}

RFormatScan& RFormatScan::operator>>(double& target) {
  Field* f;
  if (NextField(f)) target = RNumberText::TextToDouble(f->text);
  return *this;
}

RFormatScan& RFormatScan::operator>>(RString& target) {
  Field* f;
  if (NextField(f)) target = f->text;
  return *this;
}

// ---------------------------------------------------------------------------------------------
// RNumberText

namespace RNumberText {

RString DoubleToText(double value, int precision) {
  char buffer[kNumberBufferSize];
  const int n = WriteDouble(buffer, kNumberBufferSize, value, std::clamp(precision, 0, 99));
  return RString(buffer, n);
}

double TextToDouble(const RString& text) {
  std::string s = ToNarrow(text);
  std::replace(s.begin(), s.end(), ',', '.');
  // The standard reading without the process locale: leading white space and a '+' are
  // allowed, the longest readable prefix counts, and nothing readable gives 0.
  const char* first = s.data();
  const char* const last = s.data() + s.size();
  while (first < last && (*first == ' ' || (*first >= '\t' && *first <= '\r'))) ++first;
  if (first < last && *first == '+' && first + 1 < last && *(first + 1) != '-') ++first;
  double value = 0.0;
  const auto result = std::from_chars(first, last, value);
  if (result.ec == std::errc::result_out_of_range) return std::strtod(first, nullptr);
  if (result.ec != std::errc()) return 0.0;
  return value;
}

int64_t TextToInteger(const RString& text, bool hexadecimal) {
  const int n = text.Length();
  int i = 0;
  bool negative = false;
  if (i < n && text[i] == '-') {
    negative = true;
    ++i;
  }
  // Unsigned arithmetic: an overlong number wraps instead of overflowing.
  uint64_t value = 0;
  for (; i < n; ++i) {
    const char16_t c = text[i];
    unsigned digit;
    if (IsDigit(c)) digit = c - '0';
    else if (hexadecimal && c >= 'a' && c <= 'f') digit = c - 'a' + 10;
    else if (hexadecimal && c >= 'A' && c <= 'F') digit = c - 'A' + 10;
    else break;
    value = value * (hexadecimal ? 16 : 10) + digit;
  }
  return int64_t(negative ? uint64_t(0) - value : value);
}

namespace {
template <typename T>
int ReadPairInto(const RString& text, T& first, T& second) {
  RFormatScan comma("{0},{1}", text);
  if (comma.FieldCount() >= 2) {
    comma >> first >> second;
    return 2;
  }
  RFormatScan semicolon("{0};{1}", text);
  semicolon >> first >> second;
  return std::min(semicolon.FieldCount(), 2);
}
} // namespace

int ReadPair(const RString& text, double& first, double& second) { return ReadPairInto(text, first, second); }
int ReadPair(const RString& text, int32_t& first, int32_t& second) { return ReadPairInto(text, first, second); }

} // namespace RNumberText
