#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Date.h"
#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/object/Object.h"

/// Writes dates for people and reads what people type, by the styles of a locale or by a pattern of Unicode
/// TR 35, in the calendar of the locale (the Gregorian one proleptic) and the time zone in force, or those of
/// its own. Copied like a value; archived with its settings (`qw::make` gives one that can be). A formatter
/// belongs to one thread at a time. The class operations keep formatters of their own for each thread.
///
///     std::string text = QWDateFormatter::formatDate(date, QWDateFormatter::Style::kLong);  // "March 15, 2024"
///     auto day = QWDateFormatter::parseString("150324", "dd.MM.yyyy");  // the same day, from digits alone
class QW_EXPORT QWDateFormatter : public qw::Object {
 public:
  static const qw::Class kClass;

  /// The length of what the locale offers (Unicode TR 35); `kNone` leaves the part out.
  enum class Style { kNone, kShort, kMedium, kLong, kFull };

  /// Of a format, in bytes: a longer one counts as an empty one, as a longer text is not read.
  static constexpr std::size_t kMaxFormatSize = 256;
  /// Of a text that is read.
  static constexpr std::size_t kMaxTextSize = 1024;

  /// The domain of `ErrorCode`.
  static constexpr std::string_view kErrorDomain = "QWDateFormatter";
  /// Why a text was not read.
  enum ErrorCode { kUnreadable = 1, kBadFormat = 2 };
  /// A part of a text, in bytes; one that reaches beyond the text ends with it.
  struct Range {
    /// Its first byte.
    std::size_t location = 0;
    /// In bytes.
    std::size_t length = 0;
  };

  /// With the short date style, no time style and the user's locale.
  QWDateFormatter();
  ~QWDateFormatter() override;
  /// A formatter with the same settings.
  QWDateFormatter(const QWDateFormatter& other);
  QWDateFormatter& operator=(const QWDateFormatter& other);

  /// How dates are written while no format is set.
  Style dateStyle() const { return settings_.dateStyle; }
  /// How times are written while no format is set.
  Style timeStyle() const { return settings_.timeStyle; }
  /// Leaves a format that was set in force.
  void setDateStyle(Style style);
  /// Leaves a format that was set in force.
  void setTimeStyle(Style style);

  /// The pattern in use: the one set, or that of the template or the styles in the locale.
  std::string dateFormat() const;
  /// A pattern of Unicode TR 35, in place of the styles.
  void setDateFormat(std::string_view format);
  /// Takes the locale's pattern that best fits the fields of the template, as "yMMMd".
  void setLocalizedDateFormatFromTemplate(std::string_view fields);

  /// ICU identifier; empty for that of the user, which the formatter then follows.
  const std::string& locale() const { return settings_.locale; }
  /// An ICU identifier, or empty.
  void setLocale(std::string_view locale);
  /// Name in the time zone database ("Europe/Berlin"); empty for the zone in force, which the formatter then
  /// follows. False, with nothing changed, for an unknown name.
  const std::string& timeZone() const { return settings_.timeZone; }
  /// False, with nothing changed, for an unknown name.
  bool setTimeZone(std::string_view name);
  /// Unicode identifier ("gregorian", "buddhist"); empty for that of the locale. False, with nothing changed,
  /// for an unknown one.
  const std::string& calendar() const { return settings_.calendar; }
  /// False, with nothing changed, for an unknown identifier.
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

  /// By styles in the user's locale; any thread.
  static std::string formatDate(qw::Date date, Style dateStyle, Style timeStyle = Style::kNone);
  /// By a format, in the user's locale.
  static std::string formatDate(qw::Date date, std::string_view dateFormat);
  /// By the locale's pattern that best fits the fields.
  static std::string formatDateWithTemplate(qw::Date date, std::string_view fields);

  /// By styles; any thread. None for an empty text, too. An empty locale is the user's.
  static std::optional<qw::Date> parseString(std::string_view text, Style dateStyle,
                                             Style timeStyle = Style::kNone, std::string_view locale = {});
  /// By a format.
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
