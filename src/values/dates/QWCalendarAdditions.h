#pragma once

#include <unicode/utypes.h>

#include <cstdint>

#include "platform/base/Date.h"
#include "platform/base/Export.h"

U_NAMESPACE_BEGIN
class Calendar;
U_NAMESPACE_END

/// The user's calendar, by the locale and the current time zone. Each thread has its own; the operations may
/// be called from any thread.
namespace QW_EXPORT QWCalendarAdditions {

/// That of the calling thread, made from the user's calendar at first use and anew after the locale or the
/// time zone changed. The Gregorian calendar is proleptic. Only for this thread, and only until the next
/// call.
icu::Calendar& threadSafeCalendar();
/// Whether years are counted in Japanese eras.
bool isJapanese();

/// The first moment of a day. Months and days count from 1, years in the calendar's present era. Numbers
/// beyond their range count on into the next larger unit: month 13 is January of the next year. A local time
/// that a clock change skips moves forward by the gap; of one that occurs twice, the first is meant.
qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day);
/// The same with a time of that day.
qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                      std::int64_t minute, std::int64_t second);

}  // namespace QWCalendarAdditions
