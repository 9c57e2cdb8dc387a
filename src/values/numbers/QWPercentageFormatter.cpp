#include "values/numbers/QWPercentageFormatter.h"

#include "platform/loop/internal/PerThread.h"
#include "platform/object/Property.h"
#include "values/text/internal/Blanks.h"

constinit const qw::Class QWPercentageFormatter::kClass =
    qw::define<QWPercentageFormatter, QWNumberFormatter>("QWPercentageFormatter", {},
                                                         [] { return qw::properties(); });

namespace {

struct Writer : QWPercentageFormatter {};
struct Parser : QWPercentageFormatter {};

constexpr int kFractionDigits = 2;

void removeAll(std::string& text, std::string_view sign) {
  if (sign.empty()) return;
  std::string rest;
  std::size_t from = 0;
  for (std::size_t at = 0; (at = text.find(sign, from)) != text.npos; from = at + sign.size())
    rest.append(text, from, at - from);
  text = std::move(rest.append(text, from));
}

}  // namespace

std::string QWPercentageFormatter::formatValue(const qw::Decimal& value, int maximumFractionDigits) {
  auto& formatter = qw::perThread<Writer>();
  formatter.setMaximumFractionDigits(maximumFractionDigits);
  return formatter.stringForObjectValue(value);
}

std::optional<qw::Decimal> QWPercentageFormatter::parseString(std::string_view text) {
  std::optional<qw::Decimal> value;
  qw::perThread<Parser>().getObjectValue(value, text);
  return value;
}

QWPercentageFormatter::QWPercentageFormatter() {
  setNumberStyle(Style::kPercent);
  setMaximumFractionDigits(kFractionDigits);
}

bool QWPercentageFormatter::getObjectValue(std::optional<qw::Decimal>& value, std::string_view text) const {
  if (!QWNumberFormatter::getObjectValue(value, text)) return false;
  if (!value) return true;
  value = value->multipliedByPowerOf10(-2);
  if (decimalNumberBehavior()) value = decimalNumberBehavior()->apply(*value);
  return true;
}

std::optional<qw::Decimal> QWPercentageFormatter::evaluateString(std::string_view text) const {
  std::string number(text);
  removeAll(number, "%");
  removeAll(number, qw::trimmed(style().percentSign()));
  return QWNumberFormatter::evaluateString(number);
}
