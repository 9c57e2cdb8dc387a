#include "values/numbers/QWDecimalNumberAdditions.h"

namespace QWDecimalNumberAdditions {

std::optional<qw::Decimal> decimalNumber(const qw::Value& number) {
  return number.isNumber() ? number.decimalValue() : std::nullopt;
}

qw::Decimal decimalNumberWithInteger(std::int64_t integer) { return integer; }

qw::Decimal decimalNumberWithDouble(double value, int precision) {
  return qw::Decimal::fromDouble(value, precision);
}

qw::Decimal oppositeDecimalNumber(const qw::Decimal& value) { return -value; }

qw::Decimal absoluteDecimalNumber(const qw::Decimal& value) { return value.abs(); }

qw::Decimal reminderOfDivisionBy(const qw::Decimal& value, const qw::Decimal& divisor) {
  return value - (value / divisor).rounded(0, qw::RoundingMode::down) * divisor;
}

qw::Decimal minimum(const qw::Decimal& value, const std::optional<qw::Decimal>& other) {
  return !other || value < *other ? value : *other;
}

qw::Decimal maximum(const qw::Decimal& value, const std::optional<qw::Decimal>& other) {
  return !other || value > *other ? value : *other;
}

bool hasDifferentSignThanDecimalNumber(const qw::Decimal& value, const qw::Decimal& other) {
  const auto sign = [](const qw::Decimal& number) { return number <=> qw::Decimal(); };
  return sign(value) != sign(other);
}

bool isEqualToDecimalNumber(const qw::Decimal& value, const qw::Decimal& other, int precision) {
  const Behavior behavior{precision};
  return behavior.apply(value) == behavior.apply(other);
}

}  // namespace QWDecimalNumberAdditions
