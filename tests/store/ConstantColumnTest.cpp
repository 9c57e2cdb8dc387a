#include <gtest/gtest.h>

#include "store/Ledger.h"
#include "values/collections/QWBoolean.h"
#include "values/collections/QWConstant.h"

namespace {

// Enumerations of an application that nothing but the properties below names.
class Priority : public QWConstantOf<Priority> {
 public:
  static const qw::Class kClass;
  static void addConstants(QWConstantsManager& manager) {
    manager.addConstant(make("High", 3));
    manager.addConstant(make("Low", 1));
  }
};
constinit const qw::Class Priority::kClass =
    qw::define<Priority, QWConstant>("TestPriority", {}, [] { return qw::properties(); });

class Task : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  const Priority::Pointer& priority() const { return priority_; }
  void setPriority(Priority::Pointer priority) { assign<&Task::priority_>(std::move(priority)); }
  const QWBoolean::Pointer& done() const { return done_; }
  const std::string& title() const { return title_; }
  void setTitle(std::string title) { assign<&Task::title_>(std::move(title)); }

 private:
  std::string title_;
  Priority::Pointer priority_;
  QWBoolean::Pointer done_;
};
constinit const qw::Class Task::kClass =
    qw::define<Task, QWDatabaseObject>("TestTask", {.table = "TestTask"}, [] {
      return qw::properties(qw::attribute<&Task::title_>("title"),
                            qw::attribute<&Task::priority_>("priority"), qw::attribute<&Task::done_>("done"));
    });

class TaskManager : public QWDatabaseManager {
 public:
  std::string version() const override { return "1"; }
  const qw::Class& rootObjectClass() const override { return Task::kClass; }
  std::vector<const qw::Class*> modelClasses() const override { return {&Task::kClass}; }
  Task& task() const { return static_cast<Task&>(*rootObject()); }
};

class ConstantColumn : public LedgerTest {
 protected:
  std::shared_ptr<TaskManager> openTasks() {
    return QWDatabaseManager::open<TaskManager>(path(), {}, &error);
  }
  void store(const std::string& priority, const std::string& done) {
    ASSERT_TRUE(openTasks()->save(&error));
    alter(path(), "UPDATE TestTask SET priority = '" + priority + "', done = '" + done + "'");
  }
  std::string stored() const { return ask("SELECT priority || '|' || done FROM TestTask"); }
};

// First in this file, while nothing has used the classes: a restarted program is in that state.
TEST_F(ConstantColumn, AClassIsFoundByTheMemberThatHoldsIt) {
  store("TestPriority.High", "QWBoolean.1");
  auto tasks = openTasks();
  ASSERT_TRUE(tasks) << error.localizedDescription;
  EXPECT_EQ(tasks->task().priority(), Priority::constantWithName("High"));
  EXPECT_EQ(tasks->task().done(), QWBoolean::trueBoolean());
  tasks->task().setTitle("Edited");
  ASSERT_TRUE(tasks->save(&error)) << error.localizedDescription;
  EXPECT_EQ(stored(), "TestPriority.High|QWBoolean.Yes");
}

TEST_F(ConstantColumn, WhatTheClassDoesNotKnowStaysUntilAnotherConstantIsSet) {
  for (const std::string text : {"TestPriority.Urgent", "Removed.High", "QWBoolean.Yes", "no ID"}) {
    store(text, "QWBoolean.Maybe");
    auto tasks = openTasks();
    const Priority::Pointer unknown = tasks->task().priority();
    ASSERT_TRUE(unknown && unknown->isUnknown()) << text;
    EXPECT_EQ(unknown->description(), unknown->name());
    EXPECT_EQ(Priority::constants().size(), 2u);
    tasks->task().setTitle("Edited, too");
    ASSERT_TRUE(tasks->save(&error)) << error.localizedDescription;
    EXPECT_EQ(stored(), text + "|QWBoolean.Maybe");
    tasks->task().setPriority(Priority::constantWithName("Low"));
    tasks->undoManager()->undo();
    ASSERT_TRUE(tasks->save(&error)) << error.localizedDescription;
    EXPECT_EQ(stored(), text + "|QWBoolean.Maybe");
    tasks->task().setPriority(Priority::constantWithName("Low"));
    ASSERT_TRUE(tasks->save(&error)) << error.localizedDescription;
    EXPECT_EQ(stored(), "TestPriority.Low|QWBoolean.Maybe");
    tasks.reset();
    std::filesystem::remove(path());
  }
}

}  // namespace
