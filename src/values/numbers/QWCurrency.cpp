#include "values/numbers/QWCurrency.h"

#include <unicode/locid.h>
#include <unicode/ucurr.h>
#include <unicode/unistr.h>

#include <limits>
#include <optional>
#include <tuple>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/system/ApplicationContext.h"

namespace {

qw::Value decodeCurrency(qw::KeyedUnarchiver& coder) {
  using Limits = std::numeric_limits<std::int16_t>;
  const std::int32_t fractionDigits = coder.decodeInt("fractionDigits");
  if (fractionDigits < Limits::min() || fractionDigits > Limits::max()) {
    coder.fail("A currency has no such number of decimals.");
    return {};
  }
  std::string code = coder.decodeText("code");
  std::string symbol = coder.decodeText("symbol");
  const std::optional<qw::Decimal> rate = coder.decodeDecimal("changeRate");
  return qw::ValueTraits<QWCurrency>::toValue(QWCurrency(std::move(code), std::move(symbol),
                                                         static_cast<std::int16_t>(fractionDigits),
                                                         rate.value_or(qw::Decimal())));
}

}  // namespace

void QWCurrency::addArchiveClasses() { qw::KeyedUnarchiver::addValueClass(kArchiveClass, decodeCurrency); }

QWCurrency QWCurrency::defaultCurrency() {
  const std::string& locale = qw::ApplicationContext::current().locale;
  constexpr std::int32_t kCapacity = 4;
  UChar code[kCapacity];
  UErrorCode status = U_ZERO_ERROR;
  std::string codeText, symbol;
  if (ucurr_forLocale(locale.c_str(), code, kCapacity, &status) == 3 && U_SUCCESS(status)) {
    std::int32_t length = 0;
    const UChar* name = ucurr_getName(code, locale.c_str(), UCURR_SYMBOL_NAME, nullptr, &length, &status);
    icu::UnicodeString(code, 3).toUTF8String(codeText);
    if (U_SUCCESS(status)) icu::UnicodeString(name, length).toUTF8String(symbol);
  }
  return {std::move(codeText), std::move(symbol), 2, 1};
}

int QWCurrency::compare(const QWCurrency& other) const {
  const auto key = [](const QWCurrency& c) {
    return std::tie(c.code_, c.symbol_, c.fractionDigits_, c.changeRate_);
  };
  const auto order = key(*this) <=> key(other);
  return order < 0 ? -1 : order > 0 ? 1 : 0;
}

std::size_t QWCurrency::hash() const {
  const std::size_t texts = std::hash<std::string>()(code_) * 31 + std::hash<std::string>()(symbol_);
  return (texts * 31 + static_cast<std::uint16_t>(fractionDigits_)) * 31 + changeRate_.hash();
}

void QWCurrency::encodeWithCoder(qw::KeyedArchiver& coder) const {
  coder.encodeObject(code_, "code");
  coder.encodeObject(symbol_, "symbol");
  coder.encodeInt(fractionDigits_, "fractionDigits");
  coder.encodeObject(changeRate_, "changeRate");
}
