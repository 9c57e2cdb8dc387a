#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Back.h"
#include "platform/Error.h"
#include "platform/Object.h"
#include "platform/Property.h"
#include "platform/UndoManager.h"
#include "store/ObjectID.h"
#include "store/QWSynchronizationChange.h"

class QWDatabaseChange;
class QWDatabaseManager;
class QWDatabaseQuery;
class QWDatabaseResultSet;

namespace qw {
class ChildList;
class Loader;
class RowBinder;
}  // namespace qw

/// Base of every persisted object: identity, row, modification date and deletion, and all that follows from
/// the property table (saving, loading, copying, importing, archiving, undo, notices). Made by its manager
/// (`manager.create<Expense>()`), whose registry keeps it alive; belongs to the manager's thread. Nothing
/// here fails: statements do, when the manager saves.
class QWDatabaseObject : public qw::Object {
 public:
  static const qw::Class kClass;

  QWDatabaseObject();
  ~QWDatabaseObject() override;

  /// Null once the manager is gone.
  QWDatabaseManager* databaseManager() const;
  const qw::ObjectID& ID() const { return id_; }
  /// Row number: 0 never saved, -1 its deletion is on the way to the file.
  std::int64_t sqlID() const { return sqlID_; }
  /// Edits since the last computed save, those undone counted back. A new place among the siblings does not
  /// count, but is saved, too.
  int modificationsCount() const { return modificationsCount_; }
  std::optional<qw::Date> lastModificationDate() const {
    if (lastModificationDate_ == kNoDate) return std::nullopt;
    return qw::Date::fromMicroseconds(lastModificationDate_);
  }
  bool isDeleted() const { return deleted_; }
  bool isBeingImported() const { return beingImported_; }
  /// Place among the parent's children, from 0 on without gaps; -1 without a parent. Its observers hear of a
  /// new one once, however many siblings came and went: before and after each undo and redo, with a save, and
  /// at the end of the run loop's pass.
  std::int64_t index() const;
  /// On an object of a copied manager: what it was copied from. Null when that is gone.
  std::shared_ptr<QWDatabaseObject> originalObject() const;

  void setID(const qw::ObjectID& id);
  void setLastModificationDate(std::optional<qw::Date> date);
  void setDeleted(bool deleted);
  /// While set, deleting this object leaves its children where they are until the requests of its store end;
  /// those that have another parent by then stay.
  void setBeingImported(bool beingImported) { beingImported_ = beingImported; }
  /// Deletes the object with its children and owned objects: out of its parent's children, marked, and (if
  /// `record`) its ID remembered as deleted. Undoable. What lies below follows one after the other, however
  /// deep: an override that is called for one of those finds its children still undeleted.
  virtual void deleteObject(bool record = true);
  /// Deletes a child whose parent vanished: at once, or, while this object is being imported, after the load
  /// if the value at the key path has not changed by then.
  void deleteChild(QWDatabaseObject& child, std::string_view parentKeyPath);
  /// Counts an edit, stamps the modification date of a saved object, and posts
  /// "QWDatabaseManagerObjectsDidChangeNotification" when idle.
  void addModification();

  std::shared_ptr<QWDatabaseObject> copyInDatabaseManager(QWDatabaseManager& manager) const;
  std::shared_ptr<QWDatabaseObject> importInDatabaseManager(QWDatabaseManager& manager) const;
  /// A copy with a new ID, through an archive. Null with the error set when something in it cannot be
  /// archived, or objects lead to each other in a longer chain than archives hold, as in a tree of some 490
  /// levels.
  std::shared_ptr<QWDatabaseObject> duplicateInDatabaseManager(QWDatabaseManager& manager,
                                                               qw::Error* error = nullptr) const;
  std::shared_ptr<QWDatabaseObject> duplicate(qw::Error* error = nullptr) const;

  /// A closure that binds the column values of this moment.
  std::function<void(QWDatabaseQuery&)> prepareBlock() const;
  /// The write that brings the row up to date: none or one. The object counts as clean from then on.
  std::vector<std::shared_ptr<QWDatabaseChange>> computeChanges();
  void commitChangesToOriginalDatabaseManager();

  /// Parameters that point at this object; their "object" is set to null when it is deleted. Held weakly.
  void addReferringParameter(qw::Object& parameter);
  void removeReferringParameter(qw::Object& parameter);

  /// Moves to the end of another parent's children; null takes it out of the present one's. False, with
  /// nothing changed, for a parent that is this object or lies below it.
  bool moveToParent(const qw::Property& relation, QWDatabaseObject* parent);

  // Hooks for subclasses, which call their base first.
  /// A new object: a fresh ID, registered, an undoable creation.
  virtual void initWithDatabaseManager(QWDatabaseManager& manager);
  /// An object from a row: every attribute is read, relations are resolved when the load ends.
  virtual void initWithRow(QWDatabaseManager& manager, QWDatabaseResultSet& row);
  /// What lies below is copied when this returns, for objects that are themselves copied with another one
  /// when that returns.
  virtual void initByCopyingObject(QWDatabaseManager& manager, const QWDatabaseObject& source);
  virtual void initByImportingObject(QWDatabaseManager& manager, const QWDatabaseObject& source);
  void initWithCoder(qw::KeyedUnarchiver& coder) override;
  void encodeWithCoder(qw::KeyedArchiver& coder) const override;

  /// The differences from the object of the same ID in another store, `block` of each writing this side's
  /// value there.
  virtual std::vector<std::shared_ptr<QWSynchronizationChange>> compareWithObject(QWDatabaseObject& other);
  virtual bool shouldCreateIfMissing() const { return true; }
  virtual bool shouldSynchronizeProperties() const { return true; }
  virtual std::optional<qw::ObjectID> synchronizationParentID() const { return std::nullopt; }
  virtual std::string synchronizationDescription() const { return description(); }
  std::string description() const override;

  /// The persisted setter: ignores an equal value, registers the old one for undo, stores, counts the
  /// modification and tells the observers. False when the value was equal.
  template <auto Member, class V>
  bool assign(V&& value) {
    auto& member = static_cast<qw::detail::OwnerOf<Member>&>(*this).*Member;
    if (member == value) return false;
    const qw::Property& property = qw::propertyOf<Member>();
    if (qw::UndoManager* undo = recordingUndoManager(); undo && !isNewIn(*undo, property))
      undo->registerRestore(*this, property, property.storedValue(*this));
    edit(property.key, [&] { member = std::forward<V>(value); });
    return true;
  }
  /// The same for an owned object: the former one is deleted.
  template <auto Member, class V>
  bool assignOwned(V&& value) {
    const std::shared_ptr<QWDatabaseObject> former = static_cast<qw::detail::OwnerOf<Member>&>(*this).*Member;
    if (!assign<Member>(std::forward<V>(value))) return false;
    if (former) former->deleteObject();
    return true;
  }

 private:
  friend class QWDatabaseChange;
  friend class QWDatabaseManager;
  friend class qw::ChildList;
  friend class qw::Loader;

  static constexpr std::int64_t kNoDate = std::numeric_limits<std::int64_t>::min();

  struct Rare {
    qw::Back<QWDatabaseObject> originalObject;
    std::vector<qw::Back<qw::Object>> referringParameters;
  };

  /// The manager's undo manager when it is recording.
  qw::UndoManager* recordingUndoManager() const;
  /// Whether the property comes and goes with the object: an attribute of one that was created in the group
  /// that is open. Undo takes the object away whole, and redo brings it back as it was.
  bool isNewIn(const qw::UndoManager& undo, const qw::Property& property) const {
    return createdIn_ == undo.scope() && property.kind == qw::PropertyKind::kAttribute;
  }
  /// Around every change of a persisted value: a pending write keeps the old values, observers hear of it.
  template <class Store>
  void edit(std::string_view key, Store store) {
    willModify();
    if (isObserved()) {
      qw::ChangeScope scope(*this, key);
      store();
      addModification();
    } else {
      store();
      addModification();
    }
  }
  /// Null when there is nothing to write.
  static std::shared_ptr<QWDatabaseChange> computeChange(std::shared_ptr<QWDatabaseObject> object);
  void willModify() {
    if (pendingChange_) capturePendingChange();
  }
  void capturePendingChange();
  /// Stamps a saved object as modified now, unless that is an undo.
  void stamp();
  /// The row is to be written: queues the object and has it told. No edit by itself: a place that siblings
  /// give way for, or a link whose target was deleted, is not newer than what another copy has.
  void touch();
  /// Another order of its children is an edit of this object.
  void noteReorder();
  void attach(QWDatabaseManager& manager);
  void copyAttributes(const QWDatabaseObject& source);
  /// `recorded`: undoing it remembers the ID as deleted.
  void registerCreation(bool recorded);
  void bindColumns(qw::RowBinder& row) const;
  /// A parent that is being deleted keeps its children, unless they leave it for another.
  enum class Leaving : std::uint8_t { kDeleted, kForGood };
  void detachFromParent(Leaving leaving);
  Rare& rare();
  void observerAdded(std::string_view key) override;
  void markDeleted(bool record);
  void deleteBelow(bool record, std::vector<std::pair<std::shared_ptr<QWDatabaseObject>, bool>>& waiting);
  void copyBelow(const QWDatabaseObject& source);

  qw::Back<QWDatabaseManager> manager_;
  qw::ObjectID id_;
  std::int64_t sqlID_ = 0;
  std::int64_t lastModificationDate_ = kNoDate;  // microseconds
  QWDatabaseChange* pendingChange_ = nullptr;
  std::unique_ptr<Rare> rare_;
  std::int64_t order_ = -1;  // number among the siblings, for the file
  void* place_ = nullptr;    // the list's own
  std::int32_t modificationsCount_ = 0;
  std::uint32_t createdIn_ = 0;  // the undo manager's scope
  bool deleted_ = false;
  bool beingImported_ = false;
  bool registered_ = false;
  bool queued_ = false;     // in the manager's list of objects to save
  bool mustWrite_ = false;  // the count cannot tell whether the row is right
  bool unplaced_ = false;   // the number is not between the neighbours'
  bool indexIsObserved_ = false;
};

#include "store/Attributes.h"  // IWYU pragma: export
