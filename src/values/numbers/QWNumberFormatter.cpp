#include "values/numbers/QWNumberFormatter.h"

#include <algorithm>
#include <utility>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/loop/internal/PerThread.h"
#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"

constinit const qw::Class QWNumberFormatter::kClass =
    qw::define<QWNumberFormatter, qw::Object>("QWNumberFormatter", {}, [] { return qw::properties(); });

namespace {

using Options = qw::NumberStyle::Options;

// The options in archives.
template <class T>
struct Key {
  std::string_view key;
  std::optional<T> Options::*option;
};
constexpr Key<std::string> kTextKeys[] = {
    {"decimalSeparator", &Options::decimalSeparator}, {"groupingSeparator", &Options::groupingSeparator},
    {"currencyCode", &Options::currencyCode},         {"currencySymbol", &Options::currencySymbol},
    {"positiveFormat", &Options::positiveFormat},     {"negativeFormat", &Options::negativeFormat},
    {"positivePrefix", &Options::positivePrefix},     {"positiveSuffix", &Options::positiveSuffix},
    {"negativePrefix", &Options::negativePrefix},     {"negativeSuffix", &Options::negativeSuffix}};
constexpr Key<int> kNumberKeys[] = {{"minimumFractionDigits", &Options::minimumFractionDigits},
                                    {"maximumFractionDigits", &Options::maximumFractionDigits},
                                    {"groupingSize", &Options::groupingSize},
                                    {"secondaryGroupingSize", &Options::secondaryGroupingSize}};

template <class Enumeration>
Enumeration decodeCode(qw::KeyedUnarchiver& coder, std::string_view key, Enumeration last) {
  const std::int32_t code = coder.decodeInt(key);
  if (code < 0 || code > static_cast<std::int32_t>(last))
    coder.fail("A number formatter has no such setting.");
  return static_cast<Enumeration>(code);
}

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
  const std::string& locale = locale_.empty() ? qw::ApplicationContext::current().locale : locale_;
  if (!style_ || locale != styleLocale_) {
    styleLocale_ = locale;
    style_ = std::make_unique<qw::NumberStyle>(styleLocale_, options_);
  }
  generation_ = qw::ApplicationContext::generation();  // the first look at the context may have made it
  return *style_;
}

void QWNumberFormatter::setOptions(Options options) {
  options_ = std::move(options);
  style_.reset();
}

void QWNumberFormatter::setNumberStyle(Style style) {
  resetFormats();
  change(&Options::kind, style);
}

void QWNumberFormatter::resetFormats() {
  for (const auto text : {&Options::positiveFormat, &Options::negativeFormat, &Options::positivePrefix,
                          &Options::positiveSuffix, &Options::negativePrefix, &Options::negativeSuffix})
    (options_.*text).reset();
}

void QWNumberFormatter::setLocale(std::string_view locale) {
  locale_ = locale;
  style_.reset();
}

void QWNumberFormatter::setDecimalSeparator(std::string_view separator) {
  change(&Options::decimalSeparator, std::string(separator));
}

void QWNumberFormatter::setGroupingSeparator(std::string_view separator) {
  change(&Options::groupingSeparator, std::string(separator));
}

bool QWNumberFormatter::setPositiveFormat(std::string_view format) {
  if (!qw::NumberStyle::isFormat(format)) return false;
  resetFormats();
  for (const auto& [key, option] : kNumberKeys) (options_.*option).reset();
  options_.usesGroupingSeparator.reset();
  change(&Options::positiveFormat, std::string(format));
  return true;
}

bool QWNumberFormatter::setNegativeFormat(std::string_view format) {
  if (!qw::NumberStyle::isFormat(format)) return false;
  options_.negativePrefix.reset();
  options_.negativeSuffix.reset();
  change(&Options::negativeFormat, std::string(format));
  return true;
}

void QWNumberFormatter::checkNegativeFormat() {
  if (style().isAccounting()) setNegativeFormat("-" + positiveFormat());
}

void QWNumberFormatter::setRoundingIncrement(const qw::Decimal& increment) {
  change(&Options::roundingIncrement,
         increment.isNaN() || increment.isNegative() ? qw::Decimal() : increment);
}

void QWNumberFormatter::setMinimumFractionDigits(int digits) {
  options_.minimumFractionDigits = digits;
  if (options_.maximumFractionDigits)
    options_.maximumFractionDigits = std::max(*options_.maximumFractionDigits, digits);
  if (style_) style_->setMinimumFractionDigits(digits);
}

void QWNumberFormatter::setMaximumFractionDigits(int digits) {
  options_.maximumFractionDigits = digits;
  if (options_.minimumFractionDigits)
    options_.minimumFractionDigits = std::min(*options_.minimumFractionDigits, digits);
  if (style_) style_->setMaximumFractionDigits(digits);
}

std::string QWNumberFormatter::stringForObjectValue(const qw::Decimal& value) const {
  return style().format(value);
}

std::optional<qw::Decimal> QWNumberFormatter::evaluateString(std::string_view text) const {
  return style().reader().read(text, separators());
}

void QWNumberFormatter::encodeWithCoder(qw::KeyedArchiver& coder) const {
  coder.encodeInt(static_cast<std::int32_t>(options_.kind), "numberStyle");
  for (const auto& [key, option] : kTextKeys)
    if (options_.*option) coder.encodeObject(*(options_.*option), key);
  for (const auto& [key, option] : kNumberKeys)
    if (options_.*option) coder.encodeInt(*(options_.*option), key);
  if (options_.usesGroupingSeparator)
    coder.encodeBool(*options_.usesGroupingSeparator, "usesGroupingSeparator");
  coder.encodeInt(static_cast<std::int32_t>(options_.roundingMode), "roundingMode");
  coder.encodeObject(options_.roundingIncrement, "roundingIncrement");
  coder.encodeObject(locale_, "locale");
  coder.encodeBool(guessesSeparators_, "guessesSeparators");
  if (behavior_) {
    coder.encodeInt(behavior_->scale, "decimalNumberBehaviorScale");
    coder.encodeInt(static_cast<std::int32_t>(behavior_->mode), "decimalNumberBehaviorMode");
  }
}

void QWNumberFormatter::initWithCoder(qw::KeyedUnarchiver& coder) {
  using qw::RoundingMode;
  Options read;
  read.kind = decodeCode(coder, "numberStyle", Style::kPercent);
  for (const auto& [key, option] : kTextKeys)
    if (coder.containsValueForKey(key)) read.*option = coder.decodeText(key);
  for (const auto* format : {&read.positiveFormat, &read.negativeFormat})
    if (*format && !qw::NumberStyle::isFormat(**format)) coder.fail("A number formatter has no such format.");
  for (const auto& [key, option] : kNumberKeys)
    if (coder.containsValueForKey(key)) read.*option = coder.decodeInt(key);
  if (coder.containsValueForKey("usesGroupingSeparator"))
    read.usesGroupingSeparator = coder.decodeBool("usesGroupingSeparator");
  read.roundingMode = decodeCode(coder, "roundingMode", RoundingMode::bankers);
  setOptions(std::move(read));
  setRoundingIncrement(coder.decodeDecimal("roundingIncrement").value_or(qw::Decimal()));
  setLocale(coder.decodeText("locale"));
  guessesSeparators_ = coder.decodeBool("guessesSeparators");
  if (!coder.containsValueForKey("decimalNumberBehaviorScale")) return;
  behavior_ = Behavior{coder.decodeInt("decimalNumberBehaviorScale"),
                       decodeCode(coder, "decimalNumberBehaviorMode", RoundingMode::bankers)};
}
