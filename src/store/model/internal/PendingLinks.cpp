#include "store/model/internal/PendingLinks.h"

#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"

namespace qw {

namespace {

using ObjectPointer = std::shared_ptr<QWDatabaseObject>;

/// The parent that an object has, and the property that leads there.
struct Ancestor {
  const Property* property = nullptr;
  ObjectPointer object;
};

Ancestor parentOf(const QWDatabaseObject& object) {
  for (const auto& entry : ClassSchema::of(object.objectClass()).parents())
    if (auto parent = entry.storage->relation->target(object)) return {entry.property, std::move(parent)};
  return {};
}

/// The children of `parent` that an object with this property belongs to; null when it cannot.
ChildList* listFor(const QWDatabaseObject& object, const Property& parentProperty, QWDatabaseObject& parent) {
  if (object.objectClass().property(parentProperty.key) != &parentProperty ||
      !parent.isKindOf(parentProperty.storage->relation->targetClass()))
    return nullptr;
  const Property* children = parent.objectClass().property(parentProperty.inverse);
  const Relation* relation =
      children && children->kind == PropertyKind::kChildren ? children->storage->relation : nullptr;
  return relation && object.isKindOf(relation->targetClass()) ? &relation->list(parent) : nullptr;
}

void insert(QWDatabaseObject& object, ChildList& list, const ChildList* siblings) {
  list.insertObject(object.sharedAs<QWDatabaseObject>(),
                    siblings ? list.indexToInsertObject(object.ID(), *siblings) : list.size());
}

}  // namespace

void PendingLinks::requestLiveObject(const ObjectID& id, QWRequestsMap::Request block) {
  objects_.requestObjectForKey(id, [this, id, block = std::move(block)](const ObjectPointer& found) {
    if (!found || !found->isDeleted()) return block(found);
    liveRequests_.push_back({id, block});
  });
}

void PendingLinks::checkParent(QWDatabaseObject& object, std::string_view parentKeyPath) {
  const KeyPath path(parentKeyPath);
  parentChecks_.push_back({object.sharedAs<QWDatabaseObject>(), path, path.value(object)});
}

bool PendingLinks::place(QWDatabaseObject& object, const Property& parentProperty,
                         const ObjectPointer& parent, const ChildList* siblings) {
  if (!parent) return true;
  ChildList* list = listFor(object, parentProperty, *parent);
  if (!list) return false;
  if (parentProperty.storage->relation->target(object) == parent) return true;
  if (ChildList::isOrIsBelow(*parent, object))
    moves_.push_back({object.sharedAs<QWDatabaseObject>(), &parentProperty, parent,
                      siblings ? siblings->owner() : nullptr, siblings});
  else
    insert(object, *list, siblings);
  return true;
}

void PendingLinks::finish() {
  do {
    answerRequests();
    move();
    checkParents();
  } while (objects_.hasRequests() || !liveRequests_.empty() || !moves_.empty() || !parentChecks_.empty());
}

void PendingLinks::answerRequests() {
  objects_.removeAllRequests();
  while (!liveRequests_.empty()) {
    for (const LiveRequest& request : std::exchange(liveRequests_, {}))
      request.block(manager_.objectWithID(request.id));
    objects_.removeAllRequests();
  }
}

void PendingLinks::move() {
  const auto moves = std::exchange(moves_, {});
  std::unordered_map<const QWDatabaseObject*, Ancestor> former;
  for (const Move& move : moves)
    if (Ancestor parent = parentOf(*move.object); parent.object) {
      listFor(*move.object, *parent.property, *parent.object)->detach(*move.object);
      former.try_emplace(move.object.get(), std::move(parent));
    }
  const auto formerParentOf = [&](const QWDatabaseObject& object) {
    const auto found = former.find(&object);
    return found == former.end() ? parentOf(object) : found->second;
  };
  for (const Move& move : moves) {
    QWDatabaseObject& object = *move.object;
    if (object.isDeleted()) continue;
    const auto listIn = [&](const Ancestor& place) {
      return place.object && !place.object->isDeleted() ? listFor(object, *place.property, *place.object)
                                                        : nullptr;
    };
    ChildList* chosen = listIn({move.parentProperty, move.parent});
    if (chosen && !ChildList::isOrIsBelow(*move.parent, object)) {
      insert(object, *chosen, move.siblings);
      continue;
    }
    // Where it cannot go it returns to its former parent, or the next one above that; a new object, which has
    // none, goes below the next one above it in the store that it comes from.
    bool isPlaced = false;
    auto below = ChildList::allBelow(object);
    below.insert(&object);
    const auto takes = [&](const Ancestor& place) {
      ChildList* list = listIn(place);
      if (!list || below.contains(place.object.get())) return false;
      insert(object, *list, nullptr);
      return true;
    };
    std::unordered_set<const QWDatabaseObject*> passed;
    for (Ancestor above = formerParentOf(object);
         above.object && !isPlaced && passed.insert(above.object.get()).second;
         above = formerParentOf(*above.object))
      isPlaced = takes(above);
    for (Ancestor above{move.parentProperty, move.siblingsOwner}; above.object && !isPlaced;
         above = parentOf(*above.object))
      isPlaced = takes({above.property, manager_.objectWithID(above.object->ID())});
    if (!isPlaced) object.deleteObject();
  }
}

void PendingLinks::checkParents() {
  for (const ParentCheck& check : std::exchange(parentChecks_, {})) {
    const auto object = check.object.lock();
    if (!object) continue;
    const Value now = check.path.value(*object);
    if (now.kind() == check.parent.kind() && now.object() == check.parent.object()) object->deleteObject();
  }
}

}  // namespace qw
