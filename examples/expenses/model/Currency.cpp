#include "model/Currency.h"

#include "model/Book.h"

constinit const qw::Class Currency::kClass = qw::define<Currency, QWDatabaseObject>(
    "Currency", {.table = "Currency", .synchronizationPriority = 10}, [] {
      return qw::properties(
          qw::parent<&Currency::book_>("book", "currencies"),
          qw::attribute<&Currency::code_>("code", {.localizationKey = "Currency.code"}),
          qw::attribute<&Currency::symbol_>("symbol", {.localizationKey = "Currency.symbol"}),
          qw::attribute<&Currency::fractionDigits_>("fractionDigits",
                                                    {.localizationKey = "Currency.fractionDigits"}),
          qw::attribute<&Currency::rate_>("rate", {.localizationKey = "Currency.rate"}),
          qw::derived<&Currency::money>("money", {"code", "symbol", "fractionDigits", "rate"}));
    });

Book* Currency::book() const { return book_.get(); }
