#include "platform/loop/SerialQueue.h"

#include <pthread.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace qw {

struct SerialQueue::State {
  const std::string name;
  std::mutex mutex;  // guards what follows
  std::condition_variable changed;
  std::deque<Closure> waiting;
  std::uint64_t added = 0;
  std::uint64_t finished = 0;
  bool closed = false;
  std::thread thread;
  std::thread::id threadID;  // stays when the destructor takes the thread

  explicit State(std::string n) : name(std::move(n)) {}
  std::uint64_t add(Closure closure, const std::shared_ptr<State>& self);
  void run();
};

// Answers the number of the closure: it has run when as many are finished.
std::uint64_t SerialQueue::State::add(Closure closure, const std::shared_ptr<State>& self) {
  std::lock_guard lock(mutex);
  waiting.push_back(std::move(closure));
  if (threadID == std::thread::id()) {
    thread = std::thread([self] { self->run(); });
    threadID = thread.get_id();
  }
  changed.notify_all();
  return ++added;
}

void SerialQueue::State::run() {
  pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
  std::unique_lock lock(mutex);
  for (;;) {
    changed.wait(lock, [this] { return closed || !waiting.empty(); });
    if (waiting.empty()) return;
    {
      const Closure closure = std::move(waiting.front());
      waiting.pop_front();
      lock.unlock();
      closure();
    }
    lock.lock();
    ++finished;
    changed.notify_all();
  }
}

SerialQueue::SerialQueue(std::string name) : state_(std::make_shared<State>(std::move(name))) {}

SerialQueue::~SerialQueue() {
  std::thread thread;
  {
    std::lock_guard lock(state_->mutex);
    state_->closed = true;
    state_->changed.notify_all();
    thread = std::move(state_->thread);
  }
  if (thread.get_id() == std::this_thread::get_id())
    thread.detach();
  else if (thread.joinable())
    thread.join();
}

const std::string& SerialQueue::name() const { return state_->name; }

bool SerialQueue::isCurrent() const {
  std::lock_guard lock(state_->mutex);
  return state_->threadID == std::this_thread::get_id();
}

void SerialQueue::async(Closure closure) { state_->add(std::move(closure), state_); }

void SerialQueue::sync(const Closure& closure) {
  if (isCurrent()) return closure();
  const std::uint64_t number = state_->add([&closure] { closure(); }, state_);
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [&] { return state_->finished >= number; });
}

}  // namespace qw
