#include <unicode/utf16.h>

#include <charconv>
#include <cstdint>

#include "values/text/QWStringAdditions.h"
#include "values/text/internal/HTMLEntities.h"
#include "values/text/internal/UTF8.h"

namespace QWStringAdditions {
namespace {

constexpr char32_t kReplacementCharacter = 0xFFFD;

/// A text built of UTF-8 pieces and UTF-16 code units. A high surrogate waits for what comes directly after
/// it.
class Output {
 public:
  void append(std::string_view text) {
    if (text.empty()) return;
    flush();
    text_ += text;
  }

  void append(char16_t unit) {
    if (U16_IS_TRAIL(unit) && highSurrogate_) {
      qw::UTF8::append(text_, static_cast<char32_t>(U16_GET_SUPPLEMENTARY(highSurrogate_, unit)));
      highSurrogate_ = 0;
      return;
    }
    flush();
    if (U16_IS_LEAD(unit)) {
      highSurrogate_ = unit;
    } else {
      qw::UTF8::append(text_, U16_IS_TRAIL(unit) ? kReplacementCharacter : char32_t{unit});
    }
  }

  std::string take() {
    flush();
    return std::move(text_);
  }

 private:
  void flush() {
    if (highSurrogate_) qw::UTF8::append(text_, kReplacementCharacter);
    highSurrogate_ = 0;
  }

  std::string text_;
  char16_t highSurrogate_ = 0;
};

/// Writes the character that a closed reference stands for; false for an unknown one.
bool appendEntity(std::string_view name, Output& output) {
  if (name.starts_with('#')) {
    const std::string_view digits = name.substr(1);
    std::int64_t number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (result.ec == std::errc::result_out_of_range || number < 0 || number > 0xFFFF) return false;
    output.append(static_cast<char16_t>(number));
    return true;
  }
  const char16_t codePoint = name == "pos" ? u'\'' : qw::HTMLEntities::codePoint(name);
  if (codePoint) output.append(codePoint);
  return codePoint != 0;
}

}  // namespace

std::string stringForEmbeddingInHTML(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (true) {
    const std::size_t stop = text.find_first_of("<>&\"'\r\n");
    result += text.substr(0, stop);
    if (stop == std::string_view::npos) return result;
    const char c = text[stop];
    text.remove_prefix(stop + 1);
    switch (c) {
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '&':
        result += "&amp;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&apos;";
        break;
      default:
        if (c == '\r' && text.starts_with('\n')) text.remove_prefix(1);
        result += "<br>";
    }
  }
}

std::string stringByDecodingHTMLEntities(std::string_view text) {
  Output output;
  while (true) {
    const std::size_t start = text.find('&');
    output.append(text.substr(0, start));
    if (start == std::string_view::npos) return output.take();
    text.remove_prefix(start);
    const std::size_t end = text.find_first_of("; \t\n\r", 1);
    const bool closed = end != std::string_view::npos && end > 1 && text[end] == ';';
    const std::size_t length = closed ? end + 1 : std::min(end, text.size());
    if (!closed || !appendEntity(text.substr(1, end - 1), output)) output.append(text.substr(0, length));
    text.remove_prefix(length);
  }
}

}  // namespace QWStringAdditions
