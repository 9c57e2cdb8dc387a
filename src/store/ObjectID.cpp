#include "store/ObjectID.h"

#include <mutex>
#include <unordered_set>

namespace qw {

ObjectID ObjectID::interned(std::string_view text) {
  if (text.empty()) return {};
  static std::mutex mutex;
  static std::unordered_set<std::string> texts;  // its nodes never move
  std::lock_guard lock(mutex);
  ObjectID id;
  id.uuid_.low = reinterpret_cast<std::uintptr_t>(&*texts.emplace(text).first);
  return id;
}

std::string ObjectID::text() const {
  if (empty()) return {};
  return isUUID() ? uuid_.text()
                  : *reinterpret_cast<const std::string*>(static_cast<std::uintptr_t>(uuid_.low));
}

}  // namespace qw
