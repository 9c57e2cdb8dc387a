#include "platform/system/TimeZone.h"

#include <date/tz.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/Clock.h"
#include "platform/system/internal/PosixTimeZoneRule.h"

namespace qw {

/// Where a zone's periods come from: a table, a rule, or a table that a rule continues.
class TimeZone::Source {
 public:
  Source(const date::time_zone* table, std::optional<PosixTimeZoneRule> rule) : table_(table), rule_(rule) {}

  Period periodAt(std::int64_t seconds) const {
    Period period;
    if (table_) {
      const std::chrono::seconds bounded(std::clamp(seconds, kTableBegin, kTableEnd));
      const date::sys_info info = table_->get_info(date::sys_seconds(bounded));
      period = {info.begin.time_since_epoch().count(), info.end.time_since_epoch().count(),
                static_cast<std::int32_t>(info.offset.count()), info.save != std::chrono::minutes::zero()};
      if (period.begin <= kTableBegin) period.begin = kDistantPast;
      if (period.end < kTableEnd) return period;
      period.end = kDistantFuture;
    }
    if (rule_) {
      const std::int64_t tableEnd = period.begin;
      period = rule_->periodAt(seconds);
      period.begin = std::max(period.begin, tableEnd);
    }
    return period;
  }

 private:
  // Years -9999 and 9999; date-tz ends its first and last period far outside.
  static constexpr std::int64_t kTableBegin = -377'705'116'800;
  static constexpr std::int64_t kTableEnd = 253'402'300'799;
  const date::time_zone* table_;
  std::optional<PosixTimeZoneRule> rule_;
};

struct TimeZone::Registry {
  std::mutex mutex;
  // Zones are few and never removed, so that references to them stay good.
  std::map<std::string, std::unique_ptr<const TimeZone, void (*)(const TimeZone*)>, std::less<>> zones;

  static Registry& shared() {
    static auto* registry = new Registry;
    return *registry;
  }
  const TimeZone* add(std::string_view name, std::unique_ptr<const Source> source) {
    const auto destroy = [](const TimeZone* zone) { delete zone; };
    return zones.try_emplace(std::string(name), new TimeZone(std::string(name), std::move(source)), destroy)
        .first->second.get();
  }
};

namespace {

constexpr std::string_view kZoneInfo = "/usr/share/zoneinfo/";
constexpr std::size_t kMaxNameSize = 128;

std::atomic<const TimeZone*> currentZone{nullptr};

// The last line of a zone's file: its yearly rule (RFC 8536, section 3.3). date-tz reads the tables alone,
// and those of most zones end in 2037 or earlier.
std::optional<PosixTimeZoneRule> footerRule(const std::string& name) {
  std::ifstream file(std::string(kZoneInfo) + name, std::ios::binary);
  std::string tail(kMaxNameSize, '\0');
  file.seekg(0, std::ios::end);
  const std::streamoff size = file.tellg();
  if (!file || size <= 0) return std::nullopt;
  const auto length = std::min<std::streamoff>(size, static_cast<std::streamoff>(tail.size()));
  file.seekg(size - length);
  if (!file.read(tail.data(), length)) return std::nullopt;
  std::string_view text(tail.data(), static_cast<std::size_t>(length));
  if (!text.ends_with('\n')) return std::nullopt;
  text.remove_suffix(1);
  const std::size_t start = text.rfind('\n');
  return start == std::string_view::npos ? std::nullopt : PosixTimeZoneRule::fromText(text.substr(start + 1));
}

// "GMT+2", "UTC-0330", "GMT+05:45", with the sign of everyday use: positive to the east.
std::optional<PosixTimeZoneRule> fixedRule(std::string_view name) {
  if (!name.starts_with("GMT") && !name.starts_with("UTC")) return std::nullopt;
  const std::string_view distance = name.substr(3);
  if (distance.size() < 2 || (distance[0] != '+' && distance[0] != '-')) return std::nullopt;
  std::string hours(distance.substr(1));
  if (hours.size() > 5 || hours.find_first_not_of("0123456789:") != std::string::npos) return std::nullopt;
  if (hours.size() > 2 && hours.find(':') == std::string::npos) hours.insert(hours.size() - 2, ":");
  return PosixTimeZoneRule::fromText("GMT" + std::string(distance[0] == '+' ? "-" : "+") + hours);
}

std::string systemZoneName() {
  if (const char* variable = std::getenv("TZ")) {
    std::string_view name(variable);
    if (name.starts_with(':')) name.remove_prefix(1);
    if (name.starts_with(kZoneInfo)) name.remove_prefix(kZoneInfo.size());
    return std::string(name);
  }
  std::error_code error;
  const std::string link = std::filesystem::read_symlink("/etc/localtime", error).string();
  constexpr std::string_view kFolder = "zoneinfo/";
  if (const auto at = link.find(kFolder); at != std::string::npos) return link.substr(at + kFolder.size());
  std::string name;
  std::ifstream("/etc/timezone") >> name;
  return name;
}

class ICUZone : public icu::TimeZone {
 public:
  explicit ICUZone(const qw::TimeZone& zone)
      : icu::TimeZone(icu::UnicodeString::fromUTF8(zone.name())), zone_(&zone) {}

  void getOffset(UDate date, UBool local, int32_t& rawOffset, int32_t& dstOffset,
                 UErrorCode& status) const override {
    if (U_FAILURE(status)) return;
    std::int64_t seconds = secondsFrom(date);
    if (local) seconds = zone_->utcFromLocal(seconds);
    qw::TimeZone::Period period = zone_->periodAt(seconds);
    // A skipped local time is read with the distance before the gap, which is what moves it forward.
    if (local && seconds + period.offset != secondsFrom(date)) period = zone_->periodAt(period.begin - 1);
    dstOffset = period.daylightSaving ? kHour : 0;
    rawOffset = period.offset * 1000 - dstOffset;
  }
  int32_t getOffset(uint8_t era, int32_t year, int32_t month, int32_t day, uint8_t weekday, int32_t millis,
                    UErrorCode& status) const override {
    return getOffset(era, year, month, day, weekday, millis, 0, status);
  }
  int32_t getOffset(uint8_t era, int32_t year, int32_t month, int32_t day, uint8_t, int32_t millis, int32_t,
                    UErrorCode& status) const override {
    const std::int64_t astronomical = era == 0 ? 1 - year : year;
    const std::int64_t days = CivilDate::days(astronomical, month + 1, day);
    int32_t raw = 0, daylight = 0;
    getOffset(static_cast<double>(days) * 86'400'000.0 + millis, true, raw, daylight, status);
    return raw + daylight;
  }
  using icu::TimeZone::getOffset;

  int32_t getRawOffset() const override {
    UErrorCode status = U_ZERO_ERROR;
    int32_t raw = 0, daylight = 0;
    getOffset(static_cast<UDate>(Clock::now().microseconds()) / 1000, false, raw, daylight, status);
    return raw;
  }
  void setRawOffset(int32_t) override {}
  UBool useDaylightTime() const override { return hasDaylightAround(Clock::now().seconds()); }
  UBool inDaylightTime(UDate date, UErrorCode&) const override {
    return zone_->periodAt(secondsFrom(date)).daylightSaving;
  }
  ICUZone* clone() const override { return new ICUZone(*this); }
  UClassID getDynamicClassID() const override {
    static char id = 0;
    return &id;
  }
  bool operator==(const icu::TimeZone& other) const override {
    const auto* same = dynamic_cast<const ICUZone*>(&other);
    return same && same->zone_ == zone_;
  }
  UBool hasSameRules(const icu::TimeZone& other) const override { return *this == other; }

 private:
  static constexpr int32_t kHour = 3'600'000;

  static std::int64_t secondsFrom(UDate date) {
    constexpr double kFar = 1e16;  // milliseconds; calendars of ICU end before
    return static_cast<std::int64_t>(std::floor(std::clamp(date, -kFar, kFar) / 1000));
  }
  bool hasDaylightAround(std::int64_t seconds) const {
    const auto period = zone_->periodAt(seconds);
    return period.daylightSaving || zone_->periodAt(period.end).daylightSaving;
  }

  const qw::TimeZone* zone_;
};

}  // namespace

TimeZone::TimeZone(std::string name, std::unique_ptr<const Source> source)
    : name_(std::move(name)), source_(std::move(source)) {}
TimeZone::~TimeZone() = default;

const TimeZone* TimeZone::named(std::string_view name) {
  if (name.empty() || name.size() > kMaxNameSize) return nullptr;
  Registry& registry = Registry::shared();
  const std::lock_guard lock(registry.mutex);
  if (const auto found = registry.zones.find(name); found != registry.zones.end()) return found->second.get();
  const std::string text(name);
  try {
    const date::time_zone* table = date::locate_zone(text);
    table->get_info(date::sys_seconds());  // reads the file now, so that a bad one fails here
    return registry.add(name, std::make_unique<Source>(table, footerRule(text)));
  } catch (const std::runtime_error&) {
    auto rule = fixedRule(name);
    if (!rule) rule = PosixTimeZoneRule::fromText(name);
    return rule ? registry.add(name, std::make_unique<Source>(nullptr, rule)) : nullptr;
  }
}

const TimeZone& TimeZone::utc() {
  static const TimeZone* const zone = [] {
    Registry& registry = Registry::shared();
    const std::lock_guard lock(registry.mutex);
    return registry.add("GMT", std::make_unique<Source>(nullptr, std::nullopt));
  }();
  return *zone;
}

const TimeZone& TimeZone::current() {
  if (const TimeZone* zone = currentZone.load(std::memory_order_acquire)) return *zone;
  const TimeZone* found = named(systemZoneName());
  if (!found) found = &utc();
  const TimeZone* expected = nullptr;
  return currentZone.compare_exchange_strong(expected, found) ? *found : *expected;
}

void TimeZone::setCurrent(const TimeZone& zone) { currentZone.store(&zone, std::memory_order_release); }

TimeZone::Period TimeZone::periodAt(std::int64_t seconds) const {
  // Dates that are looked at together mostly lie in one period.
  struct Last {
    const TimeZone* zone = nullptr;
    Period period;
  };
  thread_local Last last;
  if (last.zone != this || seconds < last.period.begin || seconds >= last.period.end) {
    last = {this, source_->periodAt(seconds)};
  }
  return last.period;
}

std::int64_t TimeZone::utcFromLocal(std::int64_t localSeconds) const {
  // No clock differs from UTC, nor jumps, by more than this.
  constexpr std::int64_t kFar = 2 * CivilDate::kSecondsPerDay;
  Period period = periodAt(localSeconds);
  std::int64_t seconds = localSeconds - period.offset;
  if (seconds >= period.begin + kFar && seconds < period.end) return seconds;
  // Near a change: begin well before it and go on until the time lies in a period, or in the gap before the
  // next.
  period = periodAt(localSeconds - kFar);
  for (;;) {
    seconds = localSeconds - period.offset;
    if (seconds < period.end) return seconds;
    const Period next = periodAt(period.end);
    if (localSeconds - next.offset < next.begin) return seconds;
    period = next;
  }
}

std::unique_ptr<icu::TimeZone> TimeZone::makeICUZone() const { return std::make_unique<ICUZone>(*this); }

TimeZone::Override::Override(std::string_view name) : previous_(current()) {
  const TimeZone* zone = named(name);
  assert(zone);
  setCurrent(zone ? *zone : utc());
}

TimeZone::Override::~Override() { setCurrent(previous_); }

}  // namespace qw
