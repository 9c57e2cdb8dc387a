#include "store/model/internal/EditLog.h"

#include <algorithm>
#include <unordered_map>

#include "platform/loop/RunLoop.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"

namespace qw {

/// Objects by what they refer to or own. Entries are never taken out: a link is looked at before it counts.
class EditLog::Referrers {
 public:
  explicit Referrers(const QWRequestsMap& objects) : bound_(2 * objects.count() + 1000) {
    objects.forEach([this](const std::shared_ptr<QWDatabaseObject>& object) { add(*object); });
  }

  void add(QWDatabaseObject& object) {
    eachLink(object, [&](const QWDatabaseObject* target) {
      auto& named = byTarget_[target];
      if (!named.empty() && named.back() == &object) return;
      named.push_back(&object);
      ++size_;
    });
  }
  /// So much of it may be out of date that a new one is cheaper.
  bool isWorn() const { return size_ > bound_; }

  template <class Visit>
  void visit(const QWDatabaseObject& target, Visit visit) const {
    const auto found = byTarget_.find(&target);
    if (found == byTarget_.end()) return;
    for (QWDatabaseObject* object : found->second) {
      bool names = false;
      eachLink(*object, [&](const QWDatabaseObject* link) { names = names || link == &target; });
      if (names) visit(*object);
    }
  }

 private:
  template <class Visit>
  static void eachLink(const QWDatabaseObject& object, Visit visit) {
    const ClassSchema& schema = ClassSchema::of(object.objectClass());
    for (const auto* entries : {&schema.references(), &schema.owned()})
      for (const auto& entry : *entries)
        if (const auto target = entry.storage->relation->target(object)) visit(target.get());
  }

  std::unordered_map<const QWDatabaseObject*, std::vector<QWDatabaseObject*>> byTarget_;
  std::size_t size_ = 0;
  std::size_t bound_;
};

bool EditLog::canBeNamed(const Class& c) const {
  const auto classes = manager_.modelClasses();
  return std::any_of(classes.begin(), classes.end(), [&](const Class* other) {
    const ClassSchema& schema = ClassSchema::of(*other);
    const auto names = [&](const auto& entry) {
      return c.isSubclassOf(entry.storage->relation->targetClass());
    };
    return std::any_of(schema.references().begin(), schema.references().end(), names) ||
           std::any_of(schema.owned().begin(), schema.owned().end(), names);
  });
}

void EditLog::touchRowsThatName() {
  if (referrers_)
    for (const auto& object : unsaved_)
      if (object->rowState().isRegistered()) referrers_->add(*object);
  if (referrers_ && referrers_->isWorn()) referrers_.reset();
  // The links stay as they are; an undone deletion finds them again.
  const auto targets = std::exchange(renamed_, {});
  const auto touch = [this](QWDatabaseObject& object) {
    if (object.isDeleted() || !object.rowState().isRegistered()) return;
    object.willModify();
    object.rowState().force();
    queue(object);
    manager_.objectsChanged();
  };
  std::unordered_map<const Class*, bool> named;
  for (const auto& target : targets) {
    const auto [can, isNew] = named.try_emplace(&target->objectClass());
    if (isNew) can->second = canBeNamed(target->objectClass());
    for (const auto& entry : ClassSchema::of(target->objectClass()).children())
      for (const auto& child : entry.storage->relation->list(*target).objects()) touch(*child);
    if (!can->second) continue;
    if (!referrers_) referrers_ = std::make_unique<Referrers>(manager_.objects());
    referrers_->visit(*target, touch);
  }
}

EditLog::EditLog(QWDatabaseManager& manager) : manager_(manager) {}

EditLog::~EditLog() = default;

void EditLog::queue(QWDatabaseObject& object) {
  manager_.assertOwningThread();
  if (object.rowState().queue()) unsaved_.push_back(object.sharedAs<QWDatabaseObject>());
}

void EditLog::noteRenamed(QWDatabaseObject& object) {
  renamed_.push_back(object.sharedAs<QWDatabaseObject>());
}

void EditLog::forgetReferrers() { referrers_.reset(); }

void EditLog::dropUnregistered() {
  std::erase_if(unsaved_, [](const auto& object) { return !object->rowState().isRegistered(); });
}

void EditLog::forgetAll() {
  for (const auto& object : std::exchange(unsaved_, {})) {
    object->rowState().unqueue();
    object->forgetWhatWasSet();
  }
}

std::uint32_t EditLog::beginComputation() {
  numberChildren();
  return ++computations_;
}

RowWrite EditLog::take(std::shared_ptr<QWDatabaseObject> object, std::uint32_t computation) {
  RowState& state = object->rowState();
  const bool deleted = object->isDeleted();
  RowWrite write{std::move(object), state, computation};
  write.kind = state.take(deleted);
  write.isPlaced = write.object->isPlaced();
  return write;
}

std::vector<RowWrite> EditLog::takeAll() {
  settle();
  const std::uint32_t computation = beginComputation();
  touchRowsThatName();
  std::vector<RowWrite> rows;
  rows.reserve(unsaved_.size());
  for (auto& object : std::exchange(unsaved_, {})) {
    object->rowState().unqueue();
    if (!object->rowState().isRegistered()) continue;
    if (RowWrite write = take(std::move(object), computation)) rows.push_back(std::move(write));
  }
  const auto inOrder = [](const RowWrite& a, const RowWrite& b) {
    const bool deletes = a.kind == RowWrite::Kind::kDelete;
    return deletes != (b.kind == RowWrite::Kind::kDelete) ? deletes : a.former.rowID() > b.former.rowID();
  };
  if (!std::is_sorted(rows.begin(), rows.end(), inOrder)) std::stable_sort(rows.begin(), rows.end(), inOrder);
  return rows;
}

void EditLog::revert(const RowWrite& write, bool committed) {
  write.object->rowState().revert(write.kind, write.former, committed);
  queue(*write.object);
}

void EditLog::noteEditedList(QWDatabaseObject& owner, ChildList& list) {
  editedLists_.emplace_back(owner.sharedAs<QWDatabaseObject>(), &list);
}

void EditLog::numberChildren() {
  for (std::size_t i = 0; i < editedLists_.size(); ++i) editedLists_[i].second->number();
}

void EditLog::forgetWrittenNumbers() {
  std::erase_if(editedLists_, [](const auto& edited) { return edited.second->forgetWrittenNumbers(); });
}

void EditLog::forgetLists() {
  for (const auto& [owner, list] : std::exchange(editedLists_, {})) list->forgetEdits();
}

void EditLog::observeIndex(QWDatabaseObject& object) {
  observedIndexes_.emplace_back(Back<QWDatabaseObject>(&object), object.index());
}

void EditLog::indexesChanged() {
  if (observedIndexes_.empty() || settlesAtEndOfPass_) return;
  settlesAtEndOfPass_ = true;
  RunLoop::current().atEndOfPass([this, weak = std::weak_ptr(manager_.sharedAs<QWDatabaseManager>())] {
    const auto manager = weak.lock();
    if (!manager) return;
    settlesAtEndOfPass_ = false;
    settle();
  });
}

void EditLog::settle() {
  struct Moved {
    std::shared_ptr<QWDatabaseObject> object;
    std::int64_t from, to;
  };
  std::vector<Moved> moved;
  std::erase_if(observedIndexes_, [&](auto& observed) {
    const auto object = observed.first.lock();
    if (!object) return true;
    if (!object->isObserved("index")) {
      object->forgetIndexObserver();
      return true;
    }
    const std::int64_t index = object->index();
    const std::int64_t told = std::exchange(observed.second, index);
    if (told != index) moved.push_back({object, told, index});
    return false;
  });
  for (const auto& [object, from, to] : moved)
    object->didChange({Change::Kind::kSetting, "index", from, to, {}});
}

}  // namespace qw
