#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

namespace qw {

/// Undo and redo as stacks of groups of actions. Whatever changes a model registers how to go back; while
/// going back, the same registrations become the way forward. Groups close by themselves at the end of each
/// pass of the run loop
/// (`groupsByEvent`), or are made by hand. Targets are held weakly: an action on a target that died does
/// nothing. Owned by its document, used on the main thread.
class QW_EXPORT UndoManager {
 public:
  UndoManager();
  ~UndoManager();
  UndoManager(const UndoManager&) = delete;
  UndoManager& operator=(const UndoManager&) = delete;

  /// `property.restore(target, oldValue)`: what a setter registers.
  void registerRestore(Object& target, const Property& property, Value oldValue);
  /// `action(target, property, argument, number)`, for relations and the like: no closure is made.
  using Action = void (*)(Object& target, const Property* property, const Value& argument,
                          std::int64_t number);
  void registerAction(Object& target, Action action, const Property* property = nullptr, Value argument = {},
                      std::int64_t number = 0);
  /// Any closure; `target` only decides whether it still runs and whether `removeAllActionsWithTarget` drops
  /// it.
  void registerUndo(Object& target, std::function<void()> closure);

  bool isUndoing() const { return state_ == State::kUndoing; }
  bool isRedoing() const { return state_ == State::kRedoing; }
  bool canUndo() const;
  bool canRedo() const { return !redo_.empty(); }
  /// Undoes the last group; an automatic group that is still open is closed first. Requires: no group open by
  /// hand.
  void undo();
  void redo();

  /// Groups nest; the outermost one is what one `undo` takes back. A group without actions leaves nothing.
  void beginUndoGrouping();
  void endUndoGrouping();
  int groupingLevel() const { return static_cast<int>(openGroups_.size()); }
  /// Differs from every earlier one as soon as a group began or ended: what was registered under the present
  /// one is taken back together with all that is registered under it. Never 0.
  std::uint32_t scope() const { return scope_; }
  /// Takes back and forgets what was registered since the innermost open group began. Requires: an open
  /// group.
  void undoNestedGroup();
  bool groupsByEvent() const { return groupsByEvent_; }
  void setGroupsByEvent(bool groups) { groupsByEvent_ = groups; }

  /// Calls nest. While disabled nothing is recorded.
  void disableUndoRegistration() { ++disabled_; }
  void enableUndoRegistration() { --disabled_; }
  bool isUndoRegistrationEnabled() const { return disabled_ == 0; }

  /// Closes the automatic group now, so that what follows is an undo step of its own.
  void endEventGroup();
  /// Identifies the group that `undo` would take back; 0 when there is none.
  std::uint64_t lastGroup() const { return undo_.empty() ? 0 : undo_.back().number; }
  /// Opens the last group again if it is this one and no other group is open: what is done by and by becomes
  /// one step. False, with nothing opened, when something else was done since.
  bool reopenGroup(std::uint64_t number);

  /// The name of the group that is open, or else of the last one.
  void setActionName(std::string name);
  /// Empty when there is nothing to undo or redo, or it has no name.
  std::string undoActionName() const;
  std::string redoActionName() const;

  /// Groups kept; 0 keeps all. The oldest go first.
  std::size_t levelsOfUndo() const { return levels_; }
  void setLevelsOfUndo(std::size_t levels);
  void removeAllActions();
  void removeAllActionsWithTarget(const Object& target);

  /// Called before the first action of an undo or redo and after the last, while `isUndoing` or `isRedoing`
  /// still holds.
  struct Listener {
    virtual ~Listener() = default;
    virtual void undoManagerWillPerform(UndoManager&) {}
    virtual void undoManagerDidPerform(UndoManager&) {}
  };
  /// Not owned; null for none.
  void setListener(Listener* listener) { listener_ = listener; }

 private:
  enum class State : std::uint8_t { kIdle, kUndoing, kRedoing };

  struct Record {
    std::weak_ptr<Object> target;
    Action action;  // null: restore
    const Property* property;
    Value argument;
    std::int64_t number;
  };
  struct Group {
    std::string name;
    std::vector<Record> records;
    std::uint64_t number = 0;
  };

  void add(Object& target, Action action, const Property* property, Value argument, std::int64_t number);
  void perform(std::vector<Group>& from, State state);
  void changeScope() { scope_ += scope_ + 1 == 0 ? 2 : 1; }
  static void performReversed(std::vector<Record>& records, std::size_t from);
  void trim();

  State state_ = State::kIdle;
  bool groupsByEvent_ = true;
  bool eventGroupOpen_ = false;
  int disabled_ = 0;
  std::size_t levels_ = 0;
  Group current_;
  std::vector<std::size_t> openGroups_;  // where each open group begins in current_
  std::vector<Group> undo_;
  std::vector<Group> redo_;
  Listener* listener_ = nullptr;
  std::uint64_t lastNumber_ = 0;
  std::uint32_t scope_ = 1;
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

/// Switches registration off for a scope; a null manager is allowed.
class QW_EXPORT UndoRegistrationDisabled {
 public:
  explicit UndoRegistrationDisabled(UndoManager* manager) : manager_(manager) {
    if (manager_) manager_->disableUndoRegistration();
  }
  ~UndoRegistrationDisabled() {
    if (manager_) manager_->enableUndoRegistration();
  }
  UndoRegistrationDisabled(const UndoRegistrationDisabled&) = delete;
  UndoRegistrationDisabled& operator=(const UndoRegistrationDisabled&) = delete;

 private:
  UndoManager* manager_;
};

}  // namespace qw
