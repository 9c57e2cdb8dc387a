#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/ApplicationContext.h"
#include "platform/Clock.h"
#include "platform/DateText.h"
#include "platform/TimeZone.h"
#include "values/QWDateFormatter.h"

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

class QWDateFormatterTest : public testing::Test {
 protected:
  void useLocale(const char* locale) {
    context_.change([&](qw::ApplicationContext& context) { context.locale = locale; });
  }

 private:
  qw::ApplicationContext::Override context_;
  qw::TimeZone::Override zone_{"Europe/Berlin"};
  qw::Clock::Override clock_{local("2026-11-21 12:00:00")};
};

TEST_F(QWDateFormatterTest, FollowsTheStylesOfTheLocale) {
  const Date date = local("2024-03-15 15:04:05");
  EXPECT_EQ(QWDateFormatter().stringFromDate(date), "3/15/24");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kLong), "March 15, 2024");
  EXPECT_EQ(QWDateFormatter::formatDateWithTemplate(date, "yMMMd"), "Mar 15, 2024");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kNone), "");
  useLocale("de_DE");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kLong), "15. März 2024");
  EXPECT_EQ(QWDateFormatter::formatDate(date, Style::kShort, Style::kShort), "15.03.24, 15:04");
  EXPECT_EQ(QWDateFormatter::formatDate(date, "EEEE, d. MMM ''yy"), "Freitag, 15. März '24");
  EXPECT_EQ(QWDateFormatter::formatDateWithTemplate(date, "yMMMd"), "15. März 2024");
  useLocale("ja_JP@calendar=japanese");
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
  for (const std::string& text : {std::string(), std::string("  ")}) {
    std::optional<Date> value = Date();
    EXPECT_TRUE(formatter.getObjectValue(value, text));
    EXPECT_EQ(value, std::nullopt);
  }
  std::optional<Date> value = Date();
  EXPECT_FALSE(formatter.getObjectValue(value, "x"));
  EXPECT_EQ(value, std::nullopt);
  EXPECT_FALSE(formatter.getObjectValue(value, "1/1/2024" + std::string(10'000'000, ' ')));
}

}  // namespace
