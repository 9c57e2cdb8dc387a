#pragma once

#include <cstdint>
#include <optional>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "platform/object/Value.h"

/// Operations on exact decimal numbers. Nothing fails but by not-a-number, which every operation passes on;
/// any thread.
namespace QW_EXPORT QWDecimalNumberAdditions {

/// How a result is rounded: to `scale` digits after the point, halves away from zero unless said otherwise.
struct QW_EXPORT Behavior {
  /// Digits after the point; negative for tens, hundreds and so on.
  int scale = 0;
  /// What becomes of the digits that are dropped.
  qw::RoundingMode mode = qw::RoundingMode::plain;

  /// The rounded value.
  qw::Decimal apply(const qw::Decimal& value) const { return value.rounded(scale, mode); }
  friend bool operator==(const Behavior&, const Behavior&) = default;
};

/// The number that a value is, exactly for integers and decimals, by its shortest digits for a double, and 0
/// or 1 for a bool. None for a value that is no number.
std::optional<qw::Decimal> decimalNumber(const qw::Value& number);
/// Exactly the integer.
qw::Decimal decimalNumberWithInteger(std::int64_t integer);
/// The double × 10^precision rounded to the nearest integer (halves away from zero) × 10^-precision.
qw::Decimal decimalNumberWithDouble(double value, int precision);

/// The value with the other sign.
qw::Decimal oppositeDecimalNumber(const qw::Decimal& value);
/// The value without its sign.
qw::Decimal absoluteDecimalNumber(const qw::Decimal& value);
/// What remains of the value when the greatest whole multiple of the divisor below it is taken away: it has
/// the sign of the divisor, and is not-a-number for a divisor of zero.
qw::Decimal reminderOfDivisionBy(const qw::Decimal& value, const qw::Decimal& divisor);
/// The smaller of two numbers; the first one when there is no other.
qw::Decimal minimum(const qw::Decimal& value, const std::optional<qw::Decimal>& other);
/// The larger of two numbers; the first one when there is no other.
qw::Decimal maximum(const qw::Decimal& value, const std::optional<qw::Decimal>& other);
/// Whether the signs differ; zero has another sign than every number but zero.
bool hasDifferentSignThanDecimalNumber(const qw::Decimal& value, const qw::Decimal& other);
/// Whether both are the same when rounded to `precision` digits after the point.
bool isEqualToDecimalNumber(const qw::Decimal& value, const qw::Decimal& other, int precision);

}  // namespace QWDecimalNumberAdditions
