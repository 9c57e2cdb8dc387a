#include "platform/IndexSet.h"

#include <algorithm>

namespace qw {

std::size_t IndexSet::count() const {
  std::size_t count = 0;
  for (const Range& range : ranges_) count += range.count;
  return count;
}

bool IndexSet::contains(std::size_t index) const {
  const auto after = std::upper_bound(ranges_.begin(), ranges_.end(), index,
                                      [](std::size_t i, const Range& range) { return i < range.location; });
  return after != ranges_.begin() && index < std::prev(after)->end();
}

std::optional<std::size_t> IndexSet::first() const {
  return ranges_.empty() ? std::nullopt : std::optional(ranges_.front().location);
}

std::optional<std::size_t> IndexSet::last() const {
  return ranges_.empty() ? std::nullopt : std::optional(ranges_.back().end() - 1);
}

void IndexSet::add(Range range) {
  if (range.count == 0) return;
  if (ranges_.empty() || range.location > ranges_.back().end()) {
    ranges_.push_back(range);
    return;
  }
  // The ranges that the new one meets or touches become one with it.
  const auto from = std::lower_bound(ranges_.begin(), ranges_.end(), range.location,
                                     [](const Range& r, std::size_t location) { return r.end() < location; });
  auto to = from;
  std::size_t begin = range.location, end = range.end();
  for (; to != ranges_.end() && to->location <= range.end(); ++to) {
    begin = std::min(begin, to->location);
    end = std::max(end, to->end());
  }
  const auto place = ranges_.erase(from, to);
  ranges_.insert(place, {begin, end - begin});
}

void IndexSet::remove(Range range) {
  std::vector<Range> kept;
  kept.reserve(ranges_.size() + 1);
  for (const Range& r : ranges_) {
    if (r.location < range.location)
      kept.push_back({r.location, std::min(r.end(), range.location) - r.location});
    if (r.end() > range.end()) {
      const std::size_t begin = std::max(r.location, range.end());
      kept.push_back({begin, r.end() - begin});
    }
  }
  ranges_ = std::move(kept);
}

}  // namespace qw
