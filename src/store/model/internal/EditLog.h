#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "platform/object/Back.h"
#include "store/model/RowWrite.h"

class QWDatabaseManager;
class QWDatabaseObject;

namespace qw {

class ChildList;

/// What happened to the objects of a store since its last save: which rows are to be written, which lists
/// have children without a number, whose observers have to hear of another index. Owned by the manager.
class EditLog {
 public:
  explicit EditLog(QWDatabaseManager& manager);
  ~EditLog();

  /// The object's row may differ from the object.
  void queue(QWDatabaseObject& object);
  /// Rows that name the object by its ID are to be written: it has another one, or none while it is deleted.
  void noteRenamed(QWDatabaseObject& object);
  /// Links came about in another way than by an edit: who names whom is to be found out anew.
  void forgetReferrers();
  /// Forgets objects that are no longer in the store.
  void dropUnregistered();
  /// Everything counts as it is in the file.
  void forgetAll();

  /// Gives children that moved their numbers; what is taken to be written then belongs to the computation that
  /// this answers.
  std::uint32_t beginComputation();
  /// How many there were.
  std::uint32_t computations() const { return computations_; }
  /// The write, of that computation, that brings an object's row up to date. The object counts as clean then.
  static RowWrite take(std::shared_ptr<QWDatabaseObject> object, std::uint32_t computation);
  /// The writes of all rows that differ from their objects: deletions first, then rows from the highest
  /// number down, then new objects as they were made. The objects count as clean then.
  std::vector<RowWrite> takeAll();
  /// The write failed. `committed`: the file has it all the same, only not safely.
  void revert(const RowWrite& write, bool committed);

  void noteEditedList(QWDatabaseObject& owner, ChildList& list);
  /// Gives children that moved their numbers for the file.
  void numberChildren();
  /// After a save: numbers that no row has any more are free.
  void forgetWrittenNumbers();
  /// Lists keep what left them, which may have come to be above them: not beyond the store.
  void forgetLists();

  /// The object has an observer of its "index" now, and had none before.
  void observeIndex(QWDatabaseObject& object);
  /// Children moved: whoever observes an "index" hears of it at the end of the pass.
  void indexesChanged();
  /// Tells the observers of each "index" that is another one now.
  void settle();

 private:
  class Referrers;

  void touchRowsThatName();
  bool canBeNamed(const Class& c) const;

  QWDatabaseManager& manager_;
  std::vector<std::shared_ptr<QWDatabaseObject>> unsaved_;
  std::vector<std::shared_ptr<QWDatabaseObject>> renamed_;
  std::vector<std::pair<std::shared_ptr<QWDatabaseObject>, ChildList*>> editedLists_;
  std::vector<std::pair<Back<QWDatabaseObject>, std::int64_t>> observedIndexes_;  // as last told
  bool settlesAtEndOfPass_ = false;
  std::uint32_t computations_ = 0;  // of what is to be saved
  /// Which objects refer to, or own, another: made at the first save that has to know. It may name more.
  std::unique_ptr<Referrers> referrers_;
};

}  // namespace qw
