// Keyed archiving from the property table. A decoded object is a new one: it has an ID of its own.
#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/system/ApplicationContext.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/QWDatabaseObject.h"

void QWDatabaseObject::encodeWithCoder(qw::KeyedArchiver& coder) const {
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  for (const auto& entry : schema.attributes()) {
    const qw::Value value = entry.property->storedValue(*this);
    if (!value.isNull()) coder.encodeObject(value, entry.property->key);
  }
  for (const auto& entry : schema.references())
    if (const auto target = entry.storage->relation->target(*this); target && !target->isDeleted())
      coder.encodeObject(target->ID().text(), entry.property->key);
  for (const auto& entry : schema.owned())
    if (const auto target = entry.storage->relation->target(*this))
      coder.encodeObject(std::shared_ptr<qw::Object>(target), entry.property->key);
  for (const auto& entry : schema.parents())
    if (const auto target = entry.storage->relation->target(*this))
      coder.encodeConditionalObject(target, entry.property->key);
  if (schema.indexColumn() >= 0) coder.encodeInt64(index(), "index");
  for (const auto& entry : schema.children())
    coder.encodeObjects(entry.storage->relation->list(const_cast<QWDatabaseObject&>(*this)).toVector(),
                        entry.property->key);
}

void QWDatabaseObject::initWithCoder(qw::KeyedUnarchiver& coder) {
  QWDatabaseManager* manager = coder.context<QWDatabaseManager>();
  if (!manager) return coder.fail("an object of a store was decoded without a store");
  attach(*manager);
  id_ = qw::ApplicationContext::uniqueID();
  manager->registerObject(*this);
  if (!manager->noteDecoded(*this)) registerCreation(true);
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  const auto self = sharedAs<QWDatabaseObject>();
  const qw::UndoRegistrationDisabled scope(manager->undoManager());
  for (const auto& entry : schema.attributes())
    if (coder.containsValueForKey(entry.property->key))
      entry.property->restore(*this, coder.decodeObject(entry.property->key));
  for (const auto& entry : schema.references()) {
    const qw::ObjectID target = coder.decodeText(entry.property->key);
    manager->requestObjectWithID(
        target, [weak = std::weak_ptr(self), property = entry.property](const auto& found) {
          const auto object = weak.lock();
          if (object && found && found->isKindOf(property->storage->relation->targetClass()))
            property->storage->relation->setTarget(*object, found);
        });
  }
  const auto decodeLink = [&](const qw::ClassSchema::Entry& entry) {
    const auto target = coder.decodeObject<QWDatabaseObject>(entry.property->key);
    if (target && target->isKindOf(entry.storage->relation->targetClass()))
      entry.storage->relation->setTarget(*this, target);
  };
  for (const auto& entry : schema.owned()) decodeLink(entry);
  for (const auto& entry : schema.children()) {
    qw::ChildList& list = entry.storage->relation->list(*this);
    for (const auto& child : coder.decodeObjects<QWDatabaseObject>(entry.property->key)) {
      if (!child || !child->isKindOf(entry.storage->relation->targetClass()) ||
          list.indexOf(*child) != qw::ChildList::kNone)
        continue;
      child->objectClass().property(entry.property->inverse)->storage->relation->setTarget(*child, self);
      list.append(child);
    }
  }
}
