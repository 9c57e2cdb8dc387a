#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "store/columns/ObjectID.h"
#include "store/columns/QWSynchronizationChange.h"

/// The changes of one object, as they are reviewed together.
class QW_EXPORT QWSynchronizationChangesGroup {
 public:
  /// Makes the group and its ID.
  QWSynchronizationChangesGroup(std::string title,
                                std::vector<std::shared_ptr<QWSynchronizationChange>> changes,
                                qw::ObjectID objectID = {});

  /// Unique, made with the group.
  const std::string& ID() const { return id_; }

  /// What the object is called.
  std::string title;
  /// In the order in which they are shown.
  std::vector<std::shared_ptr<QWSynchronizationChange>> changes;
  /// Whose changes these are.
  qw::ObjectID objectID;

 private:
  std::string id_;
};
