#include <gmock/gmock.h>

#include <limits>

#include "platform/object/Object.h"
#include "values/text/QWJSONSerializationAdditions.h"
#include "values/text/QWStringAdditions.h"

namespace {

using namespace QWJSONSerializationAdditions;

const JSONOptions kFragments = {.fragmentsAllowed = true};

std::optional<qw::Value> read(std::string_view text) { return JSONObjectFromString(text, kFragments); }
std::string written(const qw::Value& value) {
  return JSONRepresentationFromObject(value, kFragments).value_or("none");
}

TEST(QWJSONSerializationAdditions, NumbersKeepTheirDigits) {
  // What is read is written again, in one form for each number.
  const char* const cases[][2] = {
      {"0", "0"},
      {"-9223372036854775808", "-9223372036854775808"},
      {"9223372036854775807", "9223372036854775807"},
      {"9223372036854775808", "9223372036854775808"},
      {"18446744073709551616", "18446744073709551616"},
      {"0.1", "0.1"},
      {"12345678901234567890123456.789012345678", "12345678901234567890123456.789012345678"},
      {"1.50e2", "150"},
      {"-1e-5", "-0.00001"},
      {"1e300", "1e+300"},
      {"5e-324", "5e-324"},
  };
  for (const auto& [text, expected] : cases) {
    const auto value = read(text);
    ASSERT_TRUE(value) << text;
    EXPECT_EQ(written(*value), expected);
    EXPECT_EQ(read(written(*value)), value) << text;
  }
  EXPECT_EQ(read("0.1")->kind(), qw::Value::Kind::kDecimal);
  EXPECT_EQ(read("7")->kind(), qw::Value::Kind::kInt);
  EXPECT_EQ(read("1e300")->kind(), qw::Value::Kind::kDouble);
  for (const double number : {0.1, 1e22, 123456.789, 1e-300, std::numeric_limits<double>::max()}) {
    EXPECT_EQ(read(written(number))->doubleValue(), number);
  }
}

TEST(QWJSONSerializationAdditions, ValuesComeBackFromTheirText) {
  const qw::Dictionary value = {
      {"null", nullptr},
      {"yes", true},
      {"text", "é \" \\ \n \u2028 \x01"},
      {"empty", qw::Array{}},
      {"list", qw::Array{1, -2.5, "x", qw::Dictionary{}, qw::Array{qw::Dictionary{{"", false}}}}}};
  for (const bool pretty : {false, true}) {
    const auto text = JSONRepresentationFromObject(value, {.prettyPrinted = pretty});
    ASSERT_TRUE(text);
    EXPECT_EQ(JSONObjectFromString(*text), qw::Value(value));
    EXPECT_EQ(text->find('\n') != std::string::npos, pretty);
  }
  EXPECT_EQ(
      JSONRepresentationFromObject(qw::Dictionary{{"b", qw::Array{1}}, {"a", "é/"}}, {.prettyPrinted = true}),
      "{\n  \"a\": \"é/\",\n  \"b\": [\n    1\n  ]\n}");
  EXPECT_EQ(JSONObjectFromString(R"({"a":1,"a":2})"), qw::Value(qw::Dictionary{{"a", 2}}));
  EXPECT_EQ(read(R"("\ud83d\ude00")"), qw::Value("😀"));
}

TEST(QWJSONSerializationAdditions, BadTextsAreErrors) {
  for (const char* text : {"", "{", "[1,]", "{\"a\"}", "[1] 2", "nul", "01", "1e999", "\"\xFF\"",
                           "\"\xED\xA0\x80\"", "\"\\ud800\"", "\"a\nb\"", "[NaN]", "{'a':1}", "// x"}) {
    qw::Error error;
    EXPECT_FALSE(JSONObjectFromString(text, kFragments, &error)) << text;
    EXPECT_EQ(error.domain, kErrorDomain);
    EXPECT_EQ(error.code, kInvalidText);
    EXPECT_FALSE(error.localizedDescription.empty());
  }
  EXPECT_FALSE(JSONObjectFromString("1"));
  EXPECT_FALSE(JSONRepresentationFromObject("text"));
}

TEST(QWJSONSerializationAdditions, WhatJSONCannotHoldIsAnError) {
  for (const qw::Value& value :
       {qw::Value(qw::Date()), qw::Value(qw::Data()), qw::Value(qw::ValueSet{1}),
        qw::Value(qw::Decimal::nan()), qw::Value(std::numeric_limits<double>::infinity()), qw::Value("\xFF"),
        qw::Value(qw::Dictionary{{"\xC3", 1}})}) {
    qw::Error error;
    EXPECT_FALSE(JSONRepresentationFromObject(qw::Array{value}, {}, &error));
    EXPECT_EQ(error.code, kNotRepresentable);
  }
}

TEST(QWJSONSerializationAdditions, DepthIsBounded) {
  const auto nested = [](std::size_t depth) {
    return QWStringAdditions::stringWithCharacter("[", depth) +
           QWStringAdditions::stringWithCharacter("]", depth);
  };
  const auto deepest = JSONObjectFromString(nested(kMaximumDepth));
  ASSERT_TRUE(deepest);
  EXPECT_EQ(JSONRepresentationFromObject(*deepest), nested(kMaximumDepth));
  qw::Error error;
  EXPECT_FALSE(JSONObjectFromString(nested(kMaximumDepth + 1), {}, &error));
  EXPECT_EQ(error.code, kTooDeep);
  EXPECT_FALSE(JSONObjectFromString(std::string(1'000'000, '['), {}, &error));
  EXPECT_FALSE(JSONRepresentationFromObject(qw::Array{*deepest}, {}, &error));
  EXPECT_EQ(error.code, kTooDeep);
}

}  // namespace
