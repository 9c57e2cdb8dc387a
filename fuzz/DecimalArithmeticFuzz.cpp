#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/base/Decimal.h"

// Sums, order and rounding are those of integers: mantissas of at most 30 digits at scales 0 to 4 stay exact
// in 128 bits. A product of at most 38 digits is exact, so that dividing by a factor gives the other one
// back.
namespace {

using qw::Decimal;
using qw::RoundingMode;
using Int = __int128;

constexpr Int kPowers[] = {1, 10, 100, 1000, 10000};

void require(bool holds) {
  if (!holds) std::abort();
}

Decimal decimal(Int value, int scale) {
  std::string digits;
  for (Int rest = value < 0 ? -value : value; rest > 0 || static_cast<int>(digits.size()) <= scale;
       rest /= 10)
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
  if (scale > 0) digits.insert(digits.end() - scale, '.');
  const auto read = Decimal::fromText((value < 0 ? "-" : "") + digits);
  require(read.has_value());
  return *read;
}

class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
  Int number(std::size_t bytes) {
    Int value = 0;
    for (; bytes > 0 && size_ > 0; --bytes, --size_) value = value << 8 | *data_++;
    return value;
  }
  /// A number of few digits or of many, of either sign.
  Int mantissa() {
    const auto form = static_cast<std::size_t>(number(1));
    const Int value = number(1 + form % 12);
    return form & 0x80 ? -value : value;
  }
  int below(int count) { return static_cast<int>(number(1)) % count; }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

/// `wide` has four digits behind the point.
void checkRounding(const Decimal& value, Int wide, int scale) {
  const Int unit = kPowers[4 - scale];
  const Int floor = wide / unit - (wide % unit < 0 ? 1 : 0);
  const Int rest = wide - floor * unit;
  const Int ceiling = floor + (rest != 0);
  const Int plain = 2 * rest == unit ? (wide < 0 ? floor : ceiling) : 2 * rest > unit ? ceiling : floor;
  const Int bankers = 2 * rest == unit ? (floor % 2 == 0 ? floor : ceiling) : plain;
  require(value.rounded(scale, RoundingMode::down) == decimal(floor, scale));
  require(value.rounded(scale, RoundingMode::up) == decimal(ceiling, scale));
  require(value.rounded(scale, RoundingMode::plain) == decimal(plain, scale));
  require(value.rounded(scale, RoundingMode::bankers) == decimal(bankers, scale));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const int aScale = input.below(5), bScale = input.below(5), scale = input.below(4);
  const Int a = input.mantissa(), b = input.below(8) ? input.mantissa() : a;
  const Decimal left = decimal(a, aScale), right = decimal(b, bScale);
  const Int aWide = a * kPowers[4 - aScale], bWide = b * kPowers[4 - bScale];
  require(left + right == decimal(aWide + bWide, 4));
  require(left - right == decimal(aWide - bWide, 4));
  require((left <=> right) == (aWide <=> bWide) && (left == right) == (aWide == bWide));
  checkRounding(left, aWide, scale);

  constexpr std::uint64_t kFactorLimit = 10'000'000'000'000'000'000U;
  const Decimal first =
      Decimal(static_cast<std::uint64_t>(a) % kFactorLimit).multipliedByPowerOf10(-input.below(30));
  const Decimal second =
      -Decimal(static_cast<std::uint64_t>(b) % kFactorLimit).multipliedByPowerOf10(input.below(30));
  if (first.isZero() || second.isZero()) return 0;
  require(first * second / second == first && first * second / first == second);
  return 0;
}
