#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/loop/NotificationCenter.h"
#include "platform/loop/NotificationQueue.h"
#include "platform/loop/RunLoop.h"

namespace {

using qw::Notification;
using qw::NotificationCenter;
using qw::NotificationQueue;
using qw::Registration;

constexpr qw::NotificationName kChange("TestDidChange"), kOther("TestOther");

TEST(NotificationCenter, TellsTheObserversOfTheSenderThenThoseOfAny) {
  NotificationCenter center;
  const int a = 0, b = 0;
  std::string log;
  const auto note = [&log](const char* text) { return [&log, text](const Notification&) { log += text; }; };
  const auto any = center.observe(kChange, nullptr, note("*"));
  const auto ofA = center.observe(kChange, &a, note("a"));
  auto second = center.observe(kChange, &a, note("A"));
  const auto other = center.observe(kOther, &a, note("!"));
  center.post(std::string_view(std::string("TestDidChange")), &a);
  log += ' ';
  center.post(kChange, &b);
  log += ' ';
  center.post(kChange);
  log += ' ';
  second.end();
  center.post(kChange, &a);
  EXPECT_EQ(log, "aA* * * a*");
}

TEST(NotificationCenter, ObserversMayEndAndBeginDuringDelivery) {
  NotificationCenter center;
  std::string log;
  Registration itself, later, added;
  itself = center.observe(kChange, nullptr, [&, kept = std::string("1")](const Notification&) {
    itself.end();
    later.end();
    added = center.observe(kChange, nullptr, [&](const Notification&) { log += "4"; });
    log += kept;  // the closure lives until it returns
  });
  later = center.observe(kChange, nullptr, [&](const Notification&) { log += "2"; });
  const auto last = center.observe(kChange, nullptr, [&](const Notification&) {
    log += "3";
    if (log == "13") center.post(kChange);  // nested: the added one hears this
  });
  center.post(kChange);
  EXPECT_EQ(log, "1334");
}

TEST(NotificationCenter, RegistrationsMayOutliveTheCenterAndReleaseTheirClosureAtOnce) {
  auto center = std::make_unique<NotificationCenter>();
  const auto held = std::make_shared<int>(0);
  auto ended = center->observe(kChange, nullptr, [held](const Notification&) {});
  auto outliving = center->observe(kChange, nullptr, [](const Notification&) {});
  ended.end();
  EXPECT_EQ(held.use_count(), 1);
  center.reset();
  outliving.end();
}

TEST(NotificationCenterThreads, ObserversComeAndGoWhileOthersPost) {
  NotificationCenter center;
  std::atomic<int> heard = 0;
  const auto steady = center.observe(kChange, nullptr, [&](const Notification&) { ++heard; });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int i = 0; i < 500; ++i) {
        const auto passing = center.observe(kChange, t % 2 ? &t : nullptr, [](const Notification&) {});
        center.post(kChange, &t);
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(heard, 2000);
}

TEST(NotificationQueue, CoalescesByNameAndSenderUntilIdle) {
  const int a = 0, b = 0;
  std::vector<std::pair<std::string, const void*>> heard;
  const auto hear = [&](const Notification& n) { heard.emplace_back(n.name.text(), n.sender); };
  const auto change = NotificationCenter::defaultCenter().observe(kChange, nullptr, hear);
  const auto other = NotificationCenter::defaultCenter().observe(kOther, nullptr, hear);
  auto& queue = NotificationQueue::current();
  for (int i = 0; i < 3; ++i) {
    queue.enqueue(kChange, &b);
    queue.enqueue(kOther, &a);
    queue.enqueue(std::string_view(std::string("TestDidChange")), &a);
  }
  EXPECT_TRUE(heard.empty());
  qw::RunLoop::current().drain();
  EXPECT_EQ(heard, (decltype(heard){{"TestDidChange", &b}, {"TestOther", &a}, {"TestDidChange", &a}}));
  heard.clear();
  queue.enqueue(kChange, &a);
  qw::RunLoop::current().drain();
  EXPECT_EQ(heard.size(), 1u) << "may be enqueued again once posted";
}

TEST(NotificationQueue, ForgetsSendersAndNamesAlsoDuringDelivery) {
  const int a = 0, b = 0, c = 0;
  std::string log;
  auto& queue = NotificationQueue::current();
  const auto observer =
      NotificationCenter::defaultCenter().observe(kChange, nullptr, [&](const Notification& n) {
        log += n.sender == &a ? 'a' : n.sender == &b ? 'b' : 'c';
        if (n.sender == &a) {
          queue.forgetSender(&b);      // dies during the delivery
          queue.enqueue(kChange, &a);  // waits for the next idle pass
          if (log.size() == 1) queue.enqueue(kChange, &c);
        }
        if (log.size() >= 3) queue.forgetSender(&a);
      });
  const auto other = NotificationCenter::defaultCenter().observe(
      kOther, nullptr, [](const Notification&) { ADD_FAILURE() << "was dropped"; });
  for (const void* sender : std::initializer_list<const void*>{&a, &b}) queue.enqueue(kChange, sender);
  queue.enqueue(kOther, &a);
  queue.enqueue(kOther, &b);
  queue.dequeue(kOther, &a);
  queue.dequeue(kOther, &a);
  qw::RunLoop::current().drain();
  EXPECT_EQ(log, "aac");
}

TEST(NotificationQueue, GoesOnInARunNestedInAnObserver) {
  const int a = 0, b = 0;
  std::string log;
  const auto observer =
      NotificationCenter::defaultCenter().observe(kChange, nullptr, [&](const Notification& n) {
        log += n.sender == &a ? "a(" : "b";
        if (n.sender == &a) {
          EXPECT_TRUE(
              qw::RunLoop::current().runUntil([&] { return log == "a(b"; }, std::chrono::seconds(10)));
          log += ")";
        }
      });
  NotificationQueue::current().enqueue(kChange, &a);
  NotificationQueue::current().enqueue(kChange, &b);
  qw::RunLoop::current().drain();
  EXPECT_EQ(log, "a(b)");
}

}  // namespace
