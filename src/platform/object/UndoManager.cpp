#include "platform/object/UndoManager.h"

#include <algorithm>
#include <cassert>

#include "platform/loop/RunLoop.h"

namespace qw {

namespace {

/// A closure as the argument of a record.
class Closure final : public ExtensionValue {
 public:
  explicit Closure(std::function<void()> run) : run(std::move(run)) {}
  bool isEqual(const ExtensionValue& other) const override { return this == &other; }
  std::size_t hash() const override { return 0; }
  int compare(const ExtensionValue&) const override { return 0; }
  std::string description() const override { return "closure"; }

  std::function<void()> run;
};

}  // namespace

UndoManager::UndoManager() = default;
UndoManager::~UndoManager() = default;

void UndoManager::registerRestore(Object& target, const Property& property, Value oldValue) {
  add(target, nullptr, &property, std::move(oldValue), 0);
}

void UndoManager::registerAction(Object& target, Action action, const Property* property, Value argument,
                                 std::int64_t number) {
  add(target, action, property, std::move(argument), number);
}

void UndoManager::registerUndo(Object& target, std::function<void()> closure) {
  const Action run = [](Object&, const Property*, const Value& argument, std::int64_t) {
    static_cast<const Closure&>(*argument.extension()).run();
  };
  add(target, run, nullptr,
      Value(std::shared_ptr<const ExtensionValue>(std::make_shared<Closure>(std::move(closure)))), 0);
}

void UndoManager::add(Object& target, Action action, const Property* property, Value argument,
                      std::int64_t number) {
  if (disabled_) return;
  if (openGroups_.empty()) {
    assert(groupsByEvent_ && "an action outside of any group");
    beginUndoGrouping();
    eventGroupOpen_ = true;
    RunLoop::current().atEndOfPass([this, alive = std::weak_ptr<int>(alive_)] {
      if (!alive.expired()) endEventGroup();
    });
  }
  current_.records.push_back({target.weak_from_this(), action, property, std::move(argument), number});
}

bool UndoManager::canUndo() const { return !undo_.empty() || (eventGroupOpen_ && !current_.records.empty()); }

void UndoManager::beginUndoGrouping() {
  changeScope();
  openGroups_.push_back(current_.records.size());
}

void UndoManager::endUndoGrouping() {
  assert(!openGroups_.empty());
  changeScope();
  openGroups_.pop_back();
  if (!openGroups_.empty() || current_.records.empty()) {
    if (openGroups_.empty()) current_.name.clear();
    return;
  }
  if (state_ == State::kIdle) redo_.clear();
  current_.number = ++lastNumber_;
  (state_ == State::kUndoing ? redo_ : undo_).push_back(std::move(current_));
  current_ = {};
  trim();
}

void UndoManager::endEventGroup() {
  if (!eventGroupOpen_ || openGroups_.size() != 1) return;
  eventGroupOpen_ = false;
  endUndoGrouping();
}

bool UndoManager::reopenGroup(std::uint64_t number) {
  if (number == 0 || number != lastGroup() || !openGroups_.empty()) return false;
  current_ = std::move(undo_.back());
  undo_.pop_back();
  beginUndoGrouping();
  openGroups_.back() = 0;
  return true;
}

void UndoManager::undoNestedGroup() {
  assert(!openGroups_.empty());
  const std::size_t from = openGroups_.back();
  changeScope();
  disableUndoRegistration();
  const State before = std::exchange(state_, State::kUndoing);
  if (listener_) listener_->undoManagerWillPerform(*this);
  performReversed(current_.records, from);
  if (listener_) listener_->undoManagerDidPerform(*this);
  state_ = before;
  enableUndoRegistration();
}

void UndoManager::undo() {
  endEventGroup();
  perform(undo_, State::kUndoing);
}

void UndoManager::redo() {
  endEventGroup();
  perform(redo_, State::kRedoing);
}

void UndoManager::perform(std::vector<Group>& from, State state) {
  assert(openGroups_.empty() && "a group is still open");
  if (state_ != State::kIdle || !openGroups_.empty() || from.empty()) return;
  // What a listener settles beforehand belongs to the group that is taken back, not to a new one.
  disableUndoRegistration();
  if (listener_) listener_->undoManagerWillPerform(*this);
  enableUndoRegistration();
  Group group = std::move(from.back());
  from.pop_back();
  state_ = state;
  beginUndoGrouping();
  current_.name = group.name;
  performReversed(group.records, 0);
  if (listener_) listener_->undoManagerDidPerform(*this);
  endUndoGrouping();
  state_ = State::kIdle;
}

void UndoManager::performReversed(std::vector<Record>& records, std::size_t from) {
  while (records.size() > from) {
    Record record = std::move(records.back());
    records.pop_back();
    const std::shared_ptr<Object> target = record.target.lock();
    if (!target) continue;
    if (record.action)
      record.action(*target, record.property, record.argument, record.number);
    else
      record.property->restore(*target, record.argument);
  }
}

void UndoManager::setActionName(std::string name) {
  if (!openGroups_.empty())
    current_.name = std::move(name);
  else if (!undo_.empty())
    undo_.back().name = std::move(name);
}

std::string UndoManager::undoActionName() const {
  if (eventGroupOpen_ && !current_.records.empty()) return current_.name;
  return undo_.empty() ? std::string() : undo_.back().name;
}

std::string UndoManager::redoActionName() const { return redo_.empty() ? std::string() : redo_.back().name; }

void UndoManager::setLevelsOfUndo(std::size_t levels) {
  levels_ = levels;
  trim();
}

void UndoManager::trim() {
  if (!levels_) return;
  for (auto* stack : {&undo_, &redo_})
    if (stack->size() > levels_)
      stack->erase(stack->begin(), stack->begin() + static_cast<std::ptrdiff_t>(stack->size() - levels_));
}

void UndoManager::removeAllActions() {
  undo_.clear();
  redo_.clear();
  current_.records.clear();
  changeScope();
  for (std::size_t& begin : openGroups_) begin = 0;
}

void UndoManager::removeAllActionsWithTarget(const Object& target) {
  const auto isTarget = [&](const Record& record) { return record.target.lock().get() == &target; };
  for (auto* stack : {&undo_, &redo_}) {
    for (Group& group : *stack) std::erase_if(group.records, isTarget);
    std::erase_if(*stack, [](const Group& group) { return group.records.empty(); });
  }
  if (openGroups_.size() == 1) std::erase_if(current_.records, isTarget);
}

}  // namespace qw
