#include <glib.h>
#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "import/CSVReference.h"
#include "import/QWCSVRows.h"
#include "values/collections/QWArrayAdditions.h"
#include "values/text/QWStringAdditions.h"

namespace {

using QWStringAdditions::CSVRowsWithSeparator;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Records = std::vector<CSVReference::Record>;

/// All fields, read by iteration; reading by index must agree.
Records records(const QWCSVRows& rows) {
  Records result;
  for (const auto row : rows) {
    CSVReference::Record& record = result.emplace_back(row.begin(), row.end());
    EXPECT_EQ(record.size(), row.size());
    for (std::size_t i = row.size(); i-- > 0;) EXPECT_EQ(row[i], record[i]);
  }
  EXPECT_EQ(result.size(), rows.size());
  return result;
}

TEST(QWCSVRows, ReadsRecordsAndFields) {
  const std::string long1(200, 'x');
  const struct {
    std::string text;
    Records expected;
    const char* separator = ",";
  } cases[] = {
      {"a, b,\"c,\"\"d\"\"\"\n\n1,2", {{"a", "b", "c,\"d\""}, {"1", "2"}}},
      {"x,", {{"x", ""}}},
      {",", {{"", ""}}},
      {"", {}},
      {"\r\n\n", {}},
      {"\"\"", {}},
      {"\"\"\n\"\",\n", {{"", ""}}},
      {"ab\"c,d\"e", {{"abc,de"}}},
      {"a,\"x\r\ny\"\r\nb", {{"a", "x\r\ny"}, {"b"}}},
      {" a ,\t b ,  \n", {{" a ", "b ", ""}}},
      {"a, \"b\" ,\"c\"\"\"", {{"a", "b ", "c\""}}},
      {"a,\" b\"", {{"a", " b"}}},
      {"\"open, \n", {{"open, \n"}}},
      {"a\"\"b,\"\"\"\"", {{"ab", "\""}}},
      {"a\t b\t\tc", {{"a", "b", "", "c"}}, "\t"},
      {"a b  c", {{"a", "b", "", "c"}}, " "},
      {"é；ü；； ；\"x；y\"；￿", {{"é", "ü", "", "", "x；y", "￿"}}, "；"},
      {"a,b", {{"a,b"}}, ""},
      {long1 + "," + long1 + "\n\"" + long1 + "\"\"\",z", {{long1, long1}, {long1 + "\"", "z"}}},
      {std::string("a\0b,\0", 5), {{std::string("a\0b", 3), std::string(1, '\0')}}},
  };
  for (const auto& c : cases)
    EXPECT_EQ(records(CSVRowsWithSeparator(c.text, c.separator)), c.expected) << c.text;
}

TEST(QWCSVRows, TheFirstRecordCanNameTheColumns) {
  std::vector<std::string> header = {"replaced"};
  const QWCSVRows rows =
      CSVRowsWithSeparator("Name,,Name,Name (2)\nSmith,b\nJones,,c,d,e,\n", ",", true, true, &header);
  EXPECT_THAT(header, ElementsAre("Name", "1", "Name (2)", "Name (2) (2)", "4 (e)", "5"));
  EXPECT_EQ(header, rows.header());
  EXPECT_EQ(records(rows), Records({{"Smith", "b"}, {"Jones", "", "c", "d", "e", ""}}));
  EXPECT_EQ(rows[0].value("Name"), "Smith");
  EXPECT_EQ(rows[0].value("Name (2)"), std::nullopt) << "a short record lacks the later columns";
  EXPECT_EQ(rows[1].value("1"), "");
  EXPECT_EQ(rows[1].value("4 (e)"), "e");
  EXPECT_EQ(rows[1].value("other"), std::nullopt);

  EXPECT_TRUE(CSVRowsWithSeparator("Name\n", ",", true).empty());
  EXPECT_TRUE(CSVRowsWithSeparator("", ",", true).hasHeader());
  EXPECT_THAT(CSVRowsWithSeparator("", ",", true).header(), IsEmpty());
}

TEST(QWCSVRows, ColumnsCanBeNamedAfterWhatTheyHold) {
  std::vector<std::string> header;
  QWCSVRows rows = CSVRowsWithSeparator("Smith,\nJones,1,x\n", ",", false, true, &header);
  EXPECT_THAT(header, ElementsAre("0 (Smith)", "1", "2 (x)"));
  EXPECT_EQ(rows[0].value("0 (Smith)"), "Smith");
  EXPECT_EQ(rows[0].value("1"), "");
  EXPECT_EQ(rows[1].value("0 (Smith)"), "Jones");

  header = {"A", "A"};
  rows = CSVRowsWithSeparator("1,2,3\n4", ",", false, true, &header);
  EXPECT_THAT(header, ElementsAre("A", "A", "2 (3)"));
  EXPECT_EQ(rows[0].value("A"), "2") << "of equal names the last one counts";
  EXPECT_EQ(rows[1].value("A"), "4");

  EXPECT_FALSE(CSVRowsWithSeparator("1,2", ",", false, false, &header).hasHeader());
  EXPECT_EQ(header.size(), 3u);
}

TEST(QWCSVRows, RowsSurviveAMoveOfTheWhole) {
  QWCSVRows rows = CSVRowsWithSeparator("n,m\n\"a\"\"b\",c", ",", true);
  const QWCSVRows moved = std::move(rows);
  EXPECT_EQ(moved[0].value("n"), "a\"b");
  EXPECT_EQ(moved[0].value("m"), "c");
}

TEST(QWCSVRows, WideHeadersOfOneNameStayLinear) {
  std::string text;
  for (int i = 0; i < 200'000; ++i) text += "Name,";
  const QWCSVRows rows = CSVRowsWithSeparator(text + "Name", ",", true);
  ASSERT_EQ(rows.header().size(), 200'001u);
  EXPECT_EQ(rows.header().back(), "Name (200001)");
}

std::string contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// Real files, where they are at hand, with what an independent reader found in them.
TEST(QWCSVRows, ReadsRealFiles) {
  const char* const configured = std::getenv("QW_SHARED_DATA");
  const std::filesystem::path directory = configured ? configured : "../shared/data";
  const auto expected = nlohmann::json::parse(contents(directory / "expected.json"), nullptr, false);
  if (!expected.is_object()) GTEST_SKIP() << "no expected.json in " << directory;
  for (const auto& [name, file] : expected.items()) {
    SCOPED_TRACE(name);
    std::string text = contents(directory / name);
    ASSERT_EQ(text.size(), file.at("bytes").get<std::size_t>());
    if (file.at("encoding") == "cp1252") {
      gsize size = 0;
      const std::unique_ptr<gchar, decltype(&g_free)> utf8(
          g_convert(text.data(), static_cast<gssize>(text.size()), "UTF-8", "WINDOWS-1252", nullptr, &size,
                    nullptr),
          g_free);
      ASSERT_TRUE(utf8);
      text.assign(utf8.get(), size);
    }
    if (file.at("bom").get<bool>()) text.erase(0, 3);
    const std::string separator = file.at("delimiter");

    // With two rules switched off the plain reader must find what the independent one found …
    const Records independent =
        CSVReference{.dropsBlanksAfterSeparator = false, .dropsEmptyLines = false}.read(text, separator[0]);
    ASSERT_EQ(independent.size(), file.at("records").get<std::size_t>());
    ASSERT_EQ(QWStringAdditions::SHA256(nlohmann::json(independent).dump()), file.at("parsed_sha256"));
    // … and with them on it says what is to be found here.
    const Records read = records(CSVRowsWithSeparator(text, separator));
    EXPECT_EQ(read.size(), independent.size() - file.at("empty_records").get<std::size_t>());
    EXPECT_TRUE(read == CSVReference().read(text, separator[0]));
  }
}

TEST(QWCSVRows, ReadsWhatArraysWriteAsCSV) {
  const qw::Array fields = {"a", "b,c", "d\r\ne", "", "quote \" and\nbreak"};
  const QWCSVRows rows =
      QWStringAdditions::CSVRowsWithSeparator(QWArrayAdditions::CSVLineWithSeparator(fields, ","), ",");
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].toValue(), qw::Value(fields));
  EXPECT_EQ(QWStringAdditions::CSVRowsWithSeparator("n,m\n1", ",", true)[0].toValue(),
            qw::Value(qw::Dictionary{{"n", "1"}}));
}

}  // namespace
