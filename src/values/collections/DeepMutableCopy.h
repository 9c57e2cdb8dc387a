#pragma once

#include "platform/base/Export.h"
#include "platform/object/Value.h"

/// Copies of nested containers that share nothing with the original that could be changed through either.
namespace QW_EXPORT DeepMutableCopy {

/// A new container in which every array, set and dictionary below is new as well; objects stay the same ones.
qw::Array deepMutableCopy(const qw::Array& array);
/// The same for a dictionary.
qw::Dictionary deepMutableCopy(const qw::Dictionary& dictionary);

}  // namespace DeepMutableCopy
