#pragma once

#include <cstdint>
#include <utility>

#include "platform/base/Export.h"

namespace qw {

/// What a save does with the row of an object.
enum class RowWriteKind : std::uint8_t { kNone, kInsert, kUpdate, kDelete };

/// Where an object stands against its row in the file; the one place that knows what leads from one state to
/// another:
///
/// | state   | the file has     | edited, forced | taken alive    | taken deleted     |
/// |---------|------------------|----------------|----------------|-------------------|
/// | new     | no row           | new            | insert, new    | nothing, new      |
/// | clean   | it as it is      | dirty          | nothing, clean | delete, removed   |
/// | dirty   | it as it was     | dirty, or clean when the edits are undone | update, clean | delete, removed |
/// | removed | its row, till the deletion is run | removed | insert, removed | nothing, removed |
///
/// An insertion that was run makes a new or removed object clean. A write that failed is taken back: the
/// object is in its former state then, but dirty where it would have been clean.
class QW_EXPORT RowState {
 public:
  /// See above.
  enum class State : std::uint8_t { kNew, kClean, kDirty, kRemoved };

  /// Where the object stands.
  State state() const {
    if (rowID_ == 0) return State::kNew;
    if (rowID_ < 0) return State::kRemoved;
    return edits_ != 0 || forced_ ? State::kDirty : State::kClean;
  }
  /// 0 for a new object, -1 for a removed one.
  std::int64_t rowID() const { return rowID_; }
  /// Edits since the last save was computed, those undone counted back.
  std::int32_t edits() const { return edits_; }

  /// The object was read from this row, or the row was inserted.
  void setRow(std::int64_t rowID) { rowID_ = rowID; }
  /// The row is not there any more.
  void loseRow() { rowID_ = 0; }
  /// The computation whose values the row has; 0 when that is not known.
  std::uint32_t written() const { return written_; }
  /// The row has the values of that computation.
  void setWritten(std::uint32_t computation) { written_ = computation; }
  /// Counts an edit: +1, or -1 for one that is undone.
  void edit(std::int32_t step) { edits_ += step; }
  /// The row is to be written whatever the count says.
  void force() { forced_ = true; }
  /// The object counts as it is in the file.
  void forgetEdits() {
    edits_ = 0;
    forced_ = false;
  }
  /// Whether the object is one of the store's: only those have rows to write.
  bool isRegistered() const { return registered_; }
  /// The object comes into the store, or leaves it.
  void setRegistered(bool registered) { registered_ = registered; }
  /// Puts the object among those that the next save looks at; false when it is there.
  bool queue() { return !std::exchange(queued_, true); }
  /// The next save does not look at the object any more.
  void unqueue() { queued_ = false; }
  /// What a save has to do. The edits are forgotten then.
  RowWriteKind take(bool deleted);
  /// The write that `take` asked for, in this former state, failed. `committed`: the file has it all the
  /// same, only not safely.
  void revert(RowWriteKind kind, const RowState& former, bool committed);

 private:
  std::int64_t rowID_ = 0;
  std::int32_t edits_ = 0;
  std::uint32_t written_ = 0;
  bool forced_ = false;
  bool registered_ = false;
  bool queued_ = false;
};

}  // namespace qw
