#include "platform/base/IndexSet.h"

#include <algorithm>
#include <utility>

namespace qw {

IndexSet::Ranges::const_iterator IndexSet::rangeFrom(std::size_t index) const {
  const auto after = ranges_.upper_bound(index);
  if (after == ranges_.begin()) return after;
  const auto before = std::prev(after);
  return before->second > index ? before : after;
}

std::optional<std::size_t> IndexSet::first() const {
  return empty() ? std::nullopt : std::optional(ranges_.begin()->first);
}

std::optional<std::size_t> IndexSet::last() const {
  return empty() ? std::nullopt : std::optional(ranges_.rbegin()->second - 1);
}

bool IndexSet::contains(Range range) const {
  if (range.count == 0) return true;
  const auto found = rangeFrom(range.location);
  return found != ranges_.end() && found->first <= range.location && range.end() <= found->second;
}

bool IndexSet::intersects(Range range) const {
  const auto found = rangeFrom(range.location);
  return range.count > 0 && found != ranges_.end() && found->first < range.end();
}

std::optional<std::size_t> IndexSet::firstAfter(std::size_t index) const {
  const auto found = rangeFrom(index + 1);
  return found == ranges_.end() ? std::nullopt : std::optional(std::max(found->first, index + 1));
}

std::optional<std::size_t> IndexSet::lastBefore(std::size_t index) const {
  const auto found = ranges_.lower_bound(index);
  if (found == ranges_.begin()) return std::nullopt;
  return std::min(std::prev(found)->second, index) - 1;
}

std::vector<IndexSet::Range> IndexSet::ranges() const {
  std::vector<Range> result;
  result.reserve(ranges_.size());
  for (const auto& [begin, end] : ranges_) result.push_back({begin, end - begin});
  return result;
}

void IndexSet::add(Range range) {
  if (range.count == 0) return;
  std::size_t begin = range.location, end = range.end();
  if (!ranges_.empty() && ranges_.rbegin()->second < begin) {
    ranges_.emplace_hint(ranges_.end(), begin, end);
    count_ += range.count;
    return;
  }
  // The ranges that overlap or touch become one.
  auto at = ranges_.lower_bound(begin);
  if (at != ranges_.begin() && std::prev(at)->second >= begin) --at;
  while (at != ranges_.end() && at->first <= end) {
    begin = std::min(begin, at->first);
    end = std::max(end, at->second);
    count_ -= at->second - at->first;
    at = ranges_.erase(at);
  }
  ranges_.emplace_hint(at, begin, end);
  count_ += end - begin;
}

void IndexSet::remove(Range range) {
  if (range.count == 0) return;
  auto at = rangeFrom(range.location);
  while (at != ranges_.end() && at->first < range.end()) {
    const auto [begin, end] = *at;
    at = ranges_.erase(at);
    count_ -= end - begin;
    if (begin < range.location) {
      ranges_.emplace_hint(at, begin, range.location);
      count_ += range.location - begin;
    }
    if (end > range.end()) {
      at = ranges_.emplace_hint(at, range.end(), end);
      count_ += end - range.end();
    }
  }
}

void IndexSet::add(const IndexSet& other) {
  if (&other == this) return;
  for (const auto& [begin, end] : other.ranges_) add(Range{begin, end - begin});
}

void IndexSet::remove(const IndexSet& other) {
  if (&other == this) return clear();
  for (const auto& [begin, end] : other.ranges_) remove(Range{begin, end - begin});
}

void IndexSet::clear() {
  ranges_.clear();
  count_ = 0;
}

void IndexSet::shift(std::size_t index, std::ptrdiff_t distance) {
  const auto by = static_cast<std::size_t>(distance);  // wraps around, and so subtracts, when negative
  if (distance < 0) {
    const std::size_t closed = std::min(index, 0 - by);
    remove(Range{index - closed, closed});
  }
  IndexSet moved;
  for (auto at = rangeFrom(index); at != ranges_.end(); ++at) {
    // What would move below 0 leaves the set.
    std::size_t begin = std::max(at->first, index);
    if (distance < 0) begin = std::max(begin, 0 - by);
    if (begin < at->second) moved.add(Range{begin + by, at->second - begin});
  }
  if (const auto last = this->last(); last && *last >= index) remove(Range{index, *last - index + 1});
  add(moved);
}

}  // namespace qw
