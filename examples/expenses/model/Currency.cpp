#include "model/Currency.h"

#include "model/Book.h"

constinit const qw::Class Currency::kClass = qw::define<Currency, QWDatabaseObject>(
    "Currency", {.table = "Currency", .synchronizationPriority = 10}, [] {
      return qw::properties(
          qw::parent<&Currency::book_>("book", "currencies"), qw::attribute<&Currency::code_>("code"),
          qw::attribute<&Currency::symbol_>("symbol"),
          qw::attribute<&Currency::fractionDigits_>("fractionDigits"),
          qw::attribute<&Currency::rate_>("rate"),
          qw::derived<&Currency::money>("money", {"code", "symbol", "fractionDigits", "rate"}));
    });

Book* Currency::book() const { return book_.get(); }
