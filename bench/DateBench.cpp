#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <array>
#include <cfloat>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "platform/base/internal/CivilDate.h"
#include "platform/system/DateText.h"
#include "platform/system/TimeZone.h"
#include "values/dates/QWDateFormatter.h"

namespace {

constexpr std::size_t kCount = 1'000'000;

/// What the library alone does: a strict formatter, set up once.
std::unique_ptr<icu::SimpleDateFormat> icuFormat(const char* pattern, const qw::TimeZone& zone) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale("en_US_POSIX");
  auto calendar = std::make_unique<icu::GregorianCalendar>(zone.makeICUZone().release(), locale, status);
  calendar->setGregorianChange(-DBL_MAX, status);
  auto format = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), locale, status);
  format->adoptCalendar(calendar.release());
  format->setLenient(false);
  return format;
}

/// Dates of sixty years in the order in which rows come, which is none.
std::vector<qw::Date> makeDates() {
  std::mt19937_64 random(1);
  std::vector<qw::Date> dates(kCount);
  for (qw::Date& date : dates)
    date = qw::Date::fromSeconds(static_cast<std::int64_t>(random() % (60ULL * 31'556'952)));
  return dates;
}

std::int64_t readByICU(const icu::SimpleDateFormat& format, const std::string& text) {
  icu::ParsePosition position;
  const icu::UnicodeString characters = icu::UnicodeString::fromUTF8(text);
  const double date = format.parse(characters, position);
  if (position.getIndex() != characters.length()) std::abort();
  return static_cast<std::int64_t>(date / 1000);
}

/// The texts of a store, each read and written again.
template <class Read, class Write>
std::int64_t sumOf(const std::vector<std::string>& texts, Read read, Write write) {
  std::int64_t sum = 0;
  for (const std::string& text : texts) {
    const std::int64_t seconds = read(text);
    sum += seconds + write(seconds);
  }
  return sum;
}

const qw::bench::Benchmark kStore("parse_date_1m", [](qw::bench::Run& run) {
  const qw::TimeZone::Override zone("Europe/Berlin");
  const auto icu = icuFormat("yyyy-MM-dd HH:mm:ss", qw::TimeZone::utc());
  std::vector<std::string> texts;
  for (const qw::Date date : makeDates()) texts.push_back(qw::DateText::dateTimeText(date));
  std::int64_t ours = 0, theirs = 0;
  run.repetitions(3);
  run.measure(
      [&] {
        ours = sumOf(
            texts, [](const std::string& text) { return qw::DateText::readDateTime(text)->seconds(); },
            [](std::int64_t seconds) {
              std::array<char, qw::DateText::kMaxSize> buffer;
              const char* const end =
                  qw::DateText::writeDateTime(qw::Date::fromSeconds(seconds), buffer.data());
              return static_cast<std::int64_t>(end[-1]);
            });
      },
      [&] {
        icu::UnicodeString text;
        std::string bytes;
        theirs = sumOf(
            texts, [&](const std::string& text) { return readByICU(*icu, text); },
            [&](std::int64_t seconds) {
              icu->format(static_cast<double>(seconds) * 1000, text.remove());
              bytes.clear();
              text.toUTF8String(bytes);
              return static_cast<std::int64_t>(bytes.back());
            });
      });
  if (ours != theirs) std::abort();
});

const qw::bench::Benchmark kFormatter("parse_typed_date_1m", [](qw::bench::Run& run) {
  const qw::TimeZone::Override zone("Europe/Berlin");
  const auto icu = icuFormat("dd.MM.yyyy", qw::TimeZone::current());
  QWDateFormatter formatter;
  formatter.setLocale("de_DE");
  formatter.setDateFormat("dd.MM.yyyy");
  std::vector<std::string> texts;
  for (const qw::Date date : makeDates()) texts.push_back(formatter.stringFromDate(date));
  std::int64_t ours = 0, theirs = 0;
  run.repetitions(3);
  run.measure(
      [&] {
        ours = 0;
        std::optional<qw::Date> date;
        for (const std::string& text : texts) {
          if (!formatter.getObjectValue(date, text)) std::abort();
          ours += date->seconds();
        }
      },
      [&] {
        theirs = 0;
        for (const std::string& text : texts) theirs += readByICU(*icu, text);
      });
  if (ours != theirs) std::abort();
});

}  // namespace
