#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Export.h"

namespace qw {

/// How `Decimal::rounded` treats the digits that it drops: `plain` rounds halves away from zero, `down` and
/// `up` go towards minus and plus infinity, `bankers` rounds halves to the even neighbour.
enum class RoundingMode : std::uint8_t { plain, down, up, bankers };

/// An exact decimal number: a sign, a mantissa of up to 38 digits and a power of ten from -128 to 127, or not
/// a number. Sums, differences and products are exact as long as they fit 38 digits and are rounded half away
/// from zero beyond that, as quotients are. A result too large, a division by zero and every operation on
/// not-a-number give not-a-number; a result too small gives zero. Nothing throws or allocates except
/// `text()`.
class QW_EXPORT Decimal {
 public:
  /// Significant digits.
  static constexpr int kMaxDigits = 38;
  /// Of the power of ten that the mantissa is multiplied by.
  static constexpr int kMinExponent = -128;
  /// The largest power of ten.
  static constexpr int kMaxExponent = 127;
  /// The longest that `write` writes.
  static constexpr std::size_t kMaxTextSize = 168;
  /// The longest text that `fromText` reads.
  static constexpr std::size_t kMaxReadSize = 512;

  /// Zero.
  constexpr Decimal() = default;
  /// Exactly the integer.
  template <std::integral T>
  requires(!std::same_as<T, bool>) constexpr Decimal(T value)
      : low_(magnitude(value)), negative_(value < 0) {  // NOLINT: as numbers convert
    dropTrailingZeros();
  }

  /// Not a number: what a division by zero and an overflow give.
  static constexpr Decimal nan() {
    Decimal result;
    result.nan_ = true;
    return result;
  }
  /// mantissa × 10^exponent.
  static Decimal withMantissa(std::int64_t mantissa, int exponent) {
    return Decimal(mantissa).multipliedByPowerOf10(exponent);
  }
  /// The double × 10^precision rounded to the nearest integer (halves away from zero) × 10^-precision;
  /// not-a-number for what is not finite or has more than 38 digits then.
  static Decimal fromDouble(double value, int precision);
  /// Reads `[+-]digits[.digits][e[+-]digits]`, whatever the locale; one side of the point may be missing, as
  /// in "5." and ".5". More than 38 significant digits round half away from zero. Also reads "NaN", so that
  /// every `text()` is read back. No value for any other text, one longer than `kMaxReadSize` and a number
  /// too large.
  static std::optional<Decimal> fromText(std::string_view text);

  /// Whether this is not-a-number.
  constexpr bool isNaN() const { return nan_; }
  /// Whether this is zero; false for not-a-number.
  constexpr bool isZero() const { return (low_ | high_) == 0 && !nan_; }
  /// Below zero; false for not-a-number.
  constexpr bool isNegative() const { return negative_; }

  /// The nearest double.
  double toDouble() const;
  /// The integer when the value is one and fits.
  std::optional<std::int64_t> toInt64() const;
  /// The value cut towards zero; beyond the range the nearest end of it, for not-a-number 0.
  std::int64_t truncatedToInt64() const;

  /// Plain notation with a point and neither grouping nor exponent: "1234.5", "-0.05", "0", "NaN". Equal
  /// numbers have equal texts.
  std::string text() const;
  /// Writes `text()` to `out`, without a terminating zero, and answers the end of what was written. `out`
  /// must have room for `kMaxTextSize` characters.
  char* write(char* out) const;

  /// The opposite; zero and not-a-number stay.
  constexpr Decimal operator-() const {
    Decimal result = *this;
    result.negative_ = !negative_ && (low_ | high_) != 0;
    return result;
  }
  /// The value without its sign.
  constexpr Decimal abs() const { return negative_ ? -*this : *this; }
  friend Decimal operator+(const Decimal& a, const Decimal& b) { return sum(a, b, b.negative_); }
  friend Decimal operator-(const Decimal& a, const Decimal& b) { return sum(a, b, !b.negative_); }
  friend Decimal operator*(const Decimal& a, const Decimal& b) { return product(a, b); }
  friend Decimal operator/(const Decimal& a, const Decimal& b) { return quotient(a, b); }
  /// As `*this = *this + other`, and so for the other three.
  Decimal& operator+=(const Decimal& other) { return *this = *this + other; }
  /// See `+`.
  Decimal& operator-=(const Decimal& other) { return *this = *this - other; }
  /// See `*`.
  Decimal& operator*=(const Decimal& other) { return *this = *this * other; }
  /// See `/`.
  Decimal& operator/=(const Decimal& other) { return *this = *this / other; }

  /// Moves the point: exact, unless the exponent leaves its range.
  Decimal multipliedByPowerOf10(int power) const;
  /// The value with at most `scale` digits after the point; a negative scale rounds to tens, hundreds and so
  /// on.
  Decimal rounded(int scale, RoundingMode mode) const;

  /// The order of the numbers: 1.0 equals 1.00; not-a-number equals itself and comes before every number.
  friend std::strong_ordering operator<=>(const Decimal& a, const Decimal& b) { return compare(a, b); }
  friend constexpr bool operator==(const Decimal& a, const Decimal& b) = default;
  /// Equal numbers have equal hashes.
  std::size_t hash() const noexcept;

 private:
  // Each number has one representation: the mantissa has no trailing zero unless the exponent is at its
  // maximum, zero has neither sign nor exponent, and not-a-number is zero with its flag.
  std::uint64_t low_ = 0;
  std::uint64_t high_ = 0;
  std::int16_t exponent_ = 0;
  bool negative_ = false;
  bool nan_ = false;

  template <std::integral T>
  static constexpr std::uint64_t magnitude(T value) {
    return value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
  }
  constexpr void dropTrailingZeros() {
    if (low_ == 0) return;
    for (; low_ % 10 == 0; ++exponent_) low_ /= 10;
  }

  struct Arithmetic;
  static Decimal sum(const Decimal& a, const Decimal& b, bool bNegative);
  static Decimal product(const Decimal& a, const Decimal& b);
  static Decimal quotient(const Decimal& a, const Decimal& b);
  static std::strong_ordering compare(const Decimal& a, const Decimal& b);
};

static_assert(sizeof(Decimal) == 24 && alignof(Decimal) == 8);

}  // namespace qw

template <>
struct std::hash<qw::Decimal> {
  std::size_t operator()(const qw::Decimal& value) const noexcept { return value.hash(); }
};
