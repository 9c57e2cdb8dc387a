// What a synchronization asks of a store: the objects of each step, links and places that are found by ID.
#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "store/compare/internal/SynchronizationQueue.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"

namespace {

using ObjectPointer = std::shared_ptr<QWDatabaseObject>;

/// The parent that an object has, and the property that leads there.
struct Ancestor {
  const qw::Property* property = nullptr;
  ObjectPointer object;
};

Ancestor parentOf(const QWDatabaseObject& object) {
  for (const auto& entry : qw::ClassSchema::of(object.objectClass()).parents())
    if (auto parent = entry.storage->relation->target(object)) return {entry.property, std::move(parent)};
  return {};
}

/// The children of `parent` that an object with this property belongs to; null when it cannot.
qw::ChildList* listFor(const QWDatabaseObject& object, const qw::Property& parentProperty,
                       QWDatabaseObject& parent) {
  if (object.objectClass().property(parentProperty.key) != &parentProperty ||
      !parent.isKindOf(parentProperty.storage->relation->targetClass()))
    return nullptr;
  const qw::Property* children = parent.objectClass().property(parentProperty.inverse);
  const qw::Relation* relation =
      children && children->kind == qw::PropertyKind::kChildren ? children->storage->relation : nullptr;
  return relation && object.isKindOf(relation->targetClass()) ? &relation->list(parent) : nullptr;
}

void insert(QWDatabaseObject& object, qw::ChildList& list, const qw::ChildList* siblings) {
  list.insertObject(object.sharedAs<QWDatabaseObject>(),
                    siblings ? list.indexToInsertObject(object.ID(), *siblings) : list.size());
}

}  // namespace

void QWDatabaseManager::requestLiveObjectWithID(const qw::ObjectID& id, QWRequestsMap::Request block) {
  requestObjectWithID(id, [this, id, block = std::move(block)](const ObjectPointer& found) {
    if (!found || !found->isDeleted()) return block(found);
    afterRequests_.push_back([this, id, block] { block(objectWithID(id)); });
  });
}

void QWDatabaseManager::removeAllObjectRequests() {
  objects_.removeAllRequests();
  while (!afterRequests_.empty()) {
    for (const auto& request : std::exchange(afterRequests_, {})) request();
    objects_.removeAllRequests();
  }
  performWaitingMoves();
}

bool QWDatabaseManager::placeObject(QWDatabaseObject& object, const qw::Property& parentProperty,
                                    const ObjectPointer& parent, const qw::ChildList* siblings) {
  if (!parent) return true;
  qw::ChildList* list = listFor(object, parentProperty, *parent);
  if (!list) return false;
  if (parentProperty.storage->relation->target(object) == parent) return true;
  if (qw::ChildList::isOrIsBelow(*parent, object))
    waitingMoves_.push_back({object.sharedAs<QWDatabaseObject>(), &parentProperty, parent,
                             siblings ? siblings->owner() : nullptr, siblings});
  else
    insert(object, *list, siblings);
  return true;
}

/// All of them leave their parents first, so that only circles among what was chosen remain.
void QWDatabaseManager::performWaitingMoves() {
  const auto moves = std::exchange(waitingMoves_, {});
  std::unordered_map<const QWDatabaseObject*, Ancestor> former;
  for (const WaitingMove& move : moves)
    if (Ancestor parent = parentOf(*move.object); parent.object) {
      listFor(*move.object, *parent.property, *parent.object)->detach(*move.object);
      former.try_emplace(move.object.get(), std::move(parent));
    }
  const auto formerParentOf = [&](const QWDatabaseObject& object) {
    const auto found = former.find(&object);
    return found == former.end() ? parentOf(object) : found->second;
  };
  for (const WaitingMove& move : moves) {
    QWDatabaseObject& object = *move.object;
    if (object.isDeleted()) continue;
    const auto listIn = [&](const Ancestor& place) {
      return place.object && !place.object->isDeleted() ? listFor(object, *place.property, *place.object)
                                                        : nullptr;
    };
    qw::ChildList* chosen = listIn({move.parentProperty, move.parent});
    if (chosen && !qw::ChildList::isOrIsBelow(*move.parent, object)) {
      insert(object, *chosen, move.siblings);
      continue;
    }
    // Where it cannot go it returns to its former parent, or the next one above that; a new object, which has
    // none, goes below the next one above it in the store that it comes from.
    bool isPlaced = false;
    auto below = qw::ChildList::allBelow(object);
    below.insert(&object);
    const auto takes = [&](const Ancestor& place) {
      qw::ChildList* list = listIn(place);
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
      isPlaced = takes({above.property, objectWithID(above.object->ID())});
    if (!isPlaced) object.deleteObject();
  }
}

qw::SynchronizationQueue& QWDatabaseManager::synchronizationQueue() {
  if (!synchronizationQueue_) synchronizationQueue_ = std::make_shared<qw::SynchronizationQueue>(*this);
  return *synchronizationQueue_;
}

void QWDatabaseManager::enqueueSynchronizationBlock(SynchronizationBlock block) {
  synchronizationQueue().enqueue(std::move(block));
}

void QWDatabaseManager::dequeueSynchronizationBlock() { synchronizationQueue().dequeue(); }

void QWDatabaseManager::cancelPendingSynchronizations() {
  synchronizationQueue().cancel();
  for (const auto& handler : synchronizationHandlers_) handler->deactivate();
}

std::shared_ptr<qw::SynchronizationRun> QWDatabaseManager::synchronizationSessionController() const {
  return synchronizationQueue_ ? synchronizationQueue_->run() : nullptr;
}

void QWDatabaseManager::synchronizeWithDatabaseAtURL(
    const std::filesystem::path& URL, bool inBackground, std::optional<qw::Image> otherIcon,
    SynchronizationStartHandler startHandler, qw::SynchronizationDocument::Completion completionHandler) {
  synchronizationQueue().synchronize(URL, inBackground, std::move(otherIcon), std::move(startHandler),
                                     std::move(completionHandler));
}

std::shared_ptr<QWSynchronizationHandling> QWDatabaseManager::synchronizationHandler(
    std::string_view description) const {
  for (const auto& handler : synchronizationHandlers_)
    if (handler->objectClass().name() == description) return handler;
  return nullptr;
}

void QWDatabaseManager::prepareSynchronization(int step, QWDatabaseManager& other) {
  if (step != numberOfSynchronizationSteps()) return;
  for (const auto& [name, data] : other.filtersBarDatas_) filtersBarData(name)->setID(data->ID());
}

std::vector<qw::ObjectID> QWDatabaseManager::synchronizingObjectIDsForStep(int step) const {
  // Priorities compare as unsigned numbers: -1, on either side, is the largest.
  const auto bound = [&](int n) {
    return static_cast<std::uint64_t>(maximumSynchronizationPriorityForStep(n));
  };
  constexpr std::uint64_t kNoBound = ~std::uint64_t{0};
  const std::uint64_t below = bound(step);
  const std::uint64_t from = step >= 2 ? bound(step - 1) : kNoBound;
  std::vector<std::pair<std::int32_t, qw::ObjectID>> found;
  objects_.forEach([&](const std::shared_ptr<QWDatabaseObject>& object) {
    const std::int32_t priority = object->objectClass().synchronizationPriority();
    const auto key = static_cast<std::uint64_t>(std::int64_t{priority});
    if (object->isDeleted() || (below != kNoBound && key >= below) || (from != kNoBound && key < from))
      return;
    found.emplace_back(priority, object->ID());
  });
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<qw::ObjectID> ids;
  ids.reserve(found.size());
  for (auto& [priority, id] : found) ids.push_back(id);
  return ids;
}
