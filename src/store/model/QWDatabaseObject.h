#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/object/Back.h"
#include "platform/object/Object.h"
#include "platform/object/Property.h"
#include "platform/object/UndoManager.h"
#include "store/columns/ObjectID.h"
#include "store/columns/QWSynchronizationChange.h"
#include "store/model/RowState.h"

class QWDatabaseChange;
class QWDatabaseManager;
class QWDatabaseQuery;
class QWDatabaseResultSet;
struct sqlite3_value;

namespace qw {
class ChildList;
class Loader;
class RowBinder;
class RowReader;
}  // namespace qw

/// Base of every persisted object: identity, row, modification date and deletion, and all that follows from
/// the property table (saving, loading, copying, importing, archiving, undo, notices). Made by its manager
/// (`manager.create<Expense>()`), whose registry keeps it alive; belongs to the manager's thread. Nothing
/// here fails: statements do, when the manager saves.
class QW_EXPORT QWDatabaseObject : public qw::Object {
 public:
  static const qw::Class kClass;

  QWDatabaseObject();
  ~QWDatabaseObject() override;

  /// Null once the manager is gone.
  QWDatabaseManager* databaseManager() const;
  /// Unique within the store, the same in every copy of it.
  const qw::ObjectID& ID() const { return id_; }
  /// Row number: 0 never saved, -1 while its deletion is being written.
  std::int64_t sqlID() const { return row_.rowID(); }
  /// Edits since the last computed save, those undone counted back. A new place among the siblings does not
  /// count, but is saved, too.
  int modificationsCount() const { return row_.edits(); }
  /// When a saved object was edited last; none before that.
  std::optional<qw::Date> lastModificationDate() const {
    if (lastModificationDate_ == kNoDate) return std::nullopt;
    return qw::Date::fromMicroseconds(lastModificationDate_);
  }
  /// Whether the object was deleted; it lives on for undo.
  bool isDeleted() const { return deleted_; }
  /// Whether `setBeingImported` is in effect.
  bool isBeingImported() const { return beingImported_; }
  /// Place among the parent's children, from 0 on without gaps; -1 without a parent. Its observers hear of a
  /// new one once, however many siblings came and went: before and after each undo and redo, with a save, and
  /// at the end of the run loop's pass.
  std::int64_t index() const;
  /// On an object of a copied manager: what it was copied from. Null when that is gone.
  std::shared_ptr<QWDatabaseObject> originalObject() const;

  /// Gives the object another identity, undoably; rows that refer to it are saved anew.
  void setID(const qw::ObjectID& id);
  /// Sets the date without counting an edit.
  void setLastModificationDate(std::optional<qw::Date> date);
  /// Marks the object; `deleteObject` does everything that belongs to a deletion.
  void setDeleted(bool deleted);
  /// While set, deleting this object leaves its children where they are until the requests of its store end;
  /// those that have another parent by then stay.
  void setBeingImported(bool beingImported) { beingImported_ = beingImported; }
  /// Has the object being imported for as long as it lives.
  class ImportScope {
   public:
    /// Until the scope ends; the object must outlive it.
    explicit ImportScope(QWDatabaseObject& object) : object_(object) { object_.setBeingImported(true); }
    ~ImportScope() { object_.setBeingImported(false); }
    ImportScope(const ImportScope&) = delete;
    ImportScope& operator=(const ImportScope&) = delete;

   private:
    QWDatabaseObject& object_;
  };
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

  /// The object and all below it with the same IDs, in a copied manager.
  std::shared_ptr<QWDatabaseObject> copyInDatabaseManager(QWDatabaseManager& manager) const;
  /// The object, of another store, and what it owns, with the same IDs in this one, undoably. It goes below its
  /// parent there once that is in this store, and goes again when the requests end without.
  std::shared_ptr<QWDatabaseObject> importInDatabaseManager(QWDatabaseManager& manager) const;
  /// A copy with a new ID, through an archive. Null with the error set when something in it cannot be
  /// archived, or objects lead to each other in a longer chain than archives hold, as in a tree of some 490
  /// levels.
  [[nodiscard]] std::shared_ptr<QWDatabaseObject> duplicateInDatabaseManager(
      QWDatabaseManager& manager, qw::Error* error = nullptr) const;
  /// A copy in the same store.
  [[nodiscard]] std::shared_ptr<QWDatabaseObject> duplicate(qw::Error* error = nullptr) const;

  /// A closure that binds the column values of this moment.
  std::function<void(QWDatabaseQuery&)> prepareBlock() const;
  /// The write that brings the row up to date: none or one. The object is clean from then on.
  std::vector<std::shared_ptr<QWDatabaseChange>> computeChanges();
  /// On an object of a copied manager: makes, deletes or edits the original. Only properties that were set
  /// here are written there, so that what was edited there meanwhile stays.
  void commitChangesToOriginalDatabaseManager();

  /// Parameters that point at this object; their "object" is set to null when it is deleted. Held weakly.
  void addReferringParameter(qw::Object& parameter);
  /// Ends what `addReferringParameter` began.
  void removeReferringParameter(qw::Object& parameter);

  // Hooks for subclasses, which call their base first.
  /// A new object: a fresh ID, registered, an undoable creation.
  virtual void initWithDatabaseManager(QWDatabaseManager& manager);
  /// An object from a row: every attribute is read, relations are resolved when the load ends.
  virtual void initWithRow(QWDatabaseManager& manager, QWDatabaseResultSet& row);
  /// An object of a copied manager, with all below it.
  /// What lies below is copied when this returns, for objects that are themselves copied with another one
  /// when that returns.
  virtual void initByCopyingObject(QWDatabaseManager& manager, const QWDatabaseObject& source);
  /// An object from another store, with all below it: registered, an undoable creation.
  virtual void initByImportingObject(QWDatabaseManager& manager, const QWDatabaseObject& source);
  void initWithCoder(qw::KeyedUnarchiver& coder) override;
  void encodeWithCoder(qw::KeyedArchiver& coder) const override;

  /// The differences from the object of the same ID in another store, `block` of each writing this side's
  /// value there.
  virtual std::vector<std::shared_ptr<QWSynchronizationChange>> compareWithObject(QWDatabaseObject& other);
  /// Whether a synchronization creates and deletes it; false for what is created and deleted by other means.
  virtual bool shouldCreateIfMissing() const { return true; }
  /// Whether a synchronization compares its properties.
  virtual bool shouldSynchronizeProperties() const { return true; }
  /// The object that has to be there before this one can be created; none when nothing has to.
  virtual std::optional<qw::ObjectID> synchronizationParentID() const { return std::nullopt; }
  /// What the object is called in a review.
  virtual std::string synchronizationDescription() const { return description(); }
  std::string description() const override;

  /// Writes a `Stored` member, as its setter would.
  template <auto Member, class V>
  bool set(V&& value) {
    static_assert(qw::detail::kIsStored<Member>, "a member of another kind is set by its class");
    return assign<Member>(std::forward<V>(value));
  }

  /// The persisted setter: ignores an equal value, registers the old one for undo, stores, counts the
  /// modification and notifies the observers. A former owned object is deleted; another parent is one among
  /// whose children the object then stands, behind the last. False when nothing changed.
  template <auto Member, class V>
  bool assign(V&& value) {
    using T = qw::detail::TypeOf<Member>;
    static_assert(!std::is_base_of_v<qw::ChildList, T>, "children are edited through their list");
    const qw::Property& property = qw::propertyOf<Member>();
    if constexpr (qw::detail::kIsBack<T>) {
      if (property.kind == qw::PropertyKind::kParent)
        return moveToParent(property, T(std::forward<V>(value)).get());
    }
    auto& member = qw::detail::Members::of(static_cast<qw::detail::OwnerOf<Member>&>(*this).*Member);
    const bool wasUnread = rare_ && dropUnread(property);
    if (member == value || property.key.empty()) return wasUnread;
    if (qw::UndoManager* undo = recordingUndoManager(); undo && !isNewIn(*undo, property))
      undo->registerRestore(*this, property, property.storedValue(*this));
    if constexpr (std::is_convertible_v<T, std::shared_ptr<QWDatabaseObject>>) {
      const std::shared_ptr<QWDatabaseObject> former = member;
      edit(property.key, [&] { member = std::forward<V>(value); });
      if (former && property.kind == qw::PropertyKind::kOwned) former->deleteObject();
    } else {
      edit(property.key, [&] { member = std::forward<V>(value); });
    }
    return true;
  }

  // For the store.
  /// Where the object stands against its row.
  qw::RowState& rowState() { return row_; }
  /// The same, to look at.
  const qw::RowState& rowState() const { return row_; }
  /// Whether it is among some parent's children.
  bool isPlaced() const { return place_ != nullptr; }
  /// Binds the values of all columns.
  void bindColumns(qw::RowBinder& row) const;
  /// An object of no store with the values that the columns have now.
  std::shared_ptr<QWDatabaseObject> copyOfColumns() const;
  /// A change that was computed and not run yet is told before an edit.
  void expectPendingChange(QWDatabaseChange& change);
  /// The change is not pending any more.
  void forgetPendingChange(const QWDatabaseChange& change);
  /// Whether the file has a row of the object, or will when a change that was computed is run.
  bool mayHaveRow() const { return row_.rowID() > 0 || (rare_ && rare_->pendingChange); }
  /// Before a value changes that is written to the file.
  void willModify() {
    if (rare_ && rare_->pendingChange) capturePendingChange();
  }
  /// Of a copied object: what was set in it until now is nothing to be committed.
  void forgetWhatWasSet() {
    if (rare_) rare_->edited.clear();
  }
  /// Nobody observes the "index" any more.
  void forgetIndexObserver() { indexIsObserved_ = false; }
  /// Keeps the columns of a value that could not be read, to be written as they are until the
  /// property is set.
  void keepUnread(const void* member, const qw::RowReader& row, std::span<const int> columns);
  /// Takes over the unread columns of the object that this is a copy of.
  void copyUnread(const QWDatabaseObject& source);

 private:
  friend class QWDatabaseManager;
  friend class qw::ChildList;

  static constexpr std::int64_t kNoDate = std::numeric_limits<std::int64_t>::min();
  static constexpr std::string_view kOrderKey = "order of children";

  /// The columns of a property as they stand in the file.
  using Columns = std::vector<std::shared_ptr<sqlite3_value>>;
  struct Unread {
    const qw::Property* property;
    Columns columns;
  };
  struct Rare {
    std::vector<Unread> unread;
    qw::Back<QWDatabaseObject> originalObject;
    /// On an object of a copied manager: the keys that were set since it was copied or last committed, and
    /// `kOrderKey` for another order of its children.
    std::vector<std::string_view> edited;
    std::vector<qw::Back<qw::Object>> referringParameters;
    QWDatabaseChange* pendingChange = nullptr;
  };

  /// Moves to the end of another parent's children; null takes it out of the present one's.
  bool moveToParent(const qw::Property& relation, QWDatabaseObject* parent);
  /// The property is set: what stood in its columns goes, undoably.
  bool dropUnread(const qw::Property& property);
  void setUnread(const qw::Property& property, Columns columns);
  /// The columns to write in the place of the property's value; null as a rule.
  const Columns* unread(const qw::Property& property) const;
  /// The manager's undo manager when it is recording.
  qw::UndoManager* recordingUndoManager() const;
  /// Whether undo removes the property with its object: an attribute of one that was created in the group
  /// that is open. Undo takes the object away whole, and redo brings it back as it was.
  bool isNewIn(const qw::UndoManager& undo, const qw::Property& property) const {
    return isNew_ && scope_ == undo.scope() && property.kind == qw::PropertyKind::kAttribute;
  }
  /// Around every change of a persisted value: a pending write keeps the old values, observers are notified.
  template <class Store>
  void edit(std::string_view key, Store store) {
    willModify();
    if (isObserved()) {
      qw::ChangeScope scope(*this, key);
      store();
      modified(key);
    } else {
      store();
      modified(key);
    }
  }
  void capturePendingChange();
  /// Counts the edit; a copy of a store also remembers what it changed.
  void modified(std::string_view key);
  void remember(std::string_view key);
  /// Stamps a saved object as modified now, unless that is an undo, which brings the former date back.
  void stamp();
  /// The row is to be written: queues the object and posts the notification. No edit by itself: a place that
  /// siblings give way for, or a link whose target was deleted, is not newer than what another copy has.
  void touch();
  /// Another order of its children is an edit of this object.
  void noteReorder();
  void attach(QWDatabaseManager& manager);
  void copyAttributes(const QWDatabaseObject& source);
  /// `recorded`: undoing it remembers the ID as deleted, if it was in a file.
  void registerCreation(bool recorded);
  // Undo actions: after an undone creation, and, when that was redone, before it is undone again.
  static void recordDeletion(qw::Object& self, const qw::Property*, const qw::Value&, std::int64_t);
  static void noteRecreation(qw::Object& self, const qw::Property*, const qw::Value&, std::int64_t);
  /// What a copy's work set here, and nothing else, in the object that this one was copied from.
  void commitProperties(QWDatabaseObject& original);
  void commitProperty(const qw::Property& property, QWDatabaseObject& original);
  void commitOrder(QWDatabaseObject& original);
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
  qw::RowState row_;
  std::int64_t lastModificationDate_ = kNoDate;  // microseconds
  std::unique_ptr<Rare> rare_;
  std::int64_t order_ = -1;     // number among the siblings, for the file
  void* place_ = nullptr;       // the list's own
  std::uint32_t scope_ = 0;     // of the undo manager: what `isNew_` and `isStamped_` hold for
  bool isNew_ : 1 = false;      // created in that scope
  bool isStamped_ : 1 = false;  // undoing that scope brings the modification date back
  bool deleted_ : 1 = false;
  bool beingImported_ : 1 = false;
  bool unplaced_ : 1 = false;  // the number is not between the neighbours'
  bool indexIsObserved_ : 1 = false;
};

#include "store/model/Attributes.h"  // IWYU pragma: export
