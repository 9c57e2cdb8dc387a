#include "values/text/internal/UniqueNames.h"

#include <charconv>
#include <limits>
#include <utility>

#include "values/text/QWStringAdditions.h"

namespace qw {

NumberedName::NumberedName(std::string_view name, std::string_view pattern) : base(name) {
  const auto match = QWStringAdditions::patternMatch(name, pattern);
  if (!match) return;
  const std::string_view digits = match->capture(name, 2);
  std::int64_t value = 0;
  const bool read = std::from_chars(digits.data(), digits.data() + digits.size(), value).ec == std::errc();
  // A number too great to be counted on is a part of the name.
  if (!read || value > std::numeric_limits<std::int64_t>::max() / 2) return;
  base = match->capture(name, 1);
  number = value;
}

std::string NumberedName::text(std::string_view format) const {
  std::string result;
  bool numbered = false;
  while (true) {
    const std::size_t conversion = format.find('%');
    result += format.substr(0, conversion);
    if (conversion == std::string_view::npos) return numbered ? result : result + std::to_string(number);
    format.remove_prefix(conversion);
    std::size_t length = 1;
    if (format.starts_with("%@")) {
      result += base;
      length = 2;
    } else if (format.starts_with("%ld")) {
      result += std::to_string(number);
      numbered = true;
      length = 3;
    } else {
      result += '%';
      if (format.starts_with("%%")) length = 2;
    }
    format.remove_prefix(length);
  }
}

std::string UniqueNames::unique(std::string_view name) {
  std::string text(name);
  if (!contains(text)) return text;
  NumberedName numbered(name, pattern_);
  ++numbered.number;
  moveToFreeNumber(numbered);
  return numbered.text(format_);
}

void UniqueNames::moveToFreeNumber(NumberedName& name) {
  auto& taken = taken_[name.base];
  const std::int64_t start = name.number;
  while (true) {
    if (const auto found = taken.find(name.number); found != taken.end()) {
      name.number = found->second;
    } else if (contains(name.text(format_))) {
      taken[name.number] = name.number + 1;
      ++name.number;
    } else {
      break;
    }
  }
  // Each number on the way now leads straight to the free one.
  for (std::int64_t step = start; step != name.number;) step = std::exchange(taken[step], name.number);
}

}  // namespace qw
