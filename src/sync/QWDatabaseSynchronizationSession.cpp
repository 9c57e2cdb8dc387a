#include "sync/QWDatabaseSynchronizationSession.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "platform/base/Log.h"
#include "platform/files/ZipArchive.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"
#include "platform/system/Localization.h"
#include "store/model/ClassSchema.h"
#include "values/text/QWStringAdditions.h"

constinit const qw::Class QWDatabaseSynchronizationSession::kClass =
    qw::define<QWDatabaseSynchronizationSession, qw::Object>("QWDatabaseSynchronizationSession", {}, [] {
      using Session = QWDatabaseSynchronizationSession;
      return qw::properties(
          qw::property<&Session::currentStep_>("currentStep"), qw::derived<&Session::isCanceled>("canceled"),
          qw::derived<&Session::otherIcon>("otherIcon"), qw::derived<&Session::progress>("progress"),
          qw::derived<&Session::maxProgress>("maxProgress"));
    });

namespace {

using ObjectPointer = std::shared_ptr<QWDatabaseObject>;
using Change = QWSynchronizationChange;

void removeOldDirectories(const std::filesystem::path& directory) {
  const auto eldest = std::filesystem::file_time_type::clock::now() - std::chrono::hours(24);
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(directory, ignored)) {
    if (entry.path().filename().string().starts_with('.') || entry.last_write_time(ignored) >= eldest)
      continue;
    qw::Error error;
    if (!qw::FileManager::removeItem(entry.path(), &error))
      qw::Log::warning("Error cleaning old cache : {}", error.localizedDescription);
  }
}

bool failToOpen(qw::Error* error, const std::filesystem::path& path, const std::string& reason) {
  return qw::Error::set(error, QWDatabaseErrorDomain, 1,
                        fmt::format("Could not open database at URL : file://{}\n{}", path.string(), reason));
}

/// The store as it is at one moment, whoever has it open, with what a killed save left in it rolled back.
bool copyStore(const std::filesystem::path& from, const std::filesystem::path& to, qw::Error* error) {
  constexpr int kBusyTimeout = 5000;  // milliseconds
  sqlite3* source = nullptr;
  sqlite3* target = nullptr;
  std::string reason;
  int result = sqlite3_open_v2(from.c_str(), &source, SQLITE_OPEN_READWRITE, nullptr);
  if (result == SQLITE_OK) {
    sqlite3_busy_timeout(source, kBusyTimeout);
    result = sqlite3_open_v2(to.c_str(), &target, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  }
  if (result == SQLITE_OK) {
    sqlite3_exec(target, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    if (sqlite3_backup* backup = sqlite3_backup_init(target, "main", source, "main")) {
      sqlite3_backup_step(backup, -1);
      result = sqlite3_backup_finish(backup);
    } else {
      result = sqlite3_errcode(target);
    }
  }
  if (result != SQLITE_OK) reason = sqlite3_errstr(result);
  sqlite3_close(target);
  sqlite3_close(source);
  return result == SQLITE_OK || failToOpen(error, from, reason);
}

}  // namespace

QWDatabaseSynchronizationSession::QWDatabaseSynchronizationSession() = default;

std::shared_ptr<QWDatabaseSynchronizationSession> QWDatabaseSynchronizationSession::create(
    std::shared_ptr<QWDatabaseManager> manager, std::filesystem::path otherDatabaseURL) {
  static std::uint64_t cleaned = ~std::uint64_t{0};  // once in each application context
  if (std::exchange(cleaned, qw::ApplicationContext::generation()) != qw::ApplicationContext::generation())
    removeOldDirectories(tempDirectory());
  auto session = qw::make<QWDatabaseSynchronizationSession>();
  session->original_ = std::move(manager);
  session->otherURL_ = std::move(otherDatabaseURL);
  session->workingDirectory_ = tempDirectory() / QWStringAdditions::uniqueID();
  return session;
}

QWDatabaseSynchronizationSession::~QWDatabaseSynchronizationSession() {
  changes_.clear();
  other_.reset();
  qw::FileManager::removeItem(workingDirectory_);
}

std::filesystem::path QWDatabaseSynchronizationSession::tempDirectory() {
  return qw::FileManager::supportDirectory().value_or(std::filesystem::temp_directory_path()) /
         "Synchronization Sessions";
}

bool QWDatabaseSynchronizationSession::createOtherDatabaseManagerAndReturnError(qw::Error* error) {
  std::error_code failure;
  if (otherURL_.empty() || !std::filesystem::exists(otherURL_, failure)) return false;
  if (original_->isReadOnly())
    return qw::Error::set(error, QWDatabaseErrorDomain, 1,
                          qw::Localization::frameworkString("Synchronization.ReadOnly"));
  std::filesystem::create_directories(workingDirectory_, failure);
  if (failure) return failToOpen(error, workingDirectory_, failure.message());
  std::string extension = otherURL_.extension().string();
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  if (extension != ".zip") {
    const auto path = workingDirectory_ / otherURL_.filename();
    return copyStore(otherURL_, path, error) && openOther(path, error);
  }
  const auto files = qw::ZipArchive::unzipFileAtPath(otherURL_, workingDirectory_, {}, error);
  if (!files) return false;
  if (files->empty())
    return qw::Error::set(error, qw::FileManager::kErrorDomain, qw::FileManager::kArchiveEmpty,
                          qw::Localization::frameworkString("Archive.Empty"));
  return openOther(files->front(), error);
}

bool QWDatabaseSynchronizationSession::openOther(const std::filesystem::path& path, qw::Error* error) {
  std::error_code failure;
  if (std::filesystem::file_size(path, failure) == 0 || failure)  // it would be filled as a new store
    return failToOpen(error, otherURL_, failure ? failure.message() : sqlite3_errstr(SQLITE_NOTADB));
  qw::Error reason;
  auto other = original_->openAnother(path, {.access = QWDatabaseManager::Access::kForeign}, &reason);
  if (!other) {
    // The user knows the file that was given, not where it was copied to.
    std::string& text = reason.localizedDescription;
    if (const auto at = text.find(path.string()); at != text.npos)
      text.replace(at, path.string().size(), otherURL_.string());
    return qw::Error::set(error, reason.domain, reason.code, text);
  }
  // What is written into it, so that later steps find it, is never undone.
  if (qw::UndoManager* undo = other->undoManager()) undo->disableUndoRegistration();
  const auto *root = original_->rootObject(), *otherRoot = other->rootObject();
  if (!root != !otherRoot || (root && root->ID() != otherRoot->ID()))
    return qw::Error::set(
        error, QWDatabaseErrorDomain, 1,
        qw::Localization::frameworkFormat("Synchronization.NotACopy", {otherURL_.filename().string()}));
  other_ = std::move(other);
  return true;
}

void QWDatabaseSynchronizationSession::prepareSynchronization() {
  changes_.clear();
  {
    const qw::UndoRegistrationDisabled scope(original_->undoManager());
    original_->prepareSynchronization(currentStep_, *other_);
  }
  copy_ = original_->copy();
}

/// One run through the objects of a step.
class QWDatabaseSynchronizationSession::Comparer {
 public:
  explicit Comparer(QWDatabaseSynchronizationSession& session)
      : session_(session), mine_(*session.copy_), theirs_(*session.other_) {}

  Groups run() {
    const auto mine = mine_.synchronizingObjectIDsForStep(session_.currentStep_);
    const auto theirs = theirs_.synchronizingObjectIDsForStep(session_.currentStep_);
    session_.progress_ = 0;
    session_.maxProgress_ = mine.size() + theirs.size();
    collectOwned(mine_);
    collectOwned(theirs_);
    for (const qw::ObjectID& id : mine) {
      if (session_.isCanceled()) break;
      if (const ObjectPointer local = mine_.objectWithID(id)) compareLocal(local);
      ++session_.progress_;
    }
    for (const qw::ObjectID& id : theirs) {
      if (session_.isCanceled()) break;
      if (!mine_.objectWithID(id)) lookAtMissing(theirs_.objectWithID(id));
      ++session_.progress_;
    }
    proposeMissing();
    return std::move(groups_);
  }

 private:
  /// An object that is only there, and its place among the others.
  struct Missing {
    ObjectPointer remote;
    std::int32_t priority;
    std::size_t parentRank;
    std::int64_t index;
  };

  /// Owned objects come and go with their owners.
  void collectOwned(const QWDatabaseManager& manager) {
    manager.objects().forEach([&](const ObjectPointer& object) {
      for (const auto& entry : qw::ClassSchema::of(object->objectClass()).owned())
        if (const auto target = entry.storage->relation->target(*object)) owned_.insert(target.get());
    });
  }
  bool comesAndGoes(const QWDatabaseObject& object) const {
    return &object != mine_.rootObject() && &object != theirs_.rootObject() && !owned_.contains(&object) &&
           object.shouldCreateIfMissing();
  }
  /// Whether the object's parent has to be there first.
  static bool lacksParent(const QWDatabaseObject& object, const QWDatabaseManager& manager) {
    const auto parent = object.synchronizationParentID();
    return parent && !manager.objectWithID(*parent);
  }

  void addGroup(const QWDatabaseObject& object, std::vector<std::shared_ptr<Change>> changes) {
    groups_.push_back(
        std::make_shared<Group>(object.synchronizationDescription(), std::move(changes), object.ID()));
  }

  static std::shared_ptr<Change> proposal(const char* value, const char* otherValue, bool keepOther) {
    auto change = std::make_shared<Change>("");
    change->show(qw::Localization::frameworkString(value), qw::Localization::frameworkString(otherValue));
    change->keepOther = keepOther;
    return change;
  }

  void compareLocal(const ObjectPointer& local) {
    const ObjectPointer remote = theirs_.objectWithID(local->ID());
    if (!remote) return proposeLocal(local);
    // The same ID for something else is a fault of the other file.
    if (&local->objectClass() != &remote->objectClass()) return;
    if (!local->shouldSynchronizeProperties() && !remote->shouldSynchronizeProperties()) return;
    auto changes = local->compareWithObject(*remote);
    if (changes.empty()) return;
    const auto date = local->lastModificationDate(), otherDate = remote->lastModificationDate();
    const bool keepOther = !date || (otherDate && *date < *otherDate);
    for (const auto& change : changes) change->keepOther = keepOther;
    addGroup(*local, std::move(changes));
  }

  void proposeLocal(const ObjectPointer& local) {
    if (!comesAndGoes(*local) || lacksParent(*local, theirs_)) return;
    auto change = theirs_.isObjectDeleted(local->ID()) ? proposal("CancelDeletion", "Deleted", true)
                                                       : proposal("Created", "CancelCreation", false);
    change->otherBlock = [weak = weakSession(), local] {
      if (const auto session = weak.lock()) session->takeDeletion(*local);
    };
    addGroup(*local, {std::move(change)});
  }

  void lookAtMissing(const ObjectPointer& remote) {
    if (!remote || !comesAndGoes(*remote) || lacksParent(*remote, mine_)) return;
    Missing missing{remote, remote->objectClass().synchronizationPriority(), 0, remote->index()};
    for (const auto& entry : qw::ClassSchema::of(remote->objectClass()).parents())
      if (const auto parent = entry.storage->relation->target(*remote))
        missing.parentRank = ranks_.try_emplace(parent.get(), ranks_.size() + 1).first->second;
    missing_.push_back(std::move(missing));
  }

  /// Parents before their children and these in their order: so each finds its place beside the one before.
  void proposeMissing() {
    const auto key = [](const Missing& missing) {
      return std::tuple(missing.priority, missing.parentRank, missing.index);
    };
    std::stable_sort(missing_.begin(), missing_.end(),
                     [&](const Missing& a, const Missing& b) { return key(a) < key(b); });
    for (const Missing& missing : missing_) {
      const ObjectPointer& remote = missing.remote;
      auto change = mine_.isObjectDeleted(remote->ID()) ? proposal("Deleted", "CancelDeletion", false)
                                                        : proposal("CancelCreation", "Created", true);
      change->block = [weak = weakSession(), id = remote->ID()] {
        if (const auto session = weak.lock()) session->original_->addDeletedID(id);
      };
      change->otherBlock = [weak = weakSession(), remote] {
        if (const auto session = weak.lock()) remote->importInDatabaseManager(*session->original_);
      };
      addGroup(*remote, {std::move(change)});
    }
  }

  std::weak_ptr<QWDatabaseSynchronizationSession> weakSession() {
    return session_.sharedAs<QWDatabaseSynchronizationSession>();
  }

  QWDatabaseSynchronizationSession& session_;
  QWDatabaseManager& mine_;
  QWDatabaseManager& theirs_;
  Groups groups_;
  std::unordered_set<const QWDatabaseObject*> owned_;
  std::unordered_map<const QWDatabaseObject*, std::size_t> ranks_;
  std::vector<Missing> missing_;
};

void QWDatabaseSynchronizationSession::computeChanges() { changes_ = Comparer(*this).run(); }

void QWDatabaseSynchronizationSession::takeDeletion(const QWDatabaseObject& local) {
  const auto object = local.originalObject();
  if (!object || object->isDeleted()) return;
  {
    const QWDatabaseObject::ImportScope scope(*object);
    object->deleteObject();
  }
  deletions_.push_back(object);
}

/// What the other side still has does not go with a parent that it deleted: it moves where it is there.
void QWDatabaseSynchronizationSession::rescueChildrenOf(QWDatabaseObject& deleted) {
  for (const auto& entry : qw::ClassSchema::of(deleted.objectClass()).children()) {
    const auto children = entry.storage->relation->list(deleted).toVector();
    for (const auto& child : children) {
      const auto remote = child->isDeleted() ? nullptr : other_->objectWithID(child->ID());
      bool isPlaced = false;
      if (remote && &remote->objectClass() == &child->objectClass())
        for (const auto& parent : qw::ClassSchema::of(remote->objectClass()).parents()) {
          const auto there = parent.storage->relation->target(*remote);
          const auto here = there ? original_->objectWithID(there->ID()) : nullptr;
          if (here)
            isPlaced = original_->placeObject(
                *child, *parent.property, here,
                &there->objectClass().property(parent.property->inverse)->storage->relation->list(*there));
        }
      if (!isPlaced) rescueChildrenOf(*child);
    }
  }
}

void QWDatabaseSynchronizationSession::applyChanges() {
  qw::UndoManager* undo = original_->undoManager();
  const std::uint64_t before = undo ? (undo->endEventGroup(), undo->lastGroup()) : 0;
  if (undo && !undo->reopenGroup(undoGroup_)) undo->beginUndoGrouping();

  for (const auto& group : changes_) {
    for (const auto& change : group->changes) change->applyChoice();
  }
  for (const auto& deleted : std::exchange(deletions_, {})) rescueChildrenOf(*deleted);
  original_->removeAllObjectRequests();

  if (!undo) return;
  undo->setActionName(qw::Localization::frameworkString("Synchronization"));
  undo->endUndoGrouping();
  if (undo->lastGroup() != before) undoGroup_ = undo->lastGroup();
}

void QWDatabaseSynchronizationSession::takeBack() {
  qw::UndoManager* undo = original_->undoManager();
  if (!undo) return;
  undo->endEventGroup();
  if (!undo->reopenGroup(std::exchange(undoGroup_, 0))) return;
  undo->undoNestedGroup();
  undo->endUndoGrouping();
}
