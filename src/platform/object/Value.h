#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <variant>
#include <vector>

#include "platform/base/Color.h"
#include "platform/base/Data.h"
#include "platform/base/Date.h"
#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "platform/base/Image.h"

namespace qw {

class Class;
class KeyedArchiver;
class Object;
class Value;
class ValueSet;

/// An ordered list of values.
using Array = std::vector<Value>;
/// Values by key, in the order of the bytes of the keys.
using Dictionary = std::map<std::string, Value, std::less<>>;

namespace detail {

/// A pointer that no value is made of: neither a text, a class nor an object whose class is known here.
template <class T>
concept IsForeignPointer =
    !std::is_convertible_v<T*, const char*> && !std::is_convertible_v<T*, const Class*> &&
    !std::is_convertible_v<T*, const Object*>;

}  // namespace detail

/// A small immutable value that the ground floor does not know (a duration, a constant): it travels inside a
/// `Value` and answers for its own equality, order and text.
class QW_EXPORT ExtensionValue {
 public:
  virtual ~ExtensionValue() = default;
  /// Called only with a value of the same dynamic type.
  virtual bool isEqual(const ExtensionValue& other) const = 0;
  /// Equal values have equal hashes.
  virtual std::size_t hash() const = 0;
  /// Negative, 0 or positive. Called only with a value of the same dynamic type.
  virtual int compare(const ExtensionValue& other) const = 0;
  /// A text for people and logs.
  virtual std::string description() const = 0;

  /// Keyed archiving: the name of the class and its keys; an empty name for what has no archived form.
  virtual std::string_view archiveClassName() const { return {}; }
  /// Writes the keys of a value that has an archived form.
  virtual void encodeWithCoder(KeyedArchiver&) const {}
};

/// Any value that a property can hold, owning. Cheap to move; containers and objects are shared on copy and
/// containers are detached when changed through `mutableArray` and the like. Equality, hash and order are by
/// content: numbers of all kinds compare by value, objects by `Object::isEqual`, sets without regard to
/// order.
class QW_EXPORT Value {
 public:
  /// What a value holds; the kinds from `kBool` to `kDecimal` are numbers.
  enum class Kind : std::uint8_t {
    kNull,
    kBool,
    kInt,
    kDouble,
    kDecimal,
    kText,
    kDate,
    kData,
    kColor,
    kImage,
    kObject,
    kArray,
    kSet,
    kDictionary,
    kExtension,
    kClass
  };

  Value() = default;
  /// Null.
  Value(std::nullptr_t) {}
  /// Nothing but a `bool`: a pointer that was meant otherwise would be "true".
  template <std::same_as<bool> B>
  Value(B value) : store_(value) {}
  /// An integer; of an unsigned one beyond 63 bits the same bits.
  template <class I>
  requires(std::is_integral_v<I> && !std::is_same_v<I, bool> && !std::is_same_v<I, char>) Value(I value)
      : store_(static_cast<std::int64_t>(value)) {}
  /// A binary floating-point number.
  template <std::floating_point F>
  Value(F value) : store_(static_cast<double>(value)) {}
  /// An exact decimal number.
  Value(Decimal value) : store_(value) {}
  /// A text, normally UTF-8.
  Value(std::string value) : store_(std::move(value)) {}
  /// A copy of the text.
  Value(std::string_view value) : store_(std::string(value)) {}
  /// A copy of the text. Requires: not null.
  Value(const char* value) : store_(std::string(value)) {}
  /// A moment.
  Value(Date value) : store_(value) {}
  /// Bytes, shared.
  Value(Data value) : store_(std::move(value)) {}
  /// A colour.
  Value(Color value) : store_(value) {}
  /// A picture, shared.
  Value(Image value) : store_(std::move(value)) {}
  /// A class; a null pointer makes the null value.
  Value(const Class* value) : store_(value) { nullIfEmpty(value); }
  /// A null pointer makes the null value.
  template <class T>
  requires std::is_base_of_v<Object, T> Value(std::shared_ptr<T> object)
      : Value(std::shared_ptr<Object>(std::move(object)), 0) {}
  /// The same for the base of all objects.
  Value(std::shared_ptr<Object> object) : Value(std::move(object), 0) {}
  /// The object that somebody owns; null for one that nobody does.
  template <class T>
  requires std::is_convertible_v<T*, const Object*> Value(T* object) : Value(owned(object), 0) {}
  template <class T>
  requires detail::IsForeignPointer<T> Value(T*)
  = delete;
  /// A value of an upper floor; a null pointer makes the null value.
  Value(std::shared_ptr<const ExtensionValue> value) : store_(std::move(value)) {
    nullIfEmpty(*std::get_if<std::shared_ptr<const ExtensionValue>>(&store_));
  }
  /// An array.
  Value(Array elements) : store_(std::make_shared<Array>(std::move(elements))) {}
  /// A set.
  Value(ValueSet elements);
  /// A dictionary.
  Value(Dictionary entries) : store_(std::make_shared<Dictionary>(std::move(entries))) {}
  /// The content, or null for none.
  template <class T>
  Value(std::optional<T> value) {
    if (value) *this = Value(*std::move(value));
  }

  /// What the value holds.
  Kind kind() const { return static_cast<Kind>(store_.index()); }
  /// Whether the value is null.
  bool isNull() const { return kind() == Kind::kNull; }
  /// Whether the value is a bool, an integer, a double or a decimal.
  bool isNumber() const { return kind() >= Kind::kBool && kind() <= Kind::kDecimal; }

  ///@{
  /// The content when the value is of exactly that kind, else null. Valid until the value changes.
  const std::string* text() const { return std::get_if<std::string>(&store_); }
  const Date* date() const { return std::get_if<Date>(&store_); }
  const Data* data() const { return std::get_if<Data>(&store_); }
  const Color* color() const { return std::get_if<Color>(&store_); }
  const Image* image() const { return std::get_if<Image>(&store_); }
  const Array* array() const { return shared<Array>(); }
  const ValueSet* set() const { return shared<ValueSet>(); }
  const Dictionary* dictionary() const { return shared<Dictionary>(); }
  ///@}
  /// The class, or null when the value is not one.
  const Class* classValue() const {
    auto value = std::get_if<const Class*>(&store_);
    return value ? *value : nullptr;
  }
  /// The object, or null when the value is not one.
  const std::shared_ptr<Object>& object() const;
  /// The value of an upper floor, or null when this is none.
  const std::shared_ptr<const ExtensionValue>& extension() const;
  /// The object as a `T`, or null.
  template <class T>
  std::shared_ptr<T> objectAs() const {
    return std::dynamic_pointer_cast<T>(object());
  }
  /// The value of an upper floor as a `T`, or null.
  template <class T>
  const T* extensionAs() const {
    return dynamic_cast<const T*>(extension().get());
  }

  ///@{
  /// The container for changing; the value becomes an empty one when it is of another kind. Other copies
  /// stay.
  Array& mutableArray();
  ValueSet& mutableSet();
  Dictionary& mutableDictionary();
  ///@}

  ///@{
  /// Converts between numbers and reads texts as numbers; what cannot be read is 0 or false, as key-value
  /// coding does for scalar properties.
  bool boolValue() const;
  std::int64_t int64Value() const;
  double doubleValue() const;
  ///@}
  /// No value when this is neither a number nor a text that is one.
  std::optional<Decimal> decimalValue() const;
  /// A text for people and logs: a text as it is, numbers plain, null "".
  std::string description() const;
  /// Number of elements of a container, 0 for null, 1 for any other value.
  std::size_t count() const;

  /// Equal values have equal hashes, whatever their kinds.
  std::size_t hash() const;
  friend bool operator==(const Value& a, const Value& b);
  /// Negative, 0 or positive: null first, numbers by value, texts by Unicode code point, dates by time,
  /// extension values by their own order; values of kinds that have no common order compare by kind.
  static int compare(const Value& a, const Value& b);

 private:
  static std::shared_ptr<Object> owned(const Object* object);
  Value(std::shared_ptr<Object> object, int) {
    if (object) store_ = std::move(object);
  }
  template <class P>
  void nullIfEmpty(const P& pointer) {
    if (!pointer) store_ = std::monostate{};
  }
  template <class T>
  const T* shared() const {
    auto value = std::get_if<std::shared_ptr<T>>(&store_);
    return value ? value->get() : nullptr;
  }
  template <class T>
  T& detach();

  std::variant<std::monostate, bool, std::int64_t, double, Decimal, std::string, Date, Data, Color, Image,
               std::shared_ptr<Object>, std::shared_ptr<Array>, std::shared_ptr<ValueSet>,
               std::shared_ptr<Dictionary>, std::shared_ptr<const ExtensionValue>, const Class*>
      store_;
};

QW_EXPORT bool operator==(const Value& a, const Value& b);

static_assert(sizeof(Value) <= 40);

/// For hashed containers of values.
struct QW_EXPORT ValueHash {
  std::size_t operator()(const Value& value) const { return value.hash(); }
};

/// A set of values that keeps the order in which they came; two sets are equal when they hold the same
/// elements.
class QW_EXPORT ValueSet {
 public:
  ValueSet() = default;
  /// The values, each once.
  ValueSet(std::initializer_list<Value> values);
  /// The elements of an array, each once, in the order of their first occurrence.
  explicit ValueSet(const Array& values);

  /// The number of elements.
  std::size_t size() const { return elements_.size(); }
  /// Whether there are none.
  bool empty() const { return elements_.empty(); }
  /// Whether an equal value is in the set; constant time.
  bool contains(const Value& value) const { return positions_.contains(value); }
  /// The elements in the order in which they were added.
  const Array& elements() const { return elements_; }
  /// At the element that was added first.
  auto begin() const { return elements_.begin(); }
  /// Behind the element that was added last.
  auto end() const { return elements_.end(); }

  /// False when the value was there.
  bool insert(Value value);
  /// False when the value was not there. Linear in the number of elements behind it.
  bool erase(const Value& value);

  friend bool operator==(const ValueSet& a, const ValueSet& b);

 private:
  Array elements_;
  std::unordered_map<Value, std::size_t, ValueHash> positions_;
};

QW_EXPORT bool operator==(const ValueSet& a, const ValueSet& b);

/// A borrowed look at a value while a predicate or a sort runs: 16 bytes, nothing is copied. Valid only until
/// the object that it was read from changes.
class QW_EXPORT ValueView {
 public:
  /// What a view shows; `kValue` is every kind without a form of its own.
  enum class Kind : std::uint8_t { kNull, kBool, kInt, kDouble, kDecimal, kText, kDate, kObject, kValue };

  ValueView() = default;
  /// A bool.
  template <std::same_as<bool> B>
  ValueView(B value) : kind_(Kind::kBool) {
    content_.integer = value;
  }
  /// An integer.
  ValueView(std::int64_t value) : kind_(Kind::kInt) { content_.integer = value; }
  /// A double.
  ValueView(double value) : kind_(Kind::kDouble) { content_.real = value; }
  /// A decimal, which must outlive the view.
  ValueView(const Decimal& value) : kind_(Kind::kDecimal) { content_.pointer = &value; }
  /// Texts beyond 4 GiB are cut.
  ValueView(std::string_view text)
      : kind_(Kind::kText),
        length_(text.size() > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(text.size())) {
    content_.pointer = text.data();
  }
  /// A moment.
  ValueView(Date date) : kind_(Kind::kDate) { content_.integer = date.microseconds(); }
  template <class T>
  requires(!std::is_convertible_v<T*, Object*> && !std::is_convertible_v<T*, const char*>) ValueView(T*)
  = delete;
  /// A text that ends with a NUL.
  ValueView(const char* text) : ValueView(std::string_view(text)) {}
  /// An object, which must outlive the view; null for a null pointer.
  ValueView(Object* object) : kind_(object ? Kind::kObject : Kind::kNull) { content_.pointer = object; }
  /// For kinds without a form of their own.
  ValueView(const Value& value);

  /// What is shown.
  Kind kind() const { return kind_; }
  /// Whether null is shown.
  bool isNull() const { return kind_ == Kind::kNull; }
  ///@{
  /// What is shown. Requires: the matching kind.
  bool boolean() const { return content_.integer != 0; }
  std::int64_t integer() const { return content_.integer; }
  double real() const { return content_.real; }
  const Decimal& decimal() const { return *static_cast<const Decimal*>(content_.pointer); }
  std::string_view text() const { return {static_cast<const char*>(content_.pointer), length_}; }
  Date date() const { return Date::fromMicroseconds(content_.integer); }
  Object* object() const { return static_cast<Object*>(const_cast<void*>(content_.pointer)); }
  const Value& value() const { return *static_cast<const Value*>(content_.pointer); }
  ///@}

  /// An owning copy.
  Value toValue() const;

 private:
  Kind kind_ = Kind::kNull;
  std::uint32_t length_ = 0;
  union {
    std::int64_t integer = 0;
    double real;
    const void* pointer;
  } content_;
};

static_assert(sizeof(ValueView) == 16);

/// How a member type becomes a `Value` and back. Specialise it for a type of your own with two functions and,
/// if it can be borrowed, a third. `fromValue` answers none for what cannot be a `T`; null gives T's own
/// null, if any.
///
///     template <>
///     struct qw::ValueTraits<Mileage> {
///       static qw::Value toValue(const Mileage& mileage) { return mileage.kilometres; }
///       static std::optional<Mileage> fromValue(const qw::Value& value) {
///         return value.isNumber() ? std::optional(Mileage{value.int64Value()}) : std::nullopt;
///       }
///       static qw::ValueView view(const Mileage& mileage) { return mileage.kilometres; }
///     };
template <class T>
struct ValueTraits;

}  // namespace qw
