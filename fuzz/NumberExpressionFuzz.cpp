#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "values/QWNumberFormatter.h"

// Whatever is typed: the short way of one number and the whole grammar read the same, and a number that was
// read and is written with all its digits is read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  static QWNumberFormatter* const formatter = [] {
    auto* made = new QWNumberFormatter;
    made->setMaximumFractionDigits(qw::NumberStyle::kMaxFractionDigits);
    return made;
  }();
  for (const bool guesses : {true, false}) {
    formatter->setGuessesSeparators(guesses);
    std::optional<qw::Decimal> value, again;
    const bool reads = formatter->getObjectValue(value, text);
    if (text.empty()) continue;
    if (reads != value.has_value()) std::abort();
    const auto components = formatter->componentsFromString(text);
    if (value != (components ? formatter->evaluateArray(*components) : std::nullopt)) std::abort();
    if (!reads) continue;
    if (!formatter->getObjectValue(again, formatter->stringForObjectValue(*value)) || again != value)
      std::abort();
  }
  return 0;
}
