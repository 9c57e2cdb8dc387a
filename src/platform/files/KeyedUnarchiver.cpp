#include "platform/files/KeyedUnarchiver.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <mutex>
#include <shared_mutex>

#include "platform/files/internal/KeyedArchiveLayout.h"

namespace qw {
namespace {

using Type = PropertyList::Type;

struct ValueClasses {
  std::shared_mutex mutex;
  std::map<std::string, KeyedUnarchiver::ValueDecoder, std::less<>> decoders;
};

ValueClasses& valueClasses() {
  static ValueClasses instance;
  return instance;
}

}  // namespace

std::optional<Value> KeyedUnarchiver::unarchivedValue(std::span<const std::uint8_t> bytes,
                                                      const Classes& classes, Error* error) {
  const std::unique_ptr<KeyedUnarchiver> unarchiver = open(bytes, classes, error);
  if (!unarchiver) return std::nullopt;
  Value value = unarchiver->decodeObject("root");
  if (!unarchiver->finish(error)) return std::nullopt;
  return value;
}

std::unique_ptr<KeyedUnarchiver> KeyedUnarchiver::open(std::span<const std::uint8_t> bytes,
                                                       const Classes& classes, const Limits& limits,
                                                       Error* error) {
  std::optional<PropertyList> list = PropertyList::read(bytes, limits.list, error);
  if (!list) return nullptr;
  std::unique_ptr<KeyedUnarchiver> unarchiver(
      new KeyedUnarchiver(*std::move(list), classes, limits, bytes.size()));
  if (unarchiver->readTop()) return unarchiver;
  Error::set(error, keyed::kErrorDomain, keyed::kDamaged, "The property list is no keyed archive.");
  return nullptr;
}

KeyedUnarchiver::KeyedUnarchiver(PropertyList list, const Classes& classes, const Limits& limits,
                                 std::size_t size)
    : list_(std::move(list)),
      classes_(classes),
      depthLimit_(limits.depth),
      workLimit_(limits.work + 64 * size) {}

bool KeyedUnarchiver::readTop() {
  const Index root = list_.root();
  if (list_.type(root) != Type::kDictionary) return false;
  const std::optional<Index> archiver = list_.find(root, keyed::kArchiverKey);
  const std::optional<Index> version = list_.find(root, keyed::kVersionKey);
  const std::optional<Index> objects = list_.find(root, keyed::kObjectsKey);
  const std::optional<Index> top = list_.find(root, keyed::kTopKey);
  if (!archiver || list_.type(*archiver) != Type::kText || list_.text(*archiver) != keyed::kArchiver)
    return false;
  if (!version || list_.type(*version) != Type::kInteger || list_.integer(*version) != keyed::kVersion)
    return false;
  if (!objects || list_.type(*objects) != Type::kArray || list_.elements(*objects).empty()) return false;
  if (!top || list_.type(*top) != Type::kDictionary) return false;
  objects_ = *objects;
  current_ = *top;
  slots_.resize(list_.elements(objects_).size());
  return true;
}

void KeyedUnarchiver::addValueClass(std::string_view name, ValueDecoder decoder) {
  const std::unique_lock lock(valueClasses().mutex);
  valueClasses().decoders.emplace(name, decoder);
}

std::optional<PropertyList::Index> KeyedUnarchiver::find(std::string_view key) const {
  if (failure_) return std::nullopt;
  return keyed::needsEscape(key) ? list_.find(current_, keyed::escaped(key), &hint_)
                                 : list_.find(current_, key, &hint_);
}

/// The node of a text, number or data, also one that stands among the objects; none for null.
std::optional<PropertyList::Index> KeyedUnarchiver::findScalar(std::string_view key) {
  std::optional<Index> index = find(key);
  if (!index || list_.type(*index) != Type::kUID) return index;
  const std::uint64_t uid = list_.uid(*index);
  if (uid == 0) return std::nullopt;
  const std::span<const Index> objects = list_.elements(objects_);
  if (uid < objects.size()) return objects[static_cast<std::size_t>(uid)];
  fail(keyed::kDamaged, "The archive refers to an object that it does not hold.");
  return std::nullopt;
}

bool KeyedUnarchiver::decodeBool(std::string_view key) {
  const std::optional<Index> index = findScalar(key);
  if (!index) return false;
  if (list_.type(*index) == Type::kBoolean) return list_.boolean(*index);
  return decodeInt64(key) != 0;
}

std::int32_t KeyedUnarchiver::decodeInt(std::string_view key) {
  const std::int64_t value = decodeInt64(key);
  if (value == static_cast<std::int32_t>(value)) return static_cast<std::int32_t>(value);
  failType(key);
  return 0;
}

std::int64_t KeyedUnarchiver::decodeInt64(std::string_view key) {
  const std::optional<Index> index = findScalar(key);
  if (!index) return 0;
  switch (list_.type(*index)) {
    case Type::kBoolean:
      return list_.boolean(*index);
    case Type::kInteger:
      return list_.integer(*index);
    case Type::kReal: {
      const double real = list_.real(*index);
      if (std::abs(real) < 0x1p63 && std::trunc(real) == real) return static_cast<std::int64_t>(real);
      break;
    }
    default:
      break;
  }
  failType(key);
  return 0;
}

double KeyedUnarchiver::decodeDouble(std::string_view key) {
  const std::optional<Index> index = findScalar(key);
  if (!index) return 0;
  if (list_.type(*index) == Type::kReal) return list_.real(*index);
  return static_cast<double>(decodeInt64(key));
}

Value KeyedUnarchiver::decodeObject(std::string_view key) {
  const std::optional<Index> index = find(key);
  return index ? decode(*index) : Value();
}

std::string KeyedUnarchiver::decodeText(std::string_view key) {
  const Value value = decodeObject(key);
  if (value.text()) return *value.text();
  if (!value.isNull()) failType(key);
  return {};
}

Data KeyedUnarchiver::decodeBytes(std::string_view key) {
  const Value value = decodeObject(key);
  if (value.data()) return *value.data();
  if (!value.isNull()) failType(key);
  return {};
}

std::optional<Date> KeyedUnarchiver::decodeDate(std::string_view key) {
  const Value value = decodeObject(key);
  if (value.date()) return *value.date();
  if (!value.isNull()) failType(key);
  return std::nullopt;
}

std::optional<Decimal> KeyedUnarchiver::decodeDecimal(std::string_view key) {
  const Value value = decodeObject(key);
  if (value.isNumber()) return value.decimalValue();
  if (!value.isNull()) failType(key);
  return std::nullopt;
}

void KeyedUnarchiver::fail(std::string_view description) { fail(keyed::kDamaged, description); }

void KeyedUnarchiver::fail(int code, std::string_view description) {
  if (!failure_) failure_ = Error{keyed::kErrorDomain, code, std::string(description)};
}

void KeyedUnarchiver::failClass(std::string_view name) {
  fail(keyed::kClassNotAllowed,
       "The archive holds an object of the class \"" + std::string(name) + "\", which is not expected.");
}

void KeyedUnarchiver::failType(std::string_view key) {
  fail(keyed::kDamaged,
       "The archive holds a value of the wrong type under the key \"" + std::string(key) + "\".");
}

bool KeyedUnarchiver::finish(Error* error) const {
  if (failure_ && error) *error = *failure_;
  return !failure_;
}

bool KeyedUnarchiver::charge(std::size_t bytes) {
  if (bytes > workLimit_ - work_) {
    fail(keyed::kTooLarge, "The archive holds far more than its size allows.");
    return false;
  }
  work_ += bytes;
  return !failure_;
}

// The functions from here to `makeObject` call each other as deep as the objects lead to each other, so their
// frames are kept small.
Value KeyedUnarchiver::decode(Index index) {
  return list_.type(index) == Type::kUID ? decodeUID(list_.uid(index)) : decodeScalar(index);
}

Value KeyedUnarchiver::decodeScalar(Index index) {
  switch (list_.type(index)) {
    case Type::kNull:
      return {};
    case Type::kBoolean:
      return list_.boolean(index);
    case Type::kInteger:
      return list_.integer(index);
    case Type::kReal:
      return list_.real(index);
    case Type::kDate:
      return list_.date(index);
    case Type::kData:
      return charge(list_.bytes(index).size()) ? Value(Data(list_.bytes(index))) : Value();
    case Type::kText:
      return charge(list_.text(index).size()) ? Value(list_.text(index)) : Value();
    default:
      fail(keyed::kDamaged, "The archive holds a reference or a container where an object should be.");
      return {};
  }
}

Value KeyedUnarchiver::decodeUID(std::uint64_t uid) {
  const std::span<const Index> objects = list_.elements(objects_);
  if (uid == 0 || failure_) return {};
  if (uid >= objects.size()) {
    fail(keyed::kDamaged, "The archive refers to an object that it does not hold.");
    return {};
  }
  const Index object = objects[static_cast<std::size_t>(uid)];
  return list_.type(object) == Type::kDictionary ? decodeRecord(uid, object) : decodeScalar(object);
}

Value KeyedUnarchiver::decodeRecord(std::uint64_t uid, Index record) {
  Slot& slot = slots_[static_cast<std::size_t>(uid)];
  // An object that is being made is visible. A container is not, so one that an object on the way leads back
  // to is made once more; if there is no object on the way, this ends at the limits.
  if (slot.state == State::kDone || slot.value.object()) return slot.value;
  if (depth_ >= depthLimit_) {
    fail(keyed::kTooLarge, "The objects of the archive lead to each other in too long a chain.");
    return {};
  }
  const Kind* kind = kindOf(record);
  if (!kind || !charge(sizeof(Slot))) return {};
  const Index outer = std::exchange(current_, record);
  const std::size_t outerHint = std::exchange(hint_, 0);
  ++depth_;
  Value value = kind->objectClass   ? makeObject(uid, *kind->objectClass)
                : kind->decodeValue ? (this->*kind->decodeValue)()
                                    : kind->decoder(*this);
  --depth_;
  current_ = outer;
  hint_ = outerHint;
  if (failure_) return {};
  slot = {State::kDone, std::move(value)};
  return slot.value;
}

Value KeyedUnarchiver::makeObject(std::uint64_t uid, const Class& c) {
  std::shared_ptr<Object> object = c.create();
  if (!object) {
    failClass(c.name());
    return {};
  }
  slots_[static_cast<std::size_t>(uid)] = {State::kOpen, object};
  object->initWithCoder(*this);
  return failure_ ? Value() : Value(object->replacementAfterDecoding());
}

const KeyedUnarchiver::Kind* KeyedUnarchiver::kindOf(Index record) {
  std::size_t last = list_.keys(record).size() - 1;  // where writers put the class
  const std::optional<Index> reference = list_.find(record, keyed::kClassKey, &last);
  const std::span<const Index> objects = list_.elements(objects_);
  if (!reference || list_.type(*reference) != Type::kUID || list_.uid(*reference) >= objects.size()) {
    fail(keyed::kDamaged, "The archive holds an object without a class.");
    return nullptr;
  }
  const std::uint64_t uid = list_.uid(*reference);
  const auto known = kinds_.find(uid);
  if (known != kinds_.end()) return &known->second;
  const Index description = objects[static_cast<std::size_t>(uid)];
  std::optional<Index> name;
  if (list_.type(description) == Type::kDictionary) name = list_.find(description, keyed::kClassNameKey);
  if (!name || list_.type(*name) != Type::kText) {
    fail(keyed::kDamaged, "The archive holds a class without a name.");
    return nullptr;
  }
  const std::optional<Kind> kind = kindNamed(list_.text(*name));
  if (kind) return &kinds_.emplace(uid, *kind).first->second;
  failClass(list_.text(*name));
  return nullptr;
}

std::optional<KeyedUnarchiver::Kind> KeyedUnarchiver::kindNamed(std::string_view name) {
  static constexpr struct {
    std::string_view name;
    Value (KeyedUnarchiver::*decode)();
  } kValues[] = {
      {keyed::kArrayClass, &KeyedUnarchiver::decodeArray},
      {"NSMutableArray", &KeyedUnarchiver::decodeArray},
      {keyed::kSetClass, &KeyedUnarchiver::decodeSet},
      {"NSMutableSet", &KeyedUnarchiver::decodeSet},
      {keyed::kDictionaryClass, &KeyedUnarchiver::decodeDictionary},
      {"NSMutableDictionary", &KeyedUnarchiver::decodeDictionary},
      {keyed::kNullClass, &KeyedUnarchiver::decodeNull},
      {keyed::kDateClass, &KeyedUnarchiver::decodeDateRecord},
      {keyed::kDecimalClass, &KeyedUnarchiver::decodeDecimalRecord},
      {keyed::kColorClass, &KeyedUnarchiver::decodeColor},
      {keyed::kImageClass, &KeyedUnarchiver::decodeImage},
      {keyed::kClassClass, &KeyedUnarchiver::decodeClass},
  };
  for (const auto& value : kValues) {
    if (value.name == name) return Kind{.decodeValue = value.decode};
  }
  ClassRegistry::addFrameworkClasses();
  {
    const std::shared_lock lock(valueClasses().mutex);
    const auto found = valueClasses().decoders.find(name);
    if (found != valueClasses().decoders.end()) return Kind{.decoder = found->second};
  }
  for (const Class* c : classes_) {
    if (c->name() == name) return Kind{.objectClass = c};
  }
  const Class* c = ClassRegistry::find(name);
  if (!c ||
      std::none_of(classes_.begin(), classes_.end(), [c](const Class* a) { return c->isSubclassOf(*a); })) {
    return std::nullopt;
  }
  return Kind{.objectClass = c};
}

Array KeyedUnarchiver::decodeElements(std::string_view key) {
  const std::optional<Index> index = find(key);
  if (!index) return {};
  if (list_.type(*index) != Type::kArray) {
    failType(key);
    return {};
  }
  const std::span<const Index> indexes = list_.elements(*index);
  Array elements;
  if (!charge(indexes.size() * sizeof(Value))) return elements;
  elements.reserve(indexes.size());
  for (const Index element : indexes) {
    elements.push_back(decode(element));
    if (failure_) return {};
  }
  return elements;
}

Value KeyedUnarchiver::decodeNull() { return {}; }
Value KeyedUnarchiver::decodeArray() { return decodeElements(keyed::kElementsKey); }
Value KeyedUnarchiver::decodeSet() { return ValueSet(decodeElements(keyed::kElementsKey)); }

Value KeyedUnarchiver::decodeDictionary() {
  const Array keys = decodeElements(keyed::kKeysKey);
  Array values = decodeElements(keyed::kElementsKey);
  if (keys.size() != values.size()) failType(keyed::kKeysKey);
  Dictionary dictionary;
  for (std::size_t i = 0; i < keys.size() && !failure_; ++i) {
    if (!keys[i].text()) {
      failType(keyed::kKeysKey);
      break;
    }
    dictionary.insert_or_assign(*keys[i].text(), std::move(values[i]));
  }
  return dictionary;
}

Value KeyedUnarchiver::decodeDateRecord() {
  const std::optional<Date> date = PropertyList::dateFromSecondsSince2001(decodeDouble(keyed::kTimeKey));
  if (!date) fail(keyed::kDamaged, "The archive holds a date that is out of range.");
  return date;
}

Value KeyedUnarchiver::decodeDecimalRecord() {
  const std::optional<Decimal> decimal = Decimal::fromText(decodeText(keyed::kValueKey));
  if (!decimal) fail(keyed::kDamaged, "The archive holds a decimal number that is none.");
  return decimal;
}

Value KeyedUnarchiver::decodeColor() {
  const Array components = decodeElements(keyed::kValueKey);
  for (const Value& component : components) {
    if (component.kind() != Value::Kind::kDouble) failType(keyed::kValueKey);
  }
  if (components.size() != 4) failType(keyed::kValueKey);
  if (failure_) return {};
  return Color{components[0].doubleValue(), components[1].doubleValue(), components[2].doubleValue(),
               components[3].doubleValue()};
}

Value KeyedUnarchiver::decodeImage() {
  std::optional<Image> image = Image::fromPNG(decodeBytes(keyed::kValueKey), decodeDouble(keyed::kScaleKey));
  if (!image) fail(keyed::kDamaged, "The archive holds a damaged image.");
  return image;
}

Value KeyedUnarchiver::decodeClass() {
  const std::string name = decodeText(keyed::kValueKey);
  const Class* c = ClassRegistry::find(name);
  if (!c) fail(keyed::kClassNotAllowed, "The archive names the class \"" + name + "\", which is not known.");
  return c;
}

}  // namespace qw
