#pragma once

#include <string_view>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"

namespace qw {

/// Something shown that comes back as the user left it: an order of columns, a selection, what is folded. Its
/// state is an archive of its own, so that nothing in it can disturb the state around it.
class QW_EXPORT Restorable {
 public:
  virtual ~Restorable() = default;
  virtual void encodeRestorableState(KeyedArchiver& coder) const = 0;
  /// Keys may be missing, as after the part was given more to remember.
  virtual void restoreState(KeyedUnarchiver& coder) = 0;
};

/// Puts the state of a part into that of the whole, as bytes under the key. False, with nothing put, when the
/// part holds what cannot be archived.
QW_EXPORT bool encodeRestorableStateOfSubitem(KeyedArchiver& coder, const Restorable& subitem,
                                              std::string_view key, Error* error = nullptr);
/// Has the part restore what stands under the key; nothing happens when there is nothing. False when it
/// cannot be read; `classes` are those of the objects it may hold.
QW_EXPORT bool restoreStateOfSubitem(KeyedUnarchiver& coder, Restorable& subitem, std::string_view key,
                                     const KeyedUnarchiver::Classes& classes = {}, Error* error = nullptr);

}  // namespace qw
