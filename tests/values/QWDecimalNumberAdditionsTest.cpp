#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>

#include "values/numbers/QWDecimalNumberAdditions.h"

namespace {

using qw::Decimal;
using namespace QWDecimalNumberAdditions;

Decimal number(const char* text) { return Decimal::fromText(text).value_or(Decimal::nan()); }

TEST(QWDecimalNumberAdditionsTest, NumbersBecomeDecimals) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(decimalNumberWithInteger(kMin).text(), "-9223372036854775808");
  EXPECT_EQ(decimalNumberWithDouble(1.005, 2), number("1"));  // the nearest double lies below
  EXPECT_EQ(decimalNumberWithDouble(-2.5, 0), Decimal(-3));
  EXPECT_EQ(decimalNumberWithDouble(1250, -2), Decimal(1300));
  EXPECT_EQ(decimalNumber(qw::Value(0.1)), number("0.1"));
  EXPECT_EQ(decimalNumber(qw::Value(number("0.1"))), number("0.1"));
  EXPECT_EQ(decimalNumber(qw::Value(kMin)), Decimal(kMin));
  EXPECT_EQ(decimalNumber(qw::Value("12")), std::nullopt);
}

TEST(QWDecimalNumberAdditionsTest, ReminderHasTheSignOfTheDivisor) {
  EXPECT_EQ(reminderOfDivisionBy(7, 3), Decimal(1));
  EXPECT_EQ(reminderOfDivisionBy(-7, 3), Decimal(2));
  EXPECT_EQ(reminderOfDivisionBy(7, -3), Decimal(-2));
  EXPECT_EQ(reminderOfDivisionBy(number("1.05"), number("0.1")), number("0.05"));
  EXPECT_TRUE(reminderOfDivisionBy(1, 0).isNaN());
}

TEST(QWDecimalNumberAdditionsTest, ComparesAndChooses) {
  EXPECT_EQ(oppositeDecimalNumber(5), Decimal(-5));
  EXPECT_EQ(absoluteDecimalNumber(-5), Decimal(5));
  EXPECT_EQ(minimum(2, Decimal(1)), Decimal(1));
  EXPECT_EQ(minimum(1, Decimal(2)), Decimal(1));
  EXPECT_EQ(maximum(1, Decimal(2)), Decimal(2));
  EXPECT_EQ(maximum(-1, std::nullopt), Decimal(-1));
  EXPECT_TRUE(hasDifferentSignThanDecimalNumber(0, 5));
  EXPECT_TRUE(hasDifferentSignThanDecimalNumber(5, 0));
  EXPECT_TRUE(hasDifferentSignThanDecimalNumber(-5, 0));
  EXPECT_TRUE(hasDifferentSignThanDecimalNumber(-5, 5));
  EXPECT_FALSE(hasDifferentSignThanDecimalNumber(0, 0));
  EXPECT_FALSE(hasDifferentSignThanDecimalNumber(-5, -1));
  EXPECT_TRUE(isEqualToDecimalNumber(number("1.005"), number("1.01"), 2));
  EXPECT_FALSE(isEqualToDecimalNumber(number("1.0049"), number("1.01"), 2));
  EXPECT_TRUE(isEqualToDecimalNumber(149, 51, -2));
}

}  // namespace
