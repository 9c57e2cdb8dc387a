#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Decimal.h"
#include "values/NumberReader.h"

/// How numbers are written: the patterns and signs that ICU knows for a locale (Unicode TR 35) under the
/// settings of a formatter. Almost every number is written here from what ICU's format was found to do; the
/// rest, and everything where that was found to differ, by ICU itself. Negative numbers begin with a minus
/// sign where the locale would put them into parentheses or the sign behind them. Belongs to one formatter
/// and its thread.
class NumberStyle {
 public:
  /// What kind of number is meant.
  enum class Kind : std::uint8_t { kDecimal, kCurrency, kPercent };

  /// What is not set is the locale's.
  struct Wishes {
    /// What kind of number is meant.
    Kind kind = Kind::kDecimal;
    /// Before the fraction.
    std::optional<std::string> decimalSeparator;
    /// Between groups; empty for none.
    std::optional<std::string> groupingSeparator;
    std::optional<std::string> currencyCode;  ///< ISO 4217
    /// Shown with an amount, in place of that of the code.
    std::optional<std::string> currencySymbol;
    /// Shown even when they are zero.
    std::optional<int> minimumFractionDigits;
    /// Further digits are rounded.
    std::optional<int> maximumFractionDigits;
  };

  /// `locale` is ICU's identifier, for instance "de_CH".
  NumberStyle(const std::string& locale, const Wishes& wishes);
  ~NumberStyle();
  NumberStyle(const NumberStyle&) = delete;
  NumberStyle& operator=(const NumberStyle&) = delete;

  /// Rounded half to even to the digits that are shown, and without a sign when that is zero.
  std::string format(const qw::Decimal& value) const;
  /// Reads what this writes.
  const NumberReader& reader() const { return reader_; }
  /// Before the fraction.
  const std::string& decimalSeparator() const { return decimalSeparator_; }
  /// Between groups; empty for none.
  const std::string& groupingSeparator() const { return groupingSeparator_; }
  /// As the locale writes it.
  const std::string& percentSign() const { return percentSign_; }
  /// Shown even when they are zero.
  int minimumFractionDigits() const { return minimumFractionDigits_; }
  /// Further digits are rounded.
  int maximumFractionDigits() const { return maximumFractionDigits_; }

  /// From 0 to `kMaxFractionDigits`; raises the maximum where it would be less.
  void setMinimumFractionDigits(int digits);
  /// The same; lowers the minimum where it would be more.
  void setMaximumFractionDigits(int digits);
  /// As many as a decimal can have.
  static constexpr int kMaxFractionDigits = -qw::Decimal::kMinExponent;

 private:
  struct Format;
  /// What stands around the digits of a number.
  struct Affixes {
    std::string prefix;
    std::string suffix;
  };

  std::string formatWithICU(const qw::Decimal& value) const;
  std::optional<std::string> formatHere(const qw::Decimal& value) const;
  bool learn();

  std::unique_ptr<Format> icu_;
  Kind kind_;
  std::string decimalSeparator_;
  std::string groupingSeparator_;
  std::string percentSign_;
  int minimumFractionDigits_ = 0;
  int maximumFractionDigits_ = 0;
  std::size_t primaryGroupingSize_ = 0;  // 0 without groups
  std::size_t secondaryGroupingSize_ = 0;
  Affixes positive_;
  Affixes negative_;
  std::array<std::string, 10> digits_;  // none when they are ASCII
  bool canFormatHere_ = false;
  NumberReader reader_;
};
