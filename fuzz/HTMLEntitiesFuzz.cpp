#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "values/text/QWStringAdditions.h"

// Whatever text is decoded: it does not grow, and stays UTF-8 if it was. What was escaped decodes to itself,
// but for apostrophes and line ends, which have no reference of HTML 4.01.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  const auto isUTF8 = [](std::string s) {
    std::replace(s.begin(), s.end(), '\0', ' ');  // which the library counts as an end
    return g_utf8_validate_len(s.data(), s.size(), nullptr) != 0;
  };
  const std::string decoded = QWStringAdditions::stringByDecodingHTMLEntities(text);
  if (decoded.size() > text.size()) std::abort();
  if (isUTF8(text) && !isUTF8(decoded)) std::abort();

  for (char& c : text) {
    if (c == '\'' || c == '\n' || c == '\r') c = '&';
  }
  const std::string escaped = QWStringAdditions::stringForEmbeddingInHTML(text);
  if (escaped.find_first_of("<>\"") != std::string::npos) std::abort();
  if (QWStringAdditions::stringByDecodingHTMLEntities(escaped) != text) std::abort();
  return 0;
}
