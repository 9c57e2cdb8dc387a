#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "platform/system/TextEncoding.h"

// The first byte chooses the encoding, the others are the input. What is read is valid UTF-8 of bounded size
// and can be written so that it reads the same; what is written from the input taken as text reads back as
// that text. Only a mark at the start goes lost, as it should.
namespace {

constexpr const char* kNames[] = {
    "UTF-8",        "UTF-16BE",     "UTF-16LE",     "US-ASCII",    "macintosh",    "ISO-8859-1",
    "ISO-8859-3",   "ISO-8859-6",   "ISO-8859-8",   "ISO-8859-16", "windows-1250", "windows-1251",
    "windows-1252", "windows-1253", "windows-1254", "Shift_JIS",   "Big5",         "Big5-HKSCS",
    "GB2312",       "GBK",          "GB18030",      "HZ-GB-2312",  "ISO-2022-CN"};

void checkRoundTrip(qw::TextEncoding encoding, std::string_view text, bool mustBeWritable) {
  const auto bytes = encoding.encode(text);
  if (!bytes) {
    if (mustBeWritable) std::abort();
    return;
  }
  if (!text.starts_with("\uFEFF") && encoding.decode(bytes->text()) != text) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto encoding = qw::TextEncoding::named(kNames[data[0] % std::size(kNames)]);
  const std::string_view input(reinterpret_cast<const char*>(data + 1), size - 1);
  qw::Error error;
  if (const auto text = encoding->decode(input, &error)) {
    if (qw::TextEncoding::validUTF8Length(*text) != text->size() || text->size() > input.size() * 3)
      std::abort();
    checkRoundTrip(*encoding, *text, true);
  } else if (error.localizedDescription.empty()) {
    std::abort();
  }
  checkRoundTrip(*encoding, input, false);
  return 0;
}
