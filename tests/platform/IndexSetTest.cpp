#include <gtest/gtest.h>

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
  set.add(Range{10, 5});
  set.add(Range{20, 5});
  EXPECT_TRUE(set.contains(Range{20, 5}) && set.intersects({14, 6}));
  EXPECT_FALSE(set.contains(Range{14, 2}) || set.contains(15) || set.intersects({15, 5}));
  EXPECT_EQ(set.firstAfter(14), 20U);
  EXPECT_EQ(set.lastBefore(20), 14U);
  set.add(Range{12, 10});
  EXPECT_EQ(set, IndexSet(Range{10, 15}));
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
