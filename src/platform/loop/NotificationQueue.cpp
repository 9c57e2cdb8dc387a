#include "platform/loop/NotificationQueue.h"

#include "platform/loop/internal/PerThread.h"

namespace qw {

NotificationQueue& NotificationQueue::current() { return perThread<NotificationQueue>(); }

void NotificationQueue::enqueue(NotificationName name, const void* sender,
                                const std::shared_ptr<const void>* mortal) {
  if (const auto found = find(name, sender); found != numbersBySender_.end()) {
    if (!pending_[found->second - firstNumber_].isDead()) return;
    drop(found);  // of a former object at this address
  }
  numbersBySender_.emplace(sender, firstNumber_ + pending_.size());
  pending_.push_back({std::string(name.text()), name.hash(), sender});
  if (mortal) {
    pending_.back().life = *mortal;
    pending_.back().isMortal = true;
  }
  schedule();
}

void NotificationQueue::dequeue(NotificationName name, const void* sender) {
  const auto found = find(name, sender);
  if (found == numbersBySender_.end()) return;
  drop(found);
  trim();
}

void NotificationQueue::forgetSender(const void* sender) {
  for (auto found = numbersBySender_.find(sender); found != numbersBySender_.end();
       found = numbersBySender_.find(sender))
    drop(found);
  trim();
}

NotificationQueue::Index::iterator NotificationQueue::find(NotificationName name, const void* sender) {
  for (auto [entry, end] = numbersBySender_.equal_range(sender); entry != end; ++entry) {
    const Pending& pending = pending_[entry->second - firstNumber_];
    if (pending.hash == name.hash() && pending.name == name.text()) return entry;
  }
  return numbersBySender_.end();
}

void NotificationQueue::drop(Index::iterator entry) {
  pending_[entry->second - firstNumber_].dropped = true;
  numbersBySender_.erase(entry);
}

void NotificationQueue::trim() {
  while (!pending_.empty() && pending_.back().dropped) pending_.pop_back();
}

void NotificationQueue::schedule() {
  if (std::exchange(scheduled_, true)) return;
  RunLoop::current().whenIdle([this] { deliver(); });
}

void NotificationQueue::deliver() {
  scheduled_ = false;
  // What observers enqueue waits for the next idle pass; the bound is a number because a nested run may get
  // further.
  for (const std::uint64_t end = firstNumber_ + pending_.size(); firstNumber_ < end && !pending_.empty();) {
    const NotificationName name(pending_.front().name);
    if (!pending_.front().dropped) numbersBySender_.erase(find(name, pending_.front().sender));
    const Pending next = std::move(pending_.front());
    pending_.pop_front();
    ++firstNumber_;
    const std::shared_ptr<const void> kept = next.life.lock();
    if (next.dropped || (next.isMortal && !kept)) continue;
    if (!pending_.empty()) schedule();  // for a loop that an observer runs
    NotificationCenter::defaultCenter().post(NotificationName(next.name), next.sender);
  }
}

}  // namespace qw
