// Computing and saving changes, and what a saved file is handed to.
#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "platform/system/Clock.h"
#include "platform/system/FileManager.h"
#include "platform/files/ZipArchive.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/internal/SaveRun.h"

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

QWDatabaseManager::Changes QWDatabaseManager::ownChanges() const {
  Changes changes;
  changes.reserve(deletedIDs_.size() + synchronizationHandlers_.size() + 3);
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
  return changes;
}

std::vector<qw::RowWrite> QWDatabaseManager::takeRowWrites() {
  settle();
  touchRowsThatName();
  std::vector<qw::RowWrite> rows;
  rows.reserve(unsaved_.size());
  for (auto& object : std::exchange(unsaved_, {})) {
    object->queued_ = false;
    if (!object->registered_) continue;
    if (qw::RowWrite write = QWDatabaseObject::takeWrite(std::move(object))) rows.push_back(std::move(write));
  }
  // Deletions first, then rows from the highest number down, then new objects as they were made.
  const auto inOrder = [](const qw::RowWrite& a, const qw::RowWrite& b) {
    const bool deletes = a.kind == qw::RowWrite::Kind::kDelete;
    return deletes != (b.kind == qw::RowWrite::Kind::kDelete) ? deletes : a.sqlID > b.sqlID;
  };
  if (!std::is_sorted(rows.begin(), rows.end(), inOrder)) std::stable_sort(rows.begin(), rows.end(), inOrder);
  return rows;
}

QWDatabaseManager::Changes QWDatabaseManager::computeChanges() {
  auto rows = takeRowWrites();
  Changes changes = ownChanges();
  changes.reserve(changes.size() + rows.size());
  for (qw::RowWrite& row : rows) changes.push_back(std::make_shared<QWDatabaseChange>(std::move(row)));
  return changes;
}

bool QWDatabaseManager::saveChanges(const Changes& changes, qw::Error* error) {
  return qw::SaveRun(*this).run(changes, {}, error);
}

bool QWDatabaseManager::save(qw::Error* error) {
  const auto rows = takeRowWrites();
  return qw::SaveRun(*this).run(ownChanges(), rows, error);
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
