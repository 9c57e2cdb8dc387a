#pragma once

#include <unicode/utypes.h>

#include <array>
#include <cstddef>
#include <optional>
#include <string>

#include "platform/base/Decimal.h"
#include "platform/base/Export.h"

U_NAMESPACE_BEGIN
class DecimalFormat;
U_NAMESPACE_END

namespace qw {

/// Writes decimals without ICU, from what a format of ICU was found to write around and between the digits of
/// two numbers: about five times as fast (`scripts/bench --filter format`). Used only where `agreesWithICU`.
class QW_EXPORT FastNumberWriter {
 public:
  FastNumberWriter() = default;
  /// `powerOf10` is what the format multiplies numbers by: 2 for percent.
  FastNumberWriter(const icu::DecimalFormat& format, std::string decimalSeparator,
                   std::string groupingSeparator, int powerOf10);

  /// Whether both write a choice of numbers alike, of which ICU gets those rounded to the digits it shows.
  bool agreesWithICU(const icu::DecimalFormat& format) const;
  /// None for a number that is left to ICU.
  std::optional<std::string> write(const Decimal& value, int minimumFractionDigits) const;
  /// What the format writes.
  static std::string writeWithICU(const icu::DecimalFormat& format, const Decimal& value);

 private:
  /// What stands around the digits of a number.
  struct Affixes {
    std::string prefix;
    std::string suffix;
  };
  static Affixes affixes(const icu::DecimalFormat& format, const Decimal& value);
  bool fits() const;

  std::string decimalSeparator_;
  std::string groupingSeparator_;
  int powerOf10_ = 0;
  std::size_t primaryGroupingSize_ = 0;  // 0 without groups
  std::size_t secondaryGroupingSize_ = 0;
  Affixes positive_;
  Affixes negative_;
  std::array<std::string, 10> digits_;  // none when they are ASCII
};

}  // namespace qw
