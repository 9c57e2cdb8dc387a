#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/base/Export.h"
#include "platform/loop/RunLoop.h"
#include "platform/loop/SerialQueue.h"
#include "platform/ui/Presenter.h"
#include "sync/QWDatabaseSynchronizationSession.h"

/// Drives a synchronization session through its steps: opens and compares on a queue of its own, reviews and
/// applies on the main thread. What a sheet would show are its observable properties; what the user does are
/// its calls. Shown by a presenter it waits for the review of each step that has changes; not shown, it takes
/// the proposals. The completion is called once, on the main thread, after the last state was shown.
///
///     auto controller = QWDatabaseSynchronizationSessionController::start(
///         {book, otherPath, std::nullopt}, &presenter,
///         [&](bool canceled, const std::optional<std::string>& message) {
///           hasEnded = true;  // cancelled, or with a message if it failed
///         });
///     auto review = controller->observe("state", [&](const qw::Change&) {
///       if (controller->state() == Controller::State::kReviewing) {
///         controller->changes()[0]->changes[0]->keepOther = true;
///         controller->validate();
///       }
///     });
class QW_EXPORT QWDatabaseSynchronizationSessionController : public qw::SynchronizationRun {
 public:
  static const qw::Class kClass;

  /// Where the run is; the last three are its ends.
  enum class State : std::uint8_t {
    kReady,
    kPreparing,
    kComputing,
    kReviewing,
    kValidating,
    kFinished,
    kFailed,
    kCanceled
  };
  /// Called once with how the run ended.
  using Completion = qw::SynchronizationDocument::Completion;

  /// A controller in `kReady`, which is shown and started by its owner.
  static std::shared_ptr<QWDatabaseSynchronizationSessionController> create(
      std::shared_ptr<QWDatabaseSynchronizationSession> session, Completion completion);
  /// Makes session and controller, has the presenter show it unless the request is for the background, and
  /// starts. What a document answers to its store.
  static std::shared_ptr<QWDatabaseSynchronizationSessionController> start(
      const qw::SynchronizationDocument::Request& request, qw::Presenter* presenter, Completion completion);

  QWDatabaseSynchronizationSessionController();
  /// Cancels what still runs, without calling the completion.
  ~QWDatabaseSynchronizationSessionController() override;

  /// Shows it until it ends.
  void present(qw::Presenter& presenter);

  // What the user does. A call that does not fit the state does nothing.
  /// From `kReady` on: opens the other store.
  void start();
  /// Carries out the choices and goes on.
  void validate();
  void cancel() override;

  // What is shown; all observable.
  /// Where the run is.
  State state() const { return state_; }
  /// Whether it is finished, failed or cancelled.
  bool hasEnded() const { return state_ >= State::kFinished; }
  /// What is being done, in the user's language; empty in the review and at the end.
  const std::string& label() const { return label_; }
  /// Whether there is no progress to show.
  bool isProgressHidden() const { return state_ != State::kPreparing && state_ != State::kComputing; }
  /// Its extent is not known yet.
  bool isProgressIndeterminate() const { return state_ == State::kPreparing; }
  /// How many objects were compared, of `maxProgress`.
  std::size_t progress() const { return progress_; }
  /// How many objects this step compares.
  std::size_t maxProgress() const { return maxProgress_; }
  /// Whether there is nothing to review.
  bool isReviewHidden() const { return state_ != State::kReviewing; }
  /// Empty but in the review.
  const QWDatabaseSynchronizationSession::Groups& changes() const;

  /// What is driven.
  const std::shared_ptr<QWDatabaseSynchronizationSession>& session() const { return session_; }
  /// How long the full progress stays to be seen before the review; half a second.
  void setReviewDelay(std::chrono::microseconds delay) { reviewDelay_ = delay; }

 private:
  enum class Event : std::uint8_t { kStart, kOpened, kNotOpened, kComputed, kReviewDue, kValidate, kCancel };

  void handle(Event event);
  void prepare();
  void compute();
  void apply();
  void enter(State state, std::string_view labelKey = {});
  void end(State state);
  void showProgress();
  /// Runs `work` on the queue, then hands the event it answers to this controller on the main thread.
  void inBackground(std::function<Event(QWDatabaseSynchronizationSession&, std::string& failure)> work);

  State state_ = State::kReady;
  std::string label_;
  std::size_t progress_ = 0;
  std::size_t maxProgress_ = 0;
  std::optional<std::string> failure_;
  std::shared_ptr<QWDatabaseSynchronizationSession> session_;
  Completion completion_;
  std::chrono::microseconds reviewDelay_{500'000};
  bool isPresented_ = false;
  qw::Registration presentation_;
  qw::Registration timer_;
  qw::SerialQueue queue_{"QWDatabaseSynchronizationSession Queue"};
};
