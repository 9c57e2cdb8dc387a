#include "values/dates/QWDateAdditions.h"

#include "platform/base/internal/CivilDate.h"
#include "platform/system/Clock.h"
#include "platform/system/TimeZone.h"
#include "values/dates/QWCalendarAdditions.h"
#include "values/dates/internal/UserCalendar.h"

namespace QWDateAdditions {

namespace {

qw::UserCalendar::Fields fields(qw::Date date) {
  qw::UserCalendar& calendar = qw::UserCalendar::current();
  return calendar.fields(calendar.localTime(date).day);
}

int secondOfDay(qw::Date date) {
  return static_cast<int>(qw::UserCalendar::current().localTime(date).secondOfDay);
}

// The first moment of the day that `choose` makes of the date's day.
template <class Choose>
qw::Date startOf(qw::Date date, Choose choose) {
  qw::UserCalendar& calendar = qw::UserCalendar::current();
  return calendar.date(choose(calendar, calendar.localTime(date).day), 0);
}

// The last second of that day: where a clock change repeats an hour before midnight, that of the repetition.
template <class Choose>
qw::Date endOf(qw::Date date, Choose choose) {
  return startOf(date,
                 [&](qw::UserCalendar& calendar, std::int64_t day) { return choose(calendar, day) + 1; })
      .addingSeconds(-1);
}

}  // namespace

int yearOfCommonEra(qw::Date date) { return fields(date).year; }
int monthOfYear(qw::Date date) { return fields(date).month; }
int dayOfMonth(qw::Date date) { return fields(date).day; }
int hourOfDay(qw::Date date) { return secondOfDay(date) / 3600; }
int minuteOfHour(qw::Date date) { return secondOfDay(date) / 60 % 60; }
int secondOfMinute(qw::Date date) { return secondOfDay(date) % 60; }

qw::Date today() {
  // Asked for row by row while a list is drawn, so the day is kept until the clock leaves it or the zone
  // changes.
  struct Today {
    const qw::TimeZone* zone = nullptr;
    qw::Date start, end;
  };
  thread_local Today today;
  const qw::Date now = qw::Clock::now();
  const qw::TimeZone* zone = &qw::TimeZone::current();
  if (today.zone != zone || now < today.start || now > today.end)
    today = {zone, startOfDay(now), endOfDay(now)};
  return today.start;
}

qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day) {
  return QWCalendarAdditions::dateWithYear(year, month, day);
}

qw::Date dateWithYear(std::int64_t year, std::int64_t month, std::int64_t day, std::int64_t hour,
                      std::int64_t minute, std::int64_t second) {
  return QWCalendarAdditions::dateWithYear(year, month, day, hour, minute, second);
}

qw::Date dateByAddingYears(qw::Date date, std::int64_t years, std::int64_t months, std::int64_t days) {
  return dateByAddingYears(date, years, months, days, 0, 0, 0);
}

qw::Date dateByAddingYears(qw::Date date, std::int64_t years, std::int64_t months, std::int64_t days,
                           std::int64_t hours, std::int64_t minutes, std::int64_t seconds) {
  const std::int64_t fraction = qw::floorRemainder(date.microseconds(), 1'000'000);
  // Elapsed time alone never passes through the calendar: it would take the second of two equal local times
  // for the first.
  if (years != 0 || months != 0 || days != 0) {
    qw::UserCalendar& calendar = qw::UserCalendar::current();
    const qw::UserCalendar::LocalTime local = calendar.localTime(date);
    date = calendar.date(calendar.adding(local.day, years, months, days), local.secondOfDay);
  }
  const std::int64_t elapsed = qw::UserCalendar::seconds(hours, minutes, seconds);
  return qw::Date::fromMicroseconds(qw::UserCalendar::bounded(date.seconds() + elapsed).microseconds() +
                                    fraction);
}

qw::Date startOfDay(qw::Date date) {
  return startOf(date, [](qw::UserCalendar&, std::int64_t day) { return day; });
}

qw::Date endOfDay(qw::Date date) {
  return endOf(date, [](qw::UserCalendar&, std::int64_t day) { return day; });
}

qw::Date startOfWeek(qw::Date date) {
  return startOf(date,
                 [](qw::UserCalendar& calendar, std::int64_t day) { return calendar.firstOfWeek(day); });
}

qw::Date endOfWeek(qw::Date date) {
  return endOf(date,
               [](qw::UserCalendar& calendar, std::int64_t day) { return calendar.firstOfWeek(day) + 6; });
}

qw::Date startOfMonth(qw::Date date) {
  return startOf(date,
                 [](qw::UserCalendar& calendar, std::int64_t day) { return calendar.firstOfMonth(day); });
}

qw::Date endOfMonth(qw::Date date) {
  return endOf(date, [](qw::UserCalendar& calendar, std::int64_t day) { return calendar.lastOfMonth(day); });
}

qw::Date startOfYear(qw::Date date) {
  return startOf(date,
                 [](qw::UserCalendar& calendar, std::int64_t day) { return calendar.firstOfYear(day); });
}

qw::Date endOfYear(qw::Date date) {
  return endOf(date, [](qw::UserCalendar& calendar, std::int64_t day) { return calendar.lastOfYear(day); });
}

std::optional<qw::Date> updateFromTimeZoneWithName(qw::Date date, std::string_view name) {
  const qw::TimeZone* zone = qw::TimeZone::named(name);
  if (!zone) return std::nullopt;
  return qw::UserCalendar::bounded(qw::TimeZone::current().utcFromLocal(zone->localFromUTC(date.seconds())));
}

bool isEqualToDateIgnoringTime(qw::Date date, qw::Date other) {
  return compareIgnoringTime(date, other) == 0;
}

std::strong_ordering compareIgnoringTime(qw::Date date, qw::Date other) {
  const qw::UserCalendar& calendar = qw::UserCalendar::current();
  return calendar.localTime(date).day <=> calendar.localTime(other).day;
}

}  // namespace QWDateAdditions
