#include "platform/system/internal/PosixTimeZoneRule.h"

#include <array>

#include "platform/base/internal/CivilDate.h"

namespace qw {

class PosixTimeZoneRule::Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }
  bool accept(char c) {
    if (rest_.empty() || rest_[0] != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  // Three letters or more, or anything between angle brackets.
  bool name() {
    std::size_t length = 0;
    if (accept('<')) {
      length = rest_.find('>');
      if (length == std::string_view::npos) return false;
      rest_.remove_prefix(length + 1);
      return length >= 3;
    }
    while (length < rest_.size() && ((rest_[length] | 0x20) >= 'a' && (rest_[length] | 0x20) <= 'z'))
      ++length;
    rest_.remove_prefix(length);
    return length >= 3;
  }
  bool number(int& value, int least, int most) {
    value = 0;
    std::size_t length = 0;
    for (; length < rest_.size() && length < 4 && rest_[length] >= '0' && rest_[length] <= '9'; ++length) {
      value = value * 10 + (rest_[length] - '0');
    }
    rest_.remove_prefix(length);
    return length > 0 && value >= least && value <= most;
  }
  // [+-]h[:m[:s]]
  bool time(std::int32_t& seconds, int mostHours) {
    const bool negative = accept('-');
    if (!negative) accept('+');
    int hours = 0, minutes = 0, rest = 0;
    if (!number(hours, 0, mostHours)) return false;
    if (accept(':') && (!number(minutes, 0, 59) || (accept(':') && !number(rest, 0, 59)))) return false;
    seconds = (negative ? -1 : 1) * (hours * 3600 + minutes * 60 + rest);
    return true;
  }
  // The distance from UTC, which POSIX counts positive to the west.
  bool offset(std::int32_t& seconds) {
    if (!time(seconds, 24)) return false;
    seconds = -seconds;
    return true;
  }
  bool change(Change& change) {
    if (!accept(',')) return false;
    if (accept('M')) {
      change.form = Change::Form::monthWeekDay;
      if (!number(change.month, 1, 12) || !accept('.') || !number(change.week, 1, 5) || !accept('.') ||
          !number(change.day, 0, 6)) {
        return false;
      }
    } else if (accept('J')) {
      change.form = Change::Form::julianDay;
      if (!number(change.day, 1, 365)) return false;
    } else {
      change.form = Change::Form::dayOfYear;
      if (!number(change.day, 0, 365)) return false;
    }
    return !accept('/') || time(change.time, 167);
  }

 private:
  std::string_view rest_;
};

std::optional<PosixTimeZoneRule> PosixTimeZoneRule::fromText(std::string_view text) {
  Scanner scanner(text);
  PosixTimeZoneRule rule;
  if (!scanner.name() || !scanner.offset(rule.standardOffset_)) return std::nullopt;
  if (scanner.atEnd()) return rule;
  rule.hasDaylight_ = true;
  rule.daylightOffset_ = rule.standardOffset_ + 3600;
  if (!scanner.name()) return std::nullopt;
  Scanner withoutOffset = scanner;
  if (!withoutOffset.accept(',') && !scanner.offset(rule.daylightOffset_)) return std::nullopt;
  if (!scanner.change(rule.toDaylight_) || !scanner.change(rule.toStandard_) || !scanner.atEnd())
    return std::nullopt;
  return rule;
}

std::int64_t PosixTimeZoneRule::Change::localSeconds(std::int64_t year) const {
  std::int64_t days = 0;
  const std::int64_t newYear = CivilDate::days(year, 1, 1);
  switch (form) {
    case Form::julianDay: {
      const bool leap = CivilDate::days(year, 12, 31) - newYear == 365;
      days = newYear + day - 1 + (leap && day > 59 ? 1 : 0);
      break;
    }
    case Form::dayOfYear:
      days = newYear + day;
      break;
    case Form::monthWeekDay: {
      const std::int64_t first = CivilDate::days(year, month, 1);
      const std::int64_t next = CivilDate::days(year, month + 1, 1);
      days = first + floorRemainder(day - (first + 4), 7) + (week - 1) * 7;  // 1970-01-01 was a Thursday
      if (days >= next) days -= 7;
      break;
    }
  }
  return days * CivilDate::kSecondsPerDay + time;
}

TimeZone::Period PosixTimeZoneRule::periodAt(std::int64_t seconds) const {
  if (!hasDaylight_) return {TimeZone::kDistantPast, TimeZone::kDistantFuture, standardOffset_, false};
  const std::int64_t year = CivilDate::fromDays(floorDivide(seconds, CivilDate::kSecondsPerDay)).year;
  // The changes of three years hold the time between them; what is in force between two is set by the first
  // of them.
  struct Moment {
    std::int64_t at;
    bool daylight;
  };
  std::array<Moment, 6> moments;
  const bool daylightFirst = toDaylight_.localSeconds(year) < toStandard_.localSeconds(year);
  for (std::size_t i = 0; i < moments.size(); ++i) {
    const bool daylight = (i % 2 == 0) == daylightFirst;
    const std::int64_t at = year - 1 + static_cast<std::int64_t>(i / 2);
    moments[i] = {daylight ? toDaylight_.localSeconds(at) - standardOffset_
                           : toStandard_.localSeconds(at) - daylightOffset_,
                  daylight};
  }
  std::size_t i = moments.size() - 1;
  while (i > 0 && moments[i].at > seconds) --i;
  const std::int64_t end = i + 1 < moments.size() ? moments[i + 1].at : seconds + 1;
  return {moments[i].at, end, moments[i].daylight ? daylightOffset_ : standardOffset_, moments[i].daylight};
}

}  // namespace qw
