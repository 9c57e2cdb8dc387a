#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/base/Export.h"
#include "platform/files/Coder.h"
#include "platform/files/PropertyList.h"
#include "platform/object/Object.h"

namespace qw {

/// Writes objects and values by key into a keyed archive: a binary property list in which each object stands
/// once, however many lead to it and also in cycles. Objects are asked to `encodeWithCoder` one after the
/// other when the archive is finished, so no chain is too long for the stack. Used once, on the thread of the
/// objects, which it keeps until then.
///
///     void Person::encodeWithCoder(qw::KeyedArchiver& coder) const {
///       Object::encodeWithCoder(coder);
///       coder.encodeObject(name_, "name");
///       coder.encodeObjects(friends_, "friends");
///       coder.encodeConditionalObject(boss_.lock(), "boss");
///     }
class QW_EXPORT KeyedArchiver : public Coder {
 public:
  /// The key of the top that `archivedData` writes and `unarchived` reads.
  static constexpr std::string_view kRootKey = "root";

  /// An archive of one value under the root key.
  static std::optional<Data> archivedData(const Value& root, Error* error = nullptr);

  /// An empty archive; keys go to its top until `finish`.
  KeyedArchiver();

  ///@{
  /// Writes a value under a key of the object that is being encoded, or of the archive's top. A key is
  /// written once.
  void encodeBool(bool value, std::string_view key);
  void encodeInt(std::int32_t value, std::string_view key);
  void encodeInt64(std::int64_t value, std::string_view key);
  void encodeDouble(double value, std::string_view key);
  void encodeBytes(std::span<const std::uint8_t> bytes, std::string_view key);
  ///@}
  /// Any value: a text, date, decimal, image, container, object or null.
  void encodeObject(const Value& value, std::string_view key);
  /// The object when something else in the archive encodes it by `encodeObject`, before or after; otherwise
  /// null. For back links and references that must not draw their target into the archive.
  void encodeConditionalObject(const std::shared_ptr<const Object>& object, std::string_view key);
  /// Objects in order, as an array; nothing for none.
  template <class T>
  void encodeObjects(const std::vector<std::shared_ptr<T>>& objects, std::string_view key) {
    if (!objects.empty()) encodeObject(Array(objects.begin(), objects.end()), key);
  }

  /// Encodes everything that the top leads to and answers the archive. Fails when a value has no archived
  /// form, a text is not UTF-8 (`kUnrepresentable`), or a chain of objects is longer than an unarchiver
  /// follows (`kTooLarge`).
  std::optional<Data> finish(Error* error = nullptr);

 private:
  using Index = PropertyList::Index;
  using UID = std::uint32_t;

  /// A key and what stands under it.
  struct Entry {
    Index key;
    Index value;
  };
  struct Conditional {
    std::size_t entry;
    std::shared_ptr<const Object> object;
  };
  /// An element of "$objects": a scalar by its node, or a record by its class and entries. Its value is kept,
  /// so that no address is used twice.
  struct Element {
    Index node = 0;
    UID classUID = 0;
    std::size_t firstEntry = 0;
    std::size_t lastEntry = 0;
    Value value{};
  };

  void encode(Index value, std::string_view key);
  void encodeElements(const Array& elements, std::string_view key);
  Index reference(UID uid);
  UID uidOf(const Value& value);
  UID uidOfScalar(Index node);
  UID uidOfRecord(const void* address, const Value& value);
  UID uidOfNullElement();
  UID uidOfClass(std::string_view name, const Class* c);
  std::string_view encodeContent(const Value& value);
  bool isTooDeep() const;
  std::optional<Data> write(Error* error);

  PropertyList list_;
  std::vector<Element> objects_;  // by UID; records are encoded in this order
  std::vector<Entry> entries_;    // the top's first, then those of one record after the other
  std::vector<Conditional> conditionals_;
  std::unordered_map<const void*, UID> records_;  // by the address of an object or container
  std::vector<UID> scalars_;                      // by the node of a text, number or data; 0 for none yet
  std::vector<Index> references_;                 // by UID: the node that refers to it; 0 for none yet
  std::unordered_map<std::string_view, UID> classes_;
  UID nullElement_ = 0;
  std::size_t topEnd_ = 0;  // of the top's entries
};

}  // namespace qw
