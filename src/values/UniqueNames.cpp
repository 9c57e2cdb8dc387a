#include "values/UniqueNames.h"

#include <charconv>
#include <limits>
#include <utility>

#include "values/QWStringAdditions.h"

namespace {

constexpr std::int64_t kLastNumber = std::numeric_limits<std::int64_t>::max();

std::string formatted(std::string_view format, std::string_view base, std::int64_t number) {
  constexpr std::string_view kBase = "%@";
  constexpr std::string_view kNumber = "%ld";
  std::string result;
  while (true) {
    const std::size_t conversion = format.find('%');
    result += format.substr(0, conversion);
    if (conversion == std::string_view::npos) return result;
    format.remove_prefix(conversion);
    if (format.starts_with(kBase)) {
      result += base;
      format.remove_prefix(kBase.size());
    } else if (format.starts_with(kNumber)) {
      result += std::to_string(number);
      format.remove_prefix(kNumber.size());
    } else {
      result += '%';
      format.remove_prefix(format.starts_with("%%") ? 2 : 1);
    }
  }
}

}  // namespace

std::string UniqueNames::unique(std::string_view name) {
  std::string base(name);
  if (!contains(base)) return base;
  std::int64_t number = 1;
  if (!pattern_.empty()) {
    if (const auto match = QWStringAdditions::patternMatch(name, pattern_)) {
      const std::string_view digits = match->capture(name, 2);
      std::int64_t value = 0;
      // A number too great to be counted on is a part of the name.
      if (std::from_chars(digits.data(), digits.data() + digits.size(), value).ec == std::errc() &&
          value < kLastNumber / 2) {
        base = match->capture(name, 1);
        number = value;
      }
    }
  }
  return formatted(format_, base, firstFree(base, number + 1));
}

std::int64_t UniqueNames::firstFree(const std::string& base, std::int64_t number) {
  auto& taken = taken_[base];
  const std::int64_t start = number;
  while (true) {
    if (const auto found = taken.find(number); found != taken.end()) {
      number = found->second;
    } else if (contains(formatted(format_, base, number))) {
      taken[number] = number + 1;
      ++number;
    } else {
      break;
    }
  }
  // Each number on the way now leads straight to the free one.
  for (std::int64_t step = start; step != number;) {
    std::int64_t& next = taken[step];
    step = std::exchange(next, number);
  }
  return number;
}
