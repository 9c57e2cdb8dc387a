#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/object/Property.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "values/collections/QWBoolean.h"
#include "values/collections/QWCharacterSeparator.h"
#include "values/collections/QWConstant.h"
#include "values/collections/QWStringEncoding.h"

namespace {

// An enumeration of an application, with a repeated value and a repeated name.
class Priority : public QWConstantOf<Priority> {
 public:
  static const qw::Class kClass;
  static inline std::atomic<int> timesFilled = 0;

  static void addConstants(QWConstantsManager& manager) {
    ++timesFilled;
    manager.addConstant(make("High", 3));
    manager.addConstant(make("Low", 1));
    manager.addConstant(make("Urgent", 3));
    manager.addConstant(make("Low", 2));
  }
};
constinit const qw::Class Priority::kClass =
    qw::define<Priority, QWConstant>("Priority", {}, [] { return qw::properties(); });

// One that declares no constants.
class Bare : public QWConstant {
 public:
  static const qw::Class kClass;
};
constinit const qw::Class Bare::kClass =
    qw::define<Bare, QWConstant>("Bare", {}, [] { return qw::properties(); });

std::vector<std::string> namesOf(const std::vector<std::shared_ptr<QWConstant>>& constants) {
  std::vector<std::string> names;
  for (const auto& constant : constants) names.push_back(constant->name());
  return names;
}

class QWConstantTest : public testing::Test {
 protected:
  void setLanguage(const std::string& language) {
    context_.change([&](auto& context) { context.preferredLanguages = {language}; });
  }

 private:
  qw::ApplicationContext::Override context_;
};

// First in this file, while nothing has used the class.
TEST_F(QWConstantTest, FirstUseFromManyThreadsFillsTheRegistryOnce) {
  std::vector<std::thread> threads;
  std::vector<const QWConstantsManager*> seen(8);
  for (std::size_t i = 0; i < seen.size(); ++i)
    threads.emplace_back([&seen, i] {
      seen[i] = i % 2 ? &Priority::sharedManager() : &QWConstantsManager::sharedManager(Priority::kClass);
      EXPECT_EQ(seen[i]->constants().size(), 4u);
      EXPECT_EQ(QWStringEncoding::constants().size(), 34u);
      EXPECT_EQ(QWBoolean::trueBoolean()->value(), 1);
    });
  for (auto& thread : threads) thread.join();
  for (const auto* manager : seen) EXPECT_EQ(manager, &Priority::sharedManager());
  EXPECT_EQ(Priority::timesFilled, 1);
}

TEST_F(QWConstantTest, ALaterConstantReplacesTheEarlierInTheLookUpsOnly) {
  const auto constants = Priority::constants();
  ASSERT_EQ(constants.size(), 4u);
  EXPECT_EQ(Priority::constantWithName("Low"), constants[3]);
  EXPECT_EQ(Priority::constantWithValue(3), constants[2]);
  EXPECT_EQ(Priority::constantWithValue(1), constants[1]);
  EXPECT_EQ(Priority::constantWithName("low"), nullptr);
  EXPECT_EQ(Priority::constantWithValue(0), nullptr);
  EXPECT_EQ(Priority::sharedManager().names().size(), 3u);
  EXPECT_EQ(Priority::sharedManager().values().size(), 3u);
  constants[0]->setValue(99);
  EXPECT_EQ(constants[0]->value(), 3);
}

TEST_F(QWConstantTest, ConstantsAreFoundByTheirID) {
  EXPECT_EQ(QWStringEncoding::UTF8StringEncoding()->ID(), "QWStringEncoding.UTF8StringEncoding");
  EXPECT_EQ(QWConstantsManager::constantWithID("QWStringEncoding.UTF8StringEncoding"),
            QWStringEncoding::UTF8StringEncoding());
  EXPECT_EQ(QWConstantsManager::constantWithID("QWBoolean.Yes"), QWBoolean::trueBoolean());
  EXPECT_EQ(QWConstantsManager::constantWithID("QWBoolean.0"), QWBoolean::falseBoolean());
  EXPECT_EQ(QWConstantsManager::constantWithID(Priority::constants()[2]->ID()), Priority::constants()[2]);
  for (const char* bad :
       {"", "QWBoolean", "QWBoolean.", "QWBoolean.Maybe", ".Yes", "NoSuchClass.Yes", "Object.Yes"})
    EXPECT_EQ(QWConstantsManager::constantWithID(bad), nullptr) << bad;
}

TEST_F(QWConstantTest, AClassWithoutConstantsHasARegistryOfItsOwn) {
  auto& manager = QWConstantsManager::sharedManager(Bare::kClass);
  EXPECT_TRUE(manager.constants().empty());
  auto constant = qw::make<Bare>();
  constant->initWithName("One", 1);
  constant->setValue(2);
  EXPECT_EQ(&constant->manager(), &manager);
  manager.addConstant(constant);
  EXPECT_EQ(manager.constantWithValue(2), constant);
  EXPECT_EQ(manager.valueForKeyPath("constants.ID"), qw::Value(qw::Array{"Bare.One"}));
}

TEST_F(QWConstantTest, ShownTextsFollowTheLanguage) {
  setLanguage("fr");
  EXPECT_EQ(QWBoolean::trueBoolean()->description(), "Oui");
  EXPECT_EQ(QWCharacterSeparator::constantWithDescription("Virgule"), QWCharacterSeparator::commaSeparator());
  setLanguage("en");
  EXPECT_EQ(QWBoolean::constantWithDescription("No"), QWBoolean::falseBoolean());
  EXPECT_EQ(QWBoolean::constantWithDescription("Oui"), nullptr);
  EXPECT_EQ(QWBoolean::trueBoolean()->valueForKey("description"), qw::Value("Yes"));
  // Every constant has a text of its own.
  for (const auto* manager : {&QWStringEncoding::sharedManager(), &QWCharacterSeparator::sharedManager()}) {
    std::set<std::string> texts;
    for (const auto& constant : manager->constants()) {
      EXPECT_NE(constant->description(), constant->name());
      EXPECT_TRUE(texts.insert(constant->description()).second) << constant->description();
    }
  }
  EXPECT_EQ(Priority::constants()[0]->description(), "High");
  ASSERT_TRUE(qw::Localization::addApplicationTable("en", "Localizable", R"({"High": "Most important"})"));
  EXPECT_EQ(Priority::constantWithDescription("Most important"), Priority::constants()[0]);
  qw::Localization::removeApplicationTables();
}

TEST_F(QWConstantTest, AnArchivedConstantComesBackAsTheRegisteredOne) {
  const auto separator = QWCharacterSeparator::constantWithCharacter("|");
  const auto removed = Priority::make("Removed", 7);
  const auto data = qw::KeyedArchiver::archivedData(
      qw::Array{QWBoolean::trueBoolean(), Priority::constants()[2], removed, separator});
  ASSERT_TRUE(data);
  const auto value = qw::KeyedUnarchiver::unarchivedValue(data->bytes(), {&QWConstant::kClass});
  ASSERT_TRUE(value && value->array());
  const qw::Array& read = *value->array();
  ASSERT_EQ(read.size(), 4u);
  EXPECT_EQ(read[0].object(), QWBoolean::trueBoolean());
  EXPECT_EQ(read[1].object(), Priority::constants()[2]);
  EXPECT_EQ(read[2], qw::Value(removed));
  EXPECT_NE(read[2], qw::Value(Priority::make("Removed", 8)));
  EXPECT_EQ(read[3].objectAs<QWCharacterSeparator>()->character(), "|");
}

TEST_F(QWConstantTest, BooleansAreFoundByNameAndByDigit) {
  EXPECT_EQ(namesOf(QWBoolean::sharedManager().constants()), (std::vector<std::string>{"No", "Yes"}));
  EXPECT_EQ(QWBoolean::constantWithName("Yes"), QWBoolean::trueBoolean());
  EXPECT_EQ(QWBoolean::constantWithName("1"), QWBoolean::trueBoolean());
  EXPECT_EQ(QWBoolean::constantWithName("0"), QWBoolean::falseBoolean());
  EXPECT_EQ(QWBoolean::constantWithName("true"), nullptr);
  EXPECT_EQ(QWBoolean::constantWithName(""), nullptr);
  EXPECT_LT(QWBoolean::falseBoolean()->compare(*QWBoolean::trueBoolean()), 0);
  EXPECT_EQ(Priority::constants()[0]->compare(*Priority::constants()[2]), 0);
}

TEST_F(QWConstantTest, SeparatorsAreFoundByCharacter) {
  EXPECT_EQ(namesOf(QWCharacterSeparator::sharedManager().constants()),
            (std::vector<std::string>{"NoSeparator", "SpaceSeparator", "DotSeparator", "CommaSeparator",
                                      "QuoteSeparator", "SemicolonSeparator", "TabSeparator"}));
  for (const auto& separator : QWCharacterSeparator::constants()) {
    EXPECT_EQ(QWCharacterSeparator::constantWithCharacter(separator->character()), separator);
    EXPECT_EQ(separator->value(), separator->character().empty() ? 0 : separator->character()[0]);
  }
  EXPECT_EQ(QWCharacterSeparator::constantWithCharacter("\u00A0"), QWCharacterSeparator::spaceSeparator());
  const auto bar = QWCharacterSeparator::constantWithCharacter("|");
  EXPECT_EQ(bar->name(), "|");
  EXPECT_EQ(bar->character(), "|");
  EXPECT_EQ(bar->value(), -1);
  EXPECT_EQ(QWCharacterSeparator::constantWithName("|"), nullptr);
}

TEST_F(QWConstantTest, EachStringEncodingIsNamedAndReadsText) {
  std::set<std::int64_t> values;
  for (const auto& encoding : QWStringEncoding::constants()) {
    EXPECT_TRUE(values.insert(encoding->value()).second) << encoding->name();
    ASSERT_TRUE(encoding->encoding()) << encoding->name();
    const auto bytes = encoding->encoding()->encode("Text 1");
    ASSERT_TRUE(bytes) << encoding->name();
    EXPECT_EQ(encoding->encoding()->decode(bytes->text()), "Text 1") << encoding->name();
  }
  EXPECT_EQ(QWStringEncoding::constants().front(), QWStringEncoding::ASCIIStringEncoding());
  EXPECT_EQ(QWStringEncoding::constants().back(), QWStringEncoding::ISO2022CNStringEncoding());
  EXPECT_EQ(QWStringEncoding::constantWithValue(4), QWStringEncoding::UTF8StringEncoding());
  EXPECT_EQ(QWStringEncoding::ISOLatin10StringEncoding()->valueForKey("XMLEncoding"), qw::Value("latin10"));
  EXPECT_EQ(QWStringEncoding::ISOLatin10StringEncoding()->encoding()->name(), "ISO-8859-16");
  EXPECT_EQ(QWStringEncoding::make("Unknown", 0)->encoding(), std::nullopt);
}

}  // namespace
