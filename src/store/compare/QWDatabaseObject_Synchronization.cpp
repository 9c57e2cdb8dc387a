// The differences between an object and its counterpart, and what a copy's work is merged back by, from the
// property table.
#include <algorithm>

#include "store/compare/QWSynchronizationComparison.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/QWDatabaseObject.h"

namespace {

using namespace QWSynchronizationComparison;
using Entry = qw::ClassSchema::Entry;

std::string titleOf(const QWDatabaseObject& object, const qw::Property& property) {
  return qw::ClassSchema::titleKey(object.objectClass(), property);
}

ObjectPointer targetOf(const qw::Relation& relation, const QWDatabaseObject& object) {
  auto target = relation.target(object);
  return target && !target->isDeleted() ? target : nullptr;
}

/// Through the public setter, which may do more than store.
void setThrough(const qw::Property& property, QWDatabaseObject& object, const qw::Value& value) {
  (property.set ? property.set : property.restore)(object, value);
}

void setLink(QWDatabaseObject& object, const qw::Property& property, const ObjectPointer& target) {
  setThrough(property, object, qw::Value(std::shared_ptr<qw::Object>(target)));
}

ReferenceBlock linkSetter(const qw::Property& property) {
  return
      [&property](QWDatabaseObject& target, const ObjectPointer& link) { setLink(target, property, link); };
}

const qw::ChildList* childrenOf(const ObjectPointer& parent, const qw::Property& property) {
  return parent ? &parent->objectClass().property(property.inverse)->storage->relation->list(*parent)
                : nullptr;
}

Change compareAttribute(const Entry& entry, QWDatabaseObject& object, QWDatabaseObject& other) {
  const qw::AttributeComparison& comparison = *entry.storage->comparison;
  if (!comparison.differ(object, other)) return nullptr;
  const qw::Property& property = *entry.property;
  auto change = std::make_shared<QWSynchronizationChange>(
      qw::Localization::synchronizationString(titleOf(object, property)));
  const auto self = object.sharedAs<QWDatabaseObject>(), target = other.sharedAs<QWDatabaseObject>();
  change->show([self, &comparison, &property] { return comparison.side(*self, property); },
               [target, &comparison, &property] { return comparison.side(*target, property); });
  change->block = [target, &property, value = comparison.value(object)] {
    setThrough(property, *target, value);
  };
  change->otherBlock = [self, &property, value = comparison.value(other)] {
    if (const auto original = self->originalObject()) setThrough(property, *original, value);
  };
  return change;
}

Change compareParentOf(const Entry& entry, QWDatabaseObject& object, QWDatabaseObject& other) {
  const qw::Property& property = *entry.property;
  const auto parent = targetOf(*entry.storage->relation, object),
             otherParent = targetOf(*entry.storage->relation, other);
  return compareParent(
      parent.get(), object, childrenOf(parent, property), otherParent.get(), other,
      childrenOf(otherParent, property), titleOf(object, property),
      [&property](QWDatabaseObject& target, const ObjectPointer& parent, const qw::ChildList* siblings) {
        target.databaseManager()->placeObject(target, property, parent, siblings);
      });
}

void reorder(qw::ChildList& list, const std::vector<qw::ObjectID>& order) {
  const auto ordered = reorderedArrayWithIDs(list.toVector(), order);
  list.setObjects(ordered);
}

Change compareChildren(const Entry& entry, QWDatabaseObject& object, QWDatabaseObject& other) {
  const qw::Relation& relation = *entry.storage->relation;
  return compareOrder(relation.list(object).toVector(), object, relation.list(other).toVector(), other,
                      titleOf(object, *entry.property),
                      [&relation](QWDatabaseObject& target, const std::vector<qw::ObjectID>& order) {
                        reorder(relation.list(target), order);
                      });
}

}  // namespace

std::vector<std::shared_ptr<QWSynchronizationChange>> QWDatabaseObject::compareWithObject(
    QWDatabaseObject& other) {
  Changes changes;
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());
  for (const auto& entry : schema.attributes()) add(changes, compareAttribute(entry, *this, other));
  for (const auto& entry : schema.references()) {
    const qw::Relation& relation = *entry.storage->relation;
    add(changes, compareReference(targetOf(relation, *this).get(), *this, targetOf(relation, other).get(),
                                  other, titleOf(*this, *entry.property), linkSetter(*entry.property)));
  }
  for (const auto& entry : schema.owned()) {
    const qw::Relation& relation = *entry.storage->relation;
    for (auto& change :
         compareOwnedReference(targetOf(relation, *this), *this, targetOf(relation, other), other,
                               titleOf(*this, *entry.property), linkSetter(*entry.property)))
      add(changes, std::move(change));
  }
  for (const auto& entry : schema.parents()) add(changes, compareParentOf(entry, *this, other));
  for (const auto& entry : schema.children()) add(changes, compareChildren(entry, *this, other));
  return changes;
}

void QWDatabaseObject::commitChangesToOriginalDatabaseManager() {
  QWDatabaseManager* manager = databaseManager();
  const auto originalManager = manager ? manager->originalDatabaseManager() : nullptr;
  if (!originalManager) return;
  const auto original = originalObject();
  if (!original) {
    if (deleted_ || originalManager->objectWithID(id_)) return;
    rare().originalObject = qw::Back<QWDatabaseObject>(importInDatabaseManager(*originalManager));
  } else if (deleted_) {
    original->deleteObject();
    rare().originalObject = nullptr;
  } else {
    commitProperties(*original);
    commitOrder(*original);
  }
}

void QWDatabaseObject::commitProperties(QWDatabaseObject& original) {
  row_.forgetEdits();
  if (rare().edited.empty() || original.isDeleted()) return;
  for (const std::string_view key : std::exchange(rare().edited, {})) {
    const qw::Property* property = objectClass().property(key);
    if (property && property->storage)
      commitProperty(*property, original);
    else if (key == "ID")
      original.setID(id_);
    else
      remember(key);  // an order, which is set when everything is in its place
  }
}

void QWDatabaseObject::commitProperty(const qw::Property& property, QWDatabaseObject& original) {
  const qw::Relation* relation = property.storage->relation;
  QWDatabaseManager& store = *original.databaseManager();
  const auto isNow = [relation](const QWDatabaseObject& object, const ObjectPointer& target) {
    return targetOf(*relation, object) == target;
  };
  switch (property.kind) {
    case qw::PropertyKind::kReference: {
      const auto target = targetOf(*relation, *this);
      const qw::ObjectID id = target ? target->ID() : qw::ObjectID();
      store.requestLiveObjectWithID(
          id, [self = original.sharedAs<QWDatabaseObject>(), &property, isNow, id](const auto& found) {
            if ((found || !id) && !isNow(*self, found)) setLink(*self, property, found);
          });
      break;
    }
    case qw::PropertyKind::kOwned: {
      const auto owned = targetOf(*relation, *this);
      auto imported = owned ? store.objectWithID(owned->ID()) : nullptr;
      if (owned && (!imported || &imported->objectClass() != &owned->objectClass())) {
        imported = owned->importInDatabaseManager(store);
        owned->rare().originalObject = qw::Back<QWDatabaseObject>(imported);
      }
      if (!isNow(original, imported)) setLink(original, property, imported);
      break;
    }
    case qw::PropertyKind::kParent: {
      const auto parent = targetOf(*relation, *this);
      if (!parent) break;  // it is deleted, or has a parent of another kind
      if (const auto now = targetOf(*relation, original); now && now->ID() == parent->ID())
        parent->remember(kOrderKey);  // out and in again
      else
        store.requestLiveObjectWithID(parent->ID(), [self = original.sharedAs<QWDatabaseObject>(), &property,
                                                     parent](const auto& found) {
          if (found && !self->isDeleted())
            self->databaseManager()->placeObject(*self, property, found, childrenOf(parent, property));
        });
      break;
    }
    default:
      if (property.storage->comparison && !property.storage->comparison->equal(*this, original))
        setThrough(property, original, property.storedValue(*this));
  }
}

void QWDatabaseObject::commitOrder(QWDatabaseObject& original) {
  if (!rare_ || original.isDeleted() || !std::erase(rare_->edited, kOrderKey)) return;
  for (const auto& entry : qw::ClassSchema::of(objectClass()).children()) {
    std::vector<qw::ObjectID> order;
    for (const auto& child : entry.storage->relation->list(*this).objects()) order.push_back(child->ID());
    reorder(entry.storage->relation->list(original), order);
  }
}
