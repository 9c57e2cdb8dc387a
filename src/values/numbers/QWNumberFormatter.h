#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "values/numbers/NumberStyle.h"
#include "values/numbers/QWDecimalNumberAdditions.h"

/// Writes exact decimals in the notation of the current locale, and reads what people type: a number, or a
/// calculation with + - * / and parentheses, whichever of "." and "," they mean. Patterns, signs and digits
/// are ICU's (Unicode TR 35). A formatter is expensive to make and belongs to one thread; the static
/// functions use one that each thread keeps. A text that cannot be read gives false and no reason.
///
///     QWNumberFormatter formatter;
///     std::optional<qw::Decimal> value;
///     bool isRead = formatter.getObjectValue(value, "12.50 + 3 * 2");  // 18.5
class QW_EXPORT QWNumberFormatter {
 public:
  /// How a number is rounded.
  using Behavior = QWDecimalNumberAdditions::Behavior;
  /// What kind of number is meant: a decimal, an amount of money, a percentage.
  using Style = NumberStyle::Kind;
  struct Component;
  /// A calculation, in the order in which it was typed.
  using Components = std::vector<Component>;

  /// In bytes; longer texts are not read.
  static constexpr std::size_t kMaxTextSize = 65'536;
  /// Parentheses within each other; deeper ones are not read.
  static constexpr std::size_t kMaxDepth = 100;

  /// With no fraction digits unless said otherwise.
  static std::string formatValue(const qw::Decimal& value) { return formatValue(value, 0); }
  /// The same with up to so many.
  static std::string formatValue(const qw::Decimal& value, int maximumFractionDigits);
  /// None for an empty text and for one that cannot be read.
  static std::optional<qw::Decimal> parseString(std::string_view text) {
    return parseString(text, std::nullopt);
  }
  /// The same, rounded unless there is no behaviour.
  static std::optional<qw::Decimal> parseString(std::string_view text,
                                                const std::optional<Behavior>& behavior);

  /// Of the decimal style.
  QWNumberFormatter();
  virtual ~QWNumberFormatter();
  QWNumberFormatter(const QWNumberFormatter&) = delete;
  QWNumberFormatter& operator=(const QWNumberFormatter&) = delete;

  /// In the notation of the style, rounded half to even to the digits that are shown.
  std::string stringForObjectValue(const qw::Decimal& value) const;
  /// Reads a text; the empty one is read as no value. A division by zero cannot be read.
  virtual bool getObjectValue(std::optional<qw::Decimal>& value, std::string_view text) const;

  /// What kind of number is meant.
  Style numberStyle() const { return wishes_.kind; }
  /// Patterns, signs and fraction digits become those of the style, unless they were set.
  void setNumberStyle(Style style);
  /// Whether the separators of a text are guessed, which they are at first, or are those of the formatter.
  bool guessesSeparators() const { return guessesSeparators_; }
  /// Off, a text is read by the formatter's own separators.
  void setGuessesSeparators(bool guesses) { guessesSeparators_ = guesses; }
  /// The locale's until another one is set. An empty grouping separator stands for none.
  std::string decimalSeparator() const { return style().decimalSeparator(); }
  /// The locale's until another one is set.
  std::string groupingSeparator() const { return style().groupingSeparator(); }
  /// In place of the locale's.
  void setDecimalSeparator(std::string_view separator);
  /// In place of the locale's; empty for none.
  void setGroupingSeparator(std::string_view separator);
  /// How a number that was read is rounded; without, it keeps its digits.
  const std::optional<Behavior>& decimalNumberBehavior() const { return behavior_; }
  /// None keeps all digits.
  void setDecimalNumberBehavior(std::optional<Behavior> behavior) { behavior_ = behavior; }
  /// The style's until others are set: 0 and 3 for decimals. Cut to 0 … `NumberStyle::kMaxFractionDigits`.
  int minimumFractionDigits() const { return style().minimumFractionDigits(); }
  /// The style's until another one is set.
  int maximumFractionDigits() const { return style().maximumFractionDigits(); }
  /// Raises the maximum where it would be less.
  void setMinimumFractionDigits(int digits);
  /// Lowers the minimum where it would be more.
  void setMaximumFractionDigits(int digits);

  /// The steps of reading a calculation, for callers that need them apart; `getObjectValue` takes a shorter
  /// way to the same result where the text is one number.
  ///
  /// The tree of a calculation; none for parentheses that do not match, a number before an opening one, and
  /// no number before a closing one: "(1+2)*3" is a calculation, "((1))" is not.
  virtual std::optional<Components> componentsFromString(std::string_view text) const;
  /// Its value: unary minus first, then all "/", all "*", all "-" and all "+", each from left to right.
  std::optional<qw::Decimal> evaluateArray(const Components& components) const;
  /// The value of one part; none when it has none.
  std::optional<qw::Decimal> evaluateObject(const Component& component) const;
  /// The number that the whole text is.
  virtual std::optional<qw::Decimal> evaluateString(std::string_view text) const;

 protected:
  /// Replaces the settings of the style, which is made anew when it is next used.
  void setWishes(NumberStyle::Wishes wishes);
  /// The settings of the style.
  const NumberStyle::Wishes& wishes() const { return wishes_; }
  /// Texts that are no operators although they hold some, such as the currency symbol "S/". None is empty.
  void setWords(std::vector<std::string> words) { words_ = std::move(words); }
  /// In the current locale.
  const NumberStyle& style() const;
  /// What separators of a text mean.
  NumberReader::Separators separators() const {
    return guessesSeparators_ ? NumberReader::Separators::kGuessed : NumberReader::Separators::kOwn;
  }

 private:
  /// The place of the first one, or the size of the text.
  std::size_t findOperator(std::string_view text) const;

  NumberStyle::Wishes wishes_;
  std::vector<std::string> words_;
  mutable std::unique_ptr<NumberStyle> style_;
  mutable std::uint64_t generation_ = 0;  // of the application context that gave the locale
  mutable std::string locale_;
  std::optional<Behavior> behavior_;
  bool guessesSeparators_ = true;
};

/// A part of a calculation: a number's text, an operator, a calculation in parentheses, or a value.
struct QWNumberFormatter::Component {
  /// What the part is, and which member holds it.
  enum class Kind : std::uint8_t { kText, kOperator, kArray, kValue };

  /// What the part is.
  Kind kind = Kind::kText;
  char operation = 0;  ///< one of + - * /
  /// Of `kText`.
  std::string text{};
  /// Of `kArray`: what stands in the parentheses.
  Components array{};
  /// Of `kValue`.
  qw::Decimal value{};

  /// Whether this is that operator.
  bool isOperator(char c) const { return kind == Kind::kOperator && operation == c; }
};
