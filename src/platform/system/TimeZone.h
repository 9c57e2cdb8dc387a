#pragma once

#include <unicode/utypes.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>

#include "platform/base/Date.h"
#include "platform/base/Export.h"

U_NAMESPACE_BEGIN
class TimeZone;
U_NAMESPACE_END

namespace qw {

/// A time zone: the distance of its clocks from UTC at every moment, by the system's zone data and beyond its
/// tables by the zone's yearly rule. Zones live to the end of the process and may be used from any thread.
/// Times are seconds since 1970, either of UTC or "local": as the zone's clocks show them, read as if they
/// were UTC.
class QW_EXPORT TimeZone {
 public:
  /// In seconds: before every transition.
  static constexpr std::int64_t kDistantPast = std::numeric_limits<std::int64_t>::min() / 4;
  /// In seconds: after every transition.
  static constexpr std::int64_t kDistantFuture = std::numeric_limits<std::int64_t>::max() / 4;

  /// A stretch of time, from `begin` up to but not including `end` (UTC), with one distance from UTC.
  struct Period {
    /// In seconds since 1970 UTC, included.
    std::int64_t begin = kDistantPast;
    /// In seconds since 1970 UTC, not included.
    std::int64_t end = kDistantFuture;
    std::int32_t offset = 0;  ///< seconds to add to UTC
    /// Whether the zone calls it summer time.
    bool daylightSaving = false;
  };
  class Override;

  /// The zone of an identifier of the IANA database ("Europe/Berlin"), of a fixed distance ("GMT", "GMT+2",
  /// "GMT-0330", "GMT+05:45"), or of a rule in the form of POSIX.1. Null for any other name.
  static const TimeZone* named(std::string_view name);
  /// Without any distance; never destroyed.
  static const TimeZone& utc();
  /// The current zone: that of the variable `TZ`, else of the system (/etc/localtime), else UTC; or the one
  /// that was set.
  static const TimeZone& current();
  /// Makes a zone the current one for all threads, for instance after the user moved.
  static void setCurrent(const TimeZone& zone);

  /// The identifier that it was found by.
  const std::string& name() const { return name_; }
  /// The period that holds a moment in seconds since 1970 UTC.
  Period periodAt(std::int64_t seconds) const;
  /// Seconds to add to UTC at a moment.
  std::int32_t offsetAt(std::int64_t seconds) const { return periodAt(seconds).offset; }
  /// What the zone's clocks show at a moment.
  std::int64_t localFromUTC(std::int64_t seconds) const { return seconds + offsetAt(seconds); }
  /// A local time that a clock change skips is moved forward by the gap; of one that occurs twice, the first
  /// is meant.
  std::int64_t utcFromLocal(std::int64_t localSeconds) const;

  /// A zone for calendars and formatters of ICU that follows this one, with the same two rules.
  std::unique_ptr<icu::TimeZone> makeICUZone() const;

  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;

 private:
  class Source;
  struct Registry;
  TimeZone(std::string name, std::unique_ptr<const Source> source);
  ~TimeZone();

  std::string name_;
  std::unique_ptr<const Source> source_;
};

/// Makes a zone the current one while it lives, for all threads; the former one is restored. For tests.
class TimeZone::Override {
 public:
  /// `name` must name a zone.
  explicit Override(std::string_view name);
  ~Override();
  Override(const Override&) = delete;
  Override& operator=(const Override&) = delete;

 private:
  const TimeZone& previous_;
};

}  // namespace qw
