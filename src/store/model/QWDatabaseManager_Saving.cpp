// Computing and saving changes, and what a saved file is handed to.
#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>

#include "platform/base/Log.h"
#include "platform/files/ZipArchive.h"
#include "platform/system/Clock.h"
#include "platform/system/FileManager.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/internal/EditLog.h"
#include "store/model/internal/SaveRun.h"

/// The next load will not find an object that has neither a parent nor an owner.
void QWDatabaseManager::reportUnreachable(std::span<const qw::RowWrite> rows) const {
  using Kind = qw::RowWrite::Kind;
  std::unordered_set<const QWDatabaseObject*> alone;
  for (const qw::RowWrite& row : rows)
    if (!row.isPlaced && row.kind != Kind::kDelete &&
        (row.kind == Kind::kInsert || !qw::ClassSchema::of(row.object->objectClass()).parents().empty()))
      alone.insert(row.object.get());
  if (alone.empty()) return;
  alone.erase(rootObject_.get());
  for (const auto& [name, data] : filtersBarDatas_) alone.erase(data.get());
  const auto eraseOwned = [&](const QWDatabaseObject& owner) {
    for (const auto& entry : qw::ClassSchema::of(owner.objectClass()).owned())
      if (const auto owned = entry.storage->relation->target(owner)) alone.erase(owned.get());
  };
  // A new object's owner is written with it.
  for (auto row = rows.begin(); row != rows.end() && !alone.empty(); ++row)
    if (!row->object->isDeleted()) eraseOwned(*row->object);
  if (alone.empty()) return;
  objects_.forEach([&](const auto& object) {
    if (!object->isDeleted()) eraseOwned(*object);
  });
  for (const QWDatabaseObject* object : alone)
    qw::Log::error("{} {} is saved with neither parent nor owner: the next load will leave it out",
                   object->objectClass().name(), object->ID().text());
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
        // Read when it is written: the save itself sets the date.
        [handler](QWDatabaseQuery& query) {
          query.setString(handler->objectClass().name(), "description");
          query.setString(handler->identifier(), "identifier");
          query.setBool(handler->isActive(), "active");
          query.setDateTime(handler->lastSynchronizationDate(), "lastSynchronizationDate");
        });
  return changes;
}

std::vector<qw::RowWrite> QWDatabaseManager::takeRowWrites() {
  auto rows = edits_->takeAll();
  reportUnreachable(rows);
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
  const bool saved = qw::SaveRun(*this).run(changes, {}, error);
  edits_->forgetWrittenNumbers();
  return saved;
}

bool QWDatabaseManager::save(qw::Error* error) {
  const auto rows = takeRowWrites();
  const bool saved = qw::SaveRun(*this).run(ownChanges(), rows, error);
  edits_->forgetWrittenNumbers();
  return saved;
}

std::optional<qw::Data> QWDatabaseManager::saveChanges(const Changes& changes,
                                                       bool processSynchronizationHandlers,
                                                       const std::string& displayName, qw::Error* error) {
  std::error_code ignored;
  if (const auto size = std::filesystem::file_size(url_, ignored);
      !ignored && size > qw::FileManager::kMaximumContents) {
    for (const auto& change : changes)
      if (change->write()) edits_->revert(change->write(), false);
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
  edits_->settle();
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
