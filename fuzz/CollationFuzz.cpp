#include <unicode/coll.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>

#include "platform/system/ApplicationContext.h"
#include "platform/system/Collation.h"

// The first byte chooses a locale, each other one a piece of the two texts, which a zero byte parts. They are
// ordered as the library's own comparison with the same settings orders them, without any short cut, and so
// are their sort keys.
namespace {

constexpr const char* kLocales[] = {
    "en_US", "en_US_POSIX", "de_DE", "fr_CA", "sv_SE", "da_DK", "cs_CZ", "hr_HR",
    "hu_HU", "ru_RU",       "th_TH", "ja_JP", "zh_CN", "lt_LT", "cy_GB", "es@collation=traditional"};
constexpr const char* kPieces[] = {
    "a",  "b",    "c",      "ch",     "H",      "A",      "aa",     "l",      "ll",     "lj",  "n", "y",
    "w",  "z",    "Z",      "0",      "1",      "09",     "10",     " ",      "-",      "_",   ".", "'",
    "\t", "\x01", "\u00e4", "\u00e9", "\u0301", "\u00b7", "\u00df", "\u0430", "\u4e2d", "\xff"};

std::unique_ptr<icu::Collator> collator(const char* locale, UColAttributeValue strength,
                                        UColAttributeValue numeric) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(icu::Locale(locale), status));
  collator->setAttribute(UCOL_STRENGTH, strength, status);
  collator->setAttribute(UCOL_NUMERIC_COLLATION, numeric, status);
  if (U_FAILURE(status)) std::abort();
  return collator;
}

int signOf(std::weak_ordering order) { return order < 0 ? -1 : order > 0; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static qw::ApplicationContext::Override context;
  static std::map<const char*, std::pair<std::unique_ptr<icu::Collator>, std::unique_ptr<icu::Collator>>>
      made;
  if (size == 0) return 0;
  const char* const locale = kLocales[data[0] % std::size(kLocales)];
  if (qw::ApplicationContext::current().locale != locale)
    context.change([&](qw::ApplicationContext& changed) { changed.locale = locale; });
  auto& [standard, insensitive] = made[locale];
  if (!standard) {
    standard = collator(locale, UCOL_IDENTICAL, UCOL_ON);
    insensitive = collator(locale, UCOL_SECONDARY, UCOL_OFF);
  }
  std::string texts[2];
  std::size_t text = 0;
  for (std::size_t i = 1; i < size; ++i) {
    if (data[i] == 0 && text == 0)
      text = 1;
    else
      texts[text] += kPieces[data[i] % std::size(kPieces)];
  }
  const auto& [a, b] = texts;
  UErrorCode status = U_ZERO_ERROR;
  const int expected = standard->compareUTF8(a, b, status);
  using namespace qw::Collation;
  if (signOf(localizedStandardCompare(a, b)) != expected) std::abort();
  if (signOf(sortKey(a) <=> sortKey(b)) != expected) std::abort();
  if (signOf(localizedCaseInsensitiveCompare(a, b)) != insensitive->compareUTF8(a, b, status)) std::abort();
  return 0;
}
