#include <gmock/gmock.h>

#include "platform/object/Object.h"
#include "platform/object/Property.h"
#include "values/collections/QWObjectAdditions.h"
#include "values/collections/QWSetAdditions.h"
#include "values/text/internal/UniqueNames.h"

namespace {

class Client : public qw::Object {
 public:
  static const qw::Class kClass;
  static std::shared_ptr<Client> named(std::string name) {
    auto client = qw::make<Client>();
    client->name_ = std::move(name);
    return client;
  }

 private:
  std::string name_;
};

constinit const qw::Class Client::kClass = qw::define<Client, qw::Object>(
    "Client", {}, [] { return qw::properties(qw::property<&Client::name_>("name")); });

TEST(QWSetAdditions, RemovesAndTransforms) {
  const qw::ValueSet set = {1, "two", 3};
  EXPECT_EQ(QWSetAdditions::setByRemovingObjectsInSet(set, {3, 4}), qw::ValueSet({1, "two"}));
  EXPECT_EQ(QWSetAdditions::setByRemovingObjectsInArray(set, {"two", 1, 1}), qw::ValueSet({3}));
  EXPECT_EQ(
      QWSetAdditions::transformUsingBlock(
          set, [](const qw::Value& v) { return v.isNumber() ? qw::Value(v.int64Value() % 2) : qw::Value(); }),
      qw::ValueSet({1}));
}

TEST(QWSetAdditions, FindsTheNextNumberedName) {
  const qw::ValueSet taken = {"Client", "Client 2", "A 9", "A (2)", "B 99999999999999999999"};
  const struct {
    const char* value;
    const char* format;
    const char* pattern;
    const char* expected;
  } cases[] = {
      {"Other", "%@ %ld", "(.*) ([0-9]+)", "Other"},
      {"Client", "%@ %ld", "(.*) ([0-9]+)", "Client 3"},
      {"Client 2", "%@ %ld", "(.*) ([0-9]+)", "Client 3"},
      {"Client 2", "%@ %ld", "", "Client 2 2"},
      {"A 9", "%@ %ld", "(.*) ([0-9]+)", "A 10"},
      {"Client", "%ld%% of %@", "", "2% of Client"},
      {"Client", "%@ copy ", "", "Client copy 2"},
      {"B 99999999999999999999", "%@ %ld", "(.*) ([0-9]+)", "B 99999999999999999999 2"},
      {"Client", "%@ (%ld)", "(broken", "Client (2)"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(QWSetAdditions::uniqueValue(taken, c.value, c.format, c.pattern), c.expected) << c.value;
    qw::UniqueNames names(c.format, c.pattern);
    for (const qw::Value& name : taken) names.insert(*name.text());
    EXPECT_EQ(names.unique(c.value), c.expected) << c.value;
  }
  EXPECT_EQ(QWArrayAdditions::uniqueValue({"Client", 7}, "Client"), "Client 2");
}

TEST(QWObjectAdditions, AnObjectsOwnNameIsFree) {
  const auto first = Client::named("Client"), second = Client::named("Client 2");
  const qw::Array clients = {first, second, qw::Value(), 5};
  EXPECT_EQ(QWObjectAdditions::validUniqueValue(*first, "Client", "name", clients), "Client");
  EXPECT_EQ(QWObjectAdditions::validUniqueValue(*second, "Client", "name", clients), "Client 2");
  EXPECT_EQ(QWObjectAdditions::validUniqueValue(*second, "Client", "name", clients, "%@ (%ld)", ""),
            "Client (2)");
}

TEST(UniqueNames, ManyNamesOfOneSeriesStayLinear) {
  // The same name over and over, then every name of the series again, each of which must skip all those after
  // it.
  qw::UniqueNames names;
  for (int i = 1; i <= 50'000; ++i) names.insert(names.unique("Client"));
  EXPECT_TRUE(names.contains("Client 50000"));
  for (int i = 2; i <= 50'000; ++i) names.insert(names.unique("Client " + std::to_string(i)));
  EXPECT_EQ(names.unique("Client 7"), "Client 100000");
}

}  // namespace
