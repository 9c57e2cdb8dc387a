#include "values/text/QWDataAdditions.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace QWDataAdditions {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kURLAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
constexpr std::size_t kLineLength = 76;

constexpr std::uint8_t kForeign = 0xFF;
constexpr std::array<std::uint8_t, 256> kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kForeign);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return values;
}();

/// Base64 in one line, the last group cut to the characters that carry bits.
std::string encode(const qw::Data& data, std::string_view alphabet) {
  std::string text;
  text.reserve(data.size() / 3 * 4 + 6);
  std::uint32_t bits = 0;
  int count = 0;
  for (const std::uint8_t byte : data.bytes()) {
    bits = bits << 8 | byte;
    for (count += 8; count >= 6; count -= 6) text += alphabet[bits >> (count - 6) & 63];
  }
  if (count > 0) text += alphabet[bits << (6 - count) & 63];
  return text;
}

/// Feeds a zlib stream with input of any size, which it counts in 32 bits.
void feed(z_stream& stream, const qw::Data& data, std::size_t& position) {
  if (stream.avail_in > 0) return;
  const std::size_t piece = std::min<std::size_t>(data.size() - position, std::numeric_limits<uInt>::max());
  stream.next_in = const_cast<Bytef*>(data.data() + position);
  stream.avail_in = static_cast<uInt>(piece);
  position += piece;
}

/// Gives a zlib stream room behind what it has written.
void makeRoom(z_stream& stream, std::vector<std::uint8_t>& output, std::size_t written) {
  stream.next_out = output.data() + written;
  stream.avail_out =
      static_cast<uInt>(std::min<std::size_t>(output.size() - written, std::numeric_limits<uInt>::max()));
}

template <int (*End)(z_stream*)>
struct Ending {
  void operator()(z_stream* stream) const { End(stream); }
};

}  // namespace

std::optional<qw::Data> dataFromBase64String(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int count = 0;
  std::size_t characters = 0;
  std::size_t padding = 0;
  for (const char c : text) {
    if (c == '\r' || c == '\n') continue;
    ++characters;
    if (c == '=') {
      ++padding;
      continue;
    }
    const std::uint8_t value = kValues[static_cast<unsigned char>(c)];
    if (value == kForeign || padding > 0) return std::nullopt;
    bits = bits << 6 | value;
    count += 6;
    if (count >= 8) {
      count -= 8;
      bytes.push_back(static_cast<std::uint8_t>(bits >> count));
    }
  }
  const std::uint32_t unusedBits = bits & ((1u << count) - 1);
  // Groups of four, of which the padding replaces exactly the characters that carry no bits; one character
  // alone carries no byte.
  if (characters % 4 != 0 || unusedBits != 0 || count == 6 ||
      padding != static_cast<std::size_t>(count) / 2) {
    return std::nullopt;
  }
  return qw::Data(std::move(bytes));
}

std::string base64EncodedString(const qw::Data& data, bool separateLines) {
  std::string text = encode(data, kAlphabet);
  text.append((4 - text.size() % 4) % 4, '=');
  if (!separateLines) return text;
  std::string lines;
  lines.reserve(text.size() + text.size() / kLineLength * 2);
  for (std::size_t start = 0; start < text.size(); start += kLineLength) {
    if (start > 0) lines += "\r\n";
    lines.append(text, start, kLineLength);
  }
  return lines;
}

std::string base64URLEncodedString(const qw::Data& data) { return encode(data, kURLAlphabet); }

std::string hexadecimalString(const qw::Data& data) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  text.reserve(data.size() * 2);
  for (const std::uint8_t byte : data.bytes()) text += {kDigits[byte >> 4], kDigits[byte & 15]};
  return text;
}

std::optional<qw::Data> gzipInflate(const qw::Data& data, std::size_t maximumSize) {
  if (data.empty()) return qw::Data();
  z_stream stream{};
  constexpr int kDetectHeader = 32;
  if (inflateInit2(&stream, MAX_WBITS + kDetectHeader) != Z_OK) return std::nullopt;
  const std::unique_ptr<z_stream, Ending<inflateEnd>> ending(&stream);
  std::vector<std::uint8_t> output;
  maximumSize = std::min(maximumSize, output.max_size() - 1);
  output.resize(std::min(data.size() + data.size() / 2, maximumSize));
  std::size_t position = 0;
  std::size_t written = 0;
  while (true) {
    feed(stream, data, position);
    // One byte more than allowed tells too much from just enough.
    if (written == output.size()) {
      output.resize(std::min(written + std::max(written, data.size()) / 2 + 1, maximumSize + 1));
    }
    makeRoom(stream, output, written);
    const int status = inflate(&stream, Z_SYNC_FLUSH);
    written = static_cast<std::size_t>(stream.next_out - output.data());
    if (written > maximumSize) return std::nullopt;
    if (status == Z_STREAM_END) {
      feed(stream, data, position);
      const bool anotherMember =
          stream.avail_in >= 2 && stream.next_in[0] == 0x1F && stream.next_in[1] == 0x8B;
      if (!anotherMember) break;
      if (inflateReset(&stream) != Z_OK) return std::nullopt;
    } else if (status != Z_OK && !(status == Z_BUF_ERROR && written == output.size())) {
      return std::nullopt;  // damaged, or no input left
    }
  }
  output.resize(written);
  return qw::Data(std::move(output));
}

std::optional<qw::Data> gzipDeflate(const qw::Data& data) {
  if (data.empty()) return qw::Data();
  z_stream stream{};
  constexpr int kGzipHeader = 16;
  constexpr int kMemoryLevel = 8;
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, MAX_WBITS + kGzipHeader, kMemoryLevel,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    return std::nullopt;
  }
  const std::unique_ptr<z_stream, Ending<deflateEnd>> ending(&stream);
  constexpr std::size_t kStep = 16384;
  std::vector<std::uint8_t> output(kStep);
  std::size_t position = 0;
  std::size_t written = 0;
  int status = Z_OK;
  while (status != Z_STREAM_END) {
    feed(stream, data, position);
    if (written == output.size()) output.resize(written + std::max(written / 2, kStep));
    makeRoom(stream, output, written);
    status = deflate(&stream, position == data.size() ? Z_FINISH : Z_NO_FLUSH);
    if (status != Z_OK && status != Z_STREAM_END && status != Z_BUF_ERROR) return std::nullopt;
    written = static_cast<std::size_t>(stream.next_out - output.data());
  }
  output.resize(written);
  return qw::Data(std::move(output));
}

}  // namespace QWDataAdditions
