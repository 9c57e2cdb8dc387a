#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/base/Export.h"

namespace qw {

/// A piece of work for an `OperationQueue`, owned by shared pointers. A plain one overrides `main`. One that
/// goes on after `start` has returned overrides `start` instead: it calls `setExecuting(true)`, and `finish`
/// when it is done, from any thread; when it is cancelled before it starts, `start` calls `finish` and does
/// nothing else. The flags may be read and `cancel` called from any thread; cancelling asks, the work looks
/// at `isCancelled` and ends early.
class QW_EXPORT Operation : public std::enable_shared_from_this<Operation> {
 public:
  Operation() = default;
  virtual ~Operation() = default;
  Operation(const Operation&) = delete;
  Operation& operator=(const Operation&) = delete;

  /// Whether `cancel` was called, before or after the start.
  bool isCancelled() const;
  /// Whether the work has begun and has not ended.
  bool isExecuting() const;
  /// Once true it stays so, and the operation is never executing any more.
  bool isFinished() const;
  /// Whether the work goes on after `start` has returned.
  virtual bool isAsynchronous() const { return false; }

  /// Called once, on a thread of the queue.
  virtual void start();
  /// Asks the work to end early. An override calls its base.
  virtual void cancel();
  /// Calls back once on the thread that finishes the operation, or at once when it is finished.
  void whenFinished(std::function<void()> closure);
  /// Waits for the end. On the main thread, handles the main run loop's events meanwhile, because operations
  /// hand their results to it.
  void waitUntilFinished();

 protected:
  /// The work of a plain operation, on a thread of the queue.
  virtual void main() {}
  /// For a `start` of one's own: the work has begun.
  void setExecuting(bool executing);
  /// For a `start` of one's own: the work has ended. Calls what waits; once.
  void finish();

 private:
  mutable std::mutex mutex_;
  std::condition_variable finishing_;
  std::vector<std::function<void()>> finishHandlers_;
  bool cancelled_ = false;
  bool executing_ = false;
  bool finished_ = false;
};

/// Starts operations in the order in which they were added, at most `maxConcurrentOperationCount` at a time,
/// on threads that begin when they are needed. May be used from any thread. The destructor cancels what is
/// left, finishes what has not started, and waits for calls of `start` to return, so they must not wait for
/// the destroying thread.
class QW_EXPORT OperationQueue {
 public:
  /// The name is shown by debuggers. At least one operation at a time.
  explicit OperationQueue(std::string name, std::size_t maxConcurrentOperationCount);
  ~OperationQueue();
  OperationQueue(const OperationQueue&) = delete;
  OperationQueue& operator=(const OperationQueue&) = delete;

  /// At least 1. Takes effect on operations that have not started.
  void setMaxConcurrentOperationCount(std::size_t count);
  /// How many operations may be executing.
  std::size_t maxConcurrentOperationCount() const;
  /// Operations that are not finished.
  std::size_t operationCount() const;

  /// Adds an operation, which is in no queue yet, behind the others.
  void addOperation(std::shared_ptr<Operation> operation);
  /// Adds a closure as an operation and answers it.
  std::shared_ptr<Operation> addOperation(std::function<void()> closure);
  /// Cancels what executes and what waits; each still finishes.
  void cancelAllOperations();
  /// Waits until no operation is left; on the main thread, handles the main run loop's events meanwhile.
  void waitUntilAllOperationsAreFinished();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace qw
