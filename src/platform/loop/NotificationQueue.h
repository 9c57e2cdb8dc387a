#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

#include "platform/base/Export.h"
#include "platform/loop/NotificationCenter.h"

namespace qw {

/// Posts notifications to the default center when its thread's run loop is idle: each name and sender once,
/// in the order in which they were first enqueued. One queue a thread, used on that thread alone. A sender
/// that dies calls `forgetSender`, which is cheap when nothing is pending.
class QW_EXPORT NotificationQueue {
 public:
  /// The queue of the calling thread.
  static NotificationQueue& current();

  NotificationQueue(const NotificationQueue&) = delete;
  NotificationQueue& operator=(const NotificationQueue&) = delete;

  /// Posts when idle, unless the same name and sender are already pending.
  void enqueue(NotificationName name, const void* sender) { enqueue(name, sender, nullptr); }
  /// The same for a sender that may die on another thread: its notice dies with it.
  void enqueue(NotificationName name, const std::shared_ptr<const void>& sender) {
    enqueue(name, sender.get(), &sender);
  }
  /// Drops what is pending of a name and sender.
  void dequeue(NotificationName name, const void* sender);
  /// Drops everything that is pending of a sender.
  void forgetSender(const void* sender);

 private:
  struct Pending {
    std::string name;
    std::uint64_t hash;
    const void* sender;
    std::weak_ptr<const void> life{};
    bool isMortal = false;
    bool dropped = false;

    bool isDead() const { return isMortal && life.expired(); }
  };
  using Index = std::unordered_multimap<const void*, std::uint64_t>;

  template <class T>
  friend T& perThread();
  NotificationQueue() = default;
  void enqueue(NotificationName name, const void* sender, const std::shared_ptr<const void>* mortal);
  void schedule();
  void deliver();
  Index::iterator find(NotificationName name, const void* sender);
  void drop(Index::iterator entry);
  void trim();

  std::deque<Pending> pending_;
  std::uint64_t firstNumber_ = 0;  // of the front of `pending_`; the others count on
  Index numbersBySender_;
  bool scheduled_ = false;
};

}  // namespace qw
