#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/UUID.h"
#include "platform/object/Property.h"

namespace qw {

/// The identity of an object across stores: a text, normally a UUID in canonical upper case, kept as its 16
/// bytes. Any other text (a foreign store may hold one) is kept as it is, once per process. Reading and
/// writing give back exactly the same characters. The empty identity stands for none.
class QW_EXPORT ObjectID {
 public:
  ObjectID() = default;
  /// The identity whose text is that of the UUID.
  ObjectID(const UUID& uuid) : uuid_(uuid) {}
  /// The identity of any text; empty for the empty text.
  ObjectID(std::string_view text) {
    // An upper half of 0 marks an interned text; a UUID that begins with 64 zero bits is kept as a text, too.
    const auto uuid = UUID::fromCanonicalText(text);
    *this = uuid && uuid->high ? ObjectID(*uuid) : interned(text);
  }
  /// The same.
  ObjectID(const std::string& text) : ObjectID(std::string_view(text)) {}
  /// The same. Requires: not null.
  ObjectID(const char* text) : ObjectID(std::string_view(text)) {}

  /// Whether this stands for none.
  bool empty() const { return uuid_.high == 0 && uuid_.low == 0; }
  /// Whether this is not empty.
  explicit operator bool() const { return !empty(); }
  /// Exactly the characters that it was made of.
  std::string text() const;
  /// False for another text, and for the empty identity.
  bool isUUID() const { return uuid_.high != 0; }
  /// Requires: `isUUID()`.
  const UUID& uuid() const { return uuid_; }

  friend bool operator==(const ObjectID&, const ObjectID&) = default;
  /// Equal identities have equal hashes.
  std::size_t hash() const { return (uuid_.high ^ (uuid_.low >> 7)) * 0x9e3779b97f4a7c15ULL ^ uuid_.low; }

 private:
  static ObjectID interned(std::string_view text);

  UUID uuid_;
};

/// Under a key an identity is its text.
template <>
struct ValueTraits<ObjectID> {
  static Value toValue(const ObjectID& id) { return id ? Value(id.text()) : Value(); }
  static std::optional<ObjectID> fromValue(const Value& value) {
    if (value.text()) return ObjectID(*value.text());
    return value.isNull() ? std::optional(ObjectID()) : std::nullopt;
  }
};

}  // namespace qw

template <>
struct std::hash<qw::ObjectID> {
  std::size_t operator()(const qw::ObjectID& id) const noexcept { return id.hash(); }
};
