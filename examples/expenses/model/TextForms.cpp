#include "model/TextForms.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

#include "platform/DateText.h"

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// The text without the separators, with a point; none when a group has not three digits.
std::optional<std::string> plainNumber(std::string_view text, char decimalSeparator, char groupingSeparator) {
  std::string plain;
  std::size_t inGroup = 0;
  bool grouped = false;
  bool fraction = false;
  for (const char c : text) {
    if (isDigit(c)) {
      plain += c;
      ++inGroup;
    } else if (c == decimalSeparator && !fraction && !plain.empty()) {
      if (grouped && inGroup != 3) return std::nullopt;
      fraction = true;
      plain += '.';
    } else if (c == groupingSeparator && !fraction && !plain.empty()) {
      if (grouped ? inGroup != 3 : inGroup > 3) return std::nullopt;
      grouped = true;
      inGroup = 0;
    } else {
      return std::nullopt;
    }
  }
  if (plain.empty() || plain.back() == '.' || (grouped && !fraction && inGroup != 3)) return std::nullopt;
  return plain;
}

}  // namespace

void TextForms::setNumberForm(std::string_view form) {
  decimalSeparator = form[form.size() - 3];
  groupingSeparator = form.size() > 7 ? form[1] : '\0';
}

std::optional<qw::Date> TextForms::readDate(std::string_view text) const {
  text = Texts::trimmed(text);
  if (text.size() != date.size()) return std::nullopt;
  std::string year, month, day;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string* part = date[i] == 'y' ? &year : date[i] == 'M' ? &month : date[i] == 'd' ? &day : nullptr;
    if (part ? !isDigit(text[i]) : text[i] != date[i]) return std::nullopt;
    if (part) *part += text[i];
  }
  const std::string plain = year + "-" + month + "-" + day;
  const auto read = qw::DateText::readDate(plain);
  // The 31st of April counts on into May: what is written back tells.
  return read && qw::DateText::dateText(*read) == plain ? read : std::nullopt;
}

std::optional<qw::Decimal> TextForms::readAmount(std::string_view text) const {
  text = Texts::trimmed(text);
  bool negative = false;
  const auto takeSign = [&] {
    if (!text.starts_with('-') && !text.starts_with('+')) return false;
    negative = text.front() == '-';
    text = Texts::trimmed(text.substr(1));
    return true;
  };
  const auto takeCurrency = [&](std::string_view name) {
    if (name.empty()) return false;
    if (text.starts_with(name))
      text.remove_prefix(name.size());
    else if (text.ends_with(name))
      text.remove_suffix(name.size());
    else
      return false;
    text = Texts::trimmed(text);
    return true;
  };
  const bool isSigned = takeSign();
  if ((takeCurrency(symbol) || takeCurrency(code)) && !isSigned) takeSign();
  const auto plain = plainNumber(text, decimalSeparator, groupingSeparator);
  const auto number = plain ? qw::Decimal::fromText(*plain) : std::nullopt;
  return number && negative ? -*number : number;
}

namespace Texts {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return text;
}

std::optional<qw::Decimal> readPercentage(std::string_view text) {
  text = trimmed(text);
  if (text.ends_with('%')) text = trimmed(text.substr(0, text.size() - 1));
  const auto number = TextForms().readAmount(text);
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

std::optional<qw::Color> readColor(std::string_view text) {
  text = trimmed(text);
  std::uint32_t bits = 0;
  if (text.size() != 7 || text.front() != '#') return std::nullopt;
  const auto [end, failure] = std::from_chars(text.data() + 1, text.data() + text.size(), bits, 16);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return qw::Color{(bits >> 16) / 255.0, (bits >> 8 & 255) / 255.0, (bits & 255) / 255.0};
}

std::string color(const qw::Color& color) {
  const auto byte = [](double part) { return std::lround(std::clamp(part, 0.0, 1.0) * 255); };
  return fmt::format("#{:02x}{:02x}{:02x}", byte(color.red), byte(color.green), byte(color.blue));
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

}  // namespace Texts
