#include <gtest/gtest.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <chrono>
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
      {"−5", "fails", "fails"},
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

}  // namespace
