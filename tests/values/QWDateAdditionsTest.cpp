#include <gtest/gtest.h>
#include <unicode/calendar.h>

#include <limits>
#include <string>
#include <thread>

#include "platform/system/Clock.h"
#include "platform/system/DateText.h"
#include "support/User.h"
#include "values/dates/QWCalendarAdditions.h"
#include "values/dates/QWDateAdditions.h"

namespace {

using qw::Date;
using namespace QWDateAdditions;

/// A time of GMT.
Date gmt(const char* text) {
  const auto date = qw::DateText::readDateTime(text);
  EXPECT_TRUE(date) << text;
  return date.value_or(Date());
}

/// A time of the user's zone, in the Gregorian calendar.
Date local(const char* text) {
  return Date::fromSeconds(qw::TimeZone::current().utcFromLocal(gmt(text).seconds()));
}

std::string localText(Date date) {
  return qw::DateText::dateTimeText(Date::fromSeconds(qw::TimeZone::current().localFromUTC(date.seconds())));
}

TEST(QWDateAdditionsTest, YearsAreThoseOfTheUsersCalendar) {
  const Date date = gmt("2024-10-03 12:00:00");
  {
    const User user("ja_JP@calendar=japanese", "Asia/Tokyo");
    EXPECT_EQ(yearOfCommonEra(date), 6);
    EXPECT_TRUE(QWCalendarAdditions::isJapanese());
    EXPECT_EQ(QWDateAdditions::dateWithYear(6, 10, 3), local("2024-10-03 00:00:00"));
  }
  {
    const User user("he_IL@calendar=hebrew", "Asia/Jerusalem");
    EXPECT_EQ(yearOfCommonEra(date), 5785);
    EXPECT_EQ(monthOfYear(date), 1);
    EXPECT_EQ(startOfYear(date), startOfDay(date));
  }
  const User user("en_US", "UTC");
  EXPECT_EQ(yearOfCommonEra(date), 2024);
  EXPECT_FALSE(QWCalendarAdditions::isJapanese());
}

TEST(QWDateAdditionsTest, PeriodsBeginAtMidnightAndEndASecondBeforeTheNext) {
  const User user("en_US", "Europe/Berlin");
  const Date date = local("2024-02-14 15:30:45");
  const struct {
    Date (*operation)(Date);
    const char* result;
  } cases[] = {{startOfDay, "2024-02-14 00:00:00"},   {endOfDay, "2024-02-14 23:59:59"},
               {startOfWeek, "2024-02-11 00:00:00"},  {endOfWeek, "2024-02-17 23:59:59"},
               {startOfMonth, "2024-02-01 00:00:00"}, {endOfMonth, "2024-02-29 23:59:59"},
               {startOfYear, "2024-01-01 00:00:00"},  {endOfYear, "2024-12-31 23:59:59"}};
  for (const auto& c : cases) {
    EXPECT_EQ(localText(c.operation(date)), c.result);
    EXPECT_EQ(c.operation(date).microseconds() % 1'000'000, 0);
    EXPECT_EQ(c.operation(c.operation(date)), c.operation(date));
  }
}

TEST(QWDateAdditionsTest, WeeksBeginWithTheLocalesFirstWeekday) {
  const struct {
    const char *locale, *begin;
  } cases[] = {{"en_US", "2024-03-10"}, {"de_DE", "2024-03-11"}, {"ar_EG@calendar=gregorian", "2024-03-09"}};
  for (const auto& c : cases) {
    const User user(c.locale, "UTC");
    const Date begin = startOfWeek(gmt("2024-03-14 12:00:00"));
    EXPECT_EQ(qw::DateText::dateText(begin), c.begin);
    EXPECT_EQ(startOfWeek(begin), begin);
    EXPECT_EQ(endOfWeek(begin), begin.addingSeconds(7 * 86'400 - 1));
    EXPECT_EQ(startOfWeek(begin.addingSeconds(-1)), begin.addingSeconds(-7 * 86'400));
  }
}

TEST(QWDateAdditionsTest, AddsCalendarUnitsLargestFirstAndElapsedTimeLast) {
  const User user("de_DE", "Europe/Berlin");
  const struct {
    const char* date;
    int years, months, days, hours;
    const char* result;
  } cases[] = {
      {"2024-01-31 10:00:00", 0, 1, 0, 0, "2024-02-29 10:00:00"},
      {"2024-02-29 10:00:00", 1, 1, 0, 0, "2025-03-28 10:00:00"},
      {"2024-01-31 10:00:00", 0, 1, 1, 0, "2024-03-01 10:00:00"},
      {"2024-03-31 10:00:00", 0, -1, 0, 0, "2024-02-29 10:00:00"},
      {"2024-12-31 10:00:00", 0, 2, -1, 0, "2025-02-27 10:00:00"},
      {"2024-03-30 02:30:00", 0, 0, 1, 0, "2024-03-31 03:30:00"},    // skipped: moved by the gap
      {"2024-03-31 01:30:00", 0, 0, 0, 1, "2024-03-31 03:30:00"},    // an hour later
      {"2024-03-30 12:00:00", 0, 0, 1, 0, "2024-03-31 12:00:00"},    // a day of 23 hours
      {"2024-10-28 02:30:00", 0, 0, -1, -1, "2024-10-27 01:30:00"},  // twice: the first
      {"2024-10-27 01:30:00", 0, 0, 0, 2, "2024-10-27 02:30:00"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(localText(dateByAddingYears(local(c.date), c.years, c.months, c.days, c.hours, 0, 0)), c.result)
        << c.date;
  }
  // The second half past two stays the second when only time is added.
  const Date second = local("2024-10-27 01:30:00").addingSeconds(7200);
  EXPECT_EQ(dateByAddingYears(second, 0, 0, 0, 0, 0, 1), second.addingSeconds(1));
  EXPECT_EQ(dateByAddingYears(Date::fromMicroseconds(1'500'001), 0, 0, 1).microseconds(), 86'401'500'001);
}

TEST(QWDateAdditionsTest, NoMomentLiesBetweenTwoDays) {
  const struct {
    const char *zone, *begin;
    std::int64_t days;
  } cases[] = {{"America/Sao_Paulo", "2017-10-13 00:00:00", 4},  // midnight skipped
               {"America/Sao_Paulo", "2018-02-16 00:00:00", 4},  // the hour before midnight twice
               {"America/Havana", "2023-11-03 00:00:00", 4},     // midnight twice
               {"Australia/Lord_Howe", "2024-04-05 00:00:00", 4},
               {"Asia/Kathmandu", "1985-12-30 00:00:00", 4},  // a quarter of an hour skipped
               {"Pacific/Apia", "2011-12-28 00:00:00", 3}};   // a day skipped
  for (const auto& c : cases) {
    const User user("en_US", c.zone);
    const Date begin = local(c.begin), end = begin.addingSeconds(4 * 86'400);
    std::int64_t days = 0;
    for (Date day = begin; day < end; day = endOfDay(day).addingSeconds(1)) {
      SCOPED_TRACE(std::string(c.zone) + " " + localText(day));
      ++days;
      ASSERT_EQ(startOfDay(day), day);
      for (Date date = day; date <= endOfDay(day); date = date.addingSeconds(599)) {
        ASSERT_EQ(startOfDay(date), day);
        ASSERT_EQ(endOfDay(date), endOfDay(day));
      }
    }
    EXPECT_GE(days, c.days) << c.zone;
  }
}

TEST(QWDateAdditionsTest, NumbersBeyondTheirRangeCountOn) {
  const User user("en_US", "Europe/Berlin");
  EXPECT_EQ(QWDateAdditions::dateWithYear(2024, 13, 1), local("2025-01-01 00:00:00"));
  EXPECT_EQ(QWDateAdditions::dateWithYear(2023, 4, 31), local("2023-05-01 00:00:00"));
  EXPECT_EQ(QWDateAdditions::dateWithYear(2024, 3, 1, -1, 61, 60), local("2024-03-01 00:02:00"));
}

TEST(QWDateAdditionsTest, TodayFollowsTheClockAndTheZone) {
  const User user("en_US", "Europe/Berlin");
  qw::Clock::Override clock(local("2024-03-14 23:59:59"));
  EXPECT_EQ(today(), local("2024-03-14 00:00:00"));
  clock.advanceMicroseconds(999'999);
  EXPECT_EQ(today(), local("2024-03-14 00:00:00"));
  clock.advanceMicroseconds(1);
  EXPECT_EQ(today(), local("2024-03-15 00:00:00"));
  clock.advanceSeconds(-3600);
  EXPECT_EQ(today(), local("2024-03-14 00:00:00"));
  const qw::TimeZone::Override tokyo("Asia/Tokyo");
  EXPECT_EQ(today(), local("2024-03-15 00:00:00"));
}

TEST(QWDateAdditionsTest, TheReadingOfAnotherZonesClockIsKept) {
  const User user("en_US", "Europe/Berlin");
  const Date inKathmandu = gmt("2024-07-01 06:15:30");  // clocks there show 12:00:30
  EXPECT_EQ(updateFromTimeZoneWithName(inKathmandu, "Asia/Kathmandu"), local("2024-07-01 12:00:30"));
  EXPECT_EQ(updateFromTimeZoneWithName(inKathmandu, "Europe/Berlin"), inKathmandu);
  EXPECT_EQ(updateFromTimeZoneWithName(inKathmandu, "Nowhere"), std::nullopt);
}

TEST(QWDateAdditionsTest, DaysAreComparedInTheUsersZone) {
  const User user("en_US", "Asia/Tokyo");
  EXPECT_TRUE(isEqualToDateIgnoringTime(gmt("2024-01-01 15:00:00"), gmt("2024-01-02 14:59:59")));
  EXPECT_EQ(compareIgnoringTime(gmt("2024-01-01 14:59:59"), gmt("2024-01-01 15:00:00")),
            std::strong_ordering::less);
  EXPECT_EQ(compareIgnoringTime(gmt("2024-01-01 15:00:00"), gmt("2024-01-01 14:59:59")),
            std::strong_ordering::greater);
}

TEST(QWDateAdditionsTest, EachThreadHasItsCalendar) {
  const User user("en_US", "Europe/Berlin");
  const icu::Calendar* mine = &QWCalendarAdditions::threadSafeCalendar();
  const icu::Calendar* theirs = nullptr;
  Date start;
  std::thread([&] {
    theirs = &QWCalendarAdditions::threadSafeCalendar();
    start = startOfYear(gmt("2024-07-01 00:00:00"));
  }).join();
  EXPECT_NE(mine, theirs);
  EXPECT_EQ(mine, &QWCalendarAdditions::threadSafeCalendar());
  EXPECT_EQ(start, local("2024-01-01 00:00:00"));
}

TEST(QWDateAdditionsTest, TheEndsOfTheRangeAreSafe) {
  for (const char* locale : {"en_US", "ja_JP@calendar=japanese", "he_IL@calendar=hebrew"}) {
    const User user(locale, "Europe/Berlin");
    constexpr auto kMin = std::numeric_limits<std::int64_t>::min(),
                   kMax = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t end : {kMin, kMax}) {
      for (const Date date : {Date::fromMicroseconds(end), gmt("2024-02-29 12:00:00")}) {
        for (const auto operation : {startOfDay, endOfDay, startOfWeek, endOfWeek, startOfMonth, endOfMonth,
                                     startOfYear, endOfYear}) {
          operation(date);
        }
        EXPECT_GE(monthOfYear(date), 1);
        dateByAddingYears(date, end, end, end, end, end, end);
        dateByAddingYears(date, 0, end, 0);
        dateByAddingYears(date, 0, 0, 0, 0, 0, end);
        updateFromTimeZoneWithName(date, "Asia/Tokyo");
      }
      QWDateAdditions::dateWithYear(end, end, end, end, end, end);
    }
  }
}

}  // namespace
