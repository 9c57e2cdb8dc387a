#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "platform/object/Property.h"
#include "platform/object/SortDescriptor.h"
#include "platform/system/ApplicationContext.h"

namespace {

using namespace qw;
using Order = SortDescriptor::Order;
using Comparison = SortDescriptor::Comparison;

class Item : public Object {
 public:
  static const Class kClass;
  std::int64_t rank() const {
    ++reads;
    return rank_;
  }

  std::string name_;
  std::int64_t rank_ = 0;
  Value any_;
  std::shared_ptr<Item> link_;
  mutable int reads = 0;
};
constinit const Class Item::kClass = define<Item, Object>("SortItem", {}, [] {
  return properties(property<&Item::name_>("name"), property<&Item::any_>("any"),
                    property<&Item::link_>("link"), derived<&Item::rank>("rank"));
});

using Items = std::vector<std::shared_ptr<Item>>;

std::shared_ptr<Item> item(std::string name, std::int64_t rank = 0, Value any = {}) {
  auto item = make<Item>();
  item->name_ = std::move(name);
  item->rank_ = rank;
  item->any_ = std::move(any);
  return item;
}

std::string names(const Items& items) {
  std::string names;
  for (const auto& item : items) names += (item == items.front() ? "" : " ") + item->name_;
  return names;
}

std::string sorted(Items items, const std::vector<SortDescriptor>& descriptors) {
  SortDescriptor::sort(items, descriptors);
  for (std::size_t i = 1; i < items.size(); ++i) {
    EXPECT_LE(SortDescriptor::compare(*items[i - 1], *items[i], descriptors), 0);
    EXPECT_GE(SortDescriptor::compare(*items[i], *items[i - 1], descriptors), 0);
  }
  return names(items);
}

TEST(SortDescriptorTest, SortsByEachDescriptorInTurnAndKeepsTheOrderOfEquals) {
  const Items items{item("d", 2), item("a", 1), item("c", 2), item("b", 1), item("a", 3)};
  EXPECT_EQ(sorted(items, {}), "d a c b a");
  EXPECT_EQ(sorted(items, {{"rank"}}), "a b d c a");
  EXPECT_EQ(sorted(items, {{"rank", Order::kDescending}}), "a d c a b");
  EXPECT_EQ(sorted(items, {{"rank", Order::kDescending}, {"name"}}), "a c d a b");
  EXPECT_EQ(sorted(items, {{"name"}, {"rank", Order::kDescending}}), "a a b c d");
  EXPECT_EQ(sorted(items, {SortDescriptor("rank").reversed()}), "a d c a b");
}

TEST(SortDescriptorTest, ComparesNumbersOfAllKindsByValueAndNullFirst) {
  const Items items{item("2.5", 0, 2.5),
                    item("null", 0),
                    item("-0.0", 0, -0.0),
                    item("0", 0, 0),
                    item("big", 0, (std::int64_t{1} << 60) + 1),
                    item("big-1", 0, std::int64_t{1} << 60),
                    item("true", 0, true),
                    item("2.25", 0, *Decimal::fromText("2.25")),
                    item("-7", 0, -7)};
  EXPECT_EQ(sorted(items, {{"any"}}), "null -7 -0.0 0 true 2.25 2.5 big-1 big");
  EXPECT_EQ(sorted(items, {{"any", Order::kDescending}}), "big big-1 2.5 2.25 true -0.0 0 -7 null");
  const Items reals{item("1", 0, 1.0), item("nan", 0, std::nan("")), item("-inf", 0, -INFINITY),
                    item("null")};
  EXPECT_EQ(sorted(reals, {{"any"}}), "null nan -inf 1");
  const Items mixed{item("text", 0, "10"), item("number", 0, 9), item("date", 0, Date::fromSeconds(1)),
                    item("text2", 0, "9")};
  EXPECT_EQ(sorted(mixed, {{"any"}}), "number text text2 date");
}

TEST(SortDescriptorTest, ComparesDatesAndLongTextsBeyondTheirBeginning) {
  const Items dates{item("b", 0, Date::fromMicroseconds(1)), item("a", 0, Date::fromMicroseconds(-1)),
                    item("n")};
  EXPECT_EQ(sorted(dates, {{"any"}}), "n a b");
  const Items texts{item("common prefix b"), item("common prefix a"), item("common"), item(""), item("é")};
  EXPECT_EQ(sorted(texts, {{"name"}}), " common common prefix a common prefix b é");
}

TEST(SortDescriptorTest, ComparesTextsAsPeopleDo) {
  const ApplicationContext::Override american;
  const Items items{item("Item10"), item("item2"), item("Élan"), item("Zebra"), item("eland"), item("Item2")};
  EXPECT_EQ(sorted(items, {{"name", Order::kAscending, Comparison::kLocalizedStandard}}),
            "Élan eland item2 Item2 Item10 Zebra");
  EXPECT_EQ(sorted(items, {{"name", Order::kAscending, Comparison::kLocalizedCaseInsensitive}}),
            "Élan eland Item10 item2 Item2 Zebra");
  EXPECT_EQ(sorted(items, {{"name", Order::kDescending, Comparison::kLocalizedCaseInsensitive}}),
            "Zebra item2 Item2 Item10 eland Élan");
  const Items numbers{item("10", 10), item("9", 9)};
  EXPECT_EQ(sorted(numbers, {{"rank", Order::kAscending, Comparison::kLocalizedStandard}}), "9 10");
}

TEST(SortDescriptorTest, FollowsLinksAndUsesClosures) {
  Items items{item("a"), item("b"), item("c")};
  items[0]->link_ = item("", 2);
  items[2]->link_ = item("", 1);
  EXPECT_EQ(sorted(items, {{"link.rank"}}), "b c a");
  const auto byLength = [](const Value& a, const Value& b) {
    return static_cast<int>(a.text()->size()) - static_cast<int>(b.text()->size());
  };
  const Items words{item("three"), item("to"), item("one"), item("four")};
  EXPECT_EQ(sorted(words, {SortDescriptor("name", Order::kDescending, byLength)}), "three four one to");
  Items any{item("null"), item("two", 0, "xx"), item("one", 0, "x")};
  EXPECT_EQ(sorted(any, {SortDescriptor("any", Order::kAscending, byLength)}), "null one two");

  Items many;
  for (int i = 0; i < 1000; ++i) many.push_back(item("x", i));
  SortDescriptor::sort(
      many, {SortDescriptor("rank", Order::kAscending, [](const Value&, const Value&) { return -1; })});
  EXPECT_EQ(many.size(), 1000U);  // a closure that contradicts itself loses nothing
  EXPECT_EQ(std::count(many.begin(), many.end(), nullptr), 0);
}

TEST(SortDescriptorTest, ReadsEachKeyOnceAndAgreesWithAPlainSort) {
  std::mt19937 random(7);
  Items items;
  for (int i = 0; i < 20'000; ++i) items.push_back(item(std::to_string(random() % 50), random() % 100, i));
  Items expected = items;
  std::stable_sort(expected.begin(), expected.end(), [](const auto& a, const auto& b) {
    return a->name_ != b->name_ ? a->name_ < b->name_ : a->rank_ > b->rank_;
  });
  SortDescriptor::sort(items, {{"name"}, {"rank", Order::kDescending}});
  EXPECT_TRUE(items == expected);
  for (const auto& item : items) ASSERT_EQ(item->reads, 1);
}

TEST(SortDescriptorTest, ReadsWhatPeopleType) {
  const auto descriptors =
      SortDescriptor::fromText("-rank,name:localized,+any:nocase,link.name", &Item::kClass);
  ASSERT_TRUE(descriptors);
  const std::vector<SortDescriptor> expected{
      {"rank", Order::kDescending},
      {"name", Order::kAscending, Comparison::kLocalizedStandard},
      {"any", Order::kAscending, Comparison::kLocalizedCaseInsensitive},
      {"link.name"}};
  EXPECT_EQ(*descriptors, expected);
  EXPECT_FALSE(expected[0] == expected[0].reversed());
  for (const char* bad : {"", ",", "rank,", "-", ":nocase", "rank:size", "rank:", "colour", "-colour.rank"}) {
    Error error;
    EXPECT_FALSE(SortDescriptor::fromText(bad, &Item::kClass, &error)) << bad;
    EXPECT_EQ(error.domain, SortDescriptor::kErrorDomain) << bad;
  }
  EXPECT_TRUE(SortDescriptor::fromText("colour"));
}

}  // namespace
