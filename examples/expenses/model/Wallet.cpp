#include "model/Wallet.h"

#include "model/Book.h"

constinit const qw::Class Wallet::kClass =
    qw::define<Wallet, QWDatabaseObject>("Wallet", {.table = "Wallet", .synchronizationPriority = 20}, [] {
      return qw::properties(qw::parent<&Wallet::book_>("book", "wallets"),
                            qw::children<&Wallet::expenses_>("expenses", "wallet"),
                            qw::attribute<&Wallet::name_>("name"), qw::attribute<&Wallet::color_>("color"),
                            qw::reference<&Wallet::currency_>("currency"));
    });

Book* Wallet::book() const { return book_.get(); }
