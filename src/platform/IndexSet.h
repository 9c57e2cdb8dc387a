#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <vector>

namespace qw {

/// A sorted set of indexes, kept as ranges: the places in an ordered collection that a change concerns.
class IndexSet {
 public:
  /// `count` indexes from `location` on.
  struct Range {
    std::size_t location = 0;
    std::size_t count = 0;
    std::size_t end() const { return location + count; }
    friend bool operator==(const Range&, const Range&) = default;
  };

  IndexSet() = default;
  explicit IndexSet(std::size_t index) : ranges_{{index, 1}} {}
  explicit IndexSet(Range range) { add(range); }
  IndexSet(std::initializer_list<std::size_t> indexes) {
    for (const std::size_t index : indexes) add(index);
  }

  bool empty() const { return ranges_.empty(); }
  /// Linear in the number of ranges.
  std::size_t count() const;
  bool contains(std::size_t index) const;
  std::optional<std::size_t> first() const;
  std::optional<std::size_t> last() const;
  /// In ascending order, not touching one another.
  const std::vector<Range>& ranges() const { return ranges_; }
  /// Calls `visit(index)` in ascending order.
  template <class Visit>
  void forEach(Visit visit) const {
    for (const Range& range : ranges_)
      for (std::size_t index = range.location; index < range.end(); ++index) visit(index);
  }

  /// Constant time when indexes come in ascending order, else linear in the number of ranges.
  void add(std::size_t index) { add(Range{index, 1}); }
  void add(Range range);
  void remove(std::size_t index) { remove(Range{index, 1}); }
  void remove(Range range);

  friend bool operator==(const IndexSet&, const IndexSet&) = default;

 private:
  std::vector<Range> ranges_;
};

}  // namespace qw
