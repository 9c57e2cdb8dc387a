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
/// pass of the run loop (`groupsByEvent`), or are made by hand. Targets are held weakly: an action on a
/// target that died does nothing. Owned by its document, used on the main thread.
///
///     void Person::rename(qw::UndoManager& undo, std::string name) {
///       undo.registerUndo(*this, [this, &undo, before = name_] { rename(undo, before); });
///       setName(std::move(name));
///     }
class QW_EXPORT UndoManager {
 public:
  /// Without a listener, grouping by event, without a bound of levels.
  UndoManager();
  ~UndoManager();
  UndoManager(const UndoManager&) = delete;
  UndoManager& operator=(const UndoManager&) = delete;

  /// `property.restore(target, oldValue)`: what a setter registers.
  void registerRestore(Object& target, const Property& property, Value oldValue);
  /// `action(target, property, argument, number)`, for relations and the like: no closure is made.
  /// A plain function that goes back; may register the way forward.
  using Action = void (*)(Object& target, const Property* property, const Value& argument,
                          std::int64_t number);
  /// Registers one; `property`, `argument` and `number` are handed to it.
  void registerAction(Object& target, Action action, const Property* property = nullptr, Value argument = {},
                      std::int64_t number = 0);
  /// Any closure; `target` only decides whether it still runs and whether `removeAllActionsWithTarget` drops
  /// it.
  void registerUndo(Object& target, std::function<void()> closure);

  /// While `undo` runs: what is registered becomes redo.
  bool isUndoing() const { return state_ == State::kUndoing; }
  /// While `redo` runs.
  bool isRedoing() const { return state_ == State::kRedoing; }
  /// Whether `undo` would do something.
  bool canUndo() const;
  /// Whether `redo` would do something; false again after any other change.
  bool canRedo() const { return !redo_.empty(); }
  /// Undoes the last group; an automatic group that is still open is closed first. Requires: no group open by
  /// hand.
  void undo();
  /// Does the group again that was undone last; nothing happens when there is none.
  void redo();

  /// Groups nest; the outermost one is what one `undo` undoes. A group without actions leaves nothing.
  void beginUndoGrouping();
  /// Ends the innermost group. Requires: one is open.
  void endUndoGrouping();
  /// How many groups are open, an automatic one included.
  int groupingLevel() const { return static_cast<int>(openGroups_.size()); }
  /// Changes whenever a group begins or ends: all that is registered under one value is undone together.
  /// Never 0.
  std::uint32_t scope() const { return scope_; }
  /// Undoes and forgets what was registered since the innermost open group began. Requires: an open group.
  void undoNestedGroup();
  /// Whether a group opens with the first action of a run loop's pass and closes at its end; true at first.
  bool groupsByEvent() const { return groupsByEvent_; }
  /// When off, every action requires an open group.
  void setGroupsByEvent(bool groups) { groupsByEvent_ = groups; }

  /// While disabled nothing is recorded. Calls nest; `UndoRegistrationDisabled` pairs them.
  void disableUndoRegistration() { ++disabled_; }
  /// Requires: disabled before.
  void enableUndoRegistration() { --disabled_; }
  /// Whether actions are recorded.
  bool isUndoRegistrationEnabled() const { return disabled_ == 0; }

  /// Closes the automatic group now, so that what follows is an undo step of its own.
  void endEventGroup();
  /// Identifies the group that `undo` would undo; 0 when there is none.
  std::uint64_t lastGroup() const { return undo_.empty() ? 0 : undo_.back().number; }
  /// Opens the last group again if it is this one and no other group is open, so that changes made one after
  /// the other are coalesced into one step. False, with nothing opened, when something else was done since.
  bool reopenGroup(std::uint64_t number);

  /// The name of the group that is open, or else of the last one.
  void setActionName(std::string name);
  /// The name of what `undo` would undo; empty when there is nothing, or it has no name.
  std::string undoActionName() const;
  /// The same of what `redo` would do.
  std::string redoActionName() const;

  /// Groups kept; 0 keeps all. The oldest go first.
  std::size_t levelsOfUndo() const { return levels_; }
  /// Drops the oldest groups beyond that number at once.
  void setLevelsOfUndo(std::size_t levels);
  /// Forgets everything that could be undone and redone, also what open groups hold so far.
  void removeAllActions();
  /// Forgets the actions on this object.
  void removeAllActionsWithTarget(const Object& target);

  /// Called before the first action of an undo or redo and after the last, while `isUndoing` or `isRedoing`
  /// still holds.
  struct Listener {
    virtual ~Listener() = default;
    /// Before the first action.
    virtual void undoManagerWillPerform(UndoManager&) {}
    /// After the last action.
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
  /// The manager must outlive the scope.
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
