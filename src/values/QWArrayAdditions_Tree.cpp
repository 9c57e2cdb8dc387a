#include <cstdint>
#include <unordered_set>

#include "values/QWArrayAdditions.h"
#include "values/QWStringAdditions.h"
#include "values/TreeWalker.h"

namespace QWArrayAdditions {
namespace {

/// An array in which each element occurs once: an open-addressing table of positions beside it, because a set
/// of values would hold each of them twice more.
class UniqueElements {
 public:
  void append(const qw::Value& element) {
    if (2 * array_.size() >= slots_.size()) grow();
    std::uint32_t& slot = slotFor(element);
    if (slot) return;
    array_.push_back(element);
    slot = static_cast<std::uint32_t>(array_.size());
  }

  qw::Array take() { return std::move(array_); }

 private:
  /// The slot that holds the element's position plus one, or an empty one to hold it.
  std::uint32_t& slotFor(const qw::Value& element) {
    // The multiplication spreads hashes that are addresses.
    const std::uint64_t hash = element.hash() * 0x9E3779B97F4A7C15u;
    std::size_t i = hash >> shift_;
    while (slots_[i] && !(array_[slots_[i] - 1] == element)) i = (i + 1) & (slots_.size() - 1);
    return slots_[i];
  }

  void grow() {
    --shift_;
    slots_.assign(std::size_t{1} << (64 - shift_), 0);
    for (std::size_t i = 0; i < array_.size(); ++i) slotFor(array_[i]) = static_cast<std::uint32_t>(i + 1);
  }

  qw::Array array_;
  std::vector<std::uint32_t> slots_;
  int shift_ = 60;
};

/// What tells one group from another, even from an equal one; null for what cannot be part of a cycle.
const void* identity(const qw::Value& group) {
  return group.object() ? static_cast<const void*>(group.object().get()) : group.dictionary();
}

}  // namespace

qw::Array flatArrayWithChildrenKeyPath(const qw::Array& array, std::string_view childrenKeyPath,
                                       std::string_view leafKeyPath, bool includingGroups) {
  UniqueElements elements;
  std::unordered_set<const void*> entered;
  qw::Array groups;  // keeps those alive that were made on the way, so that no address comes twice
  const auto enter = [&](const qw::Value& element, bool isGroup) {
    if (!isGroup || includingGroups) elements.append(element);
    if (!isGroup) return false;
    groups.push_back(element);
    const void* const group = identity(element);
    return !group || entered.insert(group).second;
  };
  TreeWalker(childrenKeyPath, leafKeyPath).walk(array, enter, [] {});
  return elements.take();
}

qw::Dictionary objectPathsMapWithKeyPath(const qw::Array& array, std::string_view keyPath,
                                         std::string_view childrenKeyPath, std::string_view leafKeyPath) {
  using QWStringAdditions::stringByAppendingObjectPathComponent;
  using QWStringAdditions::stringByStandardizingObjectPathComponents;
  struct Group {
    std::string path;
    const void* identity;
  };
  qw::Dictionary map;
  const qw::KeyPath path(keyPath);
  std::vector<Group> groups;  // those around the element
  std::unordered_set<const void*> entered;
  const auto enter = [&](const qw::Value& element, bool isGroup) {
    const qw::Value value = path.value(element);
    if (!value.text()) return false;
    std::string key = *value.text();
    if (!groups.empty()) {
      key = groups.back().path + " : " + stringByStandardizingObjectPathComponents(key);
    }
    const void* const group = isGroup ? identity(element) : nullptr;
    const bool enters = isGroup && (!group || entered.insert(group).second);
    if (enters) groups.push_back({stringByStandardizingObjectPathComponents(key), group});
    map.insert_or_assign(std::move(key), element);
    return enters;
  };
  const auto leave = [&] {
    entered.erase(groups.back().identity);
    groups.pop_back();
  };
  TreeWalker(childrenKeyPath, leafKeyPath).walk(array, enter, leave);
  return map;
}

}  // namespace QWArrayAdditions
