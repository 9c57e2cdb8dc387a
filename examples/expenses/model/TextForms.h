#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Color.h"
#include "platform/Date.h"
#include "platform/Decimal.h"
#include "values/QWDuration.h"

/// How dates and numbers are written in a text. Reading is strict: a text that is not exactly of the form is
/// none.
struct TextForms {
  /// "yyyy", "MM" and "dd" with the signs between them, in any order.
  std::string date = "yyyy-MM-dd";
  char decimalSeparator = '.';
  /// Between groups of three digits; 0 for none.
  char groupingSeparator = 0;
  /// What may stand before or behind an amount, as "€" and "EUR".
  std::string symbol;
  std::string code;

  static constexpr std::string_view kDateForms[] = {"yyyy-MM-dd", "dd.MM.yyyy", "MM/dd/yyyy", "dd/MM/yyyy"};
  static constexpr std::string_view kNumberForms[] = {"1234.56",  "1234,56",  "1,234.56",
                                                      "1.234,56", "1'234.56", "1 234,56"};
  /// Takes the separators from one of `kNumberForms`.
  void setNumberForm(std::string_view form);

  /// The beginning of the day in the current time zone.
  std::optional<qw::Date> readDate(std::string_view text) const;
  std::optional<qw::Decimal> readAmount(std::string_view text) const;
};

/// The forms that do not change from file to file.
namespace Texts {

std::string_view trimmed(std::string_view text);

/// "12.5 %" or "12.5" is 0.125.
std::optional<qw::Decimal> readPercentage(std::string_view text);
std::string percentage(const qw::Decimal& fraction);
/// "yes", "no", "true", "false", "1", "0".
std::optional<bool> readFlag(std::string_view text);
/// "#1e90ff".
std::optional<qw::Color> readColor(std::string_view text);
std::string color(const qw::Color& color);
/// "2 years", "1 month"; between 1 and 10,000 units.
std::optional<QWDuration> readDuration(std::string_view text);
std::string duration(const QWDuration& duration);

/// With commas between groups of three digits and, if the number has fewer, zeros up to `fractionDigits`.
std::string grouped(const qw::Decimal& number, int fractionDigits = 0);

}  // namespace Texts
