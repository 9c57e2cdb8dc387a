#pragma once

#include <functional>
#include <memory>

#include "platform/base/Export.h"
#include "platform/loop/OperationQueue.h"

class QWDatabaseManager;

/// Work in the background on a copy of a store: the block gets the operation and the copy, never the live
/// store. With `finalizeWithBlock` the result is handed to the main queue, where it may be committed to the
/// original; until then the operation counts as running. Made and queued by
/// `QWDatabaseManager::addOperationWithBlock`.
class QW_EXPORT QWDatabaseOperation final : public qw::Operation {
 public:
  /// Runs in the background, on the operation and its copy of the store.
  using Block = std::function<void(QWDatabaseOperation&, QWDatabaseManager&)>;

  /// Copies the manager at once, on the calling (main) thread.
  QWDatabaseOperation(QWDatabaseManager& manager, Block block);
  ~QWDatabaseOperation() override;

  bool isAsynchronous() const override { return true; }
  /// The copy.
  QWDatabaseManager& databaseManager() const { return *manager_; }
  /// Whether `finalizeWithBlock` was called.
  bool hasBeenFinalized() const { return finalized_; }

  void start() override;
  /// Ends the operation.
  void terminate();
  /// To be called by the block: runs `block` on the main queue unless the operation is cancelled before, then
  /// ends the operation.
  void finalizeWithBlock(std::function<void()> block);

 private:
  std::shared_ptr<QWDatabaseManager> manager_;
  Block block_;
  bool finalized_ = false;
};
