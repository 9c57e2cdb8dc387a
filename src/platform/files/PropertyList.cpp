#include "platform/files/PropertyList.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <functional>
#include <limits>

namespace qw {
namespace {

bool hasContent(PropertyList::Type type) {
  return type == PropertyList::Type::kText || type == PropertyList::Type::kData;
}

std::uint32_t hash(PropertyList::Type type, std::uint64_t payload, std::string_view content) {
  const std::uint64_t base = hasContent(type) ? std::hash<std::string_view>()(content) : payload;
  const std::uint64_t mixed =
      (base ^ (std::uint64_t{static_cast<std::uint8_t>(type)} << 56)) * 0x9E3779B97F4A7C15U;
  return static_cast<std::uint32_t>(mixed >> 32);
}

constexpr std::int64_t kReferenceDate = 978'307'200;  // 2001-01-01 00:00:00 UTC in seconds since 1970

}  // namespace

double PropertyList::secondsSince2001(Date date) {
  const std::int64_t whole = date.seconds();
  const std::int64_t fraction = date.microseconds() - whole * 1'000'000;
  return static_cast<double>(whole - kReferenceDate) + static_cast<double>(fraction) / 1e6;
}

std::optional<Date> PropertyList::dateFromSecondsSince2001(double seconds) {
  constexpr double kLargest = 9.2e12;  // what 64 bits of microseconds hold, less the reference date
  if (!(std::abs(seconds) < kLargest)) return std::nullopt;
  const double whole = std::floor(seconds);
  return Date::fromMicroseconds((static_cast<std::int64_t>(whole) + kReferenceDate) * 1'000'000 +
                                std::llround((seconds - whole) * 1e6));
}

std::string_view PropertyList::text(Index index) const {
  assert(type(index) == Type::kText);
  return content(nodes_[index]);
}

std::span<const std::uint8_t> PropertyList::bytes(Index index) const {
  assert(type(index) == Type::kData);
  const std::string_view content = this->content(nodes_[index]);
  return {reinterpret_cast<const std::uint8_t*>(content.data()), content.size()};
}

std::span<const PropertyList::Index> PropertyList::elements(Index index) const {
  const Node& node = nodes_[index];
  assert(node.type == Type::kArray || node.type == Type::kSet);
  return std::span(references_).subspan(node.payload, node.count);
}

std::span<const PropertyList::Index> PropertyList::keys(Index index) const {
  const Node& node = nodes_[index];
  assert(node.type == Type::kDictionary);
  return std::span(references_).subspan(node.payload, node.count);
}

std::span<const PropertyList::Index> PropertyList::values(Index index) const {
  const Node& node = nodes_[index];
  assert(node.type == Type::kDictionary);
  return std::span(references_).subspan(node.payload + node.count, node.count);
}

std::optional<PropertyList::Index> PropertyList::find(Index dictionary, std::string_view key,
                                                      std::size_t* hint) const {
  const std::span<const Index> keys = this->keys(dictionary);
  std::size_t i = hint && *hint < keys.size() ? *hint : 0;
  for (std::size_t looked = 0; looked < keys.size(); ++looked) {
    const std::size_t next = i + 1 == keys.size() ? 0 : i + 1;
    if (text(keys[i]) == key) {
      if (hint) *hint = next;
      return values(dictionary)[i];
    }
    i = next;
  }
  return std::nullopt;
}

PropertyList::Index PropertyList::addNull() { return addUnique(Type::kNull, 0); }
PropertyList::Index PropertyList::addBoolean(bool value) { return addUnique(Type::kBoolean, value); }
PropertyList::Index PropertyList::addInteger(std::int64_t value) {
  return addUnique(Type::kInteger, static_cast<std::uint64_t>(value));
}
// The bits of a number tell it apart, so that 0.0 and -0.0 stay two numbers and a NaN equals itself.
PropertyList::Index PropertyList::addReal(double value) {
  return addUnique(Type::kReal, std::bit_cast<std::uint64_t>(value));
}
PropertyList::Index PropertyList::addDate(Date value) {
  return addUnique(Type::kDate, static_cast<std::uint64_t>(value.microseconds()));
}
PropertyList::Index PropertyList::addUID(std::uint64_t value) { return add({Type::kUID, 0, value}); }
PropertyList::Index PropertyList::addData(std::span<const std::uint8_t> bytes) {
  return addUnique(Type::kData, 0, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}
PropertyList::Index PropertyList::addText(std::string_view text) { return addUnique(Type::kText, 0, text); }

PropertyList::Index PropertyList::addArray(std::span<const Index> elements) {
  return addContainer(Type::kArray, elements, {});
}

PropertyList::Index PropertyList::addSet(std::span<const Index> elements) {
  return addContainer(Type::kSet, elements, {});
}

PropertyList::Index PropertyList::addDictionary(std::span<const Index> keys, std::span<const Index> values) {
  assert(keys.size() == values.size());
  return addContainer(Type::kDictionary, keys, values);
}

PropertyList::Index PropertyList::add(const Node& node) {
  if (nodes_.size() >= std::numeric_limits<Index>::max() - 1) {
    overflowed_ = true;
    return 0;
  }
  nodes_.push_back(node);
  return static_cast<Index>(nodes_.size() - 1);
}

PropertyList::Index PropertyList::addContainer(Type type, std::span<const Index> first,
                                               std::span<const Index> second) {
  if (first.size() > std::numeric_limits<std::uint32_t>::max()) overflowed_ = true;
  const Node node{type, static_cast<std::uint32_t>(first.size()), references_.size()};
  for (const std::span<const Index> part : {first, second}) {
    for ([[maybe_unused]] const Index index : part) assert(index < nodes_.size());
    references_.insert(references_.end(), part.begin(), part.end());
  }
  return add(node);
}

PropertyList::Index PropertyList::addUnique(Type type, std::uint64_t payload, std::string_view content) {
  if (uniqueCount_ * 4 >= table_.size() * 3) growTable();
  const std::uint32_t hash = qw::hash(type, payload, content);
  std::size_t place = hash & (table_.size() - 1);
  for (; table_[place].entry != 0; place = (place + 1) & (table_.size() - 1)) {
    if (table_[place].hash != hash) continue;
    const Index index = table_[place].entry - 1;
    const Node& other = nodes_[index];
    if (other.type != type) continue;
    if (hasContent(type) ? this->content(other) == content : other.payload == payload) return index;
  }
  Node node{type, 0, payload};
  if (hasContent(type)) {
    if (content.size() > std::numeric_limits<std::uint32_t>::max()) overflowed_ = true;
    node.count = static_cast<std::uint32_t>(content.size());
    node.payload = bytes_.size();
    bytes_.append(content);
  }
  const Index index = add(node);
  table_[place] = {index + 1, hash};
  ++uniqueCount_;
  return index;
}

std::string_view PropertyList::content(const Node& node) const {
  return std::string_view(bytes_).substr(node.payload, node.count);
}

void PropertyList::growTable() {
  std::vector<Place> old(std::max<std::size_t>(64, table_.size() * 2));
  old.swap(table_);
  for (const Place& moved : old) {
    if (moved.entry == 0) continue;
    std::size_t place = moved.hash & (table_.size() - 1);
    while (table_[place].entry != 0) place = (place + 1) & (table_.size() - 1);
    table_[place] = moved;
  }
}

}  // namespace qw
