#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Export.h"

namespace qw {

/// A colour in the sRGB space: red, green, blue and alpha, each from 0 to 1. A plain value that any thread
/// may use.
struct QW_EXPORT Color {
  /// From 0 to 1, as the other components; nothing checks it.
  double red = 0;
  /// From 0 to 1.
  double green = 0;
  /// From 0 to 1.
  double blue = 0;
  /// From 0, transparent, to 1, opaque.
  double alpha = 1;

  /// Opaque black.
  static constexpr Color black() { return {0, 0, 0, 1}; }
  /// Opaque grey of a third.
  static constexpr Color darkGray() { return {1.0 / 3, 1.0 / 3, 1.0 / 3, 1}; }
  /// Opaque white.
  static constexpr Color white() { return {1, 1, 1, 1}; }

  /// Reads four finite numbers separated by white space, with a point as decimal separator whatever the
  /// locale; what follows them is ignored. Fewer numbers, or any other text, are no colour.
  static std::optional<Color> fromComponents(std::string_view text);
  /// "red green blue alpha", each with six fraction digits and a point, whatever the locale.
  std::string components() const;

  /// Reads a colour of CSS Color 4: "#rgb", "#rgba", "#rrggbb", "#rrggbbaa", "rgb(r, g, b)" and "rgb(r g b /
  /// a)" with numbers or percentages, which are cut to their range, or a name, in letters of either case and
  /// with white space around it.
  static std::optional<Color> fromWebColor(std::string_view text);
  /// "#rrggbb", or "#rrggbbaa" when it is not opaque: each component to the nearest of 256 steps.
  std::string webColor() const;

  friend constexpr bool operator==(const Color&, const Color&) = default;
};

}  // namespace qw
