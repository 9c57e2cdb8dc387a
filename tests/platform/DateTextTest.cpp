#include <gtest/gtest.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include <cfloat>
#include <limits>
#include <memory>
#include <string>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/DateText.h"
#include "platform/system/TimeZone.h"

namespace qw {
namespace {

using DateText::ShortYear;

/// What ICU writes with the same form, calendar and zone.
class Formatter {
 public:
  Formatter(const char* pattern, std::unique_ptr<icu::TimeZone> zone) {
    auto calendar =
        std::make_unique<icu::GregorianCalendar>(zone.release(), icu::Locale("en_US_POSIX"), status_);
    calendar->setGregorianChange(-DBL_MAX, status_);
    format_ = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(pattern), icu::Locale("en_US_POSIX"),
                                                      status_);
    format_->adoptCalendar(calendar.release());
  }
  std::string text(Date date) const {
    icu::UnicodeString out;
    std::string result;
    return format_->format(static_cast<UDate>(date.seconds()) * 1000, out).toUTF8String(result);
  }

 private:
  UErrorCode status_ = U_ZERO_ERROR;
  std::unique_ptr<icu::SimpleDateFormat> format_;
};

constexpr std::int64_t kSeconds = CivilDate::kSecondsPerDay;

TEST(DateTextTest, PlainDatesAgreeWithTheFormatterAndReadBackAsTheDaysFirstMoment) {
  for (const char* name :
       {"Europe/Berlin", "Asia/Kathmandu", "America/Sao_Paulo", "Africa/Cairo", "Pacific/Apia", "UTC"}) {
    const TimeZone::Override zone(name);
    const Formatter formatter("yyyy-MM-dd", TimeZone::current().makeICUZone());
    const Formatter time("HH:mm:ss", TimeZone::current().makeICUZone());
    const auto check = [&](std::int64_t day) {
      const Date noon = Date::fromSeconds(TimeZone::current().utcFromLocal(day * kSeconds + kSeconds / 2));
      const std::string text = DateText::dateText(noon);
      ASSERT_EQ(text, formatter.text(noon)) << name;
      const auto date = DateText::readDate(text);
      ASSERT_TRUE(date) << text;
      ASSERT_EQ(DateText::dateText(*date), text) << name;
      // The first moment: a second earlier is another day.
      ASSERT_NE(DateText::dateText(date->addingSeconds(-1)), text) << name;
    };
    for (std::int64_t day = CivilDate::days(1850, 1, 1); day < CivilDate::days(2110, 1, 1); ++day) check(day);
    for (std::int64_t day = CivilDate::days(1, 1, 1); day < CivilDate::days(9999, 12, 31); day += 1009)
      check(day);
    check(CivilDate::days(9999, 12, 31));
  }
}

TEST(DateTextTest, DateTimesAreOfGMTWhateverTheZone) {
  const TimeZone::Override zone("Europe/Berlin");
  const Formatter formatter("yyyy-MM-dd HH:mm:ss", TimeZone::utc().makeICUZone());
  for (std::int64_t seconds = CivilDate::days(1, 1, 1) * kSeconds;
       seconds < CivilDate::days(10'000, 1, 1) * kSeconds; seconds += 12'345'678) {
    const Date date = Date::fromSeconds(seconds);
    const std::string text = DateText::dateTimeText(date);
    ASSERT_EQ(text, formatter.text(date));
    ASSERT_EQ(DateText::readDateTime(text), date);
  }
  EXPECT_EQ(DateText::dateTimeText(Date::fromMicroseconds(-1)), "1969-12-31 23:59:59");
}

TEST(DateTextTest, OtherFormsHaveNoValue) {
  for (const char* text :
       {"", "2020-1-01", "2020-01-011", "2020/01/01", "2020-01 01", "20200-01-1", "2020-01-01 00:00:00"}) {
    EXPECT_FALSE(DateText::readDate(text)) << text;
  }
  for (const char* text : {"", "2020-01-01", "2020-01-01T00:00:00", "2020-01-01 00:00",
                           "2020-01-01 00:00:000", "2020-01-01 00.00:00", "2020-01-01 00:00-00"}) {
    EXPECT_FALSE(DateText::readDateTime(text)) << text;
  }
}

TEST(DateTextTest, FieldsAreReadAsIntegersAndCountOn) {
  const struct {
    const char *read, *date;
  } cases[] = {
      {"2024-02-30 00:00:00", "2024-03-01 00:00:00"}, {"2024-13-01 00:00:00", "2025-01-01 00:00:00"},
      {"2024-00-00 00:00:00", "2023-11-30 00:00:00"}, {"2024- 5- 6  1: 2: 3", "2024-05-06 01:02:03"},
      {"2024-+5-6x 25:61:61", "2024-05-07 02:02:01"}, {"2024-ab-01 00:-1:00", "2023-11-30 23:59:00"},
      {"0000-01-01 00:00:00", "0001-01-01 00:00:00"}, {" 99 -01-01 00:00:00", "0099-01-01 00:00:00"},
  };
  for (const auto& c : cases) {
    const auto date = DateText::readDateTime(c.read);
    ASSERT_TRUE(date) << c.read;
    EXPECT_EQ(DateText::dateTimeText(*date), c.date) << c.read;
  }
}

TEST(DateTextTest, YearsOfJapaneseErasAreRepairedWhenAsked) {
  const TimeZone::Override zone("Asia/Tokyo");
  const struct {
    const char *read, *date;
  } cases[] = {{"0031-04-30", "2019-04-30"}, {"0002-05-01", "2020-05-01"}, {"0009-01-01", "2027-01-01"},
               {"0010-01-01", "1998-01-01"}, {"0099-01-01", "2087-01-01"}, {"0100-01-01", "0100-01-01"}};
  for (const auto& c : cases) {
    EXPECT_EQ(DateText::readDate(c.read, ShortYear::japaneseEra), DateText::readDate(c.date)) << c.read;
    EXPECT_EQ(DateText::dateText(DateText::readDate(c.read).value()), c.read);
    EXPECT_EQ(DateText::readDateTime(std::string(c.read) + " 12:00:00", ShortYear::japaneseEra),
              DateText::readDateTime(std::string(c.date) + " 12:00:00"));
  }
}

TEST(DateTextTest, EveryDateHasATextOfBoundedSize) {
  for (const std::int64_t microseconds : {std::numeric_limits<std::int64_t>::min(),
                                          std::numeric_limits<std::int64_t>::max(), std::int64_t{0}}) {
    const Date date = Date::fromMicroseconds(microseconds);
    EXPECT_LE(DateText::dateTimeText(date).size(), DateText::kMaxSize);
    EXPECT_LE(DateText::dateText(date).size(), DateText::kMaxSize);
  }
  EXPECT_EQ(DateText::dateTimeText(Date::fromSeconds(CivilDate::days(-5, 2, 3) * kSeconds)),
            "0006-02-03 00:00:00");
  EXPECT_EQ(DateText::dateTimeText(Date::fromSeconds(CivilDate::days(123'456, 2, 3) * kSeconds)),
            "123456-02-03 00:00:00");
}

}  // namespace
}  // namespace qw
