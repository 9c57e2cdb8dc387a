#include "values/dates/internal/DatePattern.h"

#include <algorithm>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/Clock.h"
#include "platform/system/TimeZone.h"

namespace qw {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kTwoDigitFields = "dMLHhKkms";
constexpr std::string_view kNumericFields = "dHhKkmsyuDFwWS";

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool contains(std::string_view letters, char letter) {
  return letters.find(letter) != std::string_view::npos;
}

int daysInMonth(std::int64_t year, int month) {
  return static_cast<int>(CivilDate::days(year, month + 1, 1) - CivilDate::days(year, month, 1));
}

void appendPadded(std::string& text, std::int64_t value, int width) {
  const std::string digits = std::to_string(value);
  text.append(static_cast<std::size_t>(std::max<std::int64_t>(0, width - std::ssize(digits))), '0');
  text += digits;
}

// Letters in quotes, the rest without: blanks that are not quoted need not be typed.
void appendLiteral(std::string& pattern, std::string_view literal) {
  bool quoted = false;
  for (const char c : literal) {
    if (c == '\'') {
      pattern += "''";
      continue;
    }
    if (isLetter(c) != quoted) {
      pattern += '\'';
      quoted = !quoted;
    }
    pattern += c;
  }
  if (quoted) pattern += '\'';
}

}  // namespace

DatePattern::DatePattern(std::string_view pattern) {
  const auto literal = [&]() -> std::string& {
    if (parts_.empty() || parts_.back().letter != 0) parts_.emplace_back();
    return parts_.back().literal;
  };
  bool quoted = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    if (c == '\'') {
      if (i + 1 < pattern.size() && pattern[i + 1] == '\'') {
        literal() += c;
        ++i;
      } else {
        quoted = !quoted;
      }
    } else if (quoted || !isLetter(c)) {
      literal() += c;
    } else if (i > 0 && pattern[i - 1] == c && !parts_.empty() && parts_.back().letter == c) {
      ++parts_.back().count;
    } else {
      parts_.push_back({c, 1, {}});
    }
  }
}

bool DatePattern::has(std::string_view letters) const {
  return std::any_of(parts_.begin(), parts_.end(),
                     [&](const Part& part) { return part.letter != 0 && contains(letters, part.letter); });
}

bool DatePattern::hasNumericMonth() const {
  for (std::size_t i = 0; i < parts_.size(); ++i)
    if (contains("ML", parts_[i].letter) && isNumeric(i)) return true;
  return false;
}

std::size_t DatePattern::position(char letter) const {
  const auto found =
      std::find_if(parts_.begin(), parts_.end(), [&](const Part& part) { return part.letter == letter; });
  return static_cast<std::size_t>(found - parts_.begin());
}

bool DatePattern::isNumeric(std::size_t part) const {
  if (part >= parts_.size() || parts_[part].letter == 0) return false;
  const char letter = parts_[part].letter;
  return contains(kNumericFields, letter) || (contains("ML", letter) && parts_[part].count <= 2);
}

bool DatePattern::isAbutting(std::size_t part) const {
  return (part > 0 && isNumeric(part - 1)) || isNumeric(part + 1);
}

std::string DatePattern::forReading(Years years) const {
  std::string pattern;
  for (std::size_t i = 0; i < parts_.size(); ++i) {
    const Part& part = parts_[i];
    if (part.letter == 0) {
      std::string_view literal = part.literal;
      if (i == 0) literal.remove_prefix(std::min(literal.find_first_not_of(kBlanks), literal.size()));
      if (i + 1 == parts_.size()) literal = literal.substr(0, literal.find_last_not_of(kBlanks) + 1);
      appendLiteral(pattern, literal);
      continue;
    }
    char letter = part.letter;
    int count = part.count;
    // Only where the digits of two fields meet do their numbers tell where one ends.
    if (isNumeric(i) && !isAbutting(i)) {
      if (contains(kTwoDigitFields, letter)) count = 1;
      if (letter == 'y') {
        // An extended year has no era to begin with year 1, and two of its digits are no abbreviation.
        if (count > 2 && years == Years::gregorian && !has("G")) letter = 'u';
        count = 1;
      }
    }
    pattern.append(static_cast<std::size_t>(count), letter);
  }
  return pattern;
}

std::string DatePattern::withoutInvisible(std::string_view text) {
  static constexpr struct {
    std::string_view from, to;
  } kReplacements[] = {{"\u00A0", " "}, {"\u202F", " "}, {"\u2009", " "},
                       {"\u200E", ""},  {"\u200F", ""},  {"\u061C", ""}};
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const auto found = std::find_if(std::begin(kReplacements), std::end(kReplacements),
                                    [&](const auto& r) { return text.starts_with(r.from); });
    const bool replaced = found != std::end(kReplacements);
    result += replaced ? found->to : text.substr(0, 1);
    text.remove_prefix(replaced ? found->from.size() : 1);
  }
  return result;
}

std::optional<PlainDateLayout> PlainDateLayout::ofPattern(const DatePattern& pattern) {
  PlainDateLayout layout;
  std::string literal, seen;
  for (std::size_t i = 0; i < pattern.parts_.size(); ++i) {
    const DatePattern::Part& part = pattern.parts_[i];
    if (part.letter == 0) {
      literal = part.literal;
      if (!std::all_of(literal.begin(), literal.end(), [](char c) { return c > 0 && !isDigit(c); }))
        return std::nullopt;
      continue;
    }
    if (!contains("dMyHms", part.letter) || contains(seen, part.letter) || pattern.isAbutting(i) ||
        part.count > (part.letter == 'y' ? 4 : 2)) {
      return std::nullopt;
    }
    seen += part.letter;
    layout.fields_.push_back({part.letter, part.count, std::move(literal)});
    literal.clear();
  }
  layout.end_ = std::move(literal);
  const std::string& begin = layout.fields_.empty() ? layout.end_ : layout.fields_.front().before;
  if ((!begin.empty() && contains(kBlanks, begin.front())) ||
      (!layout.end_.empty() && contains(kBlanks, layout.end_.back()))) {
    return std::nullopt;
  }
  if (!contains(seen, 'd') || !contains(seen, 'M') || !contains(seen, 'y')) return std::nullopt;
  return layout;
}

std::optional<Date> PlainDateLayout::read(std::string_view text) const {
  std::int64_t year = 0;
  int month = 0, day = 0, hour = 0, minute = 0, second = 0;
  for (const Field& field : fields_) {
    if (!text.starts_with(field.before)) return std::nullopt;
    text.remove_prefix(field.before.size());
    int value = 0;
    std::size_t size = 0;
    for (; size < text.size() && isDigit(text[size]); ++size) {
      if (size == 4) return std::nullopt;
      value = value * 10 + (text[size] - '0');
    }
    if (size == 0 || (size > 2 && field.letter != 'y')) return std::nullopt;
    text.remove_prefix(size);
    switch (field.letter) {
      case 'y':
        year = value;
        if (size == 2 && field.count < 3) {
          const std::int64_t first = firstTwoDigitYear();
          year += first / 100 * 100 + (year < first % 100 ? 100 : 0);
        } else if (year == 0 && field.count < 3) {
          return std::nullopt;
        } else if (year < 100) {
          year += 2000;
        }
        break;
      case 'M':
        month = value;
        break;
      case 'd':
        day = value;
        break;
      case 'H':
        hour = value;
        break;
      case 'm':
        minute = value;
        break;
      default:
        second = value;
    }
  }
  if (text != end_ || month < 1 || month > 12 || day < 1 || (day > 28 && day > daysInMonth(year, month)) ||
      hour > 23 || minute > 59 || second > 59) {
    return std::nullopt;
  }
  const std::int64_t local =
      CivilDate::days(year, month, day) * CivilDate::kSecondsPerDay + hour * 3600 + minute * 60 + second;
  return Date::fromSeconds(TimeZone::current().utcFromLocal(local));
}

std::string PlainDateLayout::write(Date date) const {
  const std::int64_t local = TimeZone::current().localFromUTC(date.seconds());
  const std::int64_t days = floorDivide(local, CivilDate::kSecondsPerDay);
  const std::int64_t second = local - days * CivilDate::kSecondsPerDay;
  const CivilDate civil = CivilDate::fromDays(days);
  std::string text;
  for (const Field& field : fields_) {
    text += field.before;
    std::int64_t value = 0;
    switch (field.letter) {
      case 'y':
        value = civil.year > 0 ? civil.year : 1 - civil.year;
        if (field.count == 2) value %= 100;
        break;
      case 'M':
        value = civil.month;
        break;
      case 'd':
        value = civil.day;
        break;
      case 'H':
        value = second / 3600;
        break;
      case 'm':
        value = second / 60 % 60;
        break;
      default:
        value = second % 60;
    }
    appendPadded(text, value, field.count);
  }
  return text += end_;
}

std::int64_t PlainDateLayout::firstTwoDigitYear() {
  constexpr std::int64_t kYearsBack = 80;
  const std::int64_t local = TimeZone::current().localFromUTC(Clock::now().seconds());
  return CivilDate::fromDays(floorDivide(local, CivilDate::kSecondsPerDay)).year - kYearsBack;
}

}  // namespace qw
