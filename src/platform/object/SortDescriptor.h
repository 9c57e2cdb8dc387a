#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/object/KeyPath.h"

namespace qw {

/// One criterion of a sort: a key path, a direction and a way to compare what the path leads to. Null comes
/// before everything else, and last when descending. A value type; used on the thread of the objects.
///
///     using qw::SortDescriptor;
///     SortDescriptor::sort(people, {{"city", SortDescriptor::Order::kDescending}, SortDescriptor("name")});
class QW_EXPORT SortDescriptor {
 public:
  /// The domain of `ErrorCode`.
  static constexpr const char* kErrorDomain = "QWSortDescriptorErrorDomain";
  /// Why `fromText` gave none.
  enum ErrorCode { kUnreadable = 1 };
  /// The direction.
  enum class Order : std::uint8_t { kAscending, kDescending };
  /// How two values are compared.
  enum class Comparison : std::uint8_t {
    /// `Value::compare`: numbers by value, texts by code point, objects by their own order.
    kNatural,
    /// Texts as a file list shows them (`Collation::localizedStandardCompare`), other values naturally.
    kLocalizedStandard,
    /// Texts in the locale's order without regard to case, other values naturally.
    kLocalizedCaseInsensitive,
    /// By a closure, which meets no null.
    kCustom
  };
  /// Negative, 0 or positive for two values, neither of them null.
  using Comparator = std::function<int(const Value&, const Value&)>;

  /// By the key path's value; `kCustom` needs the other constructor.
  SortDescriptor(std::string_view keyPath, Order order = Order::kAscending,
                 Comparison comparison = Comparison::kNatural);
  /// By a closure.
  SortDescriptor(std::string_view keyPath, Order order, Comparator comparator);

  /// Reads criteria as people type them: key paths separated by commas, each with "-" before it for
  /// descending order and ":localized" or ":nocase" behind it for the two comparisons of texts, as in
  /// "-date,payee:localized". No value with the error set for an empty path, an unknown comparison or, when a
  /// class is given, a path whose first key it does not have.
  static std::optional<std::vector<SortDescriptor>> fromText(std::string_view text, const Class* c = nullptr,
                                                             Error* error = nullptr);

  /// As it was given.
  const std::string& keyPath() const { return keyPath_.text(); }
  /// The direction.
  Order order() const { return order_; }
  /// How values are compared.
  Comparison comparison() const { return comparison_; }
  /// The same criterion in the other direction.
  SortDescriptor reversed() const;
  /// Negative, 0 or positive, in the direction of the descriptor.
  int compare(const Object& a, const Object& b) const;
  /// By the first descriptor that tells the objects apart; 0 when none does.
  static int compare(const Object& a, const Object& b, const std::vector<SortDescriptor>& descriptors);

  /// Sorts objects, none of them null. Stable, n log n; each key path is followed once for each object and
  /// each text weighed once. The closures of descriptors must not change the objects.
  template <class T>
  static void sort(std::vector<std::shared_ptr<T>>& objects, const std::vector<SortDescriptor>& descriptors) {
    const std::vector<const Object*> pointers = pointersTo(objects);
    std::vector<std::shared_ptr<T>> sorted;
    sorted.reserve(objects.size());
    for (const std::size_t place : sortedPlaces(pointers, descriptors))
      sorted.push_back(std::move(objects[place]));
    objects = std::move(sorted);
  }
  /// The places of the objects in sorted order.
  static std::vector<std::size_t> sortedPlaces(std::span<const Object* const> objects,
                                               const std::vector<SortDescriptor>& descriptors);

  /// Closures are equal only when one descriptor is a copy of the other.
  friend bool operator==(const SortDescriptor& a, const SortDescriptor& b);

 private:
  class Column;

  int compareKeys(const ValueView& a, const ValueView& b) const;
  template <class T>
  static std::vector<const Object*> pointersTo(const std::vector<std::shared_ptr<T>>& objects) {
    std::vector<const Object*> pointers;
    pointers.reserve(objects.size());
    for (const auto& object : objects) pointers.push_back(object.get());
    return pointers;
  }

  KeyPath keyPath_;
  Order order_;
  Comparison comparison_;
  std::shared_ptr<const Comparator> comparator_;
};

QW_EXPORT bool operator==(const SortDescriptor& a, const SortDescriptor& b);

}  // namespace qw
