// What a synchronization asks of a store: the objects of each step, links and places by ID, its queue.
#include <algorithm>

#include "store/compare/internal/SynchronizationQueue.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/internal/PendingLinks.h"

void QWDatabaseManager::requestLiveObjectWithID(const qw::ObjectID& id, QWRequestsMap::Request block) {
  links_->requestLiveObject(id, std::move(block));
}

void QWDatabaseManager::removeAllObjectRequests() { links_->finish(); }

bool QWDatabaseManager::placeObject(QWDatabaseObject& object, const qw::Property& parentProperty,
                                    const std::shared_ptr<QWDatabaseObject>& parent,
                                    const qw::ChildList* siblings) {
  return links_->place(object, parentProperty, parent, siblings);
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
