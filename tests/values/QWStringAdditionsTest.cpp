#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>

#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"
#include "support/Python.h"
#include "values/text/QWStringAdditions.h"

namespace {

using namespace QWStringAdditions;
using ::testing::ElementsAre;
using ::testing::Pair;

TEST(QWStringAdditions, MakesIdentifiersAndPaths) {
  const qw::ApplicationContext::Override context;
  EXPECT_EQ(stringWithCharacter("é", 3), "ééé");
  EXPECT_EQ(stringWithCharacter("x", 0), "");
  const std::string id = uniqueID();
  EXPECT_EQ(id.size(), 36u);
  EXPECT_NE(id, uniqueID());
  const std::filesystem::path path = temporaryPathWithExtension("csv");
  EXPECT_EQ(path.extension(), ".csv");
  EXPECT_EQ(path.parent_path(), context.directory() / path.parent_path().filename());
  EXPECT_NE(path, temporaryPathWithExtension("csv"));
  EXPECT_FALSE(std::filesystem::path(temporaryPathWithExtension("")).has_extension());
}

TEST(QWStringAdditions, DigestsAgreeWithThePublishedVectors) {
  EXPECT_EQ(MD5("abc"), "900150983cd24fb0d6963f7d28e17f72");                                     // RFC 1321
  EXPECT_EQ(SHA1("abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");                            // FIPS 180
  EXPECT_EQ(SHA256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");  // FIPS 180
  EXPECT_EQ(MD5(""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(HMACMD5WithKey("what do ya want for nothing?", "Jefe"),
            "750c783e6ab0b503eaa86e310a5db738");  // RFC 2202
}

/// Of texts that are parted by blanks and strictly ascend, an empty one where two blanks meet.
void expectAscending(std::string_view texts,
                     std::strong_ordering (*compare)(std::string_view, std::string_view)) {
  std::vector<std::string> ordered(1);
  for (const char c : texts) c == ' ' ? void(ordered.emplace_back()) : ordered.back().push_back(c);
  for (std::size_t i = 0; i < ordered.size(); ++i) {
    for (std::size_t j = 0; j < ordered.size(); ++j)
      EXPECT_EQ(compare(ordered[i], ordered[j]), i <=> j) << ordered[i] << " and " << ordered[j];
  }
}

TEST(QWStringAdditions, NumbersAndVersionsCompareByValue) {
  expectAscending(
      " 0 00 1 01 2 10 file file2 file02 file10 file10a file10b1 file10b01 "
      "file123456789012345678901234567890 "
      "file123456789012345678901234567891 filea é1 é2",
      numericCompare);
  expectAscending(
      "-1  0.1 1.2 1.2.beta 1.2.1 1.9 1.10b 2 2.0.1 2.0.1.0 10 20240131123456789012 20240131123456789013",
      compareToVersion);
  EXPECT_EQ(compareToVersion("1.02.x", "1.2.0"), std::strong_ordering::equal);
  EXPECT_EQ(compareToVersion("-0", "0"), std::strong_ordering::equal);
}

TEST(QWStringAdditions, FirstLettersAreUnicodeCharacters) {
  EXPECT_EQ(firstLetterCapitalizedString("straße"), "Straße");
  EXPECT_EQ(firstLetterCapitalizedString("élan"), "Élan");
  EXPECT_EQ(firstLetterCapitalizedString("ßa"), "SSa");
  EXPECT_EQ(firstLetterCapitalizedString("1a"), "1a");
  EXPECT_EQ(firstLetterUncapitalizedString("Ärger"), "ärger");
  EXPECT_EQ(firstLetterUncapitalizedString("URL"), "uRL");
}

TEST(QWStringAdditions, PercentEncodingKeepsTheUnreservedSet) {
  EXPECT_EQ(URLEncodedString("aZ09-._~ /?&=+%é"), "aZ09-._~%20%2F%3F%26%3D%2B%25%C3%A9");
  const struct {
    const char* encoded;
    const char* decoded;
  } cases[] = {{"a%20b", "a b"},
               {"%c3%A9t%C3%a9", "été"},
               {"%F0%9F%98%80", "😀"},
               {"100%", "100%"},
               {"%4", "%4"},
               {"%zz%41", "%zzA"},
               {"%%41", "%A"},
               {"%FFa%41", "%FFaA"},
               {"%C3%41%c3", "%C3A%c3"},
               {"%ED%A0%80", "%ED%A0%80"},  // a surrogate is no UTF-8
               {"a+b", "a+b"}};
  for (const auto& c : cases) EXPECT_EQ(URLDecodedString(c.encoded), c.decoded) << c.encoded;
}

TEST(QWStringAdditions, PercentEncodingTakesOtherEncodings) {
  const struct {
    const char* encoding;
    const char* text;
    const char* encoded;
  } cases[] = {
      {"ISO-8859-1", "é+é", "%E9%2B%E9"}, {"Shift_JIS", "アA", "%83AA"}, {"UTF-16BE", "Aé", "%00A%00%E9"}};
  for (const auto& c : cases) {
    const auto encoding = qw::TextEncoding::named(c.encoding);
    ASSERT_TRUE(encoding) << c.encoding;
    EXPECT_EQ(URLEncodedStringUsingEncoding(c.text, *encoding), c.encoded);
    EXPECT_EQ(URLDecodedStringUsingEncoding(c.encoded, *encoding), c.text);
  }
  const auto ascii = *qw::TextEncoding::named("US-ASCII");
  EXPECT_EQ(URLEncodedStringUsingEncoding("é", ascii), std::nullopt);
  EXPECT_EQ(URLDecodedStringUsingEncoding("%41%E9é", ascii), "%41%E9é");
  EXPECT_EQ(URLDecodedStringUsingEncoding("%41%", ascii), "A%");
}

TEST(QWStringAdditions, LocalizedStringsFallBackToTheKey) {
  const qw::ApplicationContext::Override context;
  ASSERT_TRUE(qw::Localization::addApplicationTable("en", "Localizable", R"({"greeting": "Hello"})"));
  EXPECT_EQ(localizedString("greeting"), "Hello");
  EXPECT_EQ(localizedString("no such key"), "no such key");
  EXPECT_EQ(libraryLocalizedString("greeting"), "greeting");
  qw::Localization::removeApplicationTables();
}

TEST(QWStringAdditions, QueryParametersAreDividedBeforeTheyAreDecoded) {
  EXPECT_THAT(
      URLQueryParameters("a=1&b=x%26y%3Dz&c&a=2&d=p=q&%65=+"),
      ElementsAre(Pair("a", "2"), Pair("b", "x&y=z"), Pair("c", ""), Pair("d", "p=q"), Pair("e", "+")));
}

TEST(QWStringAdditions, CorrectsInvalidXMLTags) {
  const struct {
    const char* tag;
    bool valid;
    const char* corrected;
  } cases[] = {{"name", true, "name"},
               {"a-b.c1", true, "a-b.c1"},
               {"", false, "_"},
               {"1 a", false, "_1_a"},
               {"-x", false, "_-x"},
               {".x", false, "_.x"},
               {"٣x", false, "_٣x"},
               {"été", true, "été"},
               {"a<>&b", false, "a___b"},
               {"a'\"`#$%b", false, "a______b"},
               {"[x]|{y}~", false, "_x___y__"},
               {"ns:tag", true, "ns:tag"}};
  for (const auto& c : cases) {
    std::string corrected = "untouched";
    EXPECT_EQ(isValidXMLTag(c.tag, &corrected), c.valid) << c.tag;
    EXPECT_EQ(corrected, c.corrected);
    EXPECT_TRUE(isValidXMLTag(corrected)) << corrected;
  }
}

TEST(QWStringAdditions, EmbedsTextsInHTML) {
  EXPECT_EQ(stringForEmbeddingInHTML("a<b\r\nc"), "a&lt;b<br>c");
  EXPECT_EQ(stringForEmbeddingInHTML("<&>\"'\n\r\r\n\n"), "&lt;&amp;&gt;&quot;&apos;<br><br><br><br>");
  EXPECT_EQ(stringForEmbeddingInHTML("plain é"), "plain é");
}

TEST(QWStringAdditions, DecodesHTMLEntities) {
  const struct {
    std::string encoded;
    std::string decoded;
  } cases[] = {
      {"&pos;&apos;", "'&apos;"},
      {"&lt;b&gt; &amp; &quot;x&quot;", "<b> & \"x\""},
      {"&amp;lt;", "&lt;"},
      {"&#65;&copy;&#233;", "A©é"},
      {"&#x41;", std::string(1, '\0')},
      {"&Xi;&xi;&thetasym;&hearts;&euro;&yuml;", "Ξξϑ♥€ÿ"},
      {"&bogus; &copy &", "&bogus; &copy &"},
      {"&;&", "&;&"},
      {"&copy\n;&a&lt;", "&copy\n;&a&lt;"},
      {"&#55357;&#56832;", "😀"},
      {"&#55357; &#56832;", "\uFFFD \uFFFD"},
      {"&#55357;&#55357;&#56832;&#55357;", "\uFFFD😀\uFFFD"},
      {"&#65536;&#-1;&#99999999999999999999;", "&#65536;&#-1;&#99999999999999999999;"},
  };
  for (const auto& c : cases) EXPECT_EQ(stringByDecodingHTMLEntities(c.encoded), c.decoded) << c.encoded;
}

TEST(QWStringAdditions, EntitiesAreThoseOfAnotherImplementation) {
  if (!Python::isAvailable()) GTEST_SKIP() << "needs python3";
  FILE* python =
      popen("python3 -c 'from html.entities import name2codepoint as n\nfor k in n: print(k, n[k])'", "r");
  ASSERT_TRUE(python);
  char name[32];
  unsigned codePoint = 0;
  int count = 0;
  for (; fscanf(python, "%31s %u", name, &codePoint) == 2; ++count) {
    const auto named = stringByDecodingHTMLEntities(std::string("&") + name + ";");
    EXPECT_EQ(named, stringByDecodingHTMLEntities("&#" + std::to_string(codePoint) + ";")) << name;
  }
  pclose(python);
  EXPECT_EQ(count, 252);
}

TEST(QWStringAdditions, APatternMustMatchTheWholeText) {
  const std::string text = "É Client 12";
  const auto match = patternMatch(text, "(.*) ([a-z]+) ([0-9]+)(x)?");
  ASSERT_TRUE(match);
  EXPECT_THAT(match->ranges,
              ElementsAre(TextRange{0, 12}, TextRange{0, 2}, TextRange{3, 6}, TextRange{10, 2}, TextRange{}));
  EXPECT_EQ(match->capture(text, 2), "Client");
  EXPECT_EQ(match->capture(text, 4), "");
  EXPECT_TRUE(patternMatch("ABC", "abc"));
  EXPECT_TRUE(patternMatch("", "x*"));
  EXPECT_FALSE(patternMatch("abcd", "abc"));
  EXPECT_FALSE(patternMatch("xabc", "abc"));
  EXPECT_FALSE(patternMatch("ab", "a|ab")) << "only the first match counts";
  EXPECT_FALSE(patternMatch("abc", "(abc"));
  EXPECT_FALSE(patternMatch("abc", ""));
}

TEST(QWStringAdditions, ReplacesEveryMatchOfAPattern) {
  EXPECT_EQ(stringByReplacingOccurrencesOfPattern("Été 1, été 22", "(été) (\\d+)", "$2 \\$$1"),
            "1 $Été, 22 $été");
  EXPECT_EQ(stringByReplacingOccurrencesOfPattern("aXbx", "x", ""), "ab");
  EXPECT_EQ(stringByReplacingOccurrencesOfPattern("a(b", "(", "x"), "a(b");
  EXPECT_EQ(stringByReplacingOccurrencesOfPattern("ab", "a", "$7"), "ab");
}

TEST(QWStringAdditions, APatternCannotRunForever) {
  const std::string text(40, 'a');
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(patternMatch(text + "!", "(a+)+$"));
  EXPECT_EQ(stringByReplacingOccurrencesOfPattern(text + "!", "(a+)+$", "x"), text + "!");
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
  // A long text keeps a budget that a harmless pattern does not exhaust.
  const std::string longText(2'000'000, 'b');
  EXPECT_EQ(stringByReplacingOccurrencesOfPattern(longText, "b", "c"), std::string(2'000'000, 'c'));
}

TEST(QWStringAdditions, TextsAreMeasuredInWholePoints) {
  const qw::Size word = singleLineSizeWithFont("Amount", "Sans 12");
  EXPECT_GT(word.width, 12);
  EXPECT_LT(word.width, 100);
  EXPECT_GE(word.height, 12);
  EXPECT_LT(word.height, 24);
  EXPECT_EQ(word.width, std::ceil(word.width));
  const qw::Size large = singleLineSizeWithFont("Amount", "Sans 24");
  EXPECT_NEAR(large.width, 2 * word.width, 4);
  EXPECT_EQ(singleLineSizeWithFont("Amount\nin two", "Sans 12").height, word.height);
  EXPECT_EQ(singleLineSizeWithFont("", "Sans 12"), (qw::Size{0, word.height}));
  EXPECT_GT(singleLineSizeWithFont("\xff", "").height, 0);
  EXPECT_EQ(singleLineSizeWithFont(std::string(kMaxMeasuredSize + 1, 'x'), "Sans 12"), qw::Size());
}

TEST(QWStringAdditions, ObjectPathsAreSplitAndTrimmed) {
  EXPECT_THAT(objectPathComponents("A:\tB b :C\n"), ElementsAre("A", "B b", "C\n"));
  EXPECT_THAT(objectPathComponents(""), ElementsAre(""));
  EXPECT_THAT(objectPathComponents(" : a:"), ElementsAre("", "a", ""));
  EXPECT_EQ(stringByStandardizingObjectPathComponents("A:B :  C"), "A : B : C");
  EXPECT_EQ(stringByAppendingObjectPathComponent("A : B", "C"), "A : B : C");
  EXPECT_EQ(stringByAppendingObjectPathComponent("", "C"), "C");
  const struct {
    const char* path;
    std::optional<std::string> first;
    std::optional<std::string> rest;
  } cases[] = {{"A : B : C", "A", "B : C"},       {" A\t:B", " A", "B"},
               {" A ", " A ", std::nullopt},      {" : B", std::nullopt, "B"},
               {":", std::nullopt, std::nullopt}, {"A : ", "A", std::nullopt}};
  for (const auto& c : cases) {
    EXPECT_EQ(firstObjectPathComponent(c.path), c.first) << c.path;
    EXPECT_EQ(stringByDeletingFirstObjectPathComponent(c.path), c.rest) << c.path;
  }
}

}  // namespace
