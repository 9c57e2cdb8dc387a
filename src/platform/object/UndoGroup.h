#pragma once

#include <string>
#include <utility>

#include "platform/base/Export.h"
#include "platform/object/UndoManager.h"

namespace qw {

/// Makes one undo step of what happens while it lives. Scopes nest: the outermost one is the step. A null
/// manager is allowed; otherwise the manager must outlive the scope. Used on the main thread.
///
///     qw::UndoGroup step(store->undoManager(), "Import");
///     if (!import(file)) step.takeBack();  // all or nothing
class QW_EXPORT UndoGroup {
 public:
  /// Begins the step; a name that is not empty becomes that of the step at its end.
  explicit UndoGroup(UndoManager* manager, std::string actionName = {})
      : manager_(manager), actionName_(std::move(actionName)) {
    if (manager_) manager_->beginUndoGrouping();
  }
  ~UndoGroup() {
    if (!manager_) return;
    if (!actionName_.empty()) manager_->setActionName(std::move(actionName_));
    manager_->endUndoGrouping();
  }
  UndoGroup(const UndoGroup&) = delete;
  UndoGroup& operator=(const UndoGroup&) = delete;

  /// Undoes and forgets what was registered since the scope began.
  void takeBack() {
    if (manager_) manager_->undoNestedGroup();
  }

 private:
  UndoManager* manager_;
  std::string actionName_;
};

}  // namespace qw
