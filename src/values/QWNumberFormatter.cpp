#include "values/QWNumberFormatter.h"

#include <algorithm>
#include <utility>

#include "platform/ApplicationContext.h"
#include "platform/PerThread.h"

namespace {

struct Writer : QWNumberFormatter {};
struct Parser : QWNumberFormatter {};

}  // namespace

std::string QWNumberFormatter::formatValue(const qw::Decimal& value, int maximumFractionDigits) {
  auto& formatter = qw::perThread<Writer>();
  formatter.setMaximumFractionDigits(maximumFractionDigits);
  return formatter.stringForObjectValue(value);
}

std::optional<qw::Decimal> QWNumberFormatter::parseString(std::string_view text,
                                                          const std::optional<Behavior>& behavior) {
  auto& formatter = qw::perThread<Parser>();
  formatter.setDecimalNumberBehavior(behavior);
  std::optional<qw::Decimal> value;
  formatter.getObjectValue(value, text);
  return value;
}

QWNumberFormatter::QWNumberFormatter() = default;
QWNumberFormatter::~QWNumberFormatter() = default;

const qw::NumberStyle& QWNumberFormatter::style() const {
  const std::uint64_t generation = qw::ApplicationContext::generation();
  if (style_ && generation == generation_) return *style_;
  const std::string& locale = qw::ApplicationContext::current().locale;
  if (!style_ || locale != locale_) {
    locale_ = locale;
    style_ = std::make_unique<qw::NumberStyle>(locale_, wishes_);
  }
  generation_ = qw::ApplicationContext::generation();  // the first look at the context may have made it
  return *style_;
}

void QWNumberFormatter::setWishes(qw::NumberStyle::Wishes wishes) {
  wishes_ = std::move(wishes);
  style_.reset();
}

void QWNumberFormatter::setNumberStyle(Style style) {
  auto changed = wishes_;
  changed.kind = style;
  setWishes(std::move(changed));
}

void QWNumberFormatter::setDecimalSeparator(std::string_view separator) {
  auto changed = wishes_;
  changed.decimalSeparator = separator;
  setWishes(std::move(changed));
}

void QWNumberFormatter::setGroupingSeparator(std::string_view separator) {
  auto changed = wishes_;
  changed.groupingSeparator = separator;
  setWishes(std::move(changed));
}

void QWNumberFormatter::setMinimumFractionDigits(int digits) {
  wishes_.minimumFractionDigits = digits;
  if (wishes_.maximumFractionDigits)
    wishes_.maximumFractionDigits = std::max(*wishes_.maximumFractionDigits, digits);
  if (style_) style_->setMinimumFractionDigits(digits);
}

void QWNumberFormatter::setMaximumFractionDigits(int digits) {
  wishes_.maximumFractionDigits = digits;
  if (wishes_.minimumFractionDigits)
    wishes_.minimumFractionDigits = std::min(*wishes_.minimumFractionDigits, digits);
  if (style_) style_->setMaximumFractionDigits(digits);
}

std::string QWNumberFormatter::stringForObjectValue(const qw::Decimal& value) const {
  return style().format(value);
}

std::optional<qw::Decimal> QWNumberFormatter::evaluateString(std::string_view text) const {
  return style().reader().read(text, separators());
}
