#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Export.h"

namespace qw {

/// A 128-bit universally unique identifier (RFC 9562).
struct QW_EXPORT UUID {
  /// The first eight bytes, the most significant one first.
  std::uint64_t high = 0;
  /// The other eight bytes.
  std::uint64_t low = 0;

  /// A random identifier of version 4, from the system's entropy through a per-thread buffer.
  static UUID random();
  /// Reads exactly the canonical upper-case form of `text()`; anything else, also lower case, is no value, so
  /// that reading and writing give back the same characters.
  static std::optional<UUID> fromCanonicalText(std::string_view text);

  /// "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", upper-case hexadecimal.
  std::string text() const;
  /// Writes the 36 characters of `text()` to `out`, without a terminating zero.
  void write(char* out) const;

  /// The order is that of the texts.
  friend constexpr auto operator<=>(const UUID&, const UUID&) = default;
};

}  // namespace qw

template <>
struct std::hash<qw::UUID> {
  /// Mixed, as identifiers from elsewhere need not be random.
  std::size_t operator()(const qw::UUID& value) const noexcept {
    std::uint64_t mixed = value.high ^ (value.low * 0x9E3779B97F4A7C15ULL);
    mixed ^= mixed >> 32;
    mixed *= 0xD6E8FEB86659FD93ULL;
    return static_cast<std::size_t>(mixed ^ mixed >> 32);
  }
};
