#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Data.h"
#include "platform/base/Export.h"

/// Encodings of bytes as text and their compression. Free functions without state, callable from any thread;
/// what cannot be decoded is no value.
namespace QW_EXPORT QWDataAdditions {

/// Decodes Base64 (RFC 4648, section 4); CR and LF are ignored. Strict otherwise: no other foreign
/// characters, padding required, unused bits zero, so that each text that decodes is the one that encodes the
/// bytes.
std::optional<qw::Data> dataFromBase64String(std::string_view text);
/// Encodes as padded Base64. With `separateLines`, CR LF parts lines of 76 characters (RFC 2045); none ends
/// the text.
std::string base64EncodedString(const qw::Data& data, bool separateLines = true);
/// Encodes for URLs and file names (RFC 4648, section 5), in one line and without padding.
std::string base64URLEncodedString(const qw::Data& data);

/// Two lower-case hexadecimal digits a byte.
std::string hexadecimalString(const qw::Data& data);

/// What inflated data may grow to unless the caller says otherwise: 1 GiB.
inline constexpr std::size_t kDefaultInflatedSize = std::size_t{1} << 30;

/// Inflates a zlib (RFC 1950) or gzip (RFC 1952) stream; gzip members that follow directly are appended,
/// other bytes after the stream are ignored. None if the stream is damaged, cut short, or yields more than
/// `maximumSize` bytes, which bounds the memory used. Empty data gives empty data.
std::optional<qw::Data> gzipInflate(const qw::Data& data, std::size_t maximumSize = kDefaultInflatedSize);
/// Compresses into one gzip stream. Empty data gives empty data; none only for lack of memory.
std::optional<qw::Data> gzipDeflate(const qw::Data& data);

}  // namespace QWDataAdditions
