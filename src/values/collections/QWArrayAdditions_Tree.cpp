#include <bit>
#include <cstdint>
#include <unordered_set>
#include <utility>

#include "values/collections/QWArrayAdditions.h"
#include "values/collections/internal/TreeWalker.h"
#include "values/text/QWStringAdditions.h"

namespace QWArrayAdditions {
namespace {

/// An array in which each element occurs once: an open-addressing table of hashes and positions beside it,
/// because a set of values would hold each of them twice more.
class UniqueElements {
 public:
  void append(qw::Value element) {
    if (2 * array_.size() >= slots_.size()) grow();
    const std::uint32_t hash = spread(element.hash());
    std::size_t i = home(hash);
    for (; slots_[i].position; i = next(i)) {
      if (slots_[i].hash == hash && array_[slots_[i].position - 1] == element) return;
    }
    array_.push_back(std::move(element));
    slots_[i] = {hash, static_cast<std::uint32_t>(array_.size())};
  }

  qw::Array take() { return std::move(array_); }

 private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t position;  // plus one; 0 in an empty slot
  };
  static constexpr int kBlockBits = 6;
  static constexpr std::size_t kBlock = std::size_t{1} << kBlockBits;

  /// Most hashes are addresses of objects made one after the other. Those of neighbours differ only in the
  /// place within a block of slots, which is in the cache then, while blocks are scattered.
  static std::uint32_t spread(std::uint64_t hash) {
    const std::uint64_t block = ((hash >> 10) * 0x9E3779B97F4A7C15u) >> (32 + kBlockBits);
    return static_cast<std::uint32_t>(block << kBlockBits | (hash >> 4 & (kBlock - 1)));
  }
  std::size_t home(std::uint32_t hash) const {
    return std::size_t{hash} >> kBlockBits >> shift_ << kBlockBits | (hash & (kBlock - 1));
  }
  std::size_t next(std::size_t i) const { return (i + 1) & (slots_.size() - 1); }

  void grow() {
    const std::vector<Slot> old =
        std::exchange(slots_, std::vector<Slot>(std::max(kBlock, 2 * slots_.size())));
    shift_ = 32 - std::countr_zero(slots_.size());
    for (const Slot& slot : old) {
      if (!slot.position) continue;
      std::size_t i = home(slot.hash);
      while (slots_[i].position) i = next(i);
      slots_[i] = slot;
    }
  }

  qw::Array array_;
  std::vector<Slot> slots_;
  int shift_ = 0;
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
  const auto enter = [&](qw::Value element, bool isGroup) {
    const void* const group = isGroup ? identity(element) : nullptr;
    if (isGroup) groups.push_back(element);
    if (!isGroup || includingGroups) elements.append(std::move(element));
    return isGroup && (!group || entered.insert(group).second);
  };
  qw::TreeWalker(childrenKeyPath, leafKeyPath).walk(array, enter, [] {});
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
  const auto enter = [&](qw::Value element, bool isGroup) {
    const qw::Value value = path.value(element);
    if (!value.text()) return false;
    std::string key = *value.text();
    if (!groups.empty()) {
      key = groups.back().path + " : " + stringByStandardizingObjectPathComponents(key);
    }
    const void* const group = isGroup ? identity(element) : nullptr;
    const bool enters = isGroup && (!group || entered.insert(group).second);
    if (enters) groups.push_back({stringByStandardizingObjectPathComponents(key), group});
    map.insert_or_assign(std::move(key), std::move(element));
    return enters;
  };
  const auto leave = [&] {
    entered.erase(groups.back().identity);
    groups.pop_back();
  };
  qw::TreeWalker(childrenKeyPath, leafKeyPath).walk(array, enter, leave);
  return map;
}

}  // namespace QWArrayAdditions
