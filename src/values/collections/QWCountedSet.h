#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

/// A multiset that ranks its elements by how often they were added and remembers, weakly, the objects that
/// added them. Adding and removing take constant time on average. Belongs to one thread.
class QW_EXPORT QWCountedSet {
 public:
  /// Distinct elements.
  std::size_t count() const { return elements_.size(); }
  /// Whether the element is in the set.
  bool containsObject(const qw::Value& element) const { return elements_.contains(element); }
  /// How often the element is in the set.
  std::size_t countForObject(const qw::Value& element) const;
  /// The distinct elements, the most frequent first; among equals texts in the order of
  /// `Collation::localizedCaseInsensitiveCompare`, anything else in that of `Value::compare`. Valid until the
  /// set changes.
  const qw::Array& sortedObjects() const;
  /// The objects recorded for an element that still exist, in the order of addition, repeated as often as
  /// they were added.
  std::vector<std::shared_ptr<qw::Object>> representedObjects(const qw::Value& element) const;

  /// Adds the element once more, and remembers the object, if there is one, weakly.
  void addObject(const qw::Value& element, const std::shared_ptr<qw::Object>& representedObject = nullptr);
  /// Removes the element once, and the first record of the object for it. Nothing happens when it is not in
  /// the set.
  void removeObject(const qw::Value& element, const std::shared_ptr<qw::Object>& representedObject = nullptr);

 private:
  // Weak references in order. Taken ones stay as empty places until they are the greater part. In a long
  // list, the places of each object are found through an index that is made when the first is taken out.
  class WeakList {
   public:
    void append(const std::shared_ptr<qw::Object>& object);
    void removeFirst(const std::shared_ptr<qw::Object>& object);
    std::vector<std::shared_ptr<qw::Object>> objects() const;

   private:
    void removeEmpty();
    void makeIndex();

    std::vector<std::weak_ptr<qw::Object>> places_;
    std::size_t taken_ = 0;
    std::optional<std::unordered_multimap<const qw::Object*, std::size_t>> index_;
  };
  struct Element {
    std::size_t count = 0;
    WeakList representedObjects;
  };

  std::unordered_map<qw::Value, Element, qw::ValueHash> elements_;
  mutable std::optional<qw::Array> sorted_;
};
