#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"
#include "values/collections/QWCountedSet.h"
#include "values/collections/QWOrderedMap.h"

namespace {

class Item : public qw::Object {
 public:
  static const qw::Class kClass;
  void setName(std::string name) { assign<&Item::name_>(std::move(name)); }

 private:
  std::string name_;
};
constinit const qw::Class Item::kClass = qw::define<Item, qw::Object>(
    "Item", {}, [] { return qw::properties(qw::property<&Item::name_, &Item::setName>("name")); });

std::shared_ptr<Item> item(std::string name) {
  auto object = qw::make<Item>();
  object->setName(std::move(name));
  return object;
}

using Map = QWOrderedMap<std::string, int>;
using Keys = std::vector<std::string>;
using Objects = std::vector<int>;

TEST(QWOrderedMap, KeepsTheOrderOfInsertion) {
  Map map;
  map.addObject(1, "one");
  map.addObject(2, "two");
  map.insertObject(0, 0, "zero");
  EXPECT_EQ(map.keys(), (Keys{"zero", "one", "two"}));
  EXPECT_EQ(map.objects(), (Objects{0, 1, 2}));
  EXPECT_EQ(*map["two"], 2);
  EXPECT_EQ(map["three"], nullptr);
  map.removeObjectForKey("one");
  map.removeObjectForKey("absent");
  EXPECT_EQ(map.keys(), (Keys{"zero", "two"}));
  EXPECT_EQ(map.count(), 2u);
  map.removeAllObjects();
  EXPECT_EQ(map.count() + map.keys().size() + map.objects().size(), 0u);
}

TEST(QWOrderedMap, ReplacingInsertsAtTheIndexAfterTheRemoval) {
  Map map;
  for (const int i : {0, 1, 2, 3}) map.addObject(i, std::to_string(i));
  map.insertObject(10, 2, "0");
  EXPECT_EQ(map.keys(), (Keys{"1", "2", "0", "3"}));
  EXPECT_EQ(map.objects(), (Objects{1, 2, 10, 3}));
  map.addObject(11, "1");
  EXPECT_EQ(map.keys(), (Keys{"2", "0", "3", "1"}));
  EXPECT_EQ(map.objects(), (Objects{2, 10, 3, 11}));
}

TEST(QWOrderedMap, RemovingAKeyRemovesEveryEqualValue) {
  Map map;
  for (const char* key : {"a", "b", "c"}) map.addObject(key[0] == 'b' ? 5 : 7, key);
  map.removeObjectForKey("a");
  EXPECT_EQ(map.objects(), Objects{5});
  EXPECT_EQ(map.keys(), (Keys{"b", "c"}));
  EXPECT_EQ(*map["c"], 7);
}

TEST(QWOrderedMap, IsMadeFromObjectsByAKeyPath) {
  const std::vector<std::shared_ptr<Item>> items = {item("b"), item("a"), item("b")};
  const auto map = QWOrderedMap<std::string, std::shared_ptr<Item>>::orderedMapWithArray(items, "name");
  EXPECT_EQ(map.keys(), (Keys{"a", "b"}));
  EXPECT_EQ(*map["b"], items[2]);
  const auto byValue = QWOrderedMap<qw::Value, std::shared_ptr<Item>>::orderedMapWithArray(items, "self");
  EXPECT_EQ(*byValue[items[1]], items[1]);
}

TEST(QWCountedSet, RanksByFrequencyThenByOrder) {
  qw::ApplicationContext::Override context;
  QWCountedSet set;
  for (const char* text : {"z", "B", "b", "b", "A", "a", "é", "f"}) set.addObject(text);
  for (const int number : {10, 9, 10}) set.addObject(number);
  set.addObject("never");
  EXPECT_EQ(set.sortedObjects().size(), 10u);
  set.removeObject("never");
  set.removeObject("never");
  const qw::Array sorted = set.sortedObjects();
  ASSERT_EQ(sorted.size(), 9u) << "a change discards the order";
  // The two that came twice, then the others; texts without regard to case.
  std::string texts;
  for (const auto& value : sorted)
    if (value.text()) texts += *value.text();
  EXPECT_EQ(texts, "bAaBéfz");
  EXPECT_TRUE(sorted[0] == qw::Value("b") || sorted[1] == qw::Value("b"));
  EXPECT_TRUE(sorted[0] == qw::Value(10) || sorted[1] == qw::Value(10));
  EXPECT_FALSE(set.containsObject("never"));
  EXPECT_EQ(set.countForObject("b"), 2u);
  for (int i = 0; i < 2; ++i) set.addObject("z");
  EXPECT_EQ(set.sortedObjects().front(), qw::Value("z"));
}

TEST(QWCountedSet, RemembersTheObjectsThatStillExist) {
  QWCountedSet set;
  using Represented = std::vector<std::shared_ptr<qw::Object>>;
  auto a = item("a"), b = item("b"), c = item("c");
  for (const auto& object : {a, b, a, c}) set.addObject("x", object);
  set.addObject("x");
  EXPECT_EQ(set.representedObjects("x"), (Represented{a, b, a, c}));
  set.removeObject("x", a);
  EXPECT_EQ(set.representedObjects("x"), (Represented{b, a, c})) << "the first one goes";
  b.reset();
  EXPECT_EQ(set.representedObjects("x"), (Represented{a, c}));
  EXPECT_EQ(set.countForObject("x"), 4u) << "the count does not depend on who lives";
  EXPECT_TRUE(set.representedObjects("y").empty());
}

TEST(QWCountedSet, StaysFastAndRightWithManyObjectsForOneElement) {
  constexpr std::size_t kCount = 90'000;
  QWCountedSet set;
  std::vector<std::shared_ptr<Item>> items(kCount);
  for (auto& object : items) set.addObject("x", object = qw::make<Item>());
  // Of every three, one dies, one is taken out from the front, and one of the last ones from the back.
  for (std::size_t i = 0; i < kCount; i += 3) items[i].reset();
  for (std::size_t i = 1; i < kCount; i += 3) set.removeObject("x", items[i]);
  for (std::size_t i = kCount - 1; i >= kCount / 2; i -= 3) set.removeObject("x", items[i]);
  std::vector<std::shared_ptr<qw::Object>> expected;
  for (std::size_t i = 2; i < kCount / 2; i += 3) expected.push_back(items[i]);
  EXPECT_EQ(set.representedObjects("x"), expected);
}

}  // namespace
