#pragma once

#include "platform/base/Export.h"
#include "platform/object/Value.h"

namespace qw {

/// Copies of nested containers that share nothing with the original that could be changed through either.
namespace QW_EXPORT DeepMutableCopy {

/// A new container in which every array, set and dictionary below is new as well; objects stay the same ones.
Array deepMutableCopy(const Array& array);
/// The same for a dictionary.
Dictionary deepMutableCopy(const Dictionary& dictionary);

}  // namespace DeepMutableCopy

}  // namespace qw
