#pragma once

#include <memory>
#include <string>

#include "platform/base/Export.h"
#include "store/model/RowState.h"

class QWDatabaseObject;

namespace qw {

/// The write that brings the row of an object up to date.
struct QW_EXPORT RowWrite {
  /// What becomes of the row.
  using Kind = RowWriteKind;

  /// Null for no write.
  std::shared_ptr<QWDatabaseObject> object{};
  /// Before it was taken.
  RowState former{};
  /// Of what is to be saved, that it belongs to.
  std::uint32_t computation = 0;
  /// What the write does.
  Kind kind = Kind::kNone;
  /// Whether the object is in its parent's list.
  bool isPlaced = false;

  /// Whether there is something to write.
  explicit operator bool() const { return kind != Kind::kNone; }
  /// The statement of the object's class.
  const std::string& sql() const;
};

}  // namespace qw
