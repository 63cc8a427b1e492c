#include "kernel/valuetext.h"

#include <charconv>
#include <cmath>

#include "base/format.h"

namespace RValueText {
namespace {

bool IsDigit(char16_t c) noexcept { return c >= '0' && c <= '9'; }

} // namespace

bool ReadNumber(const RString& text, double& value) {
  const int n = text.Length();
  int i = 0;
  while (i < n && (text[i] == ' ' || text[i] == '\t')) ++i;
  // Collected as ASCII for from_chars, which neither depends on the locale nor takes '+'.
  char buffer[80];
  int used = 0;
  if (i < n && (text[i] == '-' || text[i] == '+')) {
    if (text[i] == '-') buffer[used++] = '-';
    ++i;
  }
  int digits = 0;
  auto copyDigits = [&] {
    while (i < n && IsDigit(text[i])) {
      if (used < int(sizeof(buffer)) - 8) buffer[used++] = char(text[i]);
      ++digits;
      ++i;
    }
  };
  copyDigits();
  if (i < n && (text[i] == '.' || text[i] == ',')) {
    buffer[used++] = '.';
    ++i;
    copyDigits();
  }
  if (digits == 0) return false;
  // An exponent only counts when digits follow it: "5e" is 5 and a stray 'e'.
  if (i < n && (text[i] == 'e' || text[i] == 'E')) {
    int j = i + 1;
    char sign = 0;
    if (j < n && (text[j] == '-' || text[j] == '+')) sign = char(text[j++]);
    if (j < n && IsDigit(text[j])) {
      buffer[used++] = 'e';
      if (sign == '-') buffer[used++] = '-';
      int exponentDigits = 0;
      while (j < n && IsDigit(text[j])) {
        if (exponentDigits++ < 4) buffer[used++] = char(text[j]);
        ++j;
      }
    }
  }
  double parsed = 0.0;
  const auto result = std::from_chars(buffer, buffer + used, parsed);
  if (result.ec == std::errc::invalid_argument) return false;
  // Out of range means a huge exponent; from_chars leaves parsed alone then.
  if (result.ec == std::errc::result_out_of_range) parsed = buffer[0] == '-' ? -HUGE_VAL : HUGE_VAL;
  value = parsed;
  return true;
}

RString MillisecondCount(int64_t milliseconds, bool preferMilliseconds) {
  if (milliseconds == 0) return "0 s";
  if (milliseconds % 1000 == 0) return RFormat("{0} s") << milliseconds / 1000;
  if (preferMilliseconds) return RFormat("{0}ms") << milliseconds;
  // Three decimals at most; cut trailing zeros, then show the decimal point as a comma.
  const int64_t magnitude = milliseconds < 0 ? -milliseconds : milliseconds;
  int64_t fraction = magnitude % 1000;
  int decimals = 3;
  while (fraction % 10 == 0) {
    fraction /= 10;
    --decimals;
  }
  RString padded = RFormat("{0}") << fraction;
  while (padded.Length() < decimals) padded = RString("0") + padded;
  RString text = milliseconds < 0 ? RString("-") : RString();
  text += RFormat("{0},{1} s") << magnitude / 1000 << padded;
  return text;
}

} // namespace RValueText
