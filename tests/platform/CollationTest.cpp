#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "platform/system/Collation.h"
#include "support/User.h"

namespace qw {
namespace {

using Collation::localizedCaseInsensitiveCompare;
using Collation::localizedStandardCompare;
using Collation::sortKey;

class CollationTest : public testing::Test, public User {};

TEST_F(CollationTest, StandardOrderIsThatOfAFileList) {
  struct Case {
    const char* locale;
    std::vector<std::string> ordered;
  };
  const Case cases[] = {
      {"en_US", {"", "_draft", "10 apples", "Item", "Item 2", "Item 10", "Item 10a", "item 11", "Zoo"}},
      {"en_US", {"file2.txt", "file10.txt", "file10b.txt"}},
      {"en_US", {"cote", "Cote", "coté", "côte", "d"}},
      {"en_US", {"a01", "a1", "a2"}},
      {"en_US", {"99999999999999999999999", "100000000000000000000000"}},
      {"de_DE", {"Ärger", "Zebra", "Zürich"}},
      {"sv_SE", {"Zebra", "Ärger", "Örebro"}},
      {"cs_CZ", {"cukr", "hora", "chata", "jablko"}},
      {"da_DK", {"Zebra", "Aarhus"}},
      {"no such locale", {"a", "B", "c"}},
  };
  for (const Case& test : cases) {
    setLocale(test.locale);
    auto shuffled = test.ordered;
    std::reverse(shuffled.begin(), shuffled.end());
    std::sort(shuffled.begin(), shuffled.end(),
              [](const auto& a, const auto& b) { return localizedStandardCompare(a, b) < 0; });
    EXPECT_EQ(shuffled, test.ordered) << test.locale;
    for (std::size_t i = 1; i < shuffled.size(); ++i)
      EXPECT_LT(sortKey(shuffled[i - 1]), sortKey(shuffled[i])) << test.locale;
  }
}

TEST_F(CollationTest, OnlyEquivalentTextsAreEqual) {
  EXPECT_EQ(localizedStandardCompare("caf\u00e9", "cafe\u0301"), std::strong_ordering::equal);
  EXPECT_NE(localizedStandardCompare("a1", "a01"), std::strong_ordering::equal);
  EXPECT_NE(localizedStandardCompare("a", "A"), std::strong_ordering::equal);
  EXPECT_EQ(localizedCaseInsensitiveCompare("Stra\u00dfe 1", "STRA\u00dfE 1"),
            std::weak_ordering::equivalent);
  EXPECT_NE(localizedCaseInsensitiveCompare("cote", "cot\u00e9"), std::weak_ordering::equivalent);
  EXPECT_TRUE(localizedCaseInsensitiveCompare("Item 10", "item 2") < 0);
}

TEST_F(CollationTest, ThreadsSortAlikeAndFollowAChangeOfTheLocale) {
  const std::vector<std::string> texts = {"Örebro", "Zebra", "Item 10", "Item 9", "ÅR", "apa", "1"};
  for (const char* locale : {"de_DE", "sv_SE"}) {
    setLocale(locale);
    std::vector<std::vector<std::string>> sorted(4, texts);
    std::vector<std::thread> threads;
    for (auto& list : sorted)
      threads.emplace_back([&list] {
        for (int i = 0; i < 50; ++i) {
          std::rotate(list.begin(), list.begin() + 3, list.end());
          std::sort(list.begin(), list.end(),
                    [](const auto& a, const auto& b) { return localizedStandardCompare(a, b) < 0; });
        }
      });
    for (auto& thread : threads) thread.join();
    for (const auto& list : sorted) EXPECT_EQ(list, sorted[0]);
    EXPECT_EQ(sorted[0].back(), locale == std::string("sv_SE") ? "Örebro" : "Zebra");
  }
}

}  // namespace
}  // namespace qw
