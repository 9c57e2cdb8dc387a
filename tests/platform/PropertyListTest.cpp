#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "platform/files/PropertyList.h"

using qw::Data;
using qw::Date;
using qw::Error;
using qw::PropertyList;
using Index = PropertyList::Index;
using Bytes = std::vector<std::uint8_t>;

namespace {

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string_view textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

PropertyList written(const PropertyList& list) {
  Error error;
  const std::optional<Data> data = list.write(&error);
  EXPECT_TRUE(data) << error.localizedDescription;
  std::optional<PropertyList> read = PropertyList::read(data->bytes(), &error);
  EXPECT_TRUE(read) << error.localizedDescription;
  return read ? *read : PropertyList();
}

/// A file of the given objects, whose last is the root, with offsets of four bytes and references of one.
Bytes file(const std::vector<Bytes>& objects) {
  Bytes out{'b', 'p', 'l', 'i', 's', 't', '0', '0'};
  std::vector<std::size_t> offsets;
  for (const Bytes& object : objects) {
    offsets.push_back(out.size());
    out.insert(out.end(), object.begin(), object.end());
  }
  const std::size_t table = out.size();
  const auto number = [&out](std::size_t value, int width) {
    for (int i = width; i-- > 0;) out.push_back(static_cast<std::uint8_t>(i < 8 ? value >> (8 * i) : 0));
  };
  for (const std::size_t offset : offsets) number(offset, 4);
  number(0, 6);
  number(4, 1);
  number(1, 1);
  number(offsets.size(), 8);
  number(offsets.size() - 1, 8);
  number(table, 8);
  return out;
}

TEST(PropertyListTest, KeepsEveryScalar) {
  using Int64 = std::numeric_limits<std::int64_t>;
  const std::int64_t integers[] = {0,          1,          255, 256,          65535,       65536,
                                   4294967295, 4294967296, -1,  Int64::min(), Int64::max()};
  const double reals[] = {0.0, -0.0, 1.5, -1e300, std::numeric_limits<double>::infinity(), std::nan("")};
  const std::int64_t dates[] = {0, 1, -1, 978307200000000, 1700000000123456, -2208988800000001};
  const std::uint64_t uids[] = {0, 255, 256, 65536, std::numeric_limits<std::uint64_t>::max()};
  const std::string texts[] = {"",  "fourteen bytes", "exactly fifteen",     std::string(70000, 'x'),
                               "é", "日本 😀 \x7f",    std::string("a\0b", 3)};
  PropertyList list;
  std::vector<Index> all{list.addNull(), list.addBoolean(true), list.addBoolean(false)};
  for (const auto value : integers) all.push_back(list.addInteger(value));
  for (const auto value : reals) all.push_back(list.addReal(value));
  for (const auto value : dates) all.push_back(list.addDate(Date::fromMicroseconds(value)));
  for (const auto value : uids) all.push_back(list.addUID(value));
  for (const auto& value : texts) all.push_back(list.addText(value));
  for (const auto& value : texts) all.push_back(list.addData(bytesOf(value)));
  list.setRoot(list.addArray(all));

  const PropertyList read = written(list);
  ASSERT_EQ(read.type(read.root()), PropertyList::Type::kArray);
  const auto elements = read.elements(read.root());
  ASSERT_EQ(elements.size(), all.size());
  for (std::size_t i = 0; i < all.size(); ++i) ASSERT_EQ(read.type(elements[i]), list.type(all[i])) << i;
  EXPECT_TRUE(read.boolean(elements[1]));
  EXPECT_FALSE(read.boolean(elements[2]));
  std::size_t i = 3;
  for (const auto value : integers) EXPECT_EQ(read.integer(elements[i++]), value);
  for (const auto value : reals) {
    EXPECT_EQ(std::signbit(read.real(elements[i])), std::signbit(value));
    EXPECT_TRUE(read.real(elements[i]) == value || std::isnan(value));
    ++i;
  }
  for (const auto value : dates) EXPECT_EQ(read.date(elements[i++]).microseconds(), value);
  for (const auto value : uids) EXPECT_EQ(read.uid(elements[i++]), value);
  for (const auto& value : texts) EXPECT_EQ(read.text(elements[i++]), value);
  for (const auto& value : texts) EXPECT_EQ(textOf(read.bytes(elements[i++])), value);
}

TEST(PropertyListTest, SharesEqualTextsAndNumbersButNotNumbersOfDifferentTypes) {
  PropertyList list;
  EXPECT_EQ(list.addText("a"), list.addText("a"));
  EXPECT_EQ(list.addInteger(7), list.addInteger(7));
  EXPECT_NE(list.addInteger(0), list.addReal(0.0));
  EXPECT_NE(list.addReal(0.0), list.addReal(-0.0));
  EXPECT_NE(list.addInteger(1), list.addReal(1));
  EXPECT_NE(list.addText("a"), list.addData(bytesOf("a")));
  std::vector<Index> added;
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 10000; ++i) added.push_back(list.addText(fmt::format("text {}", i)));
  }
  for (std::size_t i = 0; i < 10000; ++i) ASSERT_EQ(added[i], added[i + 10000]);
}

TEST(PropertyListTest, FindsTheFirstOfEqualKeysFromAnyPlace) {
  PropertyList list;
  const Index keys[] = {list.addText("a"), list.addText("b"), list.addText("c")};
  const Index values[] = {list.addInteger(1), list.addInteger(2), list.addInteger(3)};
  const Index dictionary = list.addDictionary(keys, values);
  std::size_t hint = 0;
  for (const auto& [key, value] : {std::pair{"b", 2}, {"c", 3}, {"a", 1}, {"a", 1}, {"c", 3}}) {
    const auto found = list.find(dictionary, key, &hint);
    ASSERT_TRUE(found);
    EXPECT_EQ(list.integer(*found), value);
  }
  EXPECT_FALSE(list.find(dictionary, "d", &hint));
  EXPECT_FALSE(list.find(list.addDictionary({}, {}), "a"));
}

TEST(PropertyListTest, RefusesToWriteWhatTheFormatCannotHold) {
  Error error;
  EXPECT_FALSE(PropertyList().write(&error));
  EXPECT_EQ(error.code, PropertyList::kUnrepresentable);
  PropertyList list;
  list.setRoot(list.addText("\xC3"));
  EXPECT_FALSE(list.write(&error));
  EXPECT_EQ(error.domain, PropertyList::kErrorDomain);
}

TEST(PropertyListTest, ReadsFormsThatOtherWritersUse) {
  const auto read = [](const Bytes& object) { return PropertyList::read(file({object})).value(); };
  Bytes wide(17, 0xFF);
  wide.front() = 0x14;
  wide.back() = 0xFE;
  EXPECT_EQ(read(wide).integer(0), -2);
  EXPECT_EQ(read({0x12, 0xFF, 0xFF, 0xFF, 0xFF}).integer(0), 4294967295);
  EXPECT_EQ(read({0x22, 0x3F, 0xC0, 0, 0}).real(0), 1.5);
  EXPECT_EQ(read({0x82, 1, 0, 0}).uid(0), 65536U);
  EXPECT_EQ(read({0x5F, 0x10, 2, 'h', 'i'}).text(0), "hi");
}

TEST(PropertyListTest, AnswersDamagedObjectsWithAnError) {
  const struct {
    const char* what;
    std::vector<Bytes> objects;
  } cases[] = {
      {"unknown type", {{0x70}}},
      {"fill byte", {{0x0F}}},
      {"UID of 9 bytes", {{0x88, 0, 0, 0, 0, 0, 0, 0, 0, 1}}},
      {"integer of 32 bytes", {{0x15, 0}}},
      {"integer beyond 64 bits", {{0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0}}},
      {"integer cut off", {{0x13, 0, 0}}},
      {"real of 2 bytes", {{0x21, 0, 0}}},
      {"date of 4 bytes", {{0x32, 0, 0, 0, 0}}},
      {"date that is not a number", {{0x33, 0x7F, 0xF8, 0, 0, 0, 0, 0, 0}}},
      {"date out of range", {{0x33, 0x7F, 0xE0, 0, 0, 0, 0, 0, 0}}},
      {"text cut off", {{0x53, 'a', 'b'}}},
      {"text not ASCII", {{0x51, 0x80}}},
      {"lone surrogate", {{0x61, 0xD8, 0x00}}},
      {"huge length", {{0x4F, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}},
      {"negative length", {{0xAF, 0x13, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}},
      {"huge dictionary", {{0xDF, 0x13, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}},
      {"length is no integer", {{0x5F, 0x51, 'a'}}},
      {"reference to nothing", {{0xA1, 1}}},
      {"key is a number", {{0x10, 1}, {0xD1, 0, 0}}},
      {"array holds itself", {{0xA1, 0}}},
      {"cycle", {{0xA1, 1}, {0xC1, 2}, {0xD1, 3, 0}, {0x51, 0x6B}, {0xA2, 3, 0}}},
  };
  for (const auto& testCase : cases) {
    Error error;
    EXPECT_FALSE(PropertyList::read(file(testCase.objects), &error)) << testCase.what;
    EXPECT_EQ(error.code, PropertyList::kDamaged) << testCase.what;
    EXPECT_FALSE(error.localizedDescription.empty());
  }
}

TEST(PropertyListTest, HostileSharingAndNestingCostNoMoreThanTheirBytes) {
  // 60 arrays, each holding the previous one four times: 4^60 elements if they were expanded.
  std::vector<Bytes> doubling{{0xA0}};
  for (std::uint8_t i = 0; i < 60; ++i) doubling.push_back({0xA4, i, i, i, i});
  const auto shared = PropertyList::read(file(doubling));
  ASSERT_TRUE(shared);
  EXPECT_EQ(shared->size(), 61U);

  // Arrays nested deeper than the limit, also when a short way leads to the deep one first.
  PropertyList list;
  Index inner = list.addArray({});
  const auto nestTo = [&](std::size_t depth) {
    for (std::size_t i = 1; i < depth; ++i) inner = list.addArray({{inner}});
  };
  nestTo(512);
  list.setRoot(inner);
  EXPECT_TRUE(PropertyList::read(list.write()->bytes()));
  list.setRoot(list.addArray({{inner}}));
  Error error;
  EXPECT_FALSE(PropertyList::read(list.write()->bytes(), &error));
  EXPECT_EQ(error.code, PropertyList::kTooLarge);
  nestTo(500'000);
  list.setRoot(inner);
  EXPECT_FALSE(PropertyList::read(list.write()->bytes(), &error));
  EXPECT_EQ(error.code, PropertyList::kTooLarge);

  // Many objects at the place of one long text would multiply its bytes.
  Bytes overlapping = file({Bytes(1000, 0x51), {0x10, 1}, {0x10, 2}});
  const std::size_t table = overlapping.size() - 32 - 12;
  Bytes text{0x5F, 0x11, 0x03, 0xE0};
  std::copy(text.begin(), text.end(), overlapping.begin() + 8);
  for (std::size_t i = 0; i < 4; ++i)
    overlapping[table + 4 + i] = overlapping[table + 8 + i] = overlapping[table + i];
  EXPECT_FALSE(PropertyList::read(overlapping, &error));
  EXPECT_EQ(error.code, PropertyList::kDamaged);

  const Bytes small = file({{0x10, 1}, {0x10, 2}});
  EXPECT_FALSE(PropertyList::read(small, {.size = small.size() - 1}, &error));
  EXPECT_EQ(error.code, PropertyList::kTooLarge);
  EXPECT_FALSE(PropertyList::read(small, {.objects = 1}, &error));
  EXPECT_EQ(error.code, PropertyList::kTooLarge);
}

}  // namespace
