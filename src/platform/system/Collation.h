#pragma once

#include <compare>
#include <string>
#include <string_view>

#include "platform/base/Export.h"

namespace qw {

/// The order of texts that people read: Unicode collation (UTS #10) in the locale of the
/// `ApplicationContext`. Callable from any thread, each of which keeps its own collators and notices a change
/// of the locale. Bytes that are no UTF-8 order as U+FFFD.
namespace QW_EXPORT Collation {

/// The order of a file list: digit runs by their number ("Item 2" before "Item 10"), letters without regard
/// to case and accents first, then accents, then case ("cote", "Cote", "coté"). Equal only for canonically
/// equivalent texts, so a sorted list has one order.
std::strong_ordering localizedStandardCompare(std::string_view a, std::string_view b);

/// The locale's order without regard to case; accents count, digits are plain characters.
std::weak_ordering localizedCaseInsensitiveCompare(std::string_view a, std::string_view b);

/// Bytes whose unsigned lexicographic order is that of `localizedStandardCompare`, as long as the locale
/// stays. Pays when a text takes part in more than a few comparisons.
std::string sortKey(std::string_view text);
/// The same for `localizedCaseInsensitiveCompare`.
std::string caseInsensitiveSortKey(std::string_view text);

}  // namespace Collation

}  // namespace qw
