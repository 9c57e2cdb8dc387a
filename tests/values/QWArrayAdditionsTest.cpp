#include <gmock/gmock.h>

#include "platform/object/Object.h"
#include "platform/object/Property.h"
#include "support/User.h"
#include "values/collections/DeepMutableCopy.h"
#include "values/collections/QWArrayAdditions.h"
#include "values/collections/QWSetAdditions.h"
#include "values/text/QWStringAdditions.h"

namespace {

using namespace QWArrayAdditions;
using ::testing::ElementsAre;
using ::testing::Pair;

/// A node of a tree; one without a leaf flag of its own has children (perhaps none) exactly if it is a
/// folder.
class Node : public qw::Object {
 public:
  static const qw::Class kClass;
  static std::shared_ptr<Node> leaf(std::string name) { return make(std::move(name), true, {}); }
  static std::shared_ptr<Node> group(std::string name, std::vector<std::shared_ptr<Node>> children = {}) {
    return make(std::move(name), false, std::move(children));
  }
  void add(std::shared_ptr<Node> child) { children_.push_back(std::move(child)); }
  void removeAll() { children_.clear(); }

 private:
  static std::shared_ptr<Node> make(std::string name, bool leaf,
                                    std::vector<std::shared_ptr<Node>> children) {
    auto node = qw::make<Node>();
    node->name_ = std::move(name);
    node->leaf_ = leaf;
    node->children_ = std::move(children);
    return node;
  }
  qw::Value children() const {
    return leaf_ ? qw::Value() : qw::ValueTraits<std::vector<std::shared_ptr<Node>>>::toValue(children_);
  }

  std::string name_;
  bool leaf_ = true;
  std::vector<std::shared_ptr<Node>> children_;
};

constinit const qw::Class Node::kClass = qw::define<Node, qw::Object>("Node", {}, [] {
  return qw::properties(qw::property<&Node::name_>("name"), qw::property<&Node::leaf_>("leaf"),
                        qw::derived<&Node::children>("children"));
});

std::vector<std::string> names(const qw::Array& array) {
  std::vector<std::string> result;
  for (const qw::Value& element : array)
    result.push_back(element.object()->valueForKey("name").description());
  return result;
}

TEST(QWArrayAdditions, TransformsComparesAndAgrees) {
  const qw::Array array = {1, 2, "x", 3};
  EXPECT_EQ(transformUsingBlock(array, [](const qw::Value& v) { return v.isNumber() ? v : qw::Value(); }),
            (qw::Array{1, 2, 3}));
  const auto sameParity = [](const qw::Value& a, const qw::Value& b) {
    return a.int64Value() % 2 == b.int64Value() % 2;
  };
  EXPECT_TRUE(isEqualToArray(qw::Array{1, 2}, qw::Array{3, 4}, sameParity));
  EXPECT_FALSE(isEqualToArray(qw::Array{1, 2}, qw::Array{3, 5}, sameParity));
  EXPECT_FALSE(isEqualToArray(qw::Array{1, 2}, qw::Array{1}, sameParity));
  EXPECT_TRUE(isEqualToArray(qw::Array{}, qw::Array{}, sameParity));
  EXPECT_TRUE(isEqualToArray(
      std::vector<std::string>{"a"}, std::vector<std::string>{"a"},
      static_cast<bool (std::string::*)(std::string_view) const noexcept>(&std::string::starts_with)));

  const auto a = Node::leaf("same"), b = Node::leaf("same"), c = Node::leaf("other");
  EXPECT_EQ(objectsValueForKeyPath({a, b}, "name"), qw::Value("same"));
  EXPECT_TRUE(objectsValueForKeyPath({a, b, c}, "name").isNull());
  EXPECT_TRUE(objectsValueForKeyPath({a, b}, "self").isNull());
  EXPECT_EQ(objectsValueForKeyPath({a, a}, "self"), qw::Value(a));
  EXPECT_TRUE(objectsValueForKeyPath({}, "name").isNull());
  EXPECT_TRUE(objectsValueForKeyPath({qw::Value(), a}, "name").isNull());

  qw::Array grown;
  QWMutableArrayAdditions::addObjectIfNotNull(grown, qw::Value());
  QWMutableArrayAdditions::addObjectIfNotNull(grown, 1);
  EXPECT_EQ(grown, qw::Array{1});
}

TEST(QWArrayAdditions, WritesCSVLines) {
  EXPECT_EQ(CSVLineWithSeparator({12.5, "a,b", "say \"hi\""}, ","), "12.5,\"a,b\",say \"\"hi\"\"\n");
  EXPECT_EQ(CSVLineWithSeparator({"a,b", "x\r\ny", "p\u2028q", "\"\n"}, ";"),
            "a,b;\"x\r\ny\";\"p\u2028q\";\"\"\"\n\"\n");
  EXPECT_EQ(CSVLineWithSeparator({qw::Value(), true, -3, 1e-7, 1234567.125,
                                  *qw::Decimal::fromText("12345678901234567890.123456789")},
                                 "\t"),
            "\t1\t-3\t0.0000001\t1234567.125\t12345678901234567890.123456789\n");
  const std::string large = CSVLineWithSeparator({1e200}, ",");
  EXPECT_EQ(large.find('e'), std::string::npos);
  EXPECT_EQ(std::stod(large), 1e200);
  EXPECT_EQ(CSVLineWithSeparator({}, ","), "\n");

  User user("en_US", "Europe/Berlin");
  const qw::Date date = qw::Date::fromSeconds(1'704'063'600);  // 2024-01-01 00:00 in Berlin
  EXPECT_EQ(CSVLineWithSeparator({date, 1}, ","), "1/1/24,1\n");
  user.setLocale("de_DE");
  EXPECT_EQ(CSVLineWithSeparator({date, 1.5}, ","), "01.01.24,1.5\n");
}

TEST(QWArrayAdditions, FlattensTreesInOrderAndOnce) {
  const auto x = Node::leaf("x"), y = Node::leaf("y"), z = Node::leaf("z");
  const auto inner = Node::group("inner", {y, x, y});
  const qw::Array forest = {z, Node::group("outer", {inner, x, Node::group("empty")}), y, inner};
  for (const char* leafKeyPath : {"", "leaf"}) {
    EXPECT_THAT(names(flatArrayWithChildrenKeyPath(forest, "children", leafKeyPath)),
                ElementsAre("z", "y", "x"));
    EXPECT_THAT(names(flatArrayWithChildrenKeyPath(forest, "children", leafKeyPath, true)),
                ElementsAre("z", "outer", "inner", "y", "x", "empty"));
  }
  EXPECT_THAT(names(flatArrayWithChildrenKeyPath(forest, "", "")), ElementsAre("z", "outer", "y", "inner"))
      << "without key paths every element is a leaf";
  EXPECT_THAT(names(flatArrayWithChildrenKeyPath(forest, "", "leaf")), ElementsAre("z", "y"));
  EXPECT_THAT(names(QWSetAdditions::flatArrayWithChildrenKeyPath(qw::ValueSet(forest), "children", "leaf")),
              ElementsAre("z", "y", "x"));
  EXPECT_EQ(flatArrayWithChildrenKeyPath({1, "1", 1.0, qw::Value()}, "children", ""),
            (qw::Array{1, "1", qw::Value()}))
      << "equal values count as one";
}

TEST(QWArrayAdditions, CyclesAndDepthDoNotHarm) {
  const auto leaf = Node::leaf("leaf"), cycle = Node::group("cycle");
  cycle->add(cycle);
  cycle->add(leaf);
  EXPECT_THAT(names(flatArrayWithChildrenKeyPath({cycle}, "children", "leaf")), ElementsAre("leaf"));
  EXPECT_THAT(objectPathsMapWithKeyPath({cycle}, "name", "children", "leaf"),
              ElementsAre(Pair("cycle", qw::Value(cycle)), Pair("cycle : cycle", qw::Value(cycle)),
                          Pair("cycle : leaf", qw::Value(leaf))));
  cycle->removeAll();

  std::vector<std::shared_ptr<Node>> chain = {leaf};
  for (int i = 0; i < 100'000; ++i) chain.push_back(Node::group("g", {chain.back()}));
  EXPECT_THAT(names(flatArrayWithChildrenKeyPath({chain.back()}, "children", "leaf")), ElementsAre("leaf"));
  while (!chain.empty()) chain.pop_back();
}

TEST(QWArrayAdditions, MapsTreesByPath) {
  const auto x = Node::leaf("x"), y = Node::leaf("y"), slash = Node::leaf("a:b");
  const auto inner = Node::group(" inner ", {y}), outer = Node::group("outer", {inner, x, slash});
  const qw::Dictionary expected = {{"outer", outer}, {"outer : inner", inner}, {"outer : inner : y", y},
                                   {"outer : x", x}, {"outer : a : b", slash}, {"a:b", slash}};
  const qw::Array forest = {outer, slash, 7};
  EXPECT_EQ(objectPathsMapWithKeyPath(forest, "name", "children", ""), expected);
  EXPECT_EQ(QWSetAdditions::objectPathsMapWithKeyPath(qw::ValueSet(forest), "name", "children", "leaf"),
            expected);
}

TEST(QWArrayAdditions, GroupsByPathsInTheOrderMet) {
  const auto rent = Node::leaf("Home : Rent"), food = Node::leaf("Food"), power = Node::leaf("Home:Power"),
             home = Node::leaf("Home"), rentAgain = Node::leaf("Home : Rent");
  const auto groups = groupsForKeyPath({rent, food, power, home, 5, rentAgain}, "name");
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[0]->name(), "Home");
  EXPECT_EQ(groups[0]->object(), qw::Value(home));
  EXPECT_EQ(groups[0]->valueForKeyPath("subgroups.name"), qw::Value(qw::Array{"Rent", "Power"}));
  EXPECT_EQ(groups[0]->subgroups()[0]->object(), qw::Value(rentAgain)) << "the last one replaces";
  EXPECT_EQ(groups[1]->valueForKey("name"), qw::Value("Food"));
  EXPECT_EQ(groups[1]->valueForKey("object"), qw::Value(food));
  EXPECT_TRUE(groups[1]->valueForKey("subgroups").isNull());

  const auto menu = groupsMenu(groupsForKeyPath({rent, food}, "name"));
  ASSERT_EQ(menu.size(), 2u);
  EXPECT_EQ(menu[0].title, "Home");
  EXPECT_TRUE(menu[0].representedObject.isNull());
  EXPECT_EQ(menu[0].submenu[0].representedObject, qw::Value(rent));
  EXPECT_EQ(menu[1].representedObject, qw::Value(food));

  const auto deep =
      groupsForKeyPath({Node::leaf(QWStringAdditions::stringWithCharacter("a:", 300'000))}, "name");
  std::size_t depth = 1;
  const qw::GroupRecord* record = deep[0].get();
  for (; !record->subgroups().empty(); ++depth) record = record->subgroups()[0].get();
  EXPECT_EQ(depth, kDeepestGroup);
  EXPECT_TRUE(record->name().starts_with("a : a : "));
}

TEST(QWArrayAdditions, HundredThousandElementsStayLinear) {
  qw::Array leaves;
  std::vector<std::shared_ptr<Node>> children;
  for (int i = 0; i < 100'000; ++i) {
    children.push_back(Node::leaf("Group " + std::to_string(i % 300) + " : " + std::to_string(i)));
    leaves.push_back(children.back());
  }
  EXPECT_EQ(flatArrayWithChildrenKeyPath({Node::group("all", children)}, "children", "leaf"), leaves);
  EXPECT_EQ(objectPathsMapWithKeyPath(leaves, "name", "", "").size(), leaves.size());
  EXPECT_EQ(groupsForKeyPath(leaves, "name").size(), 300u);
}

TEST(DeepMutableCopy, SharesNoContainer) {
  const qw::Dictionary original = {{"list", qw::Array{qw::Array{1}, qw::Dictionary{{"k", "v"}}}},
                                   {"set", qw::ValueSet{1, 2}},
                                   {"text", "t"}};
  qw::Dictionary copy = qw::DeepMutableCopy::deepMutableCopy(original);
  EXPECT_EQ(copy, original);
  EXPECT_NE(copy["list"].array(), original.at("list").array());
  EXPECT_NE((*copy["list"].array())[0].array(), (*original.at("list").array())[0].array());
  EXPECT_NE((*copy["list"].array())[1].dictionary(), (*original.at("list").array())[1].dictionary());
  EXPECT_NE(copy["set"].set(), original.at("set").set());
}

}  // namespace
