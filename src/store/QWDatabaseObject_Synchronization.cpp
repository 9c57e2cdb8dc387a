// The differences between an object and its counterpart, from the property table.
#include "store/ClassSchema.h"
#include "store/QWDatabaseManager.h"
#include "store/QWDatabaseObject.h"
#include "store/QWSynchronizationComparison.h"

namespace {

using namespace QWSynchronizationComparison;

std::string_view titleKey(const qw::Property& property) {
  return property.localizationKey.empty() ? property.key : property.localizationKey;
}

ObjectPointer targetOf(const qw::Relation& relation, const QWDatabaseObject& object) {
  auto target = relation.target(object);
  return target && !target->isDeleted() ? target : nullptr;
}

/// Through the public setter, which may do more than store.
void setLink(QWDatabaseObject& object, const qw::Property& property, const ObjectPointer& target) {
  (property.set ? property.set : property.restore)(object, qw::Value(std::shared_ptr<qw::Object>(target)));
}

const qw::ChildList* childrenOf(const ObjectPointer& parent, const qw::Property& property) {
  return parent ? &parent->objectClass().property(property.inverse)->storage->relation->list(*parent)
                : nullptr;
}

}  // namespace

std::vector<std::shared_ptr<QWSynchronizationChange>> QWDatabaseObject::compareWithObject(
    QWDatabaseObject& other) {
  Changes changes;
  // A copy's edits are committed to the last bit; between two stores each type says what counts.
  const bool isCommit = manager_ && other.databaseManager() == manager_->originalDatabaseManager().get();
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());

  for (const auto& entry : schema.attributes()) {
    const qw::AttributeComparison& comparison = *entry.storage->comparison;
    if (isCommit ? comparison.equal(*this, other) : !comparison.differ(*this, other)) continue;
    const qw::Property& property = *entry.property;
    auto change = std::make_shared<QWSynchronizationChange>(
        qw::Localization::synchronizationString(titleKey(property)));
    change->show(comparison.side(*this, property), comparison.side(other, property));
    const auto valueOf = [&](const QWDatabaseObject& object) {
      return isCommit ? property.storedValue(object) : comparison.value(object);
    };
    const auto set = [&property](QWDatabaseObject& target, const qw::Value& value) {
      (property.set ? property.set : property.restore)(target, value);
    };
    change->block = [target = other.sharedAs<QWDatabaseObject>(), set, value = valueOf(*this)] {
      set(*target, value);
    };
    change->otherBlock = [self = sharedAs<QWDatabaseObject>(), set, value = valueOf(other)] {
      if (const auto target = self->originalObject()) set(*target, value);
    };
    changes.push_back(std::move(change));
  }

  for (const auto& entry : schema.references()) {
    const qw::Property& property = *entry.property;
    const qw::Relation& relation = *entry.storage->relation;
    add(changes, compareReference(targetOf(relation, *this).get(), *this, targetOf(relation, other).get(),
                                  other, titleKey(property),
                                  [&property](QWDatabaseObject& target, const ObjectPointer& reference) {
                                    setLink(target, property, reference);
                                  }));
  }

  for (const auto& entry : schema.owned()) {
    const qw::Property& property = *entry.property;
    const qw::Relation& relation = *entry.storage->relation;
    auto found = compareOwnedReference(targetOf(relation, *this), *this, targetOf(relation, other), other,
                                       titleKey(property),
                                       [&property](QWDatabaseObject& target, const ObjectPointer& owned) {
                                         setLink(target, property, owned);
                                       });
    for (auto& change : found) changes.push_back(std::move(change));
  }

  for (const auto& entry : schema.parents()) {
    const qw::Property& property = *entry.property;
    const auto parent = targetOf(*entry.storage->relation, *this),
               otherParent = targetOf(*entry.storage->relation, other);
    add(changes, compareParent(parent.get(), *this, childrenOf(parent, property), otherParent.get(), other,
                               childrenOf(otherParent, property), titleKey(property),
                               [&property](QWDatabaseObject& target, const ObjectPointer& parent,
                                           const qw::ChildList* siblings) {
                                 target.databaseManager()->placeObject(target, property, parent, siblings);
                               }));
  }

  for (const auto& entry : schema.children()) {
    const qw::Property& property = *entry.property;
    const auto listOf = [&property](QWDatabaseObject& object) -> qw::ChildList& {
      return property.storage->relation->list(object);
    };
    const auto reorder = [listOf](QWDatabaseObject& target, const std::vector<qw::ObjectID>& order) {
      qw::ChildList& list = listOf(target);
      list.setObjects(reorderedArrayWithIDs(list.toVector(), order));
    };
    auto change = compareOrder(listOf(*this).toVector(), *this, listOf(other).toVector(), other,
                               titleKey(property), reorder);
    if (change && isCommit)
      change->block = [target = other.sharedAs<QWDatabaseObject>(), reorder, listOf,
                       self = sharedAs<QWDatabaseObject>()] {
        std::vector<qw::ObjectID> order;
        for (const auto& child : listOf(*self).objects()) order.push_back(child->ID());
        reorder(*target, order);
      };
    add(changes, std::move(change));
  }
  return changes;
}
