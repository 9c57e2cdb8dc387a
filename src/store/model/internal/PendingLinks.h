#pragma once

#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "platform/object/KeyPath.h"
#include "store/model/QWRequestsMap.h"

class QWDatabaseManager;

namespace qw {

class ChildList;

/// What waits for objects that a store does not have yet while objects are loaded, imported or merged. Owned
/// by the manager. `finish` goes through it in phases, until nothing waits:
///
/// 1. Requests for objects that did not come are answered with null.
/// 2. Requests for live objects are answered, where a deleted one had the ID.
/// 3. Moves are made that would have closed a circle when they were chosen. All of them leave their parents
///    first, so that only circles among what was chosen remain; whoever cannot go where it was to go returns.
/// 4. Objects whose parent vanished are deleted if they still have that parent.
class PendingLinks {
 public:
  using Object = std::shared_ptr<QWDatabaseObject>;

  PendingLinks(QWDatabaseManager& manager, QWRequestsMap& objects) : manager_(manager), objects_(objects) {}

  void requestLiveObject(const ObjectID& id, QWRequestsMap::Request block);
  void checkParent(QWDatabaseObject& object, std::string_view parentKeyPath);
  /// See `QWDatabaseManager::placeObject`.
  bool place(QWDatabaseObject& object, const Property& parentProperty, const Object& parent,
             const ChildList* siblings);
  void finish();

 private:
  struct LiveRequest {
    ObjectID id;
    QWRequestsMap::Request block;
  };
  struct Move {
    Object object;
    const Property* parentProperty;
    Object parent;
    Object siblingsOwner;  // keeps `siblings`
    const ChildList* siblings;
  };
  struct ParentCheck {
    std::weak_ptr<QWDatabaseObject> object;
    KeyPath path;
    Value parent;  // when the check was asked for
  };

  void answerRequests();
  void move();
  void checkParents();

  QWDatabaseManager& manager_;
  QWRequestsMap& objects_;
  std::vector<LiveRequest> liveRequests_;
  std::vector<Move> moves_;
  std::vector<ParentCheck> parentChecks_;
};

}  // namespace qw
