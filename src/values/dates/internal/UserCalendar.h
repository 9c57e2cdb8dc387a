#pragma once

#include <unicode/calendar.h>

#include <cstdint>
#include <memory>
#include <string>

#include "platform/base/Date.h"
#include "platform/system/TimeZone.h"

namespace qw {

/// The user's calendar, as one thread sees it: arithmetic on whole days, numbered from 1970-01-01, apart from
/// clocks and time zones, which `localTime` and `date` bring in. The Gregorian calendar is computed here,
/// proleptic; every other one by ICU. Follows the locale and the current time zone. Owned by the thread,
/// which alone may use it.
class UserCalendar {
 public:
  static constexpr std::int64_t kSecondsPerDay = 86'400;

  /// What the user's clocks show at a moment.
  struct LocalTime {
    std::int64_t day = 0;
    std::int64_t secondOfDay = 0;
  };
  /// Numbers as people count them: months and days from 1, years in their era.
  struct Fields {
    int year = 1;
    int month = 1;
    int day = 1;
  };

  /// That of the calling thread, made anew after the locale or the current time zone changed.
  static UserCalendar& current();

  /// The date at a number of seconds since 1970 UTC, or the end of the range of dates.
  static Date bounded(std::int64_t seconds);
  /// The sum in seconds. Numbers beyond the range of dates are cut, so that it never overflows.
  static std::int64_t seconds(std::int64_t hours, std::int64_t minutes, std::int64_t seconds);

  UserCalendar(std::string locale, const TimeZone& zone);

  LocalTime localTime(Date date) const;
  /// A day and a time of that day, which may lie outside of it. A time that a clock change skips moves
  /// forward by the gap; of one that occurs twice, the first is meant. Beyond the range of dates, its nearest
  /// end.
  Date date(std::int64_t day, std::int64_t secondOfDay) const;

  Fields fields(std::int64_t day);
  /// Years, then months, then days; after the first two, a day that the month does not have becomes its last.
  std::int64_t adding(std::int64_t day, std::int64_t years, std::int64_t months, std::int64_t days);
  /// Numbers beyond their range count on into the next larger unit.
  std::int64_t day(std::int64_t year, std::int64_t month, std::int64_t day);
  std::int64_t firstOfMonth(std::int64_t day);
  std::int64_t lastOfMonth(std::int64_t day);
  std::int64_t firstOfYear(std::int64_t day);
  std::int64_t lastOfYear(std::int64_t day);
  std::int64_t firstOfWeek(std::int64_t day) const;

  /// For formatters and whatever else needs one: with the zone in force, and the source of the first weekday.
  icu::Calendar& calendar() { return *calendar_; }
  bool isGregorian() const { return gregorian_; }
  bool isJapanese() const;

 private:
  icu::Calendar& at(std::int64_t day);
  std::int64_t dayOf(icu::Calendar& calendar) const;

  std::string locale_;
  const TimeZone* zone_;
  bool gregorian_ = true;
  std::unique_ptr<icu::Calendar> calendar_;
  std::unique_ptr<icu::Calendar> days_;  // the same in GMT, which counts whole days; none for the Gregorian
};

}  // namespace qw
