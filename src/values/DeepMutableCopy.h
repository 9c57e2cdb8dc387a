#pragma once

#include "platform/Value.h"

namespace qw {

/// Copies of nested containers that share nothing with the original that could be changed through either.
namespace DeepMutableCopy {

/// A new container in which every array, set and dictionary below is new as well; objects stay the same ones.
Array deepMutableCopy(const Array& array);
Dictionary deepMutableCopy(const Dictionary& dictionary);

}  // namespace DeepMutableCopy

}  // namespace qw
