#pragma once
// Dates and times as stored in settings and preset backups, their text forms and their day
// numbers. Text goes through the template language:
//   date "2024-02-29", time "07:05:09" or "07:05:09.250", date and time "2024-02-29 07:05:09".
// Values are held as given: "2024-02-30" is not corrected or refused.

#include <cstdint>

#include "base/string.h"

struct RDate {
  uint16_t year = 1980;
  uint8_t month = 1;
  uint8_t day = 1;

  // "{0:04}-{1:02}-{2:02}"
  RString ToText() const;
  // Fields missing from the text keep 1980-01-01.
  static RDate FromText(const RString& text);

  bool operator==(const RDate&) const = default;
};

struct RTime {
  uint8_t hours = 0;
  uint8_t minutes = 0;
  uint8_t seconds = 0;
  uint32_t microseconds = 0;  // fraction of the second

  // "{0:02}:{1:02}:{2:02}", or with the milliseconds of the fraction "{0:02}:{1:02}:{2:02}.{3}".
  RString ToText(bool withMilliseconds = false) const;
  // Fields missing from the text keep zero; a fraction is read as milliseconds.
  static RTime FromText(const RString& text);

  bool operator==(const RTime&) const = default;
};

struct RDateTime {
  RTime time;
  RDate date;

  static constexpr int64_t kMicrosecondsPerDay = 86400000000LL;

  // Date text, one blank, time text without the fraction.
  RString ToText() const;
  // Trimmed, then split at the first blank; throws "Invalid datetime format." without one.
  static RDateTime FromText(const RString& text);

  // Microseconds since 0001-01-01 00:00:00. A month above 12 counts as 12.
  int64_t ToMicroseconds() const noexcept;
  // The reverse takes SECONDS from the same origin, not microseconds, and leaves the
  // fraction 0: callers divide a microsecond count by 1000000 first.
  static RDateTime FromSeconds(int64_t seconds) noexcept;

  static bool IsLeapYear(int year) noexcept { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

  bool operator==(const RDateTime&) const = default;
};
