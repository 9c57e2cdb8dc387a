#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <set>
#include <vector>

#include "platform/base/IndexSet.h"

// Whatever changes are made, three bytes each: the set answers as a plain set of integers does, in ranges
// that never touch.
namespace {

using qw::IndexSet;
using Integers = std::set<std::size_t>;

void require(bool holds) {
  if (!holds) std::abort();
}

Integers shifted(const Integers& all, std::size_t index, std::ptrdiff_t distance) {
  Integers moved;
  for (const std::size_t i : all) {
    const std::ptrdiff_t to = static_cast<std::ptrdiff_t>(i) + (i >= index ? distance : 0);
    const bool closed = distance < 0 && i < index &&
                        static_cast<std::ptrdiff_t>(i) >= static_cast<std::ptrdiff_t>(index) + distance;
    if (to >= 0 && !closed) moved.insert(static_cast<std::size_t>(to));
  }
  return moved;
}

void check(const IndexSet& set, const Integers& expected, IndexSet::Range range) {
  require(std::vector<std::size_t>(set.begin(), set.end()) ==
          std::vector<std::size_t>(expected.begin(), expected.end()));
  require(set.count() == expected.size());
  const std::size_t begin = range.location, end = range.end();
  const auto above = expected.upper_bound(begin), from = expected.lower_bound(begin);
  require(set.contains(begin) == expected.contains(begin));
  require(set.firstAfter(begin) == (above == expected.end() ? std::nullopt : std::optional(*above)));
  require(set.lastBefore(begin) ==
          (from == expected.begin() ? std::nullopt : std::optional(*std::prev(from))));
  require(set.intersects(range) == (from != expected.end() && *from < end && begin < end));
  const auto within = std::distance(from, expected.lower_bound(end));
  require(set.contains(range) == (static_cast<std::size_t>(within) == range.count));
  std::size_t previousEnd = 0;
  for (const IndexSet::Range& each : set.ranges()) {
    require(each.count > 0 && (previousEnd == 0 || previousEnd < each.location));
    previousEnd = each.end();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  IndexSet set;
  Integers expected;
  for (; size >= 3; data += 3, size -= 3) {
    const IndexSet::Range range{data[1] % std::size_t{60}, data[2] % std::size_t{6}};
    if (data[0] % 3 == 0) {
      set.add(range);
      for (std::size_t i = range.location; i < range.end(); ++i) expected.insert(i);
    } else if (data[0] % 3 == 1) {
      set.remove(range);
      for (std::size_t i = range.location; i < range.end(); ++i) expected.erase(i);
    } else {
      const auto distance = static_cast<std::ptrdiff_t>(range.count) - 2;
      set.shift(range.location, distance);
      expected = shifted(expected, range.location, distance);
    }
    check(set, expected, range);
  }
  return 0;
}
