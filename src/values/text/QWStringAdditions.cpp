#include "values/text/QWStringAdditions.h"

#include <glib.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <tuple>

#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "values/text/internal/UTF8.h"

namespace QWStringAdditions {
namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string takeText(gchar* text) {
  const std::unique_ptr<gchar, decltype(&g_free)> owned(text, g_free);
  return owned.get();
}

std::string digest(GChecksumType type, std::string_view text) {
  return takeText(
      g_compute_checksum_for_data(type, reinterpret_cast<const guchar*>(text.data()), text.size()));
}

/// The run of digits that `text` begins with.
std::string_view leadingDigits(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
  return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

/// Compares two runs of digits by value, without a limit on their length.
std::strong_ordering compareDigits(std::string_view a, std::string_view b) {
  a.remove_prefix(std::min(a.find_first_not_of('0'), a.size()));
  b.remove_prefix(std::min(b.find_first_not_of('0'), b.size()));
  return std::tuple(a.size(), a) <=> std::tuple(b.size(), b);
}

/// Compares the integers that two texts begin with, after optional blanks and a sign.
std::strong_ordering compareIntegers(std::string_view a, std::string_view b) {
  const auto read = [](std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const std::string_view digits = leadingDigits(text);
    return std::pair(negative && digits.find_first_not_of('0') != std::string_view::npos, digits);
  };
  const auto [aNegative, aDigits] = read(a);
  const auto [bNegative, bDigits] = read(b);
  if (aNegative != bNegative) return bNegative <=> aNegative;
  return aNegative ? compareDigits(bDigits, aDigits) : compareDigits(aDigits, bDigits);
}

using CaseMapping = void (*)(const char*, std::uint32_t, icu::StringPiece, icu::ByteSink&, icu::Edits*,
                             UErrorCode&);

std::string mapFirstCharacter(std::string_view text, CaseMapping mapping) {
  const std::size_t length = qw::UTF8::first(text).length;
  std::string result;
  icu::StringByteSink<std::string> sink(&result);
  UErrorCode status = U_ZERO_ERROR;
  mapping("", 0, icu::StringPiece(text.data(), static_cast<std::int32_t>(length)), sink, nullptr, status);
  return result.append(text.substr(length));
}

constexpr std::string_view kForbiddenInTags = " !'\"`#$%&()+*/=,;<>?@[]\\^|{}~";

}  // namespace

std::string stringWithCharacter(std::string_view character, std::size_t length) {
  std::string result;
  result.reserve(character.size() * length);
  for (std::size_t i = 0; i < length; ++i) result += character;
  return result;
}

std::string uniqueID() { return qw::ApplicationContext::uniqueID().text(); }

std::string temporaryPathWithExtension(std::string_view extension) {
  std::string name = uniqueID();
  if (!extension.empty()) name.append(".").append(extension);
  return qw::ApplicationContext::current().temporaryDirectory / name;
}

std::string MD5(std::string_view text) { return digest(G_CHECKSUM_MD5, text); }
std::string SHA1(std::string_view text) { return digest(G_CHECKSUM_SHA1, text); }
std::string SHA256(std::string_view text) { return digest(G_CHECKSUM_SHA256, text); }

std::string HMACMD5WithKey(std::string_view text, std::string_view key) {
  return takeText(g_compute_hmac_for_data(G_CHECKSUM_MD5, reinterpret_cast<const guchar*>(key.data()),
                                          key.size(), reinterpret_cast<const guchar*>(text.data()),
                                          text.size()));
}

std::strong_ordering numericCompare(std::string_view a, std::string_view b) {
  std::strong_ordering zeros = std::strong_ordering::equal;
  while (!a.empty() && !b.empty()) {
    if (isDigit(a.front()) && isDigit(b.front())) {
      const std::string_view aDigits = leadingDigits(a);
      const std::string_view bDigits = leadingDigits(b);
      if (const auto order = compareDigits(aDigits, bDigits); order != 0) return order;
      if (zeros == 0) zeros = aDigits.size() <=> bDigits.size();
      a.remove_prefix(aDigits.size());
      b.remove_prefix(bDigits.size());
    } else {
      const auto order = static_cast<unsigned char>(a.front()) <=> static_cast<unsigned char>(b.front());
      if (order != 0) return order;
      a.remove_prefix(1);
      b.remove_prefix(1);
    }
  }
  if (const auto order = a.size() <=> b.size(); order != 0) return order;
  return zeros;
}

std::strong_ordering compareToVersion(std::string_view version, std::string_view other) {
  while (true) {
    const std::size_t end = version.find('.');
    const std::size_t otherEnd = other.find('.');
    const auto order = compareIntegers(version.substr(0, end), other.substr(0, otherEnd));
    if (order != 0) return order;
    const bool more = end != std::string_view::npos;
    const bool otherMore = otherEnd != std::string_view::npos;
    if (!more || !otherMore) return more <=> otherMore;
    version.remove_prefix(end + 1);
    other.remove_prefix(otherEnd + 1);
  }
}

std::string firstLetterCapitalizedString(std::string_view text) {
  return mapFirstCharacter(text, icu::CaseMap::utf8ToUpper);
}

std::string firstLetterUncapitalizedString(std::string_view text) {
  return mapFirstCharacter(text, icu::CaseMap::utf8ToLower);
}

std::string localizedString(std::string_view key) { return qw::Localization::applicationString(key); }

std::string libraryLocalizedString(std::string_view key) { return qw::Localization::frameworkString(key); }

bool isValidXMLTag(std::string_view tag, std::string* correctedTag) {
  const char32_t first = qw::UTF8::first(tag).codePoint;
  const bool validStart =
      !tag.empty() && first != '-' && first != '.' && !u_isdigit(static_cast<UChar32>(first));
  const bool valid = validStart && tag.find_first_of(kForbiddenInTags) == std::string_view::npos;
  if (correctedTag) {
    std::string corrected = validStart ? "" : "_";
    corrected += tag;
    for (char& c : corrected) {
      if (kForbiddenInTags.find(c) != std::string_view::npos) c = '_';
    }
    *correctedTag = std::move(corrected);
  }
  return valid;
}

}  // namespace QWStringAdditions
