#include "store/model/internal/SaveRun.h"

#include <fmt/format.h>

#include <algorithm>

#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/internal/EditLog.h"

namespace qw {

namespace {

/// After these the transaction is gone or every further statement would fail the same way; only a constraint
/// or a wrong statement concerns a single row.
bool endsTheSave(sqlite3* database, int result) {
  if (sqlite3_get_autocommit(database)) return true;
  switch (result & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_NOMEM:
    case SQLITE_READONLY:
    case SQLITE_INTERRUPT:
    case SQLITE_IOERR:
    case SQLITE_CORRUPT:
    case SQLITE_FULL:
    case SQLITE_CANTOPEN:
    case SQLITE_PROTOCOL:
    case SQLITE_NOTADB:
      return true;
    default:
      return false;
  }
}

/// Why the last statement failed.
std::string reason(sqlite3* database) {
  if (database && sqlite3_extended_errcode(database) == SQLITE_READONLY_DBMOVED)
    return "The file was moved or deleted while it was open";
  return sqlite3_errmsg(database);
}

/// Brings the object of a row that will be written soon into the cache: the objects of a large save lie far
/// apart.
void prefetch(const RowWrite& row) {
  for (std::size_t line = 0; line < 5; ++line)
    __builtin_prefetch(reinterpret_cast<const char*>(row.object.get()) + 64 * line);
}

}  // namespace

SaveRun::SaveRun(QWDatabaseManager& manager) : manager_(manager), database_(manager.database()) {}

bool SaveRun::execute(const char* sql) {
  if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  messages_.push_back(reason(database_));
  return false;
}

bool SaveRun::run(std::span<const std::shared_ptr<QWDatabaseChange>> changes, std::span<const RowWrite> rows,
                  Error* error) {
  // Made beforehand: without memory to make it the transaction would stay open.
  Error unprepared;
  const auto rollback = manager_.prepareQuery("ROLLBACK", &unprepared);
  if (!rollback) messages_.push_back(database_ ? unprepared.localizedDescription : "no connection");
  const bool begun = rollback && execute("BEGIN TRANSACTION");
  bool open = begun;
  std::vector<const RowWrite*> failed;
  const auto note = [&](const RowWrite& row, int result) {
    if (result == SQLITE_OK) return;
    if (row) failed.push_back(&row);
    open = !endsTheSave(database_, result);
  };
  for (std::size_t i = 0; open && i < changes.size(); ++i) {
    if (i + 2 < changes.size()) prefetch(changes[i + 2]->write());
    note(changes[i]->write(), write(*changes[i]));
  }
  for (std::size_t i = 0; open && i < rows.size(); ++i) {
    if (i + 2 < rows.size()) prefetch(rows[i + 2]);
    note(rows[i], write(rows[i], *rows[i].object));
  }
  putBackStatement();
  if (open && execute("END TRANSACTION")) {
    for (const RowWrite* row : failed) manager_.edits().revert(*row, false);
  } else {
    if (begun && !sqlite3_get_autocommit(database_)) sqlite3_step(rollback->statement());
    // Every object is as unsaved as before. A disk that fails after the moment of the commit leaves the rows
    // in the file all the same; inserting them once more would double them.
    bool committed = false;
    const auto isInsert = [](const RowWrite& row) { return row.kind == RowWrite::Kind::kInsert; };
    if (const auto row = std::find_if(rows.begin(), rows.end(), isInsert); row != rows.end())
      committed = open && isInFile(*row, *row->object);
    else if (const auto change = std::find_if(changes.begin(), changes.end(),
                                              [&](const auto& change) { return isInsert(change->write()); });
             change != changes.end())
      committed = open && isInFile((*change)->write(), (*change)->values());
    for (const auto& change : changes)
      if (change->write()) manager_.edits().revert(change->write(), committed);
    for (const RowWrite& row : rows) manager_.edits().revert(row, committed);
  }
  if (rollback) manager_.addQueryToCache(rollback);
  if (messages_.empty()) return true;
  return Error::set(error, QWDatabaseErrorDomain, 4, fmt::format("{}", fmt::join(messages_, "\n")));
}

int SaveRun::statementFor(const std::string& sql) {
  if (query_ && (sql_ == &sql || query_->sql() == sql)) return SQLITE_OK;
  putBackStatement();
  Error error;
  query_ = manager_.prepareQuery(sql, &error);
  sql_ = &sql;
  if (query_) return SQLITE_OK;
  const int result = sqlite3_errcode(database_);
  if (std::find(messages_.begin(), messages_.end(), error.localizedDescription) == messages_.end())
    messages_.push_back(error.localizedDescription);
  return result == SQLITE_OK ? SQLITE_ERROR : result;
}

int SaveRun::fail(int result, const std::string& sql, const std::string& reason) {
  messages_.push_back(fmt::format("Error while executing update : {}\n{}", sql, reason));
  query_->reset();
  return result;
}

int SaveRun::write(const QWDatabaseChange& change) {
  if (change.write()) return write(change.write(), change.values());
  if (const int result = statementFor(change.sql()); result != SQLITE_OK) return result;
  change.prepare(*query_);
  if (const int bound = query_->bindResult(); bound != SQLITE_OK)
    return fail(bound, change.sql(),
                !query_->bindFault().empty() ? query_->bindFault()
                : bound == SQLITE_MISMATCH   ? "A value has no JSON form"
                                             : sqlite3_errstr(bound));
  if (const int result = sqlite3_step(query_->statement()); result != SQLITE_DONE)
    return fail(result == SQLITE_ROW ? SQLITE_ERROR : result, change.sql(), reason(database_));
  query_->reset();
  return SQLITE_OK;
}

int SaveRun::write(const RowWrite& row, const QWDatabaseObject& values) {
  using Kind = RowWrite::Kind;
  // Computed once more before the first of the changes was run: the object has a row by now.
  const std::int64_t present = row.object->rowState().rowID();
  if (row.kind == Kind::kInsert && present > 0)
    return write({row.object, row.object->rowState(), row.computation, Kind::kUpdate, row.isPlaced}, values);
  const std::string& sql = row.sql();
  if (const int result = statementFor(sql); result != SQLITE_OK) return result;
  sqlite3_stmt* statement = query_->statement();
  binder_.begin(statement);
  if (row.kind != Kind::kDelete) values.bindColumns(binder_);
  if (row.kind != Kind::kInsert) binder_.bindInt64(row.former.rowID());
  if (const int bound = binder_.result(); bound != SQLITE_OK)
    return fail(bound, sql, bound == SQLITE_MISMATCH ? "A value has no JSON form" : sqlite3_errstr(bound));
  if (const int result = sqlite3_step(statement); result != SQLITE_DONE)
    return fail(result == SQLITE_ROW ? SQLITE_ERROR : result, sql, reason(database_));
  if (row.kind == Kind::kInsert) row.object->rowState().setRow(sqlite3_last_insert_rowid(database_));
  if (row.kind == Kind::kUpdate && sqlite3_changes(database_) == 0) {
    row.object->rowState().loseRow();  // the next save writes a new row
    return fail(SQLITE_NOTFOUND, sql, "The row is not there any more");
  }
  row.object->rowState().setWritten(row.computation);
  sqlite3_reset(statement);
  return SQLITE_OK;
}

bool SaveRun::isInFile(const RowWrite& insert, const QWDatabaseObject& values) {
  const auto query = manager_.prepareQuery(fmt::format("SELECT \"ID\" FROM {} WHERE \"sqlID\" = :sqlID",
                                                       ClassSchema::of(values.objectClass()).quotedTable()));
  if (!query) return false;
  query->setInt64(insert.object->sqlID(), "sqlID");
  const auto rows = manager_.executeQuery(query);
  return rows && rows->next() && rows->stringForColumn("ID") == values.ID().text();
}

void SaveRun::putBackStatement() {
  if (!query_) return;
  manager_.addQueryToCache(query_);
  sqlite3_clear_bindings(query_->statement());
  query_ = nullptr;
}

}  // namespace qw
