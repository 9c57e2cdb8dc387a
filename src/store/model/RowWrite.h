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
  enum class Kind : std::uint8_t { kNone, kInsert, kUpdate, kDelete };

  std::shared_ptr<QWDatabaseObject> object{};
  std::int64_t sqlID = 0;
  std::int32_t modificationsCount = 0;
  std::uint32_t computation = 0;  // of the values
  Kind kind = Kind::kNone;

  explicit operator bool() const { return kind != Kind::kNone; }
  /// The statement of the object's class.
  const std::string& sql() const;
};

}  // namespace qw
