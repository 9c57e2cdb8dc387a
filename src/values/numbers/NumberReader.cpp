#include "values/numbers/NumberReader.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "values/text/internal/Blanks.h"
#include "values/text/internal/UTF8.h"

namespace qw {

namespace {

// A number's text is reduced to one byte a sign: ASCII digits, '.', ',', and these.
constexpr char kBlank = ' ';
constexpr char kApostrophe = '\'';
constexpr char kOwnDecimal = '\1';
constexpr char kOwnGrouping = '\2';
constexpr char kNone = '\0';

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The kind of a sign that people write in more than one way.
char kindOf(char32_t c) {
  switch (c) {
    case U'.':
    case U',':
      return static_cast<char>(c);
    case 0xFF0E:  // full-width full stop
      return '.';
    case 0xFF0C:  // full-width comma
      return ',';
    case U'\'':
    case 0x2019:  // right single quotation mark
      return kApostrophe;
    default:
      return u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR ? kBlank : kNone;
  }
}

// The operator or minus sign that an input method or a typesetter put another sign for; 0 for any other.
char plainSign(char32_t c) {
  constexpr char32_t kFullWidth = 0xFF01 - U'!';
  switch (c) {
    case 0x2212:  // minus sign
    case 0xFE63:  // small hyphen-minus
      return '-';
    case U'(' + kFullWidth:
    case U')' + kFullWidth:
    case U'*' + kFullWidth:
    case U'+' + kFullWidth:
    case U'-' + kFullWidth:
    case U'/' + kFullWidth:
    case U'%' + kFullWidth:
      return static_cast<char>(c - kFullWidth);
    default:
      return '\0';
  }
}

char kindOf(std::string_view separator, char own) {
  if (separator.empty()) return kNone;
  const UTF8::Character first = UTF8::first(separator);
  const char kind = first.length == separator.size() ? kindOf(first.codePoint) : kNone;
  return kind != kNone ? kind : own;
}

// Which bytes a text may hold to be one of kinds already.
constexpr auto kPlain = [] {
  std::array<bool, 256> table{};
  for (unsigned char c = '0'; c <= '9'; ++c) table[c] = true;
  table['.'] = table[','] = table[' '] = table['\''] = true;
  return table;
}();

}  // namespace

struct NumberReader::Signs {
  char decimal = kNone;
  char grouping = kNone;
};

NumberReader::NumberReader(NumberNotation notation)
    : notation_(std::move(notation)),
      decimal_(kindOf(notation_.decimalSeparator, kOwnDecimal)),
      grouping_(kindOf(notation_.groupingSeparator, kOwnGrouping)) {
  notation_.minusSign = trimmed(notation_.minusSign);
}

std::optional<Decimal> NumberReader::read(std::string_view text, Separators separators) const {
  text = trimmed(text);
  if (text.size() > kMaxTextSize) return std::nullopt;
  const std::size_t minus = sizeOfMinus(text);
  const bool negative = minus > 0;
  if (negative) text = trimmed(text.substr(minus));
  std::array<char, kMaxTextSize> buffer;
  if (!std::all_of(text.begin(), text.end(), [](char c) { return kPlain[static_cast<unsigned char>(c)]; })) {
    const auto size = normalized(text, buffer.data());
    if (!size) return std::nullopt;
    text = {buffer.data(), *size};
  }
  const auto value =
      parse(text, separators == Separators::kGuessed ? guess(text) : Signs{decimal_, grouping_});
  return value && negative ? -*value : value;
}

std::size_t NumberReader::sizeOfMinus(std::string_view text) const {
  if (!notation_.minusSign.empty() && text.starts_with(notation_.minusSign))
    return notation_.minusSign.size();
  const UTF8::Character first = UTF8::first(text);
  constexpr char32_t kEnDash = 0x2013;  // what some programs make of a hyphen before a number
  const bool isMinus =
      first.codePoint == U'-' || first.codePoint == kEnDash || plainSign(first.codePoint) == '-';
  return isMinus ? first.length : 0;
}

std::string_view NumberReader::withPlainSigns(std::string_view text, std::string& buffer) {
  if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; }))
    return text;
  buffer.clear();
  while (!text.empty()) {
    const UTF8::Character c = UTF8::first(text);
    const std::size_t length = std::max<std::size_t>(c.length, 1);
    const char sign = plainSign(c.codePoint);
    sign ? buffer += sign : buffer += text.substr(0, length);
    text.remove_prefix(length);
  }
  return buffer;
}

bool NumberReader::containsDecimalSeparator(std::string_view text, Separators separators) const {
  if (separators == Separators::kGuessed && text.find_first_of(".,") != text.npos) return true;
  if (separators == Separators::kGuessed && decimal_ != kOwnDecimal) return false;
  return !notation_.decimalSeparator.empty() && text.find(notation_.decimalSeparator) != text.npos;
}

/// Writes the text's kinds, one byte a sign, which are never more than its own bytes.
std::optional<std::size_t> NumberReader::normalized(std::string_view text, char* out) const {
  char* const begin = out;
  while (!text.empty()) {
    std::size_t length = 0;
    if (decimal_ == kOwnDecimal && text.starts_with(notation_.decimalSeparator)) {
      length = notation_.decimalSeparator.size();
      *out = kOwnDecimal;
    } else if (grouping_ == kOwnGrouping && text.starts_with(notation_.groupingSeparator)) {
      length = notation_.groupingSeparator.size();
      *out = kOwnGrouping;
    } else {
      const UTF8::Character c = UTF8::first(text);
      const std::int32_t digit = u_charDigitValue(static_cast<UChar32>(c.codePoint));
      length = c.length;
      *out = digit >= 0 ? static_cast<char>('0' + digit) : kindOf(c.codePoint);
    }
    if (length == 0 || *out == kNone) return std::nullopt;
    text.remove_prefix(length);
    ++out;
  }
  return static_cast<std::size_t>(out - begin);
}

NumberReader::Signs NumberReader::guess(std::string_view text) const {
  const auto has = [text](char c) { return text.find(c) != text.npos; };
  const std::size_t dot = text.rfind('.'), comma = text.rfind(',');
  const bool hasDot = dot != text.npos, hasComma = comma != text.npos;
  // A decimal separator that is neither of the two can mean nothing else.
  const bool own = decimal_ == kOwnDecimal && has(kOwnDecimal);
  if (hasDot && hasComma && !own) return dot > comma ? Signs{'.', ','} : Signs{',', '.'};
  for (const char grouping : {kBlank, kApostrophe, grouping_}) {
    if (grouping == '.' || grouping == ',' || grouping == kNone || !has(grouping)) continue;
    return {own ? kOwnDecimal : hasComma ? ',' : '.', grouping};
  }
  if (own) return {kOwnDecimal, hasComma ? ',' : hasDot ? '.' : kNone};
  if (!hasDot && !hasComma) return {'.', kNone};
  const char found = hasDot ? '.' : ',';
  const std::size_t groupSize = notation_.groupingSize;
  const std::size_t position = hasDot ? dot : comma;
  const std::string_view after = text.substr(position + 1, groupSize);
  const bool groups = text.find(found) != position || (found == grouping_ && after.size() == groupSize &&
                                                       std::all_of(after.begin(), after.end(), isDigit));
  if (groups) return {hasDot ? ',' : '.', found};
  return {found, kNone};
}

std::optional<Decimal> NumberReader::parse(std::string_view text, const Signs& signs) const {
  constexpr std::int64_t kFull = 100'000'000'000'000'000;  // one more digit still fits
  std::int64_t mantissa = 0;
  int fraction = 0;
  bool any = false, afterPoint = false, isLong = false;
  std::size_t group = 0;   // digits in the group being read
  std::size_t groups = 0;  // how many are complete
  std::size_t inner = 0;   // the size of those between the first and the last
  std::size_t first = 0;
  const std::size_t groupSize = notation_.groupingSize;
  const auto closes = [&] {
    return groups == 0 || (group == groupSize && first <= (inner ? inner : groupSize));
  };
  for (const char c : text) {
    if (isDigit(c)) {
      any = true;
      ++group;
      fraction += afterPoint;
      isLong |= mantissa >= kFull;
      if (!isLong) mantissa = mantissa * 10 + (c - '0');
    } else if (c == signs.decimal && !afterPoint) {
      if (!closes()) return std::nullopt;
      afterPoint = true;
    } else if (c == signs.grouping && !afterPoint) {
      if (groups == 0) {
        first = group;
        if (first == 0) return std::nullopt;
      } else {
        if (inner == 0) inner = group;
        if (group != inner || (inner != groupSize && inner != notation_.secondaryGroupingSize))
          return std::nullopt;
      }
      ++groups;
      group = 0;
    } else {
      return std::nullopt;
    }
  }
  if (!any || (!afterPoint && !closes())) return std::nullopt;
  if (!isLong) return Decimal::withMantissa(mantissa, -fraction);
  std::array<char, kMaxTextSize> digits;
  char* end = digits.data();
  for (const char c : text) {
    if (isDigit(c)) *end++ = c;
    if (c == signs.decimal) *end++ = '.';
  }
  return Decimal::fromText({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

}  // namespace qw
