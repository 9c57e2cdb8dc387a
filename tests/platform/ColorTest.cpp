#include <gtest/gtest.h>

#include <clocale>
#include <limits>
#include <type_traits>

#include "platform/base/Color.h"

namespace {

using qw::Color;

static_assert(sizeof(Color) == 32 && std::is_trivially_copyable_v<Color>);

TEST(ColorTest, ComponentsRoundTripWithSixFractionDigits) {
  const Color color{0.5, 0.25, 1, 0.125};
  EXPECT_EQ(color.components(), "0.500000 0.250000 1.000000 0.125000");
  EXPECT_EQ(Color::fromComponents(color.components()), color);
}

TEST(ColorTest, ComponentsKeepThePointInALocaleWithCommas) {
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  for (const char* locale : {"de_DE.UTF-8", "fr_FR.UTF-8"}) {
    if (std::setlocale(LC_NUMERIC, locale)) break;
  }
  EXPECT_EQ(Color::white().components(), "1.000000 1.000000 1.000000 1.000000");
  EXPECT_EQ(Color::fromComponents("0.5 0.5 0.5 1"), (Color{0.5, 0.5, 0.5, 1}));
  std::setlocale(LC_NUMERIC, before.c_str());
}

TEST(ColorTest, ReadsFourNumbersAsWrittenByOthers) {
  EXPECT_EQ(Color::fromComponents("  .5 +1\t-0.25\n1e-1 and more"), (Color{0.5, 1, -0.25, 0.1}));
}

TEST(ColorTest, AnythingElseIsNoColor) {
  for (const char* text : {"", "   ", "1 1 1", "1 1 1 x", "red", "1,0 1,0 1,0 1,0", "nan 0 0 1", "inf 0 0 1",
                           "+-1 0 0 1", "1e999 0 0 1"}) {
    EXPECT_EQ(Color::fromComponents(text), std::nullopt) << text;
  }
}

TEST(ColorTest, ReadsWebColors) {
  struct {
    const char* text;
    const char* expected;
  } const kCases[] = {
      {"#f80", "#ff8800"},
      {"#F80c", "#ff8800cc"},
      {" #Ff8800\n", "#ff8800"},
      {"#ff8800fe", "#ff8800fe"},
      {"#ff8800ff", "#ff8800"},
      {"rgb(255, 136, 0)", "#ff8800"},
      {"RGB( 255 136 0 )", "#ff8800"},
      {"rgb(300,-5,127.6)", "#ff0080"},
      {"rgb(100%, 50%, 0%)", "#ff8000"},
      {"rgba(255,136,0,0.5)", "#ff880080"},
      {"rgb(255 136 0 / 50%)", "#ff880080"},
      {"rgb(255 136 0 / +.2)", "#ff880033"},
      {"aliceblue", "#f0f8ff"},
      {"RebeccaPurple", "#663399"},
      {"yellowgreen", "#9acd32"},
      {"transparent", "#00000000"},
  };
  for (const auto& [text, expected] : kCases) {
    const auto color = Color::fromWebColor(text);
    ASSERT_TRUE(color) << text;
    EXPECT_EQ(color->webColor(), expected) << text;
    EXPECT_EQ(Color::fromWebColor(expected)->webColor(), expected);
  }
  for (const char* text : {"", "#", "#ff", "#fffff", "#fffffff", "#fffffffff", "#-ff", "#ggg", "ff8800",
                           "orang", "rgb(1,2)", "rgb(1,2 3)", "rgb(1 2 3", "rgb(1,2,3) x", "rgb(1,2,3,)",
                           "rgb(inf,0,0)", "rgb(nan 0 0)", "rgb(+-1 0 0)", "rgb(1 2 3, 4)"}) {
    EXPECT_EQ(Color::fromWebColor(text), std::nullopt) << text;
  }
}

}  // namespace
