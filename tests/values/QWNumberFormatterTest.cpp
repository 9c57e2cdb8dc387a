#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "support/User.h"
#include "values/numbers/QWNumberFormatter.h"

namespace {

using qw::Decimal;

class QWNumberFormatterTest : public testing::Test, public User {};

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
      {"2+3*4", "14"},
      {"10-2+3-4", "7"},
      {"8/2*4", "16"},
      {"1/8", "0.125"},
      {"-(2+3)", "-5"},
      {"2*-3", "-6"},
      {"+5", "5"},
      {"--5", "5"},
      {"2---3", "fails"},
      {"+-3", "-3"},
      {"-+3", "fails"},
      {"2*+3", "fails"},
      {"*5", "fails"},
      {"(1+2)*3", "9"},
      {"(1+2)(3)", "fails"},
      {"( 1 )", "1"},
      {"((1))", "fails"},
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
      {"1e3", "fails"},
      {"NaN", "fails"},
      {"∞", "fails"},
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

TEST_F(QWNumberFormatterTest, FormatsAndAffixesAreReplaced) {
  QWNumberFormatter formatter;
  const Decimal value = *Decimal::fromText("1234.5"), negative = -value;
  EXPECT_EQ(formatter.positiveFormat(), "#,##0.###");
  EXPECT_EQ(formatter.negativeFormat(), "-#,##0.###");
  ASSERT_TRUE(formatter.setPositiveFormat("+#,####0.00"));
  EXPECT_EQ(formatter.stringForObjectValue(value), "+1234.50");
  EXPECT_EQ(formatter.stringForObjectValue(negative), "-+1234.50");
  EXPECT_EQ(formatter.groupingSize(), 5);
  EXPECT_EQ(formatter.minimumFractionDigits(), 2);
  ASSERT_TRUE(formatter.setPositiveFormat("#,##0.00"));
  ASSERT_TRUE(formatter.setNegativeFormat("(#)"));
  EXPECT_EQ(formatter.stringForObjectValue(negative), "(1,234.50)");
  formatter.checkNegativeFormat();
  EXPECT_EQ(formatter.stringForObjectValue(negative), "-1,234.50");
  for (const char* bad : {"", "#;-#", "0#", "'"}) {
    EXPECT_FALSE(formatter.setPositiveFormat(bad)) << bad;
    EXPECT_FALSE(formatter.setNegativeFormat(bad)) << bad;
  }
  formatter.setPositiveSuffix(" Cr");
  formatter.setNegativePrefix("");
  formatter.setNegativeSuffix(" Dr-");
  EXPECT_EQ(formatter.stringForObjectValue(value), "1,234.50 Cr");
  EXPECT_EQ(formatter.stringForObjectValue(negative), "1,234.50 Dr-");
  EXPECT_EQ(formatter.negativeSuffix(), " Dr-");
  formatter.checkNegativeFormat();
  EXPECT_TRUE(formatter.stringForObjectValue(negative).starts_with("-"));
  formatter.setNumberStyle(QWNumberFormatter::Style::kPercent);
  EXPECT_EQ(formatter.stringForObjectValue(negative), "-123,450%");
}

TEST_F(QWNumberFormatterTest, GroupsAndRoundsAsItIsTold) {
  QWNumberFormatter formatter;
  formatter.setUsesGroupingSeparator(false);
  EXPECT_EQ(formatter.stringForObjectValue(1234567), "1234567");
  formatter.setUsesGroupingSeparator(true);
  formatter.setGroupingSize(4);
  EXPECT_EQ(formatter.stringForObjectValue(123456789), "1,2345,6789");
  EXPECT_EQ(read("1,2345", formatter), "12345");
  EXPECT_EQ(read("1,2345,6789", formatter), "123456789");
  formatter.setGroupingSize(3);
  formatter.setSecondaryGroupingSize(2);
  EXPECT_EQ(formatter.stringForObjectValue(123456789), "12,34,56,789");

  const struct {
    qw::RoundingMode mode;
    const char *increment, *value, *text;
  } cases[] = {
      {qw::RoundingMode::bankers, "0", "0.125", "0.12"}, {qw::RoundingMode::plain, "0", "0.125", "0.13"},
      {qw::RoundingMode::down, "0", "-0.125", "-0.13"},  {qw::RoundingMode::up, "0", "0.121", "0.13"},
      {qw::RoundingMode::plain, "0.05", "7.475", "7.5"}, {qw::RoundingMode::down, "0.05", "7.49", "7.45"},
      {qw::RoundingMode::plain, "25", "112.4", "100"},   {qw::RoundingMode::plain, "-1", "1.5", "1.5"}};
  formatter.setMaximumFractionDigits(2);
  for (const auto& c : cases) {
    formatter.setRoundingMode(c.mode);
    formatter.setRoundingIncrement(*Decimal::fromText(c.increment));
    EXPECT_EQ(formatter.stringForObjectValue(*Decimal::fromText(c.value)), c.text) << c.increment;
  }
}

TEST_F(QWNumberFormatterTest, HasALocaleOfItsOwnAndTravelsWithItsSettings) {
  const auto formatter = qw::make<QWNumberFormatter>();
  formatter->setLocale("de_CH");
  formatter->setMinimumFractionDigits(1);
  formatter->setNegativeFormat("(#)");
  formatter->setGuessesSeparators(false);
  formatter->setRoundingMode(qw::RoundingMode::down);
  formatter->setRoundingIncrement(*Decimal::fromText("0.5"));
  formatter->setUsesGroupingSeparator(true);
  formatter->setDecimalNumberBehavior(QWNumberFormatter::Behavior{1, qw::RoundingMode::up});
  const auto archive = qw::KeyedArchiver::archivedData(formatter);
  ASSERT_TRUE(archive);
  setLocale("fr_FR");
  const auto again =
      qw::KeyedUnarchiver::unarchived<QWNumberFormatter>(archive->bytes(), {&formatter->kClass});
  ASSERT_TRUE(again);
  for (const QWNumberFormatter* each : {formatter.get(), again.get()}) {
    EXPECT_EQ(each->stringForObjectValue(*Decimal::fromText("-1234.6")), "(1’235.0)");
    EXPECT_EQ(read("1’234.56", *each), "1234.6");
    EXPECT_EQ(read("1,5", *each), "fails");
    EXPECT_EQ(each->numberFormatter().read("1’234", qw::NumberReader::Separators::kOwn), 1234);
  }
}

}  // namespace
