#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <sstream>
#include <string>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/system/Clock.h"
#include "platform/system/DateText.h"
#include "support/User.h"
#include "values/dates/QWDateFormatter.h"

namespace {

using qw::Date;
using Style = QWDateFormatter::Style;

/// A time of the zone in force, in the Gregorian calendar.
Date local(const std::string& text) {
  const auto date = qw::DateText::readDateTime(text.size() == 10 ? text + " 00:00:00" : text);
  EXPECT_TRUE(date) << text;
  return Date::fromSeconds(qw::TimeZone::current().utcFromLocal(date.value_or(Date()).seconds()));
}

std::string shown(std::optional<Date> date) {
  if (!date) return "none";
  return qw::DateText::dateTimeText(Date::fromSeconds(qw::TimeZone::current().localFromUTC(date->seconds())));
}

class QWDateFormatterTest : public testing::Test, public User {
 protected:
  QWDateFormatterTest() : User("en_US", "Europe/Berlin") {}

 private:
  qw::Clock::Override clock_{local("2026-11-21 12:00:00")};
};

TEST_F(QWDateFormatterTest, FollowsTheStylesOfTheLocale) {
  const Date date = local("2024-03-15 15:04:05");
  EXPECT_EQ(QWDateFormatter().stringFromDate(date), "3/15/24");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kLong), "March 15, 2024");
  EXPECT_EQ(QWDateFormatter::formatDateWithTemplate(date, "yMMMd"), "Mar 15, 2024");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kNone), "");
  setLocale("de_DE");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kLong), "15. März 2024");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kShort, Style::kShort), "15.03.24, 15:04");
  EXPECT_EQ(QWDateFormatter::formatDate(date, "EEEE, d. MMM ''yy"), "Freitag, 15. März '24");
  EXPECT_EQ(QWDateFormatter::formatDateWithTemplate(date, "yMMMd"), "15. März 2024");
  setLocale("ja_JP@calendar=japanese");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kLong), "令和6年3月15日");
  EXPECT_EQ(QWDateFormatter::parseString("令和6年3月15日", Style::kLong), local("2024-03-15"));
  EXPECT_EQ(QWDateFormatter::parseString("15 mars 2024", Style::kLong, Style::kNone, "fr_FR"),
            local("2024-03-15"));
}

TEST_F(QWDateFormatterTest, ReadsDigitsInTheOrderOfTheFormat) {
  const struct {
    const char *format, *text, *date;
  } cases[] = {
      {"dd.MM.yyyy", "5", "2026-11-05"},      {"dd.MM.yyyy", "31", "2026-12-01"},
      {"dd.MM.yyyy", "0502", "2026-02-05"},   {"MM/dd/yyyy", "0502", "2026-05-02"},
      {"yyyy-MM-dd", "0502", "2026-05-02"},   {"yyyy-MM-dd", "20240315", "2024-03-15"},
      {"yyyy-MM-dd", "240315", "2024-03-15"}, {"dd.MM.yyyy", "150324", "2024-03-15"},
      {"M/d/yy", "03152024", "2024-03-15"},   {"dd.MM.yyyy", "31042024", "2024-05-01"},
      {"d MMMM", "150324", "2024-03-15"},     {"dd.MM.yyyy", "١٥٠٣٢٤", "2024-03-15"},
      {"dd.MM.yyyy", " 5 ", "2026-11-05"},    {"'Mdy' d.M.y", "0502", "2026-02-05"},
      {"dd.MM.yyyy", "1324", nullptr},        {"dd.MM.yyyy", "12345", nullptr},
      {"dd.MM.yyyy", "0", nullptr},           {"dd.MM.yyyy", "32", nullptr},
      {"dd.MM.yyyy", "123456789", nullptr},   {"yyyy.dd.MM", "20241503", nullptr},
      {"dd.MM.yyyy", "15032x", nullptr},
  };
  for (const auto& c : cases) {
    const auto date = QWDateFormatter::parseString(c.text, c.format);
    EXPECT_EQ(shown(date), c.date ? std::string(c.date) + " 00:00:00" : "none") << c.format << " " << c.text;
  }
}

TEST_F(QWDateFormatterTest, DigitsCountInTheCenturyOfTheCalendar) {
  setLocale("th_TH");
  EXPECT_EQ(shown(QWDateFormatter::parseString("150367", "dd.MM.yyyy")), "2024-03-15 00:00:00");
  setLocale("ja_JP@calendar=japanese");
  EXPECT_EQ(shown(QWDateFormatter::parseString("060315", "yy.MM.dd")), "2024-03-15 00:00:00");
}

TEST_F(QWDateFormatterTest, ReadsWhatPeopleType) {
  const struct {
    const char *format, *text, *date;
  } cases[] = {
      {"dd.MM.yyyy", "15.03.2024", "2024-03-15 00:00:00"},
      {"dd.MM.yyyy", "5.3.24", "2024-03-05 00:00:00"},
      {"dd.MM.yyyy", "1.1.00", "2000-01-01 00:00:00"},
      {"dd.MM.yyyy", "1.1.57", "2057-01-01 00:00:00"},
      {"dd.MM.yyyy", "1.1.0100", "0100-01-01 00:00:00"},
      {"dd.MM.yy", "1.1.57", "1957-01-01 00:00:00"},
      {"dd.MM.yy", "1.1.45", "2045-01-01 00:00:00"},
      {"dd.MM.yy", "1.1.46", "1946-01-01 00:00:00"},
      {"dd.MM.yy", "1.1.7", "2007-01-01 00:00:00"},
      {"dd.MM.yy", "1.1.1944", "1944-01-01 00:00:00"},  // the year that was typed, not the one shown
      {"d. M. y", "1.1.2024", "2024-01-01 00:00:00"},
      {"d MMM y", "1 march 2024", "2024-03-01 00:00:00"},
      {"yyyyMMdd", "20240315", "2024-03-15 00:00:00"},
      {"yyyy-MM-dd'T'HH:mm:ss", "2024-03-15T23:04:05", "2024-03-15 23:04:05"},
      {"yyyy-MM-dd HH:mm:ss Z", "2024-03-15 23:04:05 +0000", "2024-03-16 00:04:05"},
      {"h:mm a, d/M/y", "3:04 pm, 15/3/2024", "2024-03-15 15:04:00"},
      {"d\u200F/M\u200F/y", "15/3/2024", "2024-03-15 00:00:00"},
      {" 'on ' d.M.y' '", " on 15.3.2024", "2024-03-15 00:00:00"},
      {"dd.MM.yyyy", "29.02.24", "2024-02-29 00:00:00"},
      {"dd.MM.yyyy", "29.02.2023", nullptr},
      {"dd.MM.yyyy", "31.04.2024", nullptr},
      {"dd.MM.yyyy", "15.13.2024", nullptr},
      {"dd.MM.yyyy", "15/03/2024", nullptr},
      {"dd.MM.yyyy", "15.03.2024 and more", nullptr},
      {"dd.MM.yyyy", "15.03.-24", nullptr},
      {"dd.MM.yyyy", "15.03.", nullptr},
      {"dd.MM.yyyy", "15.03.99999999999999999999", nullptr},
      {"dd.MM.yyyy", "\xFF\xFE", nullptr},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(shown(QWDateFormatter::parseString(c.text, c.format)), c.date ? c.date : "none")
        << c.format << " " << c.text;
  }
}

TEST_F(QWDateFormatterTest, AnEmptyTextHasNoValueAndIsWell) {
  const QWDateFormatter formatter;
  for (const char* text : {"", "  ", "x"}) {
    std::optional<Date> value = Date();
    EXPECT_EQ(formatter.getObjectValue(value, text), *text == 0) << text;
    EXPECT_EQ(value, std::nullopt);
  }
  std::optional<Date> value;
  EXPECT_FALSE(formatter.getObjectValue(value, "1/1/2024" + std::string(10'000'000, ' ')));
}

TEST_F(QWDateFormatterTest, TellsWhatItExpected) {
  QWDateFormatter formatter;
  std::optional<Date> value;
  qw::Error error;
  EXPECT_FALSE(formatter.getObjectValue(value, "tomorrow", &error));
  EXPECT_EQ(error.code, QWDateFormatter::kUnreadable);
  EXPECT_EQ(error.localizedDescription, "This is not a date of the form “11/21/26”.");
  formatter.setDateFormat("no format");
  EXPECT_EQ(formatter.stringFromDate(Date()), "");
  EXPECT_FALSE(formatter.getObjectValue(value, "1/1/2024", &error));
  EXPECT_EQ(error.code, QWDateFormatter::kBadFormat);
  EXPECT_EQ(error.localizedDescription, "The date format “no format” cannot be used.");
  formatter.setDateFormat(std::string(10'000'000, 'd'));
  EXPECT_FALSE(formatter.getObjectValue(value, "1/1/2024"));
}

TEST_F(QWDateFormatterTest, FollowsTheUser) {
  QWDateFormatter formatter;
  formatter.setTimeStyle(Style::kShort);
  const Date date = local("2024-03-15 23:30:00");
  const qw::TimeZone::Override zone("Asia/Kathmandu");
  setLocale("en_GB");
  EXPECT_EQ(formatter.stringFromDate(date), "16/03/2024, 04:15");
  QWDateFormatter copy = formatter;
  copy.setLocale("fr_FR");
  EXPECT_EQ(copy.stringFromDate(date), "16/03/2024 04:15");
  EXPECT_EQ(formatter.dateFormat(), "dd/MM/y, HH:mm");
  copy.setDateFormat("y");
  EXPECT_EQ(copy.dateFormat(), "y");
  copy.setTimeStyle(Style::kNone);
  EXPECT_EQ(copy.dateFormat(), "dd/MM/y");
}

TEST_F(QWDateFormatterTest, MayHaveAZoneAndACalendarOfItsOwnAndTravelWithThem) {
  const auto formatter = qw::make<QWDateFormatter>();
  EXPECT_FALSE(formatter->setTimeZone("Nowhere/Land"));
  EXPECT_FALSE(formatter->setCalendar("mayan"));
  ASSERT_TRUE(formatter->setTimeZone("Asia/Tokyo"));
  ASSERT_TRUE(formatter->setCalendar("buddhist"));
  formatter->setDateFormat("d.M.y HH:mm");
  const Date date = local("2024-03-15 23:30:00");
  EXPECT_EQ(formatter->stringFromDate(date), "16.3.2567 07:30");
  const auto archive = qw::KeyedArchiver::archivedData(formatter);
  ASSERT_TRUE(archive);
  const auto read =
      qw::KeyedUnarchiver::unarchived<QWDateFormatter>(archive->bytes(), {&QWDateFormatter::kClass});
  ASSERT_TRUE(read);
  EXPECT_EQ(read->stringFromDate(date), "16.3.2567 07:30");
  std::optional<Date> value;
  EXPECT_TRUE(read->getObjectValue(value, "16.3.2567 07:30"));
  EXPECT_EQ(value, date);
  // Digits alone as well: the day in Tokyo, where it is seven hours earlier that day begins.
  read->setDateFormat("d.M.y");
  EXPECT_TRUE(read->getObjectValue(value, "160367"));
  EXPECT_EQ(value, local("2024-03-15 16:00:00"));
  EXPECT_TRUE(read->getObjectValue(value, "16"));
  EXPECT_EQ(value, local("2026-11-15 16:00:00"));
}

TEST_F(QWDateFormatterTest, ReadsTheDateThatAPartOfATextBeginsWith) {
  QWDateFormatter formatter;
  formatter.setDateFormat("dd.MM.yyyy");
  const std::string text = "due 15.03.2024, paid";
  std::optional<Date> value;
  QWDateFormatter::Range range{4, text.size()};
  EXPECT_TRUE(formatter.getObjectValue(value, text, range));
  EXPECT_EQ(shown(value), "2024-03-15 00:00:00");
  EXPECT_EQ(text.substr(range.location, range.length), "15.03.2024");
  range = {4, 3};
  EXPECT_FALSE(formatter.getObjectValue(value, text, range));
  EXPECT_EQ(range.length, 3u);
  range = {99, 1};
  EXPECT_TRUE(formatter.getObjectValue(value, text, range));
  EXPECT_EQ(value, std::nullopt);
  range = {0, text.size()};
  EXPECT_FALSE(formatter.getObjectValue(value, text, range));
}

TEST_F(QWDateFormatterTest, WhatItWritesItReads) {
  const Date date = local("2024-03-05 15:04:00");
  std::istringstream locales(
      "en_US en_GB de_DE fr_CH es_MX pt_BR ru_RU cs_CZ hu_HU lv_LV fi_FI tr_TR el_GR ar_EG fa_IR he_IL "
      "he_IL@calendar=hebrew hi_IN th_TH vi_VN ja_JP ko_KR ja_JP@calendar=japanese zh_CN bg_BG "
      "am_ET@calendar=ethiopic");
  for (std::string locale; locales >> locale;) {
    setLocale(locale);
    for (const Style style : {Style::kShort, Style::kMedium, Style::kLong, Style::kFull}) {
      for (const Style time : {Style::kNone, Style::kShort}) {
        const std::string text = QWDateFormatter::formatDate(date, style, time);
        const auto read = QWDateFormatter::parseString(text, style, time);
        EXPECT_EQ(shown(read), time == Style::kNone ? "2024-03-05 00:00:00" : "2024-03-05 15:04:00")
            << locale << " " << text;
      }
    }
  }
}

TEST_F(QWDateFormatterTest, EveryDateIsWrittenAndFarYearsAreRefused) {
  for (const char* locale : {"en_US", "ja_JP@calendar=japanese", "he_IL@calendar=hebrew", "fa_IR",
                             "zh_CN@calendar=chinese", "ar_SA@calendar=islamic", "hi_IN@calendar=indian"}) {
    setLocale(locale);
    for (const std::int64_t end :
         {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
      EXPECT_NE(QWDateFormatter::formatDate(Date::fromMicroseconds(end), Style::kLong, Style::kShort), "");
    }
  }
  EXPECT_EQ(QWDateFormatter::parseString("1.1.5000000", "d.M.yyyy"), std::nullopt);
  // No year is taken for another.
  setLocale("zh_CN@calendar=chinese");
  const std::string text = QWDateFormatter::formatDate(local("2024-03-05"), Style::kLong);
  EXPECT_EQ(QWDateFormatter::parseString(text, Style::kLong).value_or(local("2024-03-05")),
            local("2024-03-05"));
}

}  // namespace
