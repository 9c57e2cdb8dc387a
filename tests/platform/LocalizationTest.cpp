#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <thread>

#include "platform/base/internal/Resources.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "support/Files.h"

namespace {

namespace fs = std::filesystem;
namespace Localization = qw::Localization;

class LocalizationTest : public testing::Test {
 protected:
  ~LocalizationTest() override { Localization::removeApplicationTables(); }

  void prefer(std::vector<std::string> languages) {
    context_.change([&](auto& context) { context.preferredLanguages = std::move(languages); });
  }

  qw::ApplicationContext::Override context_;
  qw::Error error_;
};

TEST_F(LocalizationTest, TheFrameworkSpeaksTheUsersLanguage) {
  const struct {
    std::vector<std::string> languages;
    const char* expected;
  } kCases[] = {
      {{"en"}, "weeks"},          {{"en-GB"}, "weeks"},
      {{"fr"}, "semaines"},       {{"fr-CH", "de"}, "semaines"},
      {{"de", "fr"}, "semaines"}, {{"ja"}, "weeks"},
      {{"fr_FR"}, "semaines"},    {{"en", "fr"}, "weeks"},
      {{"not a tag"}, "weeks"},
  };
  for (const auto& item : kCases) {
    prefer(item.languages);
    EXPECT_EQ(Localization::frameworkString("DurationWeeks"), item.expected) << item.languages[0];
  }
}

TEST_F(LocalizationTest, UnknownKeysAndTablesAnswerTheKey) {
  EXPECT_EQ(Localization::frameworkString("no such key"), "no such key");
  EXPECT_EQ(Localization::frameworkString("Yes", "NoSuchTable"), "Yes");
  EXPECT_EQ(Localization::applicationString("Yes"), "Yes") << "the framework's texts are its own";
  EXPECT_EQ(Localization::findFrameworkString("no such key"), std::nullopt);
}

TEST_F(LocalizationTest, TheApplicationFallsBackByLanguageThenBaseThenEnglish) {
  ASSERT_TRUE(Localization::addApplicationTable("en", "Localizable",
                                                R"({"a": "en a", "b": "en b", "c": "en c", "d": "en d"})"));
  ASSERT_TRUE(Localization::addApplicationTable("Base", "Localizable",
                                                R"({"a": "base a", "b": "base b", "c": "base c"})"));
  ASSERT_TRUE(Localization::addApplicationTable("de", "Localizable", R"({"a": "de a", "b": "de b"})"));
  ASSERT_TRUE(Localization::addApplicationTable("de-CH", "Localizable", R"({"a": "ch a", "empty": ""})"));
  prefer({"de-CH"});
  EXPECT_EQ(Localization::applicationString("a"), "ch a");
  EXPECT_EQ(Localization::applicationString("b"), "de b");
  EXPECT_EQ(Localization::applicationString("c"), "base c");
  EXPECT_EQ(Localization::applicationString("d"), "en d");
  EXPECT_EQ(Localization::applicationString("e"), "e");
  EXPECT_EQ(Localization::applicationString("empty"), "");
  EXPECT_EQ(Localization::language(), "de-CH");
  prefer({"de-AT"});
  EXPECT_EQ(Localization::applicationString("a"), "de a");
}

TEST_F(LocalizationTest, TheFrameworkFollowsTheApplicationsLanguage) {
  prefer({"it", "fr"});
  ASSERT_TRUE(Localization::addApplicationTable("en", "Localizable", "{}"));
  EXPECT_EQ(Localization::frameworkString("Yes"), "Yes") << "the application speaks English only";
  ASSERT_TRUE(Localization::addApplicationTable("it", "Localizable", "{}"));
  EXPECT_EQ(Localization::frameworkString("Yes"), "Oui") << "the next language of the user that there is";
}

TEST_F(LocalizationTest, SynchronizationTextsComeFromTheApplicationFirst) {
  EXPECT_EQ(Localization::synchronizationString("LibraryObject.name"), "Name");
  ASSERT_TRUE(
      Localization::addApplicationTable("en", "Synchronization", R"({"LibraryObject.name": "Title"})"));
  EXPECT_EQ(Localization::synchronizationString("LibraryObject.name"), "Title");
  EXPECT_EQ(Localization::synchronizationString("LibraryObject.hidden"), "Hidden");
  EXPECT_EQ(Localization::synchronizationString("Expense.payee"), "Expense.payee");
}

TEST_F(LocalizationTest, ReadsADirectoryOfTablesWholeOrNotAtAll) {
  const fs::path directory = context_.directory() / "tables";
  const auto write = [&](const char* name, std::string_view text) { Files::write(directory / name, text); };
  write("en.lproj/Localizable.json", R"({"hello": "Hello"})");
  write("fr.lproj/Localizable.json", R"({"hello": "Bonjour"})");
  write("fr.lproj/Other.json", R"({"hello": "Salut"})");
  write("fr.lproj/notes.txt", "passed over");
  ASSERT_TRUE(Localization::addApplicationTables(directory, &error_)) << error_.localizedDescription;
  prefer({"fr"});
  EXPECT_EQ(Localization::applicationString("hello"), "Bonjour");
  EXPECT_EQ(Localization::applicationString("hello", "Other"), "Salut");

  for (const char* bad : {"{", "[]", R"({"hello": 1})", "\"text\"", "{\"a\": \"\xFF\"}"}) {
    write("en.lproj/Localizable.json", R"({"hello": "Changed"})");
    write("fr.lproj/Localizable.json", bad);
    error_ = {};
    EXPECT_FALSE(Localization::addApplicationTables(directory, &error_)) << bad;
    EXPECT_NE(error_.localizedDescription.find("fr.lproj/Localizable.json"), std::string::npos);
  }
  prefer({"en"});
  EXPECT_EQ(Localization::applicationString("hello"), "Hello");
  EXPECT_FALSE(Localization::addApplicationTables(directory / "missing", &error_));
}

TEST_F(LocalizationTest, EveryLanguageHasEveryKeyAndDistinctNames) {
  std::map<std::string, std::map<std::string, nlohmann::json>> byTable;
  for (const auto& file : qw::resources()) {
    const auto slash = file.path.find(".lproj/");
    if (slash == file.path.npos) continue;
    byTable[std::string(file.path.substr(slash))][std::string(file.path)] =
        nlohmann::json::parse(file.contents);
  }
  ASSERT_EQ(byTable.size(), 2u);
  const auto keys = [](const nlohmann::json& table) {
    std::set<std::string> result;
    for (const auto& [key, text] : table.items()) result.insert(key);
    return result;
  };
  for (const auto& [name, languages] : byTable) {
    EXPECT_EQ(languages.size(), 2u) << name;
    for (const auto& [path, table] : languages) {
      EXPECT_EQ(keys(table), keys(languages.begin()->second)) << path;
      std::set<std::string> encodings;
      for (const auto& [key, text] : table.items()) {
        if (!key.ends_with("Encoding")) continue;
        EXPECT_TRUE(encodings.insert(text).second) << path << ": " << text;
      }
    }
  }
}

TEST_F(LocalizationTest, FormatsTakeTheirArgumentsInAnyOrder) {
  EXPECT_EQ(Localization::format("%@ and %@", {"a", "b"}), "a and b");
  EXPECT_EQ(Localization::format("%2$@ et %1$@", {"a", "b"}), "b et a");
  EXPECT_EQ(Localization::format("%ld %lld %d %u", {"1", "2", "3", "4"}), "1 2 3 4");
  EXPECT_EQ(Localization::format("100%% of %@", {"%@"}), "100% of %@") << "arguments are not formats";
  EXPECT_EQ(Localization::format("%@ %@ %9$@|", {"only"}), "only  |");
  EXPECT_EQ(Localization::format("50% off %s %1@ %0$@ %", {"x"}), "50% off %s %1@ %0$@ %");
  EXPECT_EQ(Localization::frameworkFormat("Items", {"3"}), "3 items");
}

TEST_F(LocalizationTest, ThreadsLookUpWhileTheFirstTablesAreMade) {
  prefer({"fr"});
  std::vector<std::jthread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int n = 0; n < 1000; ++n) EXPECT_EQ(Localization::findFrameworkString("Yes"), "Oui");
    });
  }
}

}  // namespace
