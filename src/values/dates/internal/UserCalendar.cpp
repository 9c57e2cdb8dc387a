#include "values/dates/internal/UserCalendar.h"

#include <unicode/gregocal.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/ApplicationContext.h"

namespace qw {

namespace {

// Dates reach about 292,000 years to either side of 1970; what is far beyond is cut here, so that nothing
// overflows.
constexpr std::int64_t kMaxDay = 106'000'000;
constexpr std::int64_t kMaxSeconds = kMaxDay * UserCalendar::kSecondsPerDay;
constexpr std::int64_t kMaxYears = 600'000;
constexpr double kMillisecondsPerDay = 86'400'000;

constexpr std::int64_t cut(std::int64_t value, std::int64_t limit) {
  return std::clamp(value, -limit, limit);
}

std::int64_t addMonths(std::int64_t day, std::int64_t months) {
  const CivilDate date = CivilDate::fromDays(day);
  const std::int64_t first = CivilDate::days(date.year, date.month + months, 1);
  const std::int64_t next = CivilDate::days(date.year, date.month + months + 1, 1);
  return std::min(first + date.day, next) - 1;
}

std::unique_ptr<icu::Calendar> makeCalendar(const std::string& locale, const TimeZone& zone) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale name(locale.c_str());
  std::unique_ptr<icu::Calendar> calendar(
      icu::Calendar::createInstance(zone.makeICUZone().release(), name, status));
  if (U_FAILURE(status) || !calendar) {
    status = U_ZERO_ERROR;
    calendar = std::make_unique<icu::GregorianCalendar>(zone.makeICUZone().release(), name, status);
  }
  if (auto* gregorian = dynamic_cast<icu::GregorianCalendar*>(calendar.get())) {
    gregorian->setGregorianChange(-DBL_MAX, status);
  }
  return calendar;
}

}  // namespace

UserCalendar& UserCalendar::current() {
  thread_local std::optional<UserCalendar> calendar;
  const TimeZone& zone = TimeZone::current();
  const std::string& locale = ApplicationContext::current().locale;
  if (!calendar || calendar->zone_ != &zone || calendar->locale_ != locale) calendar.emplace(locale, zone);
  return *calendar;
}

Date UserCalendar::bounded(std::int64_t seconds) { return Date::fromSeconds(cut(seconds, kMaxSeconds)); }

std::int64_t UserCalendar::seconds(std::int64_t hours, std::int64_t minutes, std::int64_t seconds) {
  // Each alone already reaches past every date before it is cut.
  return cut(hours, kMaxSeconds) * 3600 + cut(minutes, kMaxSeconds) * 60 + cut(seconds, kMaxSeconds);
}

UserCalendar::UserCalendar(std::string locale, const TimeZone& zone)
    : locale_(std::move(locale)), zone_(&zone), calendar_(makeCalendar(locale_, zone)) {
  gregorian_ = std::strcmp(calendar_->getType(), "gregorian") == 0;
  if (!gregorian_) days_ = makeCalendar(locale_, TimeZone::utc());
}

bool UserCalendar::isJapanese() const { return std::strcmp(calendar_->getType(), "japanese") == 0; }

UserCalendar::LocalTime UserCalendar::localTime(Date date) const {
  const std::int64_t local = zone_->localFromUTC(date.seconds());
  const std::int64_t day = floorDivide(local, kSecondsPerDay);
  return {day, local - day * kSecondsPerDay};
}

Date UserCalendar::date(std::int64_t day, std::int64_t secondOfDay) const {
  const std::int64_t local = cut(day, kMaxDay) * kSecondsPerDay + cut(secondOfDay, kMaxSeconds);
  return bounded(zone_->utcFromLocal(local));
}

icu::Calendar& UserCalendar::at(std::int64_t day) {
  UErrorCode status = U_ZERO_ERROR;
  days_->setTime(static_cast<double>(cut(day, kMaxDay)) * kMillisecondsPerDay, status);
  return *days_;
}

std::int64_t UserCalendar::dayOf(icu::Calendar& calendar) const {
  UErrorCode status = U_ZERO_ERROR;
  const double time = calendar.getTime(status);
  return U_SUCCESS(status) ? static_cast<std::int64_t>(std::floor(time / kMillisecondsPerDay)) : 0;
}

UserCalendar::Fields UserCalendar::fields(std::int64_t day) {
  if (gregorian_) {
    const CivilDate date = CivilDate::fromDays(day);
    return {static_cast<int>(date.year > 0 ? date.year : 1 - date.year), date.month, date.day};
  }
  UErrorCode status = U_ZERO_ERROR;
  const icu::Calendar& calendar = at(day);
  return {calendar.get(UCAL_YEAR, status), calendar.get(UCAL_MONTH, status) + 1,
          calendar.get(UCAL_DATE, status)};
}

std::int64_t UserCalendar::adding(std::int64_t day, std::int64_t years, std::int64_t months,
                                  std::int64_t days) {
  years = cut(years, kMaxYears);
  months = cut(months, 12 * kMaxYears);
  days = cut(days, 2 * kMaxDay);
  if (gregorian_) {
    if (years != 0) day = addMonths(day, 12 * years);
    if (months != 0) day = addMonths(day, months);
  } else if (years != 0 || months != 0) {
    UErrorCode status = U_ZERO_ERROR;
    icu::Calendar& calendar = at(day);
    calendar.add(UCAL_YEAR, static_cast<std::int32_t>(years), status);
    calendar.add(UCAL_MONTH, static_cast<std::int32_t>(months), status);
    day = dayOf(calendar);
  }
  return day + days;
}

std::int64_t UserCalendar::day(std::int64_t year, std::int64_t month, std::int64_t day) {
  year = cut(year, kMaxYears);
  month = cut(month, 12 * kMaxYears);
  day = cut(day, 2 * kMaxDay);
  if (gregorian_) return CivilDate::days(year, month, day);
  days_->clear();
  days_->set(static_cast<std::int32_t>(year), static_cast<std::int32_t>(month) - 1, 1);
  return dayOf(*days_) + day - 1;
}

std::int64_t UserCalendar::firstOfMonth(std::int64_t day) {
  if (gregorian_) return day - CivilDate::fromDays(day).day + 1;
  icu::Calendar& calendar = at(day);
  calendar.set(UCAL_DATE, 1);
  return dayOf(calendar);
}

std::int64_t UserCalendar::lastOfMonth(std::int64_t day) {
  if (gregorian_) {
    const CivilDate date = CivilDate::fromDays(day);
    return CivilDate::days(date.year, date.month + 1, 0);
  }
  UErrorCode status = U_ZERO_ERROR;
  icu::Calendar& calendar = at(day);
  calendar.set(UCAL_DATE, calendar.getActualMaximum(UCAL_DATE, status));
  return dayOf(calendar);
}

std::int64_t UserCalendar::firstOfYear(std::int64_t day) {
  if (gregorian_) return CivilDate::days(CivilDate::fromDays(day).year, 1, 1);
  icu::Calendar& calendar = at(day);
  calendar.set(UCAL_DAY_OF_YEAR, 1);
  return dayOf(calendar);
}

std::int64_t UserCalendar::lastOfYear(std::int64_t day) {
  if (gregorian_) return CivilDate::days(CivilDate::fromDays(day).year, 12, 31);
  UErrorCode status = U_ZERO_ERROR;
  icu::Calendar& calendar = at(day);
  calendar.set(UCAL_DAY_OF_YEAR, calendar.getActualMaximum(UCAL_DAY_OF_YEAR, status));
  return dayOf(calendar);
}

std::int64_t UserCalendar::firstOfWeek(std::int64_t day) const {
  UErrorCode status = U_ZERO_ERROR;
  const std::int64_t first = calendar_->getFirstDayOfWeek(status);
  // 1970-01-01 was a Thursday, which ICU numbers 5.
  return day - floorRemainder(day + 5 - first, 7);
}

}  // namespace qw
