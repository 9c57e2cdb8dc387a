#include "store/model/RowState.h"

namespace qw {

RowWriteKind RowState::take(bool deleted) {
  RowWriteKind kind = RowWriteKind::kNone;
  switch (state()) {
    case State::kNew:
    case State::kRemoved:
      if (!deleted) kind = RowWriteKind::kInsert;
      break;
    case State::kClean:
    case State::kDirty:
      if (deleted)
        kind = RowWriteKind::kDelete;
      else if (state() == State::kDirty)
        kind = RowWriteKind::kUpdate;
  }
  if (kind == RowWriteKind::kDelete) rowID_ = -1;
  forgetEdits();
  return kind;
}

void RowState::revert(RowWriteKind kind, const RowState& former, bool committed) {
  switch (kind) {
    case RowWriteKind::kNone:
      return;
    case RowWriteKind::kInsert:
      if (!committed) rowID_ = 0;
      break;
    case RowWriteKind::kDelete:
      if (!committed) rowID_ = former.rowID_;
      edits_ += former.edits_;
      break;
    case RowWriteKind::kUpdate:
      edits_ += former.edits_;
  }
  if (!committed) written_ = 0;
  forced_ = true;
}

}  // namespace qw
