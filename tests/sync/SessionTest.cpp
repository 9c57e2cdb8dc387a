#include <gtest/gtest.h>

#include "platform/base/Log.h"
#include "sync/TwoStores.h"

class Sessions : public TwoStores {};

TEST_F(Sessions, TheLaterEditIsProposedAndEitherChoiceCanBeMade) {
  entry(*store, 0).setPayee("mine");
  entry(*store, 1).setPayee("older");
  later();
  editOther([&](LedgerManager& other) {
    entry(other, 1).setPayee("newer");
    entry(other, 1).setAmount(7);
    entry(other, 2).setPayee("same");
    entry(other, 2).setLastModificationDate(std::nullopt);
  });
  entry(*store, 2).setPayee("dated");
  auto session = compare();
  EXPECT_EQ(session->progress(), 10u);
  EXPECT_EQ(session->maxProgress(), 10u);
  ASSERT_EQ(session->changes().size(), 3u);
  const auto of = [&](std::size_t i) { return session->changes()[i]->changes[0]; };
  EXPECT_FALSE(of(0)->keepOther) << "edited here only";
  EXPECT_TRUE(of(1)->keepOther) << "edited there later";
  EXPECT_FALSE(of(2)->keepOther) << "there it has no date";
  EXPECT_EQ(session->changes()[1]->changes.size(), 2u);
  session->changes()[1]->changes[1]->keepOther = false;  // the review
  session->applyChanges();
  EXPECT_EQ(payees(*store), "A:minenewerdated ");
  EXPECT_EQ(entry(*store, 1).amount(), 0);
  auto& other = static_cast<LedgerManager&>(*session->otherDatabaseManager());
  EXPECT_EQ(payees(other), "A:minenewerdated ") << "either side has what was chosen";
}

TEST_F(Sessions, EqualAndMissingDates) {
  editOther([&](LedgerManager& other) {
    entry(other, 0).setPayee("x");
    entry(other, 1).setPayee("y");
    entry(other, 1).setLastModificationDate(std::nullopt);
  });
  entry(*store, 0).setPayee("same second");
  store->performBlockWithoutModifyingLastModificationDates([&] { entry(*store, 1).setPayee("no date"); });
  const auto changes = compare()->changes();
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_FALSE(changes[0]->changes[0]->keepOther);
  EXPECT_TRUE(changes[1]->changes[0]->keepOther) << "no date here, whatever there";
}

TEST_F(Sessions, WhatIsOnOneSideOnlyIsCreatedOrDeleted) {
  addEntry(account(*store), "mine");
  entry(*store, 0).deleteObject();
  editOther([&](LedgerManager& other) {
    addEntry(account(other), "x");
    addEntry(account(other), "y");
    entry(other, 1).deleteObject();
  });
  const auto session = compare();
  std::map<std::string, int> found;
  for (const auto& group : session->changes()) {
    ASSERT_EQ(group->changes.size(), 1u);
    const QWSynchronizationChange& change = *group->changes[0];
    EXPECT_EQ(change.title, "");
    ++found[change.value() + (change.keepOther ? " <- " : " -> ") + change.otherValue()];
  }
  EXPECT_EQ(found, (std::map<std::string, int>{{"Keep <- Deleted", 1},
                                               {"Created -> Do not create", 1},
                                               {"Deleted -> Keep", 1},
                                               {"Do not create <- Created", 2}}));
  session->applyChanges();
  EXPECT_EQ(payees(*store), "A:cxymine ") << "those from there behind the sibling they stand behind there";
  EXPECT_TRUE(store->undoManager()->canUndo());
  EXPECT_EQ(store->undoManager()->undoActionName(), "Synchronization");

  // The other way for each of them.
  store->undoManager()->undo();
  EXPECT_EQ(payees(*store), "A:bcmine ");
  const auto again = compare();
  for (const auto& group : again->changes()) group->changes[0]->keepOther ^= true;
  again->applyChanges();
  EXPECT_EQ(payees(*store), "A:abc ");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(store->deletedIDs().size(), 3u) << "the two that were not taken, and the one not created";
}

TEST_F(Sessions, AnUndoneSynchronizationIsProposedAgain) {
  editOther([&](LedgerManager& other) {
    entry(other, 0).setPayee("x");
    entry(other, 2).deleteObject();
    addEntry(account(other), "y");
    addAccount(other, "B");
  });
  const std::string before = proposals(), content = payees(*store);
  auto session = compare();
  later();
  session->applyChanges();
  EXPECT_EQ(payees(*store), "A:xby B: ");
  ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  EXPECT_EQ(proposals(), "");
  store->undoManager()->undo();
  EXPECT_FALSE(store->undoManager()->canUndo()) << "one step";
  EXPECT_EQ(payees(*store), content);
  EXPECT_EQ(proposals(), before);
  session = nullptr;
  ASSERT_TRUE(reopen(store));
  EXPECT_EQ(proposals(), before);
  EXPECT_EQ(payees(*store), content);
}

TEST_F(Sessions, OwnedObjectsComeAndGoWithTheirOwners) {
  entry(*store, 0).setReceipt(store->create<Receipt>());
  editOther([&](LedgerManager& other) {
    later();
    const auto receipt = other.create<Receipt>();
    receipt->setScan(qw::Data::fromText("scan"));
    entry(other, 1).setReceipt(receipt);
  });
  const auto session = compare();
  EXPECT_EQ(session->changes().size(), 2u) << "of the entries alone: " << shown(session->changes());
  session->applyChanges();
  ASSERT_TRUE(reopen(store));
  EXPECT_TRUE(entry(*store, 0).receipt());
  EXPECT_EQ(entry(*store, 1).receipt()->scan().text(), "scan");
  EXPECT_EQ(ask("SELECT count(*) FROM Receipt"), "2");
}

TEST_F(Sessions, WhatTheOtherSideKeepsDoesNotGoWithADeletedParent) {
  auto second = addAccount(*store, "B");
  ASSERT_TRUE(store->save());
  Files::copy(path(), otherPath());
  // There B is deleted; here an entry was moved into it, and a new one made in it.
  editOther([&](LedgerManager& other) { other.ledger().accounts()[1].deleteObject(); });
  later();
  second->entries().add(entry(*store, 1).sharedAs<Entry>());
  addEntry(*second, "new");
  compare()->applyChanges();
  EXPECT_EQ(payees(*store), "A:abc ");
  store->undoManager()->undo();
  EXPECT_EQ(payees(*store), "A:ac B:bnew ");

  // Nor with a grandparent: c, two levels below what is deleted there, stands beside it there.
  const auto add = [&](qw::Children<Tag>& tags, const char* name) {
    auto tag = store->create<Tag>();
    tag->setName(name);
    tags.add(tag);
    return tag;
  };
  const auto c = add(add(add(store->ledger().tags(), "a")->tags(), "b")->tags(), "c");
  ASSERT_TRUE(store->save());
  Files::copy(path(), otherPath());
  editOther([&](LedgerManager& other) {
    other.ledger().tags().add(other.objectWithID(c->ID())->sharedAs<Tag>());
    other.ledger().tags()[0].deleteObject();
  });
  const auto session = compare();
  for (const auto& group : session->changes())
    for (const auto& change : group->changes) change->keepOther = group->title == "a";
  session->applyChanges();
  EXPECT_FALSE(c->isDeleted());
  EXPECT_EQ(store->ledger().tags().indexOf(*c), 0u);
}

TEST_F(Sessions, StepsBringParentsBeforeTheirChildren) {
  editOther([&](LedgerManager& other) { addEntry(*addAccount(other, "B"), "x"); });
  store.reset();
  auto stepped = QWDatabaseManager::open<SteppedManager>(path(), &error);
  ASSERT_TRUE(stepped);
  auto session = compare(otherPath(), *stepped);
  EXPECT_EQ(session->numberOfSteps(), 2);
  ASSERT_EQ(session->changes().size(), 1u) << shown(session->changes());
  session->applyChanges();
  EXPECT_EQ(payees(*stepped), "A:abc B: ");
  session->setCurrentStep(2);
  session->prepareSynchronization();
  session->computeChanges();
  ASSERT_EQ(session->changes().size(), 1u);
  session->applyChanges();
  EXPECT_EQ(payees(*stepped), "A:abc B:x ");
  stepped->undoManager()->undo();
  EXPECT_EQ(payees(*stepped), "A:abc ") << "both steps are one";
  stepped->undoManager()->redo();
  EXPECT_EQ(payees(*stepped), "A:abc B:x ");
  // With an edit in between they stay apart, and taking back leaves the edit alone.
  stepped->undoManager()->undo();
  session = compare(otherPath(), *stepped);
  session->applyChanges();
  step(*stepped, [&] { entry(*stepped, 0).setPayee("edit"); });
  session->takeBack();
  EXPECT_EQ(payees(*stepped), "A:editbc B: ");
}

TEST_F(Sessions, ZipArchivesAreOpenedAndTheOtherFileIsOnlyRead) {
  editOther([](LedgerManager& other) { entry(other, 0).setPayee("x"); });
  const std::string before = dump(otherPath());
  const auto zip = context_.directory() / "other.ZIP";
  const Files::Path files[] = {otherPath(), Files::write(context_.directory() / "second", "no store")};
  ASSERT_TRUE(qw::ZipArchive::zipFiles(files, zip));
  for (const auto& other : {zip, otherPath()}) {
    auto session = compare(other, *store);
    EXPECT_EQ(session->changes().size(), 1u);
    const auto directory = session->workingDirectory();
    EXPECT_TRUE(std::filesystem::exists(directory));
    EXPECT_EQ(directory.parent_path(), Session::tempDirectory());
    session->changes()[0]->changes[0]->keepOther = false;
    session->applyChanges();
    EXPECT_TRUE(session->otherDatabaseManager()->save());
    session.reset();
    EXPECT_FALSE(std::filesystem::exists(directory));
  }
  EXPECT_EQ(dump(otherPath()), before);
  // A transaction that another program has open does not show, and does not keep it from being read.
  SQLite writer(otherPath());
  writer.execute("BEGIN IMMEDIATE; DELETE FROM Entry");
  EXPECT_EQ(compare()->changes().size(), 1u);
}

TEST_F(Sessions, OldScratchDirectoriesAreRemoved) {
  const auto directory = Session::tempDirectory();
  const auto make = [&](const char* name, int hours) {
    std::filesystem::create_directories(directory / name / "inside");
    std::filesystem::last_write_time(
        directory / name, std::filesystem::file_time_type::clock::now() - std::chrono::hours(hours));
  };
  make("old", 25);
  make("young", 23);
  make(".hidden", 25);
  context_.change([](auto&) {});
  Session::create(store, otherPath());
  EXPECT_FALSE(std::filesystem::exists(directory / "old"));
  EXPECT_TRUE(std::filesystem::exists(directory / "young"));
  EXPECT_TRUE(std::filesystem::exists(directory / ".hidden"));
}

TEST_F(Sessions, CancellingKeepsWhatWasFound) {
  editOther([](LedgerManager& other) { entry(other, 0).setPayee("x"); });
  auto session = Session::create(store, otherPath());
  session->setCurrentStep(1);
  ASSERT_TRUE(session->createOtherDatabaseManagerAndReturnError(&error));
  session->prepareSynchronization();
  session->cancel();
  session->computeChanges();
  EXPECT_TRUE(session->changes().empty());
  EXPECT_EQ(session->progress(), 0u);
}

TEST_F(Sessions, MyriadsOfNewSiblingsFindTheirPlaces) {
  constexpr std::size_t kCount = 10'000;
  editOther([&](LedgerManager& other) {
    auto& entries = account(other).entries();
    for (std::size_t i = 0; i < kCount; ++i) {
      const auto entry = other.create<Entry>();
      entry->setPayee("n");
      entries.insert(entry, i % 2 ? 0 : entries.size() - 1);  // made in another order than they stand
    }
  });
  std::vector<qw::ObjectID> wanted;
  editOther([&](LedgerManager& other) {
    for (const auto& entry : account(other).entries().objects()) wanted.push_back(entry->ID());
  });
  compare()->applyChanges();
  std::vector<qw::ObjectID> found;
  for (const auto& entry : account(*store).entries().objects()) found.push_back(entry->ID());
  EXPECT_EQ(found, wanted);
}

// What another may hand over ------------------------------------------------------------------------------

class Foreign : public TwoStores {};

TEST_F(Foreign, FilesThatAreNoCopyAreRefusedWithOneClearError) {
  constexpr std::string_view kFiles = "QWFileManagerErrorDomain";
  const auto directory = context_.directory();
  const Files::Path files[] = {Files::write(directory / "text", "no store")};
  ASSERT_TRUE(qw::ZipArchive::zipFiles(files, directory / "text.zip"));
  Files::write(directory / "no.zip", "PK no archive");
  Files::write(directory / "empty.zip", std::string("PK\5\6") + std::string(18, '\0'));
  const auto altered = [&](const char* name, const std::string& sql) {
    Files::copy(otherPath(), directory / name);
    alter(directory / name, sql);
  };
  altered("ID", "UPDATE Ledger SET ID = 'other'");
  altered("record", "UPDATE Entry SET ID = (SELECT ID FROM Ledger)");
  altered("root", "DROP TABLE Ledger");
  const struct {
    const char* name;
    const char* message;
    std::string_view domain = QWDatabaseErrorDomain;
    int code = 1;
  } cases[] = {{"text", "not a database"},
               {"ID", "is not a copy of this document"},
               {"record", "is not a copy of this document"},
               {"root", "is not a copy of this document"},
               {"no.zip", "cannot be used", kFiles, 3},
               {"empty.zip", "Archive is empty", kFiles, 2},
               {"text.zip", "text.zip\nThe file is damaged"}};
  const std::string before = dump(path());
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    auto session = Session::create(store, directory / c.name);
    error = {};
    EXPECT_FALSE(session->createOtherDatabaseManagerAndReturnError(&error));
    EXPECT_THAT(error.localizedDescription, testing::HasSubstr(c.message));
    EXPECT_EQ(error.domain, c.domain);
    EXPECT_EQ(error.code, c.code);
    EXPECT_FALSE(session->otherDatabaseManager());
  }
  error = {};
  for (const std::filesystem::path nothing : {"", "/nowhere/at.all"})
    EXPECT_FALSE(Session::create(store, nothing)->createOtherDatabaseManagerAndReturnError(&error));
  EXPECT_FALSE(error) << "a file that is not there has no text";
  EXPECT_EQ(dump(path()), before);
  EXPECT_TRUE(std::filesystem::is_empty(Session::tempDirectory()));
}

TEST_F(Foreign, OddRowsAreToleratedAndTheStoreStaysWhole) {
  const qw::Log::Capture log;
  editOther([&](LedgerManager& other) {
    auto tag = other.create<Tag>();
    tag->setName("t");
    other.ledger().tags().add(tag);
    auto below = other.create<Tag>();
    below->setName("u");
    tag->tags().add(below);
  });
  compare()->applyChanges();
  ASSERT_TRUE(store->save());
  const char* const cases[] = {
      "UPDATE Entry SET ID = (SELECT min(ID) FROM Entry)",                  // not unique
      "UPDATE Entry SET ID = (SELECT min(ID) FROM Tag) WHERE payee = 'a'",  // of another class
      "UPDATE Entry SET ID = NULL",
      "UPDATE Entry SET ID = ''",
      "UPDATE Tag SET parent = (SELECT max(ID) FROM Tag), ledger = NULL",                    // its own parent
      "UPDATE Tag SET ledger = NULL, parent = (SELECT ID FROM Tag t WHERE t.ID <> Tag.ID)",  // a circle
      "UPDATE Entry SET account = (SELECT ID FROM Ledger)",  // a parent of another class
      "UPDATE Entry SET account = 'nowhere'",
      "UPDATE Entry SET tag = ID, receipt = ID",
      "UPDATE Entry SET receipt = account",
      "UPDATE Entry SET payee = CAST(x'ff00c3' AS TEXT)",
      "UPDATE Entry SET payee = zeroblob(100000)",
      "UPDATE Entry SET lastModificationDate = '99999-99-99 99:99:99', date = '-5000-00-00'",
      "UPDATE Entry SET lastModificationDate = 'soon', amount = '1e999999999', \"index\" = 1e300",
      "UPDATE Entry SET \"index\" = -9223372036854775808",
      "UPDATE Entry SET detailsJSON = '[[[[', warranty = 'x', warrantyUnit = 77",
      "UPDATE Tag SET class = 'Receipt'",
      "UPDATE Tag SET class = 'Tag', icon = x'89504e47', iconScale = -1, name = NULL",
      "INSERT INTO QWDeletedID SELECT ID, '9999-12-31 23:59:59' FROM Entry",
      "DELETE FROM Entry; INSERT INTO QWDeletedID SELECT ID, '2023-11-14 00:00:00' FROM Account",
      "DROP TABLE Entry",
      "DROP TABLE QWDeletedID",
      "ALTER TABLE Entry DROP COLUMN payee",
  };
  const auto foreign = context_.directory() / "foreign.ledger", here = context_.directory() / "here.ledger";
  for (const char* sql : cases) {
    for (const bool all : {false, true}) {
      SCOPED_TRACE(sql);
      Files::copy(path(), foreign);
      Files::copy(path(), here);
      alter(foreign, sql);
      auto mine = QWDatabaseManager::open<LedgerManager>(here, &error);
      ASSERT_TRUE(mine);
      const std::string content = payees(*mine);
      auto session = compare(foreign, *mine);
      ASSERT_TRUE(session);
      for (const auto& group : session->changes())
        for (const auto& change : group->changes) change->keepOther |= all;
      session->applyChanges();
      const std::string applied = payees(*mine);
      mine->undoManager()->undo();
      EXPECT_EQ(payees(*mine), content);
      mine->undoManager()->redo();
      EXPECT_EQ(payees(*mine), applied);
      ASSERT_TRUE(mine->save(&error)) << error.localizedDescription;
      session.reset();
      mine = QWDatabaseManager::open<LedgerManager>(here, &error);
      ASSERT_TRUE(mine);
      EXPECT_EQ(payees(*mine), applied) << "the file holds what was in memory";
    }
  }
}
