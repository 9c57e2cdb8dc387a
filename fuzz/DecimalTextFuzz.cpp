#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/base/Decimal.h"

// Whatever text is read: what is written fits its stated size and reads back as the same number, and
// arithmetic on it keeps that property.
namespace {

void check(const qw::Decimal& value) {
  char buffer[qw::Decimal::kMaxTextSize];
  const char* const end = value.write(buffer);
  const auto again = qw::Decimal::fromText({buffer, static_cast<std::size_t>(end - buffer)});
  if (!again || *again != value || again->hash() != value.hash()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  // A blank parts two operands, where there is one.
  const std::size_t blank = text.find(' ');
  const auto left = qw::Decimal::fromText(text.substr(0, blank));
  if (!left) return 0;
  check(*left);
  check(-*left);
  for (const auto mode :
       {qw::RoundingMode::plain, qw::RoundingMode::down, qw::RoundingMode::up, qw::RoundingMode::bankers}) {
    check(left->rounded(static_cast<int>(size % 64) - 16, mode));
  }
  const auto right = blank == std::string_view::npos ? left : qw::Decimal::fromText(text.substr(blank + 1));
  if (!right) return 0;
  for (const qw::Decimal& result : {*left + *right, *left - *right, *left * *right, *left / *right})
    check(result);
  if ((*left < *right) != (*right > *left)) std::abort();
  if ((*left == *right) != ((*left <=> *right) == 0)) std::abort();
  return 0;
}
