#include "platform/base/Color.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

namespace qw {

std::optional<Color> Color::fromComponents(std::string_view text) {
  Color color;
  const char* next = text.data();
  const char* const end = next + text.size();
  for (double* component : {&color.red, &color.green, &color.blue, &color.alpha}) {
    while (next != end && (*next == ' ' || (*next >= '\t' && *next <= '\r'))) ++next;
    // std::from_chars takes no plus sign, which C's input functions allow.
    if (end - next > 1 && *next == '+' && next[1] != '-') ++next;
    const auto result = std::from_chars(next, end, *component);
    if (result.ec != std::errc() || !std::isfinite(*component)) return std::nullopt;
    next = result.ptr;
  }
  return color;
}

std::string Color::components() const { return fmt::format("{:f} {:f} {:f} {:f}", red, green, blue, alpha); }

}  // namespace qw
