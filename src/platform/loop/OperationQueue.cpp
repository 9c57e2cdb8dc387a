#include "platform/loop/OperationQueue.h"

#include <pthread.h>

#include <algorithm>
#include <cassert>
#include <deque>
#include <thread>
#include <utility>

#include "platform/loop/RunLoop.h"

namespace qw {

namespace {

class ClosureOperation : public Operation {
 public:
  explicit ClosureOperation(std::function<void()> closure) : closure_(std::move(closure)) {}

 protected:
  void main() override {
    if (const auto closure = std::exchange(closure_, nullptr)) closure();
  }

 private:
  std::function<void()> closure_;
};

// Handles events of the main loop until the condition holds; whoever makes it hold wakes the loop.
template <class Condition>
void runMainLoopUntil(const Condition& condition) {
  while (!RunLoop::main().runUntil(condition, std::chrono::minutes(1))) {
  }
}

void wakeMainLoop() {
  RunLoop::main().dispatch([] {});
}

}  // namespace

bool Operation::isCancelled() const {
  std::lock_guard lock(mutex_);
  return cancelled_;
}

bool Operation::isExecuting() const {
  std::lock_guard lock(mutex_);
  return executing_;
}

bool Operation::isFinished() const {
  std::lock_guard lock(mutex_);
  return finished_;
}

void Operation::start() {
  if (!isCancelled()) {
    setExecuting(true);
    main();
  }
  finish();
}

void Operation::cancel() {
  std::lock_guard lock(mutex_);
  cancelled_ = true;
}

void Operation::setExecuting(bool executing) {
  std::lock_guard lock(mutex_);
  executing_ = executing && !finished_;
}

void Operation::finish() {
  std::vector<std::function<void()>> handlers;
  {
    std::lock_guard lock(mutex_);
    if (finished_) return;
    executing_ = false;
    finished_ = true;
    handlers.swap(finishHandlers_);
    finishing_.notify_all();
  }
  for (const auto& handler : handlers) handler();
}

void Operation::whenFinished(std::function<void()> closure) {
  {
    std::lock_guard lock(mutex_);
    if (!finished_) {
      finishHandlers_.push_back(std::move(closure));
      return;
    }
  }
  closure();
}

void Operation::waitUntilFinished() {
  if (RunLoop::isMainThread()) {
    whenFinished(wakeMainLoop);
    return runMainLoopUntil([this] { return isFinished(); });
  }
  std::unique_lock lock(mutex_);
  finishing_.wait(lock, [this] { return finished_; });
}

struct OperationQueue::State {
  const std::string name;
  mutable std::mutex mutex;  // guards what follows
  std::condition_variable changed;
  std::deque<std::shared_ptr<Operation>> waiting;
  std::vector<std::shared_ptr<Operation>> started;  // and not finished
  std::vector<std::thread> threads;
  std::size_t idleThreads = 0;
  std::size_t max;
  int mainThreadWaits = 0;
  bool closed = false;

  State(std::string n, std::size_t m) : name(std::move(n)), max(std::max<std::size_t>(m, 1)) {}
  bool canStart() const { return !waiting.empty() && started.size() < max; }
  std::size_t count() const { return waiting.size() + started.size(); }
  std::vector<std::shared_ptr<Operation>> all() const;
  void beginThreads(const std::shared_ptr<State>& self);
  void run(const std::shared_ptr<State>& self);
  void didFinish(const Operation* operation, const std::shared_ptr<State>& self);
};

std::vector<std::shared_ptr<Operation>> OperationQueue::State::all() const {
  auto operations = started;
  operations.insert(operations.end(), waiting.begin(), waiting.end());
  return operations;
}

// Makes as many threads as the operations that may start now need beyond the idle ones. Called with the lock
// held.
void OperationQueue::State::beginThreads(const std::shared_ptr<State>& self) {
  if (closed) return;
  const std::size_t startable = started.size() < max ? std::min(waiting.size(), max - started.size()) : 0;
  for (std::size_t needed = startable; needed > idleThreads && threads.size() < max; --needed)
    threads.emplace_back([self] { self->run(self); });
  changed.notify_all();
}

void OperationQueue::State::run(const std::shared_ptr<State>& self) {
  pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
  std::unique_lock lock(mutex);
  for (;;) {
    ++idleThreads;
    changed.wait(lock, [this] { return closed || canStart(); });
    --idleThreads;
    if (closed) return;
    auto operation = std::move(waiting.front());
    waiting.pop_front();
    started.push_back(operation);
    lock.unlock();
    operation->whenFinished([weak = std::weak_ptr(self), raw = operation.get()] {
      if (const auto state = weak.lock()) state->didFinish(raw, state);
    });
    operation->start();
    operation.reset();
    lock.lock();
  }
}

void OperationQueue::State::didFinish(const Operation* operation, const std::shared_ptr<State>& self) {
  std::shared_ptr<Operation> finished;  // released after the lock is given back
  std::lock_guard lock(mutex);
  const auto found =
      std::find_if(started.begin(), started.end(), [&](const auto& o) { return o.get() == operation; });
  finished = std::move(*found);
  started.erase(found);
  beginThreads(self);
  if (mainThreadWaits > 0) wakeMainLoop();
}

OperationQueue::OperationQueue(std::string name, std::size_t maxConcurrentOperationCount)
    : state_(std::make_shared<State>(std::move(name), maxConcurrentOperationCount)) {}

OperationQueue::~OperationQueue() {
  cancelAllOperations();
  std::deque<std::shared_ptr<Operation>> left;
  std::vector<std::thread> threads;
  {
    std::lock_guard lock(state_->mutex);
    state_->closed = true;
    left.swap(state_->waiting);
    threads.swap(state_->threads);
    state_->changed.notify_all();
  }
  for (const auto& operation : left) operation->start();
  for (std::thread& thread : threads)
    thread.get_id() == std::this_thread::get_id() ? thread.detach() : thread.join();
}

void OperationQueue::setMaxConcurrentOperationCount(std::size_t count) {
  std::lock_guard lock(state_->mutex);
  state_->max = std::max<std::size_t>(count, 1);
  state_->beginThreads(state_);
}

std::size_t OperationQueue::maxConcurrentOperationCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->max;
}

std::size_t OperationQueue::operationCount() const {
  std::lock_guard lock(state_->mutex);
  return state_->count();
}

void OperationQueue::addOperation(std::shared_ptr<Operation> operation) {
  std::lock_guard lock(state_->mutex);
  state_->waiting.push_back(std::move(operation));
  state_->beginThreads(state_);
}

std::shared_ptr<Operation> OperationQueue::addOperation(std::function<void()> closure) {
  auto operation = std::make_shared<ClosureOperation>(std::move(closure));
  addOperation(operation);
  return operation;
}

void OperationQueue::cancelAllOperations() {
  std::unique_lock lock(state_->mutex);
  const auto operations = state_->all();
  lock.unlock();
  for (const auto& operation : operations) operation->cancel();
}

void OperationQueue::waitUntilAllOperationsAreFinished() {
  std::unique_lock lock(state_->mutex);
  const auto isEmpty = [this] { return state_->count() == 0; };
  if (!RunLoop::isMainThread()) return state_->changed.wait(lock, isEmpty);
  ++state_->mainThreadWaits;
  lock.unlock();
  runMainLoopUntil([this] { return operationCount() == 0; });
  lock.lock();
  --state_->mainThreadWaits;
}

}  // namespace qw
