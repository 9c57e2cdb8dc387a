#include <gtest/gtest.h>
#include <unicode/timezone.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/TimeZone.h"

namespace qw {
namespace {

constexpr std::int64_t kDay = CivilDate::kSecondsPerDay;

std::int64_t at(std::int64_t year, int month, int day, int hour = 0, int minute = 0) {
  return CivilDate::days(year, month, day) * kDay + hour * 3600 + minute * 60;
}

/// Sets the zone of the C library while it lives.
class LibraryZone {
 public:
  explicit LibraryZone(const char* name) {
    if (const char* old = std::getenv("TZ")) previous_ = old;
    setenv("TZ", name, 1);
    tzset();
  }
  ~LibraryZone() {
    previous_.empty() ? unsetenv("TZ") : setenv("TZ", previous_.c_str(), 1);
    tzset();
  }

 private:
  std::string previous_;
};

const std::vector<const char*> kZones = {"Europe/Berlin",     "Europe/Dublin",       "Africa/Cairo",
                                         "Africa/Casablanca", "America/New_York",    "America/Sao_Paulo",
                                         "America/Godthab",   "Australia/Lord_Howe", "Pacific/Apia",
                                         "Asia/Kathmandu",    "Asia/Gaza",           "UTC"};

TEST(TimeZoneTest, OffsetsAgreeWithTheCLibraryBeforeInAndBeyondTheTables) {
  for (const char* name : kZones) {
    const TimeZone* zone = TimeZone::named(name);
    ASSERT_TRUE(zone) << name;
    const LibraryZone library(name);
    for (std::int64_t seconds = at(1800, 1, 1); seconds < at(2200, 1, 1); seconds += 5 * 3600 + 1234) {
      const std::time_t time = seconds;
      std::tm parts{};
      localtime_r(&time, &parts);
      ASSERT_EQ(zone->offsetAt(seconds), parts.tm_gmtoff) << name << ' ' << seconds;
    }
  }
}

TEST(TimeZoneTest, LocalTimesAreTheFirstOccurrenceOrMovedForwardByTheGap) {
  for (const char* name : kZones) {
    const TimeZone* zone = TimeZone::named(name);
    // Looks a minute around every change of the years in which all these zones changed.
    for (std::int64_t seconds = at(1910, 1, 1); seconds < at(2060, 1, 1);) {
      const TimeZone::Period period = zone->periodAt(seconds);
      if (period.end >= at(2060, 1, 1)) break;
      const std::int64_t change = period.end;
      const std::int32_t before = period.offset, after = zone->offsetAt(change);
      const std::int64_t last = change - 1 + before, first = change + after;
      ASSERT_EQ(zone->utcFromLocal(last), change - 1) << name << ' ' << change;
      ASSERT_EQ(zone->utcFromLocal(last + 1), change + std::max(before - after, 0)) << name << ' ' << change;
      if (after > before) {
        const std::int64_t skipped = (last + first) / 2;
        ASSERT_EQ(zone->localFromUTC(zone->utcFromLocal(skipped)), skipped + (after - before))
            << name << ' ' << change;
        ASSERT_EQ(zone->utcFromLocal(first), change) << name << ' ' << change;
      } else {
        ASSERT_EQ(zone->utcFromLocal(first), first - before) << name << ' ' << change;
      }
      seconds = change;
    }
  }
}

TEST(TimeZoneTest, NamesOfFixedDistancesAndRulesAreZonesAndOthersAreNot) {
  EXPECT_EQ(TimeZone::named("GMT+2")->offsetAt(0), 7200);
  EXPECT_EQ(TimeZone::named("GMT-0330")->offsetAt(0), -12600);
  EXPECT_EQ(TimeZone::named("UTC+05:45")->offsetAt(0), 20700);
  const TimeZone* rule = TimeZone::named("AAA-1BBB,J60/0,300/1:30");
  ASSERT_TRUE(rule);
  EXPECT_EQ(rule->periodAt(at(2024, 7, 1)).begin, at(2024, 3, 1) - 3600);  // day 60 never counts a leap day
  EXPECT_EQ(rule->periodAt(at(2024, 7, 1)).end, at(2024, 1, 1) + 300 * kDay + 5400 - 7200);
  for (const char* name : {"", "Europe/Nowhere", "../../etc/passwd", "Europe", "GMT+", "GMT+25:00", "GMT+1x",
                           "PST9PDT,M13.1.0,M1.1.0", "CET-1CEST,M3.5.0", "A", "<a"}) {
    EXPECT_FALSE(TimeZone::named(name)) << name;
  }
  EXPECT_FALSE(TimeZone::named(std::string(1000, 'x')));
}

TEST(TimeZoneTest, TheZoneInForceCanBeReplacedWhileOthersRead) {
  const TimeZone& before = TimeZone::current();
  {
    const TimeZone::Override berlin("Europe/Berlin");
    EXPECT_EQ(TimeZone::current().name(), "Europe/Berlin");
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
      readers.emplace_back([] {
        for (int j = 0; j < 2000; ++j) {
          const TimeZone* zone = TimeZone::named(j % 2 ? "Asia/Kathmandu" : "Europe/Berlin");
          EXPECT_EQ(zone->offsetAt(at(2024, 7, 1)), j % 2 ? 20700 : 7200);
        }
      });
    }
    {
      const TimeZone::Override kathmandu("Asia/Kathmandu");
      EXPECT_EQ(TimeZone::current().offsetAt(at(2024, 7, 1)), 20700);
    }
    for (auto& reader : readers) reader.join();
    EXPECT_EQ(TimeZone::current().name(), "Europe/Berlin");
  }
  EXPECT_EQ(&TimeZone::current(), &before);
}

TEST(TimeZoneTest, TheZoneForICUFollowsTheSystemsData) {
  const auto zone = TimeZone::named("Europe/Berlin")->makeICUZone();
  UErrorCode status = U_ZERO_ERROR;
  std::int32_t raw = 0, daylight = 0;
  const auto offset = [&](std::int64_t seconds, bool local) {
    zone->getOffset(static_cast<double>(seconds) * 1000, local, raw, daylight, status);
    return (raw + daylight) / 1000;
  };
  EXPECT_EQ(offset(at(2024, 7, 1), false), 7200);
  EXPECT_EQ(daylight, 3'600'000);
  EXPECT_EQ(offset(at(2050, 1, 1), false), 3600);
  EXPECT_EQ(offset(at(2024, 3, 31, 2, 30), true), 3600);   // skipped: the distance before moves it to 3:30
  EXPECT_EQ(offset(at(2024, 10, 27, 2, 30), true), 7200);  // twice: the first
  EXPECT_TRUE(zone->useDaylightTime());
  EXPECT_EQ(*zone, *std::unique_ptr<icu::TimeZone>(zone->clone()));
  EXPECT_FALSE(*zone == *TimeZone::utc().makeICUZone());
}

}  // namespace
}  // namespace qw
