#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Date.h"
#include "platform/base/Export.h"

namespace qw {

/// The texts of dates in a store, whatever the user's locale: a plain date "yyyy-MM-dd", which stands for the
/// beginning of that day in the current time zone, and a date-time "yyyy-MM-dd HH:mm:ss" in GMT, both of the
/// proleptic Gregorian calendar (ISO 8601). Whole seconds; a fraction is cut off. May be called from any
/// thread.
namespace QW_EXPORT DateText {

/// What to do with a year of at most 99: keep it, or take it for a year of a Japanese era, as written under a
/// Japanese calendar: up to 9 of the era that began in 2019, else of the one that began in 1989.
enum class ShortYear { keep, japaneseEra };

/// The longest text; years beyond 9999 have more than four digits.
constexpr std::size_t kMaxSize = 24;

/// No value unless the text has exactly the length and the separators of the form. Each field is read as an
/// integer is: blanks and a sign may precede, what follows the digits is ignored, no digits are 0. A month,
/// day, hour, minute or second beyond its range counts on into the next larger unit. A midnight that a clock
/// change skips gives the day's first moment.
std::optional<Date> readDate(std::string_view text, ShortYear shortYear = ShortYear::keep);
/// The same for a date-time, in GMT.
std::optional<Date> readDateTime(std::string_view text, ShortYear shortYear = ShortYear::keep);

/// Write to `out`, which must have room for `kMaxSize` characters, without a terminating zero, and answer the
/// end of what was written. Years before 1 are written as years before Christ are counted, without a sign.
char* writeDate(Date date, char* out);
/// The same for a date-time, in GMT.
char* writeDateTime(Date date, char* out);

/// "yyyy-MM-dd" in the current time zone.
std::string dateText(Date date);
/// "yyyy-MM-dd HH:mm:ss" in GMT.
std::string dateTimeText(Date date);

}  // namespace DateText

}  // namespace qw
