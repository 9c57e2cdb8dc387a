#pragma once

#include "platform/base/Export.h"

namespace qw {

/// A width and a height in points.
struct QW_EXPORT Size {
  /// In points.
  double width = 0;
  /// In points.
  double height = 0;

  friend constexpr bool operator==(const Size&, const Size&) = default;
};

}  // namespace qw
