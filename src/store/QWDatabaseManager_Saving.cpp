// Computing and saving changes, and what a saved file is handed to.
#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "platform/Clock.h"
#include "platform/FileManager.h"
#include "platform/Log.h"
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

/// Why the last statement failed.
std::string reason(sqlite3* database) {
  if (database && sqlite3_extended_errcode(database) == SQLITE_READONLY_DBMOVED)
    return "The file was moved or deleted while it was open";
  return sqlite3_errmsg(database);
}

std::string joined(const std::vector<std::string>& messages) {
  std::string text;
  for (const std::string& message : messages) text += (text.empty() ? "" : "\n") + message;
  return text;
}

}  // namespace

/// Objects by what they refer to or own. Entries are never taken out: a link is looked at before it counts.
class QWDatabaseManager::Referrers {
 public:
  explicit Referrers(const QWRequestsMap& objects) : bound_(2 * objects.count() + 1000) {
    objects.forEach([this](const std::shared_ptr<QWDatabaseObject>& object) { add(*object); });
  }

  void add(QWDatabaseObject& object) {
    eachLink(object, [&](const QWDatabaseObject* target) {
      auto& named = byTarget_[target];
      if (!named.empty() && named.back() == &object) return;
      named.push_back(&object);
      ++size_;
    });
  }
  /// So much of it may be out of date that a new one is cheaper.
  bool isWorn() const { return size_ > bound_; }

  template <class Visit>
  void visit(const QWDatabaseObject& target, Visit visit) const {
    const auto found = byTarget_.find(&target);
    if (found == byTarget_.end()) return;
    for (QWDatabaseObject* object : found->second) {
      bool names = false;
      eachLink(*object, [&](const QWDatabaseObject* link) { names = names || link == &target; });
      if (names) visit(*object);
    }
  }

 private:
  template <class Visit>
  static void eachLink(const QWDatabaseObject& object, Visit visit) {
    const qw::ClassSchema& schema = qw::ClassSchema::of(object.objectClass());
    for (const auto* entries : {&schema.references(), &schema.owned()})
      for (const auto& entry : *entries)
        if (const auto target = entry.storage->relation->target(object)) visit(target.get());
  }

  std::unordered_map<const QWDatabaseObject*, std::vector<QWDatabaseObject*>> byTarget_;
  std::size_t size_ = 0;
  std::size_t bound_;
};

bool QWDatabaseManager::canBeNamed(const qw::Class& c) const {
  const auto classes = modelClasses();
  return std::any_of(classes.begin(), classes.end(), [&](const qw::Class* other) {
    const qw::ClassSchema& schema = qw::ClassSchema::of(*other);
    const auto names = [&](const auto& entry) {
      return c.isSubclassOf(entry.storage->relation->targetClass());
    };
    return std::any_of(schema.references().begin(), schema.references().end(), names) ||
           std::any_of(schema.owned().begin(), schema.owned().end(), names);
  });
}

void QWDatabaseManager::touchRowsThatName() {
  if (referrers_)
    for (const auto& object : unsaved_)
      if (object->registered_) referrers_->add(*object);
  if (referrers_ && referrers_->isWorn()) referrers_.reset();
  // The links stay as they are; an undone deletion finds them again.
  const auto targets = std::exchange(renamed_, {});
  const auto touch = [](QWDatabaseObject& object) {
    if (object.isDeleted() || !object.registered_) return;
    object.willModify();
    object.mustWrite_ = true;
    object.touch();
  };
  std::unordered_map<const qw::Class*, bool> named;
  for (const auto& target : targets) {
    const auto [can, isNew] = named.try_emplace(&target->objectClass());
    if (isNew) can->second = canBeNamed(target->objectClass());
    for (const auto& entry : qw::ClassSchema::of(target->objectClass()).children())
      for (const auto& child : entry.storage->relation->list(*target).objects()) touch(*child);
    if (!can->second) continue;
    if (!referrers_) referrers_ = std::make_shared<Referrers>(objects_);
    referrers_->visit(*target, touch);
  }
}

/// `alone`: objects without a parent whose rows are to be written. The next load will not find those that
/// have no owner either.
void QWDatabaseManager::reportUnreachable(std::unordered_set<const QWDatabaseObject*> alone,
                                          const Changes& changes) const {
  alone.erase(rootObject_.get());
  for (const auto& [name, data] : filtersBarDatas_) alone.erase(data.get());
  const auto eraseOwned = [&](const QWDatabaseObject& owner) {
    for (const auto& entry : qw::ClassSchema::of(owner.objectClass()).owned())
      if (const auto owned = entry.storage->relation->target(owner)) alone.erase(owned.get());
  };
  // A new object's owner is written with it.
  for (auto change = changes.begin(); change != changes.end() && !alone.empty(); ++change)
    if ((*change)->object_ && !(*change)->object_->isDeleted()) eraseOwned(*(*change)->object_);
  if (alone.empty()) return;
  objects_.forEach([&](const auto& object) {
    if (!object->isDeleted()) eraseOwned(*object);
  });
  for (const QWDatabaseObject* object : alone)
    qw::Log::error("{} {} is saved with neither parent nor owner: the next load will leave it out",
                   object->objectClass().name(), object->ID().text());
}

QWDatabaseManager::Changes QWDatabaseManager::computeChanges() {
  settle();
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
        // Read when it is written: the save itself sets the date.
        [handler](QWDatabaseQuery& query) {
          query.setString(handler->objectClass().name(), "description");
          query.setString(handler->identifier(), "identifier");
          query.setBool(handler->isActive(), "active");
          query.setDateTime(handler->lastSynchronizationDate(), "lastSynchronizationDate");
        });

  const std::size_t first = changes.size();
  std::unordered_set<const QWDatabaseObject*> alone;
  for (auto& object : std::exchange(unsaved_, {})) {
    object->queued_ = false;
    if (!object->registered_) continue;
    auto change = QWDatabaseObject::computeChange(std::move(object));
    if (!change) continue;
    using Kind = QWDatabaseChange::Kind;
    const QWDatabaseObject& written = *change->object_;
    if (written.index_ < 0 && change->kind_ != Kind::kDelete &&
        (change->kind_ == Kind::kInsert || !qw::ClassSchema::of(written.objectClass()).parents().empty()))
      alone.insert(&written);
    changes.push_back(std::move(change));
  }
  reportUnreachable(std::move(alone), changes);
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
  const auto fail = [&](int result, const std::string& reason) {
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
    return fail(result == SQLITE_ROW ? SQLITE_ERROR : result, reason(database_));
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
    messages.push_back(reason(database_));
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
  if (messages.empty()) return true;
  return qw::Error::set(error, QWDatabaseErrorDomain, 4, joined(messages));
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
  std::error_code ignored;
  if (const auto size = std::filesystem::file_size(url_, ignored);
      !ignored && size > qw::FileManager::kMaximumContents) {
    for (const auto& change : changes) change->revert();
    qw::Error::set(error, QWDatabaseErrorDomain, 4,
                   fmt::format("{} is larger than {} bytes and cannot be handed over in memory",
                               url_.filename().string(), qw::FileManager::kMaximumContents));
    return std::nullopt;
  }
  if (!saveAndHandOver(changes, processSynchronizationHandlers, displayName, error)) return std::nullopt;
  qw::Error unread;
  auto bytes = qw::FileManager::contents(url_, qw::FileManager::kMaximumContents, &unread);
  if (!bytes && error) *error = unread;
  return bytes;
}

bool QWDatabaseManager::saveAndHandOver(const Changes& changes, bool processSynchronizationHandlers,
                                        const std::string& displayName, qw::Error* error) {
  Handlers handlers;
  std::vector<std::optional<qw::Date>> former;
  if (processSynchronizationHandlers) {
    const qw::Date now = qw::Clock::now().truncatedToSecond();
    for (const auto& handler : synchronizationHandlers_) {
      if (!handler->shouldProcess()) continue;
      former.push_back(handler->lastSynchronizationDate());
      handler->setLastSynchronizationDate(now);
      handlers.push_back(handler);
    }
  }
  if (!saveChanges(changes, error)) {
    for (std::size_t i = 0; i < handlers.size(); ++i) handlers[i]->setLastSynchronizationDate(former[i]);
    return false;
  }
  if (!handlers.empty()) handOver(handlers, displayName, error);
  return true;
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
  if (!saveAndHandOver(changes, processSynchronizationHandlers, URL.filename().string(), error)) return false;
  std::error_code ignored;
  // A copy in the place of the store itself would cut off the connection.
  if (std::filesystem::equivalent(url_, URL, ignored)) return true;
  return qw::FileManager::copyItem(url_, URL, error);
}

void QWDatabaseManager::commitChangesToOriginalDatabaseManager() {
  const auto original = originalDatabaseManager();
  if (!original) return;
  settle();
  auto objects = objects_.allValues();
  std::stable_sort(objects.begin(), objects.end(), [](const auto& a, const auto& b) {
    return a->objectClass().synchronizationPriority() < b->objectClass().synchronizationPriority();
  });
  // Deletions last, so that what moved elsewhere is not deleted with its former parent. Before anything is
  // imported an object that gave up its ID here does so there.
  std::vector<std::shared_ptr<QWDatabaseObject>> deleted;
  std::unordered_set<const QWDatabaseObject*> owned;  // what is new among them comes with its owner
  for (const auto& object : objects) {
    for (const auto& entry : qw::ClassSchema::of(object->objectClass()).owned())
      if (const auto target = entry.storage->relation->target(*object)) owned.insert(target.get());
    const auto counterpart = object->originalObject();
    if (object->isDeleted() && counterpart) deleted.push_back(object);
    if (counterpart && !counterpart->isDeleted() && std::erase(object->rare().edited, "ID"))
      counterpart->setID(object->ID());
  }
  for (const auto& object : objects) {
    if (object->isDeleted()) continue;
    if (const auto counterpart = object->originalObject())
      object->commitProperties(*counterpart);
    else if (!owned.contains(object.get()))
      object->commitChangesToOriginalDatabaseManager();
  }
  original->removeAllObjectRequests();
  commitDeletions(deleted);
  for (const auto& object : objects)
    if (const auto counterpart = object->originalObject(); counterpart && !object->isDeleted())
      object->commitOrder(*counterpart);
  original->removeAllObjectRequests();
}

void QWDatabaseManager::commitDeletions(const std::vector<std::shared_ptr<QWDatabaseObject>>& deleted) {
  std::vector<std::shared_ptr<QWDatabaseObject>> originals;
  std::unordered_set<const QWDatabaseObject*> doomed;
  for (const auto& object : deleted) {
    if (auto original = object->originalObject(); original && doomed.insert(original.get()).second)
      originals.push_back(std::move(original));
    object->rare().originalObject = nullptr;
  }
  // What was put below one of them meanwhile, and was not deleted here, would go with it: it is somebody's
  // work, and needs its parents and what they own.
  const auto spare = [&](const QWDatabaseObject& object) {
    std::vector<const QWDatabaseObject*> spared{&object};
    while (!spared.empty()) {
      const QWDatabaseObject& next = *spared.back();
      spared.pop_back();
      if (!doomed.erase(&next)) continue;
      const qw::ClassSchema& schema = qw::ClassSchema::of(next.objectClass());
      for (const auto* entries : {&schema.parents(), &schema.owned()})
        for (const auto& entry : *entries)
          if (const auto needed = entry.storage->relation->target(next)) spared.push_back(needed.get());
    }
  };
  for (const auto& original : originals)
    for (const auto& entry : qw::ClassSchema::of(original->objectClass()).children())
      for (const auto& child : entry.storage->relation->list(*original).objects())
        if (!child->isDeleted() && !doomed.contains(child.get())) spare(*original);
  for (const auto& original : originals)
    if (doomed.contains(original.get())) original->deleteObject();
}
