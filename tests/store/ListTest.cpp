// Lists of any length and trees of any depth.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <tuple>

#include "platform/loop/RunLoop.h"
#include "store/Ledger.h"

class Lists : public LedgerTest {
 protected:
  void SetUp() override {
    store = open();
    store->undoManager()->setGroupsByEvent(false);
    const qw::UndoRegistrationDisabled scope(store->undoManager());
    for (const char* name : {"A", "B"}) addAccount(*store, name);
  }
  Account& account(std::size_t i = 0) const { return store->ledger().accounts()[i]; }
  void fill(std::size_t count) {
    const qw::UndoRegistrationDisabled scope(store->undoManager());
    for (std::size_t i = 0; i < count; ++i) addEntry(account(), "e" + std::to_string(i));
    ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  }
  std::shared_ptr<Entry> entry(const std::string& payee) const {
    auto entry = store->create<Entry>();
    entry->setPayee(payee);
    return entry;
  }
  static std::string payees(Account& account) {
    std::string text;
    for (Entry& entry : account.entries()) text += (text.empty() ? "" : "|") + entry.payee();
    return text;
  }
  std::string payeesInFile(std::size_t i = 0) const {
    return ask("SELECT payee FROM Entry WHERE account = '" + account(i).ID().text() + "' ORDER BY \"index\"");
  }
  std::string sharedNumbers() const {
    return ask("SELECT group_concat(payee) FROM Entry GROUP BY account, \"index\" HAVING count(*) > 1");
  }
  /// Saves, and tells how many rows of entries that wrote.
  std::size_t rowsOfNextSave() {
    const auto changes = store->computeChanges();
    EXPECT_TRUE(store->saveChanges(changes, &error)) << error.localizedDescription;
    EXPECT_EQ(payeesInFile(), payees(account()));
    EXPECT_EQ(sharedNumbers(), "");
    return static_cast<std::size_t>(std::count_if(changes.begin(), changes.end(), [](const auto& change) {
      return change->object() && change->object()->isKindOf(Entry::kClass);
    }));
  }
  /// Updates of rows of entries that fulfil a condition fail from now on.
  void refuseUpdates(const std::string& condition) const {
    const std::string sql = "CREATE TEMP TRIGGER refuse BEFORE UPDATE ON Entry WHEN new." + condition +
                            " BEGIN SELECT RAISE(ABORT, 'refused'); END";
    ASSERT_EQ(sqlite3_exec(store->database(), sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  }
  std::shared_ptr<Tag> tag() const { return store->create<Tag>(); }
  /// Tags below one another, made from the top or from the bottom; answers the first and the last.
  std::pair<std::shared_ptr<Tag>, std::shared_ptr<Tag>> chain(std::size_t levels, bool fromTop) const {
    const qw::UndoRegistrationDisabled scope(store->undoManager());
    const auto first = tag();
    auto last = first;
    for (std::size_t i = 1; i < levels; ++i) {
      const auto next = tag();
      (fromTop ? *last : *next).tags().add(fromTop ? next : last);
      last = next;
    }
    store->ledger().tags().add(fromTop ? first : last);
    return fromTop ? std::pair(first, last) : std::pair(last, first);
  }

  std::shared_ptr<LedgerManager> store;
};

TEST_F(Lists, ASaveWritesTheRowsThatMovedAndNoOthers) {
  fill(1000);
  auto& list = account().entries();
  store->undoManager()->disableUndoRegistration();
  list.insert(entry("first"), 0);
  EXPECT_EQ(rowsOfNextSave(), 1u);
  list.remove(list[0]);
  list.remove(list[0]);
  EXPECT_EQ(rowsOfNextSave(), 2u);
  list.move(list[998], 0);
  list.move(list[500], 3);
  EXPECT_EQ(rowsOfNextSave(), 2u);
  for (int i = 0; i < 100; ++i)
    list.insert(entry("m" + std::to_string(i)), 500 + static_cast<std::size_t>(i));
  EXPECT_EQ(rowsOfNextSave(), 100u);
  std::size_t rows = 0;
  for (int i = 0; i < 200; ++i) {
    list.insert(entry("s" + std::to_string(i)), 300);
    rows += rowsOfNextSave();
  }
  EXPECT_LT(rows, 200u * 20) << "insertions at one place, each saved, clear the place now and then";

  store->undoManager()->enableUndoRegistration();
  auto order = list.toVector();
  std::rotate(order.begin(), order.begin() + 5, order.end());
  step(*store, [&] { list.setObjects(order); });
  const auto kept = list.at(0);
  const auto date = kept->lastModificationDate();
  EXPECT_EQ(rowsOfNextSave(), 5u) << "a rotation moves what it took from the front";
  EXPECT_EQ(kept->lastModificationDate(), date);
  store->undoManager()->undo();
  EXPECT_EQ(rowsOfNextSave(), 5u);
  step(*store, [&] { list.move(list[7], 900); });
  store->undoManager()->undo();
  EXPECT_EQ(rowsOfNextSave(), 0u) << "what came back is as it was";
}

TEST_F(Lists, NumbersThatOthersWroteAreKeptAsLongAsTheyServe) {
  fill(300);
  store.reset();
  alter(path(), "UPDATE Entry SET \"index\" = sqlID - 1");
  store = open();
  account().entries().insert(entry("first"), 0);
  EXPECT_EQ(rowsOfNextSave(), 301u) << "in front of 0 there is no room: once everything gives way";
  account().entries().insert(entry("again"), 0);
  EXPECT_EQ(rowsOfNextSave(), 1u);

  store.reset();
  alter(path(),
        "UPDATE Entry SET \"index\" = 9223372036854775807 - sqlID % 3; "
        "UPDATE Entry SET \"index\" = NULL WHERE sqlID % 7 = 0; "
        "UPDATE Entry SET \"index\" = -sqlID WHERE sqlID % 7 = 1; "
        "UPDATE Entry SET \"index\" = 4611686018427387903 - sqlID % 5 WHERE sqlID % 7 = 2");
  store = open();
  ASSERT_EQ(account().entries().size(), 302u);
  account().entries().add(entry("last"));
  EXPECT_GT(rowsOfNextSave(), 1u);
  const std::string before = payees(account());
  reopen(store);
  EXPECT_EQ(payees(account()), before);
  EXPECT_EQ(rowsOfNextSave(), 0u);
}

TEST_F(Lists, NeighboursThatGiveWayLeaveTheirNumbersToNobody) {
  fill(300);
  std::mt19937 random(7);
  for (int gap = 2; gap < 40; gap += 3) {
    SCOPED_TRACE(gap);
    store.reset();
    alter(path(), "DELETE FROM Entry WHERE payee = 'x'; UPDATE Entry SET \"index\" = sqlID + sqlID / 6 * " +
                      std::to_string(gap));
    store = open();
    refuseUpdates("sqlID % 2");
    for (int i = 0; i < 12; ++i) account().entries().insert(entry("x"), random() % 300);
    EXPECT_FALSE(store->save(&error));
    EXPECT_EQ(sharedNumbers(), "");
  }
}

TEST_F(Lists, ANumberIsTakenUntilItsRowIsWritten) {
  fill(3);
  store->undoManager()->setGroupsByEvent(true);
  auto& list = account().entries();
  list.move(list[2], 0);
  EXPECT_TRUE(store->saveChanges(account().computeChanges(), &error));
  list.add(entry("x"));
  refuseUpdates("sqlID");
  EXPECT_FALSE(store->save(&error));
  EXPECT_EQ(sharedNumbers(), "");

  sqlite3_exec(store->database(), "DROP TRIGGER refuse", nullptr, nullptr, nullptr);
  reopen(store);
  store->undoManager()->setGroupsByEvent(true);
  auto& again = account().entries();
  again.move(again[0], 2);
  const auto changes = store->computeChanges();
  again.move(again[2], 0);
  again.add(entry("y"));
  EXPECT_TRUE(store->saveChanges(changes, &error));
  refuseUpdates("sqlID");
  EXPECT_FALSE(store->save(&error));
  EXPECT_EQ(sharedNumbers(), "");
}

TEST_F(Lists, ReadingAnIndexChangesNothingAndItsObserversHearOnce) {
  fill(200);
  auto& list = account().entries();
  std::string told;
  const auto observation = list[100].observe("index", [&](const qw::Change& change) {
    told += change.oldValue.description() + ">" + change.newValue.description() + " ";
  });
  const auto watched = list.at(100), neighbour = list.at(150);
  step(*store, [&] {
    for (int i = 0; i < 50; ++i) list.remove(list[0]);
    EXPECT_EQ(neighbour->index(), 100);
    EXPECT_EQ(watched->index(), 50);
  });
  EXPECT_EQ(told, "");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(told, "100>50 ");
  store->undoManager()->undo();
  EXPECT_EQ(told, "100>50 50>100 ");
  step(*store, [&] { list.move(*watched, 0); });
  qw::RunLoop::current().drain();
  EXPECT_EQ(told, "100>50 50>100 100>0 ");
}

TEST_F(Lists, ACircleOfParentsIsRefused) {
  store->undoManager()->setGroupsByEvent(true);
  const auto above = tag(), middle = tag(), below = tag(), beside = tag();
  store->ledger().tags().set({above, beside});
  above->tags().add(middle);
  middle->tags().add(below);
  ASSERT_TRUE(store->save());
  EXPECT_FALSE(below->tags().add(above));
  EXPECT_FALSE(above->tags().insert(above, 0));
  EXPECT_FALSE(below->tags().set({beside, above}));
  EXPECT_FALSE(above->setValueForKey(qw::Value(std::shared_ptr<qw::Object>(below)), "parent"));
  EXPECT_FALSE(below->setValueForKey(qw::Array{qw::Value(std::shared_ptr<qw::Object>(above))}, "tags"));
  EXPECT_EQ(store->computeChanges().size(), 3u) << "only the store's own rows";
  EXPECT_EQ(beside->index(), 1);
  EXPECT_TRUE(below->tags().add(beside));
  EXPECT_TRUE(above->tags().add(below));
}

TEST_F(Lists, TakingOutAndPuttingInAgainIsAReorder) {
  fill(4);
  store->undoManager()->setGroupsByEvent(true);
  const auto copy = store->copy();
  auto& there = static_cast<Account&>(*copy->objectWithID(account().ID()));
  there.entries().insert(there.entries().at(3), 0);
  const auto taken = there.entries().at(2);
  there.entries().detach(*taken);
  there.entries().insert(taken, 1);
  EXPECT_EQ(payees(there), "e3|e1|e0|e2");
  copy->commitChangesToOriginalDatabaseManager();
  EXPECT_EQ(payees(account()), "e3|e1|e0|e2");

  ASSERT_TRUE(store->save());
  account().setLastModificationDate(qw::Date::fromSeconds(0));
  account().entries().insert(account().entries().at(0), 3);
  EXPECT_NE(account().lastModificationDate(), qw::Date::fromSeconds(0))
      << "the owner is edited, as by a move";
}

TEST_F(Lists, TreesOfAnyDepthAreCopiedDeletedSavedLoadedAndFreed) {
  const std::size_t levels = isLongRun() ? 1'000'000 : 100'000;
  qw::ObjectID lastID;
  {
    const auto [first, last] = chain(levels, false);
    ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
    EXPECT_FALSE(last->tags().add(first));
    lastID = last->ID();
  }
  reopen(store);
  store->undoManager()->setGroupsByEvent(false);
  const auto first = store->ledger().tags().at(0);
  ASSERT_TRUE(store->objectWithID(lastID));
  {
    const auto copy = store->copy();
    ASSERT_TRUE(copy->objectWithID(lastID));
    ASSERT_TRUE(copy->objectWithID(lastID)->setValueForKey("bottom", "name"));
    step(*store, [&] { copy->commitChangesToOriginalDatabaseManager(); });
  }
  EXPECT_EQ(static_cast<Tag&>(*store->objectWithID(lastID)).name(), "bottom");
  EXPECT_FALSE(first->duplicate(&error));
  EXPECT_NE(error.localizedDescription, "");

  step(*store, [&] { store->ledger().tags().remove(*first); });
  EXPECT_FALSE(store->objectWithID(lastID));
  store->undoManager()->undo();
  EXPECT_TRUE(store->objectWithID(lastID));
  store->undoManager()->redo();
  ASSERT_TRUE(store->save(&error));
  EXPECT_EQ(ask("SELECT count(*) FROM Tag"), "0");
}

TEST_F(Lists, AForeignChainIsTakenOverInAnyOrder) {
  chain(40'000, true);
  ASSERT_TRUE(store->save());
  const auto other =
      std::static_pointer_cast<LedgerManager>(store->openAnother(context_.directory() / "other", {}));
  ASSERT_TRUE(other);
  other->ledger().setID(store->ledger().ID());
  auto objects = store->objects().allValues();
  std::shuffle(objects.begin(), objects.end(), std::mt19937(7));
  for (const auto& object : objects)
    if (object->isKindOf(Tag::kClass)) object->importInDatabaseManager(*other);
  other->removeAllObjectRequests();
  std::size_t depth = 0;
  for (Tag* tag = &other->ledger().tags()[0]; tag; tag = tag->tags().empty() ? nullptr : &tag->tags()[0])
    ++depth;
  EXPECT_EQ(depth, 40'000u);

  // Turned upside down, every object waits until the others have left.
  std::vector<std::shared_ptr<Tag>> tags;
  for (Tag* tag = &other->ledger().tags()[0]; tag; tag = tag->tags().empty() ? nullptr : &tag->tags()[0])
    tags.push_back(tag->sharedAs<Tag>());
  for (std::size_t i = 0; i + 1 < tags.size(); ++i)
    EXPECT_TRUE(other->placeObject(*tags[i], *Tag::kClass.property("parent"), tags[i + 1], nullptr));
  other->removeAllObjectRequests();
  depth = 0;
  for (Tag* tag = tags[0].get(); tag; tag = tag->parent()) ++depth;
  EXPECT_GE(depth, 39'999u);
}

TEST_F(Lists, LongListsAreEditedInBulk) {
  const std::size_t count = isLongRun() ? 400'000 : 100'000;
  fill(count);
  auto& list = account().entries();
  const std::string before = payees(account());
  step(*store, [&] {
    for (std::size_t i = 0; i < count / 4; ++i) list.remove(list[i]);
    for (std::size_t i = 0; i < count / 4; ++i) list.insert(entry("f"), 0);
  });
  const auto half = list.toVector();
  step(*store, [&] {
    list.setObjects({half.rbegin(), half.rbegin() + static_cast<std::ptrdiff_t>(count / 2)});
  });
  ASSERT_TRUE(store->save());
  EXPECT_EQ(payeesInFile(), payees(account()));
  store->undoManager()->undo();
  store->undoManager()->undo();
  EXPECT_EQ(payees(account()), before);
  ASSERT_TRUE(store->save());
  EXPECT_EQ(payeesInFile(), before);
  EXPECT_EQ(sharedNumbers(), "");
}

/// Two lists under random edits against two vectors of names.
class RandomLists : public Lists {
 protected:
  using Model = std::array<std::vector<std::string>, 2>;

  std::size_t upTo(std::size_t bound) { return bound ? random_() % bound : 0; }
  auto& list(std::size_t i) const { return account(i).entries(); }

  void edit(Model& model) {
    const std::size_t from = upTo(2), to = upTo(2);
    auto& names = model[from];
    const std::size_t at = upTo(names.size() + 1);
    const auto place = [&](std::size_t i) { return names.begin() + static_cast<std::ptrdiff_t>(i); };
    switch (upTo(7)) {
      case 0:
      case 1:
        for (std::size_t n = upTo(4) ? 1 : upTo(200); n-- > 0; ++made_) {
          names.insert(place(at), "n" + std::to_string(made_));
          list(from).insert(entry(*place(at)), at);
        }
        break;
      case 2:
        for (std::size_t n = upTo(4) ? 1 : upTo(200); n-- > 0 && at < names.size();) {
          names.erase(place(at));
          list(from).remove(list(from)[at]);
        }
        break;
      case 3:
      case 4: {
        if (at == names.size()) break;
        const std::string name = names[at];
        const auto object = list(from).at(at);
        names.erase(place(at));
        const std::size_t target = upTo(model[to].size() + 1);
        model[to].insert(model[to].begin() + static_cast<std::ptrdiff_t>(target), name);
        list(to).insert(object, target);
        break;
      }
      case 5: {
        if (at == names.size()) break;
        const std::size_t target = upTo(names.size());
        list(from).move(list(from)[at], target);
        const std::string name = names[at];
        names.erase(place(at));
        names.insert(place(target), name);
        break;
      }
      default: {
        auto objects = list(from).toVector();
        if (upTo(2))
          std::rotate(objects.begin(), objects.begin() + static_cast<std::ptrdiff_t>(at), objects.end());
        else
          std::shuffle(objects.begin(), objects.end(), random_);
        objects.resize(objects.size() - upTo(objects.size() / 8 + 1));
        objects.insert(objects.begin() + static_cast<std::ptrdiff_t>(upTo(objects.size() + 1)),
                       entry("s" + std::to_string(made_++)));
        list(from).setObjects(objects);
        names.clear();
        for (const auto& object : objects) names.push_back(static_cast<Entry&>(*object).payee());
      }
    }
  }
  /// What was computed some edits ago; whether that succeeds whole.
  bool runComputed() { return store->saveChanges(std::exchange(computed_, {}), &error); }
  /// Some rows are refused; the others are written.
  void saveInPart() {
    const std::string some = std::to_string(upTo(5));
    for (const char* verb : {"INSERT", "UPDATE", "DELETE"}) {
      const std::string row = *verb == 'D' ? "old" : "new";
      const std::string sql = std::string("CREATE TEMP TRIGGER refuse") + verb + " BEFORE " + verb +
                              " ON Entry WHEN abs(random()) % 5 = " + some +
                              " BEGIN SELECT RAISE(ABORT, 'refused'); END";
      ASSERT_EQ(sqlite3_exec(store->database(), sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    }
    runComputed();
    ASSERT_EQ(sharedNumbers(), "");
    std::ignore = store->save(&error);
    sqlite3_exec(store->database(),
                 "DROP TRIGGER refuseINSERT; DROP TRIGGER refuseUPDATE; DROP TRIGGER refuseDELETE", nullptr,
                 nullptr, nullptr);
  }
  void compare(const Model& model) {
    for (std::size_t i = 0; i < 2; ++i) {
      ASSERT_EQ(list(i).size(), model[i].size());
      std::size_t index = 0;
      for (Entry& entry : list(i)) {
        ASSERT_EQ(entry.payee(), model[i][index]);
        ASSERT_EQ(entry.index(), static_cast<std::int64_t>(index));
        ASSERT_EQ(&list(i)[index], &entry);
        ++index;
      }
    }
  }
  std::string joined(const std::vector<std::string>& names) const {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : "|") + name;
    return text;
  }

  void walk(std::uint32_t seed, int steps);

  std::mt19937 random_;
  std::size_t made_ = 0;
  QWDatabaseManager::Changes computed_;
};

void RandomLists::walk(std::uint32_t seed, int steps) {
  random_.seed(seed);
  computed_.clear();
  store.reset();
  std::filesystem::remove(path());
  Lists::SetUp();
  fill(300);
  if (seed % 2 == 0) {  // insertions find no room, so that neighbours have to give way
    store.reset();
    alter(path(), "UPDATE Entry SET \"index\" = sqlID");
    store = open();
    store->undoManager()->setGroupsByEvent(false);
  }
  Model start;
  for (Entry& entry : list(0)) start[0].push_back(entry.payee());
  std::vector<Model> history{start};
  std::size_t at = 0;
  for (int i = 0; i < steps; ++i) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i));
    qw::UndoManager& undo = *store->undoManager();
    switch (upTo(15)) {
      case 0:
      case 1:
        if (at > 0) --at;
        undo.undo();
        break;
      case 2:
        if (at + 1 < history.size()) ++at;
        undo.redo();
        break;
      case 3:
      case 4:
        ASSERT_TRUE(runComputed()) << error.localizedDescription;
        ASSERT_EQ(sharedNumbers(), "") << "after a save of what was computed before";
        ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
        for (std::size_t k = 0; k < 2; ++k) ASSERT_EQ(payeesInFile(k), joined(history[at][k]));
        ASSERT_EQ(sharedNumbers(), "");
        break;
      case 5:
        saveInPart();
        ASSERT_EQ(sharedNumbers(), "") << "after a save in part";
        break;
      case 6:
        if (computed_.empty()) computed_ = store->computeChanges();
        break;
      case 7:
        if (upTo(4)) break;
        ASSERT_TRUE(runComputed()) << error.localizedDescription;
        ASSERT_TRUE(reopen(store)) << error.localizedDescription;
        store->undoManager()->setGroupsByEvent(false);
        history = {history[at]};
        at = 0;
        break;
      default: {
        Model next = history[at];
        step(*store, [&] { edit(next); });
        if (next == history[at]) break;
        history.resize(at + 1);
        history.push_back(std::move(next));
        ++at;
      }
    }
    compare(history[at]);
    if (HasFatalFailure()) return;
  }
}

TEST_F(RandomLists, AgreeWithAVectorAndTheFile) {
  const std::uint32_t walks = isLongRun() ? 12 : 2;
  const int steps = isLongRun() ? 4000 : 250;
  std::uint32_t seed = 1;
  for (; seed <= walks && !HasFailure(); ++seed) walk(seed, steps);
  if (isLongRun()) fmt::print("{} walks of {} steps\n", seed - 1, steps);
}
