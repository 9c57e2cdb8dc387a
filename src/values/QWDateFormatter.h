#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Date.h"
#include "platform/Error.h"
#include "platform/Object.h"

/// Writes dates for people and reads what people type, by the styles of a locale or by a pattern of Unicode
/// TR 35, in the calendar of the locale (the Gregorian one proleptic) and the time zone in force, or those of
/// its own. Copied like a value; archived with its settings (`qw::make` gives one that can be). A formatter
/// belongs to one thread at a time. The class operations keep formatters of their own for each thread.
///
///     QWDateFormatter::formatDate(date, QWDateFormatter::Style::kLong);  // "March 15, 2024"
///     QWDateFormatter::parseString("150324", "dd.MM.yyyy");              // the same day, from bare digits
class QWDateFormatter : public qw::Object {
 public:
  static const qw::Class kClass;

  enum class Style { kNone, kShort, kMedium, kLong, kFull };

  /// Formats and texts beyond these sizes, in bytes, are not looked at: such a format counts as an empty one,
  /// such a text is not read.
  static constexpr std::size_t kMaxFormatSize = 256;
  static constexpr std::size_t kMaxTextSize = 1024;

  static constexpr std::string_view kErrorDomain = "QWDateFormatter";
  enum ErrorCode { kUnreadable = 1, kBadFormat = 2 };
  /// A part of a text, in bytes; one that reaches beyond the text ends with it.
  struct Range {
    std::size_t location = 0;
    std::size_t length = 0;
  };

  /// With the short date style, no time style and the user's locale.
  QWDateFormatter();
  ~QWDateFormatter() override;
  QWDateFormatter(const QWDateFormatter& other);
  QWDateFormatter& operator=(const QWDateFormatter& other);

  Style dateStyle() const { return settings_.dateStyle; }
  Style timeStyle() const { return settings_.timeStyle; }
  /// Setting a style leaves the format that was set.
  void setDateStyle(Style style);
  void setTimeStyle(Style style);

  /// The pattern in use: the one set, or that of the template or the styles in the locale.
  std::string dateFormat() const;
  void setDateFormat(std::string_view format);
  /// Takes the locale's pattern that best fits the fields of the template, as "yMMMd".
  void setLocalizedDateFormatFromTemplate(std::string_view fields);

  /// ICU identifier; empty for that of the user, which the formatter then follows.
  const std::string& locale() const { return settings_.locale; }
  void setLocale(std::string_view locale);
  /// Name in the time zone database ("Europe/Berlin"); empty for the zone in force, which the formatter then
  /// follows. False, with nothing changed, for an unknown name.
  const std::string& timeZone() const { return settings_.timeZone; }
  bool setTimeZone(std::string_view name);
  /// Unicode identifier ("gregorian", "buddhist"); empty for that of the locale. False, with nothing changed,
  /// for an unknown one.
  const std::string& calendar() const { return settings_.calendar; }
  bool setCalendar(std::string_view identifier);

  /// Empty for an empty or an invalid format.
  std::string stringFromDate(qw::Date date) const;

  /// Reads a text of the format; blanks around it do not count. An empty text is valid and has no value.
  /// A Gregorian year below 100 counts from 2000. Digits alone are read too, in the order of day, month and
  /// year in the format: the day (1 or 2 digits), day and month (4), or all three (6 or 8), with the parts
  /// that are missing taken from the current date. A time that a clock change skips moves forward by the gap;
  /// of one that occurs twice, the first is meant. Answers false, with no value, for any other text.
  bool getObjectValue(std::optional<qw::Date>& value, std::string_view text,
                      qw::Error* error = nullptr) const;
  /// The same for a part of a text. If the whole part cannot be read, the longest beginning of it that has
  /// the format is. `range` becomes what was read; it stays on failure.
  bool getObjectValue(std::optional<qw::Date>& value, std::string_view text, Range& range,
                      qw::Error* error = nullptr) const;

  void encodeWithCoder(qw::KeyedArchiver& coder) const override;
  void initWithCoder(qw::KeyedUnarchiver& coder) override;

  /// By styles, and by format, in the user's locale.
  static std::string formatDate(qw::Date date, Style dateStyle, Style timeStyle = Style::kNone);
  static std::string formatDate(qw::Date date, std::string_view dateFormat);
  static std::string formatDateWithTemplate(qw::Date date, std::string_view fields);

  /// None for an empty text, too. An empty locale is the user's.
  static std::optional<qw::Date> parseString(std::string_view text, Style dateStyle,
                                             Style timeStyle = Style::kNone, std::string_view locale = {});
  static std::optional<qw::Date> parseString(std::string_view text, std::string_view dateFormat,
                                             std::string_view locale = {});

 private:
  class Engine;
  enum class Source { styles, format, fields };
  struct Settings {
    Style dateStyle = Style::kShort;
    Style timeStyle = Style::kNone;
    Source source = Source::styles;
    std::string text;  // the format or the template
    std::string locale;
    std::string timeZone{};
    std::string calendar{};

    /// ICU's, of the locale with the calendar.
    std::string localeIdentifier() const;
    bool hasOwnCalendar() const { return !locale.empty() || !timeZone.empty() || !calendar.empty(); }
    friend bool operator==(const Settings&, const Settings&) = default;
  };

  void set(Settings settings);
  void setText(Source source, std::string_view text);
  Engine& engine() const;
  std::optional<qw::Date> dateFromDigits(std::string_view text) const;

  Settings settings_;
  mutable std::unique_ptr<Engine> engine_;  // what ICU needs, made when first used
};
