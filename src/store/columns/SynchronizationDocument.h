#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/base/Export.h"
#include "platform/base/Image.h"
#include "platform/object/Object.h"

class QWDatabaseManager;

namespace qw {

class Presenter;

/// The controller of a running synchronization, as far as a store knows it.
class QW_EXPORT SynchronizationRun : public Object {
 public:
  static const Class kClass;
  /// Ends the run without applying anything more and calls its completion. Nothing happens when it has ended.
  virtual void cancel() = 0;
};

/// What a store asks of its document when it is to be synchronized. A document derives from this beside
/// `Object`; `QWDatabaseSynchronizationSessionController::start` does what is asked. Main thread.
class QW_EXPORT SynchronizationDocument {
 public:
  /// How a run ended: done (false, none), cancelled or refused access (true, none), or failed (false, the
  /// message, if there is one).
  using Completion = std::function<void(bool canceled, const std::optional<std::string>& message)>;
  /// What a run is asked to do.
  struct Request {
    /// The store that is brought into agreement.
    std::shared_ptr<QWDatabaseManager> manager;
    /// The other store, or a ZIP archive of it.
    std::filesystem::path otherDatabaseURL;
    /// A picture of the other side for the review.
    std::optional<Image> otherIcon;
    /// Nothing is shown; the proposals are taken.
    bool inBackground = false;
  };

  virtual ~SynchronizationDocument() = default;
  /// Starts a run and answers its controller. The completion is called once, later.
  virtual std::shared_ptr<SynchronizationRun> startSynchronization(const Request& request,
                                                                   Completion completion) = 0;
  /// Asked for access to files that the program may not read; null leaves those unread.
  virtual Presenter* presenter() { return nullptr; }
};

}  // namespace qw
