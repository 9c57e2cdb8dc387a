#pragma once

#include <optional>
#include <string>

#include "platform/base/Date.h"
#include "platform/base/Decimal.h"
#include "platform/base/Image.h"
#include "store/model/QWDatabaseObject.h"
#include "values/dates/QWDuration.h"

class Category;
class Currency;
class Wallet;

/// Money that left a wallet, or came back when the amount is negative. Child of the wallet.
class Expense : public QWDatabaseObject {
 public:
  static const qw::Class kClass;

  Wallet* wallet() const;
  void setWallet(Wallet* wallet);
  /// A day: its beginning in the current time zone.
  qw::Date date() const { return date_; }
  void setDate(qw::Date date) { assign<&Expense::date_>(date); }
  const std::string& payee() const { return payee_; }
  void setPayee(std::string payee) { assign<&Expense::payee_>(std::move(payee)); }
  const qw::Decimal& amount() const { return amount_; }
  void setAmount(const qw::Decimal& amount) { assign<&Expense::amount_>(amount); }
  Currency* currency() const;
  void setCurrency(Currency* currency);
  const std::string& memo() const { return memo_; }
  void setMemo(std::string memo) { assign<&Expense::memo_>(std::move(memo)); }
  /// Null for an expense that is not sorted yet.
  Category* category() const;
  void setCategory(Category* category);
  /// Whether it was found on the bank's statement.
  bool isCleared() const { return cleared_; }
  void setCleared(bool cleared) { assign<&Expense::cleared_>(cleared); }
  const std::optional<QWDuration>& warranty() const { return warranty_; }
  void setWarranty(std::optional<QWDuration> warranty) { assign<&Expense::warranty_>(warranty); }
  const std::optional<qw::Image>& receipt() const { return receipt_; }
  void setReceipt(std::optional<qw::Image> receipt) { assign<&Expense::receipt_>(std::move(receipt)); }

  std::optional<qw::ObjectID> synchronizationParentID() const override;
  std::string synchronizationDescription() const override;

  /// The amount in the book's home currency, unrounded.
  qw::Decimal homeAmount() const;
  /// "yyyy-MM" and "yyyy".
  std::string month() const;
  std::string year() const;
  /// The first day without warranty.
  std::optional<qw::Date> warrantyEnd() const;

 private:
  qw::Back<Wallet> wallet_;
  qw::Date date_;
  std::string payee_;
  qw::Decimal amount_;
  qw::Reference<Currency> currency_;
  std::string memo_;
  qw::Reference<Category> category_;
  bool cleared_ = false;
  std::optional<QWDuration> warranty_;
  std::optional<qw::Image> receipt_;
};
