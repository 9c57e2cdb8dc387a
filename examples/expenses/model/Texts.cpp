#include "model/Texts.h"

#include <fmt/format.h>

#include <charconv>

#include "platform/system/DateText.h"
#include "values/numbers/QWNumberFormatter.h"

namespace Texts {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::optional<qw::Date> readDate(std::string_view text) {
  text = trimmed(text);
  const auto date = qw::DateText::readDate(text);
  // The 31st of April counts on into May: what is written back tells.
  return date && qw::DateText::dateText(*date) == text ? date : std::nullopt;
}

std::optional<qw::Decimal> readNumber(std::string_view text) {
  static QWNumberFormatter formatter;
  formatter.setGuessesSeparators(false);
  formatter.setDecimalSeparator(".");
  formatter.setGroupingSeparator("");
  std::optional<qw::Decimal> number;
  return formatter.getObjectValue(number, text) ? number : std::nullopt;
}

std::optional<qw::Decimal> readPercentage(std::string_view text) {
  text = trimmed(text);
  if (text.ends_with('%')) text = trimmed(text.substr(0, text.size() - 1));
  const auto number = readNumber(text);
  return number ? std::optional(number->multipliedByPowerOf10(-2)) : std::nullopt;
}

std::string percentage(const qw::Decimal& fraction) {
  return fraction.multipliedByPowerOf10(2).text() + " %";
}

std::optional<bool> readFlag(std::string_view text) {
  text = trimmed(text);
  if (text == "yes" || text == "true" || text == "1") return true;
  if (text == "no" || text == "false" || text == "0") return false;
  return std::nullopt;
}

namespace {
constexpr std::string_view kUnits[] = {"day", "week", "month", "year"};  // by QWDuration::Unit
}

std::optional<QWDuration> readDuration(std::string_view text) {
  text = trimmed(text);
  std::int64_t count = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), count);
  if (failure != std::errc() || count < 1 || count > 10'000) return std::nullopt;
  std::string_view unit = trimmed(text.substr(static_cast<std::size_t>(end - text.data())));
  if (unit.ends_with('s')) unit.remove_suffix(1);
  for (std::uint32_t i = 0; i < std::size(kUnits); ++i)
    if (unit == kUnits[i]) return QWDuration(static_cast<QWDuration::Unit>(i), count);
  return std::nullopt;
}

std::string duration(const QWDuration& duration) {
  const auto unit = static_cast<std::size_t>(duration.unit());
  if (unit >= std::size(kUnits)) return {};
  return fmt::format("{} {}{}", duration.numberOfUnits(), kUnits[unit],
                     duration.numberOfUnits() == 1 ? "" : "s");
}

std::string grouped(const qw::Decimal& number, int fractionDigits) {
  std::string text = number.text();
  std::size_t point = text.find('.');
  if (point == text.npos) {
    point = text.size();
    if (fractionDigits > 0) text += '.';
  }
  const std::size_t wanted = point + 1 + static_cast<std::size_t>(std::max(fractionDigits, 0));
  if (fractionDigits > 0 && text.size() < wanted) text.append(wanted - text.size(), '0');
  const std::size_t first = number.isNegative() ? 1 : 0;
  for (std::size_t at = point; at > first + 3;) text.insert(at -= 3, ",");
  return text;
}

std::string counted(std::size_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", grouped(count), count == 1 ? one : many);
}

}  // namespace Texts
