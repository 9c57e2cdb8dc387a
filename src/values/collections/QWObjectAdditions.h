#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

/// Operations on every object.
namespace QW_EXPORT QWObjectAdditions {

/// Notifies the observers of a key, with its present value as the old and the new one, so that they read it
/// again.
inline void notifyChangeValueForKey(qw::Object& object, std::string_view key) {
  object.notifyChangeValueForKey(key);
}

/// Runs a stored block, if there is one.
inline void perform(const std::function<void()>& block) {
  if (block) block();
}

/// The value that an object may take at a key path where the elements of an array must differ: the proposed
/// one made unique among the texts of all elements but the object itself. For `format` and `pattern` see
/// `qw::NumberedName`.
std::string validUniqueValue(const qw::Object& object, std::string_view value, std::string_view keyPath,
                             const qw::Array& array, std::string_view format = "%@ %ld",
                             std::string_view pattern = "(.*) ([0-9]+)");

}  // namespace QWObjectAdditions
