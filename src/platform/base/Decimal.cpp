#include "platform/base/Decimal.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace qw {

namespace {

using u64 = std::uint64_t;
using u128 = unsigned __int128;

constexpr auto kPowers = [] {
  std::array<u128, 39> table{};
  u128 power = 1;
  for (u128& entry : table) {
    entry = power;
    power *= 10;
  }
  return table;
}();
constexpr u128 kLimit = kPowers[Decimal::kMaxDigits];  // the first mantissa too large

constexpr u128 power(int exponent) { return kPowers[static_cast<std::size_t>(exponent)]; }
constexpr u64 low(u128 value) { return static_cast<u64>(value); }
constexpr u64 high(u128 value) { return static_cast<u64>(value >> 64); }

int bits(u128 value) {
  return high(value) ? 128 - std::countl_zero(high(value)) : 64 - std::countl_zero(low(value));
}

// Digits of a value of the given bit width: width × log10(2), one more when that power of ten is reached.
int digits(u128 value) {
  const int estimate = bits(value) * 1233 >> 12;
  return estimate + (value >= power(estimate) ? 1 : 0);
}

struct u256 {
  u128 high = 0;
  u128 low = 0;
  friend constexpr auto operator<=>(const u256&, const u256&) = default;
};

u256 multiply(u128 a, u128 b) {
  const u128 ll = static_cast<u128>(low(a)) * low(b);
  const u128 lh = static_cast<u128>(low(a)) * high(b);
  const u128 hl = static_cast<u128>(high(a)) * low(b);
  const u128 hh = static_cast<u128>(high(a)) * high(b);
  const u128 middle = static_cast<u128>(high(ll)) + low(lh) + low(hl);
  return {hh + high(lh) + high(hl) + high(middle), middle << 64 | low(ll)};
}

u256 add(u256 a, u128 b) { return {a.high + (a.low + b < b ? 1 : 0), a.low + b}; }

u256 subtract(u256 a, u128 b) { return {a.high - (a.low < b ? 1 : 0), a.low - b}; }

// Digits of a value below 10^76.
int digits(u256 value) {
  if (value.high == 0) return digits(value.low);
  const int estimate = (128 + bits(value.high)) * 1233 >> 12;
  return estimate + (value >= multiply(kLimit, power(estimate - Decimal::kMaxDigits)) ? 1 : 0);
}

// One digit, in base 2^64, of a long division: (remainder × 2^64 + next) / divisor for a divisor whose top
// bit is set and a remainder below it (Knuth's algorithm D).
u64 divideStep(u128& remainder, u64 next, u128 divisor) {
  u64 digit = std::numeric_limits<u64>::max();
  if (high(remainder) < high(divisor)) digit = low(remainder / high(divisor));
  u128 rest = remainder - static_cast<u128>(digit) * high(divisor);
  while (high(rest) == 0 && static_cast<u128>(digit) * low(divisor) > (rest << 64 | next)) {
    --digit;
    rest += high(divisor);
  }
  remainder = (remainder << 64 | next) - divisor * digit;
  return digit;
}

struct Division {
  u128 quotient;
  u128 remainder;
};

// For a quotient that fits, that is, value.high < divisor.
Division divide(u256 value, u128 divisor) {
  if (high(divisor) == 0) {
    const u64 small = low(divisor);
    const u128 upper = value.high << 64 | high(value.low);
    const u64 first = low(upper / small);
    const u128 lower = (upper - static_cast<u128>(first) * small) << 64 | low(value.low);
    const u64 second = low(lower / small);
    return {static_cast<u128>(first) << 64 | second, lower - static_cast<u128>(second) * small};
  }
  const int shift = std::countl_zero(high(divisor));
  u128 remainder = value.high;
  u128 rest = value.low;
  if (shift) {
    remainder = value.high << shift | value.low >> (128 - shift);
    rest <<= shift;
    divisor <<= shift;
  }
  const u64 first = divideStep(remainder, high(rest), divisor);
  const u64 second = divideStep(remainder, low(rest), divisor);
  return {static_cast<u128>(first) << 64 | second, remainder >> shift};
}

u128 divideHalfAway(u128 value, int droppedDigits) {
  if (droppedDigits > Decimal::kMaxDigits) return 0;
  const u128 divisor = power(droppedDigits);
  const u128 result = value / divisor;
  const u128 remainder = value - result * divisor;
  return result + (remainder >= divisor - remainder ? 1 : 0);
}

// Divides by ten when that leaves no remainder: the product with the inverse of five modulo 2^64, halved by a
// rotation, is the quotient exactly when it is small enough to be one.
bool divideBy10(u64& value) {
  const u64 result = std::rotr(value * 0xCCCCCCCCCCCCCCCDULL, 1);
  if (result > std::numeric_limits<u64>::max() / 10) return false;
  value = result;
  return true;
}

bool isMultipleOf10(u128 value) {
  // 2^64 leaves 1 modulo 5, so the two words add up.
  return (low(value) & 1) == 0 && (low(value) % 5 + high(value) % 5) % 5 == 0;
}

constexpr auto kPairs = [] {
  std::array<char, 200> table{};
  for (std::size_t i = 0; i < 100; ++i) {
    table[2 * i] = static_cast<char>('0' + i / 10);
    table[2 * i + 1] = static_cast<char>('0' + i % 10);
  }
  return table;
}();

// Writes the digits of a value so that they end at `end`, padded with zeros to at least `width` digits.
char* writeDigits(char* end, u64 value, int width) {
  char* out = end;
  while (value >= 100) {
    const u64 rest = value / 100;
    out -= 2;
    std::memcpy(out, &kPairs[2 * (value - rest * 100)], 2);
    value = rest;
  }
  if (value >= 10) {
    out -= 2;
    std::memcpy(out, &kPairs[2 * value], 2);
  } else if (value > 0) {
    *--out = static_cast<char>('0' + value);
  }
  while (end - out < width) *--out = '0';
  return out;
}

constexpr int kWordDigits = 19;  // as many as always fit 64 bits
constexpr u64 kWordLimit = low(kPowers[kWordDigits]);

}  // namespace

struct Decimal::Arithmetic {
  static u128 mantissa(const Decimal& value) { return static_cast<u128>(value.high_) << 64 | value.low_; }

  static Decimal make(bool negative, u128 mantissa, int exponent) {
    Decimal result;
    if (exponent < kMinExponent) {
      mantissa = divideHalfAway(mantissa, kMinExponent - exponent);
      exponent = kMinExponent;
    }
    if (mantissa == 0) return result;
    if (high(mantissa) == 0) {
      u64 word = low(mantissa);
      while (exponent < kMaxExponent && divideBy10(word)) ++exponent;
      mantissa = word;
    } else {
      dropTrailingZeros(mantissa, exponent);
    }
    for (; exponent > kMaxExponent && mantissa < kLimit / 10; --exponent) mantissa *= 10;
    if (exponent > kMaxExponent || mantissa >= kLimit) return nan();
    result.low_ = low(mantissa);
    result.high_ = high(mantissa);
    result.exponent_ = static_cast<std::int16_t>(exponent);
    result.negative_ = negative;
    return result;
  }

  // For a value below 10^76.
  static Decimal make(bool negative, u256 value, int exponent) {
    const int dropped = std::max(digits(value) - kMaxDigits, kMinExponent - exponent);
    if (dropped <= 0) return make(negative, value.low, exponent);
    const int exact = std::min(dropped, kMaxDigits);
    auto [mantissa, remainder] = divide(value, power(exact));
    // Whether a half is reached shows in the first digit dropped, so what lies below it can be cut off first.
    if (exact < dropped) {
      mantissa = divideHalfAway(mantissa, dropped - exact);
    } else if (remainder >= power(exact) - remainder) {
      ++mantissa;
    }
    return make(negative, mantissa, exponent + dropped);
  }

  static void dropTrailingZeros(u128& mantissa, int& exponent) {
    if (!isMultipleOf10(mantissa)) return;
    for (const int count : {16, 8, 4, 2, 1}) {
      while (exponent + count <= kMaxExponent && std::countr_zero(low(mantissa)) >= count) {
        const u128 result = mantissa / power(count);
        if (result * power(count) != mantissa) break;
        mantissa = result;
        exponent += count;
      }
    }
  }

  // Sum of numbers too long or too far apart for the short way; a's exponent is the larger one.
  static Decimal longSum(const Decimal& a, const Decimal& b, bool aNegative, bool bNegative) {
    u128 left = mantissa(a);
    u128 right = mantissa(b);
    const bool adds = aNegative == bNegative;
    int distance = a.exponent_ - b.exponent_;
    int exponent = b.exponent_;
    const int room = std::min(kMaxDigits - digits(left), distance);
    left *= power(room);
    distance -= room;
    if (distance > kMaxDigits) {
      // The lower digits of b lie far below the 38 digits of the result: cut them off, rounding the result's
      // magnitude down, which keeps the first digit dropped from it.
      const int cut = distance - kMaxDigits;
      const u128 kept = cut > kMaxDigits ? 0 : right / power(cut);
      right = kept + (!adds && (cut > kMaxDigits || kept * power(cut) != right) ? 1 : 0);
      exponent += cut;
      distance = kMaxDigits;
    }
    const u256 scaled = multiply(left, power(distance));
    if (adds) return make(aNegative, add(scaled, right), exponent);
    if (scaled >= u256{0, right}) return make(aNegative, subtract(scaled, right), exponent);
    return make(bNegative, u256{0, right - scaled.low}, exponent);
  }
};

Decimal Decimal::sum(const Decimal& a, const Decimal& b, bool bNegative) {
  if (a.nan_ || b.nan_) return nan();
  if (b.isZero()) return a;
  if (a.isZero()) return bNegative == b.negative_ ? b : -b;
  const bool swap = a.exponent_ < b.exponent_;
  const Decimal& left = swap ? b : a;
  const Decimal& right = swap ? a : b;
  const bool leftNegative = swap ? bNegative : a.negative_;
  const bool rightNegative = swap ? a.negative_ : bNegative;
  const int distance = left.exponent_ - right.exponent_;
  if ((left.high_ | right.high_) != 0 || distance > kWordDigits) {
    return Arithmetic::longSum(left, right, leftNegative, rightNegative);
  }
  const u128 scaled = static_cast<u128>(left.low_) * low(power(distance));
  u128 total = scaled + right.low_;
  bool negative = leftNegative;
  if (leftNegative != rightNegative) {
    negative = scaled >= right.low_ ? leftNegative : rightNegative;
    total = scaled >= right.low_ ? scaled - right.low_ : right.low_ - scaled;
  }
  return total < kLimit ? Arithmetic::make(negative, total, right.exponent_)
                        : Arithmetic::make(negative, u256{0, total}, right.exponent_);
}

Decimal Decimal::product(const Decimal& a, const Decimal& b) {
  if (a.nan_ || b.nan_) return nan();
  const bool negative = a.negative_ != b.negative_;
  const int exponent = a.exponent_ + b.exponent_;
  if ((a.high_ | b.high_) == 0) {
    const u128 result = static_cast<u128>(a.low_) * b.low_;
    if (result < kLimit && exponent >= kMinExponent) return Arithmetic::make(negative, result, exponent);
    return Arithmetic::make(negative, u256{0, result}, exponent);
  }
  return Arithmetic::make(negative, multiply(Arithmetic::mantissa(a), Arithmetic::mantissa(b)), exponent);
}

Decimal Decimal::quotient(const Decimal& a, const Decimal& b) {
  if (a.nan_ || b.nan_ || b.isZero()) return nan();
  if (a.isZero()) return a;
  const u128 dividend = Arithmetic::mantissa(a);
  const u128 divisor = Arithmetic::mantissa(b);
  // Scale the dividend so that the integer quotient has exactly 38 digits.
  const int more = digits(divisor) - digits(dividend);
  const bool less = more >= 0 ? dividend * power(more) < divisor : dividend < divisor * power(-more);
  const int shift = kMaxDigits - 1 + more + (less ? 1 : 0);
  const u256 scaled = shift > kMaxDigits ? multiply(dividend * power(shift - kMaxDigits), kLimit)
                                         : multiply(dividend, power(shift));
  auto [mantissa, remainder] = divide(scaled, divisor);
  const int exponent = a.exponent_ - b.exponent_ - shift;
  // Below the least exponent more digits are dropped, and one rounding must decide.
  if (exponent >= kMinExponent && remainder >= divisor - remainder) ++mantissa;
  return Arithmetic::make(a.negative_ != b.negative_, mantissa, exponent);
}

std::strong_ordering Decimal::compare(const Decimal& a, const Decimal& b) {
  if (a.nan_ || b.nan_) return b.nan_ <=> a.nan_;
  const int aSign = a.isZero() ? 0 : a.negative_ ? -1 : 1;
  const int bSign = b.isZero() ? 0 : b.negative_ ? -1 : 1;
  if (aSign != bSign || aSign == 0) return aSign <=> bSign;
  u128 left = Arithmetic::mantissa(a);
  u128 right = Arithmetic::mantissa(b);
  std::strong_ordering order = std::strong_ordering::equal;
  if (a.exponent_ != b.exponent_) {
    const int leftDigits = digits(left);
    const int rightDigits = digits(right);
    order = a.exponent_ + leftDigits <=> b.exponent_ + rightDigits;
    // Numbers of one magnitude differ in exponent as they do in digits, so the longer one shows how far to
    // scale.
    if (order == 0 && leftDigits < rightDigits) left *= power(rightDigits - leftDigits);
    if (order == 0 && leftDigits > rightDigits) right *= power(leftDigits - rightDigits);
  }
  if (order == 0) order = left <=> right;
  return aSign > 0 ? order : 0 <=> order;
}

Decimal Decimal::multipliedByPowerOf10(int power) const {
  if (nan_ || isZero()) return *this;
  constexpr int kFar = 1000;
  return Arithmetic::make(negative_, Arithmetic::mantissa(*this), exponent_ + std::clamp(power, -kFar, kFar));
}

Decimal Decimal::rounded(int scale, RoundingMode mode) const {
  const int dropped = -std::max(scale, -10 * kMaxExponent) - exponent_;
  if (dropped <= 0 || nan_ || isZero()) return *this;
  const u128 mantissa = Arithmetic::mantissa(*this);
  const bool beyond = dropped > kMaxDigits;  // all of it is dropped, and it is less than a half
  const u128 divisor = beyond ? 0 : power(dropped);
  const u128 kept = beyond ? 0 : mantissa / divisor;
  const u128 remainder = mantissa - kept * divisor;
  const auto half = beyond ? std::strong_ordering::less : remainder <=> divisor - remainder;
  bool away = false;
  switch (mode) {
    case RoundingMode::plain:
      away = half >= 0;
      break;
    case RoundingMode::down:
      away = negative_ && remainder != 0;
      break;
    case RoundingMode::up:
      away = !negative_ && remainder != 0;
      break;
    case RoundingMode::bankers:
      away = half > 0 || (half == 0 && (low(kept) & 1) != 0);
      break;
  }
  return Arithmetic::make(negative_, kept + (away ? 1 : 0), exponent_ + dropped);
}

Decimal Decimal::fromDouble(double value, int precision) {
  const double scaled = std::round(value * std::pow(10.0, precision));
  if (!(std::abs(scaled) < static_cast<double>(kLimit))) return nan();
  constexpr int kFar = 1000;
  return Arithmetic::make(scaled < 0, static_cast<u128>(std::abs(scaled)),
                          -std::clamp(precision, -kFar, kFar));
}

std::optional<Decimal> Decimal::fromText(std::string_view text) {
  if (text.size() > kMaxReadSize) return std::nullopt;
  if (text == "NaN") return nan();
  const char* at = text.data();
  const char* const end = at + text.size();
  const bool negative = at != end && *at == '-';
  if (at != end && (*at == '-' || *at == '+')) ++at;

  u64 head = 0;  // the first 19 significant digits; the rest follow in the mantissa
  u128 mantissa = 0;
  int significant = 0;
  int exponent = 0;
  unsigned firstDropped = 0;
  bool any = false;
  bool afterPoint = false;
  for (; at != end; ++at) {
    const unsigned digit = static_cast<unsigned char>(*at) - static_cast<unsigned>('0');
    if (digit > 9) {
      if (*at != '.' || afterPoint) break;
      afterPoint = true;
      continue;
    }
    any = true;
    if (significant < kWordDigits) {
      head = head * 10 + digit;
      significant += head != 0;
      exponent -= afterPoint;
    } else if (significant < kMaxDigits) {
      mantissa = (significant == kWordDigits ? head : mantissa) * 10 + digit;
      ++significant;
      exponent -= afterPoint;
    } else {
      if (significant++ == kMaxDigits) firstDropped = digit;
      exponent += !afterPoint;
    }
  }
  if (!any) return std::nullopt;
  if (significant <= kWordDigits) mantissa = head;

  if (at != end) {
    if (*at != 'e' && *at != 'E') return std::nullopt;
    ++at;
    const bool down = at != end && *at == '-';
    if (at != end && (*at == '-' || *at == '+')) ++at;
    if (at == end) return std::nullopt;
    int stated = 0;
    for (; at != end; ++at) {
      const unsigned digit = static_cast<unsigned char>(*at) - static_cast<unsigned>('0');
      if (digit > 9) return std::nullopt;
      stated = std::min(stated * 10 + static_cast<int>(digit), 1'000'000);
    }
    exponent += down ? -stated : stated;
  }
  if (firstDropped >= 5 && exponent >= kMinExponent) ++mantissa;
  const Decimal result = Arithmetic::make(negative, mantissa, exponent);
  if (result.nan_) return std::nullopt;
  return result;
}

double Decimal::toDouble() const {
  if (nan_) return std::numeric_limits<double>::quiet_NaN();
  static constexpr std::array<double, 23> kExact = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                    1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                    1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  // Mantissa and power are exact as doubles, so the one operation rounds correctly.
  if (high_ == 0 && low_ <= 1ULL << 53 && std::abs(exponent_) < static_cast<int>(kExact.size())) {
    const double power = kExact[static_cast<std::size_t>(std::abs(exponent_))];
    const double result =
        exponent_ < 0 ? static_cast<double>(low_) / power : static_cast<double>(low_) * power;
    return negative_ ? -result : result;
  }
  std::array<char, kMaxTextSize> buffer;
  double result = 0;
  std::from_chars(buffer.data(), write(buffer.data()), result);
  return result;
}

std::optional<std::int64_t> Decimal::toInt64() const {
  const std::int64_t result = truncatedToInt64();
  return *this == Decimal(result) ? std::optional(result) : std::nullopt;
}

std::int64_t Decimal::truncatedToInt64() const {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  if (isZero() || nan_) return 0;
  u128 value = Arithmetic::mantissa(*this);
  if (exponent_ < 0) {
    value = exponent_ < -kMaxDigits ? 0 : value / power(-exponent_);
  } else if (exponent_ > 0) {
    value = digits(value) + exponent_ > kMaxDigits ? kLimit : value * power(exponent_);
  }
  if (negative_) return value > static_cast<u128>(kMax) ? kMin : -static_cast<std::int64_t>(value);
  return value > static_cast<u128>(kMax) ? kMax : static_cast<std::int64_t>(value);
}

char* Decimal::write(char* out) const {
  if (nan_) {
    std::memcpy(out, "NaN", 3);
    return out + 3;
  }
  if (isZero()) {
    *out = '0';
    return out + 1;
  }
  std::array<char, kMaxDigits + 2> buffer;
  char* const end = buffer.data() + buffer.size();
  char* begin = end;
  if (high_ == 0) {
    begin = writeDigits(end, low_, 1);
  } else {
    const u128 mantissa = Arithmetic::mantissa(*this);
    const u64 upper = low(mantissa / kWordLimit);
    begin = writeDigits(end, low(mantissa - static_cast<u128>(upper) * kWordLimit), kWordDigits);
    begin = writeDigits(begin, upper, 1);
  }
  const auto append = [&out](const char* from, std::ptrdiff_t count) {
    std::memcpy(out, from, static_cast<std::size_t>(count));
    out += count;
  };
  if (negative_) *out++ = '-';
  const std::ptrdiff_t count = end - begin;
  if (exponent_ >= 0) {
    append(begin, count);
    out = std::fill_n(out, exponent_, '0');
  } else if (count > -exponent_) {
    append(begin, count + exponent_);
    *out++ = '.';
    append(end + exponent_, -exponent_);
  } else {
    *out++ = '0';
    *out++ = '.';
    out = std::fill_n(out, -exponent_ - count, '0');
    append(begin, count);
  }
  return out;
}

std::string Decimal::text() const {
  std::array<char, kMaxTextSize> buffer;
  return std::string(buffer.data(), write(buffer.data()));
}

std::size_t Decimal::hash() const noexcept {
  const u64 rest = static_cast<u64>(static_cast<std::uint16_t>(exponent_)) << 2 |
                   static_cast<u64>(negative_) << 1 | static_cast<u64>(nan_);
  u64 mixed = (low_ ^ std::rotl(high_, 32)) * 0x9E3779B97F4A7C15ULL + rest;
  mixed ^= mixed >> 32;
  mixed *= 0xD6E8FEB86659FD93ULL;
  return static_cast<std::size_t>(mixed ^ mixed >> 32);
}

}  // namespace qw
