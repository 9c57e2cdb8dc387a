#include <gtest/gtest.h>

#include "platform/base/Log.h"
#include "platform/object/KeyPath.h"
#include "platform/object/Object.h"
#include "platform/object/Property.h"

namespace {

class City : public qw::Object {
 public:
  static const qw::Class kClass;
  const std::string& name() const { return name_; }
  void setName(std::string name) { assign<&City::name_>(std::move(name)); }

 private:
  std::string name_;
};

constinit const qw::Class City::kClass = qw::define<City, qw::Object>(
    "City", {}, [] { return qw::properties(qw::property<&City::name_, &City::setName>("name")); });

class Person : public qw::Object {
 public:
  static const qw::Class kClass;
  void setName(std::string name) { assign<&Person::name_>(std::move(name)); }
  void setAge(int age) { assign<&Person::age_>(age); }
  void setCity(std::shared_ptr<City> city) { assign<&Person::city_>(std::move(city)); }
  void setBoss(Person* boss) { assign<&Person::boss_>(qw::Back<Person>(boss)); }
  void addFriend(const std::shared_ptr<Person>& person) {
    friends_.push_back(person);
    if (isObserved())
      didChange({qw::Change::Kind::kInsertion,
                 "friends",
                 {},
                 qw::Array{person},
                 qw::IndexSet(friends_.size() - 1)});
  }
  std::string title() const { return name_ + " (" + std::to_string(age_) + ")"; }

 private:
  std::string name_;
  int age_ = 0;
  std::shared_ptr<City> city_;
  qw::Back<Person> boss_;
  std::vector<std::shared_ptr<Person>> friends_;
};

constinit const qw::Class Person::kClass = qw::define<Person, qw::Object>("Person", {}, [] {
  return qw::properties(qw::property<&Person::name_, &Person::setName>("name"),
                        qw::property<&Person::age_, &Person::setAge>("age"),
                        qw::property<&Person::city_, &Person::setCity>("city"),
                        qw::property<&Person::boss_, &Person::setBoss>("boss"),
                        qw::property<&Person::friends_>("friends"),
                        qw::derived<&Person::title>("title", {"name", "age", "city.name"}));
});

std::shared_ptr<Person> person(const std::string& name, int age = 0) {
  auto p = qw::make<Person>();
  p->setName(name);
  p->setAge(age);
  return p;
}

}  // namespace

TEST(KeyValueCoding, ReadsAndWritesByKeyAndByPath) {
  auto ann = person("Ann", 31), bob = person("Bob", 40);
  auto rome = qw::make<City>();
  EXPECT_TRUE(ann->setValueForKey(rome, "city"));
  EXPECT_TRUE(ann->setValueForKeyPath("Rome", "city.name"));
  EXPECT_EQ(rome->name(), "Rome");
  EXPECT_EQ(ann->valueForKeyPath("city.name"), qw::Value("Rome"));
  EXPECT_EQ(ann->valueForKeyPath("self.title"), qw::Value("Ann (31)"));
  EXPECT_EQ(ann->valueForKeyPath("class.name"), qw::Value("Person"));
  EXPECT_TRUE(bob->valueForKeyPath("city.name").isNull()) << "a null link ends the path";

  EXPECT_TRUE(ann->setValueForKey("32", "age")) << "a text that is a number converts";
  EXPECT_EQ(ann->valueForKey("age"), qw::Value(32));
  EXPECT_FALSE(ann->setValueForKey(ann, "city")) << "an object of another class is refused";
  EXPECT_EQ(ann->valueForKey("city"), qw::Value(rome));
  EXPECT_FALSE(ann->setValueForKey("x", "title")) << "read-only";
  qw::Log::Capture log;
  EXPECT_FALSE(ann->setValueForKey("name", "Bob")) << "the arguments swapped";
  EXPECT_EQ(log.take(),
            (std::vector<qw::Log::Message>{{qw::Log::Level::kError, "Person has no property \"Bob\""}}));
}

TEST(KeyValueCoding, PointersAreObjectsOrDoNotCompile) {
  auto ann = person("Ann", 31);
  const qw::Value byPointer = ann.get();
  EXPECT_EQ(byPointer.object(), ann);
  EXPECT_TRUE(qw::Value(static_cast<Person*>(nullptr)).isNull());
  Person unowned;
  EXPECT_TRUE(qw::Value(&unowned).isNull()) << "nobody keeps it";
  EXPECT_EQ(qw::ValueView("text").kind(), qw::ValueView::Kind::kText);
  static_assert(!std::is_constructible_v<qw::Value, const char16_t*>);
  static_assert(!std::is_constructible_v<qw::Value, int*>);
  static_assert(!std::is_constructible_v<qw::Value, void (*)()>);
  static_assert(!std::is_constructible_v<qw::ValueView, const char16_t*>);
  static_assert(!std::is_constructible_v<qw::ValueView, const Person*>);
  EXPECT_EQ(Person::kClass.property("age")->valueKind, qw::Value::Kind::kInt);
}

TEST(KeyValueCoding, FollowsToManyHops) {
  auto ann = person("Ann"), bob = person("Bob", 3), cid = person("Cid", 5);
  ann->addFriend(bob);
  ann->addFriend(cid);
  cid->addFriend(bob);
  EXPECT_EQ(ann->valueForKeyPath("friends.age"), qw::Value(qw::Array{3, 5}));
  EXPECT_EQ(ann->valueForKeyPath("friends.@count"), qw::Value(2));
  EXPECT_EQ(ann->valueForKeyPath("friends.friends.name"),
            qw::Value(qw::Array{qw::Array{}, qw::Array{"Bob"}}));
  qw::Value scratch;
  EXPECT_EQ(qw::KeyPath("friends.age").view(*ann, scratch).toValue(), qw::Value(qw::Array{3, 5}));
  EXPECT_EQ(qw::KeyPath("name").view(*bob, scratch).text(), "Bob");
}

TEST(BackLink, ReadsAsNullOnceTheTargetIsGone) {
  auto ann = person("Ann"), boss = person("Boss");
  ann->setBoss(boss.get());
  qw::Back<Person> copy(boss), moved = std::move(copy);
  EXPECT_EQ(ann->valueForKeyPath("boss.name"), qw::Value("Boss"));
  boss.reset();
  EXPECT_TRUE(ann->valueForKey("boss").isNull());
  EXPECT_FALSE(moved);
}

TEST(KeyValueObservation, TellsOldAndNewValueUntilTheTokenGoes) {
  auto ann = person("Ann");
  std::vector<std::pair<qw::Value, qw::Value>> seen;
  auto token = ann->observe(
      "name", [&](const qw::Change& change) { seen.emplace_back(change.oldValue, change.newValue); });
  ann->setName("Anna");
  ann->setName("Anna");
  ann->setAge(9);
  token.reset();
  ann->setName("Eve");
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].first, qw::Value("Ann"));
  EXPECT_EQ(seen[0].second, qw::Value("Anna"));
}

TEST(KeyValueObservation, FollowsLinksAndDependentKeys) {
  auto ann = person("Ann", 1);
  auto rome = qw::make<City>(), oslo = qw::make<City>();
  rome->setName("Rome");
  oslo->setName("Oslo");
  std::vector<std::string> names, titles;
  auto onName = ann->observe("city.name", [&](const qw::Change& c) {
    names.push_back(c.oldValue.description() + ">" + c.newValue.description());
  });
  auto onTitle =
      ann->observe("title", [&](const qw::Change& c) { titles.push_back(c.newValue.description()); });
  ann->setCity(rome);
  rome->setName("Roma");
  ann->setCity(oslo);
  rome->setName("nobody listens");
  oslo->setName("Oslo 2");
  EXPECT_EQ(names, (std::vector<std::string>{">Rome", "Rome>Roma", "Roma>Oslo", "Oslo>Oslo 2"}));
  EXPECT_EQ(titles.size(), 4u) << "the title depends on the city's name";
  titles.clear();
  ann->setAge(2);
  ann->setName("Anna");
  EXPECT_EQ(titles, (std::vector<std::string>{"Ann (2)", "Anna (2)"}));
}

TEST(KeyValueObservation, ReportsInsertionsWithTheirPlaces) {
  auto ann = person("Ann"), bob = person("Bob");
  qw::Change last;
  auto token = ann->observe("friends", [&](const qw::Change& c) { last = c; });
  ann->addFriend(bob);
  EXPECT_EQ(last.kind, qw::Change::Kind::kInsertion);
  EXPECT_EQ(last.indexes, qw::IndexSet(0));
  EXPECT_EQ(last.newValue, qw::Value(qw::Array{bob}));
}

TEST(KeyValueObservation, SurvivesObserversThatChangeTheList) {
  auto ann = person("Ann");
  std::string calls;
  qw::Observation first, second, third, late;
  first = ann->observe("name", [&](const qw::Change&) {
    calls += "1";
    second.reset();
    late = ann->observe("name", [&](const qw::Change&) { calls += "L"; });
    first.reset();
  });
  second = ann->observe("name", [&](const qw::Change&) { calls += "2"; });
  third = ann->observe("name", [&](const qw::Change&) { calls += "3"; });
  ann->setName("a");
  EXPECT_EQ(calls, "13");
  ann->setName("b");
  EXPECT_EQ(calls, "133L");
  auto held = std::make_unique<qw::Observation>(ann->observe("age", [](const qw::Change&) {}));
  ann.reset();
  held.reset();  // outlives the object
}

TEST(Value, ComparesNumbersByValueAndContainersByContent) {
  EXPECT_EQ(qw::Value(1), qw::Value(true));
  EXPECT_EQ(qw::Value(1.5), qw::Value(*qw::Decimal::fromText("1.50")));
  EXPECT_EQ(qw::Value(1.5).hash(), qw::Value(*qw::Decimal::fromText("1.50")).hash());
  EXPECT_NE(qw::Value("1"), qw::Value(1));
  EXPECT_LT(qw::Value::compare(qw::Value(), qw::Value(0)), 0);
  EXPECT_LT(qw::Value::compare(2, 10), 0);
  EXPECT_EQ(qw::Value(qw::ValueSet{1, 2}), qw::Value(qw::ValueSet{2, 1}));
  qw::Value shared(qw::Array{1}), copy = shared;
  copy.mutableArray().push_back(2);
  EXPECT_EQ(shared, qw::Value(qw::Array{1})) << "a changed copy leaves the original alone";
  qw::ValueSet set{3, 1, 2};
  EXPECT_TRUE(set.erase(1));
  EXPECT_FALSE(set.contains(1));
  EXPECT_TRUE(set.insert(1));
  EXPECT_EQ(set.elements(), (qw::Array{3, 2, 1}));
}
