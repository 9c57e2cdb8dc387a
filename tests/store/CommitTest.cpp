#include <gtest/gtest.h>

#include "store/Ledger.h"

// What comes from another copy of a store, by import or by commit, and how it is undone.
class Commits : public LedgerTest {
 protected:
  void SetUp() override {
    store = open();
    store->undoManager()->setGroupsByEvent(false);
    step(*store, [&] {
      account = addAccount(*store, "A");
      for (const char* name : {"a", "b", "c"}) addEntry(*account, name);
    });
    ASSERT_TRUE(store->save());
    undo = store->undoManager();
  }
  std::shared_ptr<LedgerManager> copyStore() {
    return std::static_pointer_cast<LedgerManager>(store->copy());
  }
  void commit(QWDatabaseManager& copy) {
    step(*store, [&] { copy.commitChangesToOriginalDatabaseManager(); });
  }
  static std::string payees(Account& account) {
    std::string text;
    for (Entry& entry : account.entries()) text += entry.payee();
    return text;
  }
  /// Everything that a user sees, then what the file holds.
  std::string contents() {
    std::string text;
    for (Account& a : store->ledger().accounts()) {
      text += a.name() + "(";
      for (Entry& entry : a.entries())
        text += entry.ID().text() + entry.payee() + (entry.tag() ? entry.tag()->ID().text() : "") + ",";
      text += ") ";
    }
    EXPECT_TRUE(store->save(&error)) << error.localizedDescription;
    return text + dump(path());
  }

  std::shared_ptr<LedgerManager> store;
  std::shared_ptr<Account> account;
  qw::UndoManager* undo = nullptr;
};

TEST_F(Commits, UndoingAnImportKeepsWhatMovedBelowIt) {
  std::shared_ptr<Tag> moved;
  step(*store, [&] { store->ledger().tags().add(moved = store->create<Tag>()); });
  const std::string before = contents();
  // The tag comes before its new parent, so that its move waits for the import.
  auto other = copyStore();
  auto parent = other->create<Tag>();
  other->ledger().tags().insert(parent, 0);
  parent->tags().add(std::static_pointer_cast<Tag>(other->objectWithID(moved->ID())));
  commit(*other);
  const std::string after = contents();
  ASSERT_TRUE(moved->parent());
  EXPECT_EQ(moved->parent()->ID(), parent->ID());
  undo->undo();
  EXPECT_FALSE(moved->isDeleted());
  EXPECT_EQ(contents(), before);
  undo->redo();
  EXPECT_EQ(moved->parent()->ID(), parent->ID());
  undo->undo();
  ASSERT_TRUE(reopen(store));
  EXPECT_EQ(contents(), before);
}

TEST_F(Commits, RedoingAnImportGivesTheSameIdentityAgain) {
  auto copy = copyStore();
  const auto former = account->entries().at(1);
  const qw::ObjectID id = former->ID();
  step(*store, [&] { former->deleteObject(); });
  const std::string before = contents();
  step(*store, [&] { copy->objectWithID(id)->importInDatabaseManager(*store); });
  const std::string after = contents();
  for (const bool saves : {true, false}) {
    undo->undo();
    EXPECT_TRUE(store->isObjectDeleted(id));
    if (saves) {
      EXPECT_EQ(contents(), before);
    }
    undo->redo();
    EXPECT_EQ(payees(*account), "abc");
    EXPECT_EQ(account->entries()[1].ID(), id);
    EXPECT_EQ(store->objectWithID(id), account->entries().at(1));
    EXPECT_FALSE(store->isObjectDeleted(id));
  }
  undo->undo();
  undo->undo();
  EXPECT_EQ(store->objectWithID(id), former);
  EXPECT_EQ(payees(*account), "abc");
}

TEST_F(Commits, WhatMovedOutOfADeletedParentStays) {
  std::shared_ptr<Account> other;
  step(*store, [&] { other = addAccount(*store, "B"); });
  ASSERT_TRUE(store->save());
  const std::string before = contents();
  auto copy = copyStore();
  auto& accounts = copy->ledger().accounts();
  accounts[1].entries().add(accounts[0].entries().at(1));
  accounts.remove(accounts[0]);
  commit(*copy);
  EXPECT_TRUE(account->isDeleted());
  EXPECT_EQ(payees(*other), "b");
  EXPECT_FALSE(other->entries()[0].isDeleted());
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT payee FROM Entry"), "b");
  undo->undo();
  EXPECT_EQ(payees(*account), "abc");
  undo->redo();
  EXPECT_EQ(payees(*other), "b");
  undo->undo();
  for (const char* id : {"A", "B"}) EXPECT_NE(contents().find(id), std::string::npos);
}

TEST_F(Commits, WriteWhatTheCopyChangedAndNothingElse) {
  std::shared_ptr<Account> other;
  step(*store, [&] { other = addAccount(*store, "B"); });
  auto copy = copyStore();
  auto entry = account->entries().at(0), last = account->entries().at(2);
  copy->ledger().accounts()[0].entries()[0].setAmount(7);
  copy->ledger().accounts()[0].setName("copy");
  step(*store, [&] {
    entry->setPayee("edited meanwhile");
    other->entries().add(entry);
    last->setPayee("l");
    account->entries().move(*last, 0);
  });
  commit(*copy);
  EXPECT_EQ(entry->payee(), "edited meanwhile");
  EXPECT_EQ(entry->account(), other.get());
  EXPECT_EQ(entry->amount(), qw::Decimal(7));
  EXPECT_EQ(account->name(), "copy");
  EXPECT_EQ(payees(*account), "lb");
  undo->undo();
  EXPECT_EQ(entry->amount(), qw::Decimal(0));
  EXPECT_EQ(entry->payee(), "edited meanwhile");
}

TEST_F(Commits, WhatTheUserPutBelowADeletedParentKeepsIt) {
  auto copy = copyStore();
  copy->ledger().accounts()[0].deleteObject();
  step(*store, [&] { addEntry(*account, "new"); });
  commit(*copy);
  EXPECT_FALSE(account->isDeleted());
  EXPECT_EQ(payees(*account), "new") << "what was deleted below it is";
  ASSERT_TRUE(reopen(store));
  EXPECT_EQ(payees(store->ledger().accounts()[0]), "new");
}

TEST_F(Commits, AChildThatWasTakenOutAndPutBackElsewhereTakesItsNewPlace) {
  std::shared_ptr<Account> other;
  step(*store, [&] { other = addAccount(*store, "B"); });
  auto copy = copyStore();
  auto& accounts = copy->ledger().accounts();
  auto first = accounts[0].entries().at(0);
  accounts[1].entries().add(first);
  accounts[0].entries().add(first);
  commit(*copy);
  EXPECT_EQ(payees(*account), "bca");
  accounts[0].entries().move(*first, 0);
  commit(*copy);
  EXPECT_EQ(payees(*account), "abc");
}
