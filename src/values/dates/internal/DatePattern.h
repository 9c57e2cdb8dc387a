#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Date.h"

namespace qw {

/// A date pattern (Unicode TR 35, part 4), taken apart into its fields and the literal text between them. A
/// value type; any thread.
class DatePattern {
 public:
  /// A run of one pattern letter, or literal text without its quotes (letter 0).
  struct Part {
    char letter = 0;
    int count = 0;
    std::string literal;
  };
  enum class Years { gregorian, other };

  explicit DatePattern(std::string_view pattern);

  bool has(std::string_view letters) const;
  bool hasNumericMonth() const;
  /// Where the first field of a letter stands among the parts; beyond them all without one.
  std::size_t position(char letter) const;

  /// The same pattern for reading: a day or month that would be written with two digits may have one, and a
  /// Gregorian year of "yyyy" any number of digits; blanks at its ends are left out.
  std::string forReading(Years years) const;

  /// Blanks that only look different become plain ones, and marks of the writing direction, which nobody
  /// types, go away.
  static std::string withoutInvisible(std::string_view text);

 private:
  bool isNumeric(std::size_t part) const;
  bool isAbutting(std::size_t part) const;

  std::vector<Part> parts_;

  friend class PlainDateLayout;
};

/// Reads and writes dates of a pattern of day, month, year and possibly hour, minute and second in ASCII
/// digits, separated by literal ASCII text, in the proleptic Gregorian calendar and the current time zone.
class PlainDateLayout {
 public:
  /// None for any other pattern.
  static std::optional<PlainDateLayout> ofPattern(const DatePattern& pattern);

  /// None unless the text has the very separators and every field is in its range with at most two digits, a
  /// year with at most four. A year of two digits under "y" or "yy" is the one from 80 years ago on; any
  /// other year below 100 counts from 2000.
  std::optional<Date> read(std::string_view text) const;
  std::string write(Date date) const;

  /// The first year that two digits may mean.
  static std::int64_t firstTwoDigitYear();

 private:
  struct Field {
    char letter;
    int count;
    std::string before;  // the literal in front of it
  };
  std::vector<Field> fields_;
  std::string end_;
};

}  // namespace qw
