#pragma once

#include <string_view>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"

namespace qw {

/// Something shown that is restored as the user left it: an order of columns, a selection, what is folded.
/// Its state is an archive of its own, so that nothing in it can disturb the state around it.
class QW_EXPORT Restorable {
 public:
  virtual ~Restorable() = default;
  /// Writes the state, by key.
  virtual void encodeRestorableState(KeyedArchiver& coder) const = 0;
  /// Restores what was written. Keys may be missing: an older version wrote fewer.
  virtual void restoreState(KeyedUnarchiver& coder) = 0;
};

/// Archives the state of a part and stores it under the key in the state of the whole. False, with nothing
/// stored, when the part holds what cannot be archived.
QW_EXPORT bool encodeRestorableStateOfSubitem(KeyedArchiver& coder, const Restorable& subitem,
                                              std::string_view key, Error* error = nullptr);
/// Restores the part from the archive under the key; true, with nothing done, when there is none. False when
/// the archive cannot be read. `classes` are those of the objects that it may hold.
QW_EXPORT bool restoreStateOfSubitem(KeyedUnarchiver& coder, Restorable& subitem, std::string_view key,
                                     const KeyedUnarchiver::Classes& classes = {}, Error* error = nullptr);

}  // namespace qw
