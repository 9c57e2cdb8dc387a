#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "values/numbers/QWNumberFormatter.h"

/// Writes and reads shares as percentages: 0.125 is "12.5%", and is what "12.5%" and "12.5" are read as. At
/// most two fraction digits are written unless said otherwise. Belongs to one thread, like every number
/// formatter.
class QW_EXPORT QWPercentageFormatter : public QWNumberFormatter {
 public:
  static const qw::Class kClass;
  /// With up to so many fraction digits; any thread.
  static std::string formatValue(const qw::Decimal& value, int maximumFractionDigits);
  /// None for an empty text and for one that cannot be read.
  static std::optional<qw::Decimal> parseString(std::string_view text);

  /// Of the percent style.
  QWPercentageFormatter();

  /// The percentage is rounded before and after it is divided by 100, when rounding is set.
  bool getObjectValue(std::optional<qw::Decimal>& value, std::string_view text) const override;
  /// The fraction that a percentage means, with or without its sign.
  std::optional<qw::Decimal> evaluateString(std::string_view text) const override;
};
