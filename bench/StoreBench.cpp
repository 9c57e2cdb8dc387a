// The store against a program that does the same statements on the same columns through SQLite's C interface,
// with the rows as structs of texts.
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "bench/Bench.h"
#include "platform/object/KeyPath.h"
#include "platform/object/UndoGroup.h"
#include "platform/system/Clock.h"
#include "platform/system/TemporaryDirectory.h"
#include "store/model/QWDatabaseManager.h"

namespace {

class BenchEntry;

class BenchAccount : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<BenchEntry>& entries() { return entries_; }

 private:
  qw::Back<class BenchLedger> ledger_;
  std::string name_;
  qw::Children<BenchEntry> entries_;
};

class BenchLedger : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<BenchAccount>& accounts() { return accounts_; }

 private:
  qw::Children<BenchAccount> accounts_;
};

class BenchEntry : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  const std::string& payee() const { return payee_; }
  void setPayee(std::string payee) { assign<&BenchEntry::payee_>(std::move(payee)); }
  void setMemo(std::string memo) { assign<&BenchEntry::memo_>(std::move(memo)); }
  void setCurrency(std::string currency) { assign<&BenchEntry::currency_>(std::move(currency)); }
  void setAmount(qw::Decimal amount) { assign<&BenchEntry::amount_>(amount); }
  void setDate(std::optional<qw::Date> date) { assign<&BenchEntry::date_>(date); }
  void setOther(BenchAccount* other) { assign<&BenchEntry::other_>(other); }

 private:
  qw::Back<BenchAccount> account_;
  std::optional<qw::Date> date_;
  std::string payee_;
  std::string memo_;
  qw::Decimal amount_;
  std::string currency_;
  qw::Reference<BenchAccount> other_;
};

constinit const qw::Class BenchLedger::kClass = qw::define<BenchLedger, QWDatabaseObject>(
    "BenchLedger", {.table = "Ledger"},
    [] { return qw::properties(qw::children<&BenchLedger::accounts_>("accounts", "ledger")); });
constinit const qw::Class BenchAccount::kClass =
    qw::define<BenchAccount, QWDatabaseObject>("BenchAccount", {.table = "Account"}, [] {
      return qw::properties(qw::parent<&BenchAccount::ledger_>("ledger", "accounts"),
                            qw::attribute<&BenchAccount::name_>("name"),
                            qw::children<&BenchAccount::entries_>("entries", "account"));
    });
constinit const qw::Class BenchEntry::kClass =
    qw::define<BenchEntry, QWDatabaseObject>("BenchEntry", {.table = "Entry"}, [] {
      return qw::properties(
          qw::parent<&BenchEntry::account_>("account", "entries"),
          qw::dateAttribute<&BenchEntry::date_>("date"), qw::attribute<&BenchEntry::payee_>("payee"),
          qw::attribute<&BenchEntry::memo_>("memo"), qw::attribute<&BenchEntry::amount_>("amount"),
          qw::attribute<&BenchEntry::currency_>("currency"), qw::reference<&BenchEntry::other_>("other"));
    });

class BenchStore : public QWDatabaseManager {
 public:
  const qw::Class& rootObjectClass() const override { return BenchLedger::kClass; }
  std::vector<const qw::Class*> modelClasses() const override {
    return {&BenchLedger::kClass, &BenchAccount::kClass, &BenchEntry::kClass};
  }
  BenchLedger& ledger() const { return static_cast<BenchLedger&>(*rootObject()); }
};

constexpr const char* kColumns[] = {
    "ID", "lastModificationDate", "account", "index", "date", "payee", "memo", "amount", "currency", "other"};

std::string payee(std::size_t i) { return "Payee number " + std::to_string(i % 997); }
std::string memo(std::size_t i) { return "A memo of ordinary length, " + std::to_string(i); }

/// Unsaved objects below `parents` accounts.
std::vector<std::shared_ptr<BenchEntry>> fill(BenchStore& store, std::size_t count, std::size_t parents) {
  const qw::UndoRegistrationDisabled scope(store.undoManager());
  std::vector<std::shared_ptr<BenchEntry>> entries;
  entries.reserve(count);
  const qw::Date start = qw::Date::fromSeconds(1'577'836'800);
  std::shared_ptr<BenchAccount> account;
  for (std::size_t i = 0; i < count; ++i) {
    if (i % (count / parents) == 0) {
      account = store.create<BenchAccount>();
      store.ledger().accounts().add(account);
    }
    auto entry = store.create<BenchEntry>();
    entry->setDate(start.addingSeconds(static_cast<std::int64_t>(i % 2000) * 86400));
    entry->setPayee(payee(i));
    entry->setMemo(memo(i));
    entry->setAmount(qw::Decimal::withMantissa(static_cast<std::int64_t>(i * 37 % 1'000'000), -2));
    entry->setCurrency("EUR");
    entry->setOther(account.get());
    entry->setLastModificationDate(start);
    account->entries().add(entry);
    entries.push_back(std::move(entry));
  }
  return entries;
}

struct Statement {
  Statement(sqlite3* database, const std::string& sql) {
    sqlite3_prepare_v2(database, sql.c_str(), -1, &handle, nullptr);
  }
  ~Statement() { sqlite3_finalize(handle); }
  sqlite3_stmt* handle = nullptr;
};

/// The plain program: rows as structs of texts.
struct Row {
  std::int64_t sqlID = 0;
  std::string ID, date, account, day, payee, memo, amount, currency, other;
  std::int64_t index = 0;

  void bind(sqlite3_stmt* s) const {
    int n = 1;
    const auto text = [&](const std::string& t) {
      sqlite3_bind_text(s, n++, t.data(), static_cast<int>(t.size()), SQLITE_STATIC);
    };
    text(ID);
    text(date);
    text(account);
    sqlite3_bind_int64(s, n++, index);
    text(day);
    text(payee);
    text(memo);
    text(amount);
    text(currency);
    text(other);
  }
  void read(sqlite3_stmt* s) {
    int n = 0;
    const auto text = [&](std::string& t) {
      const auto* c = reinterpret_cast<const char*>(sqlite3_column_text(s, n));
      if (c) t.assign(c, static_cast<std::size_t>(sqlite3_column_bytes(s, n)));
      ++n;
    };
    sqlID = sqlite3_column_int64(s, n++);
    text(ID);
    text(date);
    text(account);
    index = sqlite3_column_int64(s, n++);
    text(day);
    text(payee);
    text(memo);
    text(amount);
    text(currency);
    text(other);
  }
};

std::string insertSQL() {
  std::string names, marks;
  for (const char* column : kColumns) {
    names += (names.empty() ? "\"" : ", \"") + std::string(column) + "\"";
    marks += marks.empty() ? "?" : ", ?";
  }
  return "INSERT INTO Entry (" + names + ") VALUES (" + marks + ")";
}

std::string updateSQL() {
  std::string sets;
  for (const char* column : kColumns) sets += (sets.empty() ? "\"" : ", \"") + std::string(column) + "\" = ?";
  return "UPDATE Entry SET " + sets + " WHERE \"sqlID\" = ?";
}

void execute(sqlite3* database, const char* sql) { sqlite3_exec(database, sql, nullptr, nullptr, nullptr); }

/// A store of its own with the same schema for either side.
class Files {
 public:
  std::filesystem::path path(const std::string& name) const { return directory_.path() / name; }
  std::shared_ptr<BenchStore> fresh(const std::string& name) const {
    std::filesystem::remove(path(name));
    auto store = QWDatabaseManager::open<BenchStore>(path(name));
    if (!store->save()) std::abort();
    return store;
  }
  sqlite3* open(const std::string& name) const {
    sqlite3* database = nullptr;
    sqlite3_open(path(name).c_str(), &database);
    return database;
  }
  /// A saved store with that many entries.
  void make(const std::string& name, std::size_t count, std::size_t parents) const {
    auto store = fresh(name);
    fill(*store, count, parents);
    if (!store->save()) std::abort();
  }

 private:
  qw::TemporaryDirectory directory_ = *qw::TemporaryDirectory::create("QWAdditions bench");
};

std::vector<Row> rowsOf(sqlite3* database, bool keyed) {
  std::vector<Row> rows;
  Statement select(database, "SELECT * FROM Entry");
  while (sqlite3_step(select.handle) == SQLITE_ROW) {
    rows.emplace_back();
    rows.back().read(select.handle);
    if (!keyed) rows.back().sqlID = 0;
  }
  return rows;
}

void benchSaveNew(qw::bench::Run& run, std::size_t count) {
  Files files;
  files.make("model", count, 10);
  sqlite3* model = files.open("model");
  const std::vector<Row> rows = rowsOf(model, false);
  sqlite3_close(model);
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        auto store = files.fresh("ours");
        fill(*store, count, 10);
        watch.start();
        const bool saved = store->save();
        watch.stop();
        qw::bench::keep(saved);
      },
      [&](qw::bench::Stopwatch& watch) {
        files.fresh("limit");
        sqlite3* database = files.open("limit");
        watch.start();
        execute(database, "BEGIN");
        {
          Statement insert(database, insertSQL());
          for (const Row& row : rows) {
            row.bind(insert.handle);
            sqlite3_step(insert.handle);
            sqlite3_reset(insert.handle);
          }
        }
        execute(database, "COMMIT");
        watch.stop();
        sqlite3_close(database);
      });
}

const qw::bench::Benchmark kSaveNew("save_new_100k", [](qw::bench::Run& run) { benchSaveNew(run, 100'000); });

const qw::bench::Benchmark kSaveUpdate("save_update_10pct_of_100k", [](qw::bench::Run& run) {
  Files files;
  auto store = files.fresh("ours");
  const auto entries = fill(*store, 100'000, 10);
  if (!store->save()) std::abort();
  files.make("limit", 100'000, 10);
  sqlite3* database = files.open("limit");
  std::vector<Row> rows = rowsOf(database, true);
  int round = 0;
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        const qw::UndoRegistrationDisabled scope(store->undoManager());
        ++round;
        for (std::size_t i = 0; i < entries.size(); i += 10)
          entries[i]->setPayee(payee(i) + std::to_string(round));
        watch.start();
        const bool saved = store->save();
        watch.stop();
        qw::bench::keep(saved);
      },
      [&](qw::bench::Stopwatch& watch) {
        ++round;
        for (std::size_t i = 0; i < rows.size(); i += 10) rows[i].payee = payee(i) + std::to_string(round);
        watch.start();
        execute(database, "BEGIN");
        {
          Statement update(database, updateSQL());
          for (std::size_t i = 0; i < rows.size(); i += 10) {
            rows[i].bind(update.handle);
            sqlite3_bind_int64(update.handle, 11, rows[i].sqlID);
            sqlite3_step(update.handle);
            sqlite3_reset(update.handle);
          }
        }
        execute(database, "COMMIT");
        watch.stop();
      });
  sqlite3_close(database);
});

/// Rows into structs of texts by ID, as a plain program keeps them.
std::unordered_map<std::string, Row> loadPlain(const std::filesystem::path& path,
                                               const char* table = "Entry") {
  sqlite3* database = nullptr;
  sqlite3_open(path.c_str(), &database);
  std::unordered_map<std::string, Row> rows;
  {
    Statement select(database, std::string("SELECT * FROM ") + table);
    while (sqlite3_step(select.handle) == SQLITE_ROW) {
      Row row;
      row.read(select.handle);
      std::string id = row.ID;
      rows.emplace(std::move(id), std::move(row));
    }
  }
  sqlite3_close(database);
  return rows;
}

void benchLoad(qw::bench::Run& run, std::size_t count) {
  Files files;
  files.make("store", count, 10);
  const std::size_t before = qw::bench::heapBytes();
  std::size_t ours = 0, plain = 0;
  {
    auto store = QWDatabaseManager::open<BenchStore>(files.path("store"));
    ours = qw::bench::heapBytes() - before;
  }
  {
    const auto rows = loadPlain(files.path("store"));
    plain = qw::bench::heapBytes() - before;
  }
  double opening = 0, closing = 0;
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        auto store = QWDatabaseManager::open<BenchStore>(files.path("store"));
        watch.stop();
        opening = watch.seconds();
        qw::bench::Stopwatch close;
        close.start();
        store.reset();
        close.stop();
        closing = close.seconds();
      },
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        auto rows = loadPlain(files.path("store"));
        watch.stop();
        qw::bench::keep(rows);
      });
  run.figure("closing, of opening", closing / opening);
  run.figure("bytes per object", static_cast<double>(ours) / static_cast<double>(count));
  run.figure("bytes per struct", static_cast<double>(plain) / static_cast<double>(count));
}

const qw::bench::Benchmark kLoad("load_100k", [](qw::bench::Run& run) { benchLoad(run, 100'000); });
const qw::bench::Benchmark kOpen("open_1m", [](qw::bench::Run& run) {
  run.repetitions(3);
  benchLoad(run, 1'000'000);
});
const qw::bench::Benchmark kScan("scan_1m", [](qw::bench::Run& run) {
  Files files;
  files.make("store", 1'000'000, 10);
  run.repetitions(3);
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        auto store = QWDatabaseManager::open<BenchStore>(files.path("store"));
        watch.stop();
        qw::bench::keep(store);
      },
      [&] {
        // Every column asked for as text, and nothing made of it.
        sqlite3* database = files.open("store");
        std::size_t bytes = 0;
        {
          Statement select(database, "SELECT * FROM Entry");
          const int columns = sqlite3_column_count(select.handle);
          while (sqlite3_step(select.handle) == SQLITE_ROW)
            for (int i = 0; i < columns; ++i)
              if (sqlite3_column_text(select.handle, i))
                bytes += static_cast<std::size_t>(sqlite3_column_bytes(select.handle, i));
        }
        sqlite3_close(database);
        qw::bench::keep(bytes);
      });
});
const qw::bench::Benchmark kSaveMillion("save_new_1m", [](qw::bench::Run& run) {
  run.repetitions(3);
  benchSaveNew(run, 1'000'000);
});

const qw::bench::Benchmark kChildren("load_children_1000x100", [](qw::bench::Run& run) {
  Files files;
  files.make("store", 100'000, 1000);
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        auto store = QWDatabaseManager::open<BenchStore>(files.path("store"));
        watch.stop();
        qw::bench::keep(store);
      },
      [&](qw::bench::Stopwatch& watch) {
        watch.start();
        // One scan into structs by ID, and for each parent its children in the order of their index.
        sqlite3* database = files.open("store");
        std::unordered_map<std::string, Row> rows;
        std::unordered_map<std::string, std::vector<Row*>> parents;
        {
          Statement accounts(database, "SELECT \"ID\" FROM Account");
          while (sqlite3_step(accounts.handle) == SQLITE_ROW)
            parents[reinterpret_cast<const char*>(sqlite3_column_text(accounts.handle, 0))];
          Statement select(database, "SELECT * FROM Entry");
          while (sqlite3_step(select.handle) == SQLITE_ROW) {
            Row row;
            row.read(select.handle);
            std::string id = row.ID;
            Row& kept = rows.emplace(std::move(id), std::move(row)).first->second;
            const auto parent = parents.find(kept.account);
            if (parent != parents.end()) parent->second.push_back(&kept);
          }
        }
        const auto byIndex = [](const Row* a, const Row* b) { return a->index < b->index; };
        for (auto& [id, children] : parents)
          if (!std::is_sorted(children.begin(), children.end(), byIndex))
            std::sort(children.begin(), children.end(), byIndex);
        sqlite3_close(database);
        watch.stop();
        qw::bench::keep(parents);
        qw::bench::keep(rows);
      });
});

const qw::bench::Benchmark kKeyPath("get_by_key_path_1m", [](qw::bench::Run& run) {
  Files files;
  auto store = files.fresh("store");
  const auto entries = fill(*store, 1000, 1);
  const qw::KeyPath path("payee");
  run.measure(
      [&] {
        std::size_t sum = 0;
        qw::Value scratch;
        for (int round = 0; round < 1000; ++round)
          for (const auto& entry : entries) sum += path.view(*entry, scratch).text().size();
        qw::bench::keep(sum);
      },
      [&] {
        std::size_t sum = 0;
        for (int round = 0; round < 1000; ++round) {
          for (const auto& entry : entries) sum += entry->payee().size();
          qw::bench::keep(sum);
        }
      });
});

/// An edit of one long list as a command, against the save that it leads to.
void benchListEdit(qw::bench::Run& run, std::size_t count,
                   const std::function<void(BenchStore&, qw::Children<BenchEntry>&)>& edit) {
  run.repetitions(count > 100'000 ? 3 : 9);
  Files files;
  auto store = files.fresh("store");
  fill(*store, count, 1);
  qw::bench::keep(store->save());
  store->undoManager()->setGroupsByEvent(false);
  bool isEdited = false;
  const auto toggle = [&] {
    if (isEdited) {
      store->undoManager()->undo();
    } else {
      const qw::UndoGroup step(store->undoManager());
      edit(*store, store->ledger().accounts()[0].entries());
    }
    isEdited = !isEdited;
  };
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        if (isEdited) toggle();
        watch.start();
        toggle();
        watch.stop();
      },
      [&](qw::bench::Stopwatch& watch) {
        if (!isEdited) toggle();
        watch.start();
        qw::bench::keep(store->save());
        watch.stop();
        toggle();
        qw::bench::keep(store->save());
      });
}

const qw::bench::Benchmark kDeleteQuarter("delete_250k_of_1m", [](qw::bench::Run& run) {
  benchListEdit(run, 1'000'000, [](BenchStore&, qw::Children<BenchEntry>& entries) {
    const auto all = entries.toVector();
    for (std::size_t i = 0; i < all.size(); i += 4) all[i]->deleteObject();
  });
});

const qw::bench::Benchmark kInsertFront("insert_front_100k", [](qw::bench::Run& run) {
  benchListEdit(run, 100'000, [](BenchStore& store, qw::Children<BenchEntry>& entries) {
    for (std::size_t i = 0; i < 100'000; ++i) {
      auto entry = store.create<BenchEntry>();
      entry->setPayee(payee(i));
      entries.insert(std::move(entry), 0);
    }
  });
});

const qw::bench::Benchmark kUndo("undo_redo_100k", [](qw::bench::Run& run) {
  Files files;
  auto store = files.fresh("store");
  const auto entries = fill(*store, 100'000, 1);
  if (!store->save()) std::abort();
  store->undoManager()->setGroupsByEvent(false);
  struct Plain {
    std::string payee;
  };
  std::vector<Plain> plain(entries.size());
  for (std::size_t i = 0; i < plain.size(); ++i) plain[i].payee = payee(i);
  int round = 0;
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        const std::string name = "Another payee, edit " + std::to_string(++round);
        qw::UndoManager& undo = *store->undoManager();
        undo.removeAllActions();
        watch.start();
        {
          const qw::UndoGroup step(&undo);
          for (const auto& entry : entries) entry->setPayee(name);
        }
        undo.undo();
        undo.redo();
        watch.stop();
      },
      [&](qw::bench::Stopwatch& watch) {
        const std::string name = "Another payee, edit " + std::to_string(++round);
        std::vector<std::function<void()>> undo, redo;
        watch.start();
        const std::function<void(Plain&, const std::string&, std::vector<std::function<void()>>&)> set =
            [&](Plain& object, const std::string& value, std::vector<std::function<void()>>& back) {
              back.push_back([&object, old = object.payee, &set, &undo, &redo, &back] {
                set(object, old, &back == &undo ? redo : undo);
              });
              object.payee = value;
            };
        for (Plain& object : plain) set(object, name, undo);
        for (std::size_t i = undo.size(); i-- > 0;) undo[i]();
        undo.clear();
        for (std::size_t i = redo.size(); i-- > 0;) redo[i]();
        watch.stop();
        qw::bench::keep(undo);
      });
});

}  // namespace
