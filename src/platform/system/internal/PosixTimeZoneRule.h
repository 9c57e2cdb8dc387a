#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "platform/system/TimeZone.h"

namespace qw {

/// A zone's yearly rule in the form of POSIX.1 (the `TZ` variable, and RFC 8536 for times after the last
/// transition of a zone's table): "CET-1CEST,M3.5.0,M10.5.0/3".
class PosixTimeZoneRule {
 public:
  /// No value for a text of any other form.
  static std::optional<PosixTimeZoneRule> fromText(std::string_view text);

  /// The period that holds a time in seconds since 1970 UTC.
  TimeZone::Period periodAt(std::int64_t seconds) const;

 private:
  struct Change {
    enum class Form : std::uint8_t { monthWeekDay, julianDay, dayOfYear };
    Form form = Form::monthWeekDay;
    int month = 0, week = 0, day = 0;
    std::int32_t time = 2 * 3600;
    std::int64_t localSeconds(std::int64_t year) const;
  };
  class Scanner;

  std::int32_t standardOffset_ = 0;
  std::int32_t daylightOffset_ = 0;
  bool hasDaylight_ = false;
  Change toDaylight_;
  Change toStandard_;
};

}  // namespace qw
