#include "platform/system/Collation.h"

#include <unicode/coll.h>
#include <unicode/tblcoll.h>
#include <unicode/uniset.h>
#include <unicode/usetiter.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

#include "platform/base/Log.h"
#include "platform/system/ApplicationContext.h"

namespace qw::Collation {

namespace {

constexpr bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Without ICU's own root rules nothing can be ordered: the installation is broken.
void require(UErrorCode status) {
  if (U_SUCCESS(status)) return;
  Log::error("No collation data: {}", u_errorName(status));
  std::abort();
}

std::unique_ptr<icu::Collator> makeCollator(const std::string& locale) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale(locale.c_str()), status));
  if (U_FAILURE(status)) {
    // Not even the form of a locale.
    status = U_ZERO_ERROR;
    collator.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
  }
  require(status);
  return collator;
}

// What lies beyond ICU's limit of 2 GiB does not count.
icu::StringPiece pieceOf(std::string_view text) {
  constexpr std::size_t kLimit = std::numeric_limits<std::int32_t>::max();
  return {text.data(), static_cast<std::int32_t>(std::min(text.size(), kLimit))};
}

std::string keyOf(const icu::Collator& collator, std::string_view text) {
  const auto unicode = icu::UnicodeString::fromUTF8(pieceOf(text));
  std::string key(text.size() * 2 + 16, '\0');
  for (;;) {
    const std::int32_t size = collator.getSortKey(unicode, reinterpret_cast<std::uint8_t*>(key.data()),
                                                  static_cast<std::int32_t>(key.size()));
    const bool fits = static_cast<std::size_t>(size) <= key.size();
    // ICU counts a closing zero, which says nothing.
    key.resize(static_cast<std::size_t>(fits ? size - 1 : size));
    if (fits) return key;
  }
}

// Rank of each ASCII character by the collator's primary weights; 0 for one that the quick way cannot judge:
// digits, which are weighed as runs, and what the collation ignores. All 0 where the locale's rules name an
// ASCII character or sequence of their own ("ch" in Czech), as then a character's weight depends on its
// neighbours.
std::array<std::uint8_t, 128> primaryRanks(const icu::Collator& standard) {
  std::array<std::uint8_t, 128> ranks{};
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::UnicodeSet> tailored(standard.getTailoredSet(status));
  require(status);
  for (icu::UnicodeSetIterator element(*tailored); element.nextRange();) {
    const bool namesASCII = element.isString() ? icu::UnicodeSet(0, 0x7f).containsAll(element.getString())
                                               : element.getCodepoint() < 0x80;
    if (namesASCII) return ranks;
  }
  const std::unique_ptr<icu::Collator> primary(standard.clone());
  primary->setAttribute(UCOL_STRENGTH, UCOL_PRIMARY, status);
  primary->setAttribute(UCOL_CASE_LEVEL, UCOL_OFF, status);
  require(status);
  std::vector<std::string> keys(ranks.size());
  for (char c = 0; isASCII(c); ++c)
    if (!isDigit(c)) keys[static_cast<std::size_t>(c)] = keyOf(*primary, {&c, 1});
  std::vector<std::string> order(keys);
  std::sort(order.begin(), order.end());
  order.erase(std::unique(order.begin(), order.end()), order.end());
  for (std::size_t c = 0; c < ranks.size(); ++c)
    ranks[c] =
        static_cast<std::uint8_t>(std::lower_bound(order.begin(), order.end(), keys[c]) - order.begin());
  return ranks;
}

class LocalCollation {
 public:
  explicit LocalCollation(const std::string& locale)
      : locale_(locale), standard_(makeCollator(locale)), caseInsensitive_(makeCollator(locale)) {
    UErrorCode status = U_ZERO_ERROR;
    standard_->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    // The identical level breaks the ties that accents and case leave, as between "a1" and "a01".
    standard_->setAttribute(UCOL_STRENGTH, UCOL_IDENTICAL, status);
    caseInsensitive_->setAttribute(UCOL_STRENGTH, UCOL_SECONDARY, status);
    require(status);
    ranks_ = primaryRanks(*standard_);
  }

  // The collation of this thread for the locale in force.
  static const LocalCollation& current() {
    thread_local std::unique_ptr<LocalCollation> cached;
    const std::string& locale = ApplicationContext::current().locale;
    if (!cached || cached->locale_ != locale) cached = std::make_unique<LocalCollation>(locale);
    return *cached;
  }

  std::strong_ordering standardCompare(std::string_view a, std::string_view b) const {
    if (const int quick = quickCompare(a, b)) return quick <=> 0;
    return compare(*standard_, a, b);
  }
  std::weak_ordering caseInsensitiveCompare(std::string_view a, std::string_view b) const {
    if (const int quick = quickCompare(a, b)) return quick <=> 0;
    return compare(*caseInsensitive_, a, b);
  }
  std::string sortKey(std::string_view text) const { return keyOf(*standard_, text); }
  std::string caseInsensitiveSortKey(std::string_view text) const { return keyOf(*caseInsensitive_, text); }

 private:
  static std::strong_ordering compare(const icu::Collator& collator, std::string_view a, std::string_view b) {
    if (a == b) return std::strong_ordering::equal;
    UErrorCode status = U_ZERO_ERROR;
    const UCollationResult result = collator.compareUTF8(pieceOf(a), pieceOf(b), status);
    require(status);
    return static_cast<int>(result) <=> 0;
  }

  // Negative or positive where ASCII characters decide on the primary level, else 0. What stands before the
  // first difference weighs the same on both sides; what follows it cannot matter unless it joins the
  // deciding character, which ASCII does not.
  int quickCompare(std::string_view a, std::string_view b) const {
    const auto rankAt = [this](std::string_view text, std::size_t i) -> int {
      return isASCII(text[i]) ? ranks_[static_cast<std::size_t>(text[i])] : 0;
    };
    const auto standsAlone = [](std::string_view text, std::size_t i) {
      return i + 1 >= text.size() || isASCII(text[i + 1]);
    };
    const std::size_t length = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < length; ++i) {
      if (a[i] == b[i] && isASCII(a[i])) continue;
      const int rankA = rankAt(a, i), rankB = rankAt(b, i);
      if (!rankA || !rankB) return 0;
      if (rankA != rankB) return standsAlone(a, i) && standsAlone(b, i) ? rankA - rankB : 0;
    }
    return 0;
  }

  std::string locale_;
  std::unique_ptr<icu::Collator> standard_;
  std::unique_ptr<icu::Collator> caseInsensitive_;
  std::array<std::uint8_t, 128> ranks_;
};

}  // namespace

std::strong_ordering localizedStandardCompare(std::string_view a, std::string_view b) {
  return LocalCollation::current().standardCompare(a, b);
}

std::weak_ordering localizedCaseInsensitiveCompare(std::string_view a, std::string_view b) {
  return LocalCollation::current().caseInsensitiveCompare(a, b);
}

std::string sortKey(std::string_view text) { return LocalCollation::current().sortKey(text); }

std::string caseInsensitiveSortKey(std::string_view text) {
  return LocalCollation::current().caseInsensitiveSortKey(text);
}

}  // namespace qw::Collation
