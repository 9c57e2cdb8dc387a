#include <unicode/calendar.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/system/ApplicationContext.h"
#include "platform/system/TimeZone.h"
#include "values/dates/QWCalendarAdditions.h"
#include "values/dates/QWDateAdditions.h"

// The input is a calendar, a number of months and a moment. Components, beginnings, ends and months added are
// those of ICU's own arithmetic, the Gregorian one included, which is not computed by ICU here.
namespace {

using namespace QWDateAdditions;
using qw::Date;

constexpr std::array kLocales = {"de_DE", "ja_JP@calendar=japanese", "th_TH@calendar=buddhist",
                                 "he_IL@calendar=hebrew", "ar_EG@calendar=islamic-civil"};

void check(bool holds) {
  if (!holds) std::abort();
}

/// ICU's calendar of the user, at a moment that is moved about.
class Reference {
 public:
  explicit Reference(Date date) : calendar_(QWCalendarAdditions::threadSafeCalendar().clone()) { set(date); }

  void set(Date date) { calendar_->setTime(static_cast<double>(date.microseconds()) / 1000, status_); }
  int get(UCalendarDateFields field) { return calendar_->get(field, status_); }
  void setField(UCalendarDateFields field, int value) { calendar_->set(field, value); }
  void addMonths(int months) { calendar_->add(UCAL_MONTH, months, status_); }
  /// The beginning of the day.
  Date midnight() {
    for (const auto field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND})
      setField(field, 0);
    return Date::fromMicroseconds(static_cast<std::int64_t>(calendar_->getTime(status_)) * 1000);
  }

 private:
  std::unique_ptr<icu::Calendar> calendar_;
  UErrorCode status_ = U_ZERO_ERROR;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static qw::ApplicationContext::Override context;
  static const qw::TimeZone::Override zone("America/Sao_Paulo");
  std::uint32_t number = 0;
  if (size < 2 + sizeof number) return 0;
  std::memcpy(&number, data + 2, sizeof number);
  context.change([&](auto& changed) { changed.locale = kLocales[data[0] % kLocales.size()]; });
  constexpr std::int64_t k1920 = -1'577'923'200, kYears = 140;
  const Date date = Date::fromSeconds(k1920 + number % (kYears * 31'556'952));

  Reference reference(date);
  check(yearOfCommonEra(date) == reference.get(UCAL_YEAR));
  check(monthOfYear(date) == reference.get(UCAL_MONTH) + 1);
  check(dayOfMonth(date) == reference.get(UCAL_DATE));
  check(hourOfDay(date) == reference.get(UCAL_HOUR_OF_DAY));
  check(minuteOfHour(date) == reference.get(UCAL_MINUTE));
  check(secondOfMinute(date) == reference.get(UCAL_SECOND));
  check(startOfDay(date) == reference.midnight());
  reference.setField(UCAL_DATE, 1);
  check(startOfMonth(date) == reference.midnight());
  reference.addMonths(1);
  check(endOfMonth(date) == reference.midnight().addingSeconds(-1));
  reference.set(date);
  reference.setField(UCAL_DAY_OF_YEAR, 1);
  check(startOfYear(date) == reference.midnight());
  check(monthOfYear(endOfYear(date).addingSeconds(1)) == 1);
  const int months = static_cast<std::int8_t>(data[1]);
  reference.set(startOfMonth(date));
  reference.addMonths(months);
  check(startOfMonth(dateByAddingYears(date, 0, months, 0)) == reference.midnight());
  return 0;
}
