#include <unicode/datefmt.h>
#include <unicode/gregocal.h>

#include <array>
#include <cfloat>
#include <charconv>

#include "platform/system/ApplicationContext.h"
#include "platform/system/TimeZone.h"
#include "values/collections/QWArrayAdditions.h"

namespace QWArrayAdditions {
namespace {

/// The short date format of the locale and time zone in force, kept for the next date on this thread.
const icu::DateFormat* shortDateFormat() {
  struct Cache {
    std::string locale;
    const qw::TimeZone* zone = nullptr;
    std::unique_ptr<icu::DateFormat> format;
  };
  thread_local Cache cache;
  const std::string& locale = qw::ApplicationContext::current().locale;
  const qw::TimeZone& zone = qw::TimeZone::current();
  if (!cache.format || cache.locale != locale || cache.zone != &zone) {
    cache = {locale, &zone, nullptr};
    cache.format.reset(
        icu::DateFormat::createDateInstance(icu::DateFormat::kShort, icu::Locale(locale.c_str())));
    if (cache.format) cache.format->adoptTimeZone(zone.makeICUZone().release());
  }
  return cache.format.get();
}

std::string dateText(const qw::Date& date) {
  const icu::DateFormat* const format = shortDateFormat();
  if (!format) return qw::Value(date).description();
  icu::UnicodeString formatted;
  format->format(static_cast<UDate>(date.microseconds()) / 1000, formatted);
  std::string text;
  return formatted.toUTF8String(text);
}

std::string numberText(const qw::Value& number) {
  if (const auto decimal = number.decimalValue()) return decimal->text();
  // A double beyond the decimals, or none that is a number.
  std::array<char, 400> buffer;
  const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number.doubleValue(),
                                 std::chars_format::fixed)
                       .ptr;
  return {buffer.data(), end};
}

std::string fieldText(const qw::Value& value) {
  if (value.isNumber()) return numberText(value);
  if (value.date()) return dateText(*value.date());
  return value.description();
}

/// Line feed, vertical tab, form feed, carriage return, next line, line separator, paragraph separator.
bool containsLineEnd(std::string_view text) {
  if (text.find_first_of("\n\v\f\r") != std::string_view::npos) return true;
  return text.find("\u0085") != std::string_view::npos || text.find("\u2028") != std::string_view::npos ||
         text.find("\u2029") != std::string_view::npos;
}

}  // namespace

std::string CSVLineWithSeparator(const qw::Array& array, std::string_view separator) {
  std::string line;
  bool first = true;
  for (const qw::Value& element : array) {
    if (!first) line += separator;
    first = false;
    const std::string text = fieldText(element);
    const bool wrapped =
        containsLineEnd(text) || (!separator.empty() && text.find(separator) != std::string_view::npos);
    if (wrapped) line += '"';
    for (const char c : text) {
      if (c == '"') line += '"';
      line += c;
    }
    if (wrapped) line += '"';
  }
  return line += '\n';
}

}  // namespace QWArrayAdditions
