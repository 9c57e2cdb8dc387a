#pragma once

#include <unicode/unistr.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace qw {

/// The text as UTF-8.
inline std::string utf8(const icu::UnicodeString& text) {
  std::string result;
  text.toUTF8String(result);
  return result;
}

/// The text as UTF-16; malformed bytes become U+FFFD.
inline icu::UnicodeString utf16(std::string_view text) {
  return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
}

}  // namespace qw
