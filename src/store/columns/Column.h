#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/base/Log.h"
#include "platform/object/Class.h"
#include "platform/system/DateText.h"
#include "store/columns/Row.h"
#include "values/collections/QWConstant.h"
#include "values/collections/QWConstantsManager.h"
#include "values/dates/QWDuration.h"
#include "values/text/QWJSONSerializationAdditions.h"

namespace qw {

/// How a type lies in columns: this is the format of the store file. `suffixes` are appended to the
/// property's column name, `types` are the declared SQL types. For a type of your own: specialise with the
/// same four members.
template <class T>
struct Column;

/// Whether NULL in the column is a value of the type, as a member that was set to none is saved. Where it is
/// not, a row with NULL leaves the member as a new object has it.
template <class T>
inline constexpr bool kIsNullable = std::is_same_v<T, Value> || std::is_same_v<T, Data>;
template <class T>
inline constexpr bool kIsNullable<std::optional<T>> = true;
template <class T>
inline constexpr bool kIsNullable<std::shared_ptr<T>> = true;

/// One text column.
struct QW_EXPORT TextColumn {
  /// The column has the property's name.
  static constexpr std::array<std::string_view, 1> suffixes{""};
  /// Declared SQL type.
  static constexpr std::array<std::string_view, 1> types{"TEXT"};
};

template <class T>
concept IntegerColumn = std::is_integral_v<T> || std::is_enum_v<T>;

template <IntegerColumn T>
struct Column<T> {
  static constexpr std::array<std::string_view, 1> suffixes{""};
  static constexpr std::array<std::string_view, 1> types{"INTEGER"};
  static void bind(RowBinder& row, T value) { row.bindInt64(static_cast<std::int64_t>(value)); }
  static T read(const RowReader& row, const int* columns) {
    if constexpr (std::is_same_v<T, bool>)
      return static_cast<std::uint8_t>(row.int64(columns[0])) != 0;
    else
      return static_cast<T>(row.int64(columns[0]));
  }
};

template <>
struct Column<double> {
  static constexpr std::array<std::string_view, 1> suffixes{""};
  static constexpr std::array<std::string_view, 1> types{"REAL"};
  static void bind(RowBinder& row, double value) { row.bindDouble(value); }
  static double read(const RowReader& row, const int* columns) { return row.real(columns[0]); }
};

template <>
struct Column<std::string> : TextColumn {
  static void bind(RowBinder& row, const std::string& value) { row.bindText(value); }
  static std::string read(const RowReader& row, const int* columns) {
    return std::string(row.text(columns[0]));
  }
};

/// NULL, and a text that is no number, is none.
template <>
struct Column<std::optional<Decimal>> : TextColumn {
  static void bind(RowBinder& row, const std::optional<Decimal>& value) {
    if (!value) return row.bindNull();
    row.bindWritten(Decimal::kMaxTextSize, [&](char* out) { return value->write(out); });
  }
  static std::optional<Decimal> read(const RowReader& row, const int* columns) {
    return Decimal::fromText(row.text(columns[0]));
  }
};

/// A date-time: "yyyy-MM-dd HH:mm:ss" in GMT.
template <>
struct Column<std::optional<Date>> : TextColumn {
  static void bind(RowBinder& row, const std::optional<Date>& value) {
    if (!value) return row.bindNull();
    row.bindWritten(DateText::kMaxSize, [&](char* out) { return DateText::writeDateTime(*value, out); });
  }
  static std::optional<Date> read(const RowReader& row, const int* columns) {
    return DateText::readDateTime(row.text(columns[0]), row.shortYear());
  }
};

/// A plain date, "yyyy-MM-dd" in the current time zone: what `dateAttribute` chooses for a `Date`.
struct QW_EXPORT PlainDate {
  /// The column has the property's name.
  static constexpr auto suffixes = TextColumn::suffixes;
  /// Declared SQL type.
  static constexpr auto types = TextColumn::types;
  /// Binds the text, NULL for none.
  static void bind(RowBinder& row, const std::optional<Date>& value) {
    if (!value) return row.bindNull();
    row.bindWritten(DateText::kMaxSize, [&](char* out) { return DateText::writeDate(*value, out); });
  }
  /// None for NULL and for a text that is no date.
  static std::optional<Date> read(const RowReader& row, const int* columns) {
    return DateText::readDate(row.text(columns[0]), row.shortYear());
  }
};

/// Empty bytes are NULL.
template <>
struct Column<Data> {
  static constexpr std::array<std::string_view, 1> suffixes{""};
  static constexpr std::array<std::string_view, 1> types{"BLOB"};
  static void bind(RowBinder& row, const Data& value) {
    value.empty() ? row.bindNull() : row.bindBlob(value);
  }
  static Data read(const RowReader& row, const int* columns) { return row.blob(columns[0]); }
};

/// Red, green, blue and alpha as four decimal fractions.
template <>
struct Column<std::optional<Color>> : TextColumn {
  static void bind(RowBinder& row, const std::optional<Color>& value) {
    value ? row.bindCopiedText(value->components()) : row.bindNull();
  }
  static std::optional<Color> read(const RowReader& row, const int* columns) {
    return Color::fromComponents(row.text(columns[0]));
  }
};

/// PNG bytes and the scale as an integer.
template <>
struct Column<std::optional<Image>> {
  static constexpr std::array<std::string_view, 2> suffixes{"", "Scale"};
  static constexpr std::array<std::string_view, 2> types{"BLOB", "INTEGER"};
  static void bind(RowBinder& row, const std::optional<Image>& value) {
    if (!value) {
      row.bindNull();
      return row.bindNull();
    }
    row.bindBlob(value->png());
    row.bindInt64(static_cast<std::int64_t>(value->scale()));
  }
  static std::optional<Image> read(const RowReader& row, const int* columns) {
    if (row.isNull(columns[0])) return std::nullopt;
    return Image::fromPNG(row.blob(columns[0]), static_cast<double>(row.int64(columns[1])));
  }
};

/// The count and the unit's code.
template <>
struct Column<std::optional<QWDuration>> {
  static constexpr std::array<std::string_view, 2> suffixes{"", "Unit"};
  static constexpr std::array<std::string_view, 2> types{"INTEGER", "INTEGER"};
  static void bind(RowBinder& row, const std::optional<QWDuration>& value) {
    if (!value) {
      row.bindNull();
      return row.bindNull();
    }
    row.bindInt64(value->numberOfUnits());
    row.bindInt64(static_cast<std::int64_t>(value->unit()));
  }
  static std::optional<QWDuration> read(const RowReader& row, const int* columns) {
    if (row.isNull(columns[0])) return std::nullopt;
    return QWDuration(static_cast<QWDuration::Unit>(row.int64(columns[1])), row.int64(columns[0]));
  }
};

/// Compact JSON. A value that has no JSON form fails the write of its row.
template <>
struct Column<Value> : TextColumn {
  static void bind(RowBinder& row, const Value& value) {
    if (value.isNull()) return row.bindNull();
    Error error;
    const auto text = QWJSONSerializationAdditions::JSONRepresentationFromObject(value, {}, &error);
    if (text) return row.bindCopiedText(*text);
    row.bindNull();  // a statement that ran before must not write its former value
    row.fail();
    Log::error("Exception while getting JSON representation from object : {}\n{}", value.description(),
               error.localizedDescription);
  }
  static Value read(const RowReader& row, const int* columns) {
    if (row.isNull(columns[0])) return {};
    return QWJSONSerializationAdditions::JSONObjectFromString(row.text(columns[0])).value_or(Value());
  }
};

template <class Container>
requires(std::is_same_v<Container, Dictionary> || std::is_same_v<Container, Array>) struct Column<Container>
    : TextColumn {
  static void bind(RowBinder& row, const Container& value) { Column<Value>::bind(row, Value(value)); }
  static std::optional<Container> read(const RowReader& row, const int* columns) {
    const Value value = Column<Value>::read(row, columns);
    return value.isNull() ? std::nullopt : ValueTraits<Container>::fromValue(value);
  }
};

/// A constant: its class's name, a point, its name. A text that names none reads as an unknown constant,
/// which writes the same text again.
template <class T>
requires std::is_base_of_v<QWConstant, T>
struct Column<std::shared_ptr<T>> : TextColumn {
  static void bind(RowBinder& row, const std::shared_ptr<T>& value) {
    value ? row.bindCopiedText(value->ID()) : row.bindNull();
  }
  static std::shared_ptr<T> read(const RowReader& row, const int* columns) {
    return std::static_pointer_cast<T>(QWConstantsManager::storedConstant(T::kClass, row.text(columns[0])));
  }
};

/// A plain member of a type whose column may be NULL.
template <class T>
requires(std::is_same_v<T, Decimal> || std::is_same_v<T, Date> || std::is_same_v<T, Color> ||
         std::is_same_v<T, QWDuration>) struct Column<T> : Column<std::optional<T>> {
};

/// An optional of a type whose own column has no NULL.
template <class T>
requires(IntegerColumn<T> || std::is_same_v<T, double> ||
         std::is_same_v<T, std::string>) struct Column<std::optional<T>> {
  static constexpr auto suffixes = Column<T>::suffixes;
  static constexpr auto types = Column<T>::types;
  static void bind(RowBinder& row, const std::optional<T>& value) {
    value ? Column<T>::bind(row, *value) : row.bindNull();
  }
  static std::optional<T> read(const RowReader& row, const int* columns) {
    if (row.isNull(columns[0])) return std::nullopt;
    return Column<T>::read(row, columns);
  }
};

}  // namespace qw
