#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "platform/base/Date.h"
#include "platform/base/Export.h"
#include "values/dates/QWDuration.h"

/// Finds the beginning of the repeating period that a day lies in, as of the week, the fortnight or the
/// quarter that a report sums up. The days it was asked for are kept in a table that grows on demand to both
/// sides, so that a million rows are grouped at the price of an index each. Days are those of the user's
/// calendar and time zone; `clear` the table when these change. Not thread-safe: one owner uses it.
///
///     QWDateLookupTable quarters;
///     quarters.setPeriod(QWDuration::durationWithMonths(3));
///     auto quarter = quarters.beginDateForDate(bought);  // January 1, 2024
class QW_EXPORT QWDateLookupTable {
 public:
  /// The longest table in days, which reaches from the year 1 to the year 9999. Dates that would need a
  /// longer one have no period.
  static constexpr std::int64_t kMaxDays = 3'700'000;

  /// The day that a period begins with, and before which there are none. Without one, periods begin with the
  /// year of the first date that is asked for. Setting another day clears the table.
  std::optional<qw::Date> fixedFirstDate() const { return fixedFirstDate_; }
  /// Its time of day does not count. None lets the table begin where it is needed.
  void setFixedFirstDate(std::optional<qw::Date> date);
  /// The first day that has no period any more. Setting it keeps the table.
  std::optional<qw::Date> fixedLastDate() const { return fixedLastDate_; }
  /// Its time of day does not count.
  void setFixedLastDate(std::optional<qw::Date> date);
  /// How long a period is; none is found while it is not valid.
  const QWDuration& period() const { return period_; }
  /// Clears the table when it is another one.
  void setPeriod(const QWDuration& period);

  /// For each day from `firstDate` on, the beginning of its period.
  const std::deque<qw::Date>& lookupTable() const { return lookupTable_; }
  /// The first day in the table. None while the table is empty.
  std::optional<qw::Date> firstDate() const { return firstDate_; }
  /// The first day after the table. None while the table is empty.
  std::optional<qw::Date> lastDate() const { return lastDate_; }
  /// Empties the table; the settings stay.
  void clear();

  /// The first moment of the period that the date lies in. Each period is added to the one before, so that
  /// months counted from the 31st go on from the last day of a shorter month. None without a valid period and
  /// outside of the fixed dates.
  std::optional<qw::Date> beginDateForDate(std::optional<qw::Date> date);
  /// The last second of that period.
  std::optional<qw::Date> endDateForDate(std::optional<qw::Date> date);
  /// The beginnings of the periods of all days from `start` to `end`, ascending, as far as the table reaches
  /// now; it does not grow.
  std::vector<qw::Date> datesBetweenDate(qw::Date start, qw::Date end) const;

 private:
  qw::Date movedByPeriods(qw::Date date, std::int64_t count) const;
  void extendBackwards(qw::Date date);
  void extendForwards(qw::Date date);

  std::optional<qw::Date> fixedFirstDate_, fixedLastDate_;
  QWDuration period_;
  std::deque<qw::Date> lookupTable_;
  std::optional<qw::Date> firstDate_, lastDate_;
};
