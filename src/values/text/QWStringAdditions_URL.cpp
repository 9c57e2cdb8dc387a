#include <algorithm>

#include "values/text/QWStringAdditions.h"
#include "values/text/internal/UTF8.h"

namespace QWStringAdditions {
namespace {

bool isUnreserved(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
         c == '_' || c == '~';
}

int hexadecimalDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// The byte that an escape at the start of `text` stands for, or -1.
int leadingEscape(std::string_view text) {
  if (text.size() < 3 || text[0] != '%') return -1;
  const int high = hexadecimalDigit(text[1]);
  const int low = hexadecimalDigit(text[2]);
  return high < 0 || low < 0 ? -1 : high * 16 + low;
}

}  // namespace

std::string URLEncodedString(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    if (isUnreserved(c)) {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return result;
}

std::optional<std::string> URLEncodedStringUsingEncoding(std::string_view text, qw::TextEncoding encoding) {
  const auto bytes = encoding.encode(text);
  if (!bytes) return std::nullopt;
  return URLEncodedString(bytes->text());
}

std::string URLDecodedString(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    // One character at a time: what its escapes decode to, or its first escape as it stands.
    constexpr std::size_t kLongestCharacter = 4;
    std::string bytes;
    for (std::string_view rest = text; bytes.size() < kLongestCharacter; rest.remove_prefix(3)) {
      const int byte = leadingEscape(rest);
      if (byte < 0) break;
      bytes += static_cast<char>(byte);
    }
    std::size_t read = 3;
    if (bytes.empty()) {
      read = std::min(text.find('%', 1), text.size());
      result += text.substr(0, read);
    } else if (const std::size_t length = qw::UTF8::first(bytes).length) {
      read = 3 * length;
      result.append(bytes, 0, length);
    } else {
      result += text.substr(0, read);
    }
    text.remove_prefix(read);
  }
  return result;
}

std::string URLDecodedStringUsingEncoding(std::string_view text, qw::TextEncoding encoding) {
  if (encoding == qw::TextEncoding::utf8()) return URLDecodedString(text);
  std::string bytes;
  for (std::string_view rest = text; !rest.empty();) {
    if (const int byte = leadingEscape(rest); byte >= 0) {
      bytes += static_cast<char>(byte);
      rest.remove_prefix(3);
      continue;
    }
    // An ASCII character stands for its own byte, any other for those of the encoding.
    const std::size_t length = std::max<std::size_t>(qw::UTF8::first(rest).length, 1);
    const auto encoded = length > 1 ? encoding.encode(rest.substr(0, length)) : std::nullopt;
    bytes += encoded ? encoded->text() : rest.substr(0, length);
    rest.remove_prefix(length);
  }
  const auto decoded = encoding.decode(bytes);
  return decoded ? *decoded : std::string(text);
}

std::map<std::string, std::string, std::less<>> URLQueryParameters(std::string_view query) {
  std::map<std::string, std::string, std::less<>> parameters;
  while (true) {
    const std::size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    const std::size_t equals = pair.find('=');
    parameters.insert_or_assign(
        URLDecodedString(pair.substr(0, equals)),
        equals == std::string_view::npos ? "" : URLDecodedString(pair.substr(equals + 1)));
    if (end == std::string_view::npos) return parameters;
    query.remove_prefix(end + 1);
  }
}

}  // namespace QWStringAdditions
