#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

#include "platform/loop/RunLoop.h"
#include "values/collections/QWBufferedCaller.h"

namespace {

class View : public qw::Object {
 public:
  void reloadData() { log += "reload "; }
  void reloadRow(std::string_view row) { log += std::string(row) + " "; }
  void replace(const std::string& old, std::string with) { log += old + ">" + with + " "; }
  void setCount(int count) { log += std::to_string(count) + " "; }
  void show(const qw::Value& value) const noexcept { log += value.description() + " "; }
  void note(std::string_view text, std::reference_wrapper<std::string> into) { into.get() += text; }
  void again() {
    log += "again ";
    if (log.size() < 10) bufferedCaller(*this).call<&View::again>();
  }
  mutable std::string log;
};

std::string logAfterPass(View& view) {
  qw::RunLoop::current().drain();
  return std::exchange(view.log, "");
}

TEST(QWBufferedCaller, CallsAreTheSameByFunctionAndTextArguments) {
  const auto view = qw::make<View>();
  auto caller = bufferedCaller(*view);
  for (const std::string row : {"a", "b", "a"}) caller.call<&View::reloadRow>(row);
  bufferedCaller(*view).call<&View::reloadData>();
  caller.call<&View::reloadData>();
  caller.call<&View::setCount>(1);
  caller.call<&View::setCount>(2);  // not a text: the same call, the first wins
  caller.call<&View::replace>("ab", "c");
  caller.call<&View::replace>("a", "bc");
  caller.call<&View::show>("a");
  caller.call<&View::show>(7);
  caller.call<&View::show>("b");
  EXPECT_EQ(view->log, "") << "not before the pass ends";
  EXPECT_EQ(logAfterPass(*view), "a b reload 1 ab>c a>bc a 7 b ");
  EXPECT_EQ(logAfterPass(*view), "");
  caller.call<&View::setCount>(3);
  EXPECT_EQ(logAfterPass(*view), "3 ");
}

TEST(QWBufferedCaller, RunsCallsOfAllTargetsInTheOrderOfRecording) {
  const auto a = qw::make<View>(), b = qw::make<View>();
  std::string log;
  bufferedCaller(*a).call<&View::note>("a1 ", log);
  bufferedCaller(*b).call<&View::note>("b1 ", log);
  bufferedCaller(*a).call<&View::note>("a2 ", log);
  qw::RunLoop::current().drain();
  EXPECT_EQ(log, "a1 b1 a2 ");
}

TEST(QWBufferedCaller, CancelsOnlyTheNextCallWhichThenTakesANewPlace) {
  const auto view = qw::make<View>();
  auto caller = bufferedCaller(*view);
  caller.call<&View::reloadRow>("a");
  caller.call<&View::reloadRow>("b");
  caller.prepareToCancel().call<&View::reloadRow>("a");
  EXPECT_EQ(logAfterPass(*view), "b ");
  caller.call<&View::reloadRow>("a");
  caller.call<&View::reloadRow>("b");
  caller.prepareToCancel();
  bufferedCaller(*view).call<&View::reloadRow>("a");
  caller.call<&View::reloadRow>("a");
  EXPECT_EQ(logAfterPass(*view), "b a ");
  caller.prepareToCancel().call<&View::reloadData>();  // nothing is pending: the message is spent
  caller.call<&View::reloadData>();
  EXPECT_EQ(logAfterPass(*view), "reload ");
}

TEST(QWBufferedCaller, RecordsOnlyWhileRegistrationIsEnabled) {
  const auto view = qw::make<View>();
  bufferedCaller(*view).call<&View::setCount>(1);
  bufferedCaller(*view).disableRegistration();
  bufferedCaller(*view).disableRegistration();
  bufferedCaller(*view).enableRegistration();
  EXPECT_FALSE(bufferedCaller(*view).shouldRegister());
  bufferedCaller(*view).call<&View::reloadData>();
  EXPECT_EQ(logAfterPass(*view), "1 ") << "what was recorded before stays";
  EXPECT_FALSE(bufferedCaller(*view).shouldRegister()) << "the count outlives the pending calls";
  bufferedCaller(*view).enableRegistration();
  bufferedCaller(*view).call<&View::reloadData>();
  EXPECT_EQ(logAfterPass(*view), "reload ");
}

TEST(QWBufferedCaller, ACallMayRecordItselfForTheNextPass) {
  const auto view = qw::make<View>();
  bufferedCaller(*view).call<&View::again>();
  EXPECT_EQ(logAfterPass(*view), "again again ");
}

TEST(QWBufferedCaller, DeadTargetsReceiveNothingAndClearedOnesNeither) {
  auto dying = qw::make<View>();
  const std::weak_ptr<View> watch = dying;
  auto caller = bufferedCaller(*dying);
  caller.call<&View::reloadData>();
  dying.reset();
  EXPECT_TRUE(watch.expired()) << "a pending call does not keep its target";
  qw::RunLoop::current().drain();
  caller.call<&View::reloadData>();
  qw::RunLoop::current().drain();

  const auto view = qw::make<View>();
  bufferedCaller(*view).call<&View::reloadRow>("a");
  bufferedCaller(*view).disableRegistration();
  QWBufferedCaller<View>::clearInvocationsForTarget(*view);
  bufferedCaller(*view).call<&View::reloadRow>("b");
  EXPECT_EQ(logAfterPass(*view), "b ");
}

TEST(QWBufferedCallerThreads, EachThreadHasItsOwnCallsAndRunsThem) {
  const auto view = qw::make<View>(), other = qw::make<View>();
  bufferedCaller(*view).disableRegistration();
  std::thread thread([&] {
    EXPECT_TRUE(bufferedCaller(*view).shouldRegister());
    bufferedCaller(*other).call<&View::reloadData>();
    EXPECT_EQ(logAfterPass(*other), "reload ");
    bufferedCaller(*other).call<&View::reloadData>();  // ends with the thread
  });
  thread.join();
  EXPECT_EQ(logAfterPass(*other), "");
  bufferedCaller(*view).enableRegistration();
}

}  // namespace
