#include "values/text/internal/Blanks.h"

#include <unicode/uchar.h>

#include <cstddef>

#include "values/text/internal/UTF8.h"

namespace qw {

bool isBlank(char32_t c) {
  return u_isUWhiteSpace(static_cast<UChar32>(c)) || c == 0x200E || c == 0x200F || c == 0x061C;
}

std::string_view trimmed(std::string_view text) {
  const auto isPlain = [](char c) { return c > ' ' && c < '\x7F'; };
  while (!text.empty() && !isPlain(text.front())) {
    const UTF8::Character c = UTF8::first(text);
    if (c.length == 0 || !isBlank(c.codePoint)) break;
    text.remove_prefix(c.length);
  }
  while (!text.empty() && !isPlain(text.back())) {
    std::size_t last = text.size() - 1;
    while (last > 0 && text.size() - last < 4 && (static_cast<unsigned char>(text[last]) & 0xC0) == 0x80)
      --last;
    const UTF8::Character c = UTF8::first(text.substr(last));
    if (c.length != text.size() - last || !isBlank(c.codePoint)) break;
    text.remove_suffix(c.length);
  }
  return text;
}

}  // namespace qw
