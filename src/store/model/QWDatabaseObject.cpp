#include "store/model/QWDatabaseObject.h"

#include <algorithm>
#include <cassert>

#include "platform/base/Log.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Clock.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/internal/EditLog.h"
#include "store/model/internal/Loader.h"

constinit const qw::Class QWDatabaseObject::kClass =
    qw::define<QWDatabaseObject, qw::Object>("QWDatabaseObject", {}, [] {
      using Object = QWDatabaseObject;
      return qw::properties(qw::property<&Object::ID, &Object::setID>("ID"),
                            qw::property<&Object::lastModificationDate, &Object::setLastModificationDate>(
                                "lastModificationDate"),
                            qw::property<&Object::isDeleted, &Object::setDeleted>("deleted"),
                            qw::derived<&Object::sqlID>("sqlID"), qw::derived<&Object::index>("index"),
                            qw::derived<&Object::modificationsCount>("modificationsCount"));
    });

QWDatabaseObject::QWDatabaseObject() = default;
QWDatabaseObject::~QWDatabaseObject() = default;

QWDatabaseManager* QWDatabaseObject::databaseManager() const { return manager_.get(); }

std::int64_t QWDatabaseObject::index() const {
  return place_ ? static_cast<std::int64_t>(qw::ChildList::Objects::indexOf(*this)) : -1;
}

void QWDatabaseObject::observerAdded(std::string_view key) {
  QWDatabaseManager* manager = key == "index" && !indexIsObserved_ ? databaseManager() : nullptr;
  if (!manager) return;
  indexIsObserved_ = true;
  manager->edits().observeIndex(*this);
}

QWDatabaseObject::Rare& QWDatabaseObject::rare() {
  if (!rare_) rare_ = std::make_unique<Rare>();
  return *rare_;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseObject::originalObject() const {
  return rare_ ? rare_->originalObject.lock() : nullptr;
}

qw::UndoManager* QWDatabaseObject::recordingUndoManager() const {
  const QWDatabaseManager* manager = manager_.get();
  qw::UndoManager* undo = manager ? manager->undoManager() : nullptr;
  return undo && undo->isUndoRegistrationEnabled() ? undo : nullptr;
}

void QWDatabaseObject::capturePendingChange() { std::exchange(rare_->pendingChange, nullptr)->capture(); }

void QWDatabaseObject::expectPendingChange(QWDatabaseChange& change) {
  willModify();
  rare().pendingChange = &change;
}

void QWDatabaseObject::forgetPendingChange(const QWDatabaseChange& change) {
  if (rare_ && rare_->pendingChange == &change) rare_->pendingChange = nullptr;
}

void QWDatabaseObject::attach(QWDatabaseManager& manager) {
  manager_ = qw::Back<QWDatabaseManager>(&manager);
  for (const auto& entry : qw::ClassSchema::of(objectClass()).children())
    entry.storage->relation->list(*this).bind(*this, *entry.property);
}

void QWDatabaseObject::registerCreation(bool recorded) {
  if (qw::UndoManager* undo = recordingUndoManager()) {
    undo->registerAction(
        *this,
        [](qw::Object& target, const qw::Property*, const qw::Value&, std::int64_t recorded) {
          static_cast<QWDatabaseObject&>(target).deleteObject(false);
          if (recorded) recordDeletion(target, nullptr, {}, 0);
        },
        nullptr, {}, recorded);
    scope_ = undo->scope();
    isNew_ = true;
    isStamped_ = false;
  }
  databaseManager()->edits().queue(*this);
}

void QWDatabaseObject::recordDeletion(qw::Object& self, const qw::Property*, const qw::Value&, std::int64_t) {
  auto& object = static_cast<QWDatabaseObject&>(self);
  QWDatabaseManager* manager = object.databaseManager();
  if (!manager) return;
  // No other copy of the store can have what never was in a file.
  if (object.row_.rowID() != 0 || (object.rare_ && object.rare_->pendingChange))
    manager->addDeletedID(object.id_);
  else if (qw::UndoManager* undo = object.recordingUndoManager())
    undo->registerAction(object, &noteRecreation);
}

void QWDatabaseObject::noteRecreation(qw::Object& self, const qw::Property*, const qw::Value&, std::int64_t) {
  if (qw::UndoManager* undo = static_cast<QWDatabaseObject&>(self).recordingUndoManager())
    undo->registerAction(self, &recordDeletion);
}

void QWDatabaseObject::initWithDatabaseManager(QWDatabaseManager& manager) {
  attach(manager);
  id_ = qw::ApplicationContext::uniqueID();
  manager.registerObject(*this);
  registerCreation(true);
}

void QWDatabaseObject::initWithRow(QWDatabaseManager& manager, QWDatabaseResultSet& row) {
  attach(manager);
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  const int* columns = row.columnsFor(schema);
  const qw::RowReader& reader = row.reader();
  row_.setRow(reader.int64(columns[0]));
  ++columns;
  id_ = qw::ObjectID(reader.text(columns[0]));
  const auto date = qw::Column<std::optional<qw::Date>>::read(reader, columns + 1);
  lastModificationDate_ = date ? date->microseconds() : kNoDate;
  for (const auto& entry : schema.attributes()) entry.storage->read(reader, columns + entry.column, *this);
  if (schema.indexColumn() >= 0) {
    const int column = columns[schema.indexColumn()];
    const std::int64_t number = reader.isNull(column) ? -1 : reader.int64(column);
    order_ = qw::ChildList::isNumber(number) ? number : -1;
  }
  if (qw::Loader* loader = row.loader()) return loader->readRelations(*this, schema, reader, columns);
  qw::Loader::resolveSingleRow(manager, *this, schema, reader, columns);
  manager.edits().forgetReferrers();
}

void QWDatabaseObject::copyAttributes(const QWDatabaseObject& source) {
  for (const auto& entry : qw::ClassSchema::of(objectClass()).attributes())
    entry.storage->copy(*this, source);
  copyUnread(source);
}

void QWDatabaseObject::initByCopyingObject(QWDatabaseManager& manager, const QWDatabaseObject& source) {
  attach(manager);
  id_ = source.id_;
  lastModificationDate_ = source.lastModificationDate_;
  order_ = source.order_;
  rare().originalObject = qw::Back<QWDatabaseObject>(const_cast<QWDatabaseObject*>(&source));
  copyAttributes(source);
  manager.registerObject(*this);
  manager.edits().queue(*this);
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  for (const auto& entry : schema.references()) {
    const auto target = entry.storage->relation->target(source);
    if (!target) continue;
    manager.requestObjectWithID(target->ID(), [this, &entry](const auto& found) {
      entry.storage->relation->setTarget(*this, found);
    });
  }
  deleted_ = source.deleted_;
  copyBelow(source);
}

/// Only the outermost object goes down, one object after the other: no tree is too deep for the stack.
void QWDatabaseObject::copyBelow(const QWDatabaseObject& source) {
  thread_local std::vector<std::pair<QWDatabaseObject*, const QWDatabaseObject*>>* waiting = nullptr;
  if (waiting) {
    waiting->emplace_back(this, &source);
    return;
  }
  std::vector<std::pair<QWDatabaseObject*, const QWDatabaseObject*>> objects{{this, &source}};
  waiting = &objects;
  while (!objects.empty()) {
    const auto [copy, from] = objects.back();
    objects.pop_back();
    QWDatabaseManager& manager = *copy->databaseManager();
    const qw::ClassSchema& schema = qw::ClassSchema::of(copy->objectClass());
    for (const auto& entry : schema.owned())
      if (const auto target = entry.storage->relation->target(*from))
        entry.storage->relation->setTarget(*copy, target->copyInDatabaseManager(manager));
    for (const auto& entry : schema.children()) {
      qw::ChildList& list = entry.storage->relation->list(*copy);
      for (const auto& child :
           entry.storage->relation->list(const_cast<QWDatabaseObject&>(*from)).objects()) {
        auto childCopy = child->copyInDatabaseManager(manager);
        const qw::Property* parent = childCopy->objectClass().property(entry.property->inverse);
        parent->storage->relation->setTarget(*childCopy, copy->sharedAs<QWDatabaseObject>());
        list.append(std::move(childCopy));
      }
    }
  }
  waiting = nullptr;
}

void QWDatabaseObject::initByImportingObject(QWDatabaseManager& manager, const QWDatabaseObject& source) {
  attach(manager);
  id_ = source.id_;
  lastModificationDate_ = source.lastModificationDate_;
  beingImported_ = true;
  copyAttributes(source);
  manager.removeDeletedID(id_);
  // An import that is undone was never here: its ID is not one of a deleted object. Recorded before the
  // requests that wait for this ID run: undo takes back what they moved below this object, then deletes it.
  registerCreation(false);
  manager.registerObject(*this);
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  const std::weak_ptr<QWDatabaseObject> weak = sharedAs<QWDatabaseObject>();
  for (const auto& entry : schema.references()) {
    const auto target = entry.storage->relation->target(source);
    if (!target || target->isDeleted()) continue;
    manager.requestLiveObjectWithID(target->ID(), [weak, property = entry.property](const auto& found) {
      const auto self = weak.lock();
      if (self && found) property->restore(*self, qw::Value(std::shared_ptr<qw::Object>(found)));
    });
  }
  for (const auto& entry : schema.owned())
    if (const auto target = entry.storage->relation->target(source); target && !target->isDeleted()) {
      // One that is here already belongs to another owner, and is not shared.
      const auto imported = target->importInDatabaseManager(manager);
      entry.storage->relation->setTarget(*this, imported);
      const QWDatabaseManager* from = target->databaseManager();
      if (from && from->originalDatabaseManager().get() == &manager)
        target->rare().originalObject = qw::Back<QWDatabaseObject>(imported);
    }
  for (const auto& entry : schema.parents()) {
    const auto parent = entry.storage->relation->target(source);
    if (!parent) continue;
    const qw::Property& property = *entry.property;
    const qw::ChildList& siblings =
        parent->objectClass().property(property.inverse)->storage->relation->list(*parent);
    manager.requestLiveObjectWithID(parent->ID(), [weak, &property, &siblings, parent](const auto& found) {
      const auto self = weak.lock();
      if (!self || self->isDeleted()) return;
      if (!found || !self->databaseManager()->placeObject(*self, property, found, &siblings))
        self->deleteObject();
    });
  }
}

std::shared_ptr<QWDatabaseObject> QWDatabaseObject::copyInDatabaseManager(QWDatabaseManager& manager) const {
  auto copy = std::static_pointer_cast<QWDatabaseObject>(objectClass().create());
  copy->initByCopyingObject(manager, *this);
  return copy;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseObject::importInDatabaseManager(
    QWDatabaseManager& manager) const {
  auto imported = std::static_pointer_cast<QWDatabaseObject>(objectClass().create());
  imported->initByImportingObject(manager, *this);
  imported->beingImported_ = false;
  return imported;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseObject::duplicateInDatabaseManager(QWDatabaseManager& manager,
                                                                               qw::Error* error) const {
  const auto self = std::const_pointer_cast<qw::Object>(shared_from_this());
  const auto archive = databaseManager()->archivedDataWithRootObject(self, error);
  return archive
             ? std::dynamic_pointer_cast<QWDatabaseObject>(manager.unarchiveObjectWithData(*archive, error))
             : nullptr;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseObject::duplicate(qw::Error* error) const {
  return duplicateInDatabaseManager(*databaseManager(), error);
}

void QWDatabaseObject::setID(const qw::ObjectID& id) {
  if (id == id_) return;
  if (!id) return qw::Log::error("{} was to lose its ID and keeps it", description());
  QWDatabaseManager* manager = databaseManager();
  // Before this change is recorded: undo and redo then find the ID free.
  if (manager) manager->makeRoomFor(*this, id);
  if (qw::UndoManager* undo = recordingUndoManager())
    undo->registerRestore(*this, *kClass.property("ID"), id_.text());
  const auto keep = shared_from_this();
  if (manager && id_) manager->unregisterObject(*this);
  edit("ID", [&] { id_ = id; });
  if (!manager) return;
  manager->registerObject(*this);
  manager->edits().queue(*this);
  manager->edits().noteRenamed(*this);
}

void QWDatabaseObject::setLastModificationDate(std::optional<qw::Date> date) {
  const std::int64_t value = date ? date->microseconds() : kNoDate;
  if (value == lastModificationDate_) return;
  if (qw::UndoManager* undo = recordingUndoManager())
    undo->registerRestore(*this, *kClass.property("lastModificationDate"), lastModificationDate());
  willModify();
  qw::ChangeScope scope(*this, "lastModificationDate");
  lastModificationDate_ = value;
}

void QWDatabaseObject::addModification() {
  QWDatabaseManager* manager = databaseManager();
  qw::UndoManager* undo = manager ? manager->undoManager() : nullptr;
  const bool undoing = undo && undo->isUndoing();
  const bool goingBack = undoing || (undo && undo->isRedoing());
  // The count is the way to the saved state along the edits that undo and redo walk. It says nothing any more
  // once that state lies on a branch that was left, or after an edit that they do not know.
  if (!undo || !undo->isUndoRegistrationEnabled() || (goingBack ? isDelivering() : row_.edits() < 0))
    row_.force();
  row_.edit(undoing ? -1 : 1);
  stamp();
  touch();
}

void QWDatabaseObject::stamp() {
  const QWDatabaseManager* manager = databaseManager();
  qw::UndoManager* undo = manager ? manager->undoManager() : nullptr;
  const bool goingBack = undo && (undo->isUndoing() || undo->isRedoing());
  if (!manager || row_.rowID() == 0 || goingBack || !manager->shouldModifyLastModificationDates()) return;
  const std::int64_t now = qw::Clock::now().microseconds();
  if (now == lastModificationDate_) return;
  if (undo && undo->isUndoRegistrationEnabled()) {
    if (scope_ != undo->scope()) isNew_ = isStamped_ = false;
    if (!isStamped_) {
      static const qw::Property& date = *kClass.property("lastModificationDate");
      undo->registerRestore(*this, date, lastModificationDate());
      scope_ = undo->scope();  // the record itself may have opened it
      isStamped_ = true;
    }
  }
  if (!isObserved()) {
    lastModificationDate_ = now;
    return;
  }
  qw::ChangeScope scope(*this, "lastModificationDate");
  lastModificationDate_ = now;
}

void QWDatabaseObject::modified(std::string_view key) {
  addModification();
  remember(key);
}

void QWDatabaseObject::remember(std::string_view key) {
  if (!rare_ || !rare_->originalObject) return;
  auto& edited = rare_->edited;
  if (std::find(edited.begin(), edited.end(), key) == edited.end()) edited.push_back(key);
}

void QWDatabaseObject::touch() {
  QWDatabaseManager* manager = databaseManager();
  if (!manager) return;
  manager->edits().queue(*this);
  manager->objectsChanged();
}

void QWDatabaseObject::noteReorder() {
  // A move is undone by its two halves, which do not come here: the row that gets its date back is told so.
  struct Rewrite {
    static void run(qw::Object& target, const qw::Property*, const qw::Value&, std::int64_t recorded) {
      auto& self = static_cast<QWDatabaseObject&>(target);
      self.willModify();
      self.row_.force();
      self.touch();
      qw::UndoManager* undo = recorded ? self.recordingUndoManager() : nullptr;
      if (undo) undo->registerAction(self, &run, nullptr, {}, 1);
    }
  };
  willModify();
  stamp();
  const qw::UndoManager* undo = recordingUndoManager();
  Rewrite::run(*this, nullptr, {}, undo && !undo->isUndoing() && !undo->isRedoing());
  remember(kOrderKey);
}

void QWDatabaseObject::setDeleted(bool deleted) {
  if (deleted == deleted_) return;
  if (qw::UndoManager* undo = recordingUndoManager())
    undo->registerRestore(*this, *kClass.property("deleted"), deleted_);
  willModify();
  qw::ChangeScope scope(*this, "deleted");
  deleted_ = deleted;
  if (QWDatabaseManager* manager = databaseManager()) {
    manager->edits().queue(*this);
    manager->edits().noteRenamed(*this);
    manager->objectsChanged();
  }
}

void QWDatabaseObject::deleteObject(bool record) {
  if (deleted_) return;
  const auto keep = shared_from_this();
  // Only the outermost call goes down, one object after the other: no tree is too deep for the stack.
  thread_local std::vector<std::pair<std::shared_ptr<QWDatabaseObject>, bool>>* waiting = nullptr;
  if (waiting) {
    markDeleted(record);
    return deleteBelow(record, *waiting);
  }
  std::vector<std::pair<std::shared_ptr<QWDatabaseObject>, bool>> objects;
  waiting = &objects;
  markDeleted(record);
  deleteBelow(record, objects);
  while (!objects.empty()) {
    const auto [object, recorded] = std::move(objects.back());
    objects.pop_back();
    object->deleteObject(recorded);
  }
  waiting = nullptr;
}

/// Children stay in their deleted parent's list, where an undone deletion finds them.
void QWDatabaseObject::deleteBelow(bool record,
                                   std::vector<std::pair<std::shared_ptr<QWDatabaseObject>, bool>>& waiting) {
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  const std::size_t first = waiting.size();
  for (const auto& entry : schema.children()) {
    const qw::ChildList& list = entry.storage->relation->list(*this);
    if (beingImported_)
      for (const auto& child : list.toVector()) deleteChild(*child, entry.property->inverse);
    else
      for (const auto& child : list.objects()) waiting.emplace_back(child, record);
  }
  for (const auto& entry : schema.owned())
    if (const auto target = entry.storage->relation->target(*this)) waiting.emplace_back(target, record);
  std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(first), waiting.end());
}

void QWDatabaseObject::markDeleted(bool record) {
  detachFromParent(Leaving::kDeleted);
  setDeleted(true);
  if (record)
    if (QWDatabaseManager* manager = databaseManager()) manager->addDeletedID(id_);
  if (rare_) {
    const auto parameters = rare_->referringParameters;
    for (const auto& parameter : parameters)
      if (parameter && !parameter->setValueForKey({}, "object"))
        qw::Log::error("{} refers to a deleted object still", parameter->description());
  }
}

void QWDatabaseObject::detachFromParent(Leaving leaving) {
  for (const auto& entry : qw::ClassSchema::of(objectClass()).parents()) {
    const auto parent = entry.storage->relation->target(*this);
    if (!parent || (parent->isDeleted() && leaving == Leaving::kDeleted)) continue;
    parent->objectClass().property(entry.property->inverse)->storage->relation->list(*parent).detach(*this);
  }
}

bool QWDatabaseObject::moveToParent(const qw::Property& relation, QWDatabaseObject* parent) {
  if (relation.storage->relation->target(*this).get() == parent) return false;
  if (!parent) {
    detachFromParent(Leaving::kForGood);
    return true;
  }
  const qw::Property* children = qw::ClassSchema::otherEnd(objectClass(), relation, parent->objectClass());
  if (!children) return false;
  return children->storage->relation->list(*parent).addObject(sharedAs<QWDatabaseObject>());
}

void QWDatabaseObject::deleteChild(QWDatabaseObject& child, std::string_view parentKeyPath) {
  if (beingImported_ && databaseManager())
    databaseManager()->requestParentPresenceForObject(child, parentKeyPath);
  else
    child.deleteObject();
}

void QWDatabaseObject::addReferringParameter(qw::Object& parameter) {
  auto& parameters = rare().referringParameters;
  std::erase_if(parameters, [](const auto& link) { return !link; });
  parameters.push_back(qw::Back<qw::Object>(&parameter));
}

void QWDatabaseObject::removeReferringParameter(qw::Object& parameter) {
  if (rare_)
    std::erase_if(rare_->referringParameters,
                  [&](const auto& link) { return !link || link.get() == &parameter; });
}

void QWDatabaseObject::bindColumns(qw::RowBinder& row) const {
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  row.bindID(id_);
  qw::Column<std::optional<qw::Date>>::bind(row, lastModificationDate());
  const qw::ClassSchema::Entry* indexed = schema.parents().empty() ? nullptr : &schema.parents().front();
  const bool hasUnread = rare_ && !rare_->unread.empty();
  for (const auto& entry : schema.stored()) {
    if (const Columns* columns = hasUnread ? unread(*entry.property) : nullptr)
      for (const auto& value : *columns) row.bindValue(value.get());
    else
      entry.storage->bind(row, *this);
    if (indexed && entry.property == indexed->property) row.bindInt64(order_);
  }
}

std::function<void(QWDatabaseQuery&)> QWDatabaseObject::prepareBlock() const {
  if (QWDatabaseManager* manager = databaseManager()) manager->edits().numberChildren();
  return [copy = copyOfColumns()](QWDatabaseQuery& query) {
    qw::RowBinder row;
    const auto& columns = qw::ClassSchema::of(copy->objectClass()).columns();
    row.beginMapped(query.statement(), [&] {
      std::vector<int> parameters;
      parameters.reserve(columns.size());
      for (const std::string& column : columns) parameters.push_back(query.indexForParameter(column));
      return parameters;
    }());
    copy->bindColumns(row);
    query.noteBindResult(row.result());
  };
}

std::shared_ptr<QWDatabaseObject> QWDatabaseObject::copyOfColumns() const {
  auto copy = std::static_pointer_cast<QWDatabaseObject>(objectClass().create());
  copy->id_ = id_;
  copy->lastModificationDate_ = lastModificationDate_;
  copy->order_ = order_;
  copy->copyUnread(*this);
  for (const auto& entry : qw::ClassSchema::of(objectClass()).stored()) {
    if (entry.storage->copy)
      entry.storage->copy(*copy, *this);
    else if (const qw::Relation* relation = entry.storage->relation)
      relation->setTarget(*copy, relation->target(*this));
  }
  return copy;
}

std::vector<std::shared_ptr<QWDatabaseChange>> QWDatabaseObject::computeChanges() {
  std::vector<std::shared_ptr<QWDatabaseChange>> changes;
  QWDatabaseManager* manager = databaseManager();
  const std::uint32_t computation = manager ? manager->edits().beginComputation() : 0;
  if (qw::RowWrite write = qw::EditLog::take(sharedAs<QWDatabaseObject>(), computation))
    changes.push_back(std::make_shared<QWDatabaseChange>(std::move(write)));
  return changes;
}

const std::string& qw::RowWrite::sql() const {
  const ClassSchema& schema = ClassSchema::of(object->objectClass());
  return kind == Kind::kInsert   ? schema.insertStatement()
         : kind == Kind::kUpdate ? schema.updateStatement()
                                 : schema.deleteStatement();
}

std::string QWDatabaseObject::description() const {
  return std::string(objectClass().name()) + " " + id_.text();
}
