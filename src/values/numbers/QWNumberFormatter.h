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
#include "platform/object/Object.h"
#include "values/numbers/NumberStyle.h"
#include "values/numbers/QWDecimalNumberAdditions.h"

/// Writes exact decimals in the notation of the locale in force, or of one of its own, and reads what people
/// type: a number, or a calculation with + - * / and parentheses, whichever of "." and "," they mean.
/// Patterns, signs and digits are ICU's (Unicode TR 35). Belongs to one thread; as making one takes long, the
/// static functions use one that each thread keeps. Archived with its settings (`qw::make` gives one that can
/// be). A text that cannot be read gives false and no reason.
///
///     QWNumberFormatter formatter;
///     std::optional<qw::Decimal> value;
///     bool isRead = formatter.getObjectValue(value, "12.50 + 3 * 2");  // 18.5
class QW_EXPORT QWNumberFormatter : public qw::Object {
 public:
  static const qw::Class kClass;

  /// How a number that was read is rounded.
  using Behavior = QWDecimalNumberAdditions::Behavior;
  /// Decimal, amount or percentage.
  using Style = qw::NumberStyle::Kind;
  /// All settings at once, for formatters that derive from this one.
  using Options = qw::NumberStyle::Options;
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
  ~QWNumberFormatter() override;

  /// In the notation of the style, rounded half to even to the digits that are shown.
  std::string stringForObjectValue(const qw::Decimal& value) const;
  /// Reads a text; the empty one is read as no value. A division by zero cannot be read.
  virtual bool getObjectValue(std::optional<qw::Decimal>& value, std::string_view text) const;

  /// Decimal unless another one is set.
  Style numberStyle() const { return options_.kind; }
  /// A style brings its own formats and affixes.
  void setNumberStyle(Style style);
  /// ICU's identifier; empty for the locale in force, which the formatter then follows.
  const std::string& locale() const { return locale_; }
  /// Drops nothing that was set: only what is the locale's changes.
  void setLocale(std::string_view locale);
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
  /// The style's until others are set: 0 and 3 for decimals. Cut to 0 …
  /// `qw::NumberStyle::kMaxFractionDigits`.
  int minimumFractionDigits() const { return style().minimumFractionDigits(); }
  /// The style's until another one is set.
  int maximumFractionDigits() const { return style().maximumFractionDigits(); }
  /// Raises the maximum where it would be less.
  void setMinimumFractionDigits(int digits);
  /// Lowers the minimum where it would be more.
  void setMaximumFractionDigits(int digits);

  /// The pattern of TR 35 for positive numbers; the locale's until another one is set.
  std::string positiveFormat() const { return style().positiveFormat(); }
  /// The pattern for negative numbers; the locale's until another one is set.
  std::string negativeFormat() const { return style().negativeFormat(); }
  /// A pattern brings its own fraction digits and groups, and "-" before it for negative numbers. False, with
  /// nothing changed, for what is no such pattern.
  bool setPositiveFormat(std::string_view format);
  /// Only what stands around the digits counts. False, with nothing changed, for what is no such pattern.
  bool setNegativeFormat(std::string_view format);
  /// Puts a minus sign before negative numbers if they are shown in parentheses or with the sign behind. The
  /// formats of locales went through this already; those that were set did not.
  void checkNegativeFormat();
  /// The very text before the digits of a positive number, with all signs in it.
  std::string positivePrefix() const { return style().affix(Affix::kPositivePrefix); }
  /// The very text behind the digits of a positive number.
  std::string positiveSuffix() const { return style().affix(Affix::kPositiveSuffix); }
  /// The very text before the digits of a negative number, with its minus sign.
  std::string negativePrefix() const { return style().affix(Affix::kNegativePrefix); }
  /// The very text behind the digits of a negative number.
  std::string negativeSuffix() const { return style().affix(Affix::kNegativeSuffix); }
  /// In place of the pattern's, to the letter.
  void setPositivePrefix(std::string_view prefix) { change(&Options::positivePrefix, std::string(prefix)); }
  /// In place of the pattern's, to the letter.
  void setPositiveSuffix(std::string_view suffix) { change(&Options::positiveSuffix, std::string(suffix)); }
  /// In place of the pattern's, to the letter: without a minus sign in it, none is shown.
  void setNegativePrefix(std::string_view prefix) { change(&Options::negativePrefix, std::string(prefix)); }
  /// In place of the pattern's, to the letter.
  void setNegativeSuffix(std::string_view suffix) { change(&Options::negativeSuffix, std::string(suffix)); }
  /// Whether the digits before the fraction are shown in groups; the locale's until it is set.
  bool usesGroupingSeparator() const { return style().usesGroupingSeparator(); }
  /// Digits of the last group before the fraction; the locale's until another size is set.
  int groupingSize() const { return style().groupingSize(); }
  /// Digits of all other groups; 0 where they are as long as the last one.
  int secondaryGroupingSize() const { return style().secondaryGroupingSize(); }
  /// In place of the locale's.
  void setUsesGroupingSeparator(bool uses) { change(&Options::usesGroupingSeparator, uses); }
  /// In place of the locale's; cut to 1 … `qw::NumberStyle::kMaxGroupingSize`.
  void setGroupingSize(int size) { change(&Options::groupingSize, size); }
  /// In place of the locale's; cut to 1 … `qw::NumberStyle::kMaxGroupingSize`.
  void setSecondaryGroupingSize(int size) { change(&Options::secondaryGroupingSize, size); }
  /// How a number is rounded to what is shown of it: halves to even unless another mode is set.
  qw::RoundingMode roundingMode() const { return options_.roundingMode; }
  /// What is shown is a multiple of it; 0, as at first, for any number.
  const qw::Decimal& roundingIncrement() const { return options_.roundingIncrement; }
  /// For what is written; `setDecimalNumberBehavior` is for what is read.
  void setRoundingMode(qw::RoundingMode mode) { change(&Options::roundingMode, mode); }
  /// What is below 0 counts as 0.
  void setRoundingIncrement(const qw::Decimal& increment);

  /// What single numbers are read with, by the formatter's separators.
  const qw::NumberReader& numberFormatter() const { return style().reader(); }

  void encodeWithCoder(qw::KeyedArchiver& coder) const override;
  void initWithCoder(qw::KeyedUnarchiver& coder) override;

  /// The steps of reading a calculation, for who wants them apart; `getObjectValue` takes a shorter way to
  /// the same result where the text is one number.
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
  /// Makes what depends on the options anew.
  void setOptions(Options options);
  /// What was set, in this formatter and by its style.
  const Options& options() const { return options_; }
  /// Texts that are no operators although they hold some, such as the currency symbol "S/". None is empty.
  void setWords(std::vector<std::string> words) { words_ = std::move(words); }
  /// In the formatter's locale.
  const qw::NumberStyle& style() const;
  /// Which separators the texts are read with.
  qw::NumberReader::Separators separators() const {
    return guessesSeparators_ ? qw::NumberReader::Separators::kGuessed : qw::NumberReader::Separators::kOwn;
  }

 private:
  using Affix = qw::NumberStyle::Affix;
  template <class T, class Value>
  void change(T Options::*option, Value value) {
    options_.*option = std::move(value);
    style_.reset();
  }
  void resetFormats();
  /// The place of the first one, or the size of the text.
  std::size_t findOperator(std::string_view text) const;

  Options options_;
  std::vector<std::string> words_;
  mutable std::unique_ptr<qw::NumberStyle> style_;
  mutable std::uint64_t generation_ = 0;  // of the application context that gave the locale
  mutable std::string styleLocale_;
  std::string locale_;
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
