#include "store/model/ChildList.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "platform/base/Log.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/QWDatabaseObject.h"

namespace qw {

namespace {

/// The child's property for its parent; null where the classes cannot be related.
const Property* parentProperty(const QWDatabaseObject& owner, const Property& children,
                               const QWDatabaseObject& child) {
  return ClassSchema::otherEnd(owner.objectClass(), children, child.objectClass());
}

}  // namespace

std::size_t ChildList::indexOf(const QWDatabaseObject& child) const {
  const Property* parent = owner_ ? child.objectClass().property(property_->inverse) : nullptr;
  if (items_.empty() || !parent || !parent->storage || !parent->storage->relation ||
      parent->storage->relation->target(child).get() != owner_)
    return kNone;
  // Its own index is right, or, behind a change that is not settled, near: search from there to both sides.
  const std::size_t guess = std::min(static_cast<std::size_t>(std::max(0, child.index_)), items_.size() - 1);
  for (std::size_t distance = 0; distance < items_.size(); ++distance) {
    if (distance <= guess && items_[guess - distance].get() == &child) return guess - distance;
    if (guess + distance < items_.size() && items_[guess + distance].get() == &child) return guess + distance;
  }
  return kNone;
}

void ChildList::append(std::shared_ptr<QWDatabaseObject> child) {
  if (child->index_ != static_cast<std::int64_t>(items_.size())) markStale(items_.size());
  items_.push_back(std::move(child));
}

void ChildList::insertObject(std::shared_ptr<QWDatabaseObject> child, std::size_t index) {
  const Property* end = owner_ ? parentProperty(*owner_, *property_, *child) : nullptr;
  if (!end || !child->databaseManager() || child->databaseManager() != owner_->databaseManager()) {
    Log::error(
        "{} cannot be a child here: the parent is in no store, in another one, or has no such children",
        child->description());
    return;
  }
  const Property& parent = *end;
  child->detachFromParent(QWDatabaseObject::Leaving::kForGood);
  index = std::min(index, items_.size());
  if (UndoManager* undo = owner_->recordingUndoManager())
    undo->registerAction(
        *owner_,
        [](Object& owner, const Property* property, const Value& value, std::int64_t) {
          property->storage->relation->list(static_cast<QWDatabaseObject&>(owner))
              .detach(static_cast<QWDatabaseObject&>(*value.object()));
        },
        property_, Value(std::shared_ptr<Object>(child)));

  const std::shared_ptr<QWDatabaseObject> owner = owner_->sharedAs<QWDatabaseObject>();
  child->edit(parent.key, [&] { parent.storage->relation->setTarget(*child, owner); });
  child->setIndex(static_cast<std::int64_t>(index));
  items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(index), child);
  if (staleFrom_ != kNone && index < staleFrom_) ++staleFrom_;
  if (index + 1 < items_.size()) markStale(index + 1);
  if (owner_->isObserved(property_->key))
    owner_->didChange({Change::Kind::kInsertion,
                       property_->key,
                       {},
                       Array{Value(std::shared_ptr<Object>(child))},
                       IndexSet(index)});
}

void ChildList::detach(QWDatabaseObject& child) {
  const std::size_t index = indexOf(child);
  if (index != kNone) detachAt(index);
}

void ChildList::detachAt(std::size_t index) {
  const std::shared_ptr<QWDatabaseObject> child = items_[index];
  const Property& parent = *child->objectClass().property(property_->inverse);
  if (UndoManager* undo = owner_->recordingUndoManager())
    undo->registerAction(
        *owner_,
        [](Object& owner, const Property* property, const Value& value, std::int64_t place) {
          auto object = std::static_pointer_cast<QWDatabaseObject>(value.object());
          property->storage->relation->list(static_cast<QWDatabaseObject&>(owner))
              .insertObject(std::move(object), static_cast<std::size_t>(place));
        },
        property_, Value(std::shared_ptr<Object>(child)), static_cast<std::int64_t>(index));

  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(index));
  if (staleFrom_ != kNone && index < staleFrom_) --staleFrom_;
  if (index < items_.size()) markStale(index);
  child->edit(parent.key, [&] { parent.storage->relation->setTarget(*child, nullptr); });
  child->setIndex(-1);
  if (owner_->isObserved(property_->key))
    owner_->didChange({Change::Kind::kRemoval,
                       property_->key,
                       Array{Value(std::shared_ptr<Object>(child))},
                       {},
                       IndexSet(index)});
}

void ChildList::remove(QWDatabaseObject& child) {
  if (indexOf(child) != kNone) child.deleteObject();
}

void ChildList::move(QWDatabaseObject& child, std::size_t to) {
  const std::size_t from = indexOf(child);
  if (from == kNone || from == to) return;
  const std::shared_ptr<QWDatabaseObject> kept = items_[from];
  detachAt(from);
  insertObject(kept, to);
  owner_->noteReorder();
}

void ChildList::setObjects(const std::vector<std::shared_ptr<QWDatabaseObject>>& children) {
  if (children == items_ || !owner_) return;
  const std::unordered_set<std::shared_ptr<QWDatabaseObject>> wanted(children.begin(), children.end());
  // From the end, so that nothing behind a removed child moves twice.
  for (std::size_t i = items_.size(); i-- > 0;)
    if (!wanted.contains(items_[i])) items_[i]->deleteObject();
  if (children == items_) return;
  for (const auto& child : children)
    if (indexOf(*child) == kNone) addObject(child);
  if (children == items_) return;
  if (children.size() != items_.size())
    return Log::error("A child stands twice in the new order of {}.{}", owner_->description(),
                      property_->key);

  // What remains is another order of the same children: one notice, one undo step.
  const Value old = toValue();
  if (UndoManager* undo = owner_->recordingUndoManager()) undo->registerRestore(*owner_, *property_, old);
  items_ = children;
  markStale(0);
  owner_->noteReorder();
  if (owner_->isObserved(property_->key)) {
    IndexSet all;
    all.add(IndexSet::Range{0, items_.size()});
    owner_->didChange({Change::Kind::kReplacement, property_->key, old, toValue(), all});
  }
}

std::size_t ChildList::indexToInsertObject(const ObjectID& child, const std::vector<ObjectID>& order) const {
  std::unordered_set<ObjectID> before;
  for (const ObjectID& id : order) {
    if (id == child) break;
    before.insert(id);
  }
  for (std::size_t i = items_.size(); i-- > 0;)
    if (before.contains(items_[i]->ID())) return i + 1;
  return 0;
}

std::size_t ChildList::indexToInsertObject(const ObjectID& child, const ChildList& siblings) const {
  const QWDatabaseManager* from = siblings.owner_ ? siblings.owner_->databaseManager() : nullptr;
  const QWDatabaseObject* source = from ? from->objects().find(child) : nullptr;
  std::size_t place = source ? siblings.indexOf(*source) : kNone;
  if (place == kNone) return items_.size();
  const QWRequestsMap& objects = owner_->databaseManager()->objects();
  while (place-- > 0) {
    const QWDatabaseObject* before = objects.find(siblings.items_[place]->ID());
    const std::size_t index = before ? indexOf(*before) : kNone;
    if (index != kNone) return index + 1;
  }
  return 0;
}

void ChildList::markStale(std::size_t from) {
  if (staleFrom_ == kNone) {
    if (QWDatabaseManager* manager = owner_->databaseManager()) manager->listIsStale(*owner_, *this);
    staleFrom_ = from;
  } else {
    staleFrom_ = std::min(staleFrom_, from);
  }
}

std::shared_ptr<QWDatabaseObject> ChildList::owner() const {
  return owner_ ? owner_->sharedAs<QWDatabaseObject>() : nullptr;
}

void ChildList::settle() {
  const std::size_t from = std::exchange(staleFrom_, kNone);
  for (std::size_t i = from; i < items_.size(); ++i) items_[i]->setIndex(static_cast<std::int64_t>(i));
}

Value ChildList::toValue() const {
  Array array;
  array.reserve(items_.size());
  for (const auto& item : items_) array.push_back(Value(std::shared_ptr<Object>(item)));
  return array;
}

}  // namespace qw
