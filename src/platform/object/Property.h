#pragma once

#include <algorithm>
#include <functional>

#include "platform/base/Export.h"
#include "platform/object/Back.h"
#include "platform/object/Object.h"

namespace qw {

/// Beside the key: what a row of a property table may say.
struct QW_EXPORT PropertyOptions {
  /// Of the property's title where copies are compared; empty for none.
  std::string_view localizationKey{};
  /// Keys or key paths whose changes change this property.
  Property::Keys dependsOn{};
};

/// @cond specialisations of `ValueTraits`, which all mean the same
template <>
struct ValueTraits<Value> {
  static Value toValue(const Value& value) { return value; }
  static std::optional<Value> fromValue(const Value& value) { return value; }
  static ValueView view(const Value& value) { return ValueView(value); }
};

template <>
struct ValueTraits<bool> {
  static Value toValue(bool value) { return value; }
  static std::optional<bool> fromValue(const Value& value) {
    return value.isNumber() || value.isNull() || value.text() ? std::optional(value.boolValue())
                                                              : std::nullopt;
  }
  static ValueView view(bool value) { return value; }
};

template <class T>
requires(std::is_integral_v<T> || std::is_enum_v<T>) struct ValueTraits<T> {
  static Value toValue(T value) { return static_cast<std::int64_t>(value); }
  static std::optional<T> fromValue(const Value& value) {
    if (!value.isNumber() && !value.isNull() && !value.text()) return std::nullopt;
    const std::int64_t number = value.int64Value();
    const T fitting = static_cast<T>(number);
    return static_cast<std::int64_t>(fitting) == number ? std::optional(fitting) : std::nullopt;
  }
  static ValueView view(T value) { return static_cast<std::int64_t>(value); }
};

template <>
struct ValueTraits<double> {
  static Value toValue(double value) { return value; }
  static std::optional<double> fromValue(const Value& value) {
    return value.isNumber() || value.isNull() || value.text() ? std::optional(value.doubleValue())
                                                              : std::nullopt;
  }
  static ValueView view(double value) { return value; }
};

template <>
struct ValueTraits<Decimal> {
  static Value toValue(const Decimal& value) { return value; }
  static std::optional<Decimal> fromValue(const Value& value) {
    return value.isNull() ? std::optional(Decimal()) : value.decimalValue();
  }
  static ValueView view(const Decimal& value) { return value; }
};

template <>
struct ValueTraits<std::string> {
  static Value toValue(const std::string& value) { return value; }
  static std::optional<std::string> fromValue(const Value& value) {
    if (value.text()) return *value.text();
    return value.isNull() ? std::optional(std::string()) : std::nullopt;
  }
  static ValueView view(const std::string& value) { return std::string_view(value); }
};

namespace detail {

/// The kinds that a `Value` holds as they are and that have no empty state of their own: null is refused.
template <class T, const T* (Value::*Content)() const, Value::Kind Kind>
struct QW_EXPORT ContentTraits {
  static constexpr Value::Kind kKind = Kind;
  static Value toValue(const T& value) { return value; }
  static std::optional<T> fromValue(const Value& value) {
    const T* content = (value.*Content)();
    return content ? std::optional<T>(*content) : std::nullopt;
  }
};

}  // namespace detail

template <>
struct ValueTraits<Date> : detail::ContentTraits<Date, &Value::date, Value::Kind::kDate> {
  static ValueView view(Date value) { return value; }
};
template <>
struct ValueTraits<Color> : detail::ContentTraits<Color, &Value::color, Value::Kind::kColor> {};

/// Kinds whose empty value is "none".
template <>
struct ValueTraits<Data> : detail::ContentTraits<Data, &Value::data, Value::Kind::kData> {
  static std::optional<Data> fromValue(const Value& value) {
    return value.isNull() ? std::optional(Data()) : ContentTraits::fromValue(value);
  }
};
template <>
struct ValueTraits<Array> : detail::ContentTraits<Array, &Value::array, Value::Kind::kArray> {};
template <>
struct ValueTraits<Dictionary>
    : detail::ContentTraits<Dictionary, &Value::dictionary, Value::Kind::kDictionary> {
  static std::optional<Dictionary> fromValue(const Value& value) {
    return value.isNull() ? std::optional(Dictionary()) : ContentTraits::fromValue(value);
  }
};
template <>
struct ValueTraits<Image> : detail::ContentTraits<Image, &Value::image, Value::Kind::kImage> {};

template <class T>
struct ValueTraits<std::optional<T>> {
  static Value toValue(const std::optional<T>& value) {
    return value ? ValueTraits<T>::toValue(*value) : Value();
  }
  static std::optional<std::optional<T>> fromValue(const Value& value) {
    if (value.isNull()) return std::optional<T>();
    if (auto content = ValueTraits<T>::fromValue(value))
      return std::optional<std::optional<T>>(std::move(content));
    return std::nullopt;
  }
  static ValueView view(const std::optional<T>& value) requires requires(const T& t) {
    ValueTraits<T>::view(t);
  }
  { return value ? ValueTraits<T>::view(*value) : ValueView(); }
};

template <class T>
requires std::is_base_of_v<Object, T>
struct ValueTraits<std::shared_ptr<T>> {
  static constexpr Value::Kind kKind = Value::Kind::kObject;
  static Value toValue(const std::shared_ptr<T>& value) { return std::static_pointer_cast<Object>(value); }
  static std::optional<std::shared_ptr<T>> fromValue(const Value& value) {
    if (value.isNull()) return std::shared_ptr<T>();
    auto object = value.objectAs<T>();
    return object ? std::optional(std::move(object)) : std::nullopt;
  }
  static ValueView view(const std::shared_ptr<T>& value) { return static_cast<Object*>(value.get()); }
};

template <class T>
struct ValueTraits<Back<T>> {
  static constexpr Value::Kind kKind = Value::Kind::kObject;
  static Value toValue(const Back<T>& value) { return Value(std::shared_ptr<Object>(value.lock())); }
  static std::optional<Back<T>> fromValue(const Value& value) {
    if (value.isNull()) return Back<T>();
    auto object = value.objectAs<T>();
    return object ? std::optional(Back<T>(object)) : std::nullopt;
  }
  static ValueView view(const Back<T>& value) { return static_cast<Object*>(value.get()); }
};

template <class T>
requires std::is_base_of_v<Object, T>
struct ValueTraits<T*> {
  static constexpr Value::Kind kKind = Value::Kind::kObject;
  static Value toValue(T* value) { return value; }
};

template <class T>
struct ValueTraits<std::vector<T>> {
  static constexpr Value::Kind kKind = Value::Kind::kArray;
  static Value toValue(const std::vector<T>& values) {
    Array array;
    array.reserve(values.size());
    for (const T& value : values) array.push_back(ValueTraits<T>::toValue(value));
    return array;
  }
  static std::optional<std::vector<T>> fromValue(const Value& value) {
    if (value.isNull()) return std::vector<T>();
    if (!value.array()) return std::nullopt;
    std::vector<T> values;
    values.reserve(value.array()->size());
    for (const Value& element : *value.array()) {
      auto content = ValueTraits<T>::fromValue(element);
      if (!content) return std::nullopt;
      values.push_back(*std::move(content));
    }
    return values;
  }
};

/// @endcond

/// A value type of an upper floor inside a `Value`. `T` has ==, `hash()`, `compare(T)` and `description()`,
/// and `kArchiveClass` and `encodeWithCoder(KeyedArchiver&)` when it can be archived.
template <class T>
class QW_EXPORT Extension final : public ExtensionValue {
 public:
  /// A value to be shared by copies.
  explicit Extension(T value) : value_(std::move(value)) {}
  /// The value inside.
  const T& value() const { return value_; }
  bool isEqual(const ExtensionValue& other) const override {
    return value_ == static_cast<const Extension&>(other).value_;
  }
  std::size_t hash() const override { return value_.hash(); }
  int compare(const ExtensionValue& other) const override {
    return value_.compare(static_cast<const Extension&>(other).value_);
  }
  std::string description() const override { return value_.description(); }
  std::string_view archiveClassName() const override {
    if constexpr (requires { T::kArchiveClass; }) return T::kArchiveClass;
    return {};
  }
  void encodeWithCoder([[maybe_unused]] KeyedArchiver& coder) const override {
    if constexpr (requires { value_.encodeWithCoder(coder); }) value_.encodeWithCoder(coder);
  }

 private:
  T value_;
};

/// `template <> struct qw::ValueTraits<QWDuration> : qw::ExtensionTraits<QWDuration> {};` makes such a type a
/// member type.
template <class T>
struct QW_EXPORT ExtensionTraits {
  /// What such a value is.
  static constexpr Value::Kind kKind = Value::Kind::kExtension;
  /// The value inside a `Value`.
  static Value toValue(const T& value) {
    return Value(std::shared_ptr<const ExtensionValue>(std::make_shared<Extension<T>>(value)));
  }
  /// The value when it is a `T`; none for null and everything else.
  static std::optional<T> fromValue(const Value& value) {
    auto extension = value.extensionAs<Extension<T>>();
    return extension ? std::optional<T>(extension->value()) : std::nullopt;
  }
};

namespace detail {

/// Reading of a member or of a const member function.
template <auto Member>
struct QW_EXPORT Access {
  using Owner = OwnerOf<Member>;
  /// What a member function answers, or the member.
  static decltype(auto) read(const Object& object) {
    if constexpr (std::is_member_object_pointer_v<decltype(Member)>)
      return Members::of(static_cast<const Owner&>(object).*Member);
    else
      return std::invoke(Member, static_cast<const Owner&>(object));
  }
  using Result = std::remove_cvref_t<decltype(read(std::declval<const Object&>()))>;
  static constexpr bool kReference =
      std::is_member_object_pointer_v<decltype(Member)> ||
      std::is_reference_v<decltype(std::invoke(Member, std::declval<const Owner&>()))>;

  static Value get(const Object& object) { return ValueTraits<Result>::toValue(read(object)); }
  static ValueView view(const Object& object) { return ValueTraits<Result>::view(read(object)); }
  static constexpr auto viewFunction() -> ValueView (*)(const Object&) {
    constexpr bool borrowed =
        std::is_arithmetic_v<Result> || std::is_enum_v<Result> || std::is_same_v<Result, Date> || kReference;
    if constexpr (borrowed && requires(const Result& r) { ValueTraits<Result>::view(r); })
      return &view;
    else
      return nullptr;
  }
};

template <class F>
struct SetterArgument;
template <class R, class C, class A>
struct SetterArgument<R (C::*)(A)> {
  using Type = std::remove_cvref_t<A>;
};

/// Calls a public setter with a value of the right type.
template <auto Setter>
bool callSetter(Object& object, const Value& value) {
  using Owner = OwnerOf<Setter>;
  using Argument = typename SetterArgument<decltype(Setter)>::Type;
  if constexpr (std::is_pointer_v<Argument>) {
    using Target = std::remove_pointer_t<Argument>;
    auto target = value.template objectAs<Target>();
    if (!target && !value.isNull()) return false;
    (static_cast<Owner&>(object).*Setter)(target.get());
  } else {
    auto argument = ValueTraits<Argument>::fromValue(value);
    if (!argument) return false;
    (static_cast<Owner&>(object).*Setter)(*std::move(argument));
  }
  return true;
}

}  // namespace detail

namespace detail {

template <auto Member>
constexpr std::string_view memberName() {
  constexpr std::string_view signature = __PRETTY_FUNCTION__;
  constexpr std::size_t begin = signature.find('&') + 1;
  return signature.substr(begin, signature.find_first_of("];", begin) - begin);
}

/// The row behind a member. One that its class does not list is logged by name and has a row without a key,
/// as nothing can be found out about it: the table is not visible where members are used.
QW_EXPORT const Property& rowOfMember(const Class& c, const void* member, std::string_view name);

template <class T>
struct QW_EXPORT Content {
  using Type = T;
};
template <class T>
struct Content<std::optional<T>> {
  using Type = T;
};

/// The kind of `Value` that a type becomes; null when that differs from value to value.
template <class Member>
constexpr Value::Kind kindOf() {
  using T = typename Content<Member>::Type;
  using enum Value::Kind;
  if constexpr (requires { ValueTraits<T>::kKind; })
    return ValueTraits<T>::kKind;
  else if constexpr (std::is_same_v<T, bool>)
    return kBool;
  else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
    return kInt;
  else if constexpr (std::is_same_v<T, double>)
    return kDouble;
  else if constexpr (std::is_same_v<T, Decimal>)
    return kDecimal;
  else if constexpr (std::is_same_v<T, std::string>)
    return kText;
  else
    return kNull;
}

}  // namespace detail

/// The row of a member in its class's table, looked up once.
template <auto Member>
const Property& propertyOf() {
  static const Property& row =
      detail::rowOfMember(detail::OwnerOf<Member>::kClass, memberTag<Member>(), detail::memberName<Member>());
  return row;
}

/// A property that is observed but neither stored nor undone; `Setter` is its public setter, none for
/// read-only.
template <auto Member, auto Setter = nullptr>
constexpr Property property(std::string_view key, PropertyOptions options = {}) {
  Property row;
  row.key = key;
  row.member = memberTag<Member>();
  row.valueKind = detail::kindOf<typename detail::Access<Member>::Result>();
  row.get = &detail::Access<Member>::get;
  row.view = detail::Access<Member>::viewFunction();
  if constexpr (!std::is_same_v<decltype(Setter), std::nullptr_t>) {
    row.set = &detail::callSetter<Setter>;
    row.restore = row.set;
  }
  row.dependsOn = options.dependsOn;
  row.localizationKey = options.localizationKey;
  return row;
}

/// A computed property: a const member function, and the keys or key paths that it is computed from.
template <auto Getter>
constexpr Property derived(std::string_view key, Property::Keys dependsOn = {}) {
  Property row = property<Getter>(key);
  row.kind = PropertyKind::kDerived;
  row.dependsOn = dependsOn;
  return row;
}

}  // namespace qw
