#include "model/Book.h"

constinit const qw::Class Book::kClass =
    qw::define<Book, QWDatabaseObject>("Book", {.table = "Book", .synchronizationPriority = 0}, [] {
      return qw::properties(qw::children<&Book::currencies_>("currencies", "book"),
                            qw::children<&Book::wallets_>("wallets", "book"),
                            qw::owned<&Book::rootCategory_>("rootCategory"),
                            qw::reference<&Book::homeCurrency_>("homeCurrency"));
    });

qw::Decimal Book::homeAmount(const qw::Decimal& amount, const Currency& currency) const {
  const Currency* home = homeCurrency();
  if (!home || home == &currency || home->rate() == currency.rate()) return amount;
  return amount * currency.rate() / home->rate();
}
