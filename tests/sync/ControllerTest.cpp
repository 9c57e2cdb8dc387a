// What a controller does on its SerialQueue and on the main thread.
#include <gtest/gtest.h>

#include "sync/TwoStores.h"

class Controllers : public TwoStores {
 protected:
  using State = Controller::State;

  void SetUp() override {
    TwoStores::SetUp();
    editOther([](LedgerManager& other) {
      entry(other, 0).setPayee("x");
      addEntry(account(other), "y");
    });
  }
  std::shared_ptr<Controller> make(const std::filesystem::path& other) {
    ends.clear();
    auto controller = Controller::create(
        Session::create(store, other), [this](bool canceled, const std::optional<std::string>& message) {
          ends.push_back((canceled ? "canceled " : "done ") + message.value_or("-"));
        });
    controller->setReviewDelay({});
    return controller;
  }
  std::shared_ptr<Controller> presented() {
    auto controller = make(otherPath());
    controller->present(presenter);
    return controller;
  }
  bool reach(Controller& controller, State state) {
    return runUntil([&] { return controller.state() == state; });
  }
  /// A presented controller in that state.
  std::shared_ptr<Controller> in(State state) {
    auto controller = presented();
    if (state == State::kReady) return controller;
    if (state == State::kFailed) std::filesystem::rename(otherPath(), path("away"));
    controller->start();
    if (state == State::kCanceled) controller->cancel();
    if (state == State::kFinished && reach(*controller, State::kReviewing)) controller->validate();
    EXPECT_TRUE(reach(*controller, state));
    if (state == State::kFailed) std::filesystem::rename(path("away"), otherPath());
    return controller;
  }
  std::filesystem::path path(const char* name) const { return context_.directory() / name; }
  using TwoStores::path;

  std::vector<std::string> ends;
  ScriptedPresenter presenter;
};

TEST_F(Controllers, AReviewedRunShowsItselfStateByState) {
  auto controller = presented();
  ASSERT_EQ(presenter.shown.size(), 1u);
  EXPECT_EQ(presenter.shown[0], controller);
  std::string states;
  const auto states_ = controller->observe("state", [&](const qw::Change&) {
    states += std::to_string(static_cast<int>(controller->state())) + controller->label() + " ";
    if (controller->state() == State::kComputing) {
      EXPECT_FALSE(controller->isProgressHidden() || controller->isProgressIndeterminate());
    }
  });
  std::size_t progress = 0;
  const auto progress_ =
      controller->observe("progress", [&](const qw::Change&) { progress = controller->progress(); });
  controller->start();
  EXPECT_TRUE(controller->isProgressIndeterminate());
  EXPECT_TRUE(controller->isReviewHidden() && controller->changes().empty());
  ASSERT_TRUE(reach(*controller, State::kReviewing));
  EXPECT_TRUE(controller->isProgressHidden());
  EXPECT_EQ(progress, controller->maxProgress());
  ASSERT_EQ(controller->changes().size(), 2u);
  EXPECT_EQ(payees(*store), "A:abc ") << "nothing before the review";
  EXPECT_TRUE(ends.empty());
  controller->changes()[0]->changes[0]->keepOther = false;
  controller->validate();
  EXPECT_EQ(states, "1Preparing the synchronization… 2Comparing… 3 4 5 ");
  EXPECT_EQ(ends, std::vector<std::string>{"done -"});
  EXPECT_TRUE(presenter.shown.empty());
  EXPECT_EQ(payees(*store), "A:abcy ");
}

TEST_F(Controllers, TheFullProgressStaysToBeSeenUntilTheReviewIsDue) {
  auto controller = presented();
  controller->setReviewDelay(std::chrono::hours(1));
  controller->start();
  ASSERT_TRUE(runUntil(
      [&] { return controller->maxProgress() > 0 && controller->progress() == controller->maxProgress(); }));
  qw::RunLoop::main().drain();
  EXPECT_EQ(controller->state(), State::kComputing);
}

TEST_F(Controllers, WithNothingToReviewOrNobodyWhoLooksTheProposalsAreTaken) {
  auto controller = make(otherPath());
  controller->start();
  ASSERT_TRUE(reach(*controller, State::kFinished));
  EXPECT_EQ(payees(*store), "A:xbcy ");
  ASSERT_TRUE(store->save());
  std::string states;
  controller = presented();
  const auto states_ = controller->observe(
      "state", [&](const qw::Change&) { states += std::to_string(static_cast<int>(controller->state())); });
  controller->start();
  ASSERT_TRUE(reach(*controller, State::kFinished));
  EXPECT_EQ(states, "1245") << "no review of nothing";
  EXPECT_EQ(ends, std::vector<std::string>{"done -"});
}

TEST_F(Controllers, EveryStateMeetsEveryEvent) {
  struct Case {
    State state;
    State started, validated, canceled;
  };
  const Case cases[] = {
      {State::kReady, State::kPreparing, State::kReady, State::kCanceled},
      {State::kPreparing, State::kPreparing, State::kPreparing, State::kCanceled},
      {State::kComputing, State::kComputing, State::kComputing, State::kCanceled},
      {State::kReviewing, State::kReviewing, State::kFinished, State::kCanceled},
      {State::kFinished, State::kFinished, State::kFinished, State::kFinished},
      {State::kFailed, State::kFailed, State::kFailed, State::kFailed},
      {State::kCanceled, State::kCanceled, State::kCanceled, State::kCanceled},
  };
  const std::string content = payees(*store);
  for (const Case& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.state));
    const auto meet = [&](void (Controller::*event)(), State expected) {
      auto controller = in(c.state);
      ((*controller).*event)();
      EXPECT_EQ(controller->state(), expected);
      EXPECT_EQ(ends.size(), controller->hasEnded() ? 1u : 0u);
      // What the queue still reports comes to a controller that has moved on.
      if (controller->state() == State::kPreparing || controller->state() == State::kComputing)
        EXPECT_TRUE(reach(*controller, State::kReviewing));
      else
        qw::RunLoop::main().drain();
      EXPECT_EQ(ends.size(), controller->hasEnded() ? 1u : 0u);
      if (controller->state() == State::kFinished)
        store->undoManager()->undo();
      else
        EXPECT_FALSE(store->undoManager()->canUndo());
      EXPECT_EQ(payees(*store), content);
      controller->cancel();
      EXPECT_TRUE(presenter.shown.empty());
    };
    meet(&Controller::start, c.started);
    meet(&Controller::validate, c.validated);
    meet(&Controller::cancel, c.canceled);
  }
}

TEST_F(Controllers, FailuresSayWhy) {
  auto controller = make("");
  controller->start();
  ASSERT_TRUE(reach(*controller, State::kFailed));
  EXPECT_EQ(ends, std::vector<std::string>{"done -"}) << "no file, no text";
  controller = make(Files::write(path("text"), "no store"));
  controller->present(presenter);
  controller->start();
  ASSERT_TRUE(reach(*controller, State::kFailed));
  EXPECT_THAT(ends, testing::ElementsAre(testing::HasSubstr("not a database")));
  EXPECT_TRUE(presenter.shown.empty());
  ASSERT_TRUE(store->save());
  store = open({.access = QWDatabaseManager::Access::kReadOnly});
  controller = make(otherPath());
  controller->start();
  ASSERT_TRUE(reach(*controller, State::kFailed));
  EXPECT_EQ(ends, std::vector<std::string>{"done This document cannot be changed."});
}

TEST_F(Controllers, OneThatIsLetGoStopsQuietly) {
  for (const State state : {State::kPreparing, State::kComputing}) {
    auto controller = make(otherPath());
    controller->start();
    ASSERT_TRUE(reach(*controller, state));
    const auto directory = controller->session()->workingDirectory();
    controller.reset();
    EXPECT_TRUE(runUntil([&] { return !std::filesystem::exists(directory); }));
    EXPECT_TRUE(ends.empty());
  }
  // An observer may cancel in the middle of a notice.
  auto controller = presented();
  const auto cancel = controller->observe("progress", [&](const qw::Change&) { controller->cancel(); });
  controller->start();
  ASSERT_TRUE(reach(*controller, State::kCanceled));
  EXPECT_EQ(ends, std::vector<std::string>{"canceled -"});
}

TEST_F(Controllers, CancellingALaterStepTakesTheFirstBack) {
  editOther([](LedgerManager& other) { account(other).setName("B"); });
  store.reset();
  const auto stepped = QWDatabaseManager::open<SteppedManager>(path());
  store = stepped;
  for (const bool cancels : {true, false}) {
    auto controller = presented();
    controller->start();
    ASSERT_TRUE(reach(*controller, State::kReviewing));
    EXPECT_EQ(controller->changes().size(), 1u);
    controller->validate();
    EXPECT_EQ(controller->state(), State::kPreparing);
    ASSERT_TRUE(reach(*controller, State::kReviewing));
    EXPECT_EQ(payees(*store), "B:abc ");
    cancels ? controller->cancel() : controller->validate();
    EXPECT_EQ(payees(*store), cancels ? "A:abc " : "B:xbcy ");
    EXPECT_EQ(store->undoManager()->canUndo(), !cancels);
  }
  EXPECT_FALSE(store->undoManager()->canRedo());
  store->undoManager()->undo();
  EXPECT_EQ(payees(*store), "A:abc ");
}

// The queue ---------------------------------------------------------------------------------------------

namespace {

class Document : public qw::Object, public qw::SynchronizationDocument {
 public:
  static const qw::Class kClass;
  std::shared_ptr<qw::SynchronizationRun> startSynchronization(const Request& request,
                                                               Completion completion) override {
    auto controller =
        QWDatabaseSynchronizationSessionController::start(request, &scripted, std::move(completion));
    controller->setReviewDelay({});
    return controller;
  }
  qw::Presenter* presenter() override { return &scripted; }
  ScriptedPresenter scripted;
};
constinit const qw::Class Document::kClass =
    qw::define<Document, qw::Object>("Document", {}, [] { return qw::properties(); });

}  // namespace

class Queue : public Controllers {
 protected:
  void SetUp() override {
    Controllers::SetUp();
    store = open({.document = document});
  }
  void request(const std::string& name, const std::filesystem::path& other, bool inBackground) {
    store->synchronizeWithDatabaseAtURL(
        other, inBackground, std::nullopt,
        [this, name](const auto& controller) { log += name + (controller ? " started; " : " nothing; "); },
        [this, name](bool canceled, const std::optional<std::string>& message) {
          log += name + (canceled ? " canceled " : " done ") + message.value_or("-") + "; ";
        });
  }
  std::shared_ptr<Controller> running() {
    return std::static_pointer_cast<Controller>(store->synchronizationSessionController());
  }
  std::string log;
  std::shared_ptr<Document> document = qw::make<Document>();
};

TEST_F(Queue, RunsFollowOneAnotherAndAForegroundOneIsRefused) {
  request("1", otherPath(), false);
  ASSERT_TRUE(runUntil([&] { return running() && running()->state() == State::kReviewing; }));
  request("2", otherPath(), false);
  request("3", otherPath(), true);
  EXPECT_EQ(log, "1 started; 2 done This document is already being synchronized.; ");
  log.clear();
  running()->validate();
  EXPECT_EQ(log, "1 done -; ");
  ASSERT_TRUE(runUntil([&] { return log.ends_with("3 done -; "); }));
  EXPECT_EQ(log, "1 done -; 3 started; 3 done -; ");
  EXPECT_FALSE(running());
  EXPECT_EQ(payees(*store), "A:xbcy ");
  log.clear();
  request("4", otherPath(), false);
  ASSERT_TRUE(runUntil([&] { return log.ends_with("4 done -; "); })) << "the queue is idle again";
}

TEST_F(Queue, RefusedAccessEndsTheRunAndTheNextOneStarts) {
  // A file cannot be entered like a directory, whoever asks.
  const auto forbidden = otherPath() / "inside";
  document->scripted.willChooseFiles({});
  document->scripted.willChooseFiles({path()});
  request("1", forbidden, true);
  request("2", forbidden, true);
  request("3", otherPath(), true);
  ASSERT_TRUE(runUntil([&] { return log.ends_with("3 done -; "); }));
  EXPECT_EQ(log, "1 canceled -; 2 canceled -; 3 started; 3 done -; ");
  EXPECT_THAT(document->scripted.openRequests[0].title, testing::HasSubstr("permission"));
}

TEST_F(Queue, CancellingForgetsWhatWaitsAndEndsWhatRuns) {
  store->cancelPendingSynchronizations();
  request("1", otherPath(), false);
  ASSERT_TRUE(runUntil([&] { return running() && running()->state() == State::kReviewing; }));
  request("2", otherPath(), true);
  log.clear();
  store->cancelPendingSynchronizations();
  EXPECT_EQ(log, "1 canceled -; ");
  EXPECT_FALSE(running());
  EXPECT_EQ(payees(*store), "A:abc ");
  // One that waits for access when it is forgotten does not start, nor end the one after it.
  log.clear();
  request("3", otherPath(), true);
  store->cancelPendingSynchronizations();
  request("4", otherPath(), true);
  request("5", otherPath(), true);
  ASSERT_TRUE(runUntil([&] { return log.ends_with("5 done -; "); }));
  EXPECT_EQ(log, "3 canceled -; 4 started; 4 done -; 5 started; 5 done -; ");
}

TEST_F(Queue, WithoutADocumentThatCanItIsRefused) {
  store = open({.document = qw::make<qw::Object>()});
  request("1", otherPath(), true);
  request("2", otherPath(), true);
  EXPECT_EQ(log,
            "1 done This document cannot be synchronized.; 2 done This document cannot be synchronized.; ");
}
