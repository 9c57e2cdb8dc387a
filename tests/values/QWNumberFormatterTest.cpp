#include <gtest/gtest.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "platform/ApplicationContext.h"
#include "values/QWNumberFormatter.h"

namespace {

using qw::Decimal;

class QWNumberFormatterTest : public testing::Test {
 protected:
  void setLocale(const std::string& locale) {
    context_.change([&](qw::ApplicationContext& context) { context.locale = locale; });
  }

 private:
  qw::ApplicationContext::Override context_;
};

/// The plain text of what is read, "fails", or "none" for no value.
std::string read(std::string_view text, const QWNumberFormatter& formatter = QWNumberFormatter()) {
  std::optional<Decimal> value = 99;
  if (!formatter.getObjectValue(value, text)) return value ? "a value in spite of failing" : "fails";
  return value ? value->text() : "none";
}

struct Case {
  const char* text;
  const char* expected;
};

TEST_F(QWNumberFormatterTest, ReadsCalculations) {
  constexpr Case kCases[] = {
      {"", "none"},
      {" ", "fails"},
      {"12.50 + 3 * 2", "18.5"},
      {"2+3*4", "14"},
      {"10-2-3", "5"},
      {"10-2+3-4", "7"},
      {"8/2*4", "16"},
      {"1/8", "0.125"},
      {"2*6/4/3", "1"},
      {"-(2+3)", "-5"},
      {"2*-3", "-6"},
      {"-2*-3", "6"},
      {"+5", "5"},
      {"+5*2", "10"},
      {"--5", "5"},
      {"2--3", "5"},
      {"2---3", "fails"},
      {"+-3", "-3"},
      {"-+3", "fails"},
      {"2*+3", "fails"},
      {"*5", "fails"},
      {"(1+2)*3", "9"},
      {"(1+2)(3)", "fails"},
      {"(1+2)3", "fails"},
      {"( 1 )", "1"},
      {"((1))", "fails"},
      {"((1)+2)*2", "6"},
      {"(1+(2))", "fails"},
      {"3(4)", "fails"},
      {"(2+3", "fails"},
      {"2+3)", "fails"},
      {"()", "fails"},
      {"2+", "fails"},
      {"-", "fails"},
      {"2 + x", "fails"},
      {"1/0", "fails"},
      {"0*(1/0)+2", "fails"},
      {"1/(2-2)", "fails"},
      {"1e3", "fails"},
      {"NaN", "fails"},
      {"∞", "fails"},
      {"0.1+0.2", "0.3"},
      {"99999999999999999999999999999999999999", "99999999999999999999999999999999999999"},
      {"9999999999999999999999999999999999999999", "10000000000000000000000000000000000000000"},
      {"0.00000000000000000000000000000000000001", "0.00000000000000000000000000000000000001"},
  };
  for (const auto& [text, expected] : kCases) EXPECT_EQ(read(text), expected) << text;
}

TEST_F(QWNumberFormatterTest, GuessesWhatTheSeparatorsMean) {
  struct {
    const char* text;
    const char* american;
    const char* german;
  } const kCases[] = {
      {"1.234,5", "1234.5", "1234.5"},
      {"1,234.5", "1234.5", "1234.5"},
      {"1 234,5", "1234.5", "1234.5"},
      {"1'234.5", "1234.5", "1234.5"},
      {"1’234.5", "1234.5", "1234.5"},
      {"1\u00a0234\u202f567,5", "1234567.5", "1234567.5"},
      {"1 234'567", "fails", "fails"},
      {"1.234", "1.234", "1234"},
      {"1,234", "1234", "1.234"},
      {"1.23", "1.23", "1.23"},
      {"1,23", "1.23", "1.23"},
      {"1.234.567", "1234567", "1234567"},
      {"1,234,567", "1234567", "1234567"},
      {"1.23.45", "fails", "fails"},
      {"12.03.2024", "fails", "fails"},
      {"1.2345", "1.2345", "fails"},
      {"1234,567.8", "fails", "fails"},
      {"12 34", "fails", "fails"},
      {"1,23,456.5", "fails", "fails"},
      {"1,,234.5", "fails", "fails"},
      {"1.234.", "fails", "fails"},
      {".5", "0.5", "0.5"},
      {"5,", "5", "5"},
      {".", "fails", "fails"},
      {" \u00a01,5\t", "1.5", "1.5"},
      {"1.5 EUR", "fails", "fails"},
      {"−5", "-5", "-5"},
      {"–5", "-5", "-5"},
      {"－５", "-5", "-5"},
      {"１２３", "123", "123"},
      {"１，２３４．５", "1234.5", "1234.5"},
      {"１＋２−（１）", "2", "2"},
      {"١٢٣", "123", "123"},
      {"१२३", "123", "123"},
      {"1\u2009234\u3000567", "1234567", "1234567"},
      {"²", "fails", "fails"},
      {"\xff", "fails", "fails"},
  };
  for (const auto& test : kCases) {
    setLocale("en_US");
    EXPECT_EQ(read(test.text), test.american) << test.text;
    setLocale("de_DE");
    EXPECT_EQ(read(test.text), test.german) << test.text;
  }
  setLocale("hi_IN");
  EXPECT_EQ(read("12,34,567.5"), "1234567.5");
  EXPECT_EQ(read("1,234,567.5"), "1234567.5");
  EXPECT_EQ(read("123,45,678.5"), "fails");
}

TEST_F(QWNumberFormatterTest, ReadsOnlyItsOwnSeparatorsWhenItDoesNotGuess) {
  QWNumberFormatter formatter;
  formatter.setGuessesSeparators(false);
  formatter.setDecimalSeparator(",");
  formatter.setGroupingSeparator("'");
  EXPECT_EQ(read("1'234,5", formatter), "1234.5");
  EXPECT_EQ(read("1.5", formatter), "fails");
  formatter.setGroupingSeparator("");
  EXPECT_EQ(read("1234,5", formatter), "1234.5");
  EXPECT_EQ(read("1'234,5", formatter), "fails");
  formatter.setDecimalSeparator("_");
  EXPECT_EQ(read("1234_5", formatter), "1234.5");
}

TEST_F(QWNumberFormatterTest, RoundsWhatItReadsOnlyWhenAsked) {
  EXPECT_EQ(QWNumberFormatter::parseString("2/3", QWNumberFormatter::Behavior{2}), Decimal::fromText("0.67"));
  EXPECT_EQ(QWNumberFormatter::parseString("0.125", QWNumberFormatter::Behavior{2, qw::RoundingMode::down}),
            Decimal::fromText("0.12"));
  EXPECT_EQ(QWNumberFormatter::parseString("0.125"), Decimal::fromText("0.125"));
  EXPECT_EQ(QWNumberFormatter::parseString("x"), std::nullopt);
}

/// Numbers of all sizes that people meet, and some that they do not.
std::vector<Decimal> numbers() {
  std::vector<Decimal> result;
  for (const char* text :
       {"0", "0.5", "-0.5", "1.5", "2.5", "-0.005", "0.015", "-0.004", "9.995", "999.9995", "-1000",
        "99999999999999999999999999999999999999", "-1e60", "1e120", "1e-100", "NaN"}) {
    result.push_back(*Decimal::fromText(text));
  }
  std::mt19937_64 random(1);
  for (int i = 0; i < 400; ++i) {
    const auto mantissa = static_cast<std::int64_t>(random() >> (i % 63)) * (i % 3 == 0 ? -1 : 1);
    result.push_back(Decimal::withMantissa(mantissa, static_cast<int>(random() % 12) - 8));
  }
  return result;
}

TEST_F(QWNumberFormatterTest, WritesWhatICUWritesAndReadsItBack) {
  for (const char* locale :
       {"en_US", "fr_FR", "de_DE", "de_CH", "de_AT", "ja_JP", "ar_EG", "fa_IR", "he_IL", "hi_IN", "sv_SE",
        "es_ES", "pl_PL", "pt_PT", "en_US_POSIX", "bn_BD", "my_MM", "en_ZA"}) {
    setLocale(locale);
    QWNumberFormatter formatter;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::NumberFormat> format(
        icu::NumberFormat::createInstance(icu::Locale(locale), UNUM_DECIMAL, status));
    ASSERT_TRUE(U_SUCCESS(status)) << locale;
    for (const int digits : {0, 2, 3, 40}) {
      formatter.setMaximumFractionDigits(digits);
      format->setMaximumFractionDigits(digits);
      for (const Decimal& value : numbers()) {
        const Decimal shown = value.rounded(digits, qw::RoundingMode::bankers);
        icu::UnicodeString expected;
        std::string expectedText;
        format->format(icu::StringPiece(shown.text()), expected, nullptr, status);
        const std::string text = formatter.stringForObjectValue(value);
        ASSERT_EQ(text, expected.toUTF8String(expectedText)) << locale << " " << value.text();
        if (value.isNaN()) continue;
        formatter.setGuessesSeparators(false);
        ASSERT_EQ(read(text, formatter), shown.text()) << locale << " " << text;
        formatter.setGuessesSeparators(true);
        ASSERT_EQ(read(text, formatter), shown.text()) << locale << " " << text;
      }
    }
  }
}

TEST_F(QWNumberFormatterTest, FollowsTheLocaleAndKeepsWhatWasSet) {
  QWNumberFormatter formatter;
  const Decimal value = *Decimal::fromText("-1234.5678");
  EXPECT_EQ(formatter.stringForObjectValue(value), "-1,234.568");
  EXPECT_EQ(QWNumberFormatter::formatValue(value), "-1,235");
  formatter.setGroupingSeparator("'");
  formatter.setMinimumFractionDigits(6);
  EXPECT_EQ(formatter.stringForObjectValue(value), "-1'234.567800");
  EXPECT_EQ(formatter.maximumFractionDigits(), 6);
  setLocale("sv_SE");
  EXPECT_EQ(formatter.stringForObjectValue(value), "−1'234,567800");
  EXPECT_EQ(QWNumberFormatter::formatValue(value, 2), "−1\u00a0234,57");
  formatter.setMaximumFractionDigits(1);
  EXPECT_EQ(formatter.stringForObjectValue(value), "−1'234,6");
  EXPECT_EQ(formatter.stringForObjectValue(*Decimal::fromText("-0.01")), "0,0");
  EXPECT_EQ(QWNumberFormatter::parseString("−1 234,5"), Decimal::fromText("-1234.5"));
}

/// Evaluates by replacing in place, one operator at a time: slow, and simple to compare with the rules.
std::optional<Decimal> evaluateInPlace(QWNumberFormatter::Components list,
                                       const QWNumberFormatter& formatter) {
  using Kind = QWNumberFormatter::Component::Kind;
  const auto evaluate = [&](const QWNumberFormatter::Component& part) -> std::optional<Decimal> {
    if (part.kind == Kind::kOperator) return std::nullopt;
    if (part.kind == Kind::kArray) return evaluateInPlace(part.array, formatter);
    return part.kind == Kind::kText ? formatter.evaluateString(part.text) : part.value;
  };
  const auto replace = [&list](std::size_t at, std::size_t count, const Decimal& value) {
    list[at] = {.kind = Kind::kValue, .value = value};
    const auto next = list.begin() + static_cast<std::ptrdiff_t>(at) + 1;
    list.erase(next, next + static_cast<std::ptrdiff_t>(count) - 1);
  };
  for (std::size_t i = 0; i + 1 < list.size(); ++i) {
    if (!list[i].isOperator('-') || (i > 0 && list[i - 1].kind != Kind::kOperator)) continue;
    if (const auto value = evaluate(list[i + 1])) replace(i, 2, -*value);
  }
  for (const char operation : {'/', '*', '-', '+'}) {
    for (std::size_t i = 0; i + 1 < list.size(); ++i) {
      if (!list[i].isOperator(operation)) continue;
      const auto right = evaluate(list[i + 1]);
      if (i == 0) {
        if (!right || operation == '*' || operation == '/') break;
        replace(0, 2, operation == '-' ? -*right : *right);
        continue;
      }
      const auto left = evaluate(list[i - 1]);
      if (!left || !right) break;
      replace(i - 1, 3,
              operation == '/'   ? *left / *right
              : operation == '*' ? *left * *right
              : operation == '-' ? *left - *right
                                 : *left + *right);
      --i;
    }
  }
  const auto value = list.size() == 1 ? evaluate(list.front()) : std::nullopt;
  return value && !value->isNaN() ? value : std::nullopt;
}

TEST_F(QWNumberFormatterTest, ReadsCalculationsAsReplacingInPlaceDoes) {
  const QWNumberFormatter formatter;
  std::mt19937 random(1);
  constexpr std::string_view kSigns = "1234.5  --++**//(())0";
  int values = 0;
  for (int i = 0; i < 200'000; ++i) {
    std::string text;
    for (auto size = random() % 12; size < 12; ++size) text += kSigns[random() % kSigns.size()];
    const auto components = formatter.componentsFromString(text);
    const auto expected = components ? evaluateInPlace(*components, formatter) : std::nullopt;
    std::optional<Decimal> value;
    ASSERT_EQ(formatter.getObjectValue(value, text), expected.has_value()) << text;
    ASSERT_EQ(value, expected) << text;
    values += value.has_value();
  }
  EXPECT_GT(values, 10'000);
}

TEST_F(QWNumberFormatterTest, ReadsSingleNumbersAsICUDoesWithTheGuessedSeparators) {
  for (const char* locale : {"en_US", "de_DE"}) {
    setLocale(locale);
    const char ownGrouping = locale == std::string_view("en_US") ? ',' : '.';
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::NumberFormat> made(
        icu::NumberFormat::createInstance(icu::Locale(locale), UNUM_DECIMAL, status));
    auto& format = dynamic_cast<icu::DecimalFormat&>(*made);
    format.setLenient(false);
    std::mt19937 random(2);
    int values = 0;
    for (int i = 0; i < 5'000; ++i) {
      std::string text(1, static_cast<char>('1' + random() % 9));
      for (auto groups = random() % 4; groups < 4; ++groups) {
        for (auto digits = random() % 8 ? 0 : random() % 3; digits < 3; ++digits)
          text += static_cast<char>('0' + random() % 10);
        if (groups < 3) text += (".,' .,")[random() % 6];
      }
      const auto dot = text.rfind('.'), comma = text.rfind(',');
      const auto has = [&](char c) { return text.find(c) != text.npos; };
      char decimal = '.', grouping = 0;
      if (has('.') && has(',')) {
        decimal = dot > comma ? '.' : ',';
        grouping = dot > comma ? ',' : '.';
      } else if (has(' ') || has('\'')) {
        grouping = has(' ') ? ' ' : '\'';
        decimal = has(',') ? ',' : '.';
      } else if (has('.') || has(',')) {
        decimal = has('.') ? '.' : ',';
        const std::size_t last = text.rfind(decimal);
        const std::string after = text.substr(last + 1, 3);
        const bool three = after.size() == 3 && after.find_first_not_of("0123456789") == after.npos;
        if (text.find(decimal) != last || (three && decimal == ownGrouping)) {
          grouping = decimal;
          decimal = decimal == '.' ? ',' : '.';
        }
      }
      icu::DecimalFormatSymbols symbols(*format.getDecimalFormatSymbols());
      symbols.setSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol,
                        icu::UnicodeString(static_cast<char16_t>(decimal)));
      symbols.setSymbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol,
                        icu::UnicodeString(static_cast<char16_t>(grouping ? grouping : '#')));
      format.setDecimalFormatSymbols(symbols);
      format.setGroupingUsed(grouping != 0);
      icu::Formattable number;
      icu::ParsePosition position;
      const auto wide = icu::UnicodeString::fromUTF8(text);
      format.parse(wide, number, position);
      const bool reads = position.getIndex() == wide.length();
      const std::string expected =
          reads ? Decimal::fromText(number.getDecimalNumber(status).data())->text() : "fails";
      ASSERT_EQ(read(text), expected) << locale << " " << text;
      values += reads;
    }
    EXPECT_GT(values, 500);
  }
}

}  // namespace
