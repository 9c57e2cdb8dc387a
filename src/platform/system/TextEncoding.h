#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Data.h"
#include "platform/base/Error.h"
#include "platform/base/Export.h"

namespace qw {

/// A way to write text as bytes (a "charset" of the IANA registry). A small value, copied freely; callable
/// from any thread. Both directions are strict: what the encoding does not define is an error that names the
/// place, never a replacement character, a look-alike or a control character, so that what was read can be
/// written back unharmed.
///
///     auto encoding = qw::TextEncoding::named("windows-1252");
///     auto text = encoding->decode(bytes, &error);
class QW_EXPORT TextEncoding {
 public:
  /// The domain of `ErrorCode`.
  static constexpr std::string_view kErrorDomain = "QWTextEncodingErrorDomain";
  /// Why bytes or a text could not be converted.
  enum ErrorCode { kInvalidBytes = 1, kNotEncodable = 2, kUnavailable = 3 };
  /// What is known about one encoding; internal.
  struct Charset;

  /// UTF-8 (RFC 3629).
  static TextEncoding utf8();
  /// The encoding of an IANA name or a common alias, without regard to case and punctuation; none when it is
  /// not one of the 33 that are supported.
  static std::optional<TextEncoding> named(std::string_view name);

  /// The encoding that bytes are most likely in: that of a byte-order mark, UTF-16 where there are zeros,
  /// UTF-8 if they are valid, or else what the frequencies of their characters suggest, and in doubt
  /// windows-1252 or macintosh. UTF-16 is not checked.
  static TextEncoding guess(std::string_view bytes);

  /// Its preferred IANA name, for instance "UTF-8".
  std::string_view name() const;

  /// The text of the bytes as UTF-8. A byte-order mark at the start of UTF-8 or UTF-16 is dropped. Fails at
  /// the first bytes that are no character; the description tells their offset.
  std::optional<std::string> decode(std::string_view bytes, Error* error = nullptr) const;
  /// The bytes of a UTF-8 text, without a byte-order mark. Fails at the first character that the encoding
  /// lacks, or where the text is no UTF-8; the description tells the byte offset in the text.
  std::optional<Data> encode(std::string_view text, Error* error = nullptr) const;

  friend bool operator==(TextEncoding a, TextEncoding b) { return a.charset_ == b.charset_; }

  /// Number of bytes at the start of the text that are whole, well-formed UTF-8 characters (Unicode, table
  /// 3-7); all of them when the text is valid.
  static std::size_t validUTF8Length(std::string_view text);

 private:
  explicit TextEncoding(const Charset* charset) : charset_(charset) {}

  const Charset* charset_;
};

}  // namespace qw
