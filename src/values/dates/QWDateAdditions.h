#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/base/Date.h"
#include "platform/base/Export.h"

/// Reading and moving dates in the user's calendar and time zone (`QWCalendarAdditions`), from any thread.
/// Beginnings and ends are whole seconds; a day ends at 23:59:59, a second before the next one begins. Where
/// a clock change skips midnight, a day begins with the first time that it has.
namespace QW_EXPORT QWDateAdditions {

/// The year in the calendar's era.
int yearOfCommonEra(qw::Date date);
/// From 1.
int monthOfYear(qw::Date date);
/// From 1.
int dayOfMonth(qw::Date date);
/// 0 to 23, in the current time zone, as the next two.
int hourOfDay(qw::Date date);
/// 0 to 59.
int minuteOfHour(qw::Date date);
/// 0 to 59.
int secondOfMinute(qw::Date date);

/// The beginning of the current day.
qw::Date today();
/// As `QWCalendarAdditions::dateWithYear`: the first moment of a day.
qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day);
/// The same with a time of that day.
qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                      std::int64_t minute, std::int64_t second);

///@{
/// Adds years, then months, then days of the calendar, at the same time of day; a day that the month reached
/// does not have becomes its last one. Hours, minutes and seconds are elapsed time and added to the result.
/// All may be negative.
qw::Date dateByAddingYears(qw::Date date, std::int64_t years, std::int64_t months, std::int64_t days);
qw::Date dateByAddingYears(qw::Date date, std::int64_t years, std::int64_t months, std::int64_t days,
                           std::int64_t hours, std::int64_t minutes, std::int64_t seconds);
///@}

/// The first moment of the day.
qw::Date startOfDay(qw::Date date);
/// The last second of the day.
qw::Date endOfDay(qw::Date date);
/// The first moment of the week, which begins with the first weekday of the user's locale.
qw::Date startOfWeek(qw::Date date);
/// The last second of the week.
qw::Date endOfWeek(qw::Date date);
/// The first moment of the month.
qw::Date startOfMonth(qw::Date date);
/// The last second of the month.
qw::Date endOfMonth(qw::Date date);
/// The first moment of the year.
qw::Date startOfYear(qw::Date date);
/// The last second of the year.
qw::Date endOfYear(qw::Date date);

/// The date at which clocks in the current time zone show what those of the named zone show at `date`, to the
/// second. None when there is no such zone.
std::optional<qw::Date> updateFromTimeZoneWithName(qw::Date date, std::string_view name);

/// Whether both are on the same day.
bool isEqualToDateIgnoringTime(qw::Date date, qw::Date other);
/// The order of the days.
std::strong_ordering compareIgnoringTime(qw::Date date, qw::Date other);

}  // namespace QWDateAdditions
