// What docs/objects.md and the headers of `platform` show of the run loop, notifications and settings.
#include <gmock/gmock.h>

#include "platform/files/UserDefaults.h"
#include "platform/loop/NotificationQueue.h"
#include "platform/loop/RunLoop.h"
#include "platform/loop/SerialQueue.h"
#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"
#include "values/collections/QWBufferedCaller.h"

namespace {

using testing::ElementsAre;

TEST(Running, ThingsHappenInTheirTurn) {
  std::vector<std::string> order;

  qw::RunLoop& loop = qw::RunLoop::current();
  loop.whenIdle([&] { order.push_back("idle"); });                // when nothing else is due
  loop.atEndOfPass([&] { order.push_back("end of the pass"); });  // after the performs
  loop.perform(20, [&] { order.push_back("second"); });           // the lower order first
  loop.perform(10, [&] { order.push_back("first"); });
  auto token = loop.perform(30, [&] { order.push_back("never"); });
  loop.cancelPerform(token);

  loop.drain();
  EXPECT_THAT(order, ElementsAre("first", "second", "end of the pass", "idle"));
}

TEST(Running, TimersEndWithTheirRegistration) {
  int ticks = 0;

  qw::RunLoop& loop = qw::RunLoop::current();
  qw::Registration timer = loop.repeatingTimer(std::chrono::milliseconds(5), [&] {
    if (++ticks == 3) timer.end();
  });
  bool inTime = loop.runUntil([&] { return ticks == 3; }, std::chrono::seconds(10));

  EXPECT_TRUE(inTime);
}

TEST(Running, OtherThreadsHandTheirResultsOver) {
  std::string shown;
  const auto readTheFile = [] { return std::string("contents"); };
  qw::RunLoop& loop = qw::RunLoop::main();

  qw::SerialQueue queue("Reader");
  queue.async([&] {
    std::string text = readTheFile();                           // on the queue's thread
    qw::RunLoop::main().dispatch([&, text] { shown = text; });  // on the main thread
  });
  loop.runUntil([&] { return !shown.empty(); }, std::chrono::seconds(10));

  EXPECT_EQ(shown, "contents");
}

inline constexpr qw::NotificationName kDidClose("DocumentDidClose");

TEST(Running, NotificationsAreCoalesced) {
  int document = 0, closed = 0;

  qw::Registration observer = qw::NotificationCenter::defaultCenter().observe(
      kDidClose, &document, [&](const qw::Notification&) { ++closed; });
  qw::NotificationCenter::defaultCenter().post(kDidClose, &document);  // now
  qw::NotificationQueue::current().enqueue(kDidClose, &document);      // once, when the loop is idle,
  qw::NotificationQueue::current().enqueue(kDidClose, &document);      // however often it is asked for

  qw::RunLoop::current().drain();
  EXPECT_EQ(closed, 2);
}

class View : public qw::Object {
 public:
  static const qw::Class kClass;
  void dataChanged() { qw::bufferedCaller(*this).call<&View::reloadData>(); }
  void reloadData() { ++reloads; }
  int reloads = 0;
};
constinit const qw::Class View::kClass =
    qw::define<View, qw::Object>("View", {}, [] { return qw::properties(); });

TEST(Running, CallsAreCoalesced) {
  auto view = qw::make<View>();
  view->dataChanged();
  view->dataChanged();
  qw::RunLoop::current().drain();
  EXPECT_EQ(view->reloads, 1);
}

TEST(Running, SettingsAreKept) {
  qw::ApplicationContext::Override context;
  std::string heard;
  qw::Error error;

  qw::UserDefaults& settings = qw::UserDefaults::standard();
  settings.registerDefaults({{"recentFiles", 10}});  // not written
  auto observer = settings.observe("currency", [&](const qw::Value& value) { heard = value.description(); });
  bool fits = settings.set("currency", "EUR");            // false for what a file cannot hold
  std::int64_t count = settings.intValue("recentFiles");  // 10
  bool written = settings.synchronize(&error);            // else within a second, and at the end

  EXPECT_TRUE(fits && written) << error.localizedDescription;
  EXPECT_EQ(count, 10);
  EXPECT_EQ(heard, "EUR");
  EXPECT_TRUE(std::filesystem::exists(context.directory()));
}

}  // namespace
