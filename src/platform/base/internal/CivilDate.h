#pragma once

#include <cstdint>

namespace qw {

/// Division and remainder towards minus infinity, for a positive divisor.
constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}
constexpr std::int64_t floorRemainder(std::int64_t value, std::int64_t divisor) {
  const std::int64_t remainder = value % divisor;
  return remainder < 0 ? remainder + divisor : remainder;
}

/// A day of the proleptic Gregorian calendar (ISO 8601). Years are counted astronomically: 0 is 1 BC.
struct CivilDate {
  static constexpr std::int64_t kSecondsPerDay = 86'400;

  std::int64_t year = 1970;
  int month = 1;  ///< 1..12
  int day = 1;    ///< 1..31

  /// The day that lies a number of days after 1970-01-01.
  static constexpr CivilDate fromDays(std::int64_t days) {
    // In years that begin in March the leap day comes last, and the months' lengths follow one straight line.
    const std::int64_t shifted = days + 719'468;
    const std::int64_t era = floorDivide(shifted, kDaysPerEra);
    const auto dayOfEra = static_cast<std::uint32_t>(shifted - era * kDaysPerEra);
    const std::uint32_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::uint32_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    const int month = static_cast<int>(monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9);
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month,
            static_cast<int>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1)};
  }

  /// Days from 1970-01-01 to a day. A month or a day outside its range counts on into the neighbouring ones.
  static constexpr std::int64_t days(std::int64_t year, std::int64_t month, std::int64_t day) {
    year += floorDivide(month - 1, 12);
    const auto monthFromMarch = static_cast<std::uint32_t>(floorRemainder(month - 3, 12));
    if (monthFromMarch >= 10) --year;
    const std::int64_t era = floorDivide(year, 400);
    const auto yearOfEra = static_cast<std::uint32_t>(year - era * 400);
    const std::uint32_t dayOfEra =
        yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + (153 * monthFromMarch + 2) / 5;
    return era * kDaysPerEra + dayOfEra - 719'468 + day - 1;
  }
  constexpr std::int64_t days() const { return days(year, month, day); }

 private:
  static constexpr std::int64_t kDaysPerEra = 146'097;
};

}  // namespace qw
