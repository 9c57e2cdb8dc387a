#include "values/dates/QWDateLookupTable.h"

#include <algorithm>
#include <iterator>

#include "values/dates/QWDateAdditions.h"
#include "values/dates/internal/UserCalendar.h"

namespace {

std::int64_t daysBetween(qw::Date begin, qw::Date end) {
  const qw::UserCalendar& calendar = qw::UserCalendar::current();
  return calendar.localTime(end).day - calendar.localTime(begin).day;
}

std::optional<qw::Date> startOfDay(std::optional<qw::Date> date) {
  if (date) date = QWDateAdditions::startOfDay(*date);
  return date;
}

}  // namespace

void QWDateLookupTable::setFixedFirstDate(std::optional<qw::Date> date) {
  date = startOfDay(date);
  if (date == fixedFirstDate_) return;
  fixedFirstDate_ = date;
  clear();
}

void QWDateLookupTable::setFixedLastDate(std::optional<qw::Date> date) { fixedLastDate_ = startOfDay(date); }

void QWDateLookupTable::setPeriod(const QWDuration& period) {
  if (period == period_) return;
  period_ = period;
  clear();
}

void QWDateLookupTable::clear() {
  lookupTable_.clear();
  firstDate_.reset();
  lastDate_.reset();
}

std::optional<qw::Date> QWDateLookupTable::beginDateForDate(std::optional<qw::Date> date) {
  if (!date || !period_.isValid()) return std::nullopt;
  extendBackwards(*date);
  if (!firstDate_) return std::nullopt;
  extendForwards(*date);
  const std::int64_t index = daysBetween(*firstDate_, *date);
  const auto count = std::ssize(lookupTable_);
  const std::int64_t usable =
      fixedLastDate_ ? std::min(count, daysBetween(*firstDate_, *fixedLastDate_)) : count;
  if (index < 0 || index >= usable) return std::nullopt;
  return lookupTable_[static_cast<std::size_t>(index)];
}

std::optional<qw::Date> QWDateLookupTable::endDateForDate(std::optional<qw::Date> date) {
  const auto begin = beginDateForDate(date);
  if (!begin) return std::nullopt;
  return movedByPeriods(*begin, 1).addingSeconds(-1);
}

std::vector<qw::Date> QWDateLookupTable::datesBetweenDate(qw::Date start, qw::Date end) const {
  if (!firstDate_) return {};
  const std::int64_t first = std::max<std::int64_t>(daysBetween(*firstDate_, start), 0);
  const std::int64_t last = std::min(daysBetween(*firstDate_, end), std::ssize(lookupTable_) - 1);
  std::vector<qw::Date> dates;
  if (last >= first)
    std::unique_copy(lookupTable_.begin() + first, lookupTable_.begin() + last + 1,
                     std::back_inserter(dates));
  return dates;
}

// Periods begin with a day, even after one that began late because a clock change skipped its midnight.
qw::Date QWDateLookupTable::movedByPeriods(qw::Date date, std::int64_t count) const {
  return QWDateAdditions::startOfDay(period_.addToDate(date, count));
}

void QWDateLookupTable::extendBackwards(qw::Date date) {
  const bool isWithin = !fixedFirstDate_ || *fixedFirstDate_ <= date;
  if (firstDate_ && (*firstDate_ <= date || !isWithin)) return;
  const qw::Date anchor = fixedFirstDate_.value_or(QWDateAdditions::startOfYear(date));
  if (!firstDate_) {
    const qw::Date next = movedByPeriods(anchor, 1);
    const std::int64_t days = daysBetween(anchor, next);
    if (days <= 0 || days > kMaxDays) return;
    lookupTable_.assign(static_cast<std::size_t>(days), anchor);
    firstDate_ = anchor;
    lastDate_ = next;
    return;
  }
  if (daysBetween(anchor, *lastDate_) > kMaxDays) return;
  while (*firstDate_ > anchor) {
    qw::Date start = movedByPeriods(*firstDate_, -1);
    // A whole day that a clock change skipped is no day to begin with.
    if (start >= *firstDate_) start = movedByPeriods(*firstDate_, -2);
    const std::int64_t days = daysBetween(start, *firstDate_);
    if (days <= 0 || days > kMaxDays) return;
    lookupTable_.insert(lookupTable_.begin(), static_cast<std::size_t>(days), start);
    firstDate_ = start;
  }
}

void QWDateLookupTable::extendForwards(qw::Date date) {
  if (*lastDate_ > date || (fixedLastDate_ && *fixedLastDate_ < date)) return;
  if (daysBetween(*firstDate_, date) >= kMaxDays) return;
  const qw::Date limit = fixedLastDate_.value_or(date);
  while (*lastDate_ <= limit && std::ssize(lookupTable_) < kMaxDays) {
    const qw::Date next = movedByPeriods(*lastDate_, 1);
    const std::int64_t days = daysBetween(*lastDate_, next);
    if (days <= 0 || days > kMaxDays) return;
    lookupTable_.insert(lookupTable_.end(), static_cast<std::size_t>(days), *lastDate_);
    lastDate_ = next;
  }
}
