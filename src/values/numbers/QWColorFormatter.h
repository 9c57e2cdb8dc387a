#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Color.h"
#include "platform/base/Export.h"

/// Writes colours as web colours and reads them (CSS Color 4). Holds nothing; any thread.
class QW_EXPORT QWColorFormatter {
 public:
  /// "#rrggbb", or "#rrggbbaa" when it is not opaque.
  std::string stringForObjectValue(const qw::Color& color) const { return color.webColor(); }
  /// The empty text is read as no colour; false for a text that is none.
  bool getObjectValue(std::optional<qw::Color>& color, std::string_view text) const {
    color = qw::Color::fromWebColor(text);
    return color.has_value() || text.empty();
  }
};
