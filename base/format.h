#pragma once
// The template language in which every message and value display is composed.
//
//   RString s = RFormat("{0.2} dB") << gain;           // "-6.02 dB"
//   RString t = RFormat("{1} {0}") << "a" << "b";       // "b a"
//
// A template is compiled once into argument records (position in the output, flags, width,
// pad, precision, tie rank); arguments are then fed in index order 0, 1, 2, ... and each is
// inserted at its record's position, moving the later records along. RFormatScan reads text
// back by the same templates.

#include <cstdint>
#include <type_traits>

#include "base/string.h"

class RFormat {
public:
  static constexpr int kMaxArguments = 32;

  explicit RFormat(const RString& templateText);

  RFormat& operator<<(const RString& value);
  template <size_t N>
  RFormat& operator<<(const char (&literal)[N]) { return *this << RString(literal); }
  RFormat& operator<<(int64_t value);
  RFormat& operator<<(uint64_t value);
  // Every other integer type (int, long long, size_t, ...) by its signedness. Character
  // types are left out on purpose: a unit is text, and text goes in as an RString.
  template <typename T>
    requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, int64_t> &&
             !std::is_same_v<T, uint64_t> && !std::is_same_v<T, char> && !std::is_same_v<T, char16_t> &&
             !std::is_same_v<T, char32_t> && !std::is_same_v<T, wchar_t> && !std::is_same_v<T, char8_t>)
  RFormat& operator<<(T value) {
    if constexpr (std::is_signed_v<T>) return *this << int64_t(value);
    else return *this << uint64_t(value);
  }
  RFormat& operator<<(double value);
  RFormat& operator<<(float value) { return *this << double(value); }

  const RString& Text() const noexcept { return output_; }
  operator RString() const { return output_; }

private:
  struct Argument {
    int32_t position = -1;
    uint8_t flags = 0;  // kHex, kPlus
    uint8_t width = 0;
    uint8_t pad = ' ';
    uint8_t precision = 4;
    int32_t tieRank = 0;
  };
  void Insert(const RString& text);
  Argument args_[kMaxArguments];
  RString output_;
  int highest_ = 0;  // highest argument index seen plus one
  int next_ = 0;     // index of the next argument to feed
};

class RFormatScan {
public:
  static constexpr int kMaxFields = 32;

  RFormatScan(const RString& templateText, const RString& input);

  RFormatScan& operator>>(int8_t& target);
  RFormatScan& operator>>(int16_t& target);
  RFormatScan& operator>>(int32_t& target);
  RFormatScan& operator>>(int64_t& target);
  RFormatScan& operator>>(double& target);
  RFormatScan& operator>>(RString& target);

  // Number of fields the input held (placeholders matched).
  int FieldCount() const noexcept { return found_; }

private:
  struct Field {
    RString text;
    uint8_t flags = 0;
  };
  bool NextField(Field*& field);
  int64_t ReadInteger(const Field& field) const;
  Field fields_[kMaxFields];
  int found_ = 0;
  int next_ = 0;
};

// Number formatting rules shared by the whole system.
namespace RNumberText {
// p = 0: rounded to even integer; 1..9: fixed with p decimals, |v| < 1e-6 printed as 0;
// 10 and above: general notation with p significant digits.
RString DoubleToText(double value, int precision);
// Commas are taken as decimal points; unreadable text gives 0.
double TextToDouble(const RString& text);
// Optional '-', then decimal (or hexadecimal) digits up to the first other character.
int64_t TextToInteger(const RString& text, bool hexadecimal = false);
// A pair "a,b", or "a;b" when the first reading finds fewer than two fields. Targets keep
// their values when the text lacks them. Returns the number of fields read.
int ReadPair(const RString& text, double& first, double& second);
int ReadPair(const RString& text, int32_t& first, int32_t& second);
} // namespace RNumberText
