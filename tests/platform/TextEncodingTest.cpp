#include <gmock/gmock.h>
#include <iconv.h>

#include <span>
#include <string>
#include <thread>
#include <vector>

#include "platform/system/ApplicationContext.h"
#include "platform/system/TextEncoding.h"

namespace qw {
namespace {

using namespace std::string_literals;

const char* const kNames[] = {"US-ASCII",     "macintosh",    "ISO-8859-1",   "ISO-8859-2",   "ISO-8859-3",
                              "ISO-8859-4",   "ISO-8859-5",   "ISO-8859-6",   "ISO-8859-7",   "ISO-8859-8",
                              "ISO-8859-9",   "ISO-8859-10",  "ISO-8859-11",  "ISO-8859-13",  "ISO-8859-14",
                              "ISO-8859-15",  "ISO-8859-16",  "UTF-8",        "UTF-16BE",     "UTF-16LE",
                              "windows-1250", "windows-1251", "windows-1252", "windows-1253", "windows-1254",
                              "Shift_JIS",    "Big5",         "Big5-HKSCS",   "GB2312",       "GBK",
                              "GB18030",      "HZ-GB-2312",   "ISO-2022-CN"};

TextEncoding encoding(std::string_view name) {
  const auto found = TextEncoding::named(name);
  EXPECT_TRUE(found) << name;
  return found.value_or(TextEncoding::utf8());
}

std::optional<std::string> encoded(std::string_view name, std::string_view text) {
  const auto data = encoding(name).encode(text);
  if (!data) return {};
  return std::string(data->text());
}

TEST(TextEncodingTest, NamesAndAliasesFindTheEncoding) {
  for (const char* name : kNames) EXPECT_EQ(encoding(name).name(), name);
  const std::pair<const char*, const char*> aliases[] = {
      {"utf8", "UTF-8"},          {"latin1", "ISO-8859-1"},    {"LATIN2", "ISO-8859-2"},
      {"latin5", "ISO-8859-9"},   {"latin6", "ISO-8859-10"},   {"latin8", "ISO-8859-14"},
      {"latin9", "ISO-8859-15"},  {"latin10", "ISO-8859-16"},  {"cyrillic", "ISO-8859-5"},
      {"arabic", "ISO-8859-6"},   {"greek", "ISO-8859-7"},     {"hebrew", "ISO-8859-8"},
      {"eucCN", "GB2312"},        {"ascii", "US-ASCII"},       {"cp1252", "windows-1252"},
      {"macintosh", "macintosh"}, {"windows-31j", "Shift_JIS"}};
  for (const auto& [alias, name] : aliases) EXPECT_EQ(encoding(alias).name(), name) << alias;
  for (const auto& name : {""s, "no such"s, "UTF-7"s, "UTF-8\0x"s, std::string(5000, 'u')})
    EXPECT_FALSE(TextEncoding::named(name)) << name;
}

TEST(TextEncodingTest, EncodesAndDecodesTheCharactersOfEachEncoding) {
  const struct {
    const char* name;
    const char* text;
    std::string bytes;
  } cases[] = {
      {"UTF-8", "h\u00e9\u20ac\U0001F600", "h\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
      {"UTF-16BE", "h\u20ac\U0001F600", "\0h\x20\xAC\xD8\x3D\xDE\x00"s},
      {"UTF-16LE", "h\u20ac\U0001F600", "h\0\xAC\x20\x3D\xD8\x00\xDE"s},
      {"macintosh", "\u00c4\u20ac\uf8ff", "\x80\xDB\xF0"},
      {"ISO-8859-1", "\u0080\u00a4\u00ff", "\x80\xA4\xFF"},
      {"ISO-8859-15", "\u20ac\u0152", "\xA4\xBC"},
      {"ISO-8859-16", "\u20ac\u0218\u021b", "\xA4\xAA\xFE"},
      {"windows-1252", "\u20ac\u017e\u00ff", "\x80\x9E\xFF"},
      {"windows-1251", "\u041f\u0440", "\xCF\xF0"},
      {"Shift_JIS", "\x1a\x1c\x7f\\~\u65e5\uff71", "\x1A\x1C\x7F\\~\x93\xFA\xB1"},
      {"Big5", "a\u4e2d", "a\xA4\xA4"},
      {"Big5-HKSCS", "\u4e2d\u00ca", "\xA4\xA4\x88\x66"},
      {"GB2312", "a\u4e2d", "a\xD6\xD0"},
      {"GBK", "\u20ac\u4e2d\u570b", "\x80\xD6\xD0\x87\xF8"},
      {"GB18030", "\u4e2d\u00e4\U0001F600", "\xD6\xD0\x81\x30\x8A\x31\x94\x39\xFC\x36"},
      {"HZ-GB-2312", "a~\u4e2d\u6587", "a~~~{VPND~}"},
      {"HZ-GB-2312", "\u4e2d\n\u4e2d", "~{VP~}\n~{VP~}"},
      {"HZ-GB-2312", "", ""},
      {"ISO-2022-CN", "a\u4e2d", "a\x1B$)A\x0EVP\x0F"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(encoded(test.name, test.text), test.bytes) << test.name;
    EXPECT_EQ(encoding(test.name).decode(test.bytes), test.text) << test.name;
  }
}

TEST(TextEncodingTest, WhatCannotBeReadOrWrittenIsAnErrorThatNamesThePlace) {
  const ApplicationContext::Override english;
  struct Case {
    const char* name;
    std::string bytes;
    std::size_t offset;
  };
  const Case unreadable[] = {
      {"UTF-8", "ab\x80", 2},
      {"UTF-8", "ab\xED\xA0\x80", 2},
      {"UTF-8",
       "\xEF\xBB\xBF"
       "12345678901\xE2\x82",
       14},
      {"US-ASCII", "abc\x80", 3},
      {"windows-1252", "a\x9D", 1},
      {"windows-1253", "\xD2", 0},
      {"UTF-16BE", "\0a\0"s, 2},
      {"UTF-16BE", "\0a\xD8\0\0b"s, 2},
      {"UTF-16LE", "a\0\0\xDC"s, 2},
      {"UTF-16BE", "\xFF\xFE\x61\0"s, 0},
      {"UTF-16LE", "\xFE\xFF\0\x61"s, 0},
      {"GBK", "a\xC4\xE3\xFF", 3},
      {"GBK", "\xC4 ", 0},
      {"GBK", "a\xC4", 1},
      {"Big5", "a\x80", 1},
      {"Big5", "a\xFF", 1},
      {"GB2312", "\xD6\xD0\x80", 2},
      {"Shift_JIS", "ab\x93", 2},
      {"GB18030", "a\x81\x30\x81", 1},
      {"HZ-GB-2312", "a~x", 1},
      {"HZ-GB-2312", "a~{VPN", 5},
      {"HZ-GB-2312", "a~", 1},
      {"HZ-GB-2312", "\x80", 0},
      {"ISO-2022-CN", "a\x1B$)", 1},
  };
  const Case unwritable[] = {
      {"US-ASCII", "ab\u00e9", 2},
      {"ISO-8859-1", "\u00e9\u20ac", 2},
      {"windows-1252", "a\u0081", 1},
      {"Shift_JIS", "\u65e5\u00e4", 3},
      {"Shift_JIS", "\U0001F600", 0},
      {"GB2312", "\u4e2d\U0001F600", 3},
      {"GBK", "a\uf8f5", 1},
      {"GBK", "a\u200b", 1},
      {"HZ-GB-2312", "\u4e2d\uFEFF", 3},
      {"Big5-HKSCS", "\u4e2d\ue2be", 3},
      {"Shift_JIS", "a\u00ad", 1},
      {"HZ-GB-2312", "a\u20ac", 1},
      {"ISO-2022-CN", "\u4e2d\x0E", 3},
      {"UTF-16LE",
       "\uFFFE"
       "a",
       0},
  };
  const Case noText[] = {
      {"UTF-16LE", "a\xFF", 1},
      {"UTF-8", "a\xED\xA0\x80", 1},
  };
  const auto refused = [](std::span<const Case> cases, int code, const auto& convert) {
    for (const Case& test : cases) {
      Error error;
      EXPECT_FALSE(convert(test, error)) << test.name;
      EXPECT_EQ(error.domain, TextEncoding::kErrorDomain);
      EXPECT_EQ(error.code, code) << test.name;
      EXPECT_THAT(error.localizedDescription, testing::HasSubstr("byte " + std::to_string(test.offset)))
          << test.name;
    }
  };
  const auto decode = [](const Case& test, Error& error) {
    return encoding(test.name).decode(test.bytes, &error).has_value();
  };
  const auto encode = [](const Case& test, Error& error) {
    return encoding(test.name).encode(test.bytes, &error).has_value();
  };
  refused(unreadable, TextEncoding::kInvalidBytes, decode);
  refused(unwritable, TextEncoding::kNotEncodable, encode);
  refused(noText, TextEncoding::kInvalidBytes, encode);
}

TEST(TextEncodingTest, AByteOrderMarkIsDroppedOnceAndNeverWritten) {
  const std::pair<const char*, std::string> cases[] = {
      {"UTF-8", "\xEF\xBB\xBF"}, {"UTF-16BE", "\xFE\xFF"}, {"UTF-16LE", "\xFF\xFE"}};
  for (const auto& [name, mark] : cases) {
    const std::string a = *encoded(name, "a");
    EXPECT_EQ(encoding(name).decode(mark + a), "a") << name;
    EXPECT_EQ(encoding(name).decode(mark + mark + a),
              "\uFEFF"
              "a")
        << name;
    EXPECT_EQ(encoding(name).decode(a + mark), "a\uFEFF") << name;
    EXPECT_EQ(encoding(name).decode(mark), "") << name;
  }
}

// Whatever an encoding reads, it writes so that it reads the same again: each single byte, each pair, and the
// controls and digits between.
TEST(TextEncodingTest, WhatIsReadCanBeWritten) {
  for (const char* name : kNames) {
    const TextEncoding tested = encoding(name);
    std::size_t readable = 0;
    for (unsigned value = 0; value < 0x10000; ++value) {
      const std::string bytes = {static_cast<char>(value >> 8), static_cast<char>(value)};
      const auto text = tested.decode(bytes);
      if (!text) continue;
      ++readable;
      const auto written = tested.encode(*text);
      ASSERT_TRUE(written) << name << std::hex << value;
      if (text->starts_with("\uFEFF")) continue;
      ASSERT_EQ(tested.decode(written->text()), text) << name << std::hex << value;
    }
    EXPECT_GE(readable, 0x60u * 0x60u) << name;
  }
}

// glibc's converters are an independent reading of the same standards.
TEST(TextEncodingTest, TheISOEncodingsAgreeWithTheSystemLibrary) {
  for (const std::string name : {"ISO-8859-2", "ISO-8859-3", "ISO-8859-4", "ISO-8859-5", "ISO-8859-9",
                                 "ISO-8859-10", "ISO-8859-13", "ISO-8859-14", "ISO-8859-15", "ISO-8859-16",
                                 "windows-1250", "windows-1251", "windows-1252", "windows-1254"}) {
    const iconv_t converter = iconv_open("UTF-8", name.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1)) GTEST_SKIP() << "no system table of " << name;
    for (unsigned value = 0; value < 0x100; ++value) {
      char byte = static_cast<char>(value);
      char* source = &byte;
      std::string target(8, '\0');
      char* end = target.data();
      std::size_t size = 1, room = target.size();
      std::optional<std::string> expected;
      if (iconv(converter, &source, &size, &end, &room) != static_cast<std::size_t>(-1))
        expected = target.substr(0, target.size() - room);
      EXPECT_EQ(encoding(name).decode({&byte, 1}), expected) << name << " " << value;
    }
    iconv_close(converter);
  }
}

TEST(TextEncodingTest, LongTextsPassTheInnerBuffersUnharmed) {
  const ApplicationContext::Override english;
  std::string text;
  for (int i = 0; i < 700'000; ++i) text += i % 3 == 0 ? "\u4e2d" : i % 3 == 1 ? "a" : "\U0001F600";
  for (const char* name : {"UTF-8", "UTF-16BE", "UTF-16LE", "GB18030"}) {
    const auto bytes = encoding(name).encode(text);
    ASSERT_TRUE(bytes) << name;
    EXPECT_TRUE(encoding(name).decode(bytes->text()) == text) << name;
    Error error;
    const std::string cut(bytes->text().substr(0, bytes->size() - 1));
    EXPECT_FALSE(encoding(name).decode(cut, &error)) << name;
  }
  std::string chinese;
  for (int i = 0; i < 100'000; ++i) chinese += i % 7 ? "\u4e2d\u6587" : "ab\n~";
  for (const char* name : {"HZ-GB-2312", "ISO-2022-CN", "GB2312", "Big5", "Shift_JIS"}) {
    const auto bytes = encoding(name).encode(chinese);
    ASSERT_TRUE(bytes) << name;
    EXPECT_TRUE(encoding(name).decode(bytes->text()) == chinese) << name;
    Error error;
    EXPECT_FALSE(encoding(name).encode(chinese + "\U0001F600", &error)) << name;
    EXPECT_NE(error.localizedDescription.find("byte " + std::to_string(chinese.size())), std::string::npos)
        << name;
  }
}

TEST(TextEncodingTest, ValidLengthStopsAtEveryKindOfFault) {
  const std::string good = "a0123456789\u00e9\u0800\xED\x9F\xBF\ue000\U00010000\U0010FFFF\0z"s;
  for (std::size_t room = 0; room < 20; ++room)  // before and across the blocks that are read at once
    for (const std::string text = std::string(room, 'x') + good;
         const char* bad :
         {"\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xBF\xBF", "\xF8\x88\x80\x80\x80", "\xE2\x28\xA1",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xFF", "\xE2\x82", "\xF0\x9F\x98"}) {
      EXPECT_EQ(TextEncoding::validUTF8Length(text), text.size());
      EXPECT_EQ(TextEncoding::validUTF8Length(text + bad + "a"), text.size());
    }
}

TEST(TextEncodingTest, ThreadsShareTheEncodings) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([] {
      for (const char* name : kNames) {
        const TextEncoding tested = encoding(name);
        for (int pass = 0; pass < 20; ++pass) {
          const auto bytes = tested.encode("plain text\r\n");
          ASSERT_TRUE(bytes) << name;
          EXPECT_EQ(tested.decode(bytes->text()), "plain text\r\n") << name;
        }
      }
    });
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace qw
