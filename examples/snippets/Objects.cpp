// What docs/objects.md and the headers of `platform` show of objects: lines that the checks stand between.
#include <gmock/gmock.h>

#include "Person.h"
#include "model/ExpenseBook.h"
#include "platform/loop/RunLoop.h"
#include "platform/object/SortDescriptor.h"
#include "platform/object/UndoGroup.h"
#include "platform/system/ApplicationContext.h"

namespace {

using testing::ElementsAre;

void report(const qw::Error& error) { ADD_FAILURE() << error.localizedDescription; }

TEST(Objects, AnswerByKey) {
  auto ada = makePerson("Ada", "London");
  ada->addFriend(makePerson("Mary", "Bath"));
  ada->addFriend(makePerson("Charles", "London"));

  qw::Value name = ada->valueForKey("name");                   // "Ada"
  bool isSet = ada->setValueForKey("Ockham", "city");          // through setCity
  isSet = isSet && !ada->setValueForKey("Ockham", "town");     // no such property: false, nothing changed
  qw::Value cities = ada->valueForKeyPath("friends.city");     // an array: "Bath", "London"
  qw::Value friends = ada->valueForKeyPath("friends.@count");  // 2
  qw::Value bossesCity = ada->valueForKeyPath("boss.city");    // null: there is no boss
  qw::KeyPath path("label");                                   // a path that is read often, made once
  std::string label = path.value(*ada).description();          // "Ada, Ockham"

  EXPECT_EQ(name, "Ada");
  EXPECT_TRUE(isSet);
  EXPECT_EQ(cities, qw::Array({"Bath", "London"}));
  EXPECT_EQ(friends, 2);
  EXPECT_TRUE(bossesCity.isNull());
  EXPECT_EQ(label, "Ada, Ockham");
}

TEST(Objects, AreObserved) {
  auto ada = makePerson("Ada", "London"), charles = makePerson("Charles", "London");
  std::vector<std::string> heard;

  qw::Observation label = ada->observe("label", [&](const qw::Change& change) {
    heard.push_back(change.oldValue.description() + " -> " + change.newValue.description());
  });
  qw::Observation city = ada->observe("boss.city", [&](const qw::Change& change) {
    heard.push_back("boss: " + change.newValue.description());
  });
  ada->setName("Ada Lovelace");  // "Ada, London -> Ada Lovelace, London"
  ada->setName("Ada Lovelace");  // nothing: it is equal
  ada->setBoss(charles.get());   // "boss: London"
  charles->setCity("Bath");      // "boss: Bath"
  city.reset();                  // or when it is destroyed
  charles->setCity("Paris");     // nothing

  EXPECT_THAT(heard, ElementsAre("Ada, London -> Ada Lovelace, London", "boss: London", "boss: Bath"));
}

TEST(Objects, AreUndone) {
  qw::ApplicationContext::Override context;
  qw::Error error;
  auto store = QWDatabaseManager::open<ExpenseBook>(context.directory() / "home.book", &error);
  ASSERT_TRUE(store) << error.localizedDescription;
  qw::RunLoop::main().drain();
  std::vector<std::string> names;

  qw::UndoManager& undo = *store->undoManager();
  {
    qw::UndoGroup step(&undo, "Add Wallet");
    auto wallet = store->create<Wallet>();
    wallet->setName("Cash");
    store->book().wallets().add(wallet);
  }
  std::string menuTitle = "Undo " + undo.undoActionName();  // "Undo Add Wallet"
  undo.undo();                                              // no wallet
  undo.redo();                                              // the same wallet, with its name

  EXPECT_EQ(menuTitle, "Undo Add Wallet");
  ASSERT_EQ(store->book().wallets().size(), 1u);
  EXPECT_EQ(store->book().wallets()[0].name(), "Cash");

  const auto import = [&](const char*) {
    store->book().wallets()[0].setName("Half");
    return false;
  };
  const char* file = "statement.csv";
  {
    qw::UndoGroup step(store->undoManager(), "Import");
    if (!import(file)) step.takeBack();  // all or nothing
  }
  EXPECT_EQ(store->book().wallets()[0].name(), "Cash");
  EXPECT_EQ(undo.undoActionName(), "Add Wallet");
}

TEST(Objects, UndoWhatIsNotStored) {
  qw::UndoManager undo;
  auto ada = makePerson("Ada", "London");
  ada->rename(undo, "Ada Lovelace");
  undo.undo();
  EXPECT_EQ(ada->name(), "Ada");
  undo.redo();
  EXPECT_EQ(ada->name(), "Ada Lovelace");
}

TEST(Objects, AreSorted) {
  std::vector<std::shared_ptr<Person>> people = {makePerson("Mary", "Bath"), makePerson("Ada", "London"),
                                                 makePerson("Abe", "London")};
  const auto names = [&] {
    std::string text;
    for (const auto& person : people) text += person->name() + " ";
    return text;
  };
  qw::Error error;

  using qw::SortDescriptor;
  SortDescriptor::sort(people, {{"city", SortDescriptor::Order::kDescending}, SortDescriptor("name")});
  EXPECT_EQ(names(), "Abe Ada Mary ");

  auto typed = SortDescriptor::fromText("-name:localized", &Person::kClass, &error);
  if (typed) SortDescriptor::sort(people, *typed);  // a path that Person lacks gives none, and the error

  EXPECT_EQ(names(), "Mary Ada Abe ");
  EXPECT_FALSE(SortDescriptor::fromText("nmae", &Person::kClass));
}

TEST(Objects, AreArchived) {
  auto ada = makePerson("Ada", "London"), charles = makePerson("Charles", "London");
  ada->addFriend(charles);
  charles->setBoss(ada.get());
  qw::Error error;

  qw::ClassRegistry::add({&Person::kClass});  // once, so that archives find the class by its name
  auto data = qw::KeyedArchiver::archivedData(ada, &error);
  if (!data) return report(error);
  auto copy = qw::KeyedUnarchiver::unarchived<Person>(data->bytes(), {&Person::kClass}, &error);

  ASSERT_TRUE(copy) << error.localizedDescription;
  EXPECT_EQ(copy->name(), "Ada");
  const qw::Value friends = copy->valueForKey("friends");
  ASSERT_EQ(friends.count(), 1u);
  EXPECT_EQ((*friends.array())[0].objectAs<Person>()->boss(), copy.get());
}

}  // namespace

struct Mileage {
  std::int64_t kilometres = 0;
  friend bool operator==(const Mileage&, const Mileage&) = default;
};

template <>
struct qw::ValueTraits<Mileage> {
  static qw::Value toValue(const Mileage& mileage) { return mileage.kilometres; }
  static std::optional<Mileage> fromValue(const qw::Value& value) {
    return value.isNumber() ? std::optional(Mileage{value.int64Value()}) : std::nullopt;
  }
  static qw::ValueView view(const Mileage& mileage) { return mileage.kilometres; }
};

namespace {

class Car : public qw::Object {
 public:
  static const qw::Class kClass;
  void setMileage(Mileage mileage) { assign<&Car::mileage_>(mileage); }

 private:
  Mileage mileage_;
};
constinit const qw::Class Car::kClass = qw::define<Car, qw::Object>(
    "Car", {}, [] { return qw::properties(qw::property<&Car::mileage_, &Car::setMileage>("mileage")); });

TEST(Objects, HaveMembersOfOwnTypes) {
  auto car = qw::make<Car>();
  EXPECT_TRUE(car->setValueForKey(42'000, "mileage"));
  EXPECT_FALSE(car->setValueForKey("far", "mileage"));
  EXPECT_EQ(car->valueForKey("mileage"), 42'000);
}

}  // namespace
