#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "platform/base/Image.h"
#include "store/columns/SynchronizationDocument.h"

class QWDatabaseManager;

namespace qw {

/// The synchronizations of a store, one after the other. Owned by the manager, used on its thread.
class SynchronizationQueue {
 public:
  using Block = std::function<void()>;
  using StartHandler = std::function<void(const std::shared_ptr<SynchronizationRun>&)>;
  using Completion = SynchronizationDocument::Completion;

  explicit SynchronizationQueue(QWDatabaseManager& manager) : manager_(manager) {}

  void enqueue(Block block);
  void dequeue();
  /// Forgets what waits and cancels what runs.
  void cancel();
  /// Null when no run goes on.
  const std::shared_ptr<SynchronizationRun>& run() const { return run_; }
  void synchronize(const std::filesystem::path& URL, bool inBackground, std::optional<Image> otherIcon,
                   StartHandler startHandler, Completion completion);

 private:
  void start(const SynchronizationDocument::Request& request, const StartHandler& startHandler,
             const Completion& completion);

  QWDatabaseManager& manager_;
  std::deque<Block> blocks_;  // the first one runs
  std::uint64_t cancellations_ = 0;
  std::shared_ptr<SynchronizationRun> run_;
};

}  // namespace qw
