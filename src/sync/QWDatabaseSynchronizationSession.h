#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/base/Image.h"
#include "store/model/QWDatabaseManager.h"
#include "sync/QWSynchronizationChangesGroup.h"

/// Brings a store into agreement with another file of the same kind: a copy of the store that went its own
/// way, or a ZIP archive of one. Step by step it compares the objects of both, proposes for each difference
/// the side that was modified later, and carries out what was chosen. The other file is only read.
///
/// A step is `prepareSynchronization`, `computeChanges`, a review of `changes`, `applyChanges`. All of it
/// belongs to the main thread, except what says otherwise; a session is driven by its
/// `QWDatabaseSynchronizationSessionController`. Nothing is saved.
class QW_EXPORT QWDatabaseSynchronizationSession : public qw::Object {
 public:
  static const qw::Class kClass;
  /// The changes of one object.
  using Group = QWSynchronizationChangesGroup;
  /// In the order of synchronization, none of them null.
  using Groups = std::vector<std::shared_ptr<Group>>;

  /// Makes the working directory; nothing is read yet. Main thread.
  static std::shared_ptr<QWDatabaseSynchronizationSession> create(std::shared_ptr<QWDatabaseManager> manager,
                                                                  std::filesystem::path otherDatabaseURL);
  QWDatabaseSynchronizationSession();
  /// Removes the working directory.
  ~QWDatabaseSynchronizationSession() override;

  /// "Synchronization Sessions" in the application's support directory. Working directories older than a day,
  /// of programs that crashed, are removed from it when a session is made.
  static std::filesystem::path tempDirectory();

  /// The store that is brought into agreement.
  const std::shared_ptr<QWDatabaseManager>& originalDatabaseManager() const { return original_; }
  /// A copy of the store as it was at the beginning of the step.
  const std::shared_ptr<QWDatabaseManager>& databaseManager() const { return copy_; }
  /// Null until it is open. A copy in the working directory of what is at `otherDatabaseURL`.
  const std::shared_ptr<QWDatabaseManager>& otherDatabaseManager() const { return other_; }
  /// The other store, or a ZIP archive of it.
  const std::filesystem::path& otherDatabaseURL() const { return otherURL_; }
  /// Inside `tempDirectory`; goes with the session.
  const std::filesystem::path& workingDirectory() const { return workingDirectory_; }
  /// A picture of the other side for the review.
  const std::optional<qw::Image>& otherIcon() const { return otherIcon_; }
  /// None for no picture.
  void setOtherIcon(std::optional<qw::Image> icon) { otherIcon_ = std::move(icon); }
  /// At least 1; as the store says.
  int numberOfSteps() const { return original_->numberOfSynchronizationSteps(); }
  /// From 1 on; 0 before the first.
  int currentStep() const { return currentStep_; }
  /// Counted from 1. Notifies the observers when it changes.
  void setCurrentStep(int step) { assign<&QWDatabaseSynchronizationSession::currentStep_>(step); }
  /// How many objects of this step were compared so far. Any thread.
  std::size_t progress() const { return progress_; }
  /// How many objects this step has to compare. Any thread.
  std::size_t maxProgress() const { return maxProgress_; }
  /// What the step found, in the order of synchronization; the review sets `keepOther` in it.
  const Groups& changes() const { return changes_; }

  /// Opens the other store. On any thread; false, with no error where there is no file.
  bool createOtherDatabaseManagerAndReturnError(qw::Error* error);
  /// Begins a step: copies the store as it is now.
  void prepareSynchronization();
  /// Fills `changes`. On any thread while both stores are left alone; near linear. Ends early, keeping what
  /// was found, when the session is cancelled.
  void computeChanges();
  /// Carries out the choices on the store, in memory: all steps of a session are one undo step.
  void applyChanges();
  /// Undoes what was applied, unless the store was edited since.
  void takeBack();

  /// Any thread; takes effect between two objects.
  void cancel() { canceled_ = true; }
  /// Whether `cancel` was called. Any thread.
  bool isCanceled() const { return canceled_; }

 private:
  class Comparer;

  bool openOther(const std::filesystem::path& path, qw::Error* error);
  void takeDeletion(const QWDatabaseObject& local);
  void rescueChildrenOf(QWDatabaseObject& deleted);

  std::atomic<bool> canceled_ = false;
  int currentStep_ = 0;
  std::optional<qw::Image> otherIcon_;
  Groups changes_;
  std::atomic<std::size_t> progress_ = 0;
  std::atomic<std::size_t> maxProgress_ = 0;
  std::filesystem::path workingDirectory_;
  std::shared_ptr<QWDatabaseManager> original_;
  std::shared_ptr<QWDatabaseManager> copy_;
  std::shared_ptr<QWDatabaseManager> other_;
  std::filesystem::path otherURL_;
  std::vector<std::shared_ptr<QWDatabaseObject>> deletions_;  // taken over in this step
  std::uint64_t undoGroup_ = 0;
};
