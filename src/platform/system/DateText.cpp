#include "platform/system/DateText.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/TimeZone.h"

namespace qw::DateText {

namespace {

int scanInteger(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) ++at;
  const bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  int value = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) value = value * 10 + (text[at] - '0');
  return negative ? -value : value;
}

// A field of `width` characters, which nearly always are digits.
template <std::size_t width>
int field(const char* text) {
  int value = 0;
  unsigned largest = 0;
  for (std::size_t i = 0; i < width; ++i) {
    const unsigned digit = static_cast<unsigned char>(text[i]) - static_cast<unsigned>('0');
    largest = std::max(largest, digit);
    value = value * 10 + static_cast<int>(digit & 0xFF);
  }
  return largest <= 9 ? value : scanInteger({text, width});
}

std::int64_t readDays(std::string_view text, ShortYear shortYear) {
  int year = field<4>(text.data());
  if (shortYear == ShortYear::japaneseEra && year <= 99) year += year > 9 ? 1988 : 2018;
  return CivilDate::days(year, field<2>(text.data() + 5), field<2>(text.data() + 8));
}

char* writeTwo(char* out, int value) {
  out[0] = static_cast<char>('0' + value / 10);
  out[1] = static_cast<char>('0' + value % 10);
  return out + 2;
}

char* computeDays(std::int64_t days, char* out) {
  const CivilDate date = CivilDate::fromDays(days);
  const auto year = static_cast<int>(date.year > 0 ? date.year : 1 - date.year);
  if (year >= 10'000) {
    const int upper = year / 10'000;
    if (upper >= 10) *out++ = static_cast<char>('0' + upper / 10);
    *out++ = static_cast<char>('0' + upper % 10);
  }
  out = writeTwo(out, year / 100 % 100);
  out = writeTwo(out, year % 100);
  *out++ = '-';
  out = writeTwo(out, date.month);
  *out++ = '-';
  return writeTwo(out, date.day);
}

/// Rows that are written together share few days, so each thread remembers the texts of some.
char* writeDays(std::int64_t days, char* out) {
  struct Entry {
    std::int32_t day = INT32_MIN;
    char text[12];
  };
  thread_local std::array<Entry, 512> recent;
  constexpr std::int64_t kFirst = CivilDate::days(1000, 1, 1), kLast = CivilDate::days(9999, 12, 31);
  if (days < kFirst || days > kLast) return computeDays(days, out);
  Entry& entry = recent[static_cast<std::size_t>(days) % recent.size()];
  if (entry.day != days) {
    computeDays(days, entry.text);
    entry.day = static_cast<std::int32_t>(days);
  }
  std::memcpy(out, entry.text, 10);
  return out + 10;
}

template <char* (*write)(Date, char*)>
std::string textOf(Date date) {
  std::array<char, kMaxSize> buffer;
  return std::string(buffer.data(), write(date, buffer.data()));
}

}  // namespace

std::optional<Date> readDate(std::string_view text, ShortYear shortYear) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') return std::nullopt;
  const std::int64_t days = readDays(text, shortYear);
  return Date::fromSeconds(TimeZone::current().utcFromLocal(days * CivilDate::kSecondsPerDay));
}

std::optional<Date> readDateTime(std::string_view text, ShortYear shortYear) {
  if (text.size() != 19 || text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' ||
      text[16] != ':') {
    return std::nullopt;
  }
  const std::int64_t days = readDays(text, shortYear);
  const int time =
      field<2>(text.data() + 11) * 3600 + field<2>(text.data() + 14) * 60 + field<2>(text.data() + 17);
  return Date::fromSeconds(days * CivilDate::kSecondsPerDay + time);
}

char* writeDate(Date date, char* out) {
  return writeDays(floorDivide(TimeZone::current().localFromUTC(date.seconds()), CivilDate::kSecondsPerDay),
                   out);
}

char* writeDateTime(Date date, char* out) {
  const std::int64_t days = floorDivide(date.seconds(), CivilDate::kSecondsPerDay);
  const auto time = static_cast<int>(date.seconds() - days * CivilDate::kSecondsPerDay);
  out = writeDays(days, out);
  *out++ = ' ';
  out = writeTwo(out, time / 3600);
  *out++ = ':';
  out = writeTwo(out, time / 60 % 60);
  *out++ = ':';
  return writeTwo(out, time % 60);
}

std::string dateText(Date date) { return textOf<writeDate>(date); }
std::string dateTimeText(Date date) { return textOf<writeDateTime>(date); }

}  // namespace qw::DateText
