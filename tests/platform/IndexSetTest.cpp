#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <vector>

#include "platform/base/IndexSet.h"

namespace qw {
namespace {

using Range = IndexSet::Range;

std::vector<std::size_t> indexes(const IndexSet& set) { return {set.begin(), set.end()}; }

TEST(IndexSetTest, TouchingIndexesBecomeOneRange) {
  IndexSet set{5, 3, 4, 9};
  EXPECT_EQ(indexes(set), (std::vector<std::size_t>{3, 4, 5, 9}));
  EXPECT_EQ(set.ranges().size(), 2U);
  set.add(Range{6, 3});
  EXPECT_EQ(set, IndexSet(Range{3, 7}));
  set.remove(6);
  EXPECT_EQ(set.ranges().size(), 2U);
  EXPECT_EQ(set.count(), 6U);
  EXPECT_EQ(set.first(), 3U);
  EXPECT_EQ(set.last(), 9U);
  set.remove(set);
  EXPECT_EQ(set, IndexSet());
  EXPECT_FALSE(set.first() || set.last());
}

TEST(IndexSetTest, ShiftMakesRoomAndClosesGaps) {
  const IndexSet start{1, 2, 3, 7};
  IndexSet set = start;
  set.shift(2, 10);
  EXPECT_EQ(set, (IndexSet{1, 12, 13, 17}));
  set.shift(12, -10);
  EXPECT_EQ(set, (IndexSet{1, 2, 3, 7}));
  set.shift(3, -2);  // 1 and 2 leave, 3 and 7 move down
  EXPECT_EQ(set, (IndexSet{1, 5}));
  set.shift(0, 4);
  EXPECT_EQ(set, (IndexSet{5, 9}));
  set.shift(100, 4);
  EXPECT_EQ(set, (IndexSet{5, 9}));
}

TEST(IndexSetTest, BehavesAsASetOfIntegersUnderRandomChanges) {
  std::mt19937 random(5);
  constexpr std::size_t kSpace = 60;
  IndexSet set;
  std::set<std::size_t> expected;
  for (int step = 0; step < 5000; ++step) {
    const std::size_t begin = random() % kSpace, end = begin + random() % 6;
    switch (random() % 4) {
      case 0:
        set.add(Range{begin, end - begin});
        for (std::size_t i = begin; i < end; ++i) expected.insert(i);
        break;
      case 1:
        set.remove(Range{begin, end - begin});
        for (std::size_t i = begin; i < end; ++i) expected.erase(i);
        break;
      case 2: {
        const auto distance = static_cast<std::ptrdiff_t>(end - begin) - 2;
        std::set<std::size_t> moved;
        for (const std::size_t i : expected) {
          if (i >= begin) {
            if (distance >= 0 || i >= static_cast<std::size_t>(-distance)) {
              moved.insert(i + static_cast<std::size_t>(distance));
            }
          } else if (distance >= 0 ||
                     static_cast<std::ptrdiff_t>(i) < static_cast<std::ptrdiff_t>(begin) + distance) {
            moved.insert(i);
          }
        }
        expected = std::move(moved);
        set.shift(begin, distance);
        break;
      }
      default:
        set.add(begin);
        expected.insert(begin);
    }
    ASSERT_EQ(indexes(set), (std::vector<std::size_t>(expected.begin(), expected.end())));
    ASSERT_EQ(set.count(), expected.size());
    ASSERT_EQ(set.contains(begin), expected.contains(begin));
    const auto above = expected.upper_bound(begin), from = expected.lower_bound(begin);
    ASSERT_EQ(set.firstAfter(begin), above == expected.end() ? std::nullopt : std::optional(*above));
    ASSERT_EQ(set.lastBefore(begin),
              from == expected.begin() ? std::nullopt : std::optional(*std::prev(from)));
    ASSERT_EQ(set.intersects({begin, end - begin}), from != expected.end() && *from < end && begin < end);
    ASSERT_EQ(set.contains(Range{begin, end - begin}),
              static_cast<std::size_t>(std::distance(from, expected.lower_bound(end))) == end - begin);
    std::size_t previousEnd = 0;
    for (const Range& range : set.ranges()) {
      ASSERT_GT(range.count, 0U);
      ASSERT_TRUE(previousEnd == 0 || previousEnd < range.location);
      previousEnd = range.end();
    }
  }
}

TEST(IndexSetTest, ManyIndexesAreAddedInAnyOrderInGoodTime) {
  constexpr std::size_t kCount = 200'000;
  IndexSet ascending, descending;
  for (std::size_t i = 0; i < kCount; ++i) {
    ascending.add(2 * i);
    descending.add(2 * (kCount - 1 - i));
  }
  EXPECT_EQ(ascending.count(), kCount);
  EXPECT_EQ(ascending, descending);
  IndexSet whole(Range{0, 2 * kCount});
  whole.remove(ascending);
  EXPECT_EQ(whole.count(), kCount);
}

}  // namespace
}  // namespace qw
