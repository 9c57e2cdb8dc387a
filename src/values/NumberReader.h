#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Decimal.h"

/// How a formatter writes numbers, as far as a reader must know.
struct NumberNotation {
  /// Before the fraction; one character.
  std::string decimalSeparator = ".";
  /// Between groups; empty for none.
  std::string groupingSeparator = ",";
  /// Before a negative number.
  std::string minusSign = "-";
  /// The first of ten digits in a row.
  char32_t zeroDigit = U'0';
  std::size_t secondaryGroupingSize = 3;  ///< of the groups left of the last, which always has three digits
};

/// Reads one number as a person typed it, in the notation of a locale or by guessing what its separators
/// mean. A number is a minus sign or none, and digits (European ones or the locale's), with one decimal
/// separator before, among or behind them. Groups are of three digits, or all but the last of the locale's
/// secondary size and the first one perhaps shorter; they stand left of the decimal separator. All kinds of
/// blanks count as one, and so do both apostrophes. There is no exponent. A plain value; any thread.
class NumberReader {
 public:
  /// Whether the separators of a text are guessed, or those of the notation.
  enum class Separators { kGuessed, kOwn };
  /// No longer text is a number.
  static constexpr std::size_t kMaxTextSize = qw::Decimal::kMaxReadSize;

  /// Of a notation.
  explicit NumberReader(NumberNotation notation);

  /// The number that the whole text is, apart from white space around it; digits beyond 38 are rounded.
  std::optional<qw::Decimal> read(std::string_view text, Separators separators) const;
  /// Whether something in the text would part whole numbers from fractions.
  bool containsDecimalSeparator(std::string_view text, Separators separators) const;

  /// Without white space and invisible marks of writing direction at both ends.
  static std::string_view trimmed(std::string_view text);

 private:
  struct Signs;
  std::optional<std::size_t> normalized(std::string_view text, char* out) const;
  Signs guess(std::string_view text) const;
  std::optional<qw::Decimal> parse(std::string_view text, const Signs& signs) const;

  NumberNotation notation_;
  char decimal_;
  char grouping_;
};
