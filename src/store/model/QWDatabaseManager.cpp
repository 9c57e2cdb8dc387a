#include "store/model/QWDatabaseManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <cassert>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/loop/NotificationQueue.h"
#include "platform/loop/RunLoop.h"
#include "platform/object/KeyPath.h"
#include "platform/system/Clock.h"
#include "store/model/ClassSchema.h"
#include "store/model/internal/EditLog.h"
#include "store/model/internal/FiltersBarRecord.h"
#include "store/model/internal/PendingLinks.h"
#include "store/model/internal/StatementCache.h"
#include "values/text/QWStringAdditions.h"

constinit const qw::Class QWDatabaseManager::kClass =
    qw::define<QWDatabaseManager, qw::Object>("QWDatabaseManager", {}, [] {
      using Manager = QWDatabaseManager;
      return qw::properties(
          qw::derived<&Manager::isLoaded>("loaded"), qw::derived<&Manager::isReadOnly>("readOnly"),
          qw::derived<&Manager::rootObject>("rootObject"), qw::derived<&Manager::password>("password"));
    });

constinit const qw::Class QWSynchronizationHandling::kClass =
    qw::define<QWSynchronizationHandling, qw::Object>("QWSynchronizationHandling", {},
                                                      [] { return qw::properties(); });

QWDatabaseManager::QWDatabaseManager()
    : statements_(std::make_unique<qw::StatementCache>()),
      links_(std::make_unique<qw::PendingLinks>(*this, objects_)),
      edits_(std::make_unique<qw::EditLog>(*this)) {}

QWDatabaseManager::~QWDatabaseManager() {
  queue_.reset();
  qw::NotificationQueue::current().forgetSender(this);
  // Changes that outlive the store must not look for it.
  undoManager_.reset();
  // A list keeps what left it, which may have come to be above it.
  edits_->forgetLists();
  close();
}

void QWDatabaseManager::close() {
  statements_->clear();
  if (!database_) return;
  sqlite3_close_v2(std::exchange(database_, nullptr));
  std::error_code ignored;
  if (deleteOnDealloc_) std::filesystem::remove(url_, ignored);
}

qw::OperationQueue& QWDatabaseManager::queue() {
  if (!queue_) queue_ = std::make_unique<qw::OperationQueue>("QWDatabaseManager", 1);
  return *queue_;
}

std::shared_ptr<QWDatabaseManager> QWDatabaseManager::openAnother(const std::filesystem::path& URL,
                                                                  const OpenOptions& options,
                                                                  qw::Error* error) const {
  auto manager = makeAnother_();
  manager->makeAnother_ = makeAnother_;
  return manager->initWithURL(URL, options, error) ? manager : nullptr;
}

std::shared_ptr<QWDatabaseManager> QWDatabaseManager::copy() const {
  if (!makeAnother_) return nullptr;
  auto copy = makeAnother_();
  copy->makeAnother_ = makeAnother_;
  copy->initByCopyingDatabaseManager(*this);
  return copy;
}

void QWDatabaseManager::initByCopyingDatabaseManager(const QWDatabaseManager& source) {
  auto& original = const_cast<QWDatabaseManager&>(source);
  original.edits_->settle();
  originalManager_ = original.sharedAs<QWDatabaseManager>();
  url_ = source.url_;
  objects_.reserve(source.objects_.count());
  if (source.rootObject_) rootObject_ = source.rootObject_->copyInDatabaseManager(*this);
  deletedIDs_ = source.deletedIDs_;
  for (const auto& [name, data] : source.filtersBarDatas_)
    filtersBarDatas_[name] = data->copyInDatabaseManager(*this);
  removeAllObjectRequests();
  loaded_ = true;
  // What was copied is what the original has: nothing to commit yet.
  edits_->forgetAll();
}

std::shared_ptr<QWDatabaseQuery> QWDatabaseManager::prepareQuery(const std::string& sql, qw::Error* error) {
  if (auto waiting = statements_->take(sql)) return waiting;
  sqlite3_stmt* statement = nullptr;
  if (!database_ || sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK ||
      !statement) {
    const char* reason = !database_                   ? "no connection"
                         : sqlite3_errcode(database_) ? sqlite3_errmsg(database_)
                                                      : "no statement";
    if (database_ && (sqlite3_errcode(database_) & 0xff) != SQLITE_ERROR) noteReadFailure();
    qw::Error::set(error, QWDatabaseErrorDomain, 2, fmt::format("Invalid query : {}\n{}", sql, reason));
    return nullptr;
  }
  return std::make_shared<QWDatabaseQuery>(*this, sql, statement);
}

void QWDatabaseManager::addQueryToCache(const std::shared_ptr<QWDatabaseQuery>& query) {
  statements_->put(query);
}

void QWDatabaseManager::noteReadFailure() {
  if (!loaded_ && readFailure_.empty()) readFailure_ = sqlite3_errmsg(database_);
}

namespace {

const char* reasonFor(const QWDatabaseQuery& query, sqlite3* database) {
  return query.bindFault().empty() ? sqlite3_errmsg(database) : query.bindFault().c_str();
}

/// Steps unless a value is missing because it could not be bound; one that has no column format only leaves
/// its parameter unbound.
int stepBound(QWDatabaseQuery& query) {
  const int bound = query.bindResult();
  return bound == SQLITE_OK || bound == SQLITE_MISMATCH ? sqlite3_step(query.statement()) : bound;
}

}  // namespace

std::shared_ptr<QWDatabaseResultSet> QWDatabaseManager::executeQuery(
    const std::shared_ptr<QWDatabaseQuery>& query, qw::Error* error) {
  if (error) *error = {};
  if (!query) return nullptr;
  statements_->remove(query);
  const int result = stepBound(*query);
  if (result != SQLITE_ROW && result != SQLITE_DONE) {
    noteReadFailure();
    qw::Error::set(
        error, QWDatabaseErrorDomain, 3,
        fmt::format("Error while executing query : {}\n{}", query->sql(), reasonFor(*query, database_)));
    query->reset();
    return nullptr;
  }
  query->reset();
  return std::make_shared<QWDatabaseResultSet>(query);
}

bool QWDatabaseManager::executeUpdate(const std::shared_ptr<QWDatabaseQuery>& query, qw::Error* error) {
  if (error) *error = {};
  if (!query) return false;
  statements_->remove(query);
  if (stepBound(*query) != SQLITE_DONE) {
    qw::Error::set(
        error, QWDatabaseErrorDomain, 3,
        fmt::format("Error while executing update : {}\n{}", query->sql(), reasonFor(*query, database_)));
    query->reset();
    return false;
  }
  addQueryToCache(query);
  return true;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseManager::objectWithID(const qw::ObjectID& id) const {
  auto object = objects_.objectForKey(id);
  return object && !object->isDeleted() ? object : nullptr;
}

std::vector<std::shared_ptr<QWDatabaseObject>> QWDatabaseManager::objectsWithIDs(
    const std::vector<qw::ObjectID>& ids) const {
  std::vector<std::shared_ptr<QWDatabaseObject>> objects;
  for (const qw::ObjectID& id : ids)
    if (auto object = objectWithID(id)) objects.push_back(std::move(object));
  return objects;
}

void QWDatabaseManager::registerObject(QWDatabaseObject& object) {
  assertOwningThread();
  makeRoomFor(object, object.ID());
  object.rowState().setRegistered(true);
  objects_.setObjectForKey(object.sharedAs<QWDatabaseObject>(), object.ID());
}

void QWDatabaseManager::makeRoomFor(const QWDatabaseObject& object, const qw::ObjectID& id) {
  QWDatabaseObject* present = objects_.find(id);
  if (present && present != &object)
    present->sharedAs<QWDatabaseObject>()->setID(QWStringAdditions::uniqueID());
}

void QWDatabaseManager::registerObjects(std::span<const std::shared_ptr<QWDatabaseObject>> objects) {
  while (!objects.empty()) {
    const std::size_t added = objects_.hasRequests() ? 0 : objects_.addObjects(objects);
    if (added < objects.size()) registerObject(*objects[added]);
    objects = objects.subspan(std::min(objects.size(), added + 1));
  }
}

void QWDatabaseManager::unregisterObject(QWDatabaseObject& object) {
  if (objects_.find(object.ID()) != &object) return;
  object.rowState().setRegistered(false);
  edits_->forgetReferrers();
  objects_.removeObjectForKey(object.ID());
}

void QWDatabaseManager::requestObjectWithID(const qw::ObjectID& id, QWRequestsMap::Request block) {
  objects_.requestObjectForKey(id, std::move(block));
}

void QWDatabaseManager::requestParentPresenceForObject(QWDatabaseObject& object,
                                                       std::string_view parentKeyPath) {
  links_->checkParent(object, parentKeyPath);
}

void QWDatabaseManager::addDeletedID(const qw::ObjectID& id) { addDeletedID(id, qw::Clock::now()); }

namespace {

/// Undo actions on the manager take the ID as their argument and the date as their number.
void undoAddedID(qw::Object& manager, const qw::Property*, const qw::Value& id, std::int64_t) {
  static_cast<QWDatabaseManager&>(manager).removeDeletedID(*id.text());
}

void undoRemovedID(qw::Object& manager, const qw::Property*, const qw::Value& id, std::int64_t date) {
  static_cast<QWDatabaseManager&>(manager).addDeletedID(*id.text(), qw::Date::fromMicroseconds(date));
}

}  // namespace

void QWDatabaseManager::addDeletedID(const qw::ObjectID& id, qw::Date date) {
  const auto [entry, isNew] = deletedIDs_.try_emplace(id, date);
  if (undoManager_ && isNew)
    undoManager_->registerAction(*this, &undoAddedID, nullptr, id.text());
  else if (undoManager_)
    undoManager_->registerAction(*this, &undoRemovedID, nullptr, id.text(), entry->second.microseconds());
  entry->second = date;
}

void QWDatabaseManager::removeDeletedID(const qw::ObjectID& id) {
  const auto entry = deletedIDs_.find(id);
  if (entry == deletedIDs_.end()) return;
  if (undoManager_)
    undoManager_->registerAction(*this, &undoRemovedID, nullptr, id.text(), entry->second.microseconds());
  deletedIDs_.erase(entry);
}

void QWDatabaseManager::performBlockWithoutModifyingLastModificationDates(
    const std::function<void()>& block) {
  struct Scope {
    explicit Scope(int& count) : count(count) { ++count; }
    ~Scope() { --count; }
    int& count;
  } scope(disableModifyLastModificationDatesCount_);
  block();
}

std::shared_ptr<QWDatabaseObject> QWDatabaseManager::makeFiltersBarData(QWDatabaseResultSet* row) {
  const qw::Class* c = qw::ClassRegistry::find("QWFiltersBarData");
  auto data = std::static_pointer_cast<QWDatabaseObject>((c ? *c : qw::FiltersBarRecord::kClass).create());
  row ? data->initWithRow(*this, *row) : data->initWithDatabaseManager(*this);
  return data;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseManager::filtersBarData(const std::string& name) {
  auto& data = filtersBarDatas_[name];
  if (!data) {
    qw::UndoRegistrationDisabled scope(undoManager_.get());  // looking is no edit
    data = makeFiltersBarData(nullptr);
    if (!data->setValueForKey(name, "name")) qw::Log::error("Filters bars cannot be told apart: {}", name);
  }
  return data;
}

QWCountedSet* QWDatabaseManager::completionsSet(const std::string& name) {
  if (const auto found = completionsSets_.find(name); found != completionsSets_.end()) return &found->second;
  if (readOnly_ || document_.expired()) return nullptr;
  return &completionsSets_[name];
}

bool QWDatabaseManager::checkPassword(std::string_view password) const {
  return !password_ || *password_ == QWStringAdditions::SHA1(password);
}

void QWDatabaseManager::protectWithPassword(std::string_view password) {
  qw::ChangeScope scope(*this, "password");
  password_ = password.empty() ? std::nullopt : std::optional(QWStringAdditions::SHA1(password));
}

qw::Value QWDatabaseManager::valueForLocalParameter(const std::string& key) const {
  const auto found = localParameters_.find(key);
  return found == localParameters_.end() ? qw::Value() : found->second;
}

void QWDatabaseManager::setValueForLocalParameter(const qw::Value& value, const std::string& key) {
  if (value.isNull())
    localParameters_.erase(key);
  else
    localParameters_[key] = value;
}

std::shared_ptr<QWDatabaseOperation> QWDatabaseManager::addOperationWithBlock(
    QWDatabaseOperation::Block block) {
  auto operation = std::make_shared<QWDatabaseOperation>(*this, std::move(block));
  queue().addOperation(operation);
  return operation;
}

void QWDatabaseManager::finishImportingOldData(bool didLoad) {
  loaded_ = true;
  if (didLoad) qw::RunLoop::main().dispatchSync([this] { dataDidLoad(); });
}

std::optional<qw::Data> QWDatabaseManager::archivedDataWithRootObject(
    const std::shared_ptr<qw::Object>& object, qw::Error* error) {
  return qw::KeyedArchiver::archivedData(object, error);
}

std::shared_ptr<qw::Object> QWDatabaseManager::unarchiveObjectWithData(const qw::Data& data,
                                                                       qw::Error* error) {
  const auto coder = qw::KeyedUnarchiver::open(data.bytes(), modelClasses(), error);
  if (!coder) return nullptr;
  coder->setContext<QWDatabaseManager>(this);
  // The objects become part of the store when the whole archive is read.
  std::vector<std::shared_ptr<QWDatabaseObject>> decoded;
  auto* const outer = std::exchange(decoded_, &decoded);
  std::shared_ptr<qw::Object> object;
  {
    const qw::UndoRegistrationDisabled scope(undoManager_.get());
    object = coder->decodeObject(qw::KeyedArchiver::kRootKey).object();
  }
  decoded_ = outer;
  if (coder->finish(error)) {
    for (const auto& made : decoded) made->registerCreation(true);
  } else {
    object = nullptr;
    for (const auto& made : decoded) unregisterObject(*made);
    edits_->dropUnregistered();
    decoded.clear();
  }
  removeAllObjectRequests();
  return object;
}

void QWDatabaseManager::objectsChanged() {
  qw::NotificationQueue::current().enqueue(QWDatabaseManagerObjectsDidChangeNotification, shared_from_this());
}

void QWDatabaseManager::assertOwningThread() const {
  assert((!loaded_ || thread_ == std::thread::id() || thread_ == std::this_thread::get_id()) &&
         "a store is edited on the thread that opened it; others work on a copy");
}

bool QWDatabaseManager::noteDecoded(QWDatabaseObject& object) {
  if (!decoded_) return false;
  decoded_->push_back(object.sharedAs<QWDatabaseObject>());
  return true;
}

void QWDatabaseManager::undoManagerWillPerform(qw::UndoManager&) { edits_->settle(); }
void QWDatabaseManager::undoManagerDidPerform(qw::UndoManager&) { edits_->settle(); }
