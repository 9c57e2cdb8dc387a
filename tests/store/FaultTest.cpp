#include <gtest/gtest.h>

#include <map>

#include "platform/system/Clock.h"
#include "store/EditedLedger.h"

namespace {

/// What is to fail: the n-th operation of a kind, alone or with every one after it.
struct Fault {
  enum class Kind { kWrite, kTornWrite, kSync, kTruncate, kOpen, kDelete, kLateDelete, kRead, kAllocation };
  Kind kind = Kind::kWrite;
  long n = -1;  // negative: nothing fails
  bool lasting = false;
  long seen = 0;
  bool hit = false;

  bool strikes(Kind operation) {
    if (operation != kind) return false;
    const long number = seen++;
    const bool strike = n >= 0 && (lasting ? number >= n : number == n);
    hit |= strike;
    return strike;
  }
};

using Kind = Fault::Kind;

constexpr std::pair<Kind, const char*> kFileKinds[] = {{Kind::kWrite, "write"},
                                                       {Kind::kTornWrite, "torn write"},
                                                       {Kind::kSync, "sync"},
                                                       {Kind::kTruncate, "truncate"},
                                                       {Kind::kOpen, "open"},
                                                       {Kind::kDelete, "delete"},
                                                       {Kind::kLateDelete, "delete that is done and fails"}};

Fault* fault = nullptr;  // the one in force

bool strikes(Kind kind) { return fault && fault->strikes(kind); }

/// The default file system of SQLite with operations that fail. Nothing is forced to the disk: what the
/// process wrote is what it finds.
class FaultyFiles {
 public:
  FaultyFiles() {
    real_ = sqlite3_vfs_find(nullptr);
    vfs_ = *real_;
    vfs_.iVersion = 1;
    vfs_.pNext = nullptr;
    vfs_.zName = "faulty";
    vfs_.szOsFile = static_cast<int>(sizeof(File)) + real_->szOsFile;
    vfs_.xOpen = &open;
    vfs_.xDelete = &remove;
    sqlite3_vfs_register(&vfs_, 1);
  }
  ~FaultyFiles() { sqlite3_vfs_unregister(&vfs_); }

 private:
  struct File {
    sqlite3_file base;
    sqlite3_file* real() { return reinterpret_cast<sqlite3_file*>(this + 1); }
  };
  static sqlite3_file* real(sqlite3_file* file) { return reinterpret_cast<File*>(file)->real(); }

  static int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    file->pMethods = nullptr;
    if (strikes(Kind::kOpen)) return SQLITE_CANTOPEN;
    const int result = real_->xOpen(real_, name, real(file), flags, outFlags);
    if (real(file)->pMethods) file->pMethods = &kMethods;
    return result;
  }
  static int remove(sqlite3_vfs*, const char* name, int syncDirectory) {
    if (strikes(Kind::kDelete)) return SQLITE_IOERR_DELETE;
    const int result = real_->xDelete(real_, name, syncDirectory);
    return strikes(Kind::kLateDelete) ? SQLITE_IOERR_DIR_FSYNC : result;
  }
  static int read(sqlite3_file* file, void* data, int size, sqlite3_int64 offset) {
    if (strikes(Kind::kRead)) return SQLITE_IOERR_READ;
    return real(file)->pMethods->xRead(real(file), data, size, offset);
  }
  static int write(sqlite3_file* file, const void* data, int size, sqlite3_int64 offset) {
    if (strikes(Kind::kWrite)) return SQLITE_FULL;
    if (strikes(Kind::kTornWrite)) {
      real(file)->pMethods->xWrite(real(file), data, size / 2, offset);
      return SQLITE_IOERR_WRITE;
    }
    return real(file)->pMethods->xWrite(real(file), data, size, offset);
  }
  static int truncate(sqlite3_file* file, sqlite3_int64 size) {
    if (strikes(Kind::kTruncate)) return SQLITE_IOERR_TRUNCATE;
    return real(file)->pMethods->xTruncate(real(file), size);
  }
  static int sync(sqlite3_file*, int) { return strikes(Kind::kSync) ? SQLITE_IOERR_FSYNC : SQLITE_OK; }

  static constexpr sqlite3_io_methods kMethods = {
      1,
      [](sqlite3_file* file) { return real(file)->pMethods->xClose(real(file)); },
      &read,
      &write,
      &truncate,
      &sync,
      [](sqlite3_file* file, sqlite3_int64* size) {
        return real(file)->pMethods->xFileSize(real(file), size);
      },
      [](sqlite3_file* file, int lock) { return real(file)->pMethods->xLock(real(file), lock); },
      [](sqlite3_file* file, int lock) { return real(file)->pMethods->xUnlock(real(file), lock); },
      [](sqlite3_file* file, int* out) { return real(file)->pMethods->xCheckReservedLock(real(file), out); },
      [](sqlite3_file* file, int operation, void* argument) {
        return real(file)->pMethods->xFileControl(real(file), operation, argument);
      },
      [](sqlite3_file* file) { return real(file)->pMethods->xSectorSize(real(file)); },
      [](sqlite3_file*) { return 0; },
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      nullptr,
      nullptr};

  static inline sqlite3_vfs* real_ = nullptr;
  sqlite3_vfs vfs_;
};

/// SQLite's allocator with allocations that fail; no connection may be open around its life.
class FaultyMemory {
 public:
  FaultyMemory() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &real_);
    sqlite3_mem_methods methods = real_;
    methods.xMalloc = [](int size) { return strikes(Kind::kAllocation) ? nullptr : real_.xMalloc(size); };
    methods.xRealloc = [](void* old, int size) {
      return strikes(Kind::kAllocation) ? nullptr : real_.xRealloc(old, size);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 0, 0);  // every allocation comes here
    sqlite3_initialize();
  }
  ~FaultyMemory() {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_MALLOC, &real_);
    sqlite3_config(SQLITE_CONFIG_LOOKASIDE, 1200, 40);
    sqlite3_initialize();
  }

 private:
  static inline sqlite3_mem_methods real_;
};

}  // namespace

class Faults : public EditedLedger {
 protected:
  void SetUp() override {
    std::error_code none;
    std::filesystem::create_directories(context_.directory() / "work", none);
    model_ = model(*makeBase(kEntries));
  }
  void TearDown() override { fault = nullptr; }

  std::filesystem::path place() const { return context_.directory() / "work" / "test.ledger"; }
  void restore() const { restoreTo(place()); }
  std::shared_ptr<LedgerManager> openPlace() {
    error = {};
    return QWDatabaseManager::open<LedgerManager>(place(), {}, &error);
  }
  /// A store with everything to do before it is saved; it truncates its journal in the end where that is what
  /// is to fail.
  std::shared_ptr<LedgerManager> openEdited(Kind kind) {
    restore();
    auto store = openPlace();
    EXPECT_TRUE(store) << error.localizedDescription;
    if (kind == Kind::kTruncate)
      sqlite3_exec(store->database(), "PRAGMA journal_mode = TRUNCATE", nullptr, nullptr, nullptr);
    edit(*store, kEntries);
    return store;
  }

  /// What a loaded store holds, as a text.
  static std::string model(LedgerManager& store) {
    std::string text = store.ledger().title() + store.password().value_or("none") +
                       store.valueForLocalParameter("side").description() +
                       std::to_string(store.deletedIDs().size());
    for (Tag& tag : store.ledger().tags()) text += "\n" + tag.name();
    for (Account& account : store.ledger().accounts()) {
      text += "\n" + account.name();
      for (Entry& entry : account.entries())
        text += "\n  " + entry.title() + entry.valueForKey("details").description() +
                (entry.tag() ? entry.tag()->name() : "") +
                (entry.receipt() ? std::string(entry.receipt()->scan().text()) : "");
    }
    return text;
  }

  /// Whether the row of every object is the one that it thinks it is.
  static void expectRowsMatch(LedgerManager& store, const std::string& what) {
    for (const char* table : {"Ledger", "Account", "Tag", "Receipt", "Entry"}) {
      const auto rows = store.executeQuery(store.prepareQuery(std::string("SELECT sqlID, ID FROM ") + table));
      while (rows && rows->next()) {
        const auto object = store.objectWithID(rows->stringForColumn("ID").value_or(""));
        ASSERT_TRUE(object) << what;
        ASSERT_EQ(object->sqlID(), rows->int64ForColumn("sqlID")) << what;
        ASSERT_EQ(object->modificationsCount(), 0) << what;
      }
    }
  }

  /// One save with a fault.
  void saveWith(Fault planned, const std::string& what) {
    auto store = openEdited(planned.kind);
    const auto changes = store->computeChanges();
    fault = &planned;
    error = {};
    const bool saved = store->saveChanges(changes, &error);
    fault = nullptr;
    EXPECT_TRUE(planned.hit) << what;
    const std::string found = dump(place());
    if (saved) {
      EXPECT_TRUE(found == after_) << what << ": a success that is not in the file";
    } else {
      EXPECT_TRUE(found == before_ || found == after_) << what << found.substr(0, 200);
      EXPECT_EQ(error.domain, QWDatabaseErrorDomain) << what;
      EXPECT_EQ(error.code, 4) << what;
      EXPECT_FALSE(error.localizedDescription.empty()) << what;
    }
    error = {};
    EXPECT_TRUE(store->save(&error)) << what << error.localizedDescription;
    EXPECT_TRUE(dump(place()) == after_) << what << ": the next save writes what is missing";
    expectRowsMatch(*store, what);
    EXPECT_EQ(store->computeChanges().size(), 3u + store->deletedIDs().size()) << what;
  }

  /// Every n, or as many as fit into a short run.
  template <class Run>
  void forEveryN(Kind kind, bool lasting, const std::string& name, long total, Run run) {
    const long stride = isLongRun() ? 1 : std::max(1L, total / (kind == Kind::kAllocation ? 30 : 10));
    for (long n = 0; n < total && !HasFailure(); n += stride)
      run(Fault{kind, n, lasting}, name + " " + std::to_string(n) + (lasting ? " and all after" : ""));
  }

  void saveWithEvery(Kind kind, const char* name) {
    Fault counting{kind};
    {
      auto store = openEdited(kind);
      const auto changes = store->computeChanges();
      fault = &counting;
      ASSERT_TRUE(store->saveChanges(changes, &error)) << error.localizedDescription;
      fault = nullptr;
      after_ = dump(place());
    }
    ASSERT_NE(after_, before_);
    for (const bool lasting : {false, true})
      forEveryN(kind, lasting, name, counting.seen,
                [&](Fault planned, const std::string& what) { saveWith(planned, what); });
  }

  /// One opening with a fault, of the store or of a new one.
  void openWith(Fault planned, bool isNew, const std::string& what) {
    restore();
    if (isNew) std::filesystem::remove(place());
    error = {};
    fault = &planned;
    auto store = QWDatabaseManager::open<LedgerManager>(place(), {}, &error);
    fault = nullptr;
    if (!store) {
      EXPECT_EQ(error.domain, QWDatabaseErrorDomain) << what;
      EXPECT_NE(error.code, 0) << what;
      EXPECT_FALSE(error.localizedDescription.empty()) << what;
      EXPECT_TRUE(!isNew || std::filesystem::is_empty(place().parent_path()))
          << what << ": something is left behind";
    } else if (isNew) {
      EXPECT_TRUE(store->save(&error)) << what << error.localizedDescription;
      EXPECT_EQ(ask(place(), "SELECT title FROM Ledger"), "New") << what;
    } else {
      EXPECT_EQ(model(*store), model_) << what << ": half a store was opened";
    }
    store.reset();
    EXPECT_TRUE(isNew || dump(place()) == before_) << what;
  }

  void openWithEvery(Kind kind, const char* name) {
    for (const bool isNew : {false, true}) {
      restore();
      if (isNew) std::filesystem::remove(place());
      Fault counting{kind};
      fault = &counting;
      ASSERT_TRUE(openPlace()) << error.localizedDescription;
      fault = nullptr;
      for (const bool lasting : {false, true})
        forEveryN(kind, lasting, name, counting.seen,
                  [&](Fault planned, const std::string& what) { openWith(planned, isNew, what); });
    }
  }

  static constexpr int kEntries = 30;
  qw::Clock::Override clock_{qw::Date::fromSeconds(1'700'000'000)};
  std::string model_;
};

TEST_F(Faults, OfTheDiskDuringASave) {
  FaultyFiles files;
  for (const auto& [kind, name] : kFileKinds) saveWithEvery(kind, name);
  saveWithEvery(Kind::kRead, "read");
}

TEST_F(Faults, OfTheDiskWhileOpening) {
  FaultyFiles files;
  for (const auto& [kind, name] : kFileKinds) openWithEvery(kind, name);
  openWithEvery(Kind::kRead, "read");
}

TEST_F(Faults, OfTheMemoryDuringASave) {
  FaultyMemory memory;
  FaultyFiles files;
  saveWithEvery(Kind::kAllocation, "allocation");
}

TEST_F(Faults, OfTheMemoryWhileOpening) {
  FaultyMemory memory;
  FaultyFiles files;
  openWithEvery(Kind::kAllocation, "allocation");
}
