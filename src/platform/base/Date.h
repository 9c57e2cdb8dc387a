#pragma once

#include <compare>
#include <cstdint>

#include "platform/base/Export.h"

namespace qw {

/// A point in time, in microseconds since 1970-01-01 00:00:00 UTC, independent of calendar and time zone. The
/// range is about 290,000 years to either side.
class QW_EXPORT Date {
 public:
  constexpr Date() = default;
  /// The date that many microseconds after 1970-01-01 00:00:00 UTC, or before it.
  static constexpr Date fromMicroseconds(std::int64_t microseconds) { return Date(microseconds); }
  /// The same in seconds; beyond the range the nearest end of it.
  static constexpr Date fromSeconds(std::int64_t seconds) { return Date().addingSeconds(seconds); }

  /// Since 1970-01-01 00:00:00 UTC; negative before.
  constexpr std::int64_t microseconds() const { return microseconds_; }
  /// Whole seconds since 1970, towards minus infinity.
  constexpr std::int64_t seconds() const {
    return microseconds_ / 1'000'000 - (microseconds_ % 1'000'000 < 0 ? 1 : 0);
  }
  /// The date moved by a number of elapsed seconds, at most to the end of the range.
  constexpr Date addingSeconds(std::int64_t seconds) const {
    std::int64_t moved = 0;
    if (__builtin_mul_overflow(seconds, 1'000'000, &moved) ||
        __builtin_add_overflow(microseconds_, moved, &moved))
      moved = seconds < 0 ? INT64_MIN : INT64_MAX;
    return Date(moved);
  }
  /// The date cut down to its whole second.
  constexpr Date truncatedToSecond() const { return fromSeconds(seconds()); }

  friend constexpr auto operator<=>(Date, Date) = default;

 private:
  explicit constexpr Date(std::int64_t microseconds) : microseconds_(microseconds) {}
  std::int64_t microseconds_ = 0;
};

}  // namespace qw
