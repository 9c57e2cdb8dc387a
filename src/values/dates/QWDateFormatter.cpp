#include "values/dates/QWDateFormatter.h"

#include <unicode/decimfmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/dtptngen.h>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "platform/base/internal/CivilDate.h"
#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/loop/internal/PerThread.h"
#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Clock.h"
#include "platform/system/Localization.h"
#include "platform/system/TimeZone.h"
#include "values/dates/internal/DatePattern.h"
#include "values/dates/internal/UserCalendar.h"
#include "values/text/internal/Blanks.h"
#include "values/text/internal/ICUText.h"

namespace {

using qw::CivilDate;
using qw::trimmed;
using qw::utf16;
using qw::utf8;

icu::DateFormat::EStyle icuStyle(QWDateFormatter::Style style) {
  using Style = QWDateFormatter::Style;
  switch (style) {
    case Style::kShort:
      return icu::DateFormat::kShort;
    case Style::kMedium:
      return icu::DateFormat::kMedium;
    case Style::kLong:
      return icu::DateFormat::kLong;
    case Style::kFull:
      return icu::DateFormat::kFull;
    case Style::kNone:
      break;
  }
  return icu::DateFormat::kNone;
}

}  // namespace

constinit const qw::Class QWDateFormatter::kClass =
    qw::define<QWDateFormatter, qw::Object>("QWDateFormatter", {}, [] { return qw::properties(); });

/// The formats of ICU for one setting in one locale.
class QWDateFormatter::Engine {
 public:
  explicit Engine(const Settings& settings)
      : generation_(qw::ApplicationContext::generation()), zone_(zoneOf(settings)) {
    const std::string name = settings.localeIdentifier();
    const icu::Locale locale(name.c_str());
    if (settings.hasOwnCalendar()) calendar_.emplace(name, *zone_);
    writer_ = makeWriter(settings, locale);
    if (!writer_) return;
    prepareWriter();
    pattern_ = utf8(writer_->toPattern(text_.remove()));
    layout_ = qw::DatePattern(qw::DatePattern::withoutInvisible(pattern_));
    if (isGregorian_ && hasLatinDigits()) plain_ = qw::PlainDateLayout::ofPattern(qw::DatePattern(pattern_));
    prepareReader();
  }

  /// Whether the locale and the zone are still those that it was made for.
  bool isCurrent(const Settings& settings) const {
    return generation_ == qw::ApplicationContext::generation() && zone_ == zoneOf(settings);
  }
  qw::UserCalendar& calendar() { return calendar_ ? *calendar_ : qw::UserCalendar::current(); }

  const std::string& pattern() const { return pattern_; }
  bool isGregorian() const { return isGregorian_; }
  const qw::DatePattern& layout() const { return layout_; }

  std::string write(qw::Date date) {
    if (plain_) return plain_->write(date);
    if (!writer_) return {};
    UErrorCode status = U_ZERO_ERROR;
    const double milliseconds = std::floor(static_cast<double>(date.microseconds()) / 1000);
    writer_->format(milliseconds, text_.remove(), nullptr, status);
    return U_SUCCESS(status) ? utf8(text_) : std::string();
  }

  /// By the rules of the format, and years below 100 from 2000 on.
  std::optional<qw::Date> read(std::string_view text) {
    if (plain_) {
      if (const auto date = plain_->read(text)) return date;
    }
    std::optional<qw::Date> date = readByICU(text);
    if (!date) return date;
    if (!isGregorian_) {
      const auto plain = qw::DatePattern::withoutInvisible;
      return !isMisread_ || trimmed(plain(write(*date))) == plain(text) ? date : std::nullopt;
    }
    const std::int64_t local = zone_->localFromUTC(date->seconds());
    const CivilDate day = CivilDate::fromDays(qw::floorDivide(local, CivilDate::kSecondsPerDay));
    if (day.year >= 0 && day.year <= 99) {
      const std::int64_t moved = CivilDate::days(day.year + 2000, day.month, day.day) - day.days();
      date = qw::Date::fromSeconds(zone_->utcFromLocal(local + moved * CivilDate::kSecondsPerDay));
    }
    // The date that was typed stands, also where the format shows less of its year.
    return readByICU(write(*date)) ? date : std::nullopt;
  }

 private:
  static const qw::TimeZone* zoneOf(const Settings& settings) {
    const qw::TimeZone* own = settings.timeZone.empty() ? nullptr : qw::TimeZone::named(settings.timeZone);
    return own ? own : &qw::TimeZone::current();
  }

  static std::unique_ptr<icu::SimpleDateFormat> makeWriter(const Settings& settings,
                                                           const icu::Locale& locale) {
    UErrorCode status = U_ZERO_ERROR;
    if (settings.source == Source::styles) {
      if (settings.dateStyle == Style::kNone && settings.timeStyle == Style::kNone) return nullptr;
      std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(
          icuStyle(settings.dateStyle), icuStyle(settings.timeStyle), locale));
      if (!dynamic_cast<icu::SimpleDateFormat*>(format.get())) return nullptr;
      return std::unique_ptr<icu::SimpleDateFormat>(static_cast<icu::SimpleDateFormat*>(format.release()));
    }
    if (settings.text.empty() || settings.text.size() > kMaxFormatSize) return nullptr;
    icu::UnicodeString pattern = utf16(settings.text);
    if (settings.source == Source::fields) {
      const std::unique_ptr<icu::DateTimePatternGenerator> generator(
          icu::DateTimePatternGenerator::createInstance(locale, status));
      if (U_SUCCESS(status)) {
        const icu::UnicodeString best = generator->getBestPattern(pattern, status);
        if (U_SUCCESS(status)) pattern = best;
      }
      status = U_ZERO_ERROR;
    }
    auto format = std::make_unique<icu::SimpleDateFormat>(pattern, locale, status);
    return U_SUCCESS(status) ? std::move(format) : nullptr;
  }

  void prepareWriter() {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Calendar> calendar(writer_->getCalendar()->clone());
    isGregorian_ = std::strcmp(calendar->getType(), "gregorian") == 0;
    if (auto* gregorian = dynamic_cast<icu::GregorianCalendar*>(calendar.get()); gregorian && isGregorian_) {
      gregorian->setGregorianChange(-DBL_MAX, status);
    }
    calendar->adoptTimeZone(zone_->makeICUZone().release());
    writer_->adoptCalendar(calendar.release());
  }

  bool hasLatinDigits() const {
    const auto* numbers = dynamic_cast<const icu::DecimalFormat*>(writer_->getNumberFormat());
    if (!numbers) return false;
    const icu::DecimalFormatSymbols* symbols = numbers->getDecimalFormatSymbols();
    return symbols && symbols->getConstSymbol(icu::DecimalFormatSymbols::kZeroDigitSymbol) == u"0";
  }

  void prepareReader() {
    reader_.reset(writer_->clone());
    reader_->applyPattern(utf16(layout_.forReading(isGregorian_ ? qw::DatePattern::Years::gregorian
                                                                : qw::DatePattern::Years::other)));
    namesZone_ = layout_.has("zZvVXxO");
    // In calendars with leap months, ICU takes years with cyclic names ("2024甲辰年") and the numbers of
    // months for others; what it takes them for shows when it is written again.
    const std::string_view calendar = writer_->getCalendar()->getType();
    isMisread_ = layout_.has("U") || (calendar == "hebrew" && layout_.hasNumericMonth());
    // A wall time that the zone skips is an error to a strict calendar, so the text is read as a time of GMT.
    if (!namesZone_) reader_->setTimeZone(*icu::TimeZone::getGMT());
    // Every number in its range, and names in full; blanks between the parts are free.
    UErrorCode status = U_ZERO_ERROR;
    reader_->setCalendarLenient(false);
    reader_->setBooleanAttribute(UDAT_PARSE_ALLOW_NUMERIC, false, status);
    icu::DateFormatSymbols symbols(*writer_->getDateFormatSymbols());
    std::int32_t count = 0;
    const icu::UnicodeString* markers = symbols.getAmPmStrings(count);
    std::vector<icu::UnicodeString> plain;
    plain.reserve(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i)
      plain.push_back(utf16(qw::DatePattern::withoutInvisible(utf8(markers[i]))));
    symbols.setAmPmStrings(plain.data(), count);
    reader_->setDateFormatSymbols(symbols);
  }

  std::optional<qw::Date> readByICU(std::string_view text) {
    if (!reader_) return std::nullopt;
    if (isGregorian_) setTwoDigitYears();
    text_ = utf16(trimmed(qw::DatePattern::withoutInvisible(text)));
    icu::ParsePosition position;
    const double milliseconds = reader_->parse(text_, position);
    if (position.getErrorIndex() >= 0 || position.getIndex() != text_.length()) return std::nullopt;
    // Whole seconds alone go through the zone; beyond the range of dates there is nothing to answer.
    constexpr double kMaxMilliseconds = 9.2e15;
    if (!(std::abs(milliseconds) < kMaxMilliseconds)) return std::nullopt;
    const double seconds = std::floor(milliseconds / 1000);
    const auto microseconds = static_cast<std::int64_t>((milliseconds - seconds * 1000) * 1000);
    auto whole = static_cast<std::int64_t>(seconds);
    if (isGregorian_ && !layout_.has("G") && whole < kYearZero) return std::nullopt;
    if (!namesZone_) whole = zone_->utcFromLocal(whole);
    return qw::Date::fromMicroseconds(qw::Date::fromSeconds(whole).microseconds() + microseconds);
  }

  // Two digits mean a year from the first of January 80 years ago on, by our clock.
  void setTwoDigitYears() {
    const std::int64_t first = qw::PlainDateLayout::firstTwoDigitYear();
    if (std::exchange(firstTwoDigitYear_, first) == first) return;
    UErrorCode status = U_ZERO_ERROR;
    reader_->set2DigitYearStart(static_cast<double>(CivilDate::days(first, 1, 1)) * 86'400'000, status);
  }

  static constexpr std::int64_t kYearZero = CivilDate::days(0, 1, 1) * CivilDate::kSecondsPerDay;

  std::uint64_t generation_;
  const qw::TimeZone* zone_;
  std::optional<qw::UserCalendar> calendar_;  // for a zone, locale or calendar of its own
  bool isGregorian_ = false;
  bool namesZone_ = false;
  bool isMisread_ = false;
  std::int64_t firstTwoDigitYear_ = INT64_MIN;
  std::string pattern_;
  qw::DatePattern layout_{""};
  std::optional<qw::PlainDateLayout> plain_;
  std::unique_ptr<icu::SimpleDateFormat> writer_, reader_;
  icu::UnicodeString text_;
};

QWDateFormatter::QWDateFormatter() = default;
QWDateFormatter::~QWDateFormatter() = default;
QWDateFormatter::QWDateFormatter(const QWDateFormatter& other) : qw::Object(), settings_(other.settings_) {}
QWDateFormatter& QWDateFormatter::operator=(const QWDateFormatter& other) {
  set(other.settings_);
  return *this;
}

void QWDateFormatter::set(Settings settings) {
  if (settings == settings_) return;
  settings_ = std::move(settings);
  engine_.reset();
}

QWDateFormatter::Engine& QWDateFormatter::engine() const {
  if (!engine_ || !engine_->isCurrent(settings_)) engine_ = std::make_unique<Engine>(settings_);
  return *engine_;
}

void QWDateFormatter::setDateStyle(Style style) {
  Settings changed = settings_;
  changed.dateStyle = style;
  changed.source = Source::styles;
  changed.text.clear();
  set(std::move(changed));
}

void QWDateFormatter::setTimeStyle(Style style) {
  Settings changed = settings_;
  changed.timeStyle = style;
  changed.source = Source::styles;
  changed.text.clear();
  set(std::move(changed));
}

void QWDateFormatter::setText(Source source, std::string_view text) {
  Settings changed = settings_;
  changed.source = source;
  changed.text = text;
  set(std::move(changed));
}

void QWDateFormatter::setDateFormat(std::string_view format) {
  if (settings_.source == Source::format && settings_.text == format) return;
  setText(Source::format, format);
}

void QWDateFormatter::setLocalizedDateFormatFromTemplate(std::string_view fields) {
  setText(Source::fields, fields);
}

void QWDateFormatter::setLocale(std::string_view locale) {
  if (settings_.locale == locale) return;
  settings_.locale = locale;
  engine_.reset();
}

bool QWDateFormatter::setTimeZone(std::string_view name) {
  if (!name.empty() && !qw::TimeZone::named(name)) return false;
  Settings changed = settings_;
  changed.timeZone = name;
  set(std::move(changed));
  return true;
}

bool QWDateFormatter::setCalendar(std::string_view identifier) {
  Settings changed = settings_;
  changed.calendar = identifier;
  if (!identifier.empty()) {
    // ICU answers its usual calendar for an identifier that it does not know.
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::Calendar> calendar(
        icu::Calendar::createInstance(icu::Locale(changed.localeIdentifier().c_str()), status));
    if (U_FAILURE(status) || !calendar || identifier != calendar->getType()) return false;
  }
  set(std::move(changed));
  return true;
}

std::string QWDateFormatter::Settings::localeIdentifier() const {
  const std::string& name = locale.empty() ? qw::ApplicationContext::current().locale : locale;
  if (calendar.empty()) return name;
  icu::Locale changed(name.c_str());
  UErrorCode status = U_ZERO_ERROR;
  changed.setKeywordValue("calendar", calendar.c_str(), status);
  return changed.getName();
}

std::string QWDateFormatter::dateFormat() const { return engine().pattern(); }

std::string QWDateFormatter::stringFromDate(qw::Date date) const { return engine().write(date); }

bool QWDateFormatter::getObjectValue(std::optional<qw::Date>& value, std::string_view text,
                                     qw::Error* error) const {
  value.reset();
  if (text.size() <= kMaxTextSize) {
    if (text.empty()) return true;
    text = trimmed(text);
    value = engine().read(text);
    if (!value) value = dateFromDigits(text);
    if (value) return true;
  }
  if (!error) return false;
  const std::string form = stringFromDate(qw::Clock::now());
  const bool isBad = form.empty();
  return qw::Error::set(error, kErrorDomain, isBad ? kBadFormat : kUnreadable,
                        qw::Localization::frameworkFormat(isBad ? "Date.BadFormat" : "Date.Unreadable",
                                                          {isBad ? settings_.text : form}));
}

bool QWDateFormatter::getObjectValue(std::optional<qw::Date>& value, std::string_view text, Range& range,
                                     qw::Error* error) const {
  text = text.substr(std::min(range.location, text.size()), range.length);
  const bool isRead = getObjectValue(value, text, error);
  std::size_t length = text.size();
  if (!isRead && length <= kMaxTextSize) {
    while (!value && length > 1) value = engine().read(text.substr(0, --length));
  }
  if (!isRead && !value) return false;
  range.length = length;
  return true;
}

void QWDateFormatter::encodeWithCoder(qw::KeyedArchiver& coder) const {
  coder.encodeInt(static_cast<std::int32_t>(settings_.dateStyle), "dateStyle");
  coder.encodeInt(static_cast<std::int32_t>(settings_.timeStyle), "timeStyle");
  if (settings_.source == Source::format) coder.encodeObject(settings_.text, "dateFormat");
  if (settings_.source == Source::fields) coder.encodeObject(settings_.text, "dateTemplate");
  coder.encodeObject(settings_.locale, "locale");
  coder.encodeObject(settings_.timeZone, "timeZone");
  coder.encodeObject(settings_.calendar, "calendar");
}

void QWDateFormatter::initWithCoder(qw::KeyedUnarchiver& coder) {
  const auto style = [&coder](std::string_view key) {
    const std::int32_t code = coder.decodeInt(key);
    if (code < 0 || code > static_cast<std::int32_t>(Style::kFull))
      coder.fail("There is no such date style.");
    return static_cast<Style>(code);
  };
  setDateStyle(style("dateStyle"));
  setTimeStyle(style("timeStyle"));
  if (coder.containsValueForKey("dateFormat")) setDateFormat(coder.decodeText("dateFormat"));
  if (coder.containsValueForKey("dateTemplate"))
    setLocalizedDateFormatFromTemplate(coder.decodeText("dateTemplate"));
  setLocale(coder.decodeText("locale"));
  if (!setTimeZone(coder.decodeText("timeZone"))) coder.fail("A date formatter has an unknown time zone.");
  if (!setCalendar(coder.decodeText("calendar"))) coder.fail("A date formatter has an unknown calendar.");
}

std::optional<qw::Date> QWDateFormatter::dateFromDigits(std::string_view text) const {
  constexpr int kMaxDigits = 8;
  const icu::UnicodeString characters = utf16(text);
  int digits[kMaxDigits] = {};
  int count = 0;
  for (std::int32_t i = 0; i < characters.length(); i = characters.moveIndex32(i, 1)) {
    const std::int32_t digit = u_charDigitValue(characters.char32At(i));
    if (digit < 0 || count == kMaxDigits) return std::nullopt;
    digits[count++] = digit;
  }
  const auto number = [&](int first, int end) {
    int value = 0;
    for (int i = first; i < end; ++i) value = value * 10 + digits[i];
    return value;
  };

  qw::UserCalendar& calendar = engine().calendar();
  const qw::UserCalendar::Fields today = calendar.fields(calendar.localTime(qw::Clock::now()).day);
  int year = today.year, month = today.month, day = 0;
  const qw::DatePattern& layout = engine().layout();
  const std::size_t d = layout.position('d'), m = layout.position('M'), y = layout.position('y');
  switch (count) {
    case 1:
    case 2:
      day = number(0, count);
      break;
    case 4:
      day = number(0, 2);
      month = number(2, 4);
      if (d >= m) std::swap(day, month);
      break;
    case 6:
    case 8:
      if (y < m && m < d) {
        year = number(0, count - 4);
        month = number(count - 4, count - 2);
        day = number(count - 2, count);
      } else if (d < y && m < y && d != m) {
        day = number(0, 2);
        month = number(2, 4);
        if (m < d) std::swap(day, month);
        year = number(4, count);
      } else {
        return std::nullopt;
      }
      // A calendar that is not in its third millennium counts from its present century.
      if (count == 6) year += engine().isGregorian() ? 2000 : today.year - today.year % 100;
      break;
    default:
      return std::nullopt;
  }
  if (day < 1 || day > 31 || month < 1 || month > 12) return std::nullopt;
  return calendar.date(calendar.day(year, month, day), 0);
}

namespace {

/// The formatters of the class operations.
struct Shared {
  QWDateFormatter writesStyles, writesFormats, readsStyles, readsFormats;
};

std::optional<qw::Date> parsed(const QWDateFormatter& formatter, std::string_view text) {
  std::optional<qw::Date> date;
  formatter.getObjectValue(date, text);
  return date;
}

void setStyles(QWDateFormatter& formatter, QWDateFormatter::Style dateStyle,
               QWDateFormatter::Style timeStyle) {
  formatter.setDateStyle(dateStyle);
  formatter.setTimeStyle(timeStyle);
}

}  // namespace

std::string QWDateFormatter::formatDate(qw::Date date, Style dateStyle, Style timeStyle) {
  QWDateFormatter& formatter = qw::perThread<Shared>().writesStyles;
  setStyles(formatter, dateStyle, timeStyle);
  return formatter.stringFromDate(date);
}

std::string QWDateFormatter::formatDate(qw::Date date, std::string_view dateFormat) {
  QWDateFormatter& formatter = qw::perThread<Shared>().writesFormats;
  formatter.setDateFormat(dateFormat);
  return formatter.stringFromDate(date);
}

std::string QWDateFormatter::formatDateWithTemplate(qw::Date date, std::string_view fields) {
  QWDateFormatter formatter;
  formatter.setLocalizedDateFormatFromTemplate(fields);
  return formatter.stringFromDate(date);
}

std::optional<qw::Date> QWDateFormatter::parseString(std::string_view text, Style dateStyle, Style timeStyle,
                                                     std::string_view locale) {
  QWDateFormatter& formatter = qw::perThread<Shared>().readsStyles;
  setStyles(formatter, dateStyle, timeStyle);
  formatter.setLocale(locale);
  return parsed(formatter, text);
}

std::optional<qw::Date> QWDateFormatter::parseString(std::string_view text, std::string_view dateFormat,
                                                     std::string_view locale) {
  QWDateFormatter& formatter = qw::perThread<Shared>().readsFormats;
  formatter.setDateFormat(dateFormat);
  formatter.setLocale(locale);
  return parsed(formatter, text);
}
