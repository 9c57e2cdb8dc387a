#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "platform/system/ApplicationContext.h"
#include "platform/system/TimeZone.h"
#include "values/dates/QWDateAdditions.h"
#include "values/dates/QWDateLookupTable.h"

// The input is a zone whose days begin late, end twice or are skipped, a unit and a count, and moments to ask
// for. A table finds the periods that counting them finds, in any order of asking.
namespace {

using qw::Date;

constexpr struct {
  const char* zone;
  int year, month, day;
} kPlaces[] = {{"America/Sao_Paulo", 2017, 10, 14}, {"America/Sao_Paulo", 2018, 2, 16},
               {"America/Havana", 2023, 11, 4},     {"Pacific/Apia", 2011, 12, 28},
               {"Asia/Kathmandu", 1985, 12, 31},    {"Europe/Berlin", 2024, 3, 30}};
constexpr std::int64_t kSeconds = 80 * 86'400;

void check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const qw::ApplicationContext::Override context;
  if (size < 3) return 0;
  const auto& place = kPlaces[data[0] % std::size(kPlaces)];
  const qw::TimeZone::Override zone(place.zone);
  const Date first = QWDateAdditions::dateWithYear(place.year, place.month, place.day);
  const QWDuration period(static_cast<QWDuration::Unit>(data[1] % 4), 1 + data[2] % 5);
  std::vector<Date> begins{first};
  while (begins.back() < first.addingSeconds(kSeconds))
    begins.push_back(QWDateAdditions::startOfDay(period.addToDate(begins.back(), 1)));

  QWDateLookupTable fixed, open;
  fixed.setPeriod(period);
  fixed.setFixedFirstDate(first);
  open.setPeriod(period);
  for (std::size_t i = 3; i + sizeof(std::uint32_t) <= size; i += sizeof(std::uint32_t)) {
    std::uint32_t number = 0;
    std::memcpy(&number, data + i, sizeof number);
    const Date date = first.addingSeconds(number % kSeconds);
    const auto begin = std::upper_bound(begins.begin(), begins.end(), date) - 1;
    check(fixed.beginDateForDate(date) == *begin);
    check(fixed.endDateForDate(date) == (begin + 1)->addingSeconds(-1));
    // Whatever the phase: the period holds the date, and the next one begins a second after its end.
    const auto from = open.beginDateForDate(date), to = open.endDateForDate(date);
    check(from && to && *from <= date && date < to->addingSeconds(1));
    // (Where a whole day is skipped, periods of several days that were laid backwards may end within the
    // next.)
    if (period.numberOfUnits() == 1)
      check(open.beginDateForDate(to->addingSeconds(1)) == to->addingSeconds(1));
  }
  return 0;
}
