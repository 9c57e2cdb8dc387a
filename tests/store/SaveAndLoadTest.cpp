#include <gtest/gtest.h>

#include "platform/loop/NotificationCenter.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "store/Ledger.h"

using SaveAndLoad = LedgerTest;

TEST_F(SaveAndLoad, EveryKindOfPropertyComesBack) {
  auto store = open();
  ASSERT_TRUE(store) << error.localizedDescription;
  EXPECT_EQ(store->ledger().title(), "New");
  auto cash = addAccount(*store, "Cash"), bank = addAccount(*store, "Bank \"1\"; é");
  auto food = store->create<Tag>();
  auto red = store->create<ColoredTag>();
  food->setName("Food");
  red->setName("Red");
  red->setColor(qw::Color{1, 0.5, 0, 1});
  store->ledger().tags().add(food);
  food->tags().add(red);
  auto entry = addEntry(*bank, "Baker", 7);
  addEntry(*bank, "Butcher", 9);
  entry->setAmount(*qw::Decimal::fromText("-1234.5600"));
  entry->setDate(*qw::DateText::readDate("2024-02-29"));
  entry->setWarranty(QWDuration(QWDuration::Unit::kYear, 2));
  entry->setDetails(qw::Dictionary{{"lines", qw::Array{1, "two", true}}});
  entry->setTag(red.get());
  auto receipt = store->create<Receipt>();
  receipt->setScan(qw::Data::fromText(std::string("\0scan", 5)));
  entry->setReceipt(receipt);
  const qw::ObjectID id = entry->ID(), receiptID = receipt->ID();

  ASSERT_TRUE(reopen(store)) << error.localizedDescription;
  EXPECT_EQ(ask("SELECT amount, date, warranty, warrantyUnit, detailsJSON, payee FROM Entry ORDER "
                "BY \"index\" LIMIT 1"),
            "-1234.56|2024-02-29|2|3|{\"lines\":[1,\"two\",true]}|Baker");
  EXPECT_EQ(ask("SELECT class FROM Tag ORDER BY class"), "ColoredTag|Tag");
  EXPECT_EQ(ask("SELECT color FROM Tag WHERE class = 'ColoredTag'"), "1.000000 0.500000 0.000000 1.000000");

  Ledger& ledger = store->ledger();
  ASSERT_EQ(ledger.accounts().size(), 2u);
  EXPECT_EQ(ledger.accounts()[0].name(), "Cash");
  Account& loaded = ledger.accounts()[1];
  EXPECT_EQ(loaded.ledger(), &ledger);
  EXPECT_EQ(loaded.valueForKeyPath("entries.payee"), qw::Value(qw::Array{"Baker", "Butcher"}));
  auto same = std::static_pointer_cast<Entry>(store->objectWithID(id));
  ASSERT_TRUE(same);
  EXPECT_EQ(same->index(), 0);
  EXPECT_EQ(same->amount(), *qw::Decimal::fromText("-1234.56"));
  EXPECT_EQ(same->date(), qw::DateText::readDate("2024-02-29"));
  EXPECT_EQ(same->valueForKeyPath("details.lines"), qw::Value(qw::Array{1, "two", true}));
  EXPECT_EQ(same->valueForKeyPath("tag.parent.name"), qw::Value("Food"));
  EXPECT_EQ(dynamic_cast<ColoredTag&>(*same->tag()).color()->green, 0.5);
  ASSERT_TRUE(same->receipt());
  EXPECT_EQ(same->receipt()->ID(), receiptID);
  EXPECT_EQ(same->receipt()->scan().text(), std::string_view("\0scan", 5));
  EXPECT_EQ(same->modificationsCount(), 0);
  EXPECT_FALSE(store->undoManager()->canUndo());
  EXPECT_EQ(store->didLoad, 0);
  qw::RunLoop::current().drain();
  EXPECT_EQ(store->didLoad, 1);
}

TEST_F(SaveAndLoad, WritesOnlyWhatChangedInTheStatedOrder) {
  auto store = open();
  auto a = addAccount(*store, "A"), b = addAccount(*store, "B"), c = addAccount(*store, "C");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(store->computeChanges().size(), 3u) << "only the store's own rows: metadata, deletions, handlers";
  a->setName("A2");
  c->setName("C2");
  auto d = addAccount(*store, "D");
  b->deleteObject();
  const auto changes = store->computeChanges();
  std::vector<std::string> order;
  for (const auto& change : changes)
    order.push_back(change->sql().substr(0, 6) +
                    (change->object() ? change->object()->valueForKey("name").description() : ""));
  EXPECT_EQ(order, (std::vector<std::string>{"UPDATE", "DELETE", "INSERT", "DELETE", "DELETEB", "UPDATEC2",
                                             "UPDATEA2", "INSERTD"}));
  EXPECT_EQ(b->sqlID(), -1);
  EXPECT_TRUE(b->computeChanges().empty());
  ASSERT_TRUE(store->saveChanges(changes, &error)) << error.localizedDescription;
  EXPECT_GT(d->sqlID(), 0);
  EXPECT_EQ(ask("SELECT name FROM Account ORDER BY \"index\""), "A2|C2|D");
  EXPECT_EQ(ask("SELECT ID FROM QWDeletedID"), b->ID().text());
}

TEST_F(SaveAndLoad, NeighbouringRowsKeepTheirOwnValues) {
  // Equal, different, empty and missing texts in every order, with rows of other classes between them.
  auto store = open();
  auto account = addAccount(*store, "A"), other = addAccount(*store, "B");
  std::string expected;
  for (const char* payee : {"x", "x", "", "y", "a payee that is longer than any short text", "x", "x", ""}) {
    auto entry = addEntry(expected.size() % 3 ? *account : *other, payee,
                          static_cast<std::int64_t>(expected.size() % 2));
    if (expected.size() % 2) entry->setDate(*qw::DateText::readDate("2024-01-31"));
    expected += std::string(expected.empty() ? "" : "|") + payee + "|" + entry->account()->name() + "|" +
                entry->amount().text() + "|" + (entry->date() ? "2024-01-31" : "NULL");
  }
  ASSERT_TRUE(store->save());
  const std::string sql =
      "SELECT payee, name, amount, date FROM Entry JOIN Account ON Account.ID = account ORDER BY Entry.sqlID";
  EXPECT_EQ(ask(sql), expected);
  for (const auto& object : store->objects().allValues())
    if (auto entry = std::dynamic_pointer_cast<Entry>(object)) {
      entry->setDetails(qw::Array{1});
    }
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask(sql), expected);
}

TEST_F(SaveAndLoad, AChangeKeepsTheValuesOfItsMoment) {
  auto store = open();
  auto account = addAccount(*store, "then");
  auto changes = store->computeChanges();
  account->setName("later");
  ASSERT_TRUE(store->saveChanges(changes));
  EXPECT_EQ(ask("SELECT name FROM Account"), "then");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT name FROM Account"), "later");
  // Through a statement of somebody else's, by parameter name.
  auto query = store->prepareQuery("SELECT :name, :index");
  account->prepareBlock()(*query);
  auto rows = store->executeQuery(query);
  ASSERT_TRUE(rows->next());
  EXPECT_EQ(rows->reader().text(0), "later");
}

TEST_F(SaveAndLoad, StampsSavedObjectsOnceTheyAreEdited) {
  qw::Clock::Override clock(qw::Date::fromSeconds(1'700'000'000));
  auto store = open();
  auto account = addAccount(*store, "A");
  EXPECT_FALSE(account->lastModificationDate());
  ASSERT_TRUE(store->save());
  account->setName("B");
  EXPECT_EQ(account->lastModificationDate(), qw::Date::fromSeconds(1'700'000'000));
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT lastModificationDate FROM Account"), "2023-11-14 22:13:20");
  clock.advanceSeconds(60);
  store->performBlockWithoutModifyingLastModificationDates([&] { account->setName("C"); });
  EXPECT_EQ(account->lastModificationDate(), qw::Date::fromSeconds(1'700'000'000));
}

TEST_F(SaveAndLoad, DropsWhatNoParentLeadsTo) {
  auto store = open();
  addEntry(*addAccount(*store, "A"), "kept");
  store->ledger().tags().create();
  ASSERT_TRUE(store->save());
  store.reset();
  alter(
      path(),
      "INSERT INTO Entry (ID, account, payee, tag) VALUES ('lost', 'nobody', 'lost', 'x');"
      "INSERT INTO Entry (ID, account, payee, tag, \"index\") SELECT 'odd id', ID, 'odd', 'no such tag', 2e9 "
      "FROM Account;"
      "INSERT INTO Tag (ID, class, ledger) SELECT 'bad', 'NoSuchClass', ledger FROM Tag");
  store = open();
  ASSERT_TRUE(store) << error.localizedDescription;
  EXPECT_EQ(store->ledger().tags().size(), 1u);
  EXPECT_FALSE(store->objectWithID("lost"));
  auto odd = std::static_pointer_cast<Entry>(store->objectWithID("odd id"));
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->tag(), nullptr);
  EXPECT_EQ(odd->index(), 1) << "the stored order has gaps, what memory shows has none";
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT count(*) FROM Entry WHERE ID = 'lost'"), "1")
      << "nothing is deleted that was not understood";
}

TEST_F(SaveAndLoad, RowsReadAloneBringTheirRelations) {
  auto store = open();
  auto a = addAccount(*store, "A");
  auto entry = addEntry(*a, "x");
  auto receipt = store->create<Receipt>();
  entry->setReceipt(receipt);
  ASSERT_TRUE(store->save());
  auto other =
      QWDatabaseManager::open<QWDatabaseManager>(path(), {.access = QWDatabaseManager::Access::kReadOnly});
  ASSERT_TRUE(other);
  auto rows = other->executeQuery(other->prepareQuery("SELECT * FROM Account"));
  ASSERT_TRUE(rows->next());
  auto account = qw::make<Account>();
  account->initWithRow(*other, *rows);
  ASSERT_EQ(account->entries().size(), 1u);
  EXPECT_EQ(account->entries()[0].payee(), "x");
  EXPECT_EQ(account->entries()[0].receipt()->ID(), receipt->ID());
}

TEST_F(SaveAndLoad, ManyEditsPostOneNotice) {
  auto store = open();
  qw::RunLoop::current().drain();
  int notices = 0;
  auto token = qw::NotificationCenter::defaultCenter().observe(QWDatabaseManagerObjectsDidChangeNotification,
                                                               store.get(), [&](const auto&) { ++notices; });
  auto a = addAccount(*store, "A");
  for (int i = 0; i < 10; ++i) a->setName(std::to_string(i));
  EXPECT_EQ(notices, 0);
  qw::RunLoop::current().drain();
  EXPECT_EQ(notices, 1);
}

TEST_F(SaveAndLoad, AValueThatHasNoColumnFormIsAnErrorAndStays) {
  auto store = open();
  auto a = addAccount(*store, "A");
  auto good = addEntry(*a, "good"), bad = addEntry(*a, "bad");
  good->setDetails(qw::Array{1});
  bad->setDetails(qw::Array{qw::Value(qw::Data::fromText("x"))});
  EXPECT_FALSE(store->save(&error));
  EXPECT_EQ(error.code, 4);
  EXPECT_NE(error.localizedDescription.find("A value has no JSON form"), std::string::npos);
  EXPECT_EQ(bad->sqlID(), 0);
  EXPECT_EQ(ask("SELECT payee, detailsJSON FROM Entry"), "good|[1]") << "the others are written";
  bad->setDetails(qw::Array{2});
  ASSERT_TRUE(store->save());
  bad->setDetails(qw::Array{qw::Value(qw::Data::fromText("x"))});
  EXPECT_FALSE(store->save());
  EXPECT_EQ(ask("SELECT detailsJSON FROM Entry WHERE payee = 'bad'"), "[2]") << "not nulled";
  bad->setDetails({});
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT detailsJSON FROM Entry WHERE payee = 'bad'"), "NULL");
  store->setValueForLocalParameter(qw::Array{3}, "list");
  ASSERT_TRUE(store->save());
  store->setValueForLocalParameter(qw::Data::fromText("x"), "data");
  EXPECT_FALSE(store->save());
  EXPECT_EQ(ask("SELECT localParameters FROM QWMetadata"), "{\"list\":[3]}");
}

TEST_F(SaveAndLoad, AFailingRowKeepsTheOthersFromNothing) {
  auto store = open();
  ASSERT_TRUE(store->executeUpdate(store->prepareQuery("CREATE UNIQUE INDEX once ON Account (name)")));
  auto a = addAccount(*store, "A"), b = addAccount(*store, "B");
  ASSERT_TRUE(store->save());
  auto twin = addAccount(*store, "A"), other = addAccount(*store, "C");
  b->setName("A");
  a->entries().add(store->create<Entry>());
  EXPECT_FALSE(store->save(&error));
  const std::string reason = "\nUNIQUE constraint failed: Account.name";
  EXPECT_NE(error.localizedDescription.find(reason), error.localizedDescription.rfind(reason))
      << "each failure is told";
  EXPECT_EQ(twin->sqlID(), 0);
  EXPECT_GT(other->sqlID(), 0);
  EXPECT_EQ(b->modificationsCount(), 1);
  EXPECT_EQ(ask("SELECT name FROM Account ORDER BY name"), "A|B|C");
  EXPECT_EQ(ask("SELECT count(*) FROM Entry"), "1");
  twin->setName("D");
  b->setName("E");
  ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  EXPECT_EQ(ask("SELECT name FROM Account ORDER BY name"), "A|C|D|E");
}

TEST_F(SaveAndLoad, ARowThatVanishedIsToldAndWrittenAnew) {
  auto store = open();
  auto a = addAccount(*store, "A");
  ASSERT_TRUE(store->save());
  alter(path(), "DELETE FROM Account");
  a->setName("kept");
  EXPECT_FALSE(store->save(&error));
  EXPECT_NE(error.localizedDescription.find("The row is not there any more"), std::string::npos);
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT name FROM Account"), "kept");
}

TEST_F(SaveAndLoad, ATransactionOfTheApplicationIsNotRolledBack) {
  auto store = open();
  ASSERT_TRUE(store->save());
  for (const char* sql : {"CREATE TABLE Own (x)", "BEGIN", "INSERT INTO Own VALUES (1)"})
    ASSERT_TRUE(store->executeUpdate(store->prepareQuery(sql)));
  store->ledger().setTitle("later");
  EXPECT_FALSE(store->save(&error));
  EXPECT_EQ(error.code, 4);
  ASSERT_TRUE(store->executeUpdate(store->prepareQuery("COMMIT")));
  EXPECT_EQ(ask("SELECT x FROM Own"), "1");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT title FROM Ledger"), "later");
}

TEST_F(SaveAndLoad, IDsThatOccurTwiceInAFileAreToldApartForGood) {
  auto store = open();
  auto a = addAccount(*store, "A"), b = addAccount(*store, "B");
  addEntry(*b, "x");
  ASSERT_TRUE(store->save());
  store.reset();
  alter(path(), "UPDATE Account SET ID = (SELECT ID FROM Account WHERE name = 'B')");
  store = open();
  ASSERT_TRUE(store) << error.localizedDescription;
  ASSERT_EQ(store->ledger().accounts().size(), 2u);
  addEntry(store->ledger().accounts()[0], "y");
  addEntry(store->ledger().accounts()[1], "z");
  ASSERT_TRUE(reopen(store));
  std::string found;
  for (Account& account : store->ledger().accounts())
    for (Entry& entry : account.entries()) found += account.name() + entry.payee();
  EXPECT_EQ(found, "AyBxBz");
  EXPECT_EQ(ask("SELECT count(DISTINCT ID) FROM Account"), "2");
}

TEST_F(SaveAndLoad, SavingFromAnObserverOfTheIDLosesNothing) {
  auto store = open();
  auto a = addAccount(*store, "A");
  ASSERT_TRUE(store->save());
  auto token = a->observe("ID", [&](const qw::Change&) { EXPECT_TRUE(store->save()); });
  a->setID("other");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask("SELECT ID FROM Account"), "other");
}

TEST_F(SaveAndLoad, RoundedIconsFollowTheIconThroughUndo) {
  auto store = open();
  store->undoManager()->setGroupsByEvent(false);
  std::shared_ptr<Tag> tag;
  step(*store, [&] {
    tag = store->create<Tag>();
    tag->setIcon(qw::Image::colorIcon({1, 0, 0, 1}, {64, 64}));
  });
  EXPECT_EQ(tag->icon()->size(), (qw::Size{32, 32}));
  const auto red = tag->roundedIcon();
  step(*store, [&] { tag->setIcon(qw::Image::colorIcon({0, 0, 1, 1}, {64, 64})); });
  EXPECT_NE(tag->roundedIcon(), red);
  store->undoManager()->undo();
  EXPECT_EQ(tag->roundedIcon(), red);
}
