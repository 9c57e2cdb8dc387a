#include "store/model/QWDatabaseOperation.h"

#include "platform/loop/RunLoop.h"
#include "store/model/QWDatabaseManager.h"

QWDatabaseOperation::QWDatabaseOperation(QWDatabaseManager& manager, Block block)
    : manager_(manager.copy()), block_(std::move(block)) {}

QWDatabaseOperation::~QWDatabaseOperation() = default;

void QWDatabaseOperation::start() {
  if (isCancelled()) return finish();
  setExecuting(true);
  if (Block block = std::exchange(block_, nullptr)) block(*this, *manager_);
  if (!finalized_) terminate();
}

void QWDatabaseOperation::terminate() { finish(); }

void QWDatabaseOperation::finalizeWithBlock(std::function<void()> block) {
  finalized_ = true;
  if (!block || isCancelled()) return terminate();
  auto self = std::static_pointer_cast<QWDatabaseOperation>(shared_from_this());
  qw::RunLoop::main().dispatch([self, block = std::move(block)] {
    if (!self->isCancelled()) block();
    self->terminate();
  });
}
