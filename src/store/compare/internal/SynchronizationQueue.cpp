#include "store/compare/internal/SynchronizationQueue.h"

#include <unistd.h>

#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "platform/ui/Presenter.h"
#include "store/model/QWDatabaseManager.h"

namespace qw {

constinit const Class SynchronizationRun::kClass =
    define<SynchronizationRun, Object>("SynchronizationRun", {}, [] { return properties(); });

void SynchronizationQueue::enqueue(Block block) {
  blocks_.push_back(std::move(block));
  if (blocks_.size() > 1) return;
  const auto first = blocks_.front();
  first();
}

void SynchronizationQueue::dequeue() {
  if (blocks_.empty()) return;
  blocks_.pop_front();
  if (blocks_.empty()) return;
  const auto next = blocks_.front();
  next();
}

void SynchronizationQueue::cancel() {
  blocks_.clear();
  ++cancellations_;
  if (const auto running = std::exchange(run_, nullptr)) running->cancel();
}

void SynchronizationQueue::synchronize(const std::filesystem::path& URL, bool inBackground,
                                       std::optional<Image> otherIcon, StartHandler startHandler,
                                       Completion completion) {
  if (!completion) completion = [](bool, const std::optional<std::string>&) {};
  if (!startHandler) startHandler = [](const std::shared_ptr<SynchronizationRun>&) {};
  if (run_ && !inBackground)
    return completion(false, Localization::frameworkString("SynchronizationInProgress"));

  // The manager owns this queue: as long as it lives, so does the queue.
  enqueue([this, weak = std::weak_ptr(manager_.sharedAs<QWDatabaseManager>()), URL, inBackground,
           otherIcon = std::move(otherIcon), startHandler, completion] {
    const auto manager = weak.lock();
    if (!manager) return completion(true, std::nullopt);
    const auto answered = [=, this, cancellations = cancellations_](bool granted) {
      const auto manager = weak.lock();
      const bool isCurrent = manager && cancellations_ == cancellations;
      if (isCurrent && granted)
        return start({manager, URL, otherIcon, inBackground}, startHandler, completion);
      completion(true, std::nullopt);
      if (isCurrent) dequeue();
    };
    const auto document = std::dynamic_pointer_cast<SynchronizationDocument>(manager->document());
    if (Presenter* presenter = document ? document->presenter() : nullptr)
      presenter->accessFile(URL,
                            Localization::frameworkFormat(
                                "SandboxingFix", {ApplicationContext::current().application.displayName}),
                            answered);
    else
      answered(access(URL.c_str(), R_OK) == 0 || errno == ENOENT);
  });
}

void SynchronizationQueue::start(const SynchronizationDocument::Request& request,
                                 const StartHandler& startHandler, const Completion& completion) {
  const auto finish = [this, weak = std::weak_ptr(request.manager), completion,
                       cancellations = cancellations_](bool canceled,
                                                       const std::optional<std::string>& message) {
    completion(canceled, message);
    const auto manager = weak.lock();
    if (!manager || cancellations_ != cancellations) return;
    run_ = nullptr;
    dequeue();
  };
  const auto document = std::dynamic_pointer_cast<SynchronizationDocument>(request.manager->document());
  if (!document) return finish(false, Localization::frameworkString("SynchronizationImpossible"));
  run_ = document->startSynchronization(request, finish);
  startHandler(run_);
}

}  // namespace qw
