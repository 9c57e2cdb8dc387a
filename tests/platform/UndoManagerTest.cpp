#include <gtest/gtest.h>

#include "platform/loop/RunLoop.h"
#include "platform/object/Property.h"
#include "platform/object/UndoGroup.h"
#include "platform/object/UndoManager.h"

namespace {

/// A counter whose setter registers its own way back.
class Counter : public qw::Object {
 public:
  static const qw::Class kClass;
  int value() const { return value_; }
  void setValue(int value) {
    if (value == value_) return;
    undo->registerRestore(*this, *kClass.property("value"), value_);
    value_ = value;
  }
  qw::UndoManager* undo = nullptr;

 private:
  int value_ = 0;
};

constinit const qw::Class Counter::kClass = qw::define<Counter, qw::Object>("Counter", {}, [] {
  return qw::properties(qw::property<&Counter::value_, &Counter::setValue>("value"));
});

class UndoManagerTest : public testing::Test {
 protected:
  UndoManagerTest() : counter(qw::make<Counter>()) {
    counter->undo = &undo;
    undo.setGroupsByEvent(false);
  }
  void set(int value, const std::string& name = "") {
    const qw::UndoGroup step(&undo, name);
    counter->setValue(value);
  }
  qw::UndoManager undo;
  std::shared_ptr<Counter> counter;
};

}  // namespace

TEST_F(UndoManagerTest, GoesBackAndForthWithNames) {
  set(1, "One");
  set(2, "Two");
  EXPECT_EQ(undo.undoActionName(), "Two");
  undo.undo();
  EXPECT_EQ(counter->value(), 1);
  EXPECT_EQ(undo.redoActionName(), "Two");
  EXPECT_EQ(undo.undoActionName(), "One");
  undo.undo();
  EXPECT_EQ(counter->value(), 0);
  EXPECT_FALSE(undo.canUndo());
  undo.undo();
  undo.redo();
  undo.redo();
  EXPECT_EQ(counter->value(), 2);
  EXPECT_FALSE(undo.canRedo());
  undo.undo();
  set(7);
  EXPECT_FALSE(undo.canRedo()) << "a new edit ends the way forward";
  undo.undo();
  EXPECT_EQ(counter->value(), 1);
}

TEST_F(UndoManagerTest, NestedGroupsAreOneStepAndCanBeTakenBackAlone) {
  {
    const qw::UndoGroup outer(&undo, "Outer");
    counter->setValue(1);
    qw::UndoGroup inner(&undo);
    counter->setValue(2);
    counter->setValue(3);
    inner.takeBack();
    EXPECT_EQ(counter->value(), 1);
    counter->setValue(4);
  }
  EXPECT_EQ(undo.undoActionName(), "Outer");
  undo.undo();
  EXPECT_EQ(counter->value(), 0);
  qw::UndoGroup(&undo, "Empty");
  qw::UndoGroup(nullptr, "None").takeBack();
  EXPECT_FALSE(undo.canUndo()) << "an empty group leaves nothing";
}

TEST_F(UndoManagerTest, AGroupCanBeContinuedUntilSomethingElseIsDone) {
  EXPECT_FALSE(undo.reopenGroup(0));
  set(1, "One");
  const auto first = undo.lastGroup();
  ASSERT_TRUE(undo.reopenGroup(first));
  EXPECT_FALSE(undo.reopenGroup(first)) << "it is open";
  counter->setValue(2);
  undo.endUndoGrouping();
  EXPECT_EQ(undo.undoActionName(), "One");
  EXPECT_NE(undo.lastGroup(), first);
  undo.undo();
  EXPECT_EQ(counter->value(), 0);
  undo.redo();
  EXPECT_EQ(counter->value(), 2);
  const auto second = undo.lastGroup();
  set(3);
  EXPECT_FALSE(undo.reopenGroup(second));
  // Opened again it can be taken back without a way forward.
  ASSERT_TRUE(undo.reopenGroup(undo.lastGroup()));
  undo.undoNestedGroup();
  undo.endUndoGrouping();
  EXPECT_EQ(counter->value(), 2);
  EXPECT_EQ(undo.lastGroup(), second);
  EXPECT_FALSE(undo.canRedo());
  undo.setGroupsByEvent(true);
  counter->setValue(4);
  undo.endEventGroup();
  EXPECT_EQ(undo.groupingLevel(), 0);
  EXPECT_NE(undo.lastGroup(), second);
}

TEST_F(UndoManagerTest, EachPassOfTheRunLoopIsOneStep) {
  undo.setGroupsByEvent(true);
  counter->setValue(1);
  counter->setValue(2);
  qw::RunLoop::current().drain();
  EXPECT_EQ(undo.groupingLevel(), 0);
  counter->setValue(3);
  undo.undo();
  EXPECT_EQ(counter->value(), 2) << "the open pass is closed by undo";
  undo.undo();
  EXPECT_EQ(counter->value(), 0);
}

TEST_F(UndoManagerTest, RecordsNothingWhileDisabledAndForgetsDeadTargets) {
  undo.disableUndoRegistration();
  undo.disableUndoRegistration();
  undo.enableUndoRegistration();
  EXPECT_FALSE(undo.isUndoRegistrationEnabled());
  counter->setValue(5);
  undo.enableUndoRegistration();
  EXPECT_FALSE(undo.canUndo());

  auto other = qw::make<Counter>();
  other->undo = &undo;
  undo.beginUndoGrouping();
  other->setValue(1);
  counter->setValue(6);
  undo.endUndoGrouping();
  other.reset();
  undo.undo();
  EXPECT_EQ(counter->value(), 5);
  set(8);
  undo.removeAllActionsWithTarget(*counter);
  EXPECT_FALSE(undo.canUndo());
  EXPECT_FALSE(undo.canRedo());
}

TEST_F(UndoManagerTest, KeepsNoMoreLevelsThanAsked) {
  undo.setLevelsOfUndo(3);
  for (int i = 1; i <= 10; ++i) set(i);
  while (undo.canUndo()) undo.undo();
  EXPECT_EQ(counter->value(), 7);
  int calls = 0;
  undo.beginUndoGrouping();
  undo.registerUndo(*counter, [&] { ++calls; });
  undo.endUndoGrouping();
  undo.undo();
  EXPECT_EQ(calls, 1);
}
