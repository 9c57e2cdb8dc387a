#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "values/numbers/FastNumberWriter.h"
#include "values/numbers/NumberReader.h"

namespace qw {

/// How numbers are written: the patterns and signs that ICU knows for a locale (Unicode TR 35) under the
/// options of a formatter. Where the locale would put negative numbers into parentheses or the sign behind
/// them, they begin with a minus sign. Belongs to one formatter and its thread.
class QW_EXPORT NumberStyle {
 public:
  /// What kind of number is meant.
  enum class Kind : std::uint8_t { kDecimal, kCurrency, kPercent };
  /// What stands before or behind the digits of a number.
  enum class Affix : std::uint8_t { kPositivePrefix, kPositiveSuffix, kNegativePrefix, kNegativeSuffix };

  /// The settings of a formatter. What is not set is the locale's.
  struct Options {
    /// What kind of number is meant.
    Kind kind = Kind::kDecimal;
    /// Before the fraction.
    std::optional<std::string> decimalSeparator;
    /// Between groups; empty for none.
    std::optional<std::string> groupingSeparator;
    std::optional<std::string> currencyCode;  ///< ISO 4217
    /// Shown with an amount, in place of that of the code.
    std::optional<std::string> currencySymbol;
    /// Patterns and affixes of its own.
    std::optional<std::string> positiveFormat;
    /// The same for negative numbers.
    std::optional<std::string> negativeFormat;
    /// Before a positive number.
    std::optional<std::string> positivePrefix;
    /// Behind a positive number.
    std::optional<std::string> positiveSuffix;
    /// Before a negative number.
    std::optional<std::string> negativePrefix;
    /// Behind a negative number.
    std::optional<std::string> negativeSuffix;
    /// Shown even when they are zero.
    std::optional<int> minimumFractionDigits;
    /// Further digits are rounded.
    std::optional<int> maximumFractionDigits;
    /// Digits of the group before the decimal separator.
    std::optional<int> groupingSize;
    /// Digits of the groups before that.
    std::optional<int> secondaryGroupingSize;
    /// Whether groups are separated.
    std::optional<bool> usesGroupingSeparator;
    /// What becomes of the digits that are not shown.
    RoundingMode roundingMode = RoundingMode::bankers;
    Decimal roundingIncrement = 0;  ///< what is shown is a multiple of it; 0 for any number
  };

  /// `locale` is ICU's identifier, for instance "de_CH".
  NumberStyle(const std::string& locale, const Options& options);
  ~NumberStyle();
  NumberStyle(const NumberStyle&) = delete;
  NumberStyle& operator=(const NumberStyle&) = delete;

  /// Rounded to the digits that are shown, and without a sign when that is zero.
  std::string format(const Decimal& value) const;
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
  /// The pattern in use for positive numbers.
  std::string positiveFormat() const;
  /// The pattern in use for negative numbers.
  std::string negativeFormat() const;
  /// What is in use; may be empty.
  std::string affix(Affix affix) const;
  /// Whether groups are separated.
  bool usesGroupingSeparator() const;
  /// Digits of the group before the decimal separator.
  int groupingSize() const;
  /// Digits of the groups before that.
  int secondaryGroupingSize() const;
  /// Whether negative numbers are in parentheses or have their sign behind them.
  bool isAccounting() const;
  /// Whether a text is a number pattern of TR 35 for numbers of one sign.
  static bool isFormat(std::string_view text);

  /// From 0 to `kMaxFractionDigits`; raises the maximum where it would be less.
  void setMinimumFractionDigits(int digits);
  /// The same; lowers the minimum where it would be more.
  void setMaximumFractionDigits(int digits);
  /// As many as a decimal can have.
  static constexpr int kMaxFractionDigits = -Decimal::kMinExponent;
  /// Digits of a group.
  static constexpr int kMaxGroupingSize = 64;
  /// Of a pattern, in bytes.
  static constexpr std::size_t kMaxFormatSize = 256;

 private:
  Decimal rounded(const Decimal& value) const;
  /// Has ICU show the fraction digits that are set.
  void showDigits() const;

  std::unique_ptr<icu::DecimalFormat> icu_;
  std::string decimalSeparator_;
  std::string groupingSeparator_;
  std::string percentSign_;
  int minimumFractionDigits_ = 0;
  int maximumFractionDigits_ = 0;
  int powerOf10_ = 0;  // what the format multiplies by
  RoundingMode roundingMode_;
  Decimal roundingIncrement_;
  FastNumberWriter writer_;
  bool isFast_ = false;
  NumberReader reader_;
};

}  // namespace qw
