#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/base/Export.h"
#include "platform/files/Coder.h"
#include "platform/files/PropertyList.h"
#include "platform/object/Property.h"

namespace qw {

/// Reads a keyed archive that may come from a stranger. It makes objects only of the classes it was given and
/// of their subclasses, found by name in the `ClassRegistry`; texts, numbers, dates and other values, and
/// containers of them, are always read. Each object is made once and is visible, perhaps not yet complete, to
/// those that it leads to. A missing key gives nothing, zero or false. The first fault (damage, a class not
/// allowed, a limit, `fail`) ends the reading: from then on every key is missing, and `finish` or the
/// one-step functions answer the error. Used on one thread.
///
///     void Person::initWithCoder(qw::KeyedUnarchiver& coder) {
///       Object::initWithCoder(coder);
///       name_ = coder.decodeText("name");
///       friends_ = coder.decodeObjects<Person>("friends");
///       boss_ = coder.decodeObject<Person>("boss");
///     }
///
/// The classes that may be made are named when an archive is read:
///
///     auto copy = qw::KeyedUnarchiver::unarchived<Person>(data->bytes(), {&Person::kClass}, &error);
class QW_EXPORT KeyedUnarchiver : public Coder {
 public:
  /// The classes whose objects, and those of their subclasses, may be made.
  using Classes = std::vector<const Class*>;

  /// What a stranger's archive may cost.
  struct Limits {
    /// Of the list that the archive is written in.
    PropertyList::Limits list;
    /// Objects and containers being decoded within each other; each costs stack, about 1 KB and what
    /// `initWithCoder` needs.
    std::size_t depth = 1000;
    /// Bytes of texts, data and elements handed out: at most this plus 64 times the size of the archive.
    std::size_t work = std::size_t{64} << 20;
  };

  /// The value under the root key; none with the error set when anything is wrong.
  static std::optional<Value> unarchivedValue(std::span<const std::uint8_t> bytes, const Classes& classes,
                                              Error* error = nullptr);
  /// The object under the root key; null with the error set when anything is wrong or it is no `T`.
  template <class T>
  static std::shared_ptr<T> unarchived(std::span<const std::uint8_t> bytes, const Classes& classes,
                                       Error* error = nullptr);

  /// Reads the top of an archive, whose keys are then decoded one by one. Null with the error set when the
  /// bytes are no keyed archive.
  static std::unique_ptr<KeyedUnarchiver> open(std::span<const std::uint8_t> bytes, const Classes& classes,
                                               const Limits& limits, Error* error = nullptr);
  /// The same under the usual limits.
  static std::unique_ptr<KeyedUnarchiver> open(std::span<const std::uint8_t> bytes, const Classes& classes,
                                               Error* error = nullptr) {
    return open(bytes, classes, Limits(), error);
  }

  /// Makes a value from the keys of the record that is being read; null, or `fail`, for what is no such
  /// value.
  using ValueDecoder = Value (*)(KeyedUnarchiver&);
  /// How values are read that are no objects but extensions of `Value`, by the name of their class in the
  /// archive. Once for each, before the first archive that holds one; any thread.
  static void addValueClass(std::string_view name, ValueDecoder decoder);

  /// Whether the object that is being read, or the top, has the key; null counts as a value.
  bool containsValueForKey(std::string_view key) const { return find(key).has_value(); }
  ///@{
  /// Numbers convert where nothing is lost; a missing key gives false or 0; any other value is a fault.
  bool decodeBool(std::string_view key);
  std::int32_t decodeInt(std::string_view key);
  std::int64_t decodeInt64(std::string_view key);
  double decodeDouble(std::string_view key);
  ///@}
  /// Any value. Shared containers and objects stay shared.
  Value decodeObject(std::string_view key);
  /// The object under the key, null for none. A value of another type is a fault.
  template <class T>
  std::shared_ptr<T> decodeObject(std::string_view key);
  /// The elements of an array; one that is no `T` is a fault.
  template <class T>
  std::vector<std::shared_ptr<T>> decodeObjects(std::string_view key);
  /// A missing key gives the empty text; a value of another type is a fault.
  std::string decodeText(std::string_view key);
  /// A missing key gives no bytes; a value of another type is a fault.
  Data decodeBytes(std::string_view key);
  /// A missing key gives none; a value of another type is a fault.
  std::optional<Date> decodeDate(std::string_view key);
  /// Also reads integers; a missing key gives none.
  std::optional<Decimal> decodeDecimal(std::string_view key);

  /// For `initWithCoder`: the archive holds something that cannot be.
  void fail(std::string_view description);
  /// Whether something was wrong, so that the rest reads as missing.
  bool hasFailed() const { return failure_.has_value(); }
  /// False with the error set when something was wrong.
  bool finish(Error* error = nullptr) const;

 private:
  using Index = PropertyList::Index;
  enum class State : std::uint8_t { kNew, kOpen, kDone };
  /// What the objects of one "$class" are.
  struct Kind {
    Value (KeyedUnarchiver::*decodeValue)() = nullptr;
    ValueDecoder decoder = nullptr;
    const Class* objectClass = nullptr;
  };
  struct Slot {
    State state = State::kNew;
    Value value;
  };

  KeyedUnarchiver(PropertyList list, const Classes& classes, const Limits& limits, std::size_t size);
  bool readTop();
  std::optional<Index> find(std::string_view key) const;
  std::optional<Index> findScalar(std::string_view key);
  void fail(int code, std::string_view description);
  void failClass(std::string_view name);
  void failType(std::string_view key);
  bool charge(std::size_t bytes);

  Value decode(Index index);
  Value decodeScalar(Index index);
  Value decodeUID(std::uint64_t uid);
  Value decodeRecord(std::uint64_t uid, Index record);
  const Kind* kindOf(Index record);
  std::optional<Kind> kindNamed(std::string_view name);
  Value makeObject(std::uint64_t uid, const Class& c);
  Array decodeElements(std::string_view key);
  Value decodeNull();
  Value decodeArray();
  Value decodeSet();
  Value decodeDictionary();
  Value decodeDateRecord();
  Value decodeDecimalRecord();
  Value decodeColor();
  Value decodeImage();
  Value decodeClass();

  PropertyList list_;
  Classes classes_;
  std::size_t depthLimit_;
  std::size_t workLimit_;
  std::size_t depth_ = 0;
  std::size_t work_ = 0;
  Index objects_ = 0;                              // the node of "$objects"
  std::vector<Slot> slots_;                        // by UID; only for records
  std::unordered_map<std::uint64_t, Kind> kinds_;  // by the UID of a "$class"
  Index current_ = 0;                              // the dictionary whose keys are read
  mutable std::size_t hint_ = 0;                   // where its next key is likely to be
  std::optional<Error> failure_;
};

template <class T>
std::shared_ptr<T> KeyedUnarchiver::decodeObject(std::string_view key) {
  const Value value = decodeObject(key);
  std::shared_ptr<T> object = value.objectAs<T>();
  if (!object && !value.isNull()) failType(key);
  return object;
}

template <class T>
std::vector<std::shared_ptr<T>> KeyedUnarchiver::decodeObjects(std::string_view key) {
  std::vector<std::shared_ptr<T>> objects;
  const Value value = decodeObject(key);
  if (!value.array()) {
    if (!value.isNull()) failType(key);
    return objects;
  }
  if (!charge(value.array()->size() * sizeof(objects.front()))) return objects;
  objects.reserve(value.array()->size());
  for (const Value& element : *value.array()) {
    objects.push_back(element.objectAs<T>());
    if (!objects.back()) {
      failType(key);
      return {};
    }
  }
  return objects;
}

template <class T>
std::shared_ptr<T> KeyedUnarchiver::unarchived(std::span<const std::uint8_t> bytes, const Classes& classes,
                                               Error* error) {
  const std::unique_ptr<KeyedUnarchiver> unarchiver = open(bytes, classes, error);
  if (!unarchiver) return nullptr;
  std::shared_ptr<T> object = unarchiver->decodeObject<T>("root");
  if (!object) unarchiver->fail("The archive holds no such object.");
  return unarchiver->finish(error) ? object : nullptr;
}

}  // namespace qw
