#pragma once

#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <map>
#include <optional>
#include <vector>

#include "platform/base/Export.h"

namespace qw {

/// A sorted set of indexes, kept as ranges: rows of a list, positions that were inserted or removed. A change
/// costs the logarithm of the number of ranges, and no more than a constant where indexes are added in
/// ascending order. Iterating gives the indexes in ascending order; a change ends all iterators.
class QW_EXPORT IndexSet {
 public:
  /// `count` indexes from `location` on.
  struct Range {
    /// The first index.
    std::size_t location = 0;
    /// How many; a range of none is empty wherever it lies.
    std::size_t count = 0;
    /// The first index behind the range.
    std::size_t end() const { return location + count; }
    friend bool operator==(const Range&, const Range&) = default;
  };
  class Iterator;

  IndexSet() = default;
  /// The set of these indexes, given in any order.
  IndexSet(std::initializer_list<std::size_t> indexes) {
    for (const std::size_t index : indexes) add(index);
  }
  /// The set of one index.
  explicit IndexSet(std::size_t index) { add(index); }
  /// The set of a range.
  explicit IndexSet(Range range) { add(range); }

  /// Whether there are none.
  bool empty() const { return ranges_.empty(); }
  /// The number of indexes; constant time.
  std::size_t count() const { return count_; }
  /// The smallest index; none in an empty set.
  std::optional<std::size_t> first() const;
  /// The largest index; none in an empty set.
  std::optional<std::size_t> last() const;
  /// Whether the index is in the set.
  bool contains(std::size_t index) const { return contains(Range{index, 1}); }
  /// Whether all indexes of the range are in the set; true for an empty range.
  bool contains(Range range) const;
  /// Whether any index of the range is in the set.
  bool intersects(Range range) const;
  /// The nearest index of the set above the given one; none without one.
  std::optional<std::size_t> firstAfter(std::size_t index) const;
  /// The nearest index of the set below the given one; none without one.
  std::optional<std::size_t> lastBefore(std::size_t index) const;

  /// At the smallest index.
  Iterator begin() const;
  /// Behind the largest index.
  Iterator end() const;
  /// In ascending order, none empty, none touching the next.
  std::vector<Range> ranges() const;

  /// Adds an index; nothing happens when it is in the set.
  void add(std::size_t index) { add(Range{index, 1}); }
  /// Adds every index of the range.
  void add(Range range);
  /// Adds every index of another set.
  void add(const IndexSet& other);
  /// Removes an index; nothing happens when it is not in the set.
  void remove(std::size_t index) { remove(Range{index, 1}); }
  /// Removes every index of the range.
  void remove(Range range);
  /// Removes every index of another set.
  void remove(const IndexSet& other);
  /// Removes all indexes.
  void clear();
  /// Makes room for, or closes the gap left by, elements at `index`: the indexes from there on move up by a
  /// positive `distance`; with a negative one they move down, over the indexes just before `index`, which
  /// leave the set.
  void shift(std::size_t index, std::ptrdiff_t distance);

  friend bool operator==(const IndexSet&, const IndexSet&) = default;

 private:
  using Ranges = std::map<std::size_t, std::size_t>;
  // The range that holds the index or is the first one after it.
  Ranges::const_iterator rangeFrom(std::size_t index) const;

  Ranges ranges_;  // begin to end
  std::size_t count_ = 0;
};

/// Visits the indexes in ascending order. A forward iterator; any change of the set ends it.
class IndexSet::Iterator {
 public:
  using iterator_category = std::forward_iterator_tag;
  using value_type = std::size_t;
  using difference_type = std::ptrdiff_t;
  using pointer = const std::size_t*;
  using reference = const std::size_t&;

  Iterator() = default;
  reference operator*() const { return index_; }
  Iterator& operator++() {
    if (++index_ == range_->second) {
      ++range_;
      settle();
    }
    return *this;
  }
  Iterator operator++(int) {
    Iterator before = *this;
    ++*this;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) {
    return a.range_ == b.range_ && a.index_ == b.index_;
  }

 private:
  friend class IndexSet;
  Iterator(Ranges::const_iterator range, Ranges::const_iterator end) : range_(range), end_(end) { settle(); }
  void settle() { index_ = range_ == end_ ? 0 : range_->first; }

  Ranges::const_iterator range_;
  Ranges::const_iterator end_;
  std::size_t index_ = 0;
};

inline IndexSet::Iterator IndexSet::begin() const { return {ranges_.begin(), ranges_.end()}; }
inline IndexSet::Iterator IndexSet::end() const { return {ranges_.end(), ranges_.end()}; }

}  // namespace qw
