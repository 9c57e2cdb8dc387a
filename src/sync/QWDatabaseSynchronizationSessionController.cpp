#include "sync/QWDatabaseSynchronizationSessionController.h"

#include "platform/system/Localization.h"

constinit const qw::Class QWDatabaseSynchronizationSessionController::kClass =
    qw::define<QWDatabaseSynchronizationSessionController, qw::SynchronizationRun>(
        "QWDatabaseSynchronizationSessionController", {}, [] {
          using Controller = QWDatabaseSynchronizationSessionController;
          return qw::properties(
              qw::property<&Controller::state_>("state"), qw::property<&Controller::label_>("label"),
              qw::property<&Controller::progress_>("progress"),
              qw::property<&Controller::maxProgress_>("maxProgress"),
              qw::derived<&Controller::hasEnded>("ended", {"state"}),
              qw::derived<&Controller::isProgressHidden>("progressHidden", {"state"}),
              qw::derived<&Controller::isProgressIndeterminate>("progressIndeterminate", {"state"}),
              qw::derived<&Controller::isReviewHidden>("reviewHidden", {"state"}));
        });

namespace {
constexpr std::chrono::milliseconds kProgressInterval{50};
}

QWDatabaseSynchronizationSessionController::QWDatabaseSynchronizationSessionController() = default;

QWDatabaseSynchronizationSessionController::~QWDatabaseSynchronizationSessionController() {
  if (session_) session_->cancel();
}

std::shared_ptr<QWDatabaseSynchronizationSessionController>
QWDatabaseSynchronizationSessionController::create(std::shared_ptr<QWDatabaseSynchronizationSession> session,
                                                   Completion completion) {
  auto controller = qw::make<QWDatabaseSynchronizationSessionController>();
  controller->session_ = std::move(session);
  controller->completion_ = std::move(completion);
  return controller;
}

std::shared_ptr<QWDatabaseSynchronizationSessionController> QWDatabaseSynchronizationSessionController::start(
    const qw::SynchronizationDocument::Request& request, qw::Presenter* presenter, Completion completion) {
  auto session = QWDatabaseSynchronizationSession::create(request.manager, request.otherDatabaseURL);
  session->setOtherIcon(request.otherIcon);
  auto controller = create(std::move(session), std::move(completion));
  if (presenter && !request.inBackground) controller->present(*presenter);
  controller->start();
  return controller;
}

void QWDatabaseSynchronizationSessionController::present(qw::Presenter& presenter) {
  isPresented_ = true;
  presentation_ = presenter.show(shared_from_this());
}

void QWDatabaseSynchronizationSessionController::start() { handle(Event::kStart); }
void QWDatabaseSynchronizationSessionController::validate() { handle(Event::kValidate); }
void QWDatabaseSynchronizationSessionController::cancel() { handle(Event::kCancel); }

const QWDatabaseSynchronizationSession::Groups& QWDatabaseSynchronizationSessionController::changes() const {
  static const QWDatabaseSynchronizationSession::Groups kNone;
  return state_ == State::kReviewing ? session_->changes() : kNone;
}

void QWDatabaseSynchronizationSessionController::handle(Event event) {
  const auto keep = shared_from_this();  // a completion may let go of the last reference
  switch (state_) {
    case State::kReady:
      if (event == Event::kStart) return prepare();
      if (event == Event::kCancel) return end(State::kCanceled);
      return;
    case State::kPreparing:
      if (event == Event::kOpened) return compute();
      if (event == Event::kNotOpened) return end(State::kFailed);
      if (event == Event::kCancel) return end(State::kCanceled);
      return;
    case State::kComputing:
      if (event == Event::kCancel) return end(State::kCanceled);
      if (event == Event::kReviewDue) return enter(State::kReviewing);
      if (event != Event::kComputed) return;
      timer_.end();
      showProgress();
      // Nothing to look at, or nobody who looks.
      if (session_->changes().empty() || !isPresented_) return apply();
      timer_ = qw::RunLoop::main().timer(reviewDelay_, [this] { handle(Event::kReviewDue); });
      return;
    case State::kReviewing:
      if (event == Event::kValidate) return apply();
      if (event == Event::kCancel) return end(State::kCanceled);
      return;
    case State::kValidating:  // over before anything can happen
    case State::kFinished:
    case State::kFailed:
    case State::kCanceled:
      return;
  }
}

void QWDatabaseSynchronizationSessionController::prepare() {
  session_->setCurrentStep(session_->currentStep() + 1);
  assign<&QWDatabaseSynchronizationSessionController::progress_>(std::size_t{0});
  assign<&QWDatabaseSynchronizationSessionController::maxProgress_>(std::size_t{0});
  enter(State::kPreparing, "PreparingSynchronization");
  inBackground([](QWDatabaseSynchronizationSession& session, std::string& failure) {
    qw::Error error;
    if (session.otherDatabaseManager() || session.createOtherDatabaseManagerAndReturnError(&error))
      return Event::kOpened;
    failure = error.localizedDescription;
    return Event::kNotOpened;
  });
}

void QWDatabaseSynchronizationSessionController::compute() {
  session_->prepareSynchronization();
  enter(State::kComputing, "ComputingChanges");
  if (state_ != State::kComputing) return;  // an observer cancelled
  timer_ = qw::RunLoop::main().repeatingTimer(kProgressInterval, [this] { showProgress(); });
  inBackground([](QWDatabaseSynchronizationSession& session, std::string&) {
    session.computeChanges();
    return Event::kComputed;
  });
}

void QWDatabaseSynchronizationSessionController::apply() {
  enter(State::kValidating);
  session_->applyChanges();
  session_->currentStep() < session_->numberOfSteps() ? prepare() : end(State::kFinished);
}

void QWDatabaseSynchronizationSessionController::enter(State state, std::string_view labelKey) {
  assign<&QWDatabaseSynchronizationSessionController::label_>(
      labelKey.empty() ? std::string() : qw::Localization::frameworkString(labelKey));
  assign<&QWDatabaseSynchronizationSessionController::state_>(state);
}

void QWDatabaseSynchronizationSessionController::end(State state) {
  timer_.end();
  if (state == State::kCanceled) {
    session_->cancel();
    session_->takeBack();  // the steps before this one
  }
  enter(state);
  presentation_.end();
  if (const auto completion = std::exchange(completion_, nullptr))
    completion(state == State::kCanceled, failure_);
}

void QWDatabaseSynchronizationSessionController::showProgress() {
  assign<&QWDatabaseSynchronizationSessionController::maxProgress_>(session_->maxProgress());
  assign<&QWDatabaseSynchronizationSessionController::progress_>(session_->progress());
}

void QWDatabaseSynchronizationSessionController::inBackground(
    std::function<Event(QWDatabaseSynchronizationSession&, std::string& failure)> work) {
  const auto weak = std::weak_ptr(sharedAs<QWDatabaseSynchronizationSessionController>());
  queue_.async([weak, session = session_, work = std::move(work)]() mutable {
    std::string failure;
    const Event event = work(*session, failure);
    // Stores are used, and at last destroyed, on the main thread.
    qw::RunLoop::main().dispatch([weak, event, failure, session = std::move(session)] {
      const auto self = weak.lock();
      if (!self) return;
      if (!failure.empty()) self->failure_ = failure;
      self->handle(event);
    });
  });
}
