#include "values/dates/QWCalendarAdditions.h"

#include "values/dates/internal/UserCalendar.h"

namespace QWCalendarAdditions {

icu::Calendar& threadSafeCalendar() { return qw::UserCalendar::current().calendar(); }

bool isJapanese() { return qw::UserCalendar::current().isJapanese(); }

qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day) {
  return dateWithYear(year, month, day, 0, 0, 0);
}

qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                      std::int64_t minute, std::int64_t second) {
  qw::UserCalendar& calendar = qw::UserCalendar::current();
  return calendar.date(calendar.day(year, month, day), qw::UserCalendar::seconds(hour, minute, second));
}

}  // namespace QWCalendarAdditions
