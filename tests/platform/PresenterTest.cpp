#include <gtest/gtest.h>

#include "platform/loop/RunLoop.h"
#include "platform/ui/Presenter.h"
#include "support/ScriptedPresenter.h"

namespace {

using qw::Presenter;

// Puts every kind of request, and notes the answers.
std::string askEverything(Presenter& presenter) {
  std::string log;
  Presenter::Question question;
  question.title = "Mode";
  question.buttons = {"OK", "Cancel"};
  question.cancelButton = 1;
  question.choices = {{"synchronize", false}, {"get"}, {"send"}};
  question.selectedChoice = 1;
  presenter.ask(question, [&](Presenter::Answer answer) {
    log += "button " + std::to_string(answer.button) + " choice " + std::to_string(answer.choice) + "; ";
  });
  presenter.presentError({"Domain", 4, "The disk is full."}, [&] { log += "confirmed; "; });
  presenter.chooseFilesToOpen({}, [&](auto paths) { log += std::to_string(paths.size()) + " files; "; });
  presenter.chooseFileToSave({}, [&](auto path) { log += path ? path->string() + "; " : "no file; "; });
  presenter.askPassword({}, [&](auto password) { log += password ? *password : "no password"; });
  EXPECT_EQ(log, "") << "answers come later";
  qw::RunLoop::main().drain();
  return log;
}

TEST(Presenter, DefaultsAnswerLikeAUserWhoCancels) {
  Presenter presenter;
  EXPECT_EQ(askEverything(presenter), "button 1 choice 1; confirmed; 0 files; no file; no password");
  presenter.showProgress("Work")->setFraction(0.5);
}

TEST(Presenter, ScriptAnswersInOrder) {
  ScriptedPresenter presenter;
  presenter.willPress("OK", 2);
  presenter.willPress("");
  presenter.willChooseFiles({"a.csv", "b.csv"});
  presenter.willChooseFiles({"c.csv"});
  presenter.willEnterPassword("secret");
  EXPECT_EQ(askEverything(presenter), "button 0 choice 2; confirmed; 2 files; c.csv; secret");
  EXPECT_EQ(presenter.questions.back().title, "The disk is full.");
}

}  // namespace
