#pragma once

#include <compare>
#include <cstdint>

namespace qw {

/// A point in time, in microseconds since 1970-01-01 00:00:00 UTC, independent of calendar and time zone. The
/// range is about 290,000 years to either side.
class Date {
 public:
  constexpr Date() = default;
  static constexpr Date fromMicroseconds(std::int64_t microseconds) { return Date(microseconds); }
  static constexpr Date fromSeconds(std::int64_t seconds) { return Date(seconds * 1'000'000); }

  constexpr std::int64_t microseconds() const { return microseconds_; }
  /// Whole seconds since 1970, towards minus infinity.
  constexpr std::int64_t seconds() const {
    return microseconds_ / 1'000'000 - (microseconds_ % 1'000'000 < 0 ? 1 : 0);
  }
  /// The date moved by a number of elapsed seconds.
  constexpr Date addingSeconds(std::int64_t seconds) const {
    return Date(microseconds_ + seconds * 1'000'000);
  }
  /// The date cut down to its whole second.
  constexpr Date truncatedToSecond() const { return fromSeconds(seconds()); }

  friend constexpr auto operator<=>(Date, Date) = default;

 private:
  explicit constexpr Date(std::int64_t microseconds) : microseconds_(microseconds) {}
  std::int64_t microseconds_ = 0;
};

}  // namespace qw
