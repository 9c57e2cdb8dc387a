#pragma once

#include <compare>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/Size.h"
#include "platform/system/TextEncoding.h"

/// Operations on texts: identifiers, digests, comparison, percent-encoding, HTML, patterns and object paths.
/// All are free functions without state, callable from any thread. Texts are UTF-8 and offsets count bytes;
/// bytes that are no UTF-8 never fail but are copied, or become U+FFFD where a text must be decoded to be
/// worked on.
namespace QW_EXPORT QWStringAdditions {

/// `character` repeated `length` times.
std::string stringWithCharacter(std::string_view character, std::size_t length);

/// A new UUID (RFC 9562) from the application context, in its canonical upper-case text form.
std::string uniqueID();

/// A path in the application context's temporary directory that no other process or call gets; nothing is
/// created there. The extension is given without its point and left out if empty.
std::string temporaryPathWithExtension(std::string_view extension);

/// MD5 (RFC 1321) of the text's bytes as 32 lower-case hexadecimal digits. Not for security.
std::string MD5(std::string_view text);
/// SHA-1 (FIPS 180-4) as 40 lower-case hexadecimal digits. Not for security.
std::string SHA1(std::string_view text);
/// SHA-256 (FIPS 180-4) as 64 lower-case hexadecimal digits.
std::string SHA256(std::string_view text);
/// Lower-case hexadecimal HMAC-MD5 (RFC 2104), 32 characters.
std::string HMACMD5WithKey(std::string_view text, std::string_view key);

/// Compares by code points, runs of decimal digits by their value whatever their length ("file2" before
/// "file10"). Texts that differ only in leading zeros are ordered by the first such difference, fewer zeros
/// first, so that only identical texts are equal.
std::strong_ordering numericCompare(std::string_view a, std::string_view b);

/// Compares two versions component by component, split at "."; each counts as the integer it begins with, of
/// any length, else as 0. When all common components are equal, the version with more components is the
/// greater one.
std::strong_ordering compareToVersion(std::string_view version, std::string_view other);

/// The text with its first character in upper case by the full Unicode mapping, the rest unchanged.
std::string firstLetterCapitalizedString(std::string_view text);
/// The same in lower case.
std::string firstLetterUncapitalizedString(std::string_view text);

/// The text of a key in the application's default string table, or the key itself.
std::string localizedString(std::string_view key);
/// The text of a key in the framework's own default string table, or the key itself.
std::string libraryLocalizedString(std::string_view key);

/// Percent-encodes every byte outside the unreserved set of RFC 3986 (letters, digits, "-", ".", "_", "~").
std::string URLEncodedString(std::string_view text);
/// The same for the bytes of the text in another encoding; none if it cannot write the text.
std::optional<std::string> URLEncodedStringUsingEncoding(std::string_view text, qw::TextEncoding encoding);
/// Decodes percent escapes as UTF-8. An escape that is malformed, or whose byte belongs to no UTF-8 sequence,
/// stays in the text as it stands.
std::string URLDecodedString(std::string_view text);
/// Decodes percent escapes as bytes of another encoding. The whole text stays as it stands if they are none.
std::string URLDecodedStringUsingEncoding(std::string_view text, qw::TextEncoding encoding);
/// The pairs of a query split at "&" and divided at the first "=", both sides percent-decoded; "+" is not a
/// blank. A piece without "=" has the empty value, a later equal name replaces an earlier one.
std::map<std::string, std::string, std::less<>> URLQueryParameters(std::string_view query);

/// Whether `tag` may be the name of an XML element: not empty, not beginning with "-", "." or a decimal
/// digit, free of blanks and of the punctuation that XML forbids. `correctedTag`, when given, always receives
/// a valid form of the tag.
bool isValidXMLTag(std::string_view tag, std::string* correctedTag = nullptr);

/// The text with <, >, &, ", ' as named references and each CR LF, LF or CR as "<br>".
std::string stringForEmbeddingInHTML(std::string_view text);

/// The text with the HTML 4.01 character references decoded; "&apos;", which HTML 4.01 lacks, stays ("&pos;"
/// is the apostrophe), and so does any unknown or unclosed reference. A decimal reference stands for one
/// UTF-16 code unit (hexadecimal digits are not read: "&#x41;" is U+0000): two that directly follow each
/// other may form a surrogate pair, a lone surrogate becomes U+FFFD, and a number beyond 65535 stays as it
/// stands.
std::string stringByDecodingHTMLEntities(std::string_view text);

/// A run of bytes in a text.
struct QW_EXPORT TextRange {
  /// The location of a range that is nowhere.
  static constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);
  /// Its first byte.
  std::size_t location = kNotFound;
  /// In bytes.
  std::size_t length = 0;
  friend bool operator==(const TextRange&, const TextRange&) = default;
};

/// The ranges of a match, the whole at index 0 and then each capture group; a group that took no part is not
/// found.
struct QW_EXPORT PatternMatch {
  /// Never empty.
  std::vector<TextRange> ranges;
  /// The part of the matched text that a group captured, empty if the group took no part.
  std::string_view capture(std::string_view text, std::size_t group) const;
};

/// The first match of a case-insensitive regular expression (ICU syntax) if it spans the whole text. None
/// otherwise, for an invalid pattern, and for one that needs excessive backtracking.
std::optional<PatternMatch> patternMatch(std::string_view text, std::string_view pattern);

/// The text with every match of a case-insensitive regular expression replaced by a template, in which $1
/// stands for a capture group and a backslash takes the next character literally. Unchanged for an invalid
/// pattern or template, and for a pattern that needs excessive backtracking.
std::string stringByReplacingOccurrencesOfPattern(std::string_view text, std::string_view pattern,
                                                  std::string_view replacement);

/// An object path writes a hierarchy as "Group : Subgroup : Leaf": components between ":", each with optional
/// blanks and tabs around it. The components, trimmed; an empty path has one, empty component.
std::vector<std::string> objectPathComponents(std::string_view path);
/// What stands before the first ":", without trailing blanks; the path itself if it has no ":"; none if only
/// blanks precede the ":".
std::optional<std::string> firstObjectPathComponent(std::string_view path);
/// What follows the first ":", without leading blanks; none if there is no ":" or only blanks follow it.
std::optional<std::string> stringByDeletingFirstObjectPathComponent(std::string_view path);
/// `path` + " : " + `component`; the component alone if the path is empty.
std::string stringByAppendingObjectPathComponent(std::string_view path, std::string_view component);
/// The path with " : " between its components.
std::string stringByStandardizingObjectPathComponents(std::string_view path);

/// How much room a text on one line takes, in whole points, each rounded up. `font` is a font description of
/// Pango's ("Sans Bold 12"); fonts that the system lacks are replaced by others. An empty text has the height
/// of a line; a text longer than `kMaxMeasuredSize` has no size.
qw::Size singleLineSizeWithFont(std::string_view text, std::string_view font);
/// Of a text that is measured, in bytes.
inline constexpr std::size_t kMaxMeasuredSize = 65'536;

}  // namespace QWStringAdditions
