#include <unicode/regex.h>
#include <unicode/utext.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>

#include "values/text/QWStringAdditions.h"

namespace QWStringAdditions {
namespace {

/// A pattern may take this many thousand-fold backtracking steps, more on a long text; enough for any pattern
/// that is linear in the text, and a second or so for one that is not.
std::int32_t stepLimit(std::size_t textSize) {
  return static_cast<std::int32_t>(std::clamp<std::size_t>(textSize / 1000, 500, 1'000'000));
}

std::unique_ptr<icu::RegexMatcher> makeMatcher(std::string_view pattern, std::size_t textSize) {
  // The library counts in 32 bits; an empty pattern is no pattern.
  constexpr std::size_t kMaximum = std::numeric_limits<std::int32_t>::max() / 2;
  if (pattern.empty() || pattern.size() > kMaximum || textSize > kMaximum) return nullptr;
  UErrorCode status = U_ZERO_ERROR;
  const icu::StringPiece piece(pattern.data(), static_cast<std::int32_t>(pattern.size()));
  auto matcher = std::make_unique<icu::RegexMatcher>(icu::UnicodeString::fromUTF8(piece),
                                                     UREGEX_CASE_INSENSITIVE, status);
  matcher->setTimeLimit(stepLimit(textSize), status);
  return U_SUCCESS(status) ? std::move(matcher) : nullptr;
}

}  // namespace

std::string_view PatternMatch::capture(std::string_view text, std::size_t group) const {
  if (group >= ranges.size() || ranges[group].location == TextRange::kNotFound) return {};
  return text.substr(ranges[group].location, ranges[group].length);
}

std::optional<PatternMatch> patternMatch(std::string_view text, std::string_view pattern) {
  const auto matcher = makeMatcher(pattern, text.size());
  if (!matcher) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  // Read as UTF-8 in place, so that positions are byte offsets.
  UText input = UTEXT_INITIALIZER;
  utext_openUTF8(&input, text.data() ? text.data() : "", static_cast<std::int64_t>(text.size()), &status);
  const std::unique_ptr<UText, decltype(&utext_close)> closer(&input, utext_close);
  matcher->reset(&input);
  if (!matcher->find(status) || matcher->start64(status) != 0 ||
      matcher->end64(status) != static_cast<std::int64_t>(text.size()) || U_FAILURE(status)) {
    return std::nullopt;
  }
  PatternMatch match;
  for (std::int32_t group = 0; group <= matcher->groupCount(); ++group) {
    const std::int64_t start = matcher->start64(group, status);
    const std::int64_t end = matcher->end64(group, status);
    match.ranges.push_back(
        start < 0 ? TextRange{}
                  : TextRange{static_cast<std::size_t>(start), static_cast<std::size_t>(end - start)});
  }
  return match;
}

std::string stringByReplacingOccurrencesOfPattern(std::string_view text, std::string_view pattern,
                                                  std::string_view replacement) {
  const auto matcher = makeMatcher(pattern, text.size());
  if (!matcher) return std::string(text);
  const auto unicode = [](std::string_view utf8) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(utf8.data(), static_cast<std::int32_t>(utf8.size())));
  };
  const icu::UnicodeString input = unicode(text);
  UErrorCode status = U_ZERO_ERROR;
  matcher->reset(input);
  const icu::UnicodeString output = matcher->replaceAll(unicode(replacement), status);
  if (U_FAILURE(status)) return std::string(text);
  std::string result;
  return output.toUTF8String(result);
}

}  // namespace QWStringAdditions
