#pragma once

namespace qw {

/// A width and a height in points.
struct Size {
  /// In points.
  double width = 0;
  /// In points.
  double height = 0;

  friend constexpr bool operator==(const Size&, const Size&) = default;
};

}  // namespace qw
