#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <utility>

#include "platform/loop/RunLoop.h"
#include "platform/ui/Presenter.h"

/// A presenter that plays a user: a test says in advance how the coming requests are answered, in order. A
/// request without an answer, and an answer that no request asked for, fail the test. What was shown is kept
/// to be looked at.
class ScriptedPresenter : public qw::Presenter {
 public:
  ~ScriptedPresenter() override { EXPECT_TRUE(script_.empty()) << "answers that nobody asked for"; }

  /// Presses the button with this title; "" confirms an alert. May first choose among the choices.
  void willPress(std::string button, std::size_t choice = kKeepChoice) {
    Step step;
    step.kind = Step::Kind::kPress;
    step.text = std::move(button);
    step.choice = choice;
    script_.push_back(std::move(step));
  }
  void willChooseFiles(std::vector<std::filesystem::path> paths) {
    Step step;
    step.kind = Step::Kind::kFiles;
    step.paths = std::move(paths);
    script_.push_back(std::move(step));
  }
  void willEnterPassword(std::optional<std::string> password) {
    Step step;
    step.kind = Step::Kind::kPassword;
    step.cancels = !password;
    step.text = password.value_or("");
    script_.push_back(std::move(step));
  }

  /// What the user does with a question's accessory before answering.
  std::function<void(const Question&)> whenAsked;

  std::vector<Question> questions;
  std::vector<OpenRequest> openRequests;
  std::vector<SaveRequest> saveRequests;
  std::vector<std::string> progressLabels;
  std::vector<std::shared_ptr<qw::Object>> shown;

  void ask(const Question& question, std::function<void(Answer)> completion) override {
    questions.push_back(question);
    if (whenAsked) whenAsked(question);
    const Step step = next(Step::Kind::kPress, question.title);
    Answer answer{question.cancelButton, step.choice == kKeepChoice ? question.selectedChoice : step.choice};
    if (step.choice != kKeepChoice) {
      EXPECT_TRUE(step.choice < question.choices.size() && question.choices[step.choice].isEnabled);
    }
    if (!question.buttons.empty()) {
      const auto button = std::find(question.buttons.begin(), question.buttons.end(), step.text);
      EXPECT_NE(button, question.buttons.end()) << "no button " << step.text << " in " << question.title;
      if (button != question.buttons.end())
        answer.button = static_cast<std::size_t>(button - question.buttons.begin());
    }
    reply([=] { completion(answer); });
  }
  void chooseFilesToOpen(const OpenRequest& request,
                         std::function<void(std::vector<std::filesystem::path>)> completion) override {
    openRequests.push_back(request);
    reply([=, paths = next(Step::Kind::kFiles, request.title).paths] { completion(paths); });
  }
  void chooseFileToSave(const SaveRequest& request,
                        std::function<void(std::optional<std::filesystem::path>)> completion) override {
    saveRequests.push_back(request);
    const auto paths = next(Step::Kind::kFiles, request.title).paths;
    reply([=] { completion(paths.empty() ? std::nullopt : std::optional(paths.front())); });
  }
  void askPassword(const PasswordRequest& request,
                   std::function<void(std::optional<std::string>)> completion) override {
    const Step step = next(Step::Kind::kPassword, request.title);
    reply([=] { completion(step.cancels ? std::nullopt : std::optional(step.text)); });
  }
  std::unique_ptr<Progress> showProgress(const std::string& title, std::function<void()> cancel) override {
    progressLabels.push_back(title);
    cancelProgress = std::move(cancel);
    return std::make_unique<Labels>(*this);
  }
  qw::Registration show(std::shared_ptr<qw::Object> controller) override {
    shown.push_back(controller);
    // The controller owns the registration, which must not own the controller.
    return qw::Registration([this, weak = std::weak_ptr(controller)] { std::erase(shown, weak.lock()); });
  }
  /// Cancels the progress shown last.
  std::function<void()> cancelProgress;

 private:
  static constexpr std::size_t kKeepChoice = static_cast<std::size_t>(-1);
  struct Step {
    enum class Kind { kPress, kFiles, kPassword };
    Kind kind = Kind::kPress;
    std::string text;
    std::size_t choice = kKeepChoice;
    std::vector<std::filesystem::path> paths;
    bool cancels = true;
  };
  class Labels : public Progress {
   public:
    explicit Labels(ScriptedPresenter& presenter) : presenter_(presenter) {}
    void setLabel(const std::string& label) override { presenter_.progressLabels.push_back(label); }

   private:
    ScriptedPresenter& presenter_;
  };

  Step next(Step::Kind kind, const std::string& title) {
    if (script_.empty() || script_.front().kind != kind) {
      ADD_FAILURE() << "no answer is prepared for: " << title;
      return {};
    }
    Step step = std::move(script_.front());
    script_.pop_front();
    return step;
  }
  static void reply(std::function<void()> answer) { qw::RunLoop::main().dispatch(std::move(answer)); }

  std::deque<Step> script_;
};
