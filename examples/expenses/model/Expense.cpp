#include "model/Expense.h"

#include "model/Book.h"
#include "platform/system/DateText.h"

constinit const qw::Class Expense::kClass =
    qw::define<Expense, QWDatabaseObject>("Expense", {.table = "Expense", .synchronizationPriority = 30}, [] {
      return qw::properties(
          qw::parent<&Expense::wallet_>("wallet", "expenses"), qw::dateAttribute<&Expense::date_>("date"),
          qw::attribute<&Expense::payee_>("payee"),
          qw::attribute<&Expense::amount_>("amount", {.currencyKeyPath = "currency.money"}),
          qw::reference<&Expense::currency_>("currency"), qw::attribute<&Expense::memo_>("memo"),
          qw::reference<&Expense::category_>("category"), qw::attribute<&Expense::cleared_>("cleared"),
          qw::attribute<&Expense::warranty_>("warranty"), qw::attribute<&Expense::receipt_>("receipt"),
          qw::derived<&Expense::homeAmount>("homeAmount",
                                            {"amount", "currency.rate", "wallet.book.homeCurrency.rate"}),
          qw::derived<&Expense::month>("month", {"date"}), qw::derived<&Expense::year>("year", {"date"}),
          qw::derived<&Expense::warrantyEnd>("warrantyEnd", {"date", "warranty"}));
    });

Wallet* Expense::wallet() const { return wallet_.get(); }
void Expense::setWallet(Wallet* wallet) { assign<&Expense::wallet_>(wallet); }

Currency* Expense::currency() const { return currency_.get(); }
void Expense::setCurrency(Currency* currency) { assign<&Expense::currency_>(currency); }

Category* Expense::category() const { return category_.get(); }
void Expense::setCategory(Category* category) { assign<&Expense::category_>(category); }

qw::Decimal Expense::homeAmount() const {
  const Book* book = wallet() ? wallet()->book() : nullptr;
  return book && currency() ? book->homeAmount(amount_, *currency()) : amount_;
}

std::optional<qw::ObjectID> Expense::synchronizationParentID() const {
  return wallet() ? std::optional(wallet()->ID()) : std::nullopt;
}

std::string Expense::synchronizationDescription() const {
  return qw::DateText::dateText(date_) + (payee_.empty() ? "" : " " + payee_);
}

std::string Expense::year() const { return qw::DateText::dateText(date_).substr(0, 4); }
std::string Expense::month() const { return qw::DateText::dateText(date_).substr(0, 7); }

std::optional<qw::Date> Expense::warrantyEnd() const {
  return warranty_ ? std::optional(warranty_->addToDate(date_, 1)) : std::nullopt;
}
