#include <gtest/gtest.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/files/UserDefaults.h"
#include "support/User.h"
#include "values/numbers/QWColorFormatter.h"
#include "values/numbers/QWCurrencyAdditions.h"
#include "values/numbers/QWCurrencyFormatter.h"
#include "values/numbers/QWPercentageFormatter.h"

namespace {

using qw::Decimal;

Decimal number(const char* text) { return Decimal::fromText(text).value_or(Decimal::nan()); }

class QWCurrencyFormatterTest : public testing::Test, public User {
 protected:
  const QWCurrency euro_{"EUR", "€", 2, 1};
  const QWCurrency dollar_{"USD", "$", 2, 2};
  const QWCurrency yen_{"JPY", "¥", 0, number("0.01")};
  const QWCurrency franc_{"CHF", "CHF", 2, number("1.25")};
};

std::string read(std::string_view text, const QWNumberFormatter& formatter) {
  std::optional<Decimal> value;
  if (!formatter.getObjectValue(value, text)) return "fails";
  return value ? value->text() : "none";
}

struct Case {
  const char* text;
  const char* expected;
};

TEST_F(QWCurrencyFormatterTest, ReadsAmountsOfOtherCurrenciesByTheirRates) {
  QWCurrencyFormatter formatter;
  formatter.setCurrency(euro_);
  formatter.setCurrencies({euro_, dollar_, yen_, franc_, QWCurrency("AUD", "A$", 2, number("0.5")),
                           QWCurrency("PEN", "S/", 2, number("0.2")), QWCurrency()});
  constexpr Case kCases[] = {
      {"10", "10"},
      {"", "none"},
      {"USD 10", "20"},
      {"EUR 10", "10"},
      {"10USD", "20"},
      {"$10", "20"},
      {"10 $", "20"},
      {"A$10", "5"},
      {"$ USD 10", "20"},
      {"$10 EUR", "fails"},
      {"$$10", "20"},
      {"USD 10 USD", "20"},
      {"10$50", "fails"},
      {"－＄10", "fails"},
      {"−$5 ＋ 1", "-9"},
      {"$１２", "24"},
      {"¥ 1000", "10"},
      {"CHF 8", "10"},
      {"CHF8 CHF", "10"},
      {"S/ 10", "2"},
      {"-S/10/2", "-1"},
      {"S/-10", "-2"},
      {"$", "0"},
      {"EUR", "0"},
      {"$-5", "-10"},
      {"-$5", "-10"},
      {"(A$-5+1)*2", "-3"},
      {"1+$-5", "-9"},
      {"$-", "fails"},
      {"$-(5)", "-5"},  // the symbol alone is 0
      {"USD 10 + 5", "25"},
      {"$1,234.50/2", "1234.5"},
      {"10 GBP", "fails"},
      {"$x", "fails"},
      {"usd 10", "fails"},
      {"0.005", "0.01"},
      {"$$$$$$$$$1", "fails"},
  };
  for (const auto& [text, expected] : kCases) EXPECT_EQ(read(text, formatter), expected) << text;

  formatter.setCurrency(dollar_);
  EXPECT_EQ(read("EUR 3", formatter), "1.5");
  formatter.setCurrency(QWCurrency("XTS", "x", 3, 0));
  EXPECT_EQ(read("USD 3", formatter), "6");
  formatter.setCurrency(std::nullopt);
  EXPECT_EQ(read("USD 3.12345", formatter), "6.2469");
}

TEST_F(QWCurrencyFormatterTest, TheLongestSignNamesTheCurrency) {
  QWCurrencyFormatter formatter;
  formatter.setCurrency(euro_);
  formatter.setCurrencies({QWCurrency("ZAR", "R", 2, 3), euro_, QWCurrency("HNL", "L", 2, 4),
                           QWCurrency("PLN", "zł", 2, 5), QWCurrency("INR", "Rs", 2, 6), dollar_,
                           QWCurrency("CAD", "$", 2, 7), QWCurrency("NOK", "kr", 2, 8),
                           QWCurrency("SEK", "kr.", 2, 9)});
  constexpr Case kCases[] = {
      {"EUR 10", "10"},   {"10 EUR", "10"},    {"ZAR 10", "30"},    {"R10", "30"},         {"PLN 10", "50"},
      {"L 10", "40"},     {"Rs.500", "3000"},  {"Rs 0.5", "3"},     {"500 Rs.", "3000"},   {"kr.500", "4500"},
      {"kr 500", "4000"}, {"zł.5", "25"},      {"€.5", "0.5"},      {"$10", "20"},         {"$10 CAD", "70"},
      {"CAD $10", "70"},  {"€10 zł", "fails"}, {"€-10zł", "fails"}, {"EUR 5 + R 5", "20"},
  };
  for (const auto& [text, expected] : kCases) EXPECT_EQ(read(text, formatter), expected) << text;
}

TEST_F(QWCurrencyFormatterTest, InsertsTheDecimalSeparatorWhenTheUserWantsIt) {
  QWCurrencyFormatter formatter;
  formatter.setCurrency(euro_);
  formatter.setCurrencies({euro_, dollar_});
  EXPECT_EQ(read("1250", formatter), "1250");
  qw::UserDefaults::standard().set(QWCurrencyFormatter::kAutomaticallyInsertDecimalSeparatorKey, true);
  constexpr Case kCases[] = {{"1250", "12.5"},  {"-1250", "-12.5"}, {"1 250", "12.5"}, {"1250.0", "1250"},
                             {"1250,", "1250"}, {"1250 €", "1250"}, {"5", "0.05"},     {"$1250", "2500"}};
  for (const auto& [text, expected] : kCases) EXPECT_EQ(read(text, formatter), expected) << text;
  formatter.setGuessesSeparators(false);
  formatter.setDecimalSeparator(",");
  formatter.setGroupingSeparator(".");
  EXPECT_EQ(read("1.250", formatter), "12.5");
  EXPECT_EQ(read("1.250,0", formatter), "1250");
  formatter.setCurrency(yen_);
  EXPECT_EQ(read("1250", formatter), "1250");
  formatter.setCurrency(euro_);
  formatter.setCanInsertDecimalSeparatorAutomatically(false);
  EXPECT_EQ(read("1250", formatter), "1250");
}

/// What ICU writes by its own format of the locale.
std::string writtenByICU(const char* locale, const Decimal& value, int digits, const QWCurrency* currency) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberFormat> made(icu::NumberFormat::createInstance(
      icu::Locale(locale), currency ? UNUM_CURRENCY : UNUM_DECIMAL, status));
  auto& format = dynamic_cast<icu::DecimalFormat&>(*made);
  if (currency) {
    format.setCurrency(icu::UnicodeString::fromUTF8(currency->code()).getTerminatedBuffer(), status);
    icu::DecimalFormatSymbols symbols(*format.getDecimalFormatSymbols());
    symbols.setSymbol(icu::DecimalFormatSymbols::kCurrencySymbol,
                      icu::UnicodeString::fromUTF8(currency->symbol()));
    format.setDecimalFormatSymbols(symbols);
    format.setMinimumFractionDigits(digits);
  }
  format.setMaximumFractionDigits(digits);
  icu::UnicodeString text;
  std::string result;
  format.format(icu::StringPiece(value.rounded(digits, qw::RoundingMode::bankers).text()), text, nullptr,
                status);
  EXPECT_TRUE(U_SUCCESS(status)) << locale;
  return text.toUTF8String(result);
}

// Random numbers are NumberStyleFuzz's.
TEST_F(QWCurrencyFormatterTest, WritesWhatICUWritesAndReadsItBack) {
  const QWCurrency egyptian("EGP", "ج.م.\u200f", 2, 1), odd("USD", "Fr.", 3, 3), blank("CHF", "€ u", 2, 1);
  const QWCurrency* const currencies[] = {nullptr, &euro_, &franc_, &yen_, &odd, &blank, &egyptian};
  for (const char* locale : {"en_US", "fr_FR", "de_DE", "de_CH",       "de_AT", "ja_JP", "ar_EG",
                             "fa_IR", "hi_IN", "sv_SE", "nl_NL",       "nb_NO", "es_CL", "es_ES",
                             "he_IL", "pt_PT", "pl_PL", "en_US_POSIX", "bn_BD", "my_MM", "en_ZA"}) {
    setLocale(locale);
    for (const QWCurrency* currency : currencies) {
      const int digits = currency ? currency->fractionDigits() : 40;
      QWCurrencyFormatter formatter;
      if (currency) {
        formatter.setCurrency(*currency);
        formatter.setCurrencies({*currency});
      } else {
        formatter.setNumberStyle(QWNumberFormatter::Style::kDecimal);
        formatter.setMaximumFractionDigits(digits);
      }
      for (const char* text :
           {"0", "1", "-1", "0.125", "-0.375", "1234.5", "-1234.56", "999.9995", "1234567.891",
            "-98765432109876.54", "99999999999999999999999999999999999999", "-1e60", "1e-30"}) {
        const Decimal shown = number(text).rounded(digits, qw::RoundingMode::bankers);
        const std::string written = formatter.stringForObjectValue(number(text));
        ASSERT_EQ(written, writtenByICU(locale, number(text), digits, currency)) << locale;
        for (const bool guesses : {true, false}) {
          formatter.setGuessesSeparators(guesses);
          ASSERT_EQ(read(written, formatter), shown.text()) << locale << " " << written;
        }
      }
    }
  }
}

TEST_F(QWCurrencyFormatterTest, WritesTheMinusSignFirstAndNoBlankForNoSymbol) {
  const Decimal value = number("-1234.5678");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, &dollar_), "-$1,234.57");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, std::optional(yen_)), "-¥1,235");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, nullptr), "-1,234.5678");
  setLocale("fy_NL");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, &euro_), "-€\u00a01.234,57");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, nullptr), "-1.234,5678");
  setLocale("de_DE");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, &euro_), "-1.234,57\u00a0€");
  EXPECT_EQ(QWCurrencyFormatter::formatValue(value, nullptr), "-1.234,5678");
  // More currencies in turn than are kept.
  for (int round = 0; round < 2; ++round) {
    for (std::int16_t digits = 0; digits < 20; ++digits) {
      const QWCurrency currency("EUR", std::to_string(digits), digits, 1);
      const std::string fraction = digits ? "," + std::string(static_cast<std::size_t>(digits), '0') : "";
      EXPECT_EQ(QWCurrencyFormatter::formatValue(1, &currency),
                "1" + fraction + "\u00a0" + std::to_string(digits));
    }
  }
}

TEST_F(QWCurrencyFormatterTest, EveryThreadHasItsOwn) {
  std::vector<std::thread> threads;
  for (int digits = 0; digits < 4; ++digits) {
    threads.emplace_back([this, digits] {
      for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(QWCurrencyFormatter::formatValue(5, i % 2 ? &euro_ : &yen_), i % 2 ? "€5.00" : "¥5");
        const std::string text = QWNumberFormatter::formatValue(number("1234.56789"), digits);
        EXPECT_EQ(QWNumberFormatter::parseString(text),
                  number("1234.56789").rounded(digits, qw::RoundingMode::plain));
        EXPECT_EQ(QWPercentageFormatter::parseString("5%"), number("0.05"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(QWCurrencyFormatterTest, CodeAndSymbolCanBeSetAlone) {
  QWCurrencyFormatter formatter;
  EXPECT_EQ(formatter.stringForObjectValue(5), "$5.00");
  formatter.setCurrencyCode("JPY");
  EXPECT_EQ(formatter.stringForObjectValue(5), "¥5");
  formatter.setCurrencySymbol("yen");
  formatter.setCurrencyCode("JPY");
  EXPECT_EQ(formatter.stringForObjectValue(5), "yen\u00a05");
  formatter.setCurrencyCode("GBP");
  EXPECT_EQ(formatter.stringForObjectValue(5), "£5.00");
  formatter.setCurrencyCode("points");
  EXPECT_EQ(formatter.stringForObjectValue(5), "points\u00a05.00");
}

TEST_F(QWCurrencyFormatterTest, TravelsWithItsCurrencies) {
  const auto formatter = qw::make<QWCurrencyFormatter>();
  formatter->setCurrency(euro_);
  formatter->setCurrencies({euro_, dollar_});
  formatter->setCanInsertDecimalSeparatorAutomatically(false);
  const auto archive = qw::KeyedArchiver::archivedData(formatter);
  ASSERT_TRUE(archive);
  const auto value = qw::KeyedUnarchiver::unarchivedValue(archive->bytes(), {&QWNumberFormatter::kClass});
  ASSERT_TRUE(value);
  const auto again = value->objectAs<QWCurrencyFormatter>();
  ASSERT_TRUE(again);
  EXPECT_EQ(again->stringForObjectValue(number("1.005")), "€1.00");
  EXPECT_EQ(read("$1.005", *again), "2.01");
  EXPECT_EQ(again->currency(), euro_);
  EXPECT_TRUE(again->canInsertDecimalSeparatorAutomatically());
}

TEST_F(QWCurrencyFormatterTest, HostileTextsFailQuickly) {
  std::vector<QWCurrency> currencies;
  for (int i = 0; i < 200; ++i) currencies.emplace_back("A" + std::to_string(i), "A", 2, 1);
  QWCurrencyFormatter formatter;
  formatter.setCurrencies(std::move(currencies));
  const std::size_t size = QWNumberFormatter::kMaxTextSize;
  std::string sum;
  while (sum.size() + 2 < size) sum += "A-";
  for (const std::string& text : {std::string(size, 'A'), std::string(std::size_t{1} << 20, '('), sum,
                                  std::string(QWNumberFormatter::kMaxDepth + 1, '(') + "1" +
                                      std::string(QWNumberFormatter::kMaxDepth + 1, ')')}) {
    EXPECT_EQ(read(text, formatter), "fails");
  }
}

TEST_F(QWCurrencyFormatterTest, ArithmeticKeepsTheDecimalsOfTheCurrency) {
  using namespace QWCurrencyAdditions;
  EXPECT_EQ(decimalNumberByAdding(0, number("0.005"), euro_), number("0.01"));
  EXPECT_EQ(decimalNumberByAdding(number("-0.005"), std::nullopt, euro_), number("-0.01"));
  EXPECT_EQ(decimalNumberBySubtracting(number("1.234"), number("0.5"), euro_), number("0.73"));
  EXPECT_EQ(decimalNumberByMultiplyingBy(number("19.99"), number("0.19"), euro_), number("3.8"));
  EXPECT_EQ(decimalNumberByMultiplyingBy(5, std::nullopt, euro_), Decimal());
  EXPECT_EQ(decimalNumberByDividingBy(100, 3, yen_), Decimal(33));
  EXPECT_TRUE(decimalNumberByDividingBy(100, std::nullopt, euro_).isNaN());
}

TEST_F(QWCurrencyFormatterTest, CurrencyIsAValueThatTravels) {
  setLocale("ja_JP");
  EXPECT_EQ(QWCurrency::defaultCurrency(), QWCurrency("JPY", "￥", 2, 1));
  setLocale("fr");
  EXPECT_EQ(QWCurrency::defaultCurrency(), QWCurrency("", "", 2, 1));

  using Traits = qw::ValueTraits<QWCurrency>;
  const QWCurrency currency("BTC", "₿", -3, number("12345.678901234567890123456789"));
  const auto archive = qw::KeyedArchiver::archivedData(Traits::toValue(currency));
  ASSERT_TRUE(archive);
  const auto value = qw::KeyedUnarchiver::unarchivedValue(archive->bytes(), {});
  ASSERT_TRUE(value);
  EXPECT_EQ(Traits::fromValue(*value), currency);
  EXPECT_EQ(value->description(), "BTC");
  EXPECT_LT(qw::Value::compare(Traits::toValue(currency), Traits::toValue(dollar_)), 0);
}

TEST_F(QWCurrencyFormatterTest, PercentagesAreHundredths) {
  EXPECT_EQ(QWPercentageFormatter::formatValue(number("0.125"), 2), "12.5%");
  EXPECT_EQ(QWPercentageFormatter::formatValue(number("-12.34567"), 0), "-1,235%");
  QWPercentageFormatter formatter;
  EXPECT_EQ(formatter.stringForObjectValue(number("0.123456")), "12.35%");
  constexpr Case kCases[] = {{"12.5", "0.125"}, {"12.5%", "0.125"}, {"% 12,5 %", "0.125"}, {"-5%", "-0.05"},
                             {"50%+1", "0.51"}, {"%", "fails"},     {"", "none"},          {"x%", "fails"}};
  for (const auto& [text, expected] : kCases) EXPECT_EQ(read(text, formatter), expected) << text;
  EXPECT_EQ(QWPercentageFormatter::parseString("1/3"), number("0.0033333333333333333333333333333333333333"));
  formatter.setDecimalNumberBehavior(QWNumberFormatter::Behavior{2});
  EXPECT_EQ(read("12.5%", formatter), "0.13");
  for (const char* locale : {"en_US", "fr_FR", "ar_EG", "sv_SE", "tr_TR", "fa_IR", "eu_ES"}) {
    setLocale(locale);
    const std::string text = QWPercentageFormatter::formatValue(number("-12.345"), 1);
    EXPECT_EQ(QWPercentageFormatter::parseString(text), number("-12.345")) << text;
  }
}

TEST(QWColorFormatterTest, ReadsWhatItWritesAndNothingFromNothing) {
  const QWColorFormatter formatter;
  std::optional<qw::Color> color = qw::Color::black();
  EXPECT_TRUE(formatter.getObjectValue(color, ""));
  EXPECT_EQ(color, std::nullopt);
  EXPECT_TRUE(formatter.getObjectValue(color, "Tomato"));
  EXPECT_EQ(formatter.stringForObjectValue(*color), "#ff6347");
  EXPECT_FALSE(formatter.getObjectValue(color, "tomatoes"));
  EXPECT_EQ(color, std::nullopt);
}

}  // namespace
