#include "platform/system/TextEncoding.h"

#include <fmt/format.h>
#include <unicode/ucnv.h>
#include <unicode/ucsdet.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/system/Localization.h"

namespace qw {

struct TextEncoding::Charset {
  enum class Kind { kUTF8, kSingleByte, kMultiByte };
  // Where the converter of ICU is not strict or not right by itself.
  enum class Quirk {
    kNone,
    kUndefinedAsControls,  // undefined bytes decode to C1 controls or to the last private-use characters
    kPermutedControls,     // the bytes 1A, 1C and 7F are exchanged in a ring
    kModes,  // starts with an idle "~}", leaves out the last one, overlooks a cut character at the end
  };

  const char* name;
  Kind kind;
  Quirk quirk = Quirk::kNone;
  std::string_view mark = {};
  // The characters of the bytes A0 to FF where ICU carries no table.
  std::u16string_view upperPart = {};

  bool isUTF16() const { return mark.size() == 2; }
  bool refuses(char32_t character) const {
    return quirk == Quirk::kUndefinedAsControls &&
           ((character >= 0x80 && character <= 0x9F) || (character >= 0xF8F0 && character <= 0xF8FF));
  }
};

namespace {

using Charset = TextEncoding::Charset;
using Kind = Charset::Kind;
using Quirk = Charset::Quirk;

constexpr Charset kCharsets[] = {
    {"UTF-8", Kind::kUTF8, Quirk::kNone, "\xEF\xBB\xBF"},
    {"UTF-16BE", Kind::kMultiByte, Quirk::kNone, "\xFE\xFF"},
    {"UTF-16LE", Kind::kMultiByte, Quirk::kNone, "\xFF\xFE"},
    {"US-ASCII", Kind::kSingleByte},
    {"macintosh", Kind::kSingleByte},
    {"ISO-8859-1", Kind::kSingleByte},
    {"ISO-8859-2", Kind::kSingleByte},
    {"ISO-8859-3", Kind::kSingleByte},
    {"ISO-8859-4", Kind::kSingleByte},
    {"ISO-8859-5", Kind::kSingleByte},
    {"ISO-8859-6", Kind::kSingleByte},
    {"ISO-8859-7", Kind::kSingleByte},
    {"ISO-8859-8", Kind::kSingleByte},
    {"ISO-8859-9", Kind::kSingleByte},
    {"ISO-8859-10", Kind::kSingleByte},
    {"ISO-8859-11", Kind::kSingleByte},
    {"ISO-8859-13", Kind::kSingleByte},
    {"ISO-8859-14", Kind::kSingleByte},
    {"ISO-8859-15", Kind::kSingleByte},
    {"ISO-8859-16", Kind::kSingleByte, Quirk::kNone, "",
     u"\u00A0\u0104\u0105\u0141\u20AC\u201E\u0160\u00A7\u0161\u00A9\u0218\u00AB\u0179\u00AD\u017A\u017B"
     u"\u00B0\u00B1\u010C\u0142\u017D\u201D\u00B6\u00B7\u017E\u010D\u0219\u00BB\u0152\u0153\u0178\u017C"
     u"\u00C0\u00C1\u00C2\u0102\u00C4\u0106\u00C6\u00C7\u00C8\u00C9\u00CA\u00CB\u00CC\u00CD\u00CE\u00CF"
     u"\u0110\u0143\u00D2\u00D3\u00D4\u0150\u00D6\u015A\u0170\u00D9\u00DA\u00DB\u00DC\u0118\u021A\u00DF"
     u"\u00E0\u00E1\u00E2\u0103\u00E4\u0107\u00E6\u00E7\u00E8\u00E9\u00EA\u00EB\u00EC\u00ED\u00EE\u00EF"
     u"\u0111\u0144\u00F2\u00F3\u00F4\u0151\u00F6\u015B\u0171\u00F9\u00FA\u00FB\u00FC\u0119\u021B\u00FF"},
    {"windows-1250", Kind::kSingleByte, Quirk::kUndefinedAsControls},
    {"windows-1251", Kind::kSingleByte, Quirk::kUndefinedAsControls},
    {"windows-1252", Kind::kSingleByte, Quirk::kUndefinedAsControls},
    {"windows-1253", Kind::kSingleByte, Quirk::kUndefinedAsControls},
    {"windows-1254", Kind::kSingleByte, Quirk::kUndefinedAsControls},
    {"Shift_JIS", Kind::kMultiByte, Quirk::kPermutedControls},
    {"Big5", Kind::kMultiByte, Quirk::kUndefinedAsControls},
    {"Big5-HKSCS", Kind::kMultiByte},
    {"GB2312", Kind::kMultiByte, Quirk::kUndefinedAsControls},
    {"GBK", Kind::kMultiByte, Quirk::kUndefinedAsControls},
    {"GB18030", Kind::kMultiByte},
    {"HZ-GB-2312", Kind::kMultiByte, Quirk::kModes},
    {"ISO-2022-CN", Kind::kMultiByte},
};

constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

void append(std::string& text, char32_t character) {
  std::array<std::uint8_t, U8_MAX_LENGTH> bytes;
  std::size_t length = 0;
  U8_APPEND_UNSAFE(bytes, length, character);
  text.append(reinterpret_cast<const char*>(bytes.data()), length);
}

// The character at a place of a valid text; moves the place behind it.
char32_t nextCharacter(std::string_view text, std::size_t& place) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  char32_t character = 0;
  U8_NEXT_UNSAFE(bytes, place, character);
  return character;
}

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

// Leaves the error as it is. UCNV_FROM_U_CALLBACK_STOP clears it for "default ignorable" characters (soft
// hyphens, joiners), which would drop them without a word.
void stopAtAnyCharacter(const void*, UConverterFromUnicodeArgs*, const UChar*, std::int32_t, UChar32,
                        UConverterCallbackReason, UErrorCode*) {}

// Null when ICU carries no table for it.
Converter openConverter(const Charset& charset) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(charset.name, &status));
  if (!converter) return nullptr;
  status = U_ZERO_ERROR;
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter.get(), stopAtAnyCharacter, nullptr, nullptr, nullptr, &status);
  ucnv_setFallback(converter.get(), false);
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

// The 256 characters of a single-byte encoding, and the way back.
class ByteTable {
 public:
  explicit ByteTable(const Charset& charset) {
    characters_.fill(kUndefined);
    Converter converter;
    if (charset.upperPart.empty() && !(converter = openConverter(charset))) return;
    for (std::size_t byte = 0; byte < characters_.size(); ++byte) {
      const char character = static_cast<char>(byte);
      std::array<UChar, 4> units;
      UErrorCode status = U_ZERO_ERROR;
      if (!converter)
        units[0] = byte < 0xA0 ? static_cast<char16_t>(byte) : charset.upperPart[byte - 0xA0];
      else if (ucnv_toUChars(converter.get(), units.data(), units.size(), &character, 1, &status) != 1)
        continue;
      if (U_FAILURE(status) || charset.refuses(units[0])) continue;
      characters_[byte] = units[0];
      bytes_.emplace_back(units[0], static_cast<std::uint8_t>(byte));
    }
    std::sort(bytes_.begin(), bytes_.end());
  }

  // Made at the first use and kept for good.
  static const ByteTable& of(const Charset& charset) {
    static std::array<std::once_flag, std::size(kCharsets)> flags;
    static auto* tables = new std::array<std::unique_ptr<const ByteTable>, std::size(kCharsets)>;
    const auto index = static_cast<std::size_t>(&charset - kCharsets);
    std::call_once(flags[index], [&] { (*tables)[index] = std::make_unique<ByteTable>(charset); });
    return *(*tables)[index];
  }

  bool empty() const { return bytes_.empty(); }

  // The offset of the first byte without a character, or nowhere.
  std::size_t decode(std::string_view bytes, std::string& text) const {
    std::size_t size = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const char16_t character = characters_[static_cast<std::uint8_t>(bytes[i])];
      if (character == kUndefined) return i;
      size += character < 0x80 ? 1 : character < 0x800 ? 2 : 3;
    }
    text.reserve(size);
    for (const char byte : bytes) {
      const char16_t character = characters_[static_cast<std::uint8_t>(byte)];
      if (character < 0x80)
        text.push_back(static_cast<char>(character));
      else
        append(text, character);
    }
    return kNowhere;
  }

  // The offset of the first character without a byte, or nowhere.
  std::size_t encode(std::string_view text, std::vector<std::uint8_t>& bytes) const {
    bytes.reserve(text.size());
    for (std::size_t place = 0; place < text.size();) {
      const std::size_t start = place;
      const char32_t character = nextCharacter(text, place);
      if (character < 0x80) {  // the same byte in all of these encodings
        bytes.push_back(static_cast<std::uint8_t>(character));
        continue;
      }
      const auto found = std::lower_bound(bytes_.begin(), bytes_.end(), character,
                                          [](const auto& entry, char32_t key) { return entry.first < key; });
      if (found == bytes_.end() || found->first != character) return start;
      bytes.push_back(found->second);
    }
    return kNowhere;
  }

 private:
  static constexpr char16_t kUndefined = 0xFFFF;
  std::array<char16_t, 256> characters_;
  std::vector<std::pair<char16_t, std::uint8_t>> bytes_;
};

// Where a text of HZ (RFC 1843) ends.
enum class HZEnd { kASCII, kGB, kCut };

HZEnd endOfHZ(std::string_view bytes) {
  bool gb = false;
  for (std::size_t i = 0; i < bytes.size();) {
    if (!gb && bytes[i] != '~') {
      ++i;
      continue;
    }
    if (i + 1 == bytes.size()) return HZEnd::kCut;
    if (bytes[i] == '~' && bytes[i + 1] == (gb ? '}' : '{')) gb = !gb;
    i += 2;
  }
  return gb ? HZEnd::kGB : HZEnd::kASCII;
}

char16_t permutedToOwn(char16_t unit) {
  return unit == 0x1C ? 0x1A : unit == 0x7F ? 0x1C : unit == 0x1A ? 0x7F : unit;
}
char16_t ownToPermuted(char16_t unit) {
  return unit == 0x1A ? 0x1C : unit == 0x1C ? 0x7F : unit == 0x7F ? 0x1A : unit;
}

constexpr std::size_t kChunk = 2048;

// The offset of the first bytes that are no character, or nowhere.
std::size_t decodeMultiByte(const Charset& charset, UConverter* converter, std::string_view bytes,
                            std::string& text) {
  constexpr std::size_t kSlice = std::size_t{1} << 20;
  std::array<UChar, kChunk> units;
  std::array<std::int32_t, kChunk> offsets;
  const auto offsetOf = [&](const char* place, std::ptrdiff_t shift) {
    return static_cast<std::size_t>(std::max<std::ptrdiff_t>(place - bytes.data() + shift, 0));
  };
  const char* source = bytes.data();
  const char* const end = source + bytes.size();
  char16_t lead = 0;
  UErrorCode status;
  do {
    const char* const chunk = source;
    const char* const limit = source + std::min<std::size_t>(kSlice, static_cast<std::size_t>(end - source));
    UChar* target = units.data();
    status = U_ZERO_ERROR;
    ucnv_toUnicode(converter, &target, units.data() + units.size(), &source, limit, offsets.data(),
                   limit == end, &status);
    for (std::size_t i = 0; i < static_cast<std::size_t>(target - units.data()); ++i) {
      const char16_t unit = charset.quirk == Quirk::kPermutedControls ? permutedToOwn(units[i]) : units[i];
      if (charset.refuses(unit)) return offsetOf(chunk, std::max(offsets[i], 0));
      if (U16_IS_LEAD(unit))
        lead = unit;
      else
        append(text, U16_IS_TRAIL(unit) ? static_cast<char32_t>(U16_GET_SUPPLEMENTARY(lead, unit)) : unit);
    }
  } while (status == U_BUFFER_OVERFLOW_ERROR || (U_SUCCESS(status) && source != end));
  if (U_FAILURE(status)) {
    std::array<char, 64> invalid;
    auto length = static_cast<std::int8_t>(invalid.size());
    UErrorCode asked = U_ZERO_ERROR;
    ucnv_getInvalidChars(converter, invalid.data(), &length, &asked);
    return offsetOf(source, -length);
  }
  if (charset.quirk == Quirk::kModes && endOfHZ(bytes) == HZEnd::kCut) return bytes.size() - 1;
  return kNowhere;
}

// The offset of the first character that the encoding lacks, or nowhere.
std::size_t encodeMultiByte(const Charset& charset, UConverter* converter, std::string_view text,
                            std::string& bytes) {
  std::array<UChar, kChunk> units;
  std::array<std::size_t, kChunk> places;
  std::array<char, kChunk * 4> buffer;
  std::size_t place = 0;
  bool privateUse = false;
  do {
    std::size_t count = 0;
    while (place < text.size() && count + 1 < units.size()) {
      const std::size_t start = place;
      char32_t character = nextCharacter(text, place);
      if (charset.refuses(character)) return start;
      privateUse = privateUse || (character >= 0xE000 && character <= 0xF8FF);
      if (charset.quirk == Quirk::kPermutedControls && character < 0x80)
        character = ownToPermuted(static_cast<char16_t>(character));
      places[count] = places[count + 1] = start;
      U16_APPEND_UNSAFE(units, count, character);
    }
    const UChar* source = units.data();
    UErrorCode status;
    do {
      char* target = buffer.data();
      status = U_ZERO_ERROR;
      ucnv_fromUnicode(converter, &target, buffer.data() + buffer.size(), &source, units.data() + count,
                       nullptr, place == text.size(), &status);
      bytes.append(buffer.data(), target);
    } while (status == U_BUFFER_OVERFLOW_ERROR);
    if (U_FAILURE(status)) {
      std::array<UChar, 8> invalid;
      auto length = static_cast<std::int8_t>(invalid.size());
      UErrorCode asked = U_ZERO_ERROR;
      ucnv_getInvalidUChars(converter, invalid.data(), &length, &asked);
      return places[static_cast<std::size_t>(std::max<std::ptrdiff_t>(source - units.data() - length, 0))];
    }
  } while (place < text.size());
  if (charset.quirk == Quirk::kModes) {
    if (bytes.starts_with("~}")) bytes.erase(0, 2);
    if (endOfHZ(bytes) == HZEnd::kGB) bytes += "~}";
  }
  if (privateUse) {
    // ICU falls back to other characters for these, whatever it was told.
    std::string again;
    ucnv_reset(converter);
    decodeMultiByte(charset, converter, bytes, again);
    auto differs = static_cast<std::size_t>(
        std::mismatch(text.begin(), text.end(), again.begin(), again.end()).first - text.begin());
    while (differs > 0 && differs < text.size() && (text[differs] & 0xC0) == 0x80) --differs;
    if (differs < text.size()) return differs;
  }
  return kNowhere;
}

bool failInvalid(const Charset& charset, std::string_view bytes, std::size_t offset, Error* error) {
  const auto byte = offset < bytes.size() ? static_cast<std::uint8_t>(bytes[offset]) : 0;
  return Error::set(
      error, TextEncoding::kErrorDomain, TextEncoding::kInvalidBytes,
      Localization::frameworkFormat("Encoding.InvalidBytes",
                                    {charset.name, std::to_string(offset), fmt::format("{:02X}", byte)}));
}

/// By the statistics of ICU, the likeliest first.
std::vector<TextEncoding> likelyEncodings(std::string_view bytes) {
  // The detector looks at the first 8,000 bytes: they are taken from where the letters are that tell.
  constexpr std::size_t kSample = 8000;
  const auto isTelling = [](char c) { return (c & 0x80) != 0; };
  const auto telling = std::find_if(bytes.begin(), bytes.end(), isTelling) - bytes.begin();
  const std::size_t line = bytes.substr(0, static_cast<std::size_t>(telling)).rfind('\n');
  const std::string_view sample = bytes.substr(line == bytes.npos ? 0 : line + 1, kSample);

  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<UCharsetDetector, decltype(&ucsdet_close)> detector(ucsdet_open(&status),
                                                                            &ucsdet_close);
  ucsdet_setText(detector.get(), sample.data(), static_cast<std::int32_t>(sample.size()), &status);
  std::int32_t count = 0;
  const UCharsetMatch** matches = ucsdet_detectAll(detector.get(), &count, &status);
  std::vector<TextEncoding> likely;
  for (std::int32_t i = 0; U_SUCCESS(status) && i < count; ++i) {
    constexpr std::int32_t kDoubtful = 30;  // percent
    if (ucsdet_getConfidence(matches[i], &status) < kDoubtful) break;
    const char* name = ucsdet_getName(matches[i], &status);
    // What is called Latin 1 is windows-1252 as a rule, which has the same letters and some more.
    const auto encoding = TextEncoding::named(std::string_view(name) == "ISO-8859-1" ? "windows-1252" : name);
    if (encoding) likely.push_back(*encoding);
  }
  return likely;
}

bool failUnavailable(const Charset& charset, Error* error) {
  return Error::set(error, TextEncoding::kErrorDomain, TextEncoding::kUnavailable,
                    Localization::frameworkFormat("Encoding.Unavailable", {charset.name}));
}

}  // namespace

TextEncoding TextEncoding::utf8() { return TextEncoding(&kCharsets[0]); }

std::optional<TextEncoding> TextEncoding::named(std::string_view name) {
  if (name.empty() || name.size() >= UCNV_MAX_CONVERTER_NAME_LENGTH || name.find('\0') != name.npos)
    return {};
  const std::string key(name);
  for (const Charset& charset : kCharsets)
    if (ucnv_compareNames(key.c_str(), charset.name) == 0) return TextEncoding(&charset);
  UErrorCode status = U_ZERO_ERROR;
  const char* converter = ucnv_getAlias(key.c_str(), 0, &status);
  if (!converter) return {};
  for (const Charset& charset : kCharsets) {
    status = U_ZERO_ERROR;
    const char* own = ucnv_getAlias(charset.name, 0, &status);
    if (own && std::strcmp(own, converter) == 0) return TextEncoding(&charset);
  }
  return {};
}

TextEncoding TextEncoding::guess(std::string_view bytes) {
  for (const Charset& charset : kCharsets)
    if (!charset.mark.empty() && bytes.starts_with(charset.mark)) return TextEncoding(&charset);
  // Text of two bytes a character holds zeros in one of them, which no other text does.
  const std::size_t zero = bytes.find('\0');
  if (zero != bytes.npos && bytes.size() % 2 == 0) return *named(zero % 2 == 0 ? "UTF-16BE" : "UTF-16LE");
  if (validUTF8Length(bytes) == bytes.size()) return utf8();
  for (const TextEncoding likely : likelyEncodings(bytes))
    if (likely.decode(bytes)) return likely;
  const TextEncoding usual = *named("windows-1252");
  return usual.decode(bytes) ? usual : *named("macintosh");
}

std::string_view TextEncoding::name() const { return charset_->name; }

std::optional<std::string> TextEncoding::decode(std::string_view bytes, Error* error) const {
  const Charset& charset = *charset_;
  const std::size_t marked = bytes.starts_with(charset.mark) ? charset.mark.size() : 0;
  const std::string_view rest = bytes.substr(marked);
  std::string text;
  std::size_t bad = kNowhere;
  switch (charset.kind) {
    case Kind::kUTF8:
      if (const std::size_t valid = validUTF8Length(rest); valid < rest.size())
        bad = valid;
      else
        text = rest;
      break;
    case Kind::kSingleByte: {
      const ByteTable& table = ByteTable::of(charset);
      if (table.empty()) return failUnavailable(charset, error), std::nullopt;
      bad = table.decode(rest, text);
      break;
    }
    case Kind::kMultiByte: {
      if (charset.isUTF16() && rest.size() >= 2 && rest[0] == charset.mark[1] && rest[1] == charset.mark[0]) {
        bad = 0;  // the mark of the other byte order
        break;
      }
      const Converter converter = openConverter(charset);
      if (!converter) return failUnavailable(charset, error), std::nullopt;
      bad = decodeMultiByte(charset, converter.get(), rest, text);
      break;
    }
  }
  if (bad == kNowhere) return text;
  failInvalid(charset, bytes, marked + bad, error);
  return std::nullopt;
}

std::optional<Data> TextEncoding::encode(std::string_view text, Error* error) const {
  const Charset& charset = *charset_;
  if (const std::size_t valid = validUTF8Length(text); valid < text.size()) {
    failInvalid(*utf8().charset_, text, valid, error);
    return std::nullopt;
  }
  if (charset.kind == Kind::kUTF8) return Data::fromText(text);
  Data data;
  std::size_t missing = kNowhere;
  if (charset.kind == Kind::kSingleByte) {
    const ByteTable& table = ByteTable::of(charset);
    if (table.empty()) return failUnavailable(charset, error), std::nullopt;
    std::vector<std::uint8_t> bytes;
    missing = table.encode(text, bytes);
    data = Data(std::move(bytes));
  } else {
    const Converter converter = openConverter(charset);
    if (!converter) return failUnavailable(charset, error), std::nullopt;
    std::string bytes;
    // At the start it would be read as the mark of the other byte order.
    missing = charset.isUTF16() && text.starts_with("\uFFFE")
                  ? 0
                  : encodeMultiByte(charset, converter.get(), text, bytes);
    data = Data::fromText(bytes);
  }
  if (missing == kNowhere) return data;
  std::size_t end = missing;
  const auto character = static_cast<std::uint32_t>(nextCharacter(text, end));
  Error::set(error, kErrorDomain, kNotEncodable,
             Localization::frameworkFormat("Encoding.NotEncodable",
                                           {charset.name, text.substr(missing, end - missing),
                                            fmt::format("{:04X}", character), std::to_string(missing)}));
  return std::nullopt;
}

std::size_t TextEncoding::validUTF8Length(std::string_view text) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::size_t size = text.size();
  std::size_t i = 0;
  while (i < size) {
    while (size - i >= sizeof(std::uint64_t)) {
      std::uint64_t word;
      std::memcpy(&word, bytes + i, sizeof word);
      if (word & 0x8080808080808080U) break;
      i += sizeof word;
    }
    const std::size_t start = i;
    while (i < size && bytes[i] < 0x80 && i - start < sizeof(std::uint64_t)) ++i;
    while (i < size && bytes[i] >= 0x80) {
      const std::uint8_t lead = bytes[i];
      const std::size_t length = lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
      if (length == 0 || size - i < length) return i;
      const std::uint8_t least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
      const std::uint8_t most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
      if (bytes[i + 1] < least || bytes[i + 1] > most) return i;
      for (std::size_t k = 2; k < length; ++k)
        if ((bytes[i + k] & 0xC0) != 0x80) return i;
      i += length;
    }
  }
  return i;
}

}  // namespace qw
