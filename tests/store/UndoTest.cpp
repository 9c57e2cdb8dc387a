#include <gtest/gtest.h>

#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "store/Ledger.h"

class StoreUndo : public OneStore {
 protected:
  void SetUp() override {
    OneStore::SetUp();
    undo = store->undoManager();
    undo->setGroupsByEvent(false);
    for (std::size_t i = 0; i < 3; ++i) entries.push_back(account->entries().at(i));
  }

  std::vector<std::shared_ptr<Entry>> entries;
  qw::UndoManager* undo = nullptr;
};

TEST_F(StoreUndo, AnEditAndItsUndoLeaveACleanObject) {
  step(*store, [&] { entries[0]->setPayee("x"); });
  step(*store, [&] { entries[0]->setPayee("y"); });
  undo->undo();
  undo->undo();
  EXPECT_EQ(entries[0]->payee(), "a");
  EXPECT_EQ(entries[0]->modificationsCount(), 0);
  undo->redo();
  EXPECT_EQ(entries[0]->payee(), "x");
  EXPECT_EQ(entries[0]->modificationsCount(), 1);
  step(*store, [&] { entries[1]->setPayee("b"); });
  EXPECT_TRUE(undo->canUndo());
  EXPECT_EQ(entries[1]->modificationsCount(), 0) << "an equal value is no edit";
}

TEST_F(StoreUndo, DeletingTakesChildrenAndOwnedObjectsAndClearsReferences) {
  std::shared_ptr<Tag> tag;
  step(*store, [&] {
    tag = store->ledger().tags().create();
    entries[0]->setTag(tag.get());
  });
  auto receipt = entries[0]->receipt();
  undo->removeAllActions();
  ASSERT_TRUE(store->save());
  step(*store, [&] { tag->deleteObject(); });
  EXPECT_EQ(entries[0]->tag(), nullptr);
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry WHERE tag IS NOT NULL"), "0") << "no dangling ID in the file";
  step(*store, [&] { account->deleteObject(); });
  EXPECT_TRUE(receipt->isDeleted());
  EXPECT_EQ(store->deletedIDs().size(), 6u);
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT (SELECT count(*) FROM Entry) + (SELECT count(*) FROM Receipt)"), "0");
  undo->undo();
  undo->undo();
  EXPECT_EQ(payees(*account), "abc");
  EXPECT_TRUE(store->deletedIDs().empty());
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry JOIN Tag ON Entry.tag = Tag.ID"), "1");
}

TEST_F(StoreUndo, MovesBetweenParentsAreObservedAndUndone) {
  std::shared_ptr<Account> other;
  step(*store, [&] { other = addAccount(*store, "B"); });
  std::string seen;
  auto token = other->observe("entries", [&](const qw::Change& change) {
    seen += change.kind == qw::Change::Kind::kInsertion ? "+" : "-";
    for (const std::size_t i : change.indexes) seen += std::to_string(i);
  });
  auto title = entries[1]->observe("account.name",
                                   [&](const qw::Change& change) { seen += change.newValue.description(); });
  step(*store, [&] { ASSERT_TRUE(entries[1]->setValueForKey(other, "account")); });
  EXPECT_EQ(payees(*account), "ac");
  EXPECT_EQ(entries[1]->account(), other.get());
  EXPECT_EQ(seen, "B+0");
  undo->undo();
  EXPECT_EQ(payees(*account), "abc");
  EXPECT_EQ(seen, "B+0-0A");
  const auto index =
      entries[2]->observe("index", [&](const qw::Change& change) { seen = change.newValue.description(); });
  step(*store, [&] { account->entries().insert(store->create<Entry>(), 0); });
  qw::RunLoop::current().drain();
  EXPECT_EQ(seen, "3") << "an insertion moves those behind it";
}

TEST_F(StoreUndo, RegisteringATakenIDRenamesTheFirst) {
  const qw::ObjectID id = entries[0]->ID();
  step(*store, [&] { entries[1]->setID(id); });
  EXPECT_EQ(store->objectWithID(id), entries[1]);
  EXPECT_FALSE(entries[0]->ID() == id);
  EXPECT_EQ(store->objectWithID(entries[0]->ID()), entries[0]);
  undo->undo();
  EXPECT_EQ(store->objectWithID(id), entries[0]);
}

TEST_F(StoreUndo, EditsThatUndoDoesNotKnowAreSaved) {
  step(*store, [&] { entries[0]->setPayee("saved"); });
  ASSERT_TRUE(store->save());
  {
    qw::UndoRegistrationDisabled scope(undo);
    entries[0]->setAmount(5);
  }
  undo->undo();
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT payee, amount FROM Entry ORDER BY \"index\" LIMIT 1"), "a|5");
}

TEST_F(StoreUndo, EditsOfObserversDuringAnUndoAreSaved) {
  step(*store, [&] { entries[0]->setPayee("1"); });
  step(*store, [&] { entries[0]->setPayee("2"); });
  {
    auto token = entries[0]->observe("payee", [&](const qw::Change&) { entries[0]->setAmount(7); });
    undo->undo();
  }
  EXPECT_EQ(entries[0]->payee(), "1");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT payee, amount FROM Entry ORDER BY \"index\" LIMIT 1"), "1|7");
}

TEST_F(StoreUndo, RowsThatNameAnObjectFollowItsNewID) {
  std::shared_ptr<Tag> tag;
  step(*store, [&] {
    tag = store->create<Tag>();
    store->ledger().tags().add(tag);
    entries[1]->setTag(tag.get());
    entries[1]->setReceipt(store->create<Receipt>());
  });
  ASSERT_TRUE(store->save());
  step(*store, [&] {
    account->setID("another account");
    tag->setID("another tag");
    entries[1]->receipt()->setID("another receipt");
  });
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry WHERE account = 'another account'"), "3");
  EXPECT_EQ(ask("SELECT tag, receipt FROM Entry WHERE payee = 'b'"), "another tag|another receipt");
  undo->undo();
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry JOIN Account ON Entry.account = Account.ID"), "3");
}

TEST_F(StoreUndo, BringsBackTheModificationDateAndTellsItsObservers) {
  std::vector<std::optional<qw::Date>> heard;
  const auto observation = entries[0]->observe("lastModificationDate", [&](const qw::Change&) {
    heard.push_back(entries[0]->lastModificationDate());
  });
  const auto inFile = [&] {
    EXPECT_TRUE(store->save());
    return ask("SELECT ifnull(lastModificationDate, 'none') FROM Entry WHERE payee IN ('a', 'x', 'y')");
  };
  step(*store, [&] { entries[0]->setPayee("x"); });
  const auto first = entries[0]->lastModificationDate();
  const std::string firstInFile = inFile();
  qw::Clock::Override later(qw::Date::fromMicroseconds(first->microseconds() + 1000000000));
  step(*store, [&] {
    entries[0]->setPayee("y");
    entries[0]->setAmount(7);
  });
  const auto second = entries[0]->lastModificationDate();
  EXPECT_EQ(second->microseconds(), first->microseconds() + 1000000000);
  undo->undo();
  EXPECT_EQ(entries[0]->lastModificationDate(), first);
  EXPECT_EQ(inFile(), firstInFile);
  undo->undo();
  EXPECT_FALSE(entries[0]->lastModificationDate());
  EXPECT_EQ(inFile(), "none");
  undo->redo();
  undo->redo();
  using Dates = std::vector<std::optional<qw::Date>>;
  EXPECT_EQ(heard, (Dates{first, second, first, std::nullopt, first, second}));
}

TEST_F(StoreUndo, WhatNeverWasInAFileLeavesNoDeletion) {
  std::shared_ptr<Entry> added;
  step(*store, [&] { added = addEntry(*account, "n"); });
  undo->undo();
  EXPECT_TRUE(store->deletedIDs().empty());
  undo->redo();
  ASSERT_TRUE(store->save());
  undo->undo();
  EXPECT_TRUE(store->isObjectDeleted(added->ID())) << "another copy may have it from the file";
  undo->redo();
  EXPECT_TRUE(store->deletedIDs().empty());
  const qw::ObjectID id = added->ID();
  added->setID("");
  EXPECT_EQ(added->ID(), id);
  EXPECT_EQ(store->objectWithID(id), added);
}
