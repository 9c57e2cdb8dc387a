#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "support/User.h"
#include "values/dates/QWDateAdditions.h"
#include "values/dates/QWDuration.h"

namespace {

using qw::Date;
using Unit = QWDuration::Unit;
using QWDateAdditions::dateWithYear;

struct QWDurationTest : testing::Test {
  const User user{"en_US", "Europe/Berlin"};
};

TEST_F(QWDurationTest, IsOneCountUnderItsUnit) {
  const QWDuration none;
  EXPECT_EQ(none, QWDuration::durationWithDays(0));
  EXPECT_FALSE(none.isValid());
  EXPECT_FALSE(QWDuration::durationWithWeeks(-1).isValid());
  const QWDuration weeks = QWDuration::durationWithWeeks(3);
  EXPECT_TRUE(weeks.isValid());
  EXPECT_EQ(weeks.weeks(), 3);
  EXPECT_EQ(weeks.days() + weeks.months() + weeks.years(), 0);
  QWDuration::Components components;
  components.weekOfYear = 3;
  EXPECT_EQ(weeks.components(), components);
  EXPECT_EQ(QWDuration(static_cast<Unit>(9), 3).components(), QWDuration::Components());
}

TEST_F(QWDurationTest, OrderIsByApproximateLengthAndEqualityByContent) {
  const auto days = QWDuration::durationWithDays, weeks = QWDuration::durationWithWeeks,
             months = QWDuration::durationWithMonths, years = QWDuration::durationWithYears;
  EXPECT_GT(months(1).compare(days(30)), 0);
  EXPECT_LT(months(1).compare(days(32)), 0);
  EXPECT_EQ(months(1).compare(days(31)), 0);
  EXPECT_NE(months(1), days(31));
  EXPECT_GT(years(1).compare(days(365)), 0);
  EXPECT_EQ(weeks(2).compare(days(14)), 0);
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  EXPECT_GT(years(kMax).compare(days(kMax)), 0);
  EXPECT_LT(years(-kMax).compare(years(kMax)), 0);
  const std::unordered_set<QWDuration> set{days(7), weeks(1), days(7), QWDuration(Unit::kWeek, 1)};
  EXPECT_EQ(set.size(), 2U);
}

TEST_F(QWDurationTest, DescriptionIsSingularBelowTwo) {
  EXPECT_EQ(QWDuration::durationWithWeeks(1).description(), "1 week");
  EXPECT_EQ(QWDuration::durationWithDays(0).description(), "0 day");
  EXPECT_EQ(QWDuration::durationWithMonths(-2).description(), "-2 month");
  EXPECT_EQ(QWDuration::durationWithYears(3).description(), "3 years");
  EXPECT_EQ(QWDuration(static_cast<Unit>(4), 3).description(), "");
}

TEST_F(QWDurationTest, AddsItselfManyTimesWithoutAccumulatingClamps) {
  const Date start = dateWithYear(2024, 1, 31);
  EXPECT_EQ(QWDuration::durationWithMonths(1).addToDate(start, 1), dateWithYear(2024, 2, 29));
  EXPECT_EQ(QWDuration::durationWithMonths(1).addToDate(start, 2), dateWithYear(2024, 3, 31));
  EXPECT_EQ(QWDuration::durationWithYears(2).addToDate(start, -1), dateWithYear(2022, 1, 31));
  EXPECT_EQ(QWDuration::durationWithWeeks(2).addToDate(start, 3), dateWithYear(2024, 3, 13));
  EXPECT_EQ(QWDuration(static_cast<Unit>(9), 3).addToDate(start, 3), start);
}

TEST_F(QWDurationTest, CountsThePeriodsBetweenDates) {
  const Date start = dateWithYear(2024, 1, 1), middle = dateWithYear(2024, 3, 15),
             exact = dateWithYear(2024, 3, 1);
  const QWDuration month = QWDuration::durationWithMonths(1);
  EXPECT_EQ(month.numberOfPeriodsBetweenDate(start, exact, false), 2);
  EXPECT_EQ(month.numberOfPeriodsBetweenDate(middle, start, true), -3);
  EXPECT_EQ(month.numberOfPeriodsBetweenDate(start, start, true), 0);
  EXPECT_EQ(QWDuration::durationWithDays(0).numberOfPeriodsBetweenDate(start, middle, true), 0);
  EXPECT_EQ(QWDuration(static_cast<Unit>(9), 3).numberOfPeriodsBetweenDate(start, middle, true), 0);
}

TEST_F(QWDurationTest, PeriodsAreThoseThatStepByStepCountingFinds) {
  const std::vector<QWDuration> durations = {
      QWDuration::durationWithDays(1), QWDuration::durationWithDays(3), QWDuration::durationWithWeeks(1),
      QWDuration::durationWithMonths(1), QWDuration::durationWithYears(1)};
  const Date start = QWDateAdditions::dateWithYear(2024, 1, 31, 2, 30, 0);
  for (const QWDuration& duration : durations) {
    for (std::int64_t days = -500; days <= 500; days += 7) {
      const Date end = start.addingSeconds(days * 86'400 + 1234);
      const std::int64_t direction = start < end ? 1 : -1;
      std::int64_t steps = 0;
      Date reached = start;
      while (direction > 0 ? reached < end : reached > end)
        reached = duration.addToDate(start, steps += direction);
      EXPECT_EQ(duration.numberOfPeriodsBetweenDate(start, end, true), steps);
      EXPECT_EQ(duration.numberOfPeriodsBetweenDate(start, end, false),
                reached == end ? steps : steps - direction);
    }
  }
}

TEST_F(QWDurationTest, TravelsInAValue) {
  const QWDuration duration = QWDuration::durationWithYears(2);
  const qw::Value value = qw::ValueTraits<QWDuration>::toValue(duration);
  EXPECT_EQ(qw::ValueTraits<QWDuration>::fromValue(value), duration);
  EXPECT_EQ(value, qw::ValueTraits<QWDuration>::toValue(QWDuration(Unit::kYear, 2)));
  EXPECT_LT(
      qw::Value::compare(qw::ValueTraits<QWDuration>::toValue(QWDuration::durationWithDays(730)), value), 0);
  EXPECT_EQ(value.description(), "2 years");
}

/// Writes whatever keys it is given in the place of a value of some class.
class Record : public qw::ExtensionValue {
 public:
  Record(const char* name, std::vector<std::pair<const char*, qw::Value>> entries)
      : name_(name), entries_(std::move(entries)) {}
  bool isEqual(const qw::ExtensionValue& other) const override { return this == &other; }
  std::size_t hash() const override { return 0; }
  int compare(const qw::ExtensionValue&) const override { return 0; }
  std::string description() const override { return {}; }
  std::string_view archiveClassName() const override { return name_; }
  void encodeWithCoder(qw::KeyedArchiver& coder) const override {
    for (const auto& [key, value] : entries_) coder.encodeObject(value, key);
  }

 private:
  const char* name_;
  std::vector<std::pair<const char*, qw::Value>> entries_;
};

qw::Value record(const char* name, std::vector<std::pair<const char*, qw::Value>> entries) {
  return std::shared_ptr<const qw::ExtensionValue>(std::make_shared<Record>(name, std::move(entries)));
}

std::optional<QWDuration> archivedAndRead(const qw::Value& value) {
  const auto data = qw::KeyedArchiver::archivedData(value);
  if (!data) return std::nullopt;
  const auto read = qw::KeyedUnarchiver::unarchivedValue(data->bytes(), {});
  return read ? qw::ValueTraits<QWDuration>::fromValue(*read) : std::nullopt;
}

TEST_F(QWDurationTest, IsArchivedByUnitAndCountAndReadFromComponentsWhereTheseAreMissing) {
  for (const Unit unit : {Unit::kDay, Unit::kWeek, Unit::kMonth, Unit::kYear, static_cast<Unit>(9)}) {
    const QWDuration duration(unit, -3'000'000'000);
    EXPECT_EQ(archivedAndRead(qw::ValueTraits<QWDuration>::toValue(duration)), duration);
  }
  const qw::Value components = record("NSDateComponents", {{"NS.weekOfYear", 5}});
  EXPECT_EQ(archivedAndRead(record("QWDuration", {{"components", components}})), QWDuration(Unit::kWeek, 5));
  EXPECT_EQ(
      archivedAndRead(record("QWDuration", {{"components", components}, {"unit", 3}, {"numberOfUnits", 7}})),
      QWDuration(Unit::kYear, 7));
  EXPECT_EQ(archivedAndRead(record("QWDuration", {{"components", "week"}})), std::nullopt);
  EXPECT_EQ(archivedAndRead(record("QWDuration", {{"unit", -1}, {"numberOfUnits", 7}})), std::nullopt);
  EXPECT_EQ(archivedAndRead(record("QWDuration", {})), std::nullopt);
}

TEST_F(QWDurationTest, TheFarthestCountsAreSafe) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min(),
                 kMax = std::numeric_limits<std::int64_t>::max();
  for (const Unit unit : {Unit::kDay, Unit::kWeek, Unit::kMonth, Unit::kYear}) {
    for (const std::int64_t count : {kMin, kMax}) {
      const QWDuration duration(unit, count);
      duration.addToDate(dateWithYear(2024, 2, 29), count);
      EXPECT_LE(duration.numberOfPeriodsBetweenDate(Date(), dateWithYear(2024, 2, 29), true), 1);
      EXPECT_GT(QWDuration(unit, 1).numberOfPeriodsBetweenDate(Date(), Date::fromMicroseconds(kMax), false),
                0);
    }
  }
}

}  // namespace
