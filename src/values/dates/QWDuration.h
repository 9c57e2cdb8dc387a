#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Date.h"
#include "platform/base/Export.h"
#include "platform/object/Property.h"

/// A number of days, weeks, months or years: how long a warranty lasts, how often a rent falls due. A value
/// type, and a property type of model classes; any thread.
///
///     qw::Date end = QWDuration::durationWithYears(2).addToDate(bought, 1);
class QW_EXPORT QWDuration {
 public:
  /// The numbers are those of stores and archives. A number read from there may be none of them.
  enum class Unit : std::uint32_t { kDay = 0, kWeek = 1, kMonth = 2, kYear = 3 };

  /// The count under its unit; the others are not set.
  struct Components {
    ///@{
    /// Set when the unit is that one.
    std::optional<std::int64_t> day, weekOfYear, month, year;
    ///@}
    friend bool operator==(const Components&, const Components&) = default;
  };

  /// No days.
  QWDuration() = default;
  /// So many units; a number that is not positive makes a duration that is not valid.
  QWDuration(Unit unit, std::int64_t numberOfUnits) : unit_(unit), numberOfUnits_(numberOfUnits) {}
  /// So many days.
  static QWDuration durationWithDays(std::int64_t count) { return {Unit::kDay, count}; }
  /// So many weeks.
  static QWDuration durationWithWeeks(std::int64_t count) { return {Unit::kWeek, count}; }
  /// So many months of the calendar.
  static QWDuration durationWithMonths(std::int64_t count) { return {Unit::kMonth, count}; }
  /// So many years of the calendar.
  static QWDuration durationWithYears(std::int64_t count) { return {Unit::kYear, count}; }

  /// What is counted.
  Unit unit() const { return unit_; }
  /// How many.
  std::int64_t numberOfUnits() const { return numberOfUnits_; }
  ///@{
  /// The count when the unit is that one, else 0.
  std::int64_t days() const { return count(Unit::kDay); }
  std::int64_t weeks() const { return count(Unit::kWeek); }
  std::int64_t months() const { return count(Unit::kMonth); }
  std::int64_t years() const { return count(Unit::kYear); }
  ///@}
  /// Whether it is longer than nothing.
  bool isValid() const { return numberOfUnits_ > 0; }
  /// Without any component for an unknown unit.
  Components components() const;

  /// The date moved by `count` times the duration in the user's calendar, backwards when negative.
  qw::Date addToDate(qw::Date date, std::int64_t count) const;
  /// How many durations lie between two dates; negative when `end` lies before `begin`. A last one that `end`
  /// cuts short counts only when the remaining days are included. 0 for equal dates and for a duration that
  /// is not valid.
  std::int64_t numberOfPeriodsBetweenDate(qw::Date begin, qw::Date end, bool includingRemainingDays) const;

  /// By approximate length, with months of 31 and years of 366 days: negative, 0 or positive. Durations may
  /// be of one length without being equal.
  int compare(const QWDuration& other) const;
  /// For people: "2 weeks". Empty for an unknown unit.
  std::string description() const;
  /// Equal durations have equal hashes.
  std::size_t hash() const;
  /// The name under which archives keep durations.
  static constexpr std::string_view kArchiveClass = "QWDuration";
  /// Writes unit and count.
  void encodeWithCoder(qw::KeyedArchiver& coder) const;
  /// Tells the unarchiver how durations are read; the framework's class list does.
  static void addArchiveClasses();
  /// Whether unit and count are the same.
  friend bool operator==(const QWDuration&, const QWDuration&) = default;

 private:
  std::int64_t count(Unit unit) const { return unit_ == unit ? numberOfUnits_ : 0; }

  Unit unit_ = Unit::kDay;
  std::int64_t numberOfUnits_ = 0;
};

template <>
struct qw::ValueTraits<QWDuration> : qw::ExtensionTraits<QWDuration> {};

template <>
struct std::hash<QWDuration> {
  std::size_t operator()(const QWDuration& duration) const { return duration.hash(); }
};
