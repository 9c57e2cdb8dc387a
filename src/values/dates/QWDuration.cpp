#include "values/dates/QWDuration.h"

#include <limits>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/system/Localization.h"
#include "values/dates/QWDateAdditions.h"

namespace {

using Wide = __int128;

std::int64_t product(std::int64_t a, std::int64_t b) {
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  const Wide result = static_cast<Wide>(a) * b;
  return result < kMin ? kMin : result > kMax ? kMax : static_cast<std::int64_t>(result);
}

Wide approximateDays(const QWDuration& duration) {
  return static_cast<Wide>(duration.days()) + static_cast<Wide>(duration.weeks()) * 7 +
         static_cast<Wide>(duration.months()) * 31 + static_cast<Wide>(duration.years()) * 366;
}

// The archived form of the components, which readers of archives know that know no durations.
struct ArchivedComponents {
  static constexpr std::string_view kArchiveClass = "NSDateComponents";
  using Component = std::optional<std::int64_t> QWDuration::Components::*;
  struct Key {
    const char* key;
    Component component;
    QWDuration::Unit unit;
  };
  static constexpr Key kKeys[] = {
      {"NS.day", &QWDuration::Components::day, QWDuration::Unit::kDay},
      {"NS.weekOfYear", &QWDuration::Components::weekOfYear, QWDuration::Unit::kWeek},
      {"NS.month", &QWDuration::Components::month, QWDuration::Unit::kMonth},
      {"NS.year", &QWDuration::Components::year, QWDuration::Unit::kYear}};

  QWDuration::Components components;

  void encodeWithCoder(qw::KeyedArchiver& coder) const {
    for (const Key& key : kKeys) {
      if (const auto& count = components.*key.component) coder.encodeInt64(*count, key.key);
    }
  }
  std::size_t hash() const { return 0; }
  int compare(const ArchivedComponents&) const { return 0; }
  std::string description() const { return {}; }
  friend bool operator==(const ArchivedComponents&, const ArchivedComponents&) = default;
};
using ComponentsTraits = qw::ExtensionTraits<ArchivedComponents>;

qw::Value decodeComponents(qw::KeyedUnarchiver& coder) {
  ArchivedComponents archived;
  for (const auto& key : ArchivedComponents::kKeys) {
    if (coder.containsValueForKey(key.key)) archived.components.*key.component = coder.decodeInt64(key.key);
  }
  return ComponentsTraits::toValue(archived);
}

qw::Value decodeDuration(qw::KeyedUnarchiver& coder) {
  using Traits = qw::ValueTraits<QWDuration>;
  if (coder.containsValueForKey("unit") && coder.containsValueForKey("numberOfUnits")) {
    const std::int64_t unit = coder.decodeInt64("unit");
    if (unit < 0 || unit > std::numeric_limits<std::uint32_t>::max()) return {};
    return Traits::toValue(
        QWDuration(static_cast<QWDuration::Unit>(unit), coder.decodeInt64("numberOfUnits")));
  }
  const auto archived = ComponentsTraits::fromValue(coder.decodeObject("components"));
  if (!archived) return {};
  for (const auto& key : ArchivedComponents::kKeys) {
    if (const auto& count = archived->components.*key.component)
      return Traits::toValue(QWDuration(key.unit, *count));
  }
  return {};
}

}  // namespace

void QWDuration::addArchiveClasses() {
  qw::KeyedUnarchiver::addValueClass(kArchiveClass, decodeDuration);
  qw::KeyedUnarchiver::addValueClass(ArchivedComponents::kArchiveClass, decodeComponents);
}

void QWDuration::encodeWithCoder(qw::KeyedArchiver& coder) const {
  coder.encodeInt64(static_cast<std::int64_t>(unit_), "unit");
  coder.encodeInt64(numberOfUnits_, "numberOfUnits");
  coder.encodeObject(ComponentsTraits::toValue({components()}), "components");
}

QWDuration::Components QWDuration::components() const {
  Components components;
  switch (unit_) {
    case Unit::kDay:
      components.day = numberOfUnits_;
      break;
    case Unit::kWeek:
      components.weekOfYear = numberOfUnits_;
      break;
    case Unit::kMonth:
      components.month = numberOfUnits_;
      break;
    case Unit::kYear:
      components.year = numberOfUnits_;
      break;
  }
  return components;
}

qw::Date QWDuration::addToDate(qw::Date date, std::int64_t count) const {
  const std::int64_t days = product(product(weeks(), 7) + this->days(), count);
  return QWDateAdditions::dateByAddingYears(date, product(years(), count), product(months(), count), days);
}

std::int64_t QWDuration::numberOfPeriodsBetweenDate(qw::Date begin, qw::Date end,
                                                    bool includingRemainingDays) const {
  if (!isValid() || begin == end || approximateDays(*this) == 0) return 0;
  const std::int64_t direction = begin < end ? 1 : -1;
  // The dates reached rise with the number of periods, so the first that is not short of the end is found by
  // doubling and halving: a period of a day and an end ages away take a few steps too.
  const auto isShort = [&](std::int64_t periods) {
    const qw::Date reached = addToDate(begin, direction * periods);
    return direction > 0 ? reached < end : reached > end;
  };
  constexpr std::int64_t kMost = std::int64_t{1} << 40;
  std::int64_t few = 0, enough = 1;
  while (isShort(enough) && enough < kMost) {
    few = enough;
    enough *= 2;
  }
  while (enough - few > 1) {
    const std::int64_t middle = few + (enough - few) / 2;
    (isShort(middle) ? few : enough) = middle;
  }
  const bool exact = addToDate(begin, direction * enough) == end;
  return direction * (exact || includingRemainingDays ? enough : enough - 1);
}

int QWDuration::compare(const QWDuration& other) const {
  const Wide own = approximateDays(*this), others = approximateDays(other);
  return own < others ? -1 : own > others ? 1 : 0;
}

std::string QWDuration::description() const {
  const char* key = nullptr;
  const bool plural = numberOfUnits_ >= 2;
  switch (unit_) {
    case Unit::kDay:
      key = plural ? "DurationDays" : "DurationDay";
      break;
    case Unit::kWeek:
      key = plural ? "DurationWeeks" : "DurationWeek";
      break;
    case Unit::kMonth:
      key = plural ? "DurationMonths" : "DurationMonth";
      break;
    case Unit::kYear:
      key = plural ? "DurationYears" : "DurationYear";
      break;
  }
  if (!key) return {};
  return std::to_string(numberOfUnits_) + " " + qw::Localization::frameworkString(key);
}

std::size_t QWDuration::hash() const {
  const auto unit = static_cast<std::uint64_t>(unit_);
  return std::hash<std::uint64_t>()((static_cast<std::uint64_t>(numberOfUnits_) * 4 + unit) *
                                    0x9E3779B97F4A7C15ULL);
}
