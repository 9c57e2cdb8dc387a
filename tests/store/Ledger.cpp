#include "store/Ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "platform/object/UndoGroup.h"
#include "support/SQLite.h"

constinit const qw::Class Ledger::kClass =
    qw::define<Ledger, QWDatabaseObject>("Ledger", {.table = "Ledger", .synchronizationPriority = 1}, [] {
      return qw::properties(qw::attribute<&Ledger::title_, &Ledger::setTitle>("title"),
                            qw::property<&Ledger::currency_>("currency"),
                            qw::children<&Ledger::accounts_>("accounts", "ledger"),
                            qw::children<&Ledger::tags_>("tags", "ledger"));
    });

constinit const qw::Class Account::kClass =
    qw::define<Account, QWDatabaseObject>("Account", {.table = "Account", .synchronizationPriority = 2}, [] {
      return qw::properties(qw::parent<&Account::ledger_>("ledger", "accounts"),
                            qw::attribute<&Account::name_>("name"),
                            qw::children<&Account::entries_>("entries", "account"));
    });

constinit const qw::Class Tag::kClass =
    qw::define<Tag, QWLibraryObject>("Tag", {.table = "Tag", .synchronizationPriority = 3}, [] {
      return qw::properties(qw::parent<&Tag::ledger_>("ledger", "tags"),
                            qw::parent<&Tag::parent_>("parent", "tags"),
                            qw::children<&Tag::tags_>("tags", "parent"));
    });

constinit const qw::Class ColoredTag::kClass =
    qw::define<ColoredTag, Tag>("ColoredTag", {.synchronizationPriority = 3},
                                [] { return qw::properties(qw::attribute<&ColoredTag::color_>("color")); });

constinit const qw::Class Receipt::kClass = qw::define<Receipt, QWDatabaseObject>(
    "Receipt", {.table = "Receipt"}, [] { return qw::properties(qw::attribute<&Receipt::scan_>("scan")); });

constinit const qw::Class Entry::kClass =
    qw::define<Entry, QWDatabaseObject>("Entry", {.table = "Entry", .synchronizationPriority = 4}, [] {
      return qw::properties(
          qw::parent<&Entry::account_>("account", "entries"), qw::dateAttribute<&Entry::date_>("date"),
          qw::attribute<&Entry::payee_>("payee"),
          qw::attribute<&Entry::amount_>("amount", {.currencyKeyPath = "account.ledger.currency"}),
          qw::attribute<&Entry::warranty_>("warranty"),
          qw::attribute<&Entry::details_>("details", {.column = "detailsJSON"}),
          qw::reference<&Entry::tag_>("tag"), qw::owned<&Entry::receipt_>("receipt"),
          qw::derived<&Entry::title>("title", {"payee", "amount"}));
    });

std::vector<const qw::Class*> LedgerManager::modelClasses() const {
  return {&Ledger::kClass,     &Account::kClass, &Tag::kClass,
          &ColoredTag::kClass, &Receipt::kClass, &Entry::kClass};
}

bool LedgerTest::isLongRun() {
  const char* value = std::getenv("QW_LONG_TESTS");
  return value && std::string_view(value) == "1";
}

void LedgerTest::alter(const std::filesystem::path& path, const std::string& sql) {
  SQLite(path).execute(sql);
}

std::string LedgerTest::dump(const std::filesystem::path& path) {
  // Read-write, so that what a killed save left behind is rolled back first.
  SQLite file(path, SQLITE_OPEN_READWRITE);
  std::string text;
  for (const std::string& row : file.rows("PRAGMA quick_check")) text += row + "\n";
  for (const std::string& table :
       file.rows("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name")) {
    auto rows = file.rows("SELECT * FROM " + table);
    std::sort(rows.begin(), rows.end());
    text += table + ":\n";
    for (const std::string& row : rows) text += row + "\n";
  }
  return text;
}

std::string LedgerTest::ask(const std::filesystem::path& path, const std::string& sql) {
  std::string answer;
  for (const std::string& row : SQLite(path, SQLITE_OPEN_READONLY).rows(sql))
    answer += (answer.empty() ? "" : "|") + row;
  return answer;
}

std::shared_ptr<Account> LedgerTest::addAccount(LedgerManager& store, const std::string& name) {
  auto account = store.create<Account>();
  account->setName(name);
  store.ledger().accounts().add(account);
  return account;
}

std::shared_ptr<Entry> LedgerTest::addEntry(Account& account, const std::string& payee, std::int64_t amount) {
  auto entry = account.databaseManager()->create<Entry>();
  entry->setPayee(payee);
  entry->setAmount(amount);
  account.entries().add(entry);
  return entry;
}

void LedgerTest::step(LedgerManager& store, const std::function<void()>& edit) {
  const qw::UndoGroup step(store.undoManager());
  edit();
}

void OneStore::SetUp() {
  store = open();
  step(*store, [&] {
    account = addAccount(*store, "A");
    for (const char* name : {"a", "b", "c"}) addEntry(*account, name);
    account->entries()[0].setReceipt(store->create<Receipt>());
  });
  ASSERT_TRUE(store->save());
}

std::string OneStore::payees(Account& account) {
  std::string text;
  for (Entry& entry : account.entries()) text += entry.payee();
  return text;
}
