#pragma once

#include "store/Ledger.h"
#include "support/Files.h"

/// A store, and an edit of it with everything that a save writes, the same each time: a file can only be in
/// one of two states.
class EditedLedger : public LedgerTest {
 protected:
  /// Identifiers that nobody else has drawn.
  void drawIdentifiersFrom(std::uint64_t high) {
    context_.change([high](qw::ApplicationContext& context) {
      context.identifierSource = [high, low = std::uint64_t{0}]() mutable {
        return qw::UUID{high, 0x8000000000000000 + ++low};
      };
    });
  }

  /// Three accounts of so many entries, saved in `base_`.
  std::shared_ptr<LedgerManager> makeBase(int count) {
    drawIdentifiersFrom(0x1111111111114111);
    auto store = QWDatabaseManager::open<LedgerManager>(base_, {}, &error);
    EXPECT_TRUE(store) << error.localizedDescription;
    store->protectWithPassword("secret");
    store->setValueForLocalParameter("left", "side");
    auto tag = store->create<Tag>();
    tag->setName("tag");
    store->ledger().tags().add(tag);
    for (int a = 0; a < 3; ++a) {
      auto account = addAccount(*store, "Account " + std::to_string(a));
      for (int i = 0; i < count; ++i) {
        auto entry = addEntry(*account, "Payee " + std::to_string(i) + std::string(60, '-'), i);
        entry->setDetails(qw::Dictionary{{"n", i}});
        if (i % 3 == 0) entry->setTag(tag.get());
        if (i % 5 == 0) {
          auto receipt = store->create<Receipt>();
          receipt->setScan(qw::Data::fromText(std::string(300, 's')));
          entry->setReceipt(receipt);
        }
      }
    }
    auto gone = addAccount(*store, "gone");
    EXPECT_TRUE(store->save(&error)) << error.localizedDescription;
    gone->deleteObject();
    EXPECT_TRUE(store->save(&error)) << error.localizedDescription;
    before_ = dump(base_);
    return store;
  }
  void restoreTo(const std::filesystem::path& place) const {
    std::filesystem::remove(place.string() + "-journal");
    Files::copy(base_, place);
  }

  /// Updates, deletions, insertions, references to deleted objects.
  void edit(LedgerManager& store, int count) {
    drawIdentifiersFrom(0x2222222222224222);
    // Few pages stay in memory: changed ones reach the file while the transaction is still open.
    sqlite3_exec(store.database(), "PRAGMA cache_size = 6", nullptr, nullptr, nullptr);
    Ledger& ledger = store.ledger();
    ledger.setTitle("edited");
    for (Entry& entry : ledger.accounts()[0].entries()) entry.setPayee(std::string(200, 'e'));
    ledger.accounts()[0].entries()[1].setDetails(qw::Array{1, "two", 3});
    ledger.accounts()[1].entries().remove(ledger.accounts()[1].entries()[2]);
    ledger.accounts()[2].deleteObject();
    ledger.tags()[0].deleteObject();
    auto account = addAccount(store, "New");
    for (int i = 0; i < count / 3; ++i) addEntry(*account, "new " + std::to_string(i), i);
    account->entries()[3].setReceipt(store.create<Receipt>());
    store.setValueForLocalParameter("right", "side");
  }

  const std::filesystem::path base_ = context_.directory() / "base.ledger";
  std::string before_, after_;
};
