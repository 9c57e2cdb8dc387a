#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/base/Export.h"

namespace qw {

/// Runs closures one after another, in the order in which they were added, on a thread of its own that begins
/// with the first of them. Closures may be added from any thread, also by closures, and must not throw. The
/// destructor waits until everything that was added has run, except on the queue's own thread, which then
/// ends by itself.
class QW_EXPORT SerialQueue {
 public:
  /// Runs on the queue's thread; must not throw.
  using Closure = std::function<void()>;

  /// The name is shown by debuggers, cut to 15 bytes.
  explicit SerialQueue(std::string name);
  ~SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  /// As it was given.
  const std::string& name() const;
  /// Whether the caller runs on the queue's thread.
  bool isCurrent() const;

  /// Adds a closure behind the others and returns.
  void async(Closure closure);
  /// Waits until the closure, and so everything added before, has run; on the queue's own thread runs it at
  /// once.
  void sync(const Closure& closure);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace qw
