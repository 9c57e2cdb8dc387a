#pragma once

#include <optional>
#include <string>

#include "model/Currency.h"
#include "model/Expense.h"
#include "platform/base/Color.h"
#include "store/model/QWDatabaseObject.h"

/// Where money is kept: an account, a card, a purse. Child of the book; its expenses go with it.
class Wallet : public QWDatabaseObject {
 public:
  static const qw::Class kClass;

  Book* book() const;
  qw::Children<Expense>& expenses() { return expenses_; }
  const qw::Children<Expense>& expenses() const { return expenses_; }

  const std::string& name() const { return name_; }
  void setName(std::string name) { assign<&Wallet::name_>(std::move(name)); }
  const std::optional<qw::Color>& color() const { return color_; }
  void setColor(std::optional<qw::Color> color) { assign<&Wallet::color_>(color); }
  /// What its expenses are in unless they say otherwise.
  Currency* currency() const { return currency_.get(); }
  void setCurrency(Currency* currency) { assign<&Wallet::currency_>(currency); }

  std::string synchronizationDescription() const override { return name_; }

 private:
  qw::Back<Book> book_;
  qw::Children<Expense> expenses_;
  std::string name_;
  std::optional<qw::Color> color_;
  qw::Reference<Currency> currency_;
};
