#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "platform/base/Log.h"
#include "platform/files/KeyedArchiver.h"
#include "platform/files/UserDefaults.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "platform/system/FileManager.h"
#include "shell/QWPluginsManager.h"
#include "store/Ledger.h"

// Input and situations that are not the program's own: damaged archives, hostile files, files that may not be
// written or went away, and rows without a way from the root.
class Guards : public OneStore {
 protected:
  using Access = QWDatabaseManager::Access;

  static std::string logged(qw::Log::Capture& capture) {
    std::string text;
    for (const auto& message : capture.take()) text += message.text + "\n";
    return text;
  }
};

TEST_F(Guards, ADamagedArchiveLeavesNothing) {
  const auto archive = store->archivedDataWithRootObject(account);
  ASSERT_TRUE(archive);
  std::string damaged(archive->text());
  const auto at = damaged.find("Receipt");
  ASSERT_NE(at, damaged.npos);
  damaged.replace(at, 7, "Rexeipt");  // the last object of the archive is of no class
  const std::string before = dump(path());
  const std::size_t objects = store->objects().count();
  const auto group = store->undoManager()->lastGroup();
  step(*store, [&] { EXPECT_FALSE(store->unarchiveObjectWithData(qw::Data::fromText(damaged), &error)); });
  EXPECT_TRUE(error);
  EXPECT_EQ(store->objects().count(), objects);
  EXPECT_EQ(store->undoManager()->lastGroup(), group) << "nothing to undo";
  ASSERT_TRUE(store->save());
  EXPECT_EQ(dump(path()), before);
  step(*store, [&] {
    auto duplicate = std::dynamic_pointer_cast<Account>(account->duplicate(&error));
    ASSERT_TRUE(duplicate) << error.localizedDescription;
    store->ledger().accounts().add(duplicate);
  });
  EXPECT_EQ(store->objects().count(), objects + 5);
  store->undoManager()->undo();
  EXPECT_EQ(store->ledger().accounts().size(), 1u);
}

TEST_F(Guards, AForeignFileCannotHangTheOpening) {
  store.reset();
  constexpr const char* kEndless = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT ";
  const auto opens = [&](const QWDatabaseManager::OpenOptions& options) {
    error = {};
    return QWDatabaseManager::open<LedgerManager>(path(), options, &error) != nullptr;
  };
  EXPECT_TRUE(opens({.access = Access::kForeign})) << error.localizedDescription;
  int asked = 0;
  alter(path(),
        "INSERT INTO Entry (ID) WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT "
        "20000) SELECT i FROM n");
  EXPECT_FALSE(opens({.shouldCancel = [&] { return ++asked == 2; }}));
  EXPECT_EQ(error.code, 1);
  EXPECT_TRUE(error.localizedDescription.ends_with("Cancelled.")) << error.localizedDescription;
  EXPECT_TRUE(opens({.access = Access::kForeignReadOnly})) << "rows alone are no reason";
  alter(path(), std::string("DROP TABLE Receipt; CREATE VIEW Receipt AS ") + kEndless + "i FROM n");
  EXPECT_FALSE(opens({.access = Access::kForeignReadOnly}));
  EXPECT_EQ(error.code, 1);
  EXPECT_TRUE(error.localizedDescription.ends_with("Receipt is no ordinary table."))
      << error.localizedDescription;
  alter(path(), std::string("DROP VIEW Receipt; CREATE TABLE Receipt (sqlID INTEGER PRIMARY KEY, ID TEXT); "
                            "ALTER TABLE QWDeletedID RENAME TO x; CREATE VIEW \"qwdeletedid\" AS ") +
                    kEndless + "i AS ID, '2999-01-01' AS date FROM n");
  EXPECT_FALSE(opens({.access = Access::kForeign}));
  EXPECT_EQ(error.code, 1);
}

TEST_F(Guards, AFileThatMayOnlyBeReadOpensReadOnly) {
  store.reset();
  using std::filesystem::perms;
  std::filesystem::permissions(path(), perms::owner_read | perms::group_read | perms::others_read);
  std::filesystem::permissions(path().parent_path(), perms::all);
  const bool isRoot = geteuid() == 0;
  if (isRoot) {
    ASSERT_EQ(seteuid(65534), 0);
  }
  store = open();
  if (isRoot) {
    ASSERT_EQ(seteuid(0), 0);
  }
  ASSERT_TRUE(store) << error.localizedDescription;
  EXPECT_TRUE(store->isReadOnly());
  EXPECT_FALSE(store->undoManager());
  EXPECT_EQ(store->ledger().accounts().size(), 1u);
}

TEST_F(Guards, AFileThatWentAwaySaysSo) {
  std::filesystem::rename(path(), context_.directory() / "moved.ledger");
  step(*store, [&] { account->setName("B"); });
  EXPECT_FALSE(store->save(&error));
  EXPECT_NE(error.localizedDescription.find("moved or deleted"), std::string::npos)
      << error.localizedDescription;
  std::filesystem::rename(context_.directory() / "moved.ledger", path());
  EXPECT_TRUE(store->save(&error)) << error.localizedDescription;
}

TEST_F(Guards, SavingWithACopyAlsoOntoTheStoreItself) {
  const auto other = context_.directory() / "copy.ledger";
  account->setName("B");
  EXPECT_TRUE(store->saveChangesAndCopyToURL(store->computeChanges(), other, false, &error));
  EXPECT_EQ(dump(other), dump(path()));
  const auto link = context_.directory() / "link.ledger";
  std::filesystem::create_symlink(path(), link);
  for (const auto& same : {path(), link}) {
    account->setName(account->name() + "+");
    EXPECT_TRUE(store->saveChangesAndCopyToURL(store->computeChanges(), same, false, &error));
    account->setName(account->name() + "+");
    EXPECT_TRUE(store->save(&error)) << error.localizedDescription;
  }
  EXPECT_EQ(ask("SELECT name FROM Account"), "B++++");
}

TEST_F(Guards, AStoreTooLargeForMemoryIsRefusedBeforeItIsSaved) {
  const auto size = std::filesystem::file_size(path());
  account->setName("B");
  std::filesystem::resize_file(path(), qw::FileManager::kMaximumContents + 4096);
  EXPECT_FALSE(store->saveChanges(store->computeChanges(), false, "Book", &error));
  EXPECT_EQ(error.code, 4);
  std::filesystem::resize_file(path(), size);
  EXPECT_EQ(ask("SELECT name FROM Account"), "A");
  EXPECT_TRUE(store->saveChanges(store->computeChanges(), false, "Book", &error))
      << error.localizedDescription;
  EXPECT_EQ(ask("SELECT name FROM Account"), "B") << "what was refused is still unsaved";
}

TEST_F(Guards, NobodyHearsOfAStoreThatDiedOnAnotherThread) {
  int heard = 0;
  const auto observer = qw::NotificationCenter::defaultCenter().observe(
      QWDatabaseManagerObjectsDidChangeNotification, nullptr, [&](const qw::Notification&) { ++heard; });
  auto copy = std::static_pointer_cast<LedgerManager>(store->copy());
  std::atomic<int> stage = 0;
  std::thread worker([&] {
    copy->ledger().setTitle("x");
    stage = 1;
    stage.notify_all();
    stage.wait(1);
    qw::RunLoop::current().drain();
  });
  stage.wait(0);
  copy.reset();
  stage = 2;
  stage.notify_all();
  worker.join();
  EXPECT_EQ(heard, 0);
}

TEST_F(Guards, RowsWithoutAWayFromTheRootAreToldAndCanBeRescued) {
  qw::Log::Capture log;
  std::shared_ptr<Tag> lost;
  step(*store, [&] {
    lost = store->create<Tag>();
    lost->setName("lost");
    auto below = store->create<Tag>();
    below->setName("below");
    lost->tags().add(below);
  });
  const std::string id = lost->ID().text();
  ASSERT_TRUE(store->save());
  EXPECT_NE(logged(log).find("Tag " + id + " is saved with neither parent nor owner"), std::string::npos);
  step(*store, [&] { addEntry(*account, "b")->setReceipt(store->create<Receipt>()); });
  ASSERT_TRUE(reopen(store));
  EXPECT_EQ(logged(log).find("saved with neither"), std::string::npos) << "an owner is a way";
  // Two tags below each other.
  alter(
      path(),
      "INSERT INTO Tag (ID, class, name, parent) VALUES ('t1', 'Tag', '1', 't2'), ('t2', 'Tag', '2', 't1')");
  store.reset();
  store = open();
  ASSERT_EQ(store->unreachableRows().size(), 4u);
  auto rows = store->unreachableRows();
  auto rescued = std::dynamic_pointer_cast<Tag>(store->rescue(rows[0]));
  ASSERT_TRUE(rescued);
  EXPECT_EQ(rescued->name(), "lost");
  ASSERT_EQ(rescued->tags().size(), 1u);
  EXPECT_EQ(store->rescue(rows[1]).get(), &rescued->tags()[0]);
  auto circle = std::dynamic_pointer_cast<Tag>(store->rescue(rows[2]));
  ASSERT_TRUE(circle);
  EXPECT_EQ(store->rescue(rows[3])->ID().text(), "t2");
  store->ledger().tags().add(rescued);
  circle->deleteObject();
  ASSERT_TRUE(reopen(store));
  EXPECT_TRUE(store->unreachableRows().empty());
  ASSERT_EQ(store->ledger().tags().size(), 1u);
  EXPECT_EQ(store->ledger().tags()[0].tags().at(0)->name(), "below");
  EXPECT_EQ(ask("SELECT count(*) FROM Tag"), "2");
}

namespace {

/// Stands in for a document-synchronization handler.
class HandlerType : public QWSynchronizationHandling {
 public:
  static const qw::Class kClass;
};
constinit const qw::Class HandlerType::kClass = qw::define<HandlerType, QWSynchronizationHandling>(
    "QWDocumentSynchronizationHandler", {}, [] { return qw::properties(); });

class Handler : public HandlerType {
 public:
  static const qw::Class kClass;
  std::string identifier() const override { return "h"; }
  bool isActive() const override { return true; }
  void setActive(bool) override {}
  std::optional<qw::Date> lastSynchronizationDate() const override { return date_; }
  void setLastSynchronizationDate(std::optional<qw::Date> date) override { date_ = date; }
  bool shouldProcess() const override { return true; }
  bool handleArchiveURL(const std::filesystem::path&, qw::Error*) override { return true; }
  void deactivate() override {}
  void setDatabaseManager(QWDatabaseManager*) override {}

 private:
  std::optional<qw::Date> date_;
};
constinit const qw::Class Handler::kClass =
    qw::define<Handler, HandlerType>("Handler", {}, [] { return qw::properties(); });

}  // namespace

TEST_F(Guards, ASaveStoresTheDateThatItGivesItsHandlers) {
  store.reset();
  // A plug-in stays for the process: in one of its own.
  const auto run = [&] {
    qw::ClassRegistry::add({&HandlerType::kClass, &Handler::kClass});
    QWPluginsManager::sharedManager().registerPluginClass(Handler::kClass, HandlerType::kClass);
    const qw::Clock::Override now(qw::Date::fromSeconds(1'700'000'000));
    const auto opened = open();
    const auto& handler = opened->synchronizationHandlers().at(0);
    alter(path(), "ALTER TABLE QWMetadata RENAME TO away");
    const bool refused = !opened->saveChanges(opened->computeChanges(), true, "Book", &error);
    alter(path(), "ALTER TABLE away RENAME TO QWMetadata");
    const bool keptDate = !handler->lastSynchronizationDate();
    const bool saved = opened->saveChanges(opened->computeChanges(), true, "Book", &error).has_value();
    const auto stored = ask("SELECT lastSynchronizationDate FROM QWSynchronizationHandler");
    std::_Exit(refused && keptDate && saved && stored == "2023-11-14 22:13:20" ? 0 : 1);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

namespace {
class NamedTag : public Tag {
 public:
  static const qw::Class kClass;
  void setName(std::string name) override { Tag::setName(name.empty() ? "Untitled" : std::move(name)); }
};
constinit const qw::Class NamedTag::kClass =
    qw::define<NamedTag, Tag>("NamedTag", {.synchronizationPriority = 3}, [] { return qw::properties(); });
}  // namespace

TEST_F(Guards, SmallThings) {
  EXPECT_EQ(store->create<NamedTag>()->name(), "Untitled") << "a new object asks its class for a name";

  EXPECT_THROW(store->performBlockWithoutModifyingLastModificationDates([] { throw 1; }), int);
  EXPECT_TRUE(store->shouldModifyLastModificationDates());

  qw::Log::Capture log;
  const auto query = store->prepareQuery("SELECT :value");
  query->setJSONObject(qw::Value(7), "value");
  query->setJSONObject(qw::Value(std::shared_ptr<qw::Object>(account)), "value");
  const auto rows = store->executeQuery(query);
  ASSERT_TRUE(rows && rows->next());
  EXPECT_TRUE(rows->reader().isNull(0)) << "not the value before";

  log.take();
  qw::UserDefaults::standard().set("QWDatabaseManagerSQLLog", true);
  ASSERT_TRUE(store->executeQuery(store->prepareQuery("SELECT 1234")));
  EXPECT_NE(logged(log).find("SELECT 1234"), std::string::npos);
  qw::UserDefaults::standard().set("QWDatabaseManagerSQLLog", false);
  ASSERT_TRUE(store->executeQuery(store->prepareQuery("SELECT 5678")));
  EXPECT_EQ(logged(log).find("SELECT 5678"), std::string::npos);
}
