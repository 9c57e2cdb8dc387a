#include <gtest/gtest.h>

#include "platform/system/Clock.h"
#include "store/Ledger.h"

class StoreUndo : public LedgerTest {
 protected:
  void SetUp() override {
    store = open();
    store->undoManager()->setGroupsByEvent(false);
    step(*store, [&] {
      account = addAccount(*store, "A");
      for (const char* name : {"a", "b", "c"}) entries.push_back(addEntry(*account, name));
    });
    ASSERT_TRUE(store->save());
    undo = store->undoManager();
  }
  std::string payees() const {
    std::string text;
    for (Entry& entry : account->entries()) text += entry.payee() + std::to_string(entry.index());
    return text;
  }
  void expectClean() {
    for (const auto& entry : entries) EXPECT_EQ(entry->modificationsCount(), 0) << entry->payee();
  }

  std::shared_ptr<LedgerManager> store;
  std::shared_ptr<Account> account;
  std::vector<std::shared_ptr<Entry>> entries;
  qw::UndoManager* undo = nullptr;
};

TEST_F(StoreUndo, AnEditAndItsUndoLeaveACleanObject) {
  step(*store, [&] { entries[0]->setPayee("x"); });
  step(*store, [&] { entries[0]->setPayee("y"); });
  undo->undo();
  undo->undo();
  EXPECT_EQ(entries[0]->payee(), "a");
  expectClean();
  undo->redo();
  EXPECT_EQ(entries[0]->payee(), "x");
  EXPECT_EQ(entries[0]->modificationsCount(), 1);
  step(*store, [&] { entries[1]->setPayee("b"); });
  EXPECT_TRUE(undo->canUndo());
  EXPECT_EQ(entries[1]->modificationsCount(), 0) << "an equal value is no edit";
}

TEST_F(StoreUndo, WhatANewObjectIsGivenComesAndGoesWithIt) {
  std::shared_ptr<Entry> added;
  undo->beginUndoGrouping();
  added = addEntry(*account, "new");
  undo->beginUndoGrouping();
  added->setPayee("taken back");
  undo->undoNestedGroup();
  undo->endUndoGrouping();
  EXPECT_EQ(added->payee(), "new") << "an inner group is taken back by itself";
  added->setPayee("newer");
  undo->endUndoGrouping();
  step(*store, [&] { added->setPayee("newest"); });
  undo->undo();
  EXPECT_EQ(added->payee(), "newer");
  for (const bool savesWhileGone : {false, true}) {
    undo->undo();
    EXPECT_EQ(payees(), "a0b1c2");
    if (savesWhileGone) {
      ASSERT_TRUE(store->save());
    }
    undo->redo();
    ASSERT_TRUE(store->save());
    EXPECT_EQ(ask("SELECT payee FROM Entry ORDER BY \"index\""), "a|b|c|newer");
  }
  undo->redo();
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT payee FROM Entry ORDER BY \"index\""), "a|b|c|newest");
}

TEST_F(StoreUndo, InsertingRemovingAndMovingChildren) {
  std::shared_ptr<Entry> added;
  step(*store, [&] {
    added = store->create<Entry>();
    added->setPayee("n");
    account->entries().insert(added, 0);
  });
  EXPECT_EQ(payees(), "n0a1b2c3");
  step(*store, [&] { account->entries().move(*entries[2], 0); });
  EXPECT_EQ(payees(), "c0n1a2b3");
  step(*store, [&] { account->entries().remove(*entries[0]); });
  EXPECT_EQ(payees(), "c0n1b2");
  EXPECT_TRUE(entries[0]->isDeleted());
  EXPECT_EQ(entries[0]->index(), -1);
  undo->undo();
  EXPECT_FALSE(entries[0]->isDeleted());
  EXPECT_FALSE(store->isObjectDeleted(entries[0]->ID()));
  EXPECT_EQ(entries[0]->account(), account.get());
  undo->undo();
  undo->undo();
  EXPECT_EQ(payees(), "a0b1c2");
  EXPECT_TRUE(added->isDeleted());
  expectClean();
  undo->redo();
  undo->redo();
  undo->redo();
  EXPECT_EQ(payees(), "c0n1b2");
  ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  EXPECT_EQ(ask("SELECT payee FROM Entry ORDER BY \"index\""), "c|n|b");
  undo->undo();
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT payee FROM Entry ORDER BY \"index\""), "c|n|a|b")
      << "a deletion that was saved is undone by a new row";
}

TEST_F(StoreUndo, WholeListsAreOneStep) {
  step(*store, [&] {
    auto n = store->create<Entry>();
    n->setPayee("n");
    account->entries().set({n, entries[2], entries[0]});
  });
  EXPECT_EQ(payees(), "n0c1a2");
  EXPECT_TRUE(entries[1]->isDeleted());
  undo->undo();
  EXPECT_EQ(payees(), "a0b1c2");
  expectClean();
}

TEST_F(StoreUndo, DeletingTakesChildrenAndOwnedObjectsAndClearsReferences) {
  std::shared_ptr<Tag> tag;
  step(*store, [&] {
    tag = store->create<Tag>();
    store->ledger().tags().add(tag);
    entries[0]->setTag(tag.get());
    entries[0]->setReceipt(store->create<Receipt>());
  });
  auto receipt = entries[0]->receipt();
  ASSERT_TRUE(store->save());
  step(*store, [&] { tag->deleteObject(); });
  EXPECT_EQ(entries[0]->tag(), nullptr);
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry WHERE tag IS NOT NULL"), "0") << "no dangling ID in the file";
  undo->undo();
  EXPECT_EQ(entries[0]->tag(), tag.get());
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry JOIN Tag ON Entry.tag = Tag.ID"), "1");

  step(*store, [&] { account->deleteObject(); });
  EXPECT_TRUE(receipt->isDeleted());
  EXPECT_TRUE(entries[2]->isDeleted());
  EXPECT_EQ(store->deletedIDs().size(), 5u);
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT (SELECT count(*) FROM Entry) + (SELECT count(*) FROM Receipt)"), "0");
  undo->undo();
  EXPECT_EQ(payees(), "a0b1c2");
  EXPECT_TRUE(store->deletedIDs().empty());
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry JOIN Account ON Entry.account = Account.ID"), "3");
}

TEST_F(StoreUndo, ReplacingAnOwnedObjectDeletesTheFormer) {
  step(*store, [&] { entries[0]->setReceipt(store->create<Receipt>()); });
  auto first = entries[0]->receipt();
  step(*store, [&] { entries[0]->setReceipt(store->create<Receipt>()); });
  EXPECT_TRUE(first->isDeleted());
  undo->undo();
  EXPECT_EQ(entries[0]->receipt(), first);
  EXPECT_FALSE(first->isDeleted());
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
  EXPECT_EQ(payees(), "a0c1");
  EXPECT_EQ(entries[1]->account(), other.get());
  EXPECT_EQ(seen, "B+0");
  undo->undo();
  EXPECT_EQ(payees(), "a0b1c2");
  EXPECT_EQ(seen, "B+0-0A");
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

// The file is right after every walk through edits, undos, redos and saves, whatever the counts say.

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

TEST_F(StoreUndo, RandomWalksOfEditsUndosAndSavesKeepTheFile) {
  std::uint32_t seed = 7;
  const auto random = [&](std::uint32_t bound) {
    return (seed = seed * 1664525 + 1013904223) / 65536 % bound;
  };
  std::shared_ptr<Account> other;
  step(*store, [&] { other = addAccount(*store, "B"); });
  const auto live = [&](Account& parent) { return static_cast<std::uint32_t>(parent.entries().size()); };
  for (int i = 0; i < 1500 && !HasFailure(); ++i) {
    Account& parent = random(3) ? *account : *other;
    auto& list = parent.entries();
    switch (random(12)) {
      case 0:
      case 1:
        undo->undo();
        break;
      case 2:
        undo->redo();
        break;
      case 3: {
        ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
        std::string expected;
        for (Account& a : store->ledger().accounts())
          for (Entry& entry : a.entries())
            expected += (expected.empty() ? "" : "|") + a.name() + "|" + entry.payee() + "|" +
                        (entry.tag() ? entry.tag()->ID().text() : "NULL");
        ASSERT_EQ(
            ask("SELECT a.name, e.payee, e.tag FROM Entry e JOIN Account a ON e.account = a.ID ORDER BY "
                "a.\"index\", e.\"index\""),
            expected)
            << "walk " << i;
        ASSERT_EQ(ask("SELECT count(*) FROM Tag"), std::to_string(store->ledger().tags().size()));
        break;
      }
      case 4:
      case 5:
        step(*store, [&] {
          auto entry = store->create<Entry>();
          entry->setPayee("n" + std::to_string(i));
          list.insert(entry, random(live(parent) + 1));
        });
        break;
      case 6:
        if (live(parent)) step(*store, [&] { list.remove(list[random(live(parent))]); });
        break;
      case 7:
        if (live(parent)) step(*store, [&] { list.move(list[random(live(parent))], random(live(parent))); });
        break;
      case 8:
        if (live(parent))
          step(*store, [&] {
            auto entry = list.at(random(live(parent)));
            (random(2) ? *account : *other).entries().add(entry);
          });
        break;
      case 9:
        step(*store, [&] {
          auto tag = store->create<Tag>();
          store->ledger().tags().add(tag);
          if (live(parent)) list[random(live(parent))].setTag(tag.get());
        });
        break;
      case 10:
        if (auto& all = store->ledger().tags(); !all.empty())
          step(*store, [&] { all.remove(all[random(static_cast<std::uint32_t>(all.size()))]); });
        break;
      default:
        if (live(parent)) step(*store, [&] { list[random(live(parent))].setPayee("e" + std::to_string(i)); });
    }
  }
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

TEST_F(StoreUndo, AnUndoneAssignmentGivesBackALinkWhoseTargetWasDeletedMeanwhile) {
  std::vector<std::shared_ptr<Tag>> tags;
  step(*store, [&] {
    for (int i = 0; i < 2; ++i) store->ledger().tags().add(tags.emplace_back(store->create<Tag>()));
    entries[0]->setTag(tags[0].get());
  });
  ASSERT_TRUE(store->save());
  const auto stored = [&] { return ask("SELECT ifnull(tag, 'none') FROM Entry WHERE payee = 'a'"); };
  for (const bool inOneStep : {false, true}) {
    undo->beginUndoGrouping();
    tags[0]->deleteObject();
    if (!inOneStep) {
      undo->endUndoGrouping();
      undo->beginUndoGrouping();
    }
    entries[0]->setTag(inOneStep ? nullptr : tags[1].get());
    undo->endUndoGrouping();
    ASSERT_TRUE(store->save());
    EXPECT_EQ(stored(), inOneStep ? "none" : tags[1]->ID().text());
    undo->undo();
    if (!inOneStep) undo->undo();
    EXPECT_EQ(entries[0]->tag(), tags[0].get());
    ASSERT_TRUE(store->save());
    EXPECT_EQ(stored(), tags[0]->ID().text());
  }
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
