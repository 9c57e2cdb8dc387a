#include "store/model/ChildList.h"

#include <algorithm>
#include <cassert>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/base/Log.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/QWDatabaseObject.h"
#include "store/model/internal/EditLog.h"

namespace qw {

namespace {

using ObjectPointer = std::shared_ptr<QWDatabaseObject>;

/// The child's property for its parent; null where the classes cannot be related.
const Property* parentProperty(const QWDatabaseObject& owner, const Property& children,
                               const QWDatabaseObject& child) {
  return ClassSchema::otherEnd(owner.objectClass(), children, child.objectClass());
}

const QWDatabaseObject* parentOf(const QWDatabaseObject& object) {
  for (const auto& entry : ClassSchema::of(object.objectClass()).parents())
    if (const auto parent = entry.storage->relation->target(object)) return parent.get();
  return nullptr;
}

/// The objects below another one, one after the other.
class Descendants {
 public:
  explicit Descendants(const QWDatabaseObject& object) { descend(object); }
  /// Null after the last.
  const QWDatabaseObject* next() {
    while (!levels_.empty()) {
      Level& level = levels_.back();
      if (level.next < level.list->size()) {
        const QWDatabaseObject& object = *level.list->objects()[level.next++];
        descend(object);
        return &object;
      }
      levels_.pop_back();
    }
    return nullptr;
  }

 private:
  struct Level {
    const ChildList* list;
    std::size_t next = 0;
  };
  void descend(const QWDatabaseObject& object) {
    for (const auto& entry : ClassSchema::of(object.objectClass()).children())
      if (const ChildList& list = entry.storage->relation->list(const_cast<QWDatabaseObject&>(object));
          !list.empty())
        levels_.push_back({&list});
  }
  std::vector<Level> levels_;
};

bool refuseNull() {
  Log::error("A null pointer is no child");
  return false;
}

bool refuseCircle(const QWDatabaseObject& child, const QWDatabaseObject& owner) {
  Log::warning("{} does not go below {}, which is below it", child.ID().text(), owner.ID().text());
  return false;
}

}  // namespace

void*& ChildList::Place::place(QWDatabaseObject& child) { return child.place_; }

ChildList::ChildList() = default;

/// Children that live only here are freed one level after the other, however deep the tree.
ChildList::~ChildList() {
  if (items_.empty()) return;
  thread_local std::deque<Objects>* waiting = nullptr;
  if (waiting) {
    waiting->push_back(std::move(items_));
    return;
  }
  std::deque<Objects> lists;
  waiting = &lists;
  items_.clear();
  while (!lists.empty()) {
    Objects children(std::move(lists.front()));  // in the order of memory, as a rule
    lists.pop_front();
    children.clear();
  }
  waiting = nullptr;
}

std::size_t ChildList::indexOf(const QWDatabaseObject& child) const {
  return items_.contains(child) ? Objects::indexOf(child) : kNone;
}

std::unordered_set<const QWDatabaseObject*> ChildList::allBelow(const QWDatabaseObject& object) {
  std::unordered_set<const QWDatabaseObject*> all;
  Descendants below(object);
  while (const QWDatabaseObject* found = below.next()) all.insert(found);
  return all;
}

bool ChildList::isOrIsBelow(const QWDatabaseObject& object, const QWDatabaseObject& other) {
  if (&object == &other) return true;
  Descendants below(other);
  const QWDatabaseObject* above = &object;
  while (const QWDatabaseObject* found = below.next()) {
    above = parentOf(*above);
    if (!above) return false;
    if (above == &other || found == &object) return true;
  }
  return false;
}

/// Undo and redo bring back what was noted when it was done.
bool ChildList::isGoingBack() const {
  const QWDatabaseManager* manager = owner_->databaseManager();
  const UndoManager* undo = manager ? manager->undoManager() : nullptr;
  return undo && (undo->isUndoing() || undo->isRedoing());
}

void ChildList::indexesChanged() {
  if (QWDatabaseManager* manager = owner_->databaseManager()) manager->edits().indexesChanged();
}

void ChildList::append(std::shared_ptr<QWDatabaseObject> child) {
  const bool isInOrder = child->order_ >= 0 && (items_.empty() || items_.back()->order_ < child->order_);
  items_.push_back(child);
  if (isInOrder) return;
  if (child->row_.rowID() != 0) return markUnplaced(*child);
  child->order_ = -1;
  place(*child, items_.size() - 1);
}

bool ChildList::appendLoaded(const ObjectPointer& child) {
  const bool isInOrder = child->order_ >= 0 && (items_.empty() || items_.back()->order_ < child->order_);
  items_.push_back(child);
  return isInOrder;
}

void ChildList::sort() {
  auto children = items_.take();
  const auto byNumber = [](const auto& a, const auto& b) { return a->order_ < b->order_; };
  std::stable_sort(children.begin(), children.end(), byNumber);
  items_.assign(std::move(children));
  std::int64_t last = -1;
  for (const auto& child : items_) child->order_ > last ? void(last = child->order_) : markUnplaced(*child);
}

bool ChildList::insertObject(ObjectPointer child, std::size_t index) {
  const Property* end = owner_ && child ? parentProperty(*owner_, *property_, *child) : nullptr;
  if (!child) return refuseNull();
  if (!end || !child->databaseManager() || child->databaseManager() != owner_->databaseManager()) {
    Log::error(
        "{} cannot be a child here: the parent is in no store, in another one, or has no such children",
        child->description());
    return false;
  }
  const Property& parent = *end;
  if (isOrIsBelow(*owner_, *child)) return refuseCircle(*child, *owner_);
  const std::size_t from = indexOf(*child);
  if (from != kNone && from == std::min(index, items_.size() - 1)) return true;
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

  const ObjectPointer owner = owner_->sharedAs<QWDatabaseObject>();
  const bool wasHere = takesBack(*child);
  child->edit(parent.key, [&] {
    parent.storage->relation->setTarget(*child, owner);
    items_.insert(index, child);
    place(*child, index);
  });
  if (wasHere && !isGoingBack()) owner_->noteReorder();
  indexesChanged();
  if (owner_->isObserved(property_->key))
    owner_->didChange({Change::Kind::kInsertion,
                       property_->key,
                       {},
                       Array{Value(std::shared_ptr<Object>(child))},
                       IndexSet(index)});
  return true;
}

void ChildList::detach(QWDatabaseObject& child) {
  const std::size_t index = indexOf(child);
  if (index != kNone) detachAt(index);
}

void ChildList::detachAt(std::size_t index) {
  const ObjectPointer child = items_[index];
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

  child->edit(parent.key, [&] {
    parent.storage->relation->setTarget(*child, nullptr);
    items_.erase(*child);
    release(*child);
  });
  indexesChanged();
  if (owner_->isObserved(property_->key))
    owner_->didChange({Change::Kind::kRemoval,
                       property_->key,
                       Array{Value(std::shared_ptr<Object>(child))},
                       {},
                       IndexSet(index)});
}

void ChildList::remove(QWDatabaseObject& child) {
  if (items_.contains(child)) child.deleteObject();
}

void ChildList::move(QWDatabaseObject& child, std::size_t to) {
  const std::size_t from = indexOf(child);
  if (from == kNone || from == to) return;
  insertObject(items_[from], to);
  owner_->noteReorder();
}

bool ChildList::setObjects(const std::vector<ObjectPointer>& children) {
  const auto isReached = [&] {
    return std::equal(children.begin(), children.end(), items_.begin(), items_.end());
  };
  if (isReached()) return true;
  if (!owner_) return false;
  if (std::find(children.begin(), children.end(), nullptr) != children.end()) return refuseNull();
  for (const auto& child : children)
    if (!items_.contains(*child) && isOrIsBelow(*owner_, *child)) return refuseCircle(*child, *owner_);
  const std::unordered_set<ObjectPointer> wanted(children.begin(), children.end());
  const auto former = toVector();
  // From the end, as undo brings them back.
  for (auto child = former.rbegin(); child != former.rend(); ++child)
    if (!wanted.contains(*child)) (*child)->deleteObject();
  if (isReached()) return true;
  for (const auto& child : children)
    if (!items_.contains(*child)) addObject(child);
  if (isReached()) return true;
  if (children.size() != items_.size()) {
    Log::error("A child stands twice in the new order of {}.{}", owner_->description(), property_->key);
    return false;
  }

  // What remains is another order of the same children: one notice, one undo step.
  const Value old = toValue();
  if (UndoManager* undo = owner_->recordingUndoManager()) undo->registerRestore(*owner_, *property_, old);
  items_.assign(children);
  for (const auto& child : items_) markUnplaced(*child);
  owner_->noteReorder();
  indexesChanged();
  if (owner_->isObserved(property_->key)) {
    IndexSet all;
    all.add(IndexSet::Range{0, items_.size()});
    owner_->didChange({Change::Kind::kReplacement, property_->key, old, toValue(), all});
  }
  return true;
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

ObjectPointer ChildList::owner() const { return owner_ ? owner_->sharedAs<QWDatabaseObject>() : nullptr; }

Value ChildList::toValue() const {
  Array array;
  array.reserve(items_.size());
  for (const auto& item : items_) array.push_back(Value(std::shared_ptr<Object>(item)));
  return array;
}

}  // namespace qw
