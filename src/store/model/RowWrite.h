#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/base/Export.h"

class QWDatabaseObject;

namespace qw {

/// The write that brings the row of an object up to date, with what the object was before it counted as
/// clean.
struct QW_EXPORT RowWrite {
  /// What becomes of the row; `kNone` when it is as the object is.
  enum class Kind : std::uint8_t { kNone, kInsert, kUpdate, kDelete };

  /// Whose row it is; null for the store's own rows.
  std::shared_ptr<QWDatabaseObject> object{};
  /// The row's number in its table before the write; below 1 for an object that had no row.
  std::int64_t sqlID = 0;
  /// How many edits the object counted before it was taken for clean.
  std::int32_t modificationsCount = 0;
  /// What is written.
  Kind kind = Kind::kNone;

  /// Whether there is anything to write.
  explicit operator bool() const { return kind != Kind::kNone; }
  /// The statement of the object's class.
  const std::string& sql() const;
};

}  // namespace qw
