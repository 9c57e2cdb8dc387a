#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qw {

/// A 128-bit universally unique identifier (RFC 9562).
struct UUID {
  std::uint64_t high = 0;
  std::uint64_t low = 0;

  /// A random identifier of version 4, from the system's entropy through a per-thread buffer.
  static UUID random();
  /// Reads exactly the canonical upper-case form of `text()`; anything else, also lower case, is no value, so that
  /// reading and writing give back the same characters.
  static std::optional<UUID> fromCanonicalText(std::string_view text);

  /// "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX", upper-case hexadecimal.
  std::string text() const;
  /// Writes the 36 characters of `text()` to `out`, without a terminating zero.
  void write(char* out) const;

  friend bool operator==(const UUID&, const UUID&) = default;
};

}  // namespace qw
