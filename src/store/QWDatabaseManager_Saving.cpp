// Computing and saving changes, and what a saved file is handed to.
#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/ZipArchive.h"
#include "store/ClassSchema.h"
#include "store/QWDatabaseManager.h"

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

std::string joined(const std::vector<std::string>& messages) {
  std::string text;
  for (const std::string& message : messages) text += (text.empty() ? "" : "\n") + message;
  return text;
}

}  // namespace

void QWDatabaseManager::touchRowsThatName() {
  // The links stay as they are; an undone deletion finds them again.
  const auto targets = std::exchange(renamed_, {});
  if (targets.empty()) return;
  std::unordered_set<const QWDatabaseObject*> wanted;
  std::unordered_set<const qw::Class*> classes;
  for (const auto& target : targets) {
    wanted.insert(target.get());
    classes.insert(&target->objectClass());
  }
  const auto mayName = [&](const qw::ClassSchema::Entry& entry) {
    if (!entry.storage->relation) return false;
    const qw::Class& targetClass = entry.storage->relation->targetClass();
    return std::any_of(classes.begin(), classes.end(),
                       [&](const qw::Class* c) { return c->isSubclassOf(targetClass); });
  };
  std::unordered_map<const qw::Class*, std::vector<const qw::Relation*>> relations;
  const qw::Class* last = nullptr;
  const std::vector<const qw::Relation*>* lastRelations = nullptr;
  objects_.forEach([&](const std::shared_ptr<QWDatabaseObject>& object) {
    if (object->isDeleted()) return;
    if (last != &object->objectClass()) {
      last = &object->objectClass();
      const auto [found, isNew] = relations.try_emplace(last);
      if (isNew)
        for (const auto& entry : qw::ClassSchema::of(*last).stored())
          if (mayName(entry)) found->second.push_back(entry.storage->relation);
      lastRelations = &found->second;
    }
    for (const qw::Relation* relation : *lastRelations)
      if (wanted.contains(relation->target(*object).get())) {
        object->willModify();
        object->mustWrite_ = true;
        object->touch();
        return;
      }
  });
}

QWDatabaseManager::Changes QWDatabaseManager::computeChanges() {
  settle();
  numberChildren();
  touchRowsThatName();
  Changes changes;
  changes.reserve(unsaved_.size() + deletedIDs_.size() + 4);
  const auto add = [&](const char* sql, QWDatabaseChange::PrepareBlock block = nullptr) {
    changes.push_back(std::make_shared<QWDatabaseChange>(sql, std::move(block)));
  };
  add("UPDATE QWMetadata SET password = :password, localParameters = :localParameters",
      [password = password_, parameters = qw::Value(localParameters_)](QWDatabaseQuery& query) {
        query.setString(password, "password");
        query.setJSONObject(parameters, "localParameters");
      });
  add("DELETE FROM QWDeletedID");
  for (const auto& [id, date] : deletedIDs_)
    add("INSERT INTO QWDeletedID VALUES (:ID, :date)", [id = id, date = date](QWDatabaseQuery& query) {
      query.setString(id.text(), "ID");
      query.setDateTime(date, "date");
    });
  add("DELETE FROM QWSynchronizationHandler");
  for (const auto& handler : synchronizationHandlers_)
    add("INSERT INTO QWSynchronizationHandler VALUES (:description, :identifier, :active, "
        ":lastSynchronizationDate)",
        [description = std::string(handler->objectClass().name()), identifier = handler->identifier(),
         active = handler->isActive(), date = handler->lastSynchronizationDate()](QWDatabaseQuery& query) {
          query.setString(description, "description");
          query.setString(identifier, "identifier");
          query.setBool(active, "active");
          query.setDateTime(date, "lastSynchronizationDate");
        });

  const std::size_t first = changes.size();
  for (auto& object : std::exchange(unsaved_, {})) {
    object->queued_ = false;
    if (!object->registered_) continue;
    if (auto change = QWDatabaseObject::computeChange(std::move(object)))
      changes.push_back(std::move(change));
  }
  // Deletions first, then rows from the highest number down, then new objects as they were made.
  const auto inOrder = [](const auto& a, const auto& b) {
    using Kind = QWDatabaseChange::Kind;
    const bool deletes = a->kind_ == Kind::kDelete;
    return deletes != (b->kind_ == Kind::kDelete) ? deletes : a->sqlID_ > b->sqlID_;
  };
  const auto begin = changes.begin() + static_cast<std::ptrdiff_t>(first);
  if (!std::is_sorted(begin, changes.end(), inOrder)) std::stable_sort(begin, changes.end(), inOrder);
  return changes;
}

int QWDatabaseManager::saveChange(const QWDatabaseChange& change, std::shared_ptr<QWDatabaseQuery>& query,
                                  qw::RowBinder& binder, std::vector<std::string>& messages) {
  using Kind = QWDatabaseChange::Kind;
  qw::Error error;
  if (!query || query->sql() != change.sql()) {
    putBack(query);
    query = prepareQuery(change.sql(), &error);
    if (!query) {
      const int result = sqlite3_errcode(database_);
      if (std::find(messages.begin(), messages.end(), error.localizedDescription) == messages.end())
        messages.push_back(error.localizedDescription);
      return result == SQLITE_OK ? SQLITE_ERROR : result;
    }
  }
  sqlite3_stmt* statement = query->statement();
  const auto fail = [&](int result, const char* reason) {
    messages.push_back(fmt::format("Error while executing update : {}\n{}", change.sql(), reason));
    sqlite3_reset(statement);
    return result;
  };
  if (change.kind_ == Kind::kOther) change.prepare(*query);
  const int bound = change.kind_ == Kind::kOther ? query->bindResult() : change.bind(statement, binder);
  query->bindResult_ = SQLITE_OK;
  if (bound != SQLITE_OK)
    return fail(bound, bound == SQLITE_MISMATCH ? "A value has no JSON form" : sqlite3_errstr(bound));
  if (const int result = sqlite3_step(statement); result != SQLITE_DONE)
    return fail(result == SQLITE_ROW ? SQLITE_ERROR : result, sqlite3_errmsg(database_));
  if (change.kind_ == Kind::kInsert) change.object_->sqlID_ = sqlite3_last_insert_rowid(database_);
  if (change.kind_ == Kind::kUpdate && sqlite3_changes(database_) == 0) {
    change.object_->sqlID_ = 0;  // the next save writes a new row
    return fail(SQLITE_NOTFOUND, "The row is not there any more");
  }
  sqlite3_reset(statement);
  return SQLITE_OK;
}

bool QWDatabaseManager::isInFile(const QWDatabaseChange& insert) {
  const QWDatabaseObject& object = *insert.object_;
  const auto query = prepareQuery(fmt::format("SELECT \"ID\" FROM {} WHERE \"sqlID\" = :sqlID",
                                              qw::ClassSchema::of(object.objectClass()).quotedTable()));
  if (!query) return false;
  query->setInt64(object.sqlID_, "sqlID");
  const auto rows = executeQuery(query);
  return rows && rows->next() &&
         rows->stringForColumn("ID") == (insert.captured_ ? *insert.captured_ : object).ID().text();
}

bool QWDatabaseManager::saveChanges(const Changes& changes, qw::Error* error) {
  std::vector<std::string> messages;
  std::shared_ptr<QWDatabaseQuery> query;
  qw::RowBinder binder;
  const auto execute = [&](const char* sql) {
    if (sqlite3_exec(database_, sql, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
    messages.push_back(sqlite3_errmsg(database_));
    return false;
  };

  // Made beforehand: without memory to make it the transaction would stay open.
  qw::Error unprepared;
  const auto rollback = prepareQuery("ROLLBACK", &unprepared);
  if (!rollback) messages.push_back(database_ ? unprepared.localizedDescription : "no connection");
  const bool begun = rollback && execute("BEGIN TRANSACTION");
  bool open = begun;
  std::vector<QWDatabaseChange*> failed;
  for (std::size_t i = 0; open && i < changes.size(); ++i) {
    // The objects of a large save lie far apart: have the one after the next on its way meanwhile.
    if (i + 2 < changes.size()) changes[i + 2]->prefetch();
    const int result = saveChange(*changes[i], query, binder, messages);
    if (result == SQLITE_OK) continue;
    failed.push_back(changes[i].get());
    open = !endsTheSave(database_, result);
  }
  putBack(query);
  const bool ended = open && execute("END TRANSACTION");
  if (ended) {
    for (QWDatabaseChange* change : failed) change->revert();
  } else {
    if (begun && !sqlite3_get_autocommit(database_)) sqlite3_step(rollback->statement());
    // Every object is as unsaved as before. A disk that fails after the moment of the commit leaves the rows
    // in the file all the same; inserting them once more would double them.
    const auto insert = std::find_if(changes.begin(), changes.end(), [](const auto& change) {
      return change->kind_ == QWDatabaseChange::Kind::kInsert;
    });
    const bool committed = open && insert != changes.end() && isInFile(**insert);
    for (const auto& change : changes) change->revert(committed);
  }
  if (rollback) addQueryToCache(rollback);
  if (!messages.empty()) return qw::Error::set(error, QWDatabaseErrorDomain, 4, joined(messages));
  forgetSavedListEdits();
  return true;
}

/// Nothing that was bound for a row outlives its save.
void QWDatabaseManager::putBack(const std::shared_ptr<QWDatabaseQuery>& query) {
  if (!query) return;
  addQueryToCache(query);
  sqlite3_clear_bindings(query->statement());
}

std::optional<qw::Data> QWDatabaseManager::saveChanges(const Changes& changes,
                                                       bool processSynchronizationHandlers,
                                                       const std::string& displayName, qw::Error* error) {
  std::vector<std::shared_ptr<QWSynchronizationHandling>> handlers;
  if (processSynchronizationHandlers) {
    const qw::Date now = qw::Clock::now().truncatedToSecond();
    for (const auto& handler : synchronizationHandlers_) {
      if (!handler->shouldProcess()) continue;
      handler->setLastSynchronizationDate(now);
      handlers.push_back(handler);
    }
  }
  if (!saveChanges(changes, error)) return std::nullopt;
  auto bytes = qw::FileManager::contents(url_, qw::FileManager::kMaximumContents, error);
  if (bytes && !handlers.empty()) handOver(handlers, displayName, error);
  return bytes;
}

bool QWDatabaseManager::handOver(const std::vector<std::shared_ptr<QWSynchronizationHandling>>& handlers,
                                 const std::string& displayName, qw::Error* error) {
  std::filesystem::path archive = url_;
  archive += ".zip";
  if (std::filesystem::exists(archive) && !qw::FileManager::removeItem(archive, error)) return false;
  const std::filesystem::path files[] = {url_};
  if (!qw::ZipArchive::zipFiles(files, archive, {}, displayName, error)) return false;
  const bool handled = std::all_of(handlers.begin(), handlers.end(), [&](const auto& handler) {
    return handler->handleArchiveURL(archive, error);
  });
  qw::FileManager::removeItem(archive);
  return handled;
}

bool QWDatabaseManager::saveChangesAndCopyToURL(const Changes& changes, const std::filesystem::path& URL,
                                                bool processSynchronizationHandlers, qw::Error* error) {
  const auto bytes = saveChanges(changes, processSynchronizationHandlers, URL.filename().string(), error);
  return bytes && qw::FileManager::writeAtomically(bytes->text(), URL, error);
}

void QWDatabaseManager::commitChangesToOriginalDatabaseManager() {
  const auto original = originalDatabaseManager();
  if (!original) return;
  settle();
  auto objects = objects_.allValues();
  std::stable_sort(objects.begin(), objects.end(), [](const auto& a, const auto& b) {
    return a->objectClass().synchronizationPriority() < b->objectClass().synchronizationPriority();
  });
  for (const auto& object : objects) object->commitChangesToOriginalDatabaseManager();
  original->removeAllObjectRequests();
}
