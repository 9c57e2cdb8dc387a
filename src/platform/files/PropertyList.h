#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Data.h"
#include "platform/base/Date.h"
#include "platform/base/Error.h"
#include "platform/base/Export.h"

namespace qw {

/// A property list as a flat table of nodes that refer to each other by index, with a reader and a writer of
/// the binary format "bplist00". Nothing is recursive and shared nodes are never expanded, so hostile bytes
/// cost at most time and memory in proportion to their number: they give an error. A value type, used by one
/// thread at a time.
///
///     qw::PropertyList list;
///     auto name = list.addText("name");
///     auto text = list.addText("Rent");
///     list.setRoot(list.addDictionary({{name}}, {{text}}));
///     std::optional<qw::Data> bytes = list.write(&error);
class QW_EXPORT PropertyList {
 public:
  /// What a node is; `kUID` is a number that refers to something outside of the list.
  enum class Type : std::uint8_t {
    kNull,
    kBoolean,
    kInteger,
    kReal,
    kDate,
    kData,
    kText,
    kUID,
    kArray,
    kSet,
    kDictionary
  };
  /// The place of a node in the table.
  using Index = std::uint32_t;

  /// The domain of `ErrorCode`.
  static constexpr const char* kErrorDomain = "QWPropertyListErrorDomain";
  /// Why a list was refused, on reading (the first two) or writing.
  enum ErrorCode { kDamaged = 1, kTooLarge = 2, kUnrepresentable = 3 };

  /// What a reader accepts: bytes of the whole list, nodes, and containers within each other.
  struct Limits {
    /// In bytes.
    std::size_t size = std::size_t{1} << 30;
    /// Nodes.
    std::size_t objects = std::size_t{1} << 26;
    /// Containers within each other.
    std::size_t depth = 512;
  };

  /// Reads the binary format. A list is refused with `kDamaged` when a length, offset, reference, text or
  /// date is wrong, when objects overlap, when a container holds itself, when a dictionary's key is no text
  /// or an integer does not fit 64 bits; with `kTooLarge` when it exceeds `limits`.
  static std::optional<PropertyList> read(std::span<const std::uint8_t> bytes, const Limits& limits,
                                          Error* error = nullptr);
  /// The same under the usual limits.
  static std::optional<PropertyList> read(std::span<const std::uint8_t> bytes, Error* error = nullptr) {
    return read(bytes, Limits(), error);
  }
  /// The list in the binary format, in time linear in its size, with the smallest offsets, references and
  /// integers. Dates become seconds as a double: exact to the microsecond within 140 years of 2001. Fails
  /// with `kUnrepresentable` when a text is no UTF-8 or there is no root.
  std::optional<Data> write(Error* error = nullptr) const;

  /// Dates as the format counts them, in seconds since 2001-01-01 00:00:00 UTC: exact to the microsecond
  /// within 140 years of that.
  static double secondsSince2001(Date date);
  /// None for what is not finite or beyond the range of `Date`.
  static std::optional<Date> dateFromSecondsSince2001(double seconds);

  /// The node that holds all others.
  Index root() const { return root_; }
  /// The number of nodes.
  std::size_t size() const { return nodes_.size(); }

  /// What a node is.
  Type type(Index index) const { return nodes_[index].type; }
  /// Requires: `kBoolean`.
  bool boolean(Index index) const { return nodes_[index].payload != 0; }
  /// Requires: `kInteger`.
  std::int64_t integer(Index index) const { return static_cast<std::int64_t>(nodes_[index].payload); }
  /// Requires: `kReal`.
  double real(Index index) const { return std::bit_cast<double>(nodes_[index].payload); }
  /// Requires: `kDate`.
  Date date(Index index) const { return Date::fromMicroseconds(integer(index)); }
  /// Requires: `kUID`.
  std::uint64_t uid(Index index) const { return nodes_[index].payload; }
  /// UTF-8, valid until the list is changed. Requires: `kText`.
  std::string_view text(Index index) const;
  /// Valid until the list is changed. Requires: `kData`.
  std::span<const std::uint8_t> bytes(Index index) const;
  /// The elements of an array or a set, in order; valid until the list is changed.
  std::span<const Index> elements(Index index) const;
  /// The keys of a dictionary; valid until the list is changed.
  std::span<const Index> keys(Index index) const;
  /// The values of a dictionary, in the order of its keys.
  std::span<const Index> values(Index index) const;
  /// The value of the first key equal to `key`, by a scan that begins at the entry `*hint` and leaves there
  /// the entry after the found one, so that keys asked for in their order are each found at once.
  std::optional<Index> find(Index dictionary, std::string_view key, std::size_t* hint = nullptr) const;

  ///@{
  /// Adds a node and answers its place. Equal numbers, dates, texts and data share one node; UIDs do not.
  Index addNull();
  Index addBoolean(bool value);
  Index addInteger(std::int64_t value);
  Index addReal(double value);
  Index addDate(Date value);
  Index addUID(std::uint64_t value);
  Index addData(std::span<const std::uint8_t> bytes);
  Index addText(std::string_view text);
  ///@}
  /// Containers hold nodes that exist already, so a list that is built never holds itself.
  Index addArray(std::span<const Index> elements);
  /// The same for a set, in this order.
  Index addSet(std::span<const Index> elements);
  /// As many values as keys; keys are texts, each once.
  Index addDictionary(std::span<const Index> keys, std::span<const Index> values);
  /// Makes a node the one that holds all others. Required before `write`.
  void setRoot(Index index) { root_ = index; }

 private:
  friend class BinaryPropertyListReader;

  struct Node {
    Type type = Type::kNull;
    std::uint32_t count = 0;    // bytes of a text or data, elements or entries of a container
    std::uint64_t payload = 0;  // a number's bits, or the position in `bytes_` or `references_`
  };

  /// A place of the table: index + 1 of a node, 0 when free, and bits of its hash.
  struct Place {
    Index entry = 0;
    std::uint32_t hash = 0;
  };

  Index add(const Node& node);
  Index addUnique(Type type, std::uint64_t payload, std::string_view content = {});
  Index addContainer(Type type, std::span<const Index> first, std::span<const Index> second);
  std::string_view content(const Node& node) const;
  void growTable();

  std::vector<Node> nodes_;
  std::string bytes_;
  std::vector<Index> references_;
  std::vector<Place> table_;  // open addressing over the shared nodes
  std::size_t uniqueCount_ = 0;
  bool overflowed_ = false;
  Index root_ = UINT32_MAX;
};

}  // namespace qw
