// Opening, creating, upgrading and loading a store file.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "platform/base/Log.h"
#include "platform/base/internal/Resources.h"
#include "platform/files/UserDefaults.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "platform/system/FileManager.h"
#include "platform/system/TextEncoding.h"
#include "shell/QWPluginsManager.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/internal/Loader.h"
#include "values/dates/QWDateAdditions.h"
#include "values/text/QWStringAdditions.h"

namespace {

std::string fileURL(const std::filesystem::path& path) { return "file://" + path.string(); }

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, QWDatabaseErrorDomain, 1, std::move(message));
}

/// The text of an SQL file; no value when it cannot be read or is no UTF-8.
std::optional<std::string> sqlFile(const std::filesystem::path& path) {
  const auto bytes = qw::FileManager::contents(path);
  if (!bytes || qw::TextEncoding::validUTF8Length(bytes->text()) != bytes->size()) return std::nullopt;
  return std::string(bytes->text());
}

/// Keeps the text of every statement as it starts, for error messages.
int statementStarted(unsigned, void* context, void* statement, void* text) {
  auto& last = static_cast<QWDatabaseManager::Trace*>(context)->lastQuery;
  const char* sql = static_cast<const char*>(text);
  // A trigger's statements come as comments.
  if (sql[0] == '-' && sql[1] == '-') sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
  if (last != sql) last = sql;
  if (static_cast<QWDatabaseManager::Trace*>(context)->logs->load(std::memory_order_relaxed))
    qw::Log::info("{}", last);
  return 0;
}

/// Ends statements while a store is opened: when the program asks for it, or when a foreign file makes them
/// run for much longer than its size explains.
class OpeningWatch {
 public:
  OpeningWatch(const std::function<bool()>& shouldCancel, std::optional<std::uintmax_t> foreignSize)
      : shouldCancel_(shouldCancel) {
    // Reading a row takes a few of SQLite's instructions a byte; checking and sorting it some ten times that.
    constexpr std::uint64_t kBase = 50'000'000, kEachByte = 200;
    if (foreignSize) left_ = static_cast<std::int64_t>((kBase + kEachByte * *foreignSize) / kInterval);
  }
  ~OpeningWatch() { end(); }
  OpeningWatch(const OpeningWatch&) = delete;
  OpeningWatch& operator=(const OpeningWatch&) = delete;

  void begin(sqlite3* database) {
    if (!shouldCancel_ && !left_) return;
    database_ = database;
    sqlite3_progress_handler(database, kInterval, &OpeningWatch::passed, this);
  }
  void end() {
    if (sqlite3* database = std::exchange(database_, nullptr))
      sqlite3_progress_handler(database, 0, nullptr, nullptr);
  }
  /// Why statements were ended; null when they were not.
  const char* reason() const { return reason_; }

 private:
  static constexpr int kInterval = 10'000;  // instructions

  static int passed(void* context) {
    auto& self = *static_cast<OpeningWatch*>(context);
    if (self.left_ && --*self.left_ < 0)
      self.reason_ = "Reading the file takes too long.";
    else if (self.shouldCancel_ && self.shouldCancel_())
      self.reason_ = "Cancelled.";
    return self.reason_ != nullptr;
  }

  const std::function<bool()>& shouldCancel_;
  std::optional<std::int64_t> left_;
  sqlite3* database_ = nullptr;
  const char* reason_ = nullptr;
};

/// What a killed save left in the file is rolled back by whoever opens it next, for which a connection that
/// only reads is not enough. Where nobody may write, reading fails.
void rollBackKilledSave(sqlite3* reader, const std::filesystem::path& path, int busyTimeout) {
  constexpr const char* kRead = "PRAGMA schema_version";
  if (sqlite3_exec(reader, kRead, nullptr, nullptr, nullptr) != SQLITE_READONLY_ROLLBACK) return;
  sqlite3* writer = nullptr;
  if (sqlite3_open_v2(path.c_str(), &writer, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    sqlite3_busy_timeout(writer, busyTimeout);
    sqlite3_exec(writer, kRead, nullptr, nullptr, nullptr);
  }
  sqlite3_close(writer);
}

}  // namespace

bool QWDatabaseManager::initWithURL(const std::filesystem::path& URL, const OpenOptions& options,
                                    qw::Error* error) {
  const std::vector<const qw::Class*> classes = modelClasses();
  if (const std::string fault = qw::ClassSchema::fault(rootObjectClass(), classes); !fault.empty())
    return fail(error, fmt::format("The model is wrong: {}", fault));
  if (URL.empty()) return fail(error, "Could not open database at URL : \nThe path is empty.");
  url_ = URL;
  document_ = options.document;
  readOnly_ = options.access == Access::kReadOnly || options.access == Access::kForeignReadOnly;
  qw::ClassRegistry::add(classes);
  makeSynchronizationHandlers();

  std::error_code ignored;
  const auto size = std::filesystem::file_size(url_, ignored);
  const bool existed = std::filesystem::exists(url_, ignored);
  // An empty file is what is left when the making of a store was cut short, or a place reserved for one.
  const bool isNew = !existed || (size == 0 && !readOnly_);
  const bool foreign = options.access == Access::kForeign || options.access == Access::kForeignReadOnly;
  const bool isChecked = foreign && !isNew;
  OpeningWatch watch(options.shouldCancel, isChecked ? std::optional(size) : std::nullopt);
  bool opened = openConnection(options, error);
  if (opened) {
    watch.begin(database_);
    if (!readOnly_) {
      undoManager_ = std::make_unique<qw::UndoManager>();
      undoManager_->setListener(this);
    }
    opened = (!isChecked || checkFile(error)) && (isNew ? createStore(error) : loadStore(error));
    watch.end();
  }
  if (!opened) {
    if (watch.reason())
      fail(error, fmt::format("Could not open database at URL : {}\n{}", fileURL(url_), watch.reason()));
    close();
    if (!existed)
      for (const char* end : {"", "-journal"}) std::filesystem::remove(url_.string() + end, ignored);
    return false;
  }
  deleteOnDealloc_ = options.deleteOnDealloc;
  loaded_ = true;
  if (!foreign) thread_ = std::this_thread::get_id();
  if (!isNew)
    qw::RunLoop::main().dispatch([weak = std::weak_ptr(sharedAs<QWDatabaseManager>())] {
      if (const auto self = weak.lock()) self->dataDidLoad();
    });
  return true;
}

bool QWDatabaseManager::openConnection(const OpenOptions& options, qw::Error* error) {
  // A connection belongs to one thread at a time: it needs no mutex of its own.
  const int flags =
      SQLITE_OPEN_NOMUTEX | (readOnly_ ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  const std::string message = fmt::format("Could not open database at URL : {}", fileURL(url_));
  if (sqlite3_open_v2(url_.c_str(), &database_, flags, nullptr) != SQLITE_OK) return fail(error, message);
  sqlite3_extended_result_codes(database_, 1);
  const auto busyTimeout = static_cast<int>(options.busyTimeout.count());
  sqlite3_busy_timeout(database_, busyTimeout);
  if (readOnly_) rollBackKilledSave(database_, url_, busyTimeout);
  constexpr const char* kLogKey = "QWDatabaseManagerSQLLog";
  auto& defaults = qw::UserDefaults::standard();
  logDefault_ = defaults.observe(
      kLogKey, [&defaults, logs = trace_.logs](const qw::Value&) { *logs = defaults.boolValue(kLogKey); });
  *trace_.logs = defaults.boolValue(kLogKey);
  sqlite3_trace_v2(database_, SQLITE_TRACE_STMT, &statementStarted, &trace_);
  // SQLite falls back to reading where it may not write.
  if (!readOnly_ && sqlite3_db_readonly(database_, "main") == 1) {
    qw::Log::info("{} may only be read", fileURL(url_));
    readOnly_ = true;
    rollBackKilledSave(database_, url_, busyTimeout);
  }
  return true;
}

bool QWDatabaseManager::checkFile(qw::Error* error) {
  const std::string message = fmt::format("Could not open database at URL : {}", fileURL(url_));
  sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  const auto check = executeQuery(prepareQuery("PRAGMA quick_check(1)"));
  if (!check || !check->next() || check->stringForColumn("quick_check") != "ok") {
    if ((sqlite3_errcode(database_) & 0xff) == SQLITE_BUSY) return failToRead(error);
    return fail(error, message + "\nThe file is damaged.");
  }
  // Rows of a view or of a virtual table are whatever its statements make of them.
  std::set<std::string> names{"QWMetadata", "QWDeletedID", "QWFiltersBarData", "QWSynchronizationHandler"};
  for (const qw::Class* c : modelClasses()) names.insert(std::string(c->table()));
  for (const std::string& name : names) {
    const auto query = prepareQuery(
        "SELECT type FROM sqlite_master WHERE name = :name COLLATE NOCASE AND (type <> 'table' OR rootpage = "
        "0)");
    if (!query) return failToRead(error);
    query->setString(name, "name");
    const auto rows = executeQuery(query);
    if (!rows) return failToRead(error);
    if (rows->next()) return fail(error, fmt::format("{}\n{} is no ordinary table.", message, name));
  }
  return true;
}

bool QWDatabaseManager::failToRead(qw::Error* error) const {
  return fail(error, fmt::format("Could not open database at URL : {}\n{}", fileURL(url_), readFailure_));
}

bool QWDatabaseManager::execute(const std::string& sql, const std::string& name, qw::Error* error) {
  if (sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  return fail(error, fmt::format("Error while executing statements from {} : {}\n{}", name, trace_.lastQuery,
                                 sqlite3_errmsg(database_)));
}

bool QWDatabaseManager::createStore(qw::Error* error) {
  const auto abandon = [&] {
    sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    return false;
  };
  std::string sql;
  std::string name = "the property tables";
  if (const auto file = createStatementsFile(); file.empty()) {
    sql = qw::ClassSchema::createStatements(modelClasses());
  } else {
    name = file.filename().string();
    const auto text = sqlFile(file);
    if (!text) return fail(error, fmt::format("Couldn't read create statements from {}", name));
    sql = *text;
  }
  // One transaction: a store is made whole or not at all.
  if (!execute("BEGIN IMMEDIATE", name, error) ||
      !execute(std::string(*qw::resource("QWDatabase.sql")), "QWDatabase.sql", error) ||
      !execute(sql, name, error))
    return abandon();
  const auto insert = prepareQuery("INSERT INTO QWMetadata (version) VALUES (:version)", error);
  if (!insert) return abandon();
  insert->setString(version(), "version");
  if (!executeUpdate(insert, error) || !execute("COMMIT", name, error)) return abandon();

  makeInitialData();
  return true;
}

void QWDatabaseManager::makeInitialData() {
  qw::UndoRegistrationDisabled scope(undoManager_.get());
  if (!rootObjectClass().table().empty()) {
    rootObject_ = std::static_pointer_cast<QWDatabaseObject>(rootObjectClass().create());
    rootObject_->initWithDatabaseManager(*this);
  }
  addInitialData();
}

bool QWDatabaseManager::readMetadata(std::string& storedVersion, qw::Error* error) {
  const auto row = executeQuery(prepareQuery("SELECT * FROM QWMetadata LIMIT 1"));
  const bool present = row && row->next();
  if (!readFailure_.empty()) return failToRead(error);
  if (!present) return fail(error, fmt::format("No metadata in database at URL : {}", fileURL(url_)));
  storedVersion = row->stringForColumn("version").value_or("");
  password_ = row->stringForColumn("password");
  const qw::Value parameters = row->JSONObjectForColumn("localParameters");
  if (parameters.dictionary())
    for (const auto& [key, value] : *parameters.dictionary()) localParameters_[key] = value;
  row->next();  // tells whether the row was read whole
  return readFailure_.empty() || failToRead(error);
}

bool QWDatabaseManager::loadStore(qw::Error* error) {
  std::string storedVersion;
  if (!readMetadata(storedVersion, error)) return false;
  const auto order = QWStringAdditions::compareToVersion(storedVersion, version());
  if (order > 0 && typeid(*this) != typeid(QWDatabaseManager))
    return fail(
        error,
        fmt::format("The version of the database ({}) is newer than the one supported by the app ({}), "
                    "please check for an update.",
                    storedVersion, version()));
  if (order < 0 && !readOnly_ && !upgrade(storedVersion, error)) return false;
  readFailure_.clear();
  qw::UndoRegistrationDisabled scope(undoManager_.get());
  // One transaction, so that every table is read in the same state, whoever writes meanwhile.
  if (!execute("BEGIN", "the load", error)) return false;
  loadData();
  removeAllObjectRequests();
  sqlite3_exec(database_, "COMMIT", nullptr, nullptr, nullptr);
  // What was not read must not be taken for deleted.
  if (!readFailure_.empty()) return failToRead(error);
  // A store that was made but never saved has no root object yet.
  const auto& table = rootObjectClass().table();
  if (!rootObject_ && !readOnly_ && !table.empty()) {
    const auto rows =
        executeQuery(prepareQuery(fmt::format("SELECT 1 FROM {} LIMIT 1", qw::ClassSchema::quoted(table))));
    if (rows && !rows->next() && !rows->failed()) makeInitialData();
  }
  return true;
}

bool QWDatabaseManager::upgrade(const std::string& storedVersion, qw::Error* error) {
  const auto run = [&] {
    for (const auto& path : updateStatementsFilesForVersion(storedVersion)) {
      const auto text = sqlFile(path);
      if (!text)
        return fail(error,
                    fmt::format("Couldn't read update statements at path : {}", path.filename().string()));
      if (!execute(*text, path.filename().string(), error)) return false;
    }
    if (!executeCustomUpdateStatementsForVersion(storedVersion, error) || !addMissingColumns(error))
      return false;
    const auto update = prepareQuery("UPDATE QWMetadata SET version = :version", error);
    if (!update) return false;
    update->setString(version(), "version");
    return executeUpdate(update, error);
  };
  // One transaction: a store that cannot be brought up to date stays as it is.
  if (execute("BEGIN IMMEDIATE", "the upgrade", error) && run() && execute("COMMIT", "the upgrade", error))
    return true;
  sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
  return false;
}

bool QWDatabaseManager::addMissingColumns(qw::Error* error) {
  const auto classes = modelClasses();
  if (!execute(std::string(*qw::resource("QWDatabase.sql")), "QWDatabase.sql", error)) return false;
  if (!execute(qw::ClassSchema::createStatements(classes), "the property tables", error)) return false;
  for (const qw::Class* c : classes) {
    const qw::ClassSchema& schema = qw::ClassSchema::of(*c);
    if (schema.table().empty()) continue;
    std::set<std::string> present;
    const auto rows = executeQuery(prepareQuery("PRAGMA table_info(" + schema.quotedTable() + ")"));
    while (rows && rows->next()) present.insert(rows->stringForColumn("name").value_or(""));
    for (std::size_t i = 0; i < schema.columns().size(); ++i)
      if (!present.contains(schema.columns()[i]) &&
          !execute(fmt::format("ALTER TABLE {} ADD COLUMN {} {}", schema.quotedTable(),
                               qw::ClassSchema::quoted(schema.columns()[i]), schema.types()[i]),
                   "the property tables", error))
        return false;
  }
  return true;
}

void QWDatabaseManager::loadData() {
  if (!rootObjectClass().table().empty()) {
    qw::Loader loader(*this);
    rootObject_ = loader.loadRoot(rootObjectClass());
    for (const auto& object : loader.takeDropped())
      unreachableRows_.push_back({&object->objectClass(), object->ID(), object->sqlID()});
    std::sort(unreachableRows_.begin(), unreachableRows_.end(), [](const auto& a, const auto& b) {
      return std::pair(a.objectClass->name(), a.sqlID) < std::pair(b.objectClass->name(), b.sqlID);
    });
    if (!unreachableRows_.empty())
      qw::Log::warning("{} objects in {} have no way from the root and were left out",
                       unreachableRows_.size(), fileURL(url_));
  }

  if (const auto query = prepareQuery("SELECT * FROM QWDeletedID WHERE date > :date")) {
    query->setDateTime(QWDateAdditions::dateByAddingYears(qw::Clock::now(), 0, -6, 0), "date");
    const auto rows = executeQuery(query);
    while (rows && rows->next())
      if (const auto date = rows->dateTimeForColumn("date"))
        deletedIDs_[qw::ObjectID(rows->stringForColumn("ID").value_or(""))] = *date;
  }

  const auto rows = executeQuery(prepareQuery("SELECT * FROM QWFiltersBarData GROUP BY name"));
  while (rows && rows->next()) {
    const auto data = makeFiltersBarData(rows.get());
    filtersBarDatas_[data->valueForKey("name").description()] = data;
  }
  loadSynchronizationHandlers();
}

std::shared_ptr<QWDatabaseObject> QWDatabaseManager::rescue(const UnreachableRow& row) {
  if (auto present = objects_.objectForKey(row.ID); present && present->sqlID() == row.sqlID) return present;
  const auto query = prepareQuery(fmt::format("SELECT * FROM {} WHERE \"sqlID\" = :sqlID",
                                              qw::ClassSchema::of(*row.objectClass).quotedTable()));
  if (!query) return nullptr;
  query->setInt64(row.sqlID, "sqlID");
  const auto rows = executeQuery(query);
  if (!rows || !rows->next()) return nullptr;
  auto object = std::static_pointer_cast<QWDatabaseObject>(row.objectClass->create());
  const qw::UndoRegistrationDisabled scope(undoManager_.get());
  object->initWithRow(*this, *rows);
  removeAllObjectRequests();
  return object;
}

void QWDatabaseManager::makeSynchronizationHandlers() {
  const qw::Class* type = qw::ClassRegistry::find("QWDocumentSynchronizationHandler");
  if (!type) return;
  for (const qw::Class* plugin : QWPluginsManager::sharedManager().pluginsOfType(*type)) {
    auto handler = std::dynamic_pointer_cast<QWSynchronizationHandling>(plugin->create());
    if (!handler) continue;
    handler->setDatabaseManager(this);
    synchronizationHandlers_.push_back(std::move(handler));
  }
}

void QWDatabaseManager::loadSynchronizationHandlers() {
  if (synchronizationHandlers_.empty()) return;
  for (const auto& handler : synchronizationHandlers_) {
    const auto query = prepareQuery(
        "SELECT active, lastSynchronizationDate FROM QWSynchronizationHandler WHERE \"description\" = "
        ":description");
    if (!query) return;
    query->setString(handler->objectClass().name(), "description");
    const auto row = executeQuery(query);
    if (!row || !row->next()) continue;
    handler->setLastSynchronizationDate(row->dateTimeForColumn("lastSynchronizationDate"));
    handler->setActive(row->boolForColumn("active"));
    row->next();  // tells whether the row was read whole
  }
}
