#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/base/Decimal.h"

namespace qw {

void PrintTo(const Decimal& value, std::ostream* out) { *out << value.text(); }

namespace {

Decimal dec(std::string_view text) {
  const auto value = Decimal::fromText(text);
  EXPECT_TRUE(value) << text;
  return value.value_or(Decimal::nan());
}

// The expected values were computed with Python's decimal module.
TEST(DecimalTest, ArithmeticIsExactUpTo38DigitsAndRoundsHalvesAwayFromZeroBeyond) {
  struct Case {
    const char* left;
    char operation;
    const char* right;
    const char* result;
  };
  const Case cases[] = {
      {"99999999999999999999999999999999999999", '+', "1", "100000000000000000000000000000000000000"},
      {"99999999999999999999999999999999999999", '+', "0.5", "100000000000000000000000000000000000000"},
      {"99999999999999999999999999999999999999", '+', "0.4", "99999999999999999999999999999999999999"},
      {"10000000000000000000000000000000000000", '-', "0.06", "9999999999999999999999999999999999999.9"},
      {"10000000000000000000000000000000000000", '-', "0.05", "10000000000000000000000000000000000000"},
      {"1e38", '-', "1e-40", "100000000000000000000000000000000000000"},
      {"1e127", '+', "1e-128", "1e127"},
      {"18446744073709551616", '-', "18446744073709551615", "1"},
      {"99999999999999999999999999999999999999e127", '+', "1e127", "NaN"},
      {"18446744073709551615", '*', "18446744073709551615", "340282366920938463426481119284349108230"},
      {"12345678901234567890.123456789012345678", '*', "98765432109876543210.987654321098765432",
       "1219326311370217952261850327338667885900"},
      {"99999999999999999999999999999999999999", '*', "99999999999999999999999999999999999999",
       "9.9999999999999999999999999999999999998e75"},
      {"1e100", '*', "1e28", "1e128"},
      {"1e100", '*', "1e65", "NaN"},
      {"1e-100", '*', "1e-28", "1e-128"},
      {"5e-100", '*', "1e-29", "1e-128"},
      {"4e-100", '*', "1e-29", "0"},
      {"2", '/', "3", "0.66666666666666666666666666666666666667"},
      {"-1", '/', "3", "-0.33333333333333333333333333333333333333"},
      {"1", '/', "99999999999999999999999999999999999999", "0.00000000000000000000000000000000000001"},
      {"99999999999999999999999999999999999999", '/', "7", "14285714285714285714285714285714285714"},
      {"12345678901234567890123456789", '/', "98765432109876543210.98765",
       "124999998.86093750001423828671858759604"},
      {"7", '/', "18446744073709551617", "0.00000000000000000037947076036992655188203732916508956761"},
      {"2e-100", '/', "4e28", "1e-128"},
      {"1e-100", '/', "3e28", "0"},
      {"5", '/', "0", "NaN"},
      {"NaN", '+', "5", "NaN"},
      {"0", '*', "NaN", "NaN"},
  };
  for (const Case& c : cases) {
    const Decimal left = dec(c.left), right = dec(c.right);
    const Decimal result = c.operation == '+'   ? left + right
                           : c.operation == '-' ? left - right
                           : c.operation == '*' ? left * right
                                                : left / right;
    EXPECT_EQ(result, dec(c.result)) << c.left << ' ' << c.operation << ' ' << c.right;
  }
}

TEST(DecimalTest, RoundingReachesPastTheDigitsOnBothSides) {
  const struct {
    const char* value;
    int scale;
    const char *plain, *down, *up, *bankers;
  } cases[] = {
      {"2.5", 0, "3", "2", "3", "2"},
      {"-2.5", 0, "-3", "-3", "-2", "-2"},
      {"3.5", 0, "4", "3", "4", "4"},
      {"0.005", 2, "0.01", "0", "0.01", "0"},
      {"-0.001", 2, "0", "-0.01", "0", "0"},
      {"1250", -2, "1300", "1200", "1300", "1200"},
      {"7", -3, "0", "0", "1000", "0"},
      {"-7e-128", 3, "0", "-0.001", "0", "0"},
      {"1.25", 40, "1.25", "1.25", "1.25", "1.25"},
      {"99999999999999999999999999999999999999", -1, "1e38", "99999999999999999999999999999999999990", "1e38",
       "1e38"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(dec(c.value).rounded(c.scale, RoundingMode::plain), dec(c.plain)) << c.value;
    EXPECT_EQ(dec(c.value).rounded(c.scale, RoundingMode::down), dec(c.down)) << c.value;
    EXPECT_EQ(dec(c.value).rounded(c.scale, RoundingMode::up), dec(c.up)) << c.value;
    EXPECT_EQ(dec(c.value).rounded(c.scale, RoundingMode::bankers), dec(c.bankers)) << c.value;
  }
  EXPECT_EQ(dec("1").rounded(std::numeric_limits<int>::min(), RoundingMode::up), Decimal::nan());
  EXPECT_EQ(dec("1.5").rounded(std::numeric_limits<int>::max(), RoundingMode::up), dec("1.5"));
}

TEST(DecimalTest, EqualNumbersHaveOneTextOneHashAndOnePlace) {
  const struct {
    const char *read, *written;
  } cases[] = {
      {"1234.5", "1234.5"},  {"1234.500", "1234.5"}, {"+0012", "12"},    {"-0", "0"},
      {"0e999999", "0"},     {".05", "0.05"},        {"5.", "5"},        {"1e3", "1000"},
      {"12.5E-3", "0.0125"}, {"-1e+2", "-100"},      {"1e-999999", "0"}, {"NaN", "NaN"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(dec(c.read).text(), c.written);
    EXPECT_EQ(dec(c.read), dec(dec(c.read).text()));
    EXPECT_EQ(dec(c.read).hash(), dec(dec(c.read).text()).hash());
  }
  std::unordered_set<Decimal> set{dec("1.0"),   dec("1.00"),    Decimal(1),
                                  dec("10e-1"), Decimal::nan(), Decimal::nan()};
  EXPECT_EQ(set.size(), 2U);
  const Decimal ascending[] = {Decimal::nan(), dec("-1e127"), dec("-2"), dec("-1e-128"), Decimal(),
                               dec("1e-128"),  dec("0.9"),    dec("1"),  dec("1e127")};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t j = 0; j < std::size(ascending); ++j) EXPECT_EQ(ascending[i] <=> ascending[j], i <=> j);
  }
}

TEST(DecimalTest, LongTextsAreRoundedOnce) {
  const std::string nines(38, '9');
  EXPECT_EQ(dec("0." + nines + "5").text(), "1");
  EXPECT_EQ(dec("0." + nines + "4").text(), "0." + nines);
  std::string leadingZeros(400, '0');
  leadingZeros.back() = '7';
  EXPECT_EQ(dec(leadingZeros).text(), "7");
  // One rounding only: 0.4999… of the least unit is nothing, though its first 38 digits would round up to a
  // half.
  EXPECT_TRUE(dec("0.4" + nines + "9e-128").isZero());
}

TEST(DecimalTest, TextsThatAreNoNumberHaveNoValue) {
  using namespace std::string_view_literals;
  for (const std::string_view text :
       {""sv, "+"sv, "-"sv, "."sv, "e5"sv, "1e"sv, "1e+"sv, "1.2.3"sv, "1,5"sv, " 1"sv, "1 "sv, "--1"sv,
        "0x10"sv, "1_000"sv, "inf"sv, "-NaN"sv, "\xD9\xA1"sv, "1\0"sv, "1e166"sv}) {
    EXPECT_FALSE(Decimal::fromText(text)) << text;
  }
  const std::string tooLong(Decimal::kMaxReadSize + 1, '0');
  EXPECT_FALSE(Decimal::fromText(tooLong));
}

TEST(DecimalTest, ConvertsToAndFromBinaryNumbers) {
  EXPECT_EQ(Decimal(std::numeric_limits<std::int64_t>::min()).text(), "-9223372036854775808");
  EXPECT_EQ(Decimal(std::numeric_limits<std::uint64_t>::max()).text(), "18446744073709551615");
  EXPECT_EQ(dec("-9223372036854775808").toInt64(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(dec("9223372036854775808").toInt64(), std::nullopt);
  EXPECT_EQ(dec("-2.9").toInt64(), std::nullopt);
  EXPECT_EQ(dec("-2.9").truncatedToInt64(), -2);
  EXPECT_EQ(dec("1e127").truncatedToInt64(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(dec("-1e20").truncatedToInt64(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Decimal::nan().truncatedToInt64(), 0);
  EXPECT_EQ(Decimal::nan().toInt64(), std::nullopt);

  EXPECT_EQ(Decimal::fromDouble(12.345, 2), dec("12.35"));
  EXPECT_EQ(Decimal::fromDouble(-0.5, 0), dec("-1"));
  EXPECT_EQ(Decimal::fromDouble(1250, -2), dec("1300"));
  EXPECT_TRUE(Decimal::fromDouble(std::nan(""), 2).isNaN());
  EXPECT_TRUE(Decimal::fromDouble(std::numeric_limits<double>::infinity(), 2).isNaN());
  EXPECT_TRUE(Decimal::fromDouble(1e40, 0).isNaN());

  std::mt19937_64 random(3);
  for (int i = 0; i < 2000; ++i) {
    const std::string text = std::to_string(random()) + std::to_string(random()).substr(0, random() % 18) +
                             "e" + std::to_string(static_cast<int>(random() % 200) - 100);
    ASSERT_EQ(dec(text).toDouble(), std::stod(text)) << text;
  }
  EXPECT_TRUE(std::isnan(Decimal::nan().toDouble()));
}

TEST(DecimalTest, PowersOfTenAndSigns) {
  EXPECT_EQ(dec("1.25").multipliedByPowerOf10(2), dec("125"));
  EXPECT_EQ(dec("1.25").multipliedByPowerOf10(-200), Decimal());
  EXPECT_TRUE(dec("1.25").multipliedByPowerOf10(2000).isNaN());
  EXPECT_EQ(Decimal::withMantissa(-1250, -2).text(), "-12.5");
  EXPECT_EQ((-dec("3")).abs(), dec("3"));
  EXPECT_FALSE((-Decimal()).isNegative());
  EXPECT_TRUE((-Decimal::nan()).isNaN());
}

}  // namespace
}  // namespace qw
