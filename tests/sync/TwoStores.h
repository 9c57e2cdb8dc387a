#pragma once

#include "platform/files/ZipArchive.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "store/Ledger.h"
#include "support/Files.h"
#include "support/SQLite.h"
#include "support/ScriptedPresenter.h"
#include "sync/QWDatabaseSynchronizationSessionController.h"

/// Synchronizes accounts first, then their entries.
class SteppedManager : public LedgerManager {
 public:
  int numberOfSynchronizationSteps() const override { return 2; }
  std::int64_t maximumSynchronizationPriorityForStep(int step) const override { return step == 1 ? 4 : -1; }
};

/// A store with an account "A" of entries a, b, c, and a copy of its file that goes its own way. The clock
/// stands; `later` moves it on by an hour.
class TwoStores : public LedgerTest {
 protected:
  using Controller = QWDatabaseSynchronizationSessionController;
  using Session = QWDatabaseSynchronizationSession;

  void SetUp() override {
    store = open();
    auto account = addAccount(*store, "A");
    for (const char* name : {"a", "b", "c"}) addEntry(*account, name);
    ASSERT_TRUE(store->save());
    qw::RunLoop::main().drain();
    store->undoManager()->removeAllActions();
    std::filesystem::copy_file(path(), otherPath());
    later();
  }
  std::filesystem::path otherPath() const { return context_.directory() / "other.ledger"; }
  void later() { clock_.set(qw::Clock::now().addingSeconds(3600)); }
  /// Edits the other file as its own program would.
  void editOther(const std::function<void(LedgerManager&)>& edit) {
    auto other = QWDatabaseManager::open<LedgerManager>(otherPath(), &error);
    ASSERT_TRUE(other) << error.localizedDescription;
    edit(*other);
    ASSERT_TRUE(other->save(&error)) << error.localizedDescription;
  }
  static Account& account(LedgerManager& manager, std::size_t i = 0) {
    return manager.ledger().accounts()[i];
  }
  static Entry& entry(LedgerManager& manager, std::size_t i) { return account(manager).entries()[i]; }
  static std::string payees(LedgerManager& manager) {
    std::string text;
    for (Account& account : manager.ledger().accounts()) {
      text += account.name() + ":";
      for (Entry& entry : account.entries()) text += entry.payee();
      text += " ";
    }
    return text;
  }

  /// The groups of a session's only step: title, and for each change title, both values, the choice.
  static std::string shown(const Session::Groups& groups) {
    std::string text;
    for (const auto& group : groups) {
      text += group->title + " {";
      for (const auto& change : group->changes)
        text += change->title + ": " + change->value() + (change->keepOther ? " <- " : " -> ") +
                change->otherValue() + ";";
      text += "} ";
    }
    return text;
  }
  /// One step, on this thread.
  std::shared_ptr<Session> compare(const std::filesystem::path& other, LedgerManager& manager) {
    auto session = Session::create(manager.sharedAs<QWDatabaseManager>(), other);
    session->setCurrentStep(1);
    EXPECT_TRUE(session->createOtherDatabaseManagerAndReturnError(&error)) << error.localizedDescription;
    if (!session->otherDatabaseManager()) return nullptr;
    session->prepareSynchronization();
    session->computeChanges();
    return session;
  }
  std::shared_ptr<Session> compare() { return compare(otherPath(), *store); }
  std::string proposals() { return shown(compare()->changes()); }

  static bool runUntil(const std::function<bool()>& condition) {
    return qw::RunLoop::main().runUntil(condition, std::chrono::seconds(20));
  }

  qw::Clock::Override clock_{qw::Date::fromSeconds(1'700'000'000)};
  std::shared_ptr<LedgerManager> store;
};
