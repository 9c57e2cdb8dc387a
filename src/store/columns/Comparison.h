#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "platform/base/Export.h"
#include "platform/object/Class.h"
#include "store/columns/QWSynchronizationChange.h"

class QWDatabaseObject;

namespace qw {

/// What a value looks like in a review.
using Side = QWSynchronizationChange::Side;

/// How values of a type are told apart and shown when two copies of an object are compared. For a type of
/// your own: specialise with the same members. `value` is what the side that is not chosen receives.
template <class T>
struct QW_EXPORT Comparison {
  /// Whether the difference is to be shown.
  static bool differ(const T& a, const T& b) { return !(a == b); }
  /// What the value of an object looks like.
  static Side side(const QWDatabaseObject&, const T& value) {
    return {ValueTraits<T>::toValue(value).description(), {}, {}};
  }
  /// What the other side receives.
  static const T& value(const T& value) { return value; }
};

namespace detail {
QW_EXPORT Side sideOfBool(bool value);
QW_EXPORT Side sideOfDate(Date value);
QW_EXPORT Side sideOfColor(const Color& value);
QW_EXPORT Side sideOfImage(const Image& value, Size maximum);
QW_EXPORT Side sideOfCollection(std::size_t count);
QW_EXPORT bool imagesDiffer(const Image& a, const Image& b);
}  // namespace detail

/// "✓" and "X" as pictures.
template <>
struct Comparison<bool> {
  static bool differ(bool a, bool b) { return a != b; }
  static Side side(const QWDatabaseObject&, bool value) { return detail::sideOfBool(value); }
  static bool value(bool value) { return value; }
};

/// Compared, shown and taken over as integers of 32 bits, without their fraction; what is beyond those counts
/// as the nearest of them, and what is no number as 0.
template <>
struct Comparison<double> {
  static std::int32_t integer(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (std::isnan(value)) return 0;
    if (value <= Limits::min()) return Limits::min();
    return value >= Limits::max() ? Limits::max() : static_cast<std::int32_t>(value);
  }
  static bool differ(double a, double b) { return integer(a) != integer(b); }
  static Side side(const QWDatabaseObject&, double value) { return {std::to_string(integer(value)), {}, {}}; }
  static double value(double value) { return integer(value); }
};

/// The day in the short style of the user's locale.
template <>
struct Comparison<Date> {
  static bool differ(Date a, Date b) { return a != b; }
  static Side side(const QWDatabaseObject&, Date value) { return detail::sideOfDate(value); }
  static Date value(Date value) { return value; }
};

template <>
struct Comparison<Color> {
  static bool differ(const Color& a, const Color& b) { return a != b; }
  static Side side(const QWDatabaseObject&, const Color& value) { return detail::sideOfColor(value); }
  static const Color& value(const Color& value) { return value; }
};

/// Two images differ when their JPEG forms of quality 1 are of different lengths; an image that cannot be
/// drawn has length 0.
template <>
struct Comparison<Image> {
  static constexpr Size kMaximumSize{128, 128};
  Size maximumSize = kMaximumSize;  // in points, to show

  static bool differ(const Image& a, const Image& b) { return detail::imagesDiffer(a, b); }
  Side side(const QWDatabaseObject&, const Image& value) const {
    return detail::sideOfImage(value, maximumSize);
  }
  static const Image& value(const Image& value) { return value; }
};

/// Decimals that are amounts of money, in the `QWCurrency` that their object has at the key path.
struct QW_EXPORT AmountComparison {
  /// Where the amount's object has its currency.
  std::string_view currencyKeyPath;

  /// Whether the difference is to be shown.
  template <class T>
  static bool differ(const T& a, const T& b) {
    return !(a == b);
  }
  /// As the currency writes amounts.
  Side side(const QWDatabaseObject& object, const std::optional<Decimal>& value) const;
  /// What the other side receives.
  template <class T>
  static const T& value(const T& value) {
    return value;
  }
};

/// Decimals that read as percentages, with at most two fraction digits.
struct QW_EXPORT PercentageComparison : AmountComparison {
  /// As percentages are written.
  Side side(const QWDatabaseObject& object, const std::optional<Decimal>& value) const;
};

/// Collections are shown by the number of their elements.
template <class T>
requires(std::is_same_v<T, Array> || std::is_same_v<T, Dictionary> ||
         std::is_same_v<T, ValueSet>) struct Comparison<T> {
  static bool differ(const T& a, const T& b) { return !(a == b); }
  static Side side(const QWDatabaseObject&, const T& value) { return detail::sideOfCollection(value.size()); }
  static const T& value(const T& value) { return value; }
};

/// None equals none, differs from everything else, and shows nothing.
template <class T>
struct Comparison<std::optional<T>> : Comparison<T> {
  Comparison() = default;
  explicit Comparison(Comparison<T> kind) : Comparison<T>(std::move(kind)) {}

  bool differ(const std::optional<T>& a, const std::optional<T>& b) const {
    return a && b ? Comparison<T>::differ(*a, *b) : a.has_value() != b.has_value();
  }
  Side side(const QWDatabaseObject& object, const std::optional<T>& value) const {
    return value ? Comparison<T>::side(object, *value) : Side();
  }
  static std::optional<T> value(const std::optional<T>& value) {
    return value ? std::optional<T>(Comparison<T>::value(*value)) : std::nullopt;
  }
};

/// A column of JSON may hold a collection.
template <>
struct Comparison<Value> {
  static bool differ(const Value& a, const Value& b) { return !(a == b); }
  static Side side(const QWDatabaseObject&, const Value& value) {
    const bool isCollection = value.array() || value.set() || value.dictionary();
    return isCollection ? detail::sideOfCollection(value.count()) : Side{value.description(), {}, {}};
  }
  static const Value& value(const Value& value) { return value; }
};

/// What the store's own comparison asks of an attribute.
struct QW_EXPORT AttributeComparison {
  /// As the type is compared, and exactly.
  bool (*differ)(const QWDatabaseObject&, const QWDatabaseObject&);
  /// Whether both values are equal.
  bool (*equal)(const QWDatabaseObject&, const QWDatabaseObject&);
  /// What the object's value looks like.
  Side (*side)(const QWDatabaseObject&, const Property&);
  /// What the other object's property is restored from.
  Value (*value)(const QWDatabaseObject&);
};

namespace detail {

template <auto Member>
struct QW_EXPORT MemberComparison {
  using Kind = Comparison<TypeOf<Member>>;
  static const auto& of(const QWDatabaseObject& object) {
    return Members::of(static_cast<const OwnerOf<Member>&>(object).*Member);
  }
  static bool differ(const QWDatabaseObject& a, const QWDatabaseObject& b) {
    return Kind().differ(of(a), of(b));
  }
  static bool equal(const QWDatabaseObject& a, const QWDatabaseObject& b) { return of(a) == of(b); }
  static Side side(const QWDatabaseObject& object, [[maybe_unused]] const Property& property) {
    if constexpr (std::is_convertible_v<TypeOf<Member>, std::optional<Decimal>> &&
                  !std::is_arithmetic_v<TypeOf<Member>>) {
      if (!property.currencyKeyPath.empty())
        return AmountComparison{property.currencyKeyPath}.side(object, of(object));
      if (property.isPercentage) return PercentageComparison().side(object, of(object));
    }
    return Kind().side(object, of(object));
  }
  static Value value(const QWDatabaseObject& object) {
    return ValueTraits<TypeOf<Member>>::toValue(Kind::value(of(object)));
  }
  static constexpr AttributeComparison kComparison{&differ, &equal, &side, &value};
};

}  // namespace detail

}  // namespace qw
