#pragma once

#include <atomic>
#include <limits>

#include "platform/base/Date.h"
#include "platform/base/Export.h"

namespace qw {

/// The one source of the current time, so that tests can hold it still. May be read from any thread; run loop
/// timers and deadlines follow the monotonic clock of the system and are not affected.
class QW_EXPORT Clock {
 public:
  class Override;

  /// The current time in microseconds since 1970 UTC, or the time that an `Override` holds.
  static Date now() {
    const std::int64_t held = held_.load(std::memory_order_acquire);
    return held == kNotHeld ? systemNow() : Date::fromMicroseconds(held);
  }

 private:
  static constexpr std::int64_t kNotHeld = std::numeric_limits<std::int64_t>::min();
  static Date systemNow();
  static inline std::atomic<std::int64_t> held_{kNotHeld};
};

/// Holds the clock at a time while it lives, for all threads; the former time is restored at its end.
/// Overrides nest.
class Clock::Override {
 public:
  /// Holds the clock at this time.
  explicit Override(Date date) : previous_(held_.exchange(date.microseconds(), std::memory_order_acq_rel)) {}
  ~Override() { held_.store(previous_, std::memory_order_release); }
  Override(const Override&) = delete;
  Override& operator=(const Override&) = delete;

  /// Moves the held clock to a time.
  void set(Date date) { held_.store(date.microseconds(), std::memory_order_release); }
  /// Moves the held clock on, or back by a negative number.
  void advanceSeconds(std::int64_t seconds) { advanceMicroseconds(seconds * 1'000'000); }
  /// The same in microseconds.
  void advanceMicroseconds(std::int64_t microseconds) {
    held_.fetch_add(microseconds, std::memory_order_acq_rel);
  }

 private:
  std::int64_t previous_;
};

}  // namespace qw
