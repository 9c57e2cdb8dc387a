#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "platform/object/Property.h"
#include "values/numbers/QWDecimalNumberAdditions.h"

/// A currency: what it is called, how many decimals its amounts have, and what it is worth. A value type, and
/// a property type of model classes; any thread.
class QW_EXPORT QWCurrency {
 public:
  /// No currency's code and symbol, no decimals, and the rate 0.
  QWCurrency() = default;
  /// A currency. The number of decimals is not checked.
  QWCurrency(std::string code, std::string symbol, std::int16_t fractionDigits, const qw::Decimal& changeRate)
      : code_(std::move(code)),
        symbol_(std::move(symbol)),
        fractionDigits_(fractionDigits),
        changeRate_(changeRate) {}
  /// Code and symbol of the current locale, always with two decimals and the rate 1; empty texts in a locale
  /// without a country.
  static QWCurrency defaultCurrency();

  /// Normally of ISO 4217, but any text will do.
  const std::string& code() const { return code_; }
  /// What amounts are shown with.
  const std::string& symbol() const { return symbol_; }
  /// How many decimals amounts have.
  std::int16_t fractionDigits() const { return fractionDigits_; }
  /// How much one unit is worth, measured in what is the same for all currencies of a document.
  const qw::Decimal& changeRate() const { return changeRate_; }
  /// Rounds to the decimals of the currency, halves away from zero.
  QWDecimalNumberAdditions::Behavior behavior() const { return {fractionDigits_, qw::RoundingMode::plain}; }

  /// By code, then symbol, decimals and rate: negative, 0 or positive.
  int compare(const QWCurrency& other) const;
  /// The code, or the symbol of one without a code.
  const std::string& description() const { return code_.empty() ? symbol_ : code_; }
  /// Equal currencies have equal hashes.
  std::size_t hash() const;
  /// The name under which archives keep currencies.
  static constexpr std::string_view kArchiveClass = "QWCurrency";
  /// Writes the four parts.
  void encodeWithCoder(qw::KeyedArchiver& coder) const;
  /// Tells the unarchiver how currencies are read; the framework's class list does.
  static void addArchiveClasses();
  friend bool operator==(const QWCurrency&, const QWCurrency&) = default;

 private:
  std::string code_;
  std::string symbol_;
  std::int16_t fractionDigits_ = 0;
  qw::Decimal changeRate_;
};

template <>
struct qw::ValueTraits<QWCurrency> : qw::ExtensionTraits<QWCurrency> {};

template <>
struct std::hash<QWCurrency> {
  std::size_t operator()(const QWCurrency& currency) const { return currency.hash(); }
};
