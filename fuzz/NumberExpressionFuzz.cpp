#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>

#include "values/numbers/QWNumberFormatter.h"

// Whatever is typed: the short way of one number, the whole grammar and the rules carried out one by one read
// the same, and a number that was read and is written with all its digits is read again.
namespace {

/// Evaluates by replacing in place, one operator at a time: slow, and simple to compare with the rules.
std::optional<qw::Decimal> evaluateInPlace(QWNumberFormatter::Components list,
                                           const QWNumberFormatter& formatter) {
  using Kind = QWNumberFormatter::Component::Kind;
  const auto evaluate = [&](const QWNumberFormatter::Component& part) -> std::optional<qw::Decimal> {
    if (part.kind == Kind::kOperator) return std::nullopt;
    if (part.kind == Kind::kArray) return evaluateInPlace(part.array, formatter);
    return part.kind == Kind::kText ? formatter.evaluateString(part.text) : part.value;
  };
  const auto replace = [&list](std::size_t at, std::size_t count, const qw::Decimal& value) {
    list[at] = {.kind = Kind::kValue, .value = value};
    const auto next = list.begin() + static_cast<std::ptrdiff_t>(at) + 1;
    list.erase(next, next + static_cast<std::ptrdiff_t>(count) - 1);
  };
  for (std::size_t i = 0; i + 1 < list.size(); ++i) {
    if (!list[i].isOperator('-') || (i > 0 && list[i - 1].kind != Kind::kOperator)) continue;
    if (const auto value = evaluate(list[i + 1])) replace(i, 2, -*value);
  }
  for (const char operation : {'/', '*', '-', '+'}) {
    for (std::size_t i = 0; i + 1 < list.size(); ++i) {
      if (!list[i].isOperator(operation)) continue;
      const auto right = evaluate(list[i + 1]);
      if (i == 0) {
        if (!right || operation == '*' || operation == '/') break;
        replace(0, 2, operation == '-' ? -*right : *right);
        continue;
      }
      const auto left = evaluate(list[i - 1]);
      if (!left || !right) break;
      replace(i - 1, 3,
              operation == '/'   ? *left / *right
              : operation == '*' ? *left * *right
              : operation == '-' ? *left - *right
                                 : *left + *right);
      --i;
    }
  }
  const auto value = list.size() == 1 ? evaluate(list.front()) : std::nullopt;
  return value && !value->isNaN() ? value : std::nullopt;
}

}  // namespace

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
    constexpr std::size_t kFewParts = 200;  // replacing in place is quadratic
    if (components && components->size() < kFewParts && value != evaluateInPlace(*components, *formatter))
      std::abort();
    if (!reads) continue;
    if (!formatter->getObjectValue(again, formatter->stringForObjectValue(*value)) || again != value)
      std::abort();
  }
  return 0;
}
