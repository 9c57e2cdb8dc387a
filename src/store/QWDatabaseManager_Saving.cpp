// Computing and saving changes, and what a saved file is handed to.
#include <fmt/format.h>

#include <algorithm>

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

void QWDatabaseManager::touchReferencesToDeletedTargets() {
  // The rows that name them by ID change, although the links stay for an undo to find.
  const auto targets = std::exchange(retargeted_, {});
  const auto refersToOne = [&](const qw::Class& c) {
    for (const auto& entry : qw::ClassSchema::of(c).references())
      for (const auto& target : targets)
        if (target->isKindOf(entry.storage->relation->targetClass())) return true;
    return false;
  };
  std::unordered_map<const qw::Class*, bool> concerned;
  bool any = false;
  for (const qw::Class* c : modelClasses()) any |= concerned[c] = refersToOne(*c);
  if (!any) return;
  const std::unordered_map<const QWDatabaseObject*, bool> wanted = [&] {
    std::unordered_map<const QWDatabaseObject*, bool> set;
    for (const auto& target : targets) set[target.get()] = true;
    return set;
  }();
  objects_.forEach([&](const std::shared_ptr<QWDatabaseObject>& object) {
    if (object->isDeleted() || !concerned[&object->objectClass()]) return;
    for (const auto& entry : qw::ClassSchema::of(object->objectClass()).references())
      if (wanted.contains(entry.storage->relation->target(*object).get())) {
        object->willModify();
        object->addModification();
        return;
      }
  });
}

QWDatabaseManager::Changes QWDatabaseManager::computeChanges() {
  settle();
  touchReferencesToDeletedTargets();
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

bool QWDatabaseManager::saveChange(const QWDatabaseChange& change, std::shared_ptr<QWDatabaseQuery>& query,
                                   qw::RowBinder& binder, std::vector<std::string>& messages) {
  qw::Error error;
  if (!query || query->sql() != change.sql()) {
    if (query) addQueryToCache(query);
    query = prepareQuery(change.sql(), &error);
    if (!query) {
      if (std::find(messages.begin(), messages.end(), error.localizedDescription) == messages.end())
        messages.push_back(error.localizedDescription);
      return false;
    }
  }
  sqlite3_stmt* statement = query->statement();
  if (change.kind_ == QWDatabaseChange::Kind::kOther)
    change.prepare(*query);
  else
    change.bind(statement, binder);
  const bool done = sqlite3_step(statement) == SQLITE_DONE;
  if (!done)
    messages.push_back(
        fmt::format("Error while executing update : {}\n{}", lastExecutedQuery_, sqlite3_errmsg(database_)));
  else if (change.kind_ == QWDatabaseChange::Kind::kInsert)
    change.object_->sqlID_ = sqlite3_last_insert_rowid(database_);
  sqlite3_reset(statement);
  return done;
}

bool QWDatabaseManager::saveChanges(const Changes& changes, qw::Error* error) {
  std::vector<std::string> messages;
  std::shared_ptr<QWDatabaseQuery> query;
  qw::RowBinder binder;
  const auto addMessage = [&] { messages.push_back(sqlite3_errmsg(database_)); };

  bool open = sqlite3_exec(database_, "BEGIN TRANSACTION", nullptr, nullptr, nullptr) == SQLITE_OK;
  if (!open) addMessage();
  std::size_t executed = 0;
  std::vector<const QWDatabaseChange*> failed;
  for (; open && executed < changes.size(); ++executed) {
    // The objects of a large save lie far apart: have the one after the next on its way meanwhile.
    if (executed + 2 < changes.size()) changes[executed + 2]->prefetch();
    if (saveChange(*changes[executed], query, binder, messages)) continue;
    failed.push_back(changes[executed].get());
    if (endsTheSave(database_, sqlite3_errcode(database_))) open = false;
  }
  if (query) {
    sqlite3_clear_bindings(query->statement());
    addQueryToCache(query);
  }
  if (open && sqlite3_exec(database_, "END TRANSACTION", nullptr, nullptr, nullptr) != SQLITE_OK) {
    addMessage();
    open = false;
  }
  if (open) {
    for (const QWDatabaseChange* change : failed) const_cast<QWDatabaseChange*>(change)->revert();
  } else {
    // Nothing reached the file: every object is as unsaved as before.
    if (!sqlite3_get_autocommit(database_)) sqlite3_exec(database_, "ROLLBACK", nullptr, nullptr, nullptr);
    for (const auto& change : changes) change->revert();
  }
  if (messages.empty()) return true;
  return qw::Error::set(error, QWDatabaseErrorDomain, 4, joined(messages));
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

std::shared_ptr<QWSynchronizationHandling> QWDatabaseManager::synchronizationHandler(
    std::string_view description) const {
  for (const auto& handler : synchronizationHandlers_)
    if (handler->objectClass().name() == description) return handler;
  return nullptr;
}

void QWDatabaseManager::prepareSynchronization(int step, QWDatabaseManager& other) {
  if (step != numberOfSynchronizationSteps()) return;
  for (const auto& [name, data] : other.filtersBarDatas_) filtersBarData(name)->setID(data->ID());
}

std::vector<qw::ObjectID> QWDatabaseManager::synchronizingObjectIDsForStep(int step) const {
  // Priorities compare as unsigned numbers: -1, on either side, is the largest.
  const auto bound = [&](int n) {
    return static_cast<std::uint64_t>(maximumSynchronizationPriorityForStep(n));
  };
  constexpr std::uint64_t kNoBound = ~std::uint64_t{0};
  const std::uint64_t below = bound(step);
  const std::uint64_t from = step >= 2 ? bound(step - 1) : kNoBound;
  std::vector<std::pair<std::int32_t, qw::ObjectID>> found;
  objects_.forEach([&](const std::shared_ptr<QWDatabaseObject>& object) {
    const std::int32_t priority = object->objectClass().synchronizationPriority();
    const auto key = static_cast<std::uint64_t>(std::int64_t{priority});
    if (object->isDeleted() || (below != kNoBound && key >= below) || (from != kNoBound && key < from))
      return;
    found.emplace_back(priority, object->ID());
  });
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<qw::ObjectID> ids;
  ids.reserve(found.size());
  for (auto& [priority, id] : found) ids.push_back(id);
  return ids;
}
