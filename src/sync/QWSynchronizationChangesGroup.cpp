#include "sync/QWSynchronizationChangesGroup.h"

#include "values/text/QWStringAdditions.h"

QWSynchronizationChangesGroup::QWSynchronizationChangesGroup(
    std::string title, std::vector<std::shared_ptr<QWSynchronizationChange>> changes, qw::ObjectID objectID)
    : title(std::move(title)),
      changes(std::move(changes)),
      objectID(objectID),
      id_(QWStringAdditions::uniqueID()) {}
