#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/system/Clock.h"
#include "platform/system/DateText.h"
#include "platform/system/TimeZone.h"
#include "values/dates/QWDateFormatter.h"
#include "values/dates/internal/DatePattern.h"

// The input is a byte that picks a locale, a format up to the end of its line, and a text. Whatever they are:
// a text that is read has a date or is empty; the date of a plain format is written so that it reads back and
// is written the same again; and a plain format means what it means to ICU, which reads the same format with
// a mark behind it.
namespace {

constexpr std::array kLocales = {
    "en_US", "de_DE", "ar_EG", "ja_JP@calendar=japanese", "he_IL@calendar=hebrew", "zh_CN@calendar=chinese",
    "th_TH", "fa_IR"};

constexpr std::size_t kGregorian = 3;  // the first ones

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const qw::TimeZone::Override zone("America/Sao_Paulo");
  static const qw::Clock::Override clock(*qw::DateText::readDateTime("2026-11-21 12:00:00"));
  if (size == 0) return 0;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t line = std::min(input.find('\n'), input.size());
  const std::string_view format = input.substr(1, line - 1);
  const std::string_view text = input.substr(std::min(line + 1, input.size()));

  QWDateFormatter formatter;
  formatter.setLocale(kLocales[data[0] % kLocales.size()]);
  formatter.setDateFormat(format);
  std::optional<qw::Date> date;
  const bool isRead = formatter.getObjectValue(date, text);
  if (!isRead && date) std::abort();
  if (isRead && !date && !text.empty()) std::abort();
  const bool isGregorian = data[0] % kLocales.size() < kGregorian;
  if (!isGregorian || !qw::PlainDateLayout::ofPattern(qw::DatePattern(format)) ||
      format.size() + 3 > QWDateFormatter::kMaxFormatSize) {
    if (date) formatter.stringFromDate(*date);
    return 0;
  }

  QWDateFormatter full = formatter;
  full.setDateFormat(std::string(format) + "\u200E");
  std::optional<qw::Date> same;
  if (full.getObjectValue(same, text) != isRead || same != date) std::abort();
  if (!date) return 0;
  const std::string written = formatter.stringFromDate(*date);
  if (full.stringFromDate(*date) != written + "\u200E") std::abort();
  if (!formatter.getObjectValue(same, written) || formatter.stringFromDate(*same) != written) std::abort();
  return 0;
}
