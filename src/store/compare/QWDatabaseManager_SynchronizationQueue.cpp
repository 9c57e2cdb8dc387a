// One synchronization of a store after the other.
#include <unistd.h>

#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "platform/ui/Presenter.h"
#include "store/model/QWDatabaseManager.h"

constinit const qw::Class qw::SynchronizationRun::kClass =
    qw::define<qw::SynchronizationRun, qw::Object>("SynchronizationRun", {}, [] { return qw::properties(); });

void QWDatabaseManager::enqueueSynchronizationBlock(SynchronizationBlock block) {
  synchronizationQueue_.push_back(std::move(block));
  if (synchronizationQueue_.size() > 1) return;
  const auto first = synchronizationQueue_.front();
  first();
}

void QWDatabaseManager::dequeueSynchronizationBlock() {
  if (synchronizationQueue_.empty()) return;
  synchronizationQueue_.pop_front();
  if (synchronizationQueue_.empty()) return;
  const auto next = synchronizationQueue_.front();
  next();
}

void QWDatabaseManager::cancelPendingSynchronizations() {
  synchronizationQueue_.clear();
  ++synchronizationCancellations_;
  if (const auto running = std::exchange(synchronizationSessionController_, nullptr)) running->cancel();
  for (const auto& handler : synchronizationHandlers_) handler->deactivate();
}

void QWDatabaseManager::synchronizeWithDatabaseAtURL(
    const std::filesystem::path& URL, bool inBackground, std::optional<qw::Image> otherIcon,
    SynchronizationStartHandler startHandler, qw::SynchronizationDocument::Completion completionHandler) {
  if (!completionHandler) completionHandler = [](bool, const std::optional<std::string>&) {};
  if (!startHandler) startHandler = [](const std::shared_ptr<qw::SynchronizationRun>&) {};
  if (synchronizationSessionController_ && !inBackground)
    return completionHandler(false, qw::Localization::frameworkString("SynchronizationInProgress"));

  enqueueSynchronizationBlock([weak = std::weak_ptr(sharedAs<QWDatabaseManager>()), URL, inBackground,
                               otherIcon = std::move(otherIcon), startHandler, completionHandler] {
    const auto self = weak.lock();
    if (!self) return completionHandler(true, std::nullopt);
    const auto answered = [=, cancellations = self->synchronizationCancellations_](bool granted) {
      const auto self = weak.lock();
      const bool isCurrent = self && self->synchronizationCancellations_ == cancellations;
      if (isCurrent && granted)
        return self->startSynchronization({self, URL, otherIcon, inBackground}, startHandler,
                                          completionHandler);
      completionHandler(true, std::nullopt);
      if (isCurrent) self->dequeueSynchronizationBlock();
    };
    const auto document = std::dynamic_pointer_cast<qw::SynchronizationDocument>(self->document());
    if (qw::Presenter* presenter = document ? document->presenter() : nullptr)
      presenter->accessFile(URL,
                            qw::Localization::frameworkFormat(
                                "SandboxingFix", {qw::ApplicationContext::current().application.displayName}),
                            answered);
    else
      answered(access(URL.c_str(), R_OK) == 0 || errno == ENOENT);
  });
}

void QWDatabaseManager::startSynchronization(
    const qw::SynchronizationDocument::Request& request, const SynchronizationStartHandler& startHandler,
    const qw::SynchronizationDocument::Completion& completionHandler) {
  const auto finish = [weak = std::weak_ptr(request.manager), completionHandler,
                       cancellations = synchronizationCancellations_](
                          bool canceled, const std::optional<std::string>& message) {
    completionHandler(canceled, message);
    const auto self = weak.lock();
    if (!self || self->synchronizationCancellations_ != cancellations) return;
    self->synchronizationSessionController_ = nullptr;
    self->dequeueSynchronizationBlock();
  };
  const auto document = std::dynamic_pointer_cast<qw::SynchronizationDocument>(this->document());
  if (!document) return finish(false, qw::Localization::frameworkString("SynchronizationImpossible"));
  synchronizationSessionController_ = document->startSynchronization(request, finish);
  startHandler(synchronizationSessionController_);
}
