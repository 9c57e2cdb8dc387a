#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "values/numbers/QWCurrencyFormatter.h"

// Whatever is typed among currencies whose signs hold each other, and operators: the short way of one amount
// and the whole grammar read the same, and an amount that was read and is written is read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  static QWCurrencyFormatter* const formatter = [] {
    const QWCurrency euro("EUR", "€", 2, *qw::Decimal::fromText("1.1"));
    auto* made = new QWCurrencyFormatter;
    made->setCurrency(euro);
    made->setCurrencies({euro,
                         {"USD", "$", 2, 1},
                         {"AUD", "A$", 2, *qw::Decimal::fromText("0.65")},
                         {"JPY", "¥", 0, *qw::Decimal::fromText("0.0067")},
                         {"CHF", "CHF", 2, 0},
                         {"PEN", "S/", 2, *qw::Decimal::fromText("0.27")}});
    return made;
  }();
  std::optional<qw::Decimal> value, again;
  const bool reads = formatter->getObjectValue(value, text);
  if (text.empty()) return 0;
  if (reads != value.has_value()) std::abort();
  const auto components = formatter->componentsFromString(text);
  auto whole = components ? formatter->evaluateArray(*components) : std::nullopt;
  if (whole) whole = formatter->currency()->behavior().apply(*whole);
  if (whole != value) std::abort();
  if (!reads) return 0;
  if (!formatter->getObjectValue(again, formatter->stringForObjectValue(*value)) || again != value)
    std::abort();
  return 0;
}
