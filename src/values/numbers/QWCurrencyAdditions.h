#pragma once

#include <optional>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "values/numbers/QWCurrency.h"

/// Arithmetic on amounts of money: each result is rounded to the decimals of the currency, halves away from
/// zero. A missing operand is zero, so to divide by none gives not-a-number. Any thread.
namespace QW_EXPORT QWCurrencyAdditions {

/// The sum, rounded.
inline qw::Decimal decimalNumberByAdding(const qw::Decimal& amount, const std::optional<qw::Decimal>& other,
                                         const QWCurrency& currency) {
  return currency.behavior().apply(amount + other.value_or(qw::Decimal()));
}
/// The difference, rounded.
inline qw::Decimal decimalNumberBySubtracting(const qw::Decimal& amount,
                                              const std::optional<qw::Decimal>& other,
                                              const QWCurrency& currency) {
  return currency.behavior().apply(amount - other.value_or(qw::Decimal()));
}
/// The product, rounded once.
inline qw::Decimal decimalNumberByMultiplyingBy(const qw::Decimal& amount,
                                                const std::optional<qw::Decimal>& other,
                                                const QWCurrency& currency) {
  return currency.behavior().apply(amount * other.value_or(qw::Decimal()));
}
/// The quotient, rounded once.
inline qw::Decimal decimalNumberByDividingBy(const qw::Decimal& amount,
                                             const std::optional<qw::Decimal>& other,
                                             const QWCurrency& currency) {
  return currency.behavior().apply(amount / other.value_or(qw::Decimal()));
}

}  // namespace QWCurrencyAdditions
