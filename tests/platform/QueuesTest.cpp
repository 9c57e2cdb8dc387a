#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/loop/OperationQueue.h"
#include "platform/loop/RunLoop.h"
#include "platform/loop/SerialQueue.h"

namespace {

using qw::Operation;
using qw::OperationQueue;
using qw::RunLoop;
using qw::SerialQueue;

// A door that threads wait at until it is opened.
class Gate {
 public:
  void open() {
    std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

TEST(SerialQueueThreads, RunsInOrderOneAtATimeOnItsOwnThread) {
  int running = 0;
  std::vector<int> order;
  SerialQueue queue("a name longer than fifteen bytes");
  for (int i = 0; i < 100; ++i)
    queue.async([&, i] {
      EXPECT_EQ(++running, 1);
      EXPECT_TRUE(queue.isCurrent());
      order.push_back(i);
      if (i == 0) queue.sync([&] { EXPECT_TRUE(order.size() == 1); });  // at once
      --running;
    });
  EXPECT_FALSE(queue.isCurrent());
  std::size_t seen = 0;
  queue.sync([&] { seen = order.size(); });
  EXPECT_EQ(seen, 100u);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(SerialQueueThreads, DestructorRunsWhatWasAddedAlsoByItsClosures) {
  std::atomic<int> ran = 0;
  {
    SerialQueue queue("queue");
    queue.async([&] { queue.async([&] { queue.sync([&] { ++ran; }); }); });
    for (int i = 0; i < 10; ++i) queue.async([&] { ++ran; });
  }
  EXPECT_EQ(ran, 11);
}

TEST(SerialQueueThreads, MayBeDestroyedByItsOwnClosure) {
  auto queue = std::make_shared<SerialQueue>("queue");
  Gate gate, finished;
  queue->async([&gate, owner = queue] { gate.wait(); });
  queue->async([&] { finished.open(); });
  queue.reset();  // the waiting closure is the owner now
  gate.open();
  finished.wait();
}

// Computes in the background, hands the result to the main thread and is executing until it is taken there.
class Handover : public Operation {
 public:
  explicit Handover(std::function<void()> take) : take_(std::move(take)) {}
  bool isAsynchronous() const override { return true; }
  void start() override {
    if (isCancelled()) return finish();
    setExecuting(true);
    EXPECT_FALSE(RunLoop::isMainThread());
    RunLoop::main().dispatch([self = shared_from_this(), this] {
      if (!isCancelled()) take_();
      finish();
    });
  }

 private:
  std::function<void()> take_;
};

TEST(OperationQueueThreads, AsynchronousOperationsCountUntilTheyFinishAndHoldBackTheNext) {
  OperationQueue queue("queue", 1);
  std::string log;
  std::vector<std::shared_ptr<Operation>> operations;
  for (const char letter : {'a', 'b', 'c'}) {
    operations.push_back(std::make_shared<Handover>([&, letter] {
      const auto executing = std::count_if(operations.begin(), operations.end(),
                                           [](const auto& operation) { return operation->isExecuting(); });
      EXPECT_EQ(executing, 1);
      log += letter;
    }));
    operations.back()->whenFinished([&log, letter] { log += static_cast<char>(letter - 'a' + 'A'); });
  }
  for (const auto& operation : operations) queue.addOperation(operation);
  operations[1]->cancel();
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(queue.operationCount(), 0u);
  for (const auto& operation : operations) {
    EXPECT_TRUE(operation->isFinished());
    EXPECT_FALSE(operation->isExecuting());
  }
  EXPECT_EQ(log, "aABcC");
  operations[0]->whenFinished([&] { log += "!"; });
  EXPECT_EQ(log.back(), '!') << "is told at once after the end";
}

TEST(OperationQueueThreads, RunsAsManyAtATimeAsAllowed) {
  OperationQueue queue("queue", 3);
  std::mutex mutex;
  std::condition_variable changed;
  int running = 0, most = 0;
  for (int i = 0; i < 12; ++i)
    queue.addOperation([&] {
      std::unique_lock lock(mutex);
      most = std::max(most, ++running);
      changed.notify_all();
      // The first three wait for each other: fewer threads than allowed would not get past this.
      changed.wait(lock, [&] { return most == 3; });
      --running;
    });
  queue.waitUntilAllOperationsAreFinished();
  EXPECT_EQ(most, 3);
  EXPECT_EQ(running, 0);
}

TEST(OperationQueueThreads, RaisingTheLimitStartsWhatWaits) {
  OperationQueue queue("queue", 0);
  EXPECT_EQ(queue.maxConcurrentOperationCount(), 1u);
  Gate second;
  queue.addOperation([&] { second.wait(); });
  queue.addOperation([&] { second.open(); });
  queue.setMaxConcurrentOperationCount(2);
  queue.waitUntilAllOperationsAreFinished();
}

TEST(OperationQueueThreads, CancellingReachesWhatRunsAndWhatWaits) {
  class Patient : public Operation {
   public:
    Gate started;

   protected:
    void main() override {
      started.open();
      while (!isCancelled()) std::this_thread::yield();
    }
  };
  OperationQueue queue("queue", 1);
  const auto running = std::make_shared<Patient>();
  queue.addOperation(running);
  const auto waiting = queue.addOperation([] { ADD_FAILURE() << "was cancelled before it started"; });
  running->started.wait();
  EXPECT_TRUE(running->isExecuting());
  queue.cancelAllOperations();
  std::thread other([&] { waiting->waitUntilFinished(); });
  running->waitUntilFinished();
  other.join();
  EXPECT_TRUE(waiting->isCancelled());
}

TEST(OperationQueueThreads, DestroyingTheQueueCancelsAndFinishesWhatIsLeft) {
  std::shared_ptr<Operation> started, waiting;
  Gate running, leave;
  {
    OperationQueue queue("queue", 1);
    started = queue.addOperation([&] {
      running.open();
      leave.wait();
    });
    waiting = queue.addOperation([] { ADD_FAILURE() << "was cancelled before it started"; });
    running.wait();
    waiting->whenFinished([&] { leave.open(); });
  }
  EXPECT_TRUE(started->isCancelled() && started->isFinished());
  EXPECT_TRUE(waiting->isCancelled() && waiting->isFinished());
}

}  // namespace
