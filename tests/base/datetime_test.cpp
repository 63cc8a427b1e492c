#include "base/datetime.h"

#include <gtest/gtest.h>

#include <string>

#include "base/exception.h"

namespace {

RDateTime Make(int year, int month, int day, int h, int m, int s, uint32_t us = 0) {
  RDateTime dt;
  dt.date = RDate{uint16_t(year), uint8_t(month), uint8_t(day)};
  dt.time = RTime{uint8_t(h), uint8_t(m), uint8_t(s), us};
  return dt;
}

TEST(RDateTimeText, DefaultsAreTheStartOf1980AndMidnight) {
  RDateTime dt;
  EXPECT_EQ(dt.ToText().ToUTF8(), "1980-01-01 00:00:00");
}

TEST(RDateTimeText, FieldsArePaddedAndTheFractionLeftOut) {
  RDateTime dt = Make(987, 3, 4, 5, 6, 7, 250000);
  EXPECT_EQ(dt.ToText().ToUTF8(), "0987-03-04 05:06:07");
  EXPECT_EQ(dt.time.ToText(true).ToUTF8(), "05:06:07.250");
  EXPECT_EQ(dt.time.ToText(false).ToUTF8(), "05:06:07");
  EXPECT_EQ(Make(2024, 12, 31, 23, 59, 59).date.ToText().ToUTF8(), "2024-12-31");
}

TEST(RDateTimeText, TextWithoutABlankFails) {
  try {
    RDateTime::FromText("2024-02-29T10:00:00");
    FAIL() << "no exception";
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage().ToUTF8(), "Invalid datetime format.");
  }
  // Surrounding blanks are trimmed first, so they don't count as the separator.
  EXPECT_THROW(RDateTime::FromText("  2024-02-29  "), RException);
}

TEST(RDateTimeText, AnImpossibleDateIsHeldAsGiven) {
  RDateTime dt = RDateTime::FromText("2024-02-30 00:00:00");
  EXPECT_EQ(dt, Make(2024, 2, 30, 0, 0, 0));
  EXPECT_EQ(dt.ToText().ToUTF8(), "2024-02-30 00:00:00");
}

TEST(RDateTimeText, ReadingRoundTripsAndTrims) {
  RDateTime dt = Make(2023, 11, 5, 17, 42, 3);
  EXPECT_EQ(RDateTime::FromText(dt.ToText()), dt);
  EXPECT_EQ(RDateTime::FromText("  2023-11-05   17:42:03 \t"), dt);
}

TEST(RDateTimeText, MissingFieldsKeepTheirDefaults) {
  RDateTime dt = RDateTime::FromText("2001-07 9");
  EXPECT_EQ(dt, Make(2001, 7, 1, 9, 0, 0));
  EXPECT_EQ(RTime::FromText("01:02:03.5"), (RTime{1, 2, 3, 5000}));
  EXPECT_EQ(RDate::FromText(""), RDate());
}

TEST(RDateTimeDayNumbers, TheOriginIsTheFirstDayOfYearOne) {
  EXPECT_EQ(Make(1, 1, 1, 0, 0, 0).ToMicroseconds(), 0);
  EXPECT_EQ(Make(1, 1, 2, 0, 0, 1, 7).ToMicroseconds(), RDateTime::kMicrosecondsPerDay + 1000007);
  EXPECT_EQ(RDateTime::FromSeconds(0), Make(1, 1, 1, 0, 0, 0));
}

TEST(RDateTimeDayNumbers, LeapDaysFollowTheGregorianRule) {
  const int64_t day = RDateTime::kMicrosecondsPerDay;
  // 2000 is a leap year (divisible by 400), 1900 is not (divisible by 100).
  EXPECT_EQ(Make(2000, 3, 1, 0, 0, 0).ToMicroseconds() - Make(2000, 2, 28, 0, 0, 0).ToMicroseconds(), 2 * day);
  EXPECT_EQ(Make(1900, 3, 1, 0, 0, 0).ToMicroseconds() - Make(1900, 2, 28, 0, 0, 0).ToMicroseconds(), day);
  EXPECT_EQ(Make(2024, 1, 1, 0, 0, 0).ToMicroseconds() - Make(2023, 1, 1, 0, 0, 0).ToMicroseconds(), 365 * day);
  EXPECT_EQ(Make(2025, 1, 1, 0, 0, 0).ToMicroseconds() - Make(2024, 1, 1, 0, 0, 0).ToMicroseconds(), 366 * day);
}

TEST(RDateTimeDayNumbers, UnixEpochLiesAtItsKnownDayCount) {
  // 719162 days separate 0001-01-01 from 1970-01-01 in the proleptic Gregorian calendar.
  EXPECT_EQ(Make(1970, 1, 1, 0, 0, 0).ToMicroseconds(), 719162 * RDateTime::kMicrosecondsPerDay);
}

TEST(RDateTimeDayNumbers, AMonthAboveTwelveCountsAsDecember) {
  EXPECT_EQ(Make(2021, 13, 5, 0, 0, 0).ToMicroseconds(), Make(2021, 12, 5, 0, 0, 0).ToMicroseconds());
}

TEST(RDateTimeDayNumbers, TheReverseTakesSecondsAndDropsTheFraction) {
  const RDateTime samples[] = {
      Make(1980, 1, 1, 0, 0, 0),        Make(2000, 2, 29, 12, 30, 45), Make(1900, 2, 28, 23, 59, 59),
      Make(1900, 3, 1, 0, 0, 0),        Make(2024, 12, 31, 23, 59, 59), Make(2100, 3, 1, 1, 2, 3),
      Make(1600, 12, 31, 6, 0, 0),      Make(9999, 12, 31, 23, 59, 59), Make(4, 2, 29, 0, 0, 1),
  };
  for (const RDateTime& dt : samples) {
    RDateTime withFraction = dt;
    withFraction.time.microseconds = 999999;
    const RDateTime back = RDateTime::FromSeconds(withFraction.ToMicroseconds() / 1000000);
    EXPECT_EQ(back, dt) << dt.ToText().ToUTF8() << " came back as " << back.ToText().ToUTF8();
  }
}

TEST(RDateTimeDayNumbers, EveryDayOfALeapCycleBoundaryRoundTrips) {
  // Walk the days around the 400-year boundary, where the leap-day caps matter.
  const int64_t start = Make(1999, 12, 1, 0, 0, 0).ToMicroseconds() / 1000000;
  RDateTime last;
  for (int d = 0; d < 800; ++d) {
    const int64_t seconds = start + int64_t(d) * 86400 + 3661;
    last = RDateTime::FromSeconds(seconds);
    ASSERT_EQ(last.ToMicroseconds(), seconds * 1000000) << last.ToText().ToUTF8();
    ASSERT_GE(last.date.day, 1);
    ASSERT_LE(last.date.day, 31);
  }
  EXPECT_EQ(last.ToText().ToUTF8(), "2002-02-07 01:01:01");
}

} // namespace
