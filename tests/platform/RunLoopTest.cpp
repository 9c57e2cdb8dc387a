#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/loop/RunLoop.h"

namespace {

using namespace std::chrono_literals;
using qw::RunLoop;

TEST(RunLoop, PerformsRunOnceByOrderThenByScheduling) {
  RunLoop& loop = RunLoop::current();
  std::string log;
  const auto note = [&log](char c) { return [&log, c] { log += c; }; };
  loop.perform(2, note('d'));
  loop.perform(1, note('b'));
  loop.perform(1, note('c'));
  const auto cancelled = loop.perform(1, note('x'));
  RunLoop::PerformToken inPass;
  loop.perform(0, [&] {
    log += 'a';
    loop.perform(0, note('f'));  // of the next pass although its order is low
    EXPECT_TRUE(loop.cancelPerform(inPass));
  });
  inPass = loop.perform(3, note('y'));
  loop.atEndOfPass(note('e'));
  EXPECT_TRUE(loop.cancelPerform(cancelled));
  EXPECT_FALSE(loop.cancelPerform(cancelled));
  loop.drain();
  EXPECT_EQ(log, "abcdef");
  loop.drain();
  EXPECT_EQ(log, "abcdef");
}

TEST(RunLoop, PassEndsBeforeTheNextEventAndIdleComesLast) {
  RunLoop& loop = RunLoop::current();
  std::string log;
  loop.whenIdle([&] { log += "idle "; });
  const auto event = [&](std::string name) {
    return [&, name] {
      log += name + " ";
      loop.perform(0, [&, name] {
        log += name + "-performed ";
        loop.atEndOfPass([&, name] { log += name + "-ended "; });
      });
    };
  };
  const auto first = loop.timer(0us, [&] {
    event("first")();
    loop.after(0us, event("second"));
  });
  loop.drain();
  EXPECT_EQ(log, "first first-performed first-ended second second-performed second-ended idle ");
}

TEST(RunLoop, ClosuresThatScheduleThemselvesStarveNobody) {
  RunLoop& loop = RunLoop::current();
  int performs = 0, passes = 0, dispatches = 0;
  bool stopped = false;
  std::function<void()> perform = [&] {
    if (++performs; !stopped) loop.perform(0, perform);
  };
  std::function<void()> pass = [&] {
    if (++passes; !stopped) loop.atEndOfPass(pass);
  };
  std::function<void()> dispatch = [&] {
    if (++dispatches; !stopped) loop.dispatch(dispatch);
  };
  loop.perform(0, perform);
  loop.atEndOfPass(pass);
  loop.dispatch(dispatch);
  loop.after(2ms, [&] { stopped = true; });
  EXPECT_TRUE(loop.runUntil([&] { return stopped; }, 10s));
  loop.drain();
  EXPECT_GT(performs, 1);
  EXPECT_GT(passes, 1);
  EXPECT_GT(dispatches, 1);
}

TEST(RunLoop, NestedRunsGoOnWithWhatIsQueued) {
  RunLoop& loop = RunLoop::current();
  std::string log;
  loop.perform(0, [&] {
    log += "a(";
    loop.dispatch([&] { loop.stop(); });
    loop.run();
    log += ")";
  });
  loop.perform(1, [&] { log += "b"; });
  loop.dispatch([&] {
    log += "c(";
    EXPECT_TRUE(loop.runUntil([&] { return log.find('d') != std::string::npos; }, 10s));
    log += ")";
  });
  loop.dispatch([&] { log += "d"; });
  loop.drain();
  EXPECT_EQ(log, "a(c(db))");
}

TEST(RunLoop, TimersFireOnceOrRepeatUntilTheirRegistrationEnds) {
  RunLoop& loop = RunLoop::current();
  int once = 0, repeated = 0;
  auto single = loop.timer(1ms, [&] { ++once; });
  auto dropped = loop.timer(1ms, [&] { ADD_FAILURE() << "was ended"; });
  dropped.end();
  qw::Registration repeating;
  repeating = loop.repeatingTimer(500us, [&] {
    if (++repeated == 3) repeating.end();  // ends itself
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(loop.runUntil([&] { return once == 1 && repeated == 3; }, 10s));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1500us);
  EXPECT_FALSE(loop.runUntil([&] { return once > 1 || repeated > 3; }, 5ms));
}

TEST(RunLoop, DescriptorsReportReadinessAndHangUp) {
  RunLoop& loop = RunLoop::current();
  using Events = RunLoop::DescriptorEvents;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::string received;
  bool hungUp = false, writable = false;
  qw::Registration reader, writer;
  reader = loop.descriptor(ends[0], Events::kReadable, [&](Events events) {
    char byte;
    if (events & Events::kReadable && read(ends[0], &byte, 1) == 1)
      received += byte;
    else if (events & Events::kHangUp)
      hungUp = true, reader.end();
  });
  writer = loop.descriptor(ends[1], Events::kWritable, [&](Events events) {
    writable = events & Events::kWritable;
    EXPECT_EQ(write(ends[1], "ab", 2), 2);
    writer.end();
    close(ends[1]);
  });
  EXPECT_TRUE(loop.runUntil([&] { return hungUp; }, 10s));
  EXPECT_TRUE(writable);
  EXPECT_EQ(received, "ab");
  close(ends[0]);
}

TEST(RunLoopThreads, DispatchKeepsTheOrderOfEachThreadAndRunsOnTheMainThread) {
  constexpr int kThreads = 4, kEach = 2000;
  std::vector<int> next(kThreads, 0);
  int total = 0;
  bool inOrder = true;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      EXPECT_FALSE(RunLoop::isMainThread());
      for (int i = 0; i < kEach; ++i)
        RunLoop::main().dispatch([&, t, i] {
          inOrder = inOrder && RunLoop::isMainThread() && next[static_cast<std::size_t>(t)]++ == i;
          ++total;
        });
    });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return total == kThreads * kEach; }, 30s));
  for (auto& thread : threads) thread.join();
  EXPECT_TRUE(inOrder);
}

TEST(RunLoopThreads, DispatchSyncWaitsForTheOtherThreadAndRunsAtOnceOnItsOwn) {
  bool finished = false;
  EXPECT_TRUE(RunLoop::main().dispatchSync([&] { finished = true; }));
  EXPECT_TRUE(std::exchange(finished, false));
  std::thread thread([&] {
    int value = 0;
    EXPECT_TRUE(RunLoop::main().dispatchSync([&] { value = RunLoop::isMainThread() ? 7 : -1; }));
    EXPECT_EQ(value, 7);
    RunLoop::main().dispatch([&] { finished = true; });
  });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return finished; }, 30s));
  thread.join();
}

TEST(RunLoopThreads, EveryThreadHasItsLoopThatOthersStop) {
  std::shared_ptr<RunLoop> worker;
  std::atomic<int> ran = 0;
  std::atomic<bool> ready = false;
  std::thread thread([&] {
    worker = RunLoop::current().shared_from_this();
    EXPECT_NE(worker.get(), &RunLoop::main());
    EXPECT_TRUE(worker->isCurrent());
    ready = true;
    worker->run();
    // What comes after the last pass is dropped with the thread.
    worker->dispatch([&] { ran += 100; });
  });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return ready.load(); }, 30s));
  EXPECT_FALSE(worker->isCurrent());
  EXPECT_TRUE(worker->dispatchSync([&] { ++ran; }));
  worker->stop();
  thread.join();
  EXPECT_FALSE(worker->dispatchSync([&] { ran += 100; }));
  worker->dispatch([&] { ran += 100; });
  EXPECT_EQ(ran, 1);
}

TEST(RunLoopThreads, WaitersAreReleasedWhenTheThreadEndsWithoutRunningTheirClosure) {
  std::shared_ptr<RunLoop> worker;
  std::atomic<bool> ready = false, leave = false;
  std::thread owner([&] {
    worker = RunLoop::current().shared_from_this();
    ready = true;
    while (!leave) std::this_thread::yield();
  });
  EXPECT_TRUE(RunLoop::main().runUntil([&] { return ready.load(); }, 30s));
  std::thread waiter([&] { EXPECT_FALSE(worker->dispatchSync([] {})); });
  leave = true;
  owner.join();
  waiter.join();
}

}  // namespace
