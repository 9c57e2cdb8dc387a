// Synchronization against a program that loads both files through SQLite's C interface and compares the rows
// in a hash table.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/Bench.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/TemporaryDirectory.h"
#include "sync/QWDatabaseSynchronizationSession.h"

namespace {

using Session = QWDatabaseSynchronizationSession;

class SyncEntry;

class SyncAccount : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<SyncEntry>& entries() { return entries_; }

 private:
  qw::Back<class SyncBook> book_;
  std::string name_;
  qw::Children<SyncEntry> entries_;
};

class SyncBook : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<SyncAccount>& accounts() { return accounts_; }

 private:
  qw::Children<SyncAccount> accounts_;
};

class SyncEntry : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  void setDate(qw::Date date) { assign<&SyncEntry::date_>(date); }
  void setPayee(std::string payee) { assign<&SyncEntry::payee_>(std::move(payee)); }
  void setMemo(std::string memo) { assign<&SyncEntry::memo_>(std::move(memo)); }
  void setAmount(qw::Decimal amount) { assign<&SyncEntry::amount_>(amount); }
  void setCurrency(std::string currency) { assign<&SyncEntry::currency_>(std::move(currency)); }
  void setOther(SyncAccount* other) { assign<&SyncEntry::other_>(other); }

 private:
  qw::Back<SyncAccount> account_;
  std::optional<qw::Date> date_;
  std::string payee_;
  std::string memo_;
  qw::Decimal amount_;
  std::string currency_;
  qw::Reference<SyncAccount> other_;
};

constinit const qw::Class SyncBook::kClass = qw::define<SyncBook, QWDatabaseObject>(
    "SyncBook", {.table = "Book", .synchronizationPriority = 1},
    [] { return qw::properties(qw::children<&SyncBook::accounts_>("accounts", "book")); });
constinit const qw::Class SyncAccount::kClass = qw::define<SyncAccount, QWDatabaseObject>(
    "SyncAccount", {.table = "Account", .synchronizationPriority = 2}, [] {
      return qw::properties(qw::parent<&SyncAccount::book_>("book", "accounts"),
                            qw::attribute<&SyncAccount::name_>("name"),
                            qw::children<&SyncAccount::entries_>("entries", "account"));
    });
constinit const qw::Class SyncEntry::kClass = qw::define<SyncEntry, QWDatabaseObject>(
    "SyncEntry", {.table = "Entry", .synchronizationPriority = 3}, [] {
      return qw::properties(
          qw::parent<&SyncEntry::account_>("account", "entries"),
          qw::dateAttribute<&SyncEntry::date_>("date"), qw::attribute<&SyncEntry::payee_>("payee"),
          qw::attribute<&SyncEntry::memo_>("memo"), qw::attribute<&SyncEntry::amount_>("amount"),
          qw::attribute<&SyncEntry::currency_>("currency"), qw::reference<&SyncEntry::other_>("other"));
    });

class SyncStore : public QWDatabaseManager {
 public:
  const qw::Class& rootObjectClass() const override { return SyncBook::kClass; }
  std::vector<const qw::Class*> modelClasses() const override {
    return {&SyncBook::kClass, &SyncAccount::kClass, &SyncEntry::kClass};
  }
  SyncBook& book() const { return static_cast<SyncBook&>(*rootObject()); }
};

/// Two books of so many entries below ten accounts. In the second `part` of a thousand were edited, a fifth
/// of that made, and, if it `deletes`, as many deleted, so that those behind moved up.
class Books {
 public:
  Books(std::size_t count, std::size_t part, bool deletes) {
    {
      auto store = QWDatabaseManager::open<SyncStore>(mine());
      const qw::UndoRegistrationDisabled scope(store->undoManager());
      for (std::size_t i = 0; i < count; ++i) {
        if (i % (count / 10) == 0) store->book().accounts().add(store->create<SyncAccount>());
        SyncAccount& account = store->book().accounts()[store->book().accounts().size() - 1];
        auto entry = makeEntry(*store, i);
        entry->setOther(&account);
        account.entries().add(entry);
      }
      if (!store->save()) std::abort();
    }
    std::filesystem::copy_file(mine(), theirs());
    auto store = QWDatabaseManager::open<SyncStore>(theirs());
    const qw::UndoRegistrationDisabled scope(store->undoManager());
    std::size_t i = 0;
    std::vector<SyncEntry*> deleted;
    for (SyncAccount& account : store->book().accounts()) {
      const std::size_t size = account.entries().size();
      for (std::size_t k = 0; k < size; ++k, ++i) {
        SyncEntry& entry = account.entries()[k];
        if (i * part % 1000 < part) entry.setPayee("Edited " + std::to_string(i));
        if (deletes && (i + 1) * part % 5000 < part) deleted.push_back(&entry);
        if ((i + 2) * part % 5000 < part) account.entries().add(makeEntry(*store, count + i));
      }
    }
    for (std::size_t d = deleted.size(); d-- > 0;) deleted[d]->deleteObject();
    if (!store->save()) std::abort();
  }
  std::filesystem::path mine() const { return context_.directory() / "mine"; }
  std::filesystem::path theirs() const { return context_.directory() / "theirs"; }

  std::shared_ptr<SyncStore> open() const { return QWDatabaseManager::open<SyncStore>(mine()); }
  std::shared_ptr<Session> compare(const std::shared_ptr<SyncStore>& store) const {
    auto session = Session::create(store, theirs());
    session->setCurrentStep(1);
    session->createOtherDatabaseManagerAndReturnError(nullptr);
    session->prepareSynchronization();
    session->computeChanges();
    return session;
  }

 private:
  static std::shared_ptr<SyncEntry> makeEntry(SyncStore& store, std::size_t i) {
    auto entry = store.create<SyncEntry>();
    entry->setDate(qw::Date::fromSeconds(1'577'836'800 + static_cast<std::int64_t>(i % 2000) * 86400));
    entry->setPayee("Payee number " + std::to_string(i % 997));
    entry->setMemo("A memo of ordinary length, " + std::to_string(i));
    entry->setAmount(qw::Decimal::withMantissa(static_cast<std::int64_t>(i * 37 % 1'000'000), -2));
    entry->setCurrency("EUR");
    return entry;
  }

  qw::ApplicationContext::Override context_;
};

/// The plain program: every row as its texts, by ID; its number last.
using Rows = std::unordered_map<std::string, std::vector<std::string>>;

Rows loadPlain(const std::filesystem::path& path) {
  sqlite3* database = nullptr;
  sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr);
  Rows rows;
  for (const char* table : {"Book", "Account", "Entry", "QWDeletedID"}) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(database, (std::string("SELECT * FROM ") + table).c_str(), -1, &statement, nullptr);
    const int id = std::string_view(table) == "QWDeletedID" ? 0 : 1;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::vector<std::string> texts;
      texts.reserve(static_cast<std::size_t>(sqlite3_column_count(statement)));
      for (int i = id; i < sqlite3_column_count(statement); ++i) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        texts.emplace_back(text ? text : "", static_cast<std::size_t>(sqlite3_column_bytes(statement, i)));
      }
      if (id) texts.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
      std::string key = texts.front();
      rows.emplace(std::move(key), std::move(texts));
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(database);
  return rows;
}

std::size_t comparePlain(const Books& books) {
  const Rows mine = loadPlain(books.mine()), theirs = loadPlain(books.theirs());
  std::size_t differences = 0;
  for (const auto& [id, row] : mine) {
    const auto other = theirs.find(id);
    if (other == theirs.end() || other->second.size() != row.size()) {  // not there, or deleted
      ++differences;
      continue;
    }
    for (std::size_t i = 2; i + 1 < row.size(); ++i) differences += row[i] != other->second[i];
  }
  for (const auto& [id, row] : theirs) differences += !mine.contains(id);
  return differences;
}

double secondsOf(const Books& books) {
  const auto start = std::chrono::steady_clock::now();
  const auto session = books.compare(books.open());
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  qw::bench::keep(session);
  return taken.count();
}

const qw::bench::Benchmark kCompute("sync_compute_100k_1pct", [](qw::bench::Run& run) {
  std::vector<double> small;
  {
    const Books books(10'000, 10, true);
    for (int i = 0; i < 5; ++i) small.push_back(secondsOf(books));
  }
  std::sort(small.begin(), small.end());
  const Books books(100'000, 10, true);
  std::vector<double> large;
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        const auto session = books.compare(books.open());
        watch.stop();
        large.push_back(session->changes().empty() ? 0 : 1);
      },
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        const std::size_t differences = comparePlain(books);
        watch.stop();
        qw::bench::keep(differences);
      });
  large.clear();
  for (int i = 0; i < 5; ++i) large.push_back(secondsOf(books));
  std::sort(large.begin(), large.end());
  run.figure("changed objects", static_cast<double>(books.compare(books.open())->changes().size()));
  run.figure("time for 10 times the store", large[2] / small[2]);
});

/// About 1,000 chosen changes on the store, as an undo step, and saved, against writing the same rows by
/// hand.
const qw::bench::Benchmark kApply("sync_apply_1000", [](qw::bench::Run& run) {
  const Books books(100'000, 8, false);
  const auto fresh = books.mine().parent_path() / "fresh";
  const auto restore = [&] {
    std::filesystem::copy_file(books.mine(), fresh, std::filesystem::copy_options::overwrite_existing);
  };
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        restore();
        auto store = QWDatabaseManager::open<SyncStore>(fresh);
        const auto session = books.compare(store);
        watch.start();
        session->applyChanges();
        const bool saved = store->save();
        watch.stop();
        qw::bench::keep(saved);
      },
      [&](qw::bench::Stopwatch& watch) {
        restore();
        const Rows mine = loadPlain(fresh), theirs = loadPlain(books.theirs());
        std::vector<const std::vector<std::string>*> changed, created;
        for (const auto& [id, row] : theirs) {
          const auto found = mine.find(id);
          if (found == mine.end())
            created.push_back(&row);
          else if (found->second != row)
            changed.push_back(&row);
        }
        sqlite3* database = nullptr;
        sqlite3_open(fresh.c_str(), &database);
        watch.start();
        sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr);
        const auto write = [&](const char* sql, const std::vector<const std::vector<std::string>*>& rows) {
          sqlite3_stmt* statement = nullptr;
          sqlite3_prepare_v2(database, sql, -1, &statement, nullptr);
          for (const auto* row : rows) {
            for (int i = 0; i < sqlite3_bind_parameter_count(statement); ++i)
              sqlite3_bind_text(statement, i + 1, (*row)[static_cast<std::size_t>(i)].c_str(), -1,
                                SQLITE_STATIC);
            sqlite3_step(statement);
            sqlite3_reset(statement);
          }
          sqlite3_finalize(statement);
        };
        write(
            "UPDATE Entry SET ID = ?1, lastModificationDate = ?2, account = ?3, \"index\" = ?4, date = ?5, "
            "payee = ?6, memo = ?7, amount = ?8, currency = ?9, other = ?10 WHERE sqlID = ?11",
            changed);
        write(
            "INSERT INTO Entry (ID, lastModificationDate, account, \"index\", date, payee, memo, amount, "
            "currency, other) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)",
            created);
        sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
        watch.stop();
        sqlite3_close(database);
      });
});

}  // namespace
