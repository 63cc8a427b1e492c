#include "base/datetime.h"

#include <algorithm>

#include "base/exception.h"
#include "base/format.h"

namespace {

constexpr int kDaysBeforeMonth[2][12] = {
    {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334},
    {0, 31, 60, 91, 121, 152, 182, 213, 244, 274, 305, 335},
};

constexpr int64_t kSecondsPerDay = 86400;
constexpr int64_t kDaysPer400Years = 146097;
constexpr int64_t kDaysPer100Years = 36524;
constexpr int64_t kDaysPer4Years = 1461;

// Index of the first blank, or -1.
int FindBlank(const RString& text) {
  for (int i = 0; i < text.Length(); ++i)
    if (text[i] == ' ') return i;
  return -1;
}

} // namespace

RString RDate::ToText() const {
  return RFormat("{0:04}-{1:02}-{2:02}") << uint32_t(year) << uint32_t(month) << uint32_t(day);
}

RDate RDate::FromText(const RString& text) {
  RDate d;
  int32_t year = d.year, month = d.month, day = d.day;
  RFormatScan("{0:04}-{1:02}-{2:02}", text) >> year >> month >> day;
  d.year = uint16_t(year);
  d.month = uint8_t(month);
  d.day = uint8_t(day);
  return d;
}

RString RTime::ToText(bool withMilliseconds) const {
  if (withMilliseconds)
    return RFormat("{0:02}:{1:02}:{2:02}.{3}") << uint32_t(hours) << uint32_t(minutes) << uint32_t(seconds)
                                               << uint32_t(microseconds / 1000);
  return RFormat("{0:02}:{1:02}:{2:02}") << uint32_t(hours) << uint32_t(minutes) << uint32_t(seconds);
}

RTime RTime::FromText(const RString& text) {
  int32_t h = 0, m = 0, s = 0, ms = 0;
  RFormatScan("{0:02}:{1:02}:{2:02}.{3}", text) >> h >> m >> s >> ms;
  RTime t;
  t.hours = uint8_t(h);
  t.minutes = uint8_t(m);
  t.seconds = uint8_t(s);
  t.microseconds = uint32_t(ms) * 1000u;
  return t;
}

RString RDateTime::ToText() const {
  RString text = date.ToText();
  text += ' ';
  text += time.ToText(false);
  return text;
}

RDateTime RDateTime::FromText(const RString& text) {
  RString trimmed = text;
  trimmed.Trim();
  const int blank = FindBlank(trimmed);
  if (blank < 0) throw RException("Invalid datetime format.");
  RString datePart = trimmed.Left(blank);
  RString timePart = trimmed.Mid(blank + 1);
  RDateTime result;
  result.date = RDate::FromText(datePart.Trim());
  result.time = RTime::FromText(timePart.Trim());
  return result;
}

int64_t RDateTime::ToMicroseconds() const noexcept {
  const int64_t y = int64_t(date.year) - 1;
  const int month = std::clamp(int(date.month), 1, 12);
  const int64_t days = y * 365 + y / 4 - y / 100 + y / 400 +
                       kDaysBeforeMonth[IsLeapYear(date.year) ? 1 : 0][month - 1] + date.day;
  const int64_t secondOfDay = int64_t(time.hours) * 3600 + int64_t(time.minutes) * 60 + time.seconds;
  return (days - 1) * kMicrosecondsPerDay + secondOfDay * 1000000 + time.microseconds;
}

RDateTime RDateTime::FromSeconds(int64_t seconds) noexcept {
  // Before the origin there is no calendar of ours.
  if (seconds < 0) seconds = 0;
  int64_t day = seconds / kSecondsPerDay;  // 0 is 0001-01-01
  const int64_t secondOfDay = seconds % kSecondsPerDay;

  // Whole 400-, 100-, 4- and 1-year spans; the last span of each kind holds the leap day,
  // hence the caps at 3.
  const int64_t cycles = day / kDaysPer400Years;
  day %= kDaysPer400Years;
  const int64_t centuries = std::min<int64_t>(day / kDaysPer100Years, 3);
  day -= centuries * kDaysPer100Years;
  const int64_t quads = day / kDaysPer4Years;
  day -= quads * kDaysPer4Years;
  const int64_t years = std::min<int64_t>(day / 365, 3);
  day -= years * 365;
  const int64_t year = cycles * 400 + centuries * 100 + quads * 4 + years + 1;

  // Leap years repeat with a period of 400, and the year may be beyond what int holds.
  const int* before = kDaysBeforeMonth[IsLeapYear(int(year % 400)) ? 1 : 0];
  int month = 12;
  while (month > 1 && before[month - 1] > day) --month;

  RDateTime result;
  result.date.year = uint16_t(year);
  result.date.month = uint8_t(month);
  result.date.day = uint8_t(day - before[month - 1] + 1);
  result.time.hours = uint8_t(secondOfDay / 3600);
  result.time.minutes = uint8_t(secondOfDay / 60 % 60);
  result.time.seconds = uint8_t(secondOfDay % 60);
  result.time.microseconds = 0;
  return result;
}
