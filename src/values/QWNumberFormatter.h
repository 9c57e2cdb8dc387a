#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Decimal.h"
#include "values/NumberStyle.h"
#include "values/QWDecimalNumberAdditions.h"

/// Writes exact decimals in the notation of the locale in force, and reads what people type: a number, or a
/// calculation with + - * / and parentheses, whichever of "." and "," they mean. Patterns, signs and digits
/// are ICU's (Unicode TR 35). A formatter is dear to make and belongs to one thread; the static functions use
/// one that each thread keeps. A text that cannot be read gives false and no reason.
///
///     QWNumberFormatter formatter;
///     std::optional<qw::Decimal> value;
///     if (formatter.getObjectValue(value, "12.50 + 3 * 2")) …  // 18.5
class QWNumberFormatter {
 public:
  using Behavior = QWDecimalNumberAdditions::Behavior;
  using Style = qw::NumberStyle::Kind;
  struct Component;
  using Components = std::vector<Component>;

  /// Longer texts, and deeper nesting, are not read.
  static constexpr std::size_t kMaxTextSize = 65'536;
  static constexpr std::size_t kMaxDepth = 100;

  /// With no fraction digits unless said otherwise.
  static std::string formatValue(const qw::Decimal& value) { return formatValue(value, 0); }
  static std::string formatValue(const qw::Decimal& value, int maximumFractionDigits);
  /// None for an empty text and for one that cannot be read.
  static std::optional<qw::Decimal> parseString(std::string_view text) {
    return parseString(text, std::nullopt);
  }
  static std::optional<qw::Decimal> parseString(std::string_view text,
                                                const std::optional<Behavior>& behavior);

  /// Of the decimal style.
  QWNumberFormatter();
  virtual ~QWNumberFormatter();
  QWNumberFormatter(const QWNumberFormatter&) = delete;
  QWNumberFormatter& operator=(const QWNumberFormatter&) = delete;

  std::string stringForObjectValue(const qw::Decimal& value) const;
  /// Reads a text; the empty one is read as no value. A division by zero cannot be read.
  virtual bool getObjectValue(std::optional<qw::Decimal>& value, std::string_view text) const;

  Style numberStyle() const { return wishes_.kind; }
  void setNumberStyle(Style style);
  /// Whether the separators of a text are guessed, which they are at first, or are those of the formatter.
  bool guessesSeparators() const { return guessesSeparators_; }
  void setGuessesSeparators(bool guesses) { guessesSeparators_ = guesses; }
  /// The locale's until another one is set. An empty grouping separator stands for none.
  std::string decimalSeparator() const { return style().decimalSeparator(); }
  std::string groupingSeparator() const { return style().groupingSeparator(); }
  void setDecimalSeparator(std::string_view separator);
  void setGroupingSeparator(std::string_view separator);
  /// How a number that was read is rounded; without, it keeps its digits.
  const std::optional<Behavior>& decimalNumberBehavior() const { return behavior_; }
  void setDecimalNumberBehavior(std::optional<Behavior> behavior) { behavior_ = behavior; }
  /// The style's until others are set: 0 and 3 for decimals. Cut to 0 …
  /// `qw::NumberStyle::kMaxFractionDigits`.
  int minimumFractionDigits() const { return style().minimumFractionDigits(); }
  int maximumFractionDigits() const { return style().maximumFractionDigits(); }
  void setMinimumFractionDigits(int digits);
  void setMaximumFractionDigits(int digits);

  /// The steps of reading a calculation, for who wants them apart; `getObjectValue` takes a shorter way to
  /// the same result where the text is one number.
  ///
  /// The tree of a calculation; none for parentheses that do not match, a number before an opening one, and
  /// no number before a closing one: "(1+2)*3" is a calculation, "((1))" is not.
  virtual std::optional<Components> componentsFromString(std::string_view text) const;
  /// Its value: unary minus first, then all "/", all "*", all "-" and all "+", each from left to right.
  std::optional<qw::Decimal> evaluateArray(const Components& components) const;
  std::optional<qw::Decimal> evaluateObject(const Component& component) const;
  /// The number that the whole text is.
  virtual std::optional<qw::Decimal> evaluateString(std::string_view text) const;

 protected:
  /// Makes what depends on the wishes anew.
  void setWishes(qw::NumberStyle::Wishes wishes);
  const qw::NumberStyle::Wishes& wishes() const { return wishes_; }
  /// Texts that are no operators although they hold some, such as the currency symbol "S/". None is empty.
  void setWords(std::vector<std::string> words) { words_ = std::move(words); }
  /// In the locale in force.
  const qw::NumberStyle& style() const;
  qw::NumberReader::Separators separators() const {
    return guessesSeparators_ ? qw::NumberReader::Separators::kGuessed : qw::NumberReader::Separators::kOwn;
  }

 private:
  /// The place of the first one, or the size of the text.
  std::size_t findOperator(std::string_view text) const;

  qw::NumberStyle::Wishes wishes_;
  std::vector<std::string> words_;
  mutable std::unique_ptr<qw::NumberStyle> style_;
  mutable std::uint64_t generation_ = 0;  // of the application context that gave the locale
  mutable std::string locale_;
  std::optional<Behavior> behavior_;
  bool guessesSeparators_ = true;
};

/// A part of a calculation: a number's text, an operator, a calculation in parentheses, or a value.
struct QWNumberFormatter::Component {
  enum class Kind : std::uint8_t { kText, kOperator, kArray, kValue };

  Kind kind = Kind::kText;
  char operation = 0;  ///< one of + - * /
  std::string text{};
  Components array{};
  qw::Decimal value{};

  bool isOperator(char c) const { return kind == Kind::kOperator && operation == c; }
};
