#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/base/Registration.h"
#include "platform/loop/NotificationCenter.h"
#include "platform/loop/OperationQueue.h"
#include "platform/object/UndoManager.h"
#include "store/columns/SynchronizationDocument.h"
#include "store/columns/SynchronizationHandling.h"
#include "store/model/QWDatabaseChange.h"
#include "store/model/QWDatabaseObject.h"
#include "store/model/QWDatabaseOperation.h"
#include "store/model/QWDatabaseQuery.h"
#include "store/model/QWDatabaseResultSet.h"
#include "store/model/QWRequestsMap.h"
#include "values/collections/QWCountedSet.h"

namespace qw {
class SynchronizationQueue;
}

/// Domain of the store's errors. 1: opening, creating or upgrading failed; 2: invalid query; 3: execution
/// failed; 4: saving failed, the messages joined by "\n".
inline constexpr std::string_view QWDatabaseErrorDomain = "QWDatabaseErrorDomain";

/// Posted, when idle, with the manager as sender, after objects of the store changed.
inline constexpr qw::NotificationName QWDatabaseManagerObjectsDidChangeNotification =
    "QWDatabaseManagerObjectsDidChangeNotification";

/// Owns one store file: the SQLite connection, the registry of live objects by ID, deletions, undo, saving.
/// An application subclasses it, names its root object's class and its model classes, and opens a file with
/// `QWDatabaseManager::open`. Owned by the application's document; belongs with everything in it to the
/// thread that opened it, normally the main one, which debug builds assert. Operations that fail answer false
/// or null, fill the optional error, and leave file and objects as they were.
class QW_EXPORT QWDatabaseManager : public qw::Object, private qw::UndoManager::Listener {
 public:
  static const qw::Class kClass;

  /// What may be done with the file, and whether it is trusted.
  enum class Access : std::uint8_t {
    kReadWrite,
    kReadOnly,
    /// A file of foreign origin: it is checked for damage first, its schema is not trusted.
    kForeign,
    kForeignReadOnly
  };
  /// How a file is opened.
  struct OpenOptions {
    /// Any object that represents the document; only whether there is one matters to the store.
    std::shared_ptr<qw::Object> document{};
    /// Read and write unless said otherwise.
    Access access = Access::kReadWrite;
    /// Deletes the file when the manager is destroyed.
    bool deleteOnDealloc = false;
    /// How long to wait for another connection that has the file locked, when opening and when saving.
    std::chrono::milliseconds busyTimeout{5000};
    /// Asked now and then while the file is opened and read, on the thread that opens it; true ends that with
    /// an error. A foreign file also may not take much longer than one of its size has reason to.
    std::function<bool()> shouldCancel{};
  };

  QWDatabaseManager();
  ~QWDatabaseManager() override;

  /// Opens the file, or makes a new store where there is none. Null with the error set when that fails; a
  /// file that was there is then as before, one that was not is not left behind.
  template <class Manager>
  [[nodiscard]] static std::shared_ptr<Manager> open(const std::filesystem::path& URL,
                                                     const OpenOptions& options, qw::Error* error = nullptr) {
    auto manager = qw::make<Manager>();
    manager->makeAnother_ = [] { return std::shared_ptr<QWDatabaseManager>(qw::make<Manager>()); };
    return manager->initWithURL(URL, options, error) ? manager : nullptr;
  }
  /// The same with the usual options.
  template <class Manager>
  [[nodiscard]] static std::shared_ptr<Manager> open(const std::filesystem::path& URL,
                                                     qw::Error* error = nullptr) {
    return open<Manager>(URL, OpenOptions(), error);
  }
  /// A manager of the same class as this one.
  [[nodiscard]] std::shared_ptr<QWDatabaseManager> openAnother(const std::filesystem::path& URL,
                                                               const OpenOptions& options,
                                                               qw::Error* error = nullptr) const;
  /// A detached copy: own objects with the same IDs, no connection; knows this manager as its original.
  std::shared_ptr<QWDatabaseManager> copy() const;

  /// False while the store is being opened or old data is imported.
  bool isLoaded() const { return loaded_; }
  /// Whether nothing can be saved: opened so, or the file may only be read.
  bool isReadOnly() const { return readOnly_; }
  /// Where the file is; of a copy, where that of the original is.
  const std::filesystem::path& URL() const { return url_; }
  /// What `OpenOptions` named; null once it is gone. Not owned.
  std::shared_ptr<qw::Object> document() const { return document_.lock(); }
  /// Null for a read-only store and for a copy.
  qw::UndoManager* undoManager() const { return undoManager_.get(); }
  /// What this is a copy of; null when it is none or the original is gone.
  std::shared_ptr<QWDatabaseManager> originalDatabaseManager() const { return originalManager_.lock(); }
  /// The object above all others; null before it is loaded.
  QWDatabaseObject* rootObject() const { return rootObject_.get(); }
  /// The root object as a `T`; null when it is none.
  template <class T>
  std::shared_ptr<T> rootObjectAs() const {
    return std::dynamic_pointer_cast<T>(rootObject_);
  }
  /// The IDs of deleted objects with the moment of their deletion.
  const std::unordered_map<qw::ObjectID, qw::Date>& deletedIDs() const { return deletedIDs_; }
  /// What a connection's statements are told to: the text of the last one, and whether all are logged.
  struct Trace {
    /// The SQL of the statement that ran last.
    std::string lastQuery;
    /// Whether every statement is logged.
    std::shared_ptr<std::atomic<bool>> logs = std::make_shared<std::atomic<bool>>(false);
  };
  /// Every object by its ID, deleted ones included as long as undo may need them.
  const QWRequestsMap& objects() const { return objects_; }
  /// The connection, owned by the manager; null for a copy.
  sqlite3* database() const { return database_; }
  /// The SQL of the statement that ran last, for error messages.
  const std::string& lastExecutedQuery() const { return trace_.lastQuery; }
  /// The handlers that the application declares as plug-ins, in order.
  const std::vector<std::shared_ptr<QWSynchronizationHandling>>& synchronizationHandlers() const {
    return synchronizationHandlers_;
  }
  /// Where operations on copies of this store run; made at first use.
  qw::OperationQueue& queue();

  // Statements.
  /// A compiled statement, from the cache where one of this SQL is free. Null with code 2 when it cannot be
  /// compiled.
  [[nodiscard]] std::shared_ptr<QWDatabaseQuery> prepareQuery(const std::string& sql,
                                                              qw::Error* error = nullptr);
  /// Resets a statement that is done with and keeps it for the next `prepareQuery` of its SQL.
  void addQueryToCache(const std::shared_ptr<QWDatabaseQuery>& query);
  /// The rows, the first of them not yet read. Null with code 3 when the statement cannot run, or no
  /// statement is given.
  [[nodiscard]] std::shared_ptr<QWDatabaseResultSet> executeQuery(
      const std::shared_ptr<QWDatabaseQuery>& query, qw::Error* error = nullptr);
  /// Runs a statement without rows and puts it into the cache. False with code 3 when it fails.
  [[nodiscard]] bool executeUpdate(const std::shared_ptr<QWDatabaseQuery>& query, qw::Error* error = nullptr);

  // Objects.
  /// A new object of class `T` in this store. A class without a `kClass` of its own, whose objects would be
  /// saved as its superclass's, is logged.
  template <class T>
  std::shared_ptr<T> create() {
    qw::checkClass<T>();
    auto object = qw::make<T>();
    object->initWithDatabaseManager(*this);
    return object;
  }
  /// Null when there is none, or it is deleted.
  std::shared_ptr<QWDatabaseObject> objectWithID(const qw::ObjectID& id) const;
  /// Those that there are and that are not deleted, in the order of the IDs.
  std::vector<std::shared_ptr<QWDatabaseObject>> objectsWithIDs(const std::vector<qw::ObjectID>& ids) const;
  /// Keeps the object under its ID and answers the requests for it. Another object of that ID gets a new one.
  void registerObject(QWDatabaseObject& object);
  /// Forgets the object, which is destroyed unless it has another owner.
  void unregisterObject(QWDatabaseObject& object);
  /// Whoever else has the ID gets a new one, undoably.
  void makeRoomFor(const QWDatabaseObject& object, const qw::ObjectID& id);
  /// Calls the block with the object once it is registered: at once when it is there or the ID is empty.
  void requestObjectWithID(const qw::ObjectID& id, QWRequestsMap::Request block);
  /// The same for an object that is not deleted: where a deleted one has the ID, the answer waits until the
  /// requests end. Null for none.
  void requestLiveObjectWithID(const qw::ObjectID& id, QWRequestsMap::Request block);
  /// Deletes the object when the requests end, unless its value at the key path is another one then.
  void requestParentPresenceForObject(QWDatabaseObject& object, std::string_view parentKeyPath);
  /// Answers pending requests with null, then performs the pending moves and checks.
  void removeAllObjectRequests();
  /// Puts an object among the children of another parent: where its counterpart stands among `siblings` in
  /// another store, or at the end. As long as the parent lies below the object the move waits until the
  /// requests end; if it still does then, the object stays where it was. An object is never left without a
  /// parent. False when the parent cannot have such children.
  bool placeObject(QWDatabaseObject& object, const qw::Property& parentProperty,
                   const std::shared_ptr<QWDatabaseObject>& parent, const qw::ChildList* siblings);

  /// A row of the file that nothing led to when the store was loaded: no parent, and no owner.
  struct UnreachableRow {
    /// Whose table the row is in.
    const qw::Class* objectClass;
    /// Of the object that the row describes.
    qw::ObjectID ID;
    /// The row's number.
    std::int64_t sqlID;
  };
  /// What the load left out. Such rows stay in the file.
  const std::vector<UnreachableRow>& unreachableRows() const { return unreachableRows_; }
  /// The object of such a row with all that lies below it. Give it a parent, or delete it. Null when the row
  /// is not there any more.
  std::shared_ptr<QWDatabaseObject> rescue(const UnreachableRow& row);

  // Deletions.
  /// Whether an object of this ID was deleted.
  bool isObjectDeleted(const qw::ObjectID& id) const { return deletedIDs_.contains(id); }
  /// Remembers an ID as deleted now.
  void addDeletedID(const qw::ObjectID& id);
  /// Remembers an ID as deleted at that date.
  void addDeletedID(const qw::ObjectID& id, qw::Date date);
  /// Forgets that the ID was deleted.
  void removeDeletedID(const qw::ObjectID& id);

  /// Whether edits set the modification date.
  bool shouldModifyLastModificationDates() const { return disableModifyLastModificationDatesCount_ == 0; }
  /// Runs the block; its edits leave modification dates as they are. Calls nest.
  void performBlockWithoutModifyingLastModificationDates(const std::function<void()>& block);

  /// The filters bar's state of that name, made when there is none.
  std::shared_ptr<QWDatabaseObject> filtersBarData(const std::string& name);
  /// The states of the filters bars by their name.
  const std::map<std::string, std::shared_ptr<QWDatabaseObject>>& filtersBarDatas() const {
    return filtersBarDatas_;
  }
  /// The typed values of that name for completion; null when there are none yet and the store is read-only or
  /// has no document.
  QWCountedSet* completionsSet(const std::string& name);

  /// True without a password, else when the text is the password.
  [[nodiscard]] bool checkPassword(std::string_view password) const;
  /// An empty text removes the protection. Only the SHA-1 is kept.
  void protectWithPassword(std::string_view password);
  /// The SHA-1 of the password; none without one. No protection of the file: it is not encrypted.
  const std::optional<std::string>& password() const { return password_; }

  /// Null when there is none.
  qw::Value valueForLocalParameter(const std::string& key) const;
  /// Keeps a value that has a JSON form in the file from the next save on; null removes it. Not undoable.
  void setValueForLocalParameter(const qw::Value& value, const std::string& key);

  /// Runs the block in the background on a copy of this store.
  std::shared_ptr<QWDatabaseOperation> addOperationWithBlock(QWDatabaseOperation::Block block);

  /// Until `finishImportingOldData` the store is not loaded.
  void prepareForImportingOldData() { loaded_ = false; }
  /// `didLoad`: also calls `dataDidLoad`, on the main thread.
  void finishImportingOldData(bool didLoad);

  /// An archive of an object with its children and owned objects; others are written as IDs. None with the
  /// error set when something in it cannot be archived.
  [[nodiscard]] std::optional<qw::Data> archivedDataWithRootObject(const std::shared_ptr<qw::Object>& object,
                                                                   qw::Error* error = nullptr);
  /// Makes the archived objects anew in this store, with new IDs, undoably. Null with the error set when the
  /// archive cannot be read.
  [[nodiscard]] std::shared_ptr<qw::Object> unarchiveObjectWithData(const qw::Data& data,
                                                                    qw::Error* error = nullptr);

  // Saving.
  /// In the order in which they are written.
  using Changes = std::vector<std::shared_ptr<QWDatabaseChange>>;
  /// A write for everything that differs from the file, in their order. The objects are clean from then on.
  Changes computeChanges();
  /// Runs the changes in one transaction. Changes that fail do not keep the others from being written; their
  /// objects stay unsaved. When the transaction itself cannot be committed nothing is written and every
  /// object stays unsaved.
  [[nodiscard]] bool saveChanges(const Changes& changes, qw::Error* error = nullptr);
  /// `computeChanges` and `saveChanges`.
  [[nodiscard]] bool save(qw::Error* error = nullptr);
  /// Also answers the bytes of the saved file, and, if asked to, hands a zipped copy to the active
  /// synchronization handlers. A store of more than `qw::FileManager::kMaximumContents` bytes is refused
  /// before anything is saved: `saveChangesAndCopyToURL` has no such limit.
  [[nodiscard]] std::optional<qw::Data> saveChanges(const Changes& changes,
                                                    bool processSynchronizationHandlers,
                                                    const std::string& displayName,
                                                    qw::Error* error = nullptr);
  /// Saves, then writes the saved file's bytes to another place, whole or not at all.
  [[nodiscard]] bool saveChangesAndCopyToURL(const Changes& changes, const std::filesystem::path& URL,
                                             bool processSynchronizationHandlers, qw::Error* error = nullptr);
  /// Merges what was done in a copy into the manager that it was copied from: new objects, the properties
  /// that were set, reordered children, deletions. Everything else stays as it is there now. An object that
  /// was deleted here stays if something that is not deleted here stands below it there by now.
  void commitChangesToOriginalDatabaseManager();

  // Synchronization.
  /// The handler whose class has that name; null for none.
  std::shared_ptr<QWSynchronizationHandling> synchronizationHandler(std::string_view description) const;
  /// Before a step is compared: in the last one, gives the filters bars the IDs that they have in the other
  /// store.
  void prepareSynchronization(int step, QWDatabaseManager& other);
  /// The IDs of the objects of the step's classes, by priority, then in the order of registration.
  std::vector<qw::ObjectID> synchronizingObjectIDsForStep(int step) const;

  // One synchronization after the other.
  /// Ends with one `dequeueSynchronizationBlock`.
  using SynchronizationBlock = std::function<void()>;
  /// Called with the controller once the run has started.
  using SynchronizationStartHandler = std::function<void(const std::shared_ptr<qw::SynchronizationRun>&)>;
  /// Runs the block when those before it have ended, at once if there are none. Every block ends with exactly
  /// one `dequeueSynchronizationBlock`.
  void enqueueSynchronizationBlock(SynchronizationBlock block);
  /// The block that runs has ended: runs the next one. Main thread.
  void dequeueSynchronizationBlock();
  /// Forgets what waits, cancels what runs, and switches the document-synchronization handlers off.
  void cancelPendingSynchronizations();
  /// Has the document synchronize this store with another file. In the foreground it is refused while another
  /// run goes on; in the background it waits for it. Either handler may be empty.
  void synchronizeWithDatabaseAtURL(const std::filesystem::path& URL, bool inBackground,
                                    std::optional<qw::Image> otherIcon,
                                    SynchronizationStartHandler startHandler,
                                    qw::SynchronizationDocument::Completion completionHandler);
  /// The controller of the run in progress; null when there is none.
  std::shared_ptr<qw::SynchronizationRun> synchronizationSessionController() const;

  // What a subclass says.
  /// The version of the model, dotted numbers. A file of a newer one is refused, of an older one upgraded.
  virtual std::string version() const { return "1.0"; }
  /// The class of the object above all others.
  virtual const qw::Class& rootObjectClass() const { return QWDatabaseObject::kClass; }
  /// Every class of the model, so that rows and archives find them by name.
  virtual std::vector<const qw::Class*> modelClasses() const { return {}; }
  /// Path of the SQL that makes the tables; empty to have them made from the property tables of
  /// `modelClasses`.
  virtual std::filesystem::path createStatementsFile() const { return {}; }
  /// Paths of the SQL that brings a store of an older version up to date. It runs inside a transaction;
  /// afterwards columns and tables that the model classes have and the file lacks are added.
  virtual std::vector<std::filesystem::path> updateStatementsFilesForVersion(const std::string&) const {
    return {};
  }
  /// Upgrades what SQL files cannot, inside the same transaction. False with the error set ends the upgrade.
  virtual bool executeCustomUpdateStatementsForVersion(const std::string&, qw::Error*) { return true; }
  /// At least 1.
  virtual int numberOfSynchronizationSteps() const { return 1; }
  /// -1: no bound.
  virtual std::int64_t maximumSynchronizationPriorityForStep(int) const { return -1; }

 protected:
  /// Reads the root object with everything below it, deletions, filters bars and handler states.
  virtual void loadData();
  /// Fills a new store.
  virtual void addInitialData() {}
  /// For programs that offer a store with examples; not called by the manager.
  virtual void addSampleData() {}
  /// Called on the main thread once the data of an existing store is loaded.
  virtual void dataDidLoad() {}

 private:
  friend class QWDatabaseChange;
  friend class QWDatabaseObject;
  friend class QWDatabaseResultSet;
  friend class qw::ChildList;
  friend class qw::Loader;

  /// A move that would have made a circle when it was chosen.
  struct WaitingMove {
    std::shared_ptr<QWDatabaseObject> object;
    const qw::Property* parentProperty;
    std::shared_ptr<QWDatabaseObject> parent;
    std::shared_ptr<QWDatabaseObject> siblingsOwner;  // keeps `siblings`
    const qw::ChildList* siblings;
  };

  bool initWithURL(const std::filesystem::path& URL, const OpenOptions& options, qw::Error* error);
  bool openConnection(const OpenOptions& options, qw::Error* error);
  /// Of a foreign file: that it is whole, and that its tables are tables.
  bool checkFile(qw::Error* error);
  bool loadStore(qw::Error* error);
  bool createStore(qw::Error* error);
  void makeInitialData();
  bool failToRead(qw::Error* error) const;
  void noteReadFailure();
  bool readMetadata(std::string& storedVersion, qw::Error* error);
  bool upgrade(const std::string& storedVersion, qw::Error* error);
  bool execute(const std::string& sql, const std::string& name, qw::Error* error);
  bool addMissingColumns(qw::Error* error);
  void makeSynchronizationHandlers();
  void initByCopyingDatabaseManager(const QWDatabaseManager& source);
  void loadSynchronizationHandlers();
  std::shared_ptr<QWDatabaseObject> makeFiltersBarData(QWDatabaseResultSet* row);
  /// The writes of the store's own rows.
  Changes ownChanges() const;
  /// The writes of all rows that differ from their objects, in order. The objects count as clean then.
  std::vector<qw::RowWrite> takeRowWrites();
  void takeOutOfCache(const std::shared_ptr<QWDatabaseQuery>& query);
  using Handlers = std::vector<std::shared_ptr<QWSynchronizationHandling>>;
  /// Saves, then hands over what was saved. False when it was not saved.
  bool saveAndHandOver(const Changes& changes, bool processSynchronizationHandlers,
                       const std::string& displayName, qw::Error* error);
  bool handOver(const std::vector<std::shared_ptr<QWSynchronizationHandling>>& handlers,
                const std::string& displayName, qw::Error* error);
  void close();

  void objectsChanged();
  void queueForSaving(QWDatabaseObject& object);
  void assertOwningThread() const;
  /// Rows that name the object by its ID are to be written: it has another one, or none while it is deleted.
  void nameChanged(QWDatabaseObject& object);
  void touchRowsThatName();
  /// Many at once, as they are loaded.
  void registerObjects(std::span<const std::shared_ptr<QWDatabaseObject>> objects);
  bool canBeNamed(const qw::Class& c) const;
  void reportUnreachable(std::unordered_set<const QWDatabaseObject*> alone,
                         std::span<const qw::RowWrite> rows) const;
  void commitDeletions(const std::vector<std::shared_ptr<QWDatabaseObject>>& deleted);
  /// Children moved: whoever observes an "index" hears of it at the end of the pass.
  void indexesChanged();
  /// Tells the observers of each "index" that is another one now.
  void settle();
  /// Gives children that moved their numbers for the file.
  void numberChildren();
  /// The same, and what is taken to be written then belongs to the computation that this answers.
  std::uint32_t beginComputation();
  void forgetWrittenNumbers();
  void performWaitingMoves();
  qw::SynchronizationQueue& synchronizationQueue();
  void undoManagerWillPerform(qw::UndoManager&) override { settle(); }
  void undoManagerDidPerform(qw::UndoManager&) override { settle(); }

  std::shared_ptr<QWDatabaseManager> (*makeAnother_)() = nullptr;  // of the same class
  bool loaded_ = false;
  std::thread::id thread_;  // none for a copy and for a foreign store, which go from one thread to another
  bool readOnly_ = false;
  bool deleteOnDealloc_ = false;
  std::filesystem::path url_;
  std::weak_ptr<qw::Object> document_;
  std::unique_ptr<qw::UndoManager> undoManager_;
  std::weak_ptr<QWDatabaseManager> originalManager_;
  std::shared_ptr<QWDatabaseObject> rootObject_;
  std::unordered_map<qw::ObjectID, qw::Date> deletedIDs_;
  std::map<std::string, std::shared_ptr<QWDatabaseObject>> filtersBarDatas_;
  std::optional<std::string> password_;
  std::vector<std::shared_ptr<QWSynchronizationHandling>> synchronizationHandlers_;
  sqlite3* database_ = nullptr;
  Trace trace_;
  qw::Registration logDefault_;
  std::unordered_map<std::string, std::vector<std::shared_ptr<QWDatabaseQuery>>> cachedQueries_;
  QWRequestsMap objects_;
  std::vector<std::function<void()>> afterRequests_;
  std::vector<WaitingMove> waitingMoves_;
  std::shared_ptr<qw::SynchronizationQueue> synchronizationQueue_;  // made when it is first asked for
  int disableModifyLastModificationDatesCount_ = 0;
  std::map<std::string, QWCountedSet> completionsSets_;
  qw::Dictionary localParameters_;
  std::unique_ptr<qw::OperationQueue> queue_;
  std::string readFailure_;  // the first one while the store is being opened

  std::vector<std::shared_ptr<QWDatabaseObject>> unsaved_;
  std::vector<std::pair<std::shared_ptr<QWDatabaseObject>, qw::ChildList*>> editedLists_;  // since a save
  std::uint32_t computations_ = 0;  // of what is to be saved
  std::vector<std::pair<qw::Back<QWDatabaseObject>, std::int64_t>> observedIndexes_;  // as last told
  bool settlesAtEndOfPass_ = false;
  std::vector<std::shared_ptr<QWDatabaseObject>> renamed_;  // since the last save
  std::vector<UnreachableRow> unreachableRows_;
  /// Which objects refer to, or own, another: made at the first save that has to know. It may name more.
  class Referrers;
  std::shared_ptr<Referrers> referrers_;
  std::vector<std::shared_ptr<QWDatabaseObject>>* decoded_ = nullptr;  // while an archive is read
};

template <class T>
template <class Child>
std::shared_ptr<Child> qw::Children<T>::create() {
  const auto parent = owner();
  QWDatabaseManager* manager = parent ? parent->databaseManager() : nullptr;
  if (!manager) return nullptr;
  auto child = manager->create<Child>();
  add(child);
  return child;
}
