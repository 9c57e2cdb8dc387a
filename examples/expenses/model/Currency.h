#pragma once

#include <string>

#include "platform/base/Decimal.h"
#include "store/model/QWDatabaseObject.h"
#include "values/numbers/QWCurrency.h"

class Book;

/// A currency in which amounts of a book are written. Child of the book.
class Currency : public QWDatabaseObject {
 public:
  static const qw::Class kClass;

  Book* book() const;
  /// ISO 4217, as "EUR".
  const std::string& code() const { return code_; }
  void setCode(std::string code) { assign<&Currency::code_>(std::move(code)); }
  /// How people write it, as "€"; empty when they write the code.
  const std::string& symbol() const { return symbol_; }
  void setSymbol(std::string symbol) { assign<&Currency::symbol_>(std::move(symbol)); }
  /// Digits behind the decimal point that amounts are shown with.
  std::int16_t fractionDigits() const { return fractionDigits_; }
  void setFractionDigits(std::int16_t digits) { assign<&Currency::fractionDigits_>(digits); }
  /// What one unit is worth, in a unit that all currencies of the book share. Above 0.
  const qw::Decimal& rate() const { return rate_; }
  void setRate(const qw::Decimal& rate) { assign<&Currency::rate_>(rate); }
  /// What amounts are written in.
  QWCurrency money() const { return {code_, symbol_, fractionDigits_, rate_}; }

  std::string synchronizationDescription() const override { return code_; }

 private:
  qw::Back<Book> book_;
  std::string code_;
  std::string symbol_;
  std::int16_t fractionDigits_ = 2;
  qw::Decimal rate_ = 1;
};
