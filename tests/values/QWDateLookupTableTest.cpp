#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "platform/system/DateText.h"
#include "support/User.h"
#include "values/dates/QWDateAdditions.h"
#include "values/dates/QWDateLookupTable.h"

namespace {

using qw::Date;
using QWDateAdditions::dateWithYear;

struct QWDateLookupTableTest : testing::Test {
  const User user{"en_US", "Europe/Berlin"};
};

QWDateLookupTable tableOf(const QWDuration& period, std::optional<Date> first = {},
                          std::optional<Date> last = {}) {
  QWDateLookupTable table;
  table.setPeriod(period);
  table.setFixedFirstDate(first);
  table.setFixedLastDate(last);
  return table;
}

TEST_F(QWDateLookupTableTest, PeriodsBeginWithTheYearOfTheFirstDateAskedFor) {
  QWDateLookupTable table = tableOf(QWDuration::durationWithWeeks(1));
  EXPECT_EQ(table.firstDate(), std::nullopt);
  // 2025 began on a Wednesday.
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2025, 3, 13, 15, 0, 0)), dateWithYear(2025, 3, 12));
  EXPECT_EQ(table.endDateForDate(dateWithYear(2025, 3, 18, 23, 59, 59)),
            dateWithYear(2025, 3, 18, 23, 59, 59));
  EXPECT_EQ(table.firstDate(), dateWithYear(2025, 1, 1));
  // Backwards the weeks go on from there, past the first of January before.
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 5, 1)), dateWithYear(2024, 5, 1));
  EXPECT_EQ(table.firstDate(), dateWithYear(2023, 12, 27));
  EXPECT_EQ(table.beginDateForDate(std::nullopt), std::nullopt);
}

TEST_F(QWDateLookupTableTest, FixedDatesBoundIt) {
  const Date first = dateWithYear(2024, 1, 31), last = dateWithYear(2024, 7, 1);
  QWDateLookupTable table =
      tableOf(QWDuration::durationWithMonths(1), first.addingSeconds(3600), last.addingSeconds(7200));
  EXPECT_EQ(table.fixedFirstDate(), first);
  EXPECT_EQ(table.fixedLastDate(), last);
  EXPECT_EQ(table.beginDateForDate(first.addingSeconds(-1)), std::nullopt);
  EXPECT_EQ(table.beginDateForDate(last), std::nullopt);
  EXPECT_EQ(table.beginDateForDate(last.addingSeconds(-1)), dateWithYear(2024, 6, 29));
  // The 31st becomes the 29th in February and stays it.
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 2, 28)), first);
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 3, 28)), dateWithYear(2024, 2, 29));
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 3, 30)), dateWithYear(2024, 3, 29));

  const auto size = table.lookupTable().size();
  table.setFixedLastDate(dateWithYear(2024, 3, 1));
  EXPECT_EQ(table.lookupTable().size(), size);
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 3, 1)), std::nullopt);
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 2, 29)), dateWithYear(2024, 2, 29));
  table.setFixedFirstDate(first);
  table.setPeriod(QWDuration::durationWithMonths(1));
  EXPECT_EQ(table.lookupTable().size(), size);
  table.setFixedFirstDate(std::nullopt);
  EXPECT_TRUE(table.lookupTable().empty());
  EXPECT_EQ(table.lastDate(), std::nullopt);
}

TEST_F(QWDateLookupTableTest, ListsThePeriodsBetweenDatesAsFarAsItReaches) {
  QWDateLookupTable table = tableOf(QWDuration::durationWithMonths(1));
  const Date begin = dateWithYear(2024, 1, 1), end = dateWithYear(2024, 3, 31);
  EXPECT_EQ(table.datesBetweenDate(begin, end), std::vector<Date>());
  table.beginDateForDate(end);
  const std::vector<Date> months{begin, dateWithYear(2024, 2, 1), dateWithYear(2024, 3, 1)};
  EXPECT_EQ(table.datesBetweenDate(begin, end), months);
  EXPECT_EQ(table.datesBetweenDate(dateWithYear(1, 1, 1), dateWithYear(9999, 1, 1)), months);
  EXPECT_EQ(table.datesBetweenDate(dateWithYear(2024, 2, 29), dateWithYear(2024, 3, 1)),
            (std::vector<Date>{months[1], months[2]}));
  EXPECT_EQ(table.datesBetweenDate(end, begin), std::vector<Date>());
  EXPECT_EQ(table.datesBetweenDate(dateWithYear(2024, 4, 1), dateWithYear(2024, 5, 1)), std::vector<Date>());
  EXPECT_EQ(table.lastDate(), dateWithYear(2024, 4, 1));
}

TEST_F(QWDateLookupTableTest, FarDatesAreFoundOrRefusedWithoutHanging) {
  for (const QWDuration& period : {QWDuration::durationWithDays(1), QWDuration::durationWithYears(1)}) {
    QWDateLookupTable table = tableOf(period);
    EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 1, 1)), dateWithYear(2024, 1, 1));
    EXPECT_EQ(table.beginDateForDate(dateWithYear(1, 1, 1)), dateWithYear(1, 1, 1));
    EXPECT_EQ(table.beginDateForDate(dateWithYear(9999, 1, 1)), dateWithYear(9999, 1, 1));
    const auto size = table.lookupTable().size();
    for (const std::int64_t end :
         {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()})
      EXPECT_EQ(table.beginDateForDate(Date::fromMicroseconds(end)), std::nullopt);
    EXPECT_EQ(table.lookupTable().size(), size);
  }
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  for (const QWDuration& period :
       {QWDuration(), QWDuration::durationWithDays(-1), QWDuration(static_cast<QWDuration::Unit>(9), 3),
        QWDuration::durationWithYears(kMax)}) {
    QWDateLookupTable table = tableOf(period);
    EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 1, 1)), std::nullopt);
    EXPECT_EQ(table.endDateForDate(Date::fromMicroseconds(kMax)), std::nullopt);
  }
  // A fixed last date that lies far away costs the table's bound and no more.
  QWDateLookupTable table =
      tableOf(QWDuration::durationWithDays(1), dateWithYear(2000, 1, 1), Date::fromMicroseconds(kMax));
  EXPECT_EQ(table.beginDateForDate(dateWithYear(2024, 1, 1)), dateWithYear(2024, 1, 1));
  EXPECT_LE(std::ssize(table.lookupTable()), QWDateLookupTable::kMaxDays);
}

}  // namespace
