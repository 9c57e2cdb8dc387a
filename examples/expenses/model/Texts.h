#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Date.h"
#include "platform/base/Decimal.h"
#include "values/dates/QWDuration.h"

/// How the values of records are written in texts, whatever the locale. Main thread.
namespace Texts {

std::string_view trimmed(std::string_view text);

/// "2024-02-29": the beginning of that day in the current time zone. None for any other text.
std::optional<qw::Date> readDate(std::string_view text);
/// A number with a decimal point, or a sum such as "12.50 + 3 * 2".
std::optional<qw::Decimal> readNumber(std::string_view text);
/// "12.5 %" or "12.5" is 0.125.
std::optional<qw::Decimal> readPercentage(std::string_view text);
std::string percentage(const qw::Decimal& fraction);
/// "yes", "no", "true", "false", "1", "0".
std::optional<bool> readFlag(std::string_view text);
/// "2 years", "1 month"; between 1 and 10,000 units.
std::optional<QWDuration> readDuration(std::string_view text);
std::string duration(const QWDuration& duration);

/// With commas between groups of three digits and, if the number has fewer, zeros up to `fractionDigits`.
std::string grouped(const qw::Decimal& number, int fractionDigits = 0);
/// "1 row", "20,000 rows".
std::string counted(std::size_t count, std::string_view one, std::string_view many);

}  // namespace Texts
