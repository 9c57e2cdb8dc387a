#include "platform/object/Value.h"

#include <charconv>
#include <cmath>
#include <typeinfo>

#include "platform/object/Class.h"
#include "platform/object/Object.h"

namespace qw {

namespace {

std::size_t combine(std::size_t seed, std::size_t hash) {
  return seed ^ (hash + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2));
}

template <class T>
int order(const T& a, const T& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

/// Numbers by value: exactly as long as no binary fraction takes part.
int compareNumbers(const Value& a, const Value& b) {
  if (a.kind() == Value::Kind::kDouble || b.kind() == Value::Kind::kDouble)
    return order(a.doubleValue(), b.doubleValue());
  if (a.kind() == Value::Kind::kDecimal || b.kind() == Value::Kind::kDecimal)
    return order(*a.decimalValue(), *b.decimalValue());
  return order(a.int64Value(), b.int64Value());
}

/// Decimal or binary text of a number, the longest readable beginning.
std::optional<Decimal> leadingNumber(const std::string& text) {
  std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string::npos) return std::nullopt;
  std::size_t end = begin;
  if (text[end] == '+' || text[end] == '-') ++end;
  bool point = false;
  while (end < text.size() && ((text[end] >= '0' && text[end] <= '9') || (text[end] == '.' && !point))) {
    point |= text[end] == '.';
    ++end;
  }
  return Decimal::fromText(std::string_view(text).substr(begin, end - begin));
}

}  // namespace

Value::Value(ValueSet elements) : store_(std::make_shared<ValueSet>(std::move(elements))) {}

const std::shared_ptr<Object>& Value::object() const {
  static const std::shared_ptr<Object> kNone;
  auto value = std::get_if<std::shared_ptr<Object>>(&store_);
  return value ? *value : kNone;
}

const std::shared_ptr<const ExtensionValue>& Value::extension() const {
  static const std::shared_ptr<const ExtensionValue> kNone;
  auto value = std::get_if<std::shared_ptr<const ExtensionValue>>(&store_);
  return value ? *value : kNone;
}

std::shared_ptr<Object> Value::owned(const Object* object) {
  return object ? std::const_pointer_cast<Object>(object->weak_from_this().lock()) : nullptr;
}

template <class T>
T& Value::detach() {
  auto value = std::get_if<std::shared_ptr<T>>(&store_);
  if (!value) {
    store_ = std::make_shared<T>();
    value = std::get_if<std::shared_ptr<T>>(&store_);
  } else if (value->use_count() > 1) {
    *value = std::make_shared<T>(**value);
  }
  return **value;
}

Array& Value::mutableArray() { return detach<Array>(); }
ValueSet& Value::mutableSet() { return detach<ValueSet>(); }
Dictionary& Value::mutableDictionary() { return detach<Dictionary>(); }

bool Value::boolValue() const {
  switch (kind()) {
    case Kind::kBool:
      return std::get<bool>(store_);
    case Kind::kText: {
      const std::string& text = *this->text();
      const char first = text.empty() ? '\0' : text[0];
      return first == 'y' || first == 'Y' || first == 't' || first == 'T' || int64Value() != 0;
    }
    case Kind::kInt:
      return std::get<std::int64_t>(store_) != 0;
    case Kind::kDouble:
      return std::get<double>(store_) != 0;
    case Kind::kDecimal:
      return !std::get<Decimal>(store_).isZero();
    default:
      return false;
  }
}

std::int64_t Value::int64Value() const {
  switch (kind()) {
    case Kind::kBool:
      return std::get<bool>(store_);
    case Kind::kInt:
      return std::get<std::int64_t>(store_);
    case Kind::kDouble: {
      const double value = std::get<double>(store_);
      return value >= -9.2233720368547758e18 && value < 9.2233720368547758e18
                 ? static_cast<std::int64_t>(value)
                 : 0;
    }
    case Kind::kDecimal:
      return std::get<Decimal>(store_).truncatedToInt64();
    case Kind::kText: {
      auto number = leadingNumber(*text());
      return number ? number->truncatedToInt64() : 0;
    }
    default:
      return 0;
  }
}

double Value::doubleValue() const {
  switch (kind()) {
    case Kind::kBool:
      return std::get<bool>(store_) ? 1 : 0;
    case Kind::kInt:
      return static_cast<double>(std::get<std::int64_t>(store_));
    case Kind::kDouble:
      return std::get<double>(store_);
    case Kind::kDecimal:
      return std::get<Decimal>(store_).toDouble();
    case Kind::kText: {
      auto number = leadingNumber(*text());
      return number ? number->toDouble() : 0;
    }
    default:
      return 0;
  }
}

std::optional<Decimal> Value::decimalValue() const {
  switch (kind()) {
    case Kind::kBool:
      return Decimal(std::get<bool>(store_) ? 1 : 0);
    case Kind::kInt:
      return Decimal(std::get<std::int64_t>(store_));
    case Kind::kDouble:
      return Decimal::fromText(description());
    case Kind::kDecimal:
      return std::get<Decimal>(store_);
    case Kind::kText:
      return Decimal::fromText(*text());
    default:
      return std::nullopt;
  }
}

std::string Value::description() const {
  const auto list = [](const auto& elements, const char* open, const char* close) {
    std::string text = open;
    for (const Value& element : elements) {
      if (text.size() > 1) text += ", ";
      text += element.description();
    }
    return text + close;
  };
  switch (kind()) {
    case Kind::kNull:
      return "";
    case Kind::kBool:
      return std::get<bool>(store_) ? "1" : "0";
    case Kind::kInt:
      return std::to_string(std::get<std::int64_t>(store_));
    case Kind::kDouble: {
      char buffer[32];
      const auto end = std::to_chars(buffer, buffer + sizeof buffer, std::get<double>(store_)).ptr;
      return std::string(buffer, end);
    }
    case Kind::kDecimal:
      return std::get<Decimal>(store_).text();
    case Kind::kText:
      return *text();
    case Kind::kDate:
      return std::to_string(date()->seconds());
    case Kind::kData:
      return "<" + std::to_string(data()->size()) + " bytes>";
    case Kind::kColor:
      return color()->components();
    case Kind::kImage:
      return "<image>";
    case Kind::kObject:
      return object()->description();
    case Kind::kArray:
      return list(*array(), "(", ")");
    case Kind::kSet:
      return list(*set(), "{", "}");
    case Kind::kDictionary: {
      std::string text = "{";
      for (const auto& [key, value] : *dictionary()) {
        if (text.size() > 1) text += ", ";
        text += key + " = " + value.description();
      }
      return text + "}";
    }
    case Kind::kExtension:
      return extension()->description();
    case Kind::kClass:
      return std::string(classValue()->name());
  }
  return "";
}

std::size_t Value::count() const {
  switch (kind()) {
    case Kind::kNull:
      return 0;
    case Kind::kArray:
      return array()->size();
    case Kind::kSet:
      return set()->size();
    case Kind::kDictionary:
      return dictionary()->size();
    default:
      return 1;
  }
}

std::size_t Value::hash() const {
  switch (kind()) {
    case Kind::kNull:
      return 0;
    case Kind::kBool:
    case Kind::kInt:
    case Kind::kDouble:
    case Kind::kDecimal:
      return std::hash<double>{}(doubleValue());
    case Kind::kText:
      return std::hash<std::string>{}(*text());
    case Kind::kDate:
      return std::hash<std::int64_t>{}(date()->microseconds());
    case Kind::kData:
      return std::hash<std::string_view>{}(data()->text());
    case Kind::kColor:
      return std::hash<std::string>{}(color()->components());
    case Kind::kImage:
      return std::hash<std::string_view>{}(image()->png().text());
    case Kind::kObject:
      return object()->hash();
    case Kind::kArray: {
      std::size_t seed = array()->size();
      for (const Value& element : *array()) seed = combine(seed, element.hash());
      return seed;
    }
    case Kind::kSet: {
      std::size_t seed = set()->size();
      for (const Value& element : *set()) seed += element.hash();
      return seed;
    }
    case Kind::kDictionary: {
      std::size_t seed = dictionary()->size();
      for (const auto& [key, value] : *dictionary())
        seed = combine(combine(seed, std::hash<std::string>{}(key)), value.hash());
      return seed;
    }
    case Kind::kExtension:
      return extension()->hash();
    case Kind::kClass:
      return std::hash<const void*>{}(classValue());
  }
  return 0;
}

bool operator==(const Value& a, const Value& b) {
  using Kind = Value::Kind;
  if (a.isNumber() && b.isNumber()) return compareNumbers(a, b) == 0;
  if (a.kind() != b.kind()) return false;
  switch (a.kind()) {
    case Kind::kNull:
      return true;
    case Kind::kText:
      return *a.text() == *b.text();
    case Kind::kDate:
      return *a.date() == *b.date();
    case Kind::kData:
      return *a.data() == *b.data();
    case Kind::kColor:
      return *a.color() == *b.color();
    case Kind::kImage:
      return *a.image() == *b.image();
    case Kind::kObject:
      return a.object() == b.object() || a.object()->isEqual(*b.object());
    case Kind::kArray:
      return a.array() == b.array() || *a.array() == *b.array();
    case Kind::kSet:
      return a.set() == b.set() || *a.set() == *b.set();
    case Kind::kDictionary:
      return a.dictionary() == b.dictionary() || *a.dictionary() == *b.dictionary();
    case Kind::kExtension:
      return a.extension() == b.extension() ||
             (typeid(*a.extension()) == typeid(*b.extension()) && a.extension()->isEqual(*b.extension()));
    case Kind::kClass:
      return a.classValue() == b.classValue();
    default:
      return false;
  }
}

int Value::compare(const Value& a, const Value& b) {
  if (a.isNumber() && b.isNumber()) return compareNumbers(a, b);
  if (a.kind() != b.kind()) return order(a.kind(), b.kind());
  switch (a.kind()) {
    case Kind::kText:
      return order(*a.text(), *b.text());
    case Kind::kDate:
      return order(*a.date(), *b.date());
    case Kind::kData:
      return order(a.data()->text(), b.data()->text());
    case Kind::kObject:
      return a.object() == b.object() ? 0 : a.object()->compare(*b.object());
    case Kind::kArray: {
      const Array &left = *a.array(), &right = *b.array();
      for (std::size_t i = 0; i < left.size() && i < right.size(); ++i)
        if (const int result = compare(left[i], right[i])) return result;
      return order(left.size(), right.size());
    }
    case Kind::kExtension: {
      if (typeid(*a.extension()) == typeid(*b.extension())) return a.extension()->compare(*b.extension());
      return typeid(*a.extension()).before(typeid(*b.extension())) ? -1 : 1;
    }
    case Kind::kClass:
      return order(a.classValue()->name(), b.classValue()->name());
    default:
      return a == b ? 0 : order(a.count(), b.count());
  }
}

ValueSet::ValueSet(std::initializer_list<Value> values) {
  for (const Value& value : values) insert(value);
}

ValueSet::ValueSet(const Array& values) {
  for (const Value& value : values) insert(value);
}

bool ValueSet::insert(Value value) {
  if (!positions_.emplace(value, elements_.size()).second) return false;
  elements_.push_back(std::move(value));
  return true;
}

bool ValueSet::erase(const Value& value) {
  const auto found = positions_.find(value);
  if (found == positions_.end()) return false;
  const std::size_t position = found->second;
  positions_.erase(found);
  elements_.erase(elements_.begin() + static_cast<std::ptrdiff_t>(position));
  for (std::size_t i = position; i < elements_.size(); ++i) positions_.find(elements_[i])->second = i;
  return true;
}

bool operator==(const ValueSet& a, const ValueSet& b) {
  if (a.size() != b.size()) return false;
  for (const Value& element : a)
    if (!b.contains(element)) return false;
  return true;
}

ValueView::ValueView(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::kNull:
      break;
    case Value::Kind::kBool:
      *this = ValueView(value.boolValue());
      break;
    case Value::Kind::kInt:
      *this = ValueView(value.int64Value());
      break;
    case Value::Kind::kDouble:
      *this = ValueView(value.doubleValue());
      break;
    case Value::Kind::kText:
      *this = ValueView(std::string_view(*value.text()));
      break;
    case Value::Kind::kDate:
      *this = ValueView(*value.date());
      break;
    case Value::Kind::kObject:
      *this = ValueView(value.object().get());
      break;
    default:
      kind_ = Kind::kValue;
      content_.pointer = &value;
  }
}

Value ValueView::toValue() const {
  switch (kind_) {
    case Kind::kNull:
      return {};
    case Kind::kBool:
      return boolean();
    case Kind::kInt:
      return integer();
    case Kind::kDouble:
      return real();
    case Kind::kDecimal:
      return decimal();
    case Kind::kText:
      return text();
    case Kind::kDate:
      return date();
    case Kind::kObject:
      return object()->shared_from_this();
    case Kind::kValue:
      return value();
  }
  return {};
}

}  // namespace qw
