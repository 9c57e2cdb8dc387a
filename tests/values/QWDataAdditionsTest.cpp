#include <gmock/gmock.h>

#include <random>

#include "values/text/QWDataAdditions.h"

namespace {

using namespace QWDataAdditions;
using qw::Data;

Data bytes(std::initializer_list<std::uint8_t> list) { return Data(std::vector<std::uint8_t>(list)); }

Data randomBytes(std::size_t size) {
  std::mt19937 random(static_cast<unsigned>(size));
  std::vector<std::uint8_t> result(size);
  for (auto& byte : result) byte = static_cast<std::uint8_t>(random());
  return Data(std::move(result));
}

TEST(QWDataAdditions, Base64AgreesWithThePublishedVectors) {
  // RFC 4648, section 10
  const char* const vectors[][2] = {{"", ""},
                                    {"f", "Zg=="},
                                    {"fo", "Zm8="},
                                    {"foo", "Zm9v"},
                                    {"foob", "Zm9vYg=="},
                                    {"fooba", "Zm9vYmE="},
                                    {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(base64EncodedString(Data::fromText(plain)), encoded);
    EXPECT_EQ(dataFromBase64String(encoded), Data::fromText(plain));
  }
  EXPECT_EQ(base64URLEncodedString(bytes({0xFB, 0xFF})), "-_8");
  EXPECT_EQ(base64EncodedString(bytes({0xFB, 0xFF})), "+/8=");
  EXPECT_EQ(hexadecimalString(bytes({0x00, 0x0A, 0xFF})), "000aff");
}

TEST(QWDataAdditions, Base64LinesHave76Characters) {
  const std::string twoLines = base64EncodedString(randomBytes(114));
  EXPECT_EQ(twoLines.size(), 76 + 2 + 76u);
  EXPECT_EQ(twoLines.substr(76, 2), "\r\n");
  EXPECT_EQ(base64EncodedString(randomBytes(57)).size(), 76u);
  EXPECT_EQ(base64EncodedString(randomBytes(114), false).size(), 152u);
}

TEST(QWDataAdditions, RefusesWhatIsNotBase64) {
  for (const char* text : {"Zg", "Zg===", "Zm9v=", "Zg==Zg==", "Zh==", "Zm 9v", "Zm9-", "Z=g="})
    EXPECT_FALSE(dataFromBase64String(text)) << text;
  EXPECT_TRUE(dataFromBase64String("Zm\r\n9v\n"));
}

TEST(QWDataAdditions, WhatIsDeflatedInflatesAgain) {
  for (const std::size_t size : {0u, 1u, 16'383u, 16'384u, 16'385u, 1'000'000u}) {
    const auto deflated = gzipDeflate(randomBytes(size));
    ASSERT_TRUE(deflated);
    EXPECT_EQ(gzipInflate(*deflated), randomBytes(size)) << size;
  }
  const Data zeros(std::vector<std::uint8_t>(5'000'000));
  const auto deflated = gzipDeflate(zeros);
  EXPECT_LT(deflated->size(), 10'000u);
  EXPECT_EQ(deflated->bytes()[0], 0x1F);
  EXPECT_EQ(deflated->bytes()[1], 0x8B);
  EXPECT_EQ(gzipInflate(*deflated), zeros);
  EXPECT_TRUE(gzipInflate(*deflated, zeros.size()));
  EXPECT_FALSE(gzipInflate(*deflated, zeros.size() - 1));
}

TEST(QWDataAdditions, InflatesZlibStreamsAndSeveralMembers) {
  // "abc" with a zlib header.
  EXPECT_EQ(gzipInflate(bytes({0x78, 0x9C, 0x4B, 0x4C, 0x4A, 0x06, 0x00, 0x02, 0x4D, 0x01, 0x27})),
            Data::fromText("abc"));
  const std::string member(gzipDeflate(Data::fromText("abc"))->text());
  EXPECT_EQ(gzipInflate(Data::fromText(member + member)), Data::fromText("abcabc"));
  EXPECT_EQ(gzipInflate(Data::fromText(member + "rest")), Data::fromText("abc"));
  EXPECT_FALSE(gzipInflate(Data::fromText(member + member.substr(0, 8))));
}

TEST(QWDataAdditions, ADamagedStreamIsNoData) {
  const std::string good(gzipDeflate(randomBytes(3'000))->text());
  for (std::size_t size = 1; size < good.size(); ++size) {
    ASSERT_FALSE(gzipInflate(Data::fromText(good.substr(0, size)))) << "cut to " << size;
  }
  for (std::size_t position : {std::size_t{0}, good.size() / 2, good.size() - 6}) {
    std::string damaged = good;
    damaged[position] = static_cast<char>(damaged[position] ^ 1);
    EXPECT_FALSE(gzipInflate(Data::fromText(damaged))) << position;
  }
  EXPECT_FALSE(gzipInflate(Data::fromText("plain text")));
}

}  // namespace
