#include "store/columns/ObjectID.h"

#include <bit>
#include <mutex>
#include <unordered_set>

namespace qw {

ObjectID ObjectID::interned(std::string_view text) {
  if (text.empty()) return {};
  static std::mutex mutex;
  static std::unordered_set<std::string> texts;  // its nodes never move
  std::lock_guard lock(mutex);
  ObjectID id;
  id.uuid_.low = std::bit_cast<std::uint64_t>(&*texts.emplace(text).first);
  return id;
}

std::string ObjectID::text() const {
  if (empty()) return {};
  return isUUID() ? uuid_.text() : *std::bit_cast<const std::string*>(uuid_.low);
}

}  // namespace qw
