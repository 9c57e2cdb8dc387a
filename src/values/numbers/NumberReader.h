#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"

namespace qw {

/// How a formatter writes numbers, as far as a reader must know.
struct QW_EXPORT NumberNotation {
  /// Before the fraction; one character.
  std::string decimalSeparator = ".";
  /// Between groups; empty for none.
  std::string groupingSeparator = ",";
  /// Before a negative number.
  std::string minusSign = "-";
  std::size_t groupingSize = 3;           ///< of the last group
  std::size_t secondaryGroupingSize = 3;  ///< of those left of it
};

/// Reads one number as a person typed it, in the notation of a locale or by guessing what its separators
/// mean. A number is a minus sign or none, and digits of any script, with one decimal
/// separator before, among or behind them. Groups are of three digits (or what the formatter groups by), or
/// all but the last of its secondary size, and the first one perhaps shorter; they stand left of the decimal
/// separator. All kinds of blanks count as one, and so do both apostrophes. There is no exponent. A plain
/// value; any thread.
class QW_EXPORT NumberReader {
 public:
  /// Whether the separators of a text are guessed, or those of the notation.
  enum class Separators { kGuessed, kOwn };
  /// No longer text is a number.
  static constexpr std::size_t kMaxTextSize = Decimal::kMaxReadSize;

  /// Of a notation.
  explicit NumberReader(NumberNotation notation);

  /// The number that the whole text is, apart from white space around it; digits beyond 38 are rounded.
  std::optional<Decimal> read(std::string_view text, Separators separators) const;
  /// Whether something in the text would part whole numbers from fractions.
  bool containsDecimalSeparator(std::string_view text, Separators separators) const;

  /// The text with plain signs in the place of full-width operators and typeset minus signs; in the buffer
  /// unless the text itself will do.
  static std::string_view withPlainSigns(std::string_view text, std::string& buffer);

 private:
  struct Signs;
  std::size_t sizeOfMinus(std::string_view text) const;
  std::optional<std::size_t> normalized(std::string_view text, char* out) const;
  Signs guess(std::string_view text) const;
  std::optional<Decimal> parse(std::string_view text, const Signs& signs) const;

  NumberNotation notation_;
  char decimal_;
  char grouping_;
};

}  // namespace qw
