#pragma once

#include <glib.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace qw {

/// Single characters of UTF-8 texts (RFC 3629).
namespace UTF8 {

struct Character {
  char32_t codePoint = 0;
  std::size_t length = 0;  ///< in bytes; 0 if the text is empty or does not begin with a character
};

/// The character that `text` begins with.
inline Character first(std::string_view text) {
  if (text.empty()) return {};
  if (static_cast<unsigned char>(text.front()) < 0x80) return {static_cast<unsigned char>(text.front()), 1};
  const gunichar c = g_utf8_get_char_validated(text.data(), static_cast<gssize>(text.size()));
  if (c > 0x10FFFF) return {};  // how the library reports malformed and incomplete sequences
  return {c, static_cast<std::size_t>(g_unichar_to_utf8(c, nullptr))};
}

inline void append(std::string& text, char32_t codePoint) {
  char bytes[6];
  text.append(bytes, static_cast<std::size_t>(g_unichar_to_utf8(codePoint, bytes)));
}

}  // namespace UTF8

}  // namespace qw
