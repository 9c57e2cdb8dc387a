#include <gtest/gtest.h>

#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "store/Ledger.h"

class Copies : public OneStore {
 protected:
  void commit(QWDatabaseManager& copy) {
    step(*store, [&] { copy.commitChangesToOriginalDatabaseManager(); });
  }
};

TEST_F(Copies, ACopyIsDetachedAndMergesBack) {
  auto copy = copyStore();
  EXPECT_EQ(copy->originalDatabaseManager(), store);
  EXPECT_EQ(copy->undoManager(), nullptr);
  Account& copied = copy->ledger().accounts()[0];
  EXPECT_EQ(copied.ID(), account->ID());
  EXPECT_EQ(copied.originalObject(), account);
  copied.entries()[0].setPayee("A");
  copied.entries().remove(copied.entries()[1]);
  auto added = copy->create<Entry>();
  added->setPayee("n");
  added->setReceipt(copy->create<Receipt>());
  copied.entries().insert(added, 1);
  EXPECT_EQ(payees(*account), "abc") << "nothing before the commit";

  commit(*copy);
  EXPECT_EQ(payees(*account), "Anc");
  EXPECT_EQ(added->originalObject(), store->objectWithID(added->ID()));
  EXPECT_EQ(store->deletedIDs().size(), 1u);
  added->setPayee("N");
  added->receipt()->setScan(qw::Data::fromText("scan"));
  commit(*copy);
  EXPECT_EQ(payees(*account), "ANc") << "a second commit finds what the first one made";
  ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  EXPECT_EQ(ask("SELECT count(*), max(scan) FROM Receipt"), "2|scan");
  EXPECT_EQ(ask("SELECT count(*) FROM Entry JOIN Receipt ON Entry.receipt = Receipt.ID"), "2");
  store->undoManager()->undo();
  store->undoManager()->undo();
  EXPECT_EQ(payees(*account), "abc");
}

TEST_F(Copies, ACopyCannotBeSaved) {
  auto copy = copyStore();
  copy->ledger().setTitle("x");
  EXPECT_FALSE(copy->save(&error));
  EXPECT_EQ(error.code, 4);
  EXPECT_EQ(error.localizedDescription, "no connection");
  EXPECT_FALSE(copy->executeQuery(copy->prepareQuery("SELECT 1", &error)));
  EXPECT_EQ(error.code, 2);
}

TEST_F(Copies, AnOperationWorksBehindAndFinishesInFront) {
  const auto main = std::this_thread::get_id();
  std::string seen;
  auto operation = store->addOperationWithBlock([&](QWDatabaseOperation& self, QWDatabaseManager& copy) {
    seen += std::this_thread::get_id() == main ? "main " : "behind ";
    auto& ledger = static_cast<LedgerManager&>(copy).ledger();
    for (Entry& entry : ledger.accounts()[0].entries()) entry.setPayee(entry.payee() + "!");
    self.finalizeWithBlock([&] {
      seen += std::this_thread::get_id() == main ? "main" : "behind";
      commit(copy);
    });
  });
  EXPECT_TRUE(operation->isAsynchronous());
  operation->waitUntilFinished();
  EXPECT_TRUE(operation->isFinished() && operation->hasBeenFinalized());
  EXPECT_EQ(seen, "behind main");
  EXPECT_EQ(payees(*account), "a!b!c!");

  bool ran = false;
  auto cancelled = store->addOperationWithBlock([&](QWDatabaseOperation& self, QWDatabaseManager&) {
    self.cancel();
    self.finalizeWithBlock([&] { ran = true; });
  });
  cancelled->waitUntilFinished();
  EXPECT_FALSE(ran);
  auto simple = store->addOperationWithBlock([&](auto&, auto&) { ran = true; });
  simple->waitUntilFinished();
  EXPECT_TRUE(ran && !simple->hasBeenFinalized());
}

TEST_F(Copies, DuplicatesAreNewObjectsWithEverythingBelow) {
  auto tag = store->create<Tag>();
  store->ledger().tags().add(tag);
  account->entries()[1].setTag(tag.get());
  account->entries()[1].setAmount(*qw::Decimal::fromText("12.50"));
  account->entries()[1].setDetails(qw::Dictionary{{"k", 1}});
  auto duplicate = std::dynamic_pointer_cast<Account>(account->duplicate());
  ASSERT_TRUE(duplicate);
  EXPECT_FALSE(duplicate->ID() == account->ID());
  ASSERT_EQ(duplicate->entries().size(), 3u);
  Entry& entry = duplicate->entries()[1];
  EXPECT_FALSE(entry.ID() == account->entries()[1].ID());
  EXPECT_EQ(entry.account(), duplicate.get());
  EXPECT_EQ(entry.title(), "b 12.5");
  EXPECT_EQ(entry.tag(), tag.get());
  EXPECT_EQ(entry.valueForKeyPath("details.k"), qw::Value(1));
  EXPECT_TRUE(duplicate->entries()[0].receipt());
  EXPECT_NE(duplicate->entries()[0].receipt(), account->entries()[0].receipt());
  store->ledger().accounts().add(duplicate);
  ASSERT_TRUE(reopen(store));
  EXPECT_EQ(ask("SELECT (SELECT count(*) FROM Entry) || ' ' || (SELECT count(*) FROM Receipt)"), "6 2");

  qw::Data archive = *store->archivedDataWithRootObject(store->objectWithID(account->ID()));
  EXPECT_FALSE(store->unarchiveObjectWithData(qw::Data::fromText("no archive"), &error));
  EXPECT_TRUE(error);
  const std::string half(archive.text().substr(0, archive.size() / 2));
  EXPECT_FALSE(store->unarchiveObjectWithData(qw::Data::fromText(half)));
}

TEST_F(Copies, RequestsWaitForTheirObject) {
  QWRequestsMap map;
  std::string calls;
  const auto request = [&](const std::string& name) {
    return [&calls, name](const std::shared_ptr<QWDatabaseObject>& object) {
      calls += name + (object ? "+" : "-");
    };
  };
  map.requestObjectForKey("x", request("1"));
  map.requestObjectForKey("x", request("2"));
  map.requestObjectForKey("y", request("3"));
  map.requestObjectForKey("", request("4"));
  map.requestObjectForKey("z", nullptr);
  EXPECT_EQ(calls, "4-");
  QWRequestsMap copy(&map);
  map.setObjectForKey(account, "x");
  EXPECT_EQ(calls, "4-1+2+");
  map.requestObjectForKey("x", request("5"));
  map.removeObjectForKey("x");
  map.requestObjectForKey("x", request("6"));
  EXPECT_EQ(calls, "4-1+2+5+");
  map.removeAllObjects();
  EXPECT_TRUE(map.hasRequestsForKey("y") && map.hasRequestsForKey("x"));
  map.removeAllRequests();
  EXPECT_EQ(calls.size(), std::string("4-1+2+5+3-6-").size());
  EXPECT_FALSE(map.hasRequestsForKey("y"));
  EXPECT_TRUE(copy.hasRequestsForKey("x")) << "a copy has requests of its own";
  // Many keys come, go and come again.
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 1000; ++i) map.setObjectForKey(account, std::to_string(i));
    EXPECT_EQ(map.count(), 1000u);
    for (int i = 0; i < 1000; i += 2) map.removeObjectForKey(std::to_string(i));
    EXPECT_EQ(map.count(), 500u);
    EXPECT_EQ(map.objectForKey("500"), nullptr);
    EXPECT_EQ(map.objectForKey("501"), account);
  }
  EXPECT_EQ(map.allKeys().size(), 500u);
}

TEST_F(Copies, ObjectsWhoseParentStaysAwayAreDeleted) {
  Entry& orphan = account->entries()[0];
  Entry& moved = account->entries()[1];
  auto other = addAccount(*store, "B");
  store->requestParentPresenceForObject(orphan, "account");
  store->requestParentPresenceForObject(moved, "account");
  ASSERT_TRUE(moved.setValueForKey(other, "account"));
  store->removeAllObjectRequests();
  EXPECT_TRUE(orphan.isDeleted());
  EXPECT_FALSE(moved.isDeleted());
}

namespace {
class SteppedManager : public LedgerManager {
 public:
  int numberOfSynchronizationSteps() const override { return 3; }
  std::int64_t maximumSynchronizationPriorityForStep(int step) const override {
    return step == 1 ? 2 : step == 2 ? 4 : -1;
  }
};
}  // namespace

TEST_F(Copies, StepsTakeTheirBandOfPriorities) {
  ASSERT_EQ(store->synchronizingObjectIDsForStep(1).size(), 6u) << "without bands everything that lives";
  account->entries()[2].deleteObject();
  EXPECT_EQ(store->synchronizingObjectIDsForStep(1).size(), 5u);
  ASSERT_TRUE(store->save());
  auto stepped = QWDatabaseManager::open<SteppedManager>(path(), {}, &error);
  ASSERT_TRUE(stepped) << error.localizedDescription;
  const auto classes = [&](int step) {
    std::string text;
    for (const auto& id : stepped->synchronizingObjectIDsForStep(step))
      text += std::string(stepped->objectWithID(id)->objectClass().name()) + " ";
    return text;
  };
  EXPECT_EQ(classes(1), "Ledger ");
  EXPECT_EQ(classes(2), "Account ");
  EXPECT_EQ(classes(3), "Receipt Entry Entry ") << "a priority of -1 has no bound above it";

  auto other = copyStore();
  const auto theirs = other->filtersBarData("Main");
  stepped->prepareSynchronization(2, *other);
  EXPECT_TRUE(stepped->filtersBarDatas().empty());
  stepped->prepareSynchronization(3, *other);
  EXPECT_EQ(stepped->filtersBarData("Main")->ID(), theirs->ID());
}
