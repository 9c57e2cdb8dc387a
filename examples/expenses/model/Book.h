#pragma once

#include "model/Category.h"
#include "model/Currency.h"
#include "model/Wallet.h"
#include "store/model/QWDatabaseObject.h"

/// The root of an expense book: its wallets, the tree of categories and the currencies.
class Book : public QWDatabaseObject {
 public:
  static const qw::Class kClass;

  qw::Children<Currency>& currencies() { return currencies_; }
  const qw::Children<Currency>& currencies() const { return currencies_; }
  qw::Children<Wallet>& wallets() { return wallets_; }
  const qw::Children<Wallet>& wallets() const { return wallets_; }
  /// The nameless category above all others.
  Category& rootCategory() const { return *rootCategory_; }
  /// What sums are counted in: one of the currencies.
  Currency* homeCurrency() const { return homeCurrency_.get(); }
  void setHomeCurrency(Currency* currency) { assign<&Book::homeCurrency_>(currency); }

  std::string synchronizationDescription() const override { return "Book"; }

  /// An amount in the home currency, unrounded.
  qw::Decimal homeAmount(const qw::Decimal& amount, const Currency& currency) const;

 private:
  friend class ExpenseBook;

  qw::Children<Currency> currencies_;
  qw::Children<Wallet> wallets_;
  std::shared_ptr<Category> rootCategory_;
  qw::Reference<Currency> homeCurrency_;
};
