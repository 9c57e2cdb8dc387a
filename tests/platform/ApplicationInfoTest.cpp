#include <gtest/gtest.h>

#include <fstream>

#include "platform/system/ApplicationContext.h"
#include "platform/system/ApplicationInfo.h"

namespace {

using qw::ApplicationInfo;

TEST(ApplicationInfoTest, ReadsTheInformationDictionary) {
  const auto info = ApplicationInfo::fromJSON(R"({
    "CFBundleIdentifier": "org.example.Expenses", "CFBundleName": "Expenses", "CFBundleShortVersionString": "1.2",
    "CFBundleDocumentTypes": [
      {"CFBundleTypeName": "Book", "CFBundleTypeExtensions": ["expenses", "book"], "LSItemContentTypes": ["org.example.book"]},
      {}],
    "QWPlugins": {"Handler": ["B", "A", "B"], "Empty": []},
    "Unknown": [1, 2, 3]})");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->identifier, "org.example.Expenses");
  EXPECT_EQ(info->displayName, "Expenses") << "the name stands in";
  EXPECT_EQ(info->version, "1.2");
  ASSERT_EQ(info->documentTypes.size(), 2u);
  EXPECT_EQ(info->documentTypes[0],
            (ApplicationInfo::DocumentType{"Book", {"expenses", "book"}, {"org.example.book"}}));
  EXPECT_EQ(info->plugIns.at("Handler"), (std::vector<std::string>{"B", "A", "B"}));
  EXPECT_EQ(ApplicationInfo::fromJSON(R"({"CFBundleIdentifier": "x"})")->displayName, "x");
}

TEST(ApplicationInfoTest, NamesTheKeyThatIsWrong) {
  const struct {
    const char* json;
    const char* named;
  } kCases[] = {
      {"", "JSON"},
      {"[]", "JSON"},
      {"{}", "CFBundleIdentifier"},
      {R"({"CFBundleIdentifier": 1})", "CFBundleIdentifier"},
      {R"({"CFBundleIdentifier": "../../etc"})", "CFBundleIdentifier"},
      {R"({"CFBundleIdentifier": ".."})", "CFBundleIdentifier"},
      {R"({"CFBundleIdentifier": "x", "CFBundleName": null})", "CFBundleName"},
      {R"({"CFBundleIdentifier": "x", "CFBundleDocumentTypes": {}})", "CFBundleDocumentTypes"},
      {R"({"CFBundleIdentifier": "x", "CFBundleDocumentTypes": [1]})", "{}"},
      {R"({"CFBundleIdentifier": "x", "CFBundleDocumentTypes": [{"CFBundleTypeExtensions": [1]}]})",
       "CFBundleTypeExtensions"},
      {R"({"CFBundleIdentifier": "x", "QWPlugins": []})", "QWPlugins"},
      {R"({"CFBundleIdentifier": "x", "QWPlugins": {"Handler": "A"}})", "Handler"},
  };
  for (const auto& item : kCases) {
    qw::Error error;
    EXPECT_FALSE(ApplicationInfo::fromJSON(item.json, &error)) << item.json;
    EXPECT_NE(error.localizedDescription.find(item.named), std::string::npos) << error.localizedDescription;
  }
}

TEST(ApplicationInfoTest, ReadsAFileAndNamesTheApplicationsFiles) {
  qw::ApplicationContext::Override context;
  qw::Error error;
  EXPECT_FALSE(ApplicationInfo::fromFile(context.directory() / "missing.json", &error));
  EXPECT_TRUE(error);
  std::ofstream(context.directory() / "info.json") << R"({"CFBundleIdentifier": "org.example.Other"})";
  const auto info = ApplicationInfo::fromFile(context.directory() / "info.json");
  ASSERT_TRUE(info);
  context.change([&](auto& c) { c.application = *info; });
  EXPECT_EQ(qw::ApplicationContext::current().application, *info);
}

}  // namespace
