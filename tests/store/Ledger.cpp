#include "store/Ledger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "platform/UndoGroup.h"

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
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(database);
  sqlite3_close(database);
}

std::string LedgerTest::dump(const std::filesystem::path& path) {
  // Read-write, so that what a killed save left behind is rolled back first.
  sqlite3* database = nullptr;
  sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READWRITE, nullptr);
  std::string text;
  const auto read = [&](const std::string& sql) {
    std::vector<std::string> rows;
    sqlite3_stmt* statement = nullptr;
    int result = sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr);
    while (result == SQLITE_OK && (result = sqlite3_step(statement)) == SQLITE_ROW) {
      std::string row;
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        row += (i ? "|" : "") + std::string(value ? value : "NULL");
      }
      rows.push_back(row);
      result = SQLITE_OK;
    }
    if (result != SQLITE_DONE) rows.push_back(sqlite3_errmsg(database));
    sqlite3_finalize(statement);
    return rows;
  };
  for (const std::string& row : read("PRAGMA quick_check")) text += row + "\n";
  for (const std::string& table : read("SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name")) {
    auto rows = read("SELECT * FROM " + table);
    std::sort(rows.begin(), rows.end());
    text += table + ":\n";
    for (const std::string& row : rows) text += row + "\n";
  }
  sqlite3_close(database);
  return text;
}

std::string LedgerTest::ask(const std::filesystem::path& path, const std::string& sql) {
  sqlite3* database = nullptr;
  sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
  std::string answer;
  sqlite3_exec(
      database, sql.c_str(),
      [](void* answer, int count, char** values, char**) {
        for (int i = 0; i < count; ++i) {
          auto& text = *static_cast<std::string*>(answer);
          text += (text.empty() ? "" : "|") + std::string(values[i] ? values[i] : "NULL");
        }
        return 0;
      },
      &answer, nullptr);
  sqlite3_close(database);
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
