#include "store/model/QWRequestsMap.h"

#include <bit>

#include "store/model/QWDatabaseObject.h"

namespace {

/// Bits of the hash that do not choose the slot.
std::uint32_t tagOf(std::size_t hash) { return static_cast<std::uint32_t>(hash ^ (hash >> 45)); }

}  // namespace

std::vector<qw::ObjectID> QWRequestsMap::allKeys() const {
  std::vector<qw::ObjectID> keys;
  keys.reserve(count_);
  for (const Entry& entry : entries_)
    if (entry.object) keys.push_back(entry.key);
  return keys;
}

std::vector<QWRequestsMap::Object> QWRequestsMap::allValues() const {
  std::vector<Object> values;
  values.reserve(count_);
  forEach([&](const Object& object) { values.push_back(object); });
  return values;
}

/// The slot that holds the key, or the free one where it would go. Requires slots.
std::size_t QWRequestsMap::slotOf(const qw::ObjectID& key) const {
  const std::size_t mask = slots_.size() - 1;
  const std::size_t hash = key.hash();
  const std::uint32_t tag = tagOf(hash);
  std::size_t slot = (hash >> 16) & mask;
  while (slots_[slot].place != kFree && !(slots_[slot].tag == tag && entries_[slots_[slot].place].key == key))
    slot = (slot + 1) & mask;
  return slot;
}

QWDatabaseObject* QWRequestsMap::find(const qw::ObjectID& key) const {
  if (slots_.empty()) return nullptr;
  const std::uint32_t place = slots_[slotOf(key)].place;
  return place == kFree ? nullptr : entries_[place].object.get();
}

QWRequestsMap::Object QWRequestsMap::objectForKey(const qw::ObjectID& key) const {
  if (slots_.empty()) return nullptr;
  const std::uint32_t place = slots_[slotOf(key)].place;
  return place == kFree ? nullptr : entries_[place].object;
}

void QWRequestsMap::rebuild(std::size_t capacity) {
  std::erase_if(entries_, [](const Entry& entry) { return !entry.object; });
  entries_.reserve(capacity);
  slots_.assign(std::bit_ceil(capacity * 2), Slot());
  for (std::size_t i = 0; i < entries_.size(); ++i)
    slots_[slotOf(entries_[i].key)] = {static_cast<std::uint32_t>(i), tagOf(entries_[i].key.hash())};
}

void QWRequestsMap::reserve(std::size_t count) {
  if (count * 2 > slots_.size()) rebuild(count);
}

void QWRequestsMap::requestObjectForKey(const qw::ObjectID& key, Request block) {
  if (!block) return;
  Object present = objectForKey(key);
  if (key.empty() || present)
    block(present);
  else
    requests_[key].push_back(std::move(block));
}

void QWRequestsMap::setObjectForKey(Object object, const qw::ObjectID& key) {
  // Removed entries keep their place until a rebuild, so that probing stays right.
  if ((entries_.size() + 1) * 2 > slots_.size()) rebuild(std::max<std::size_t>(8, (count_ + 1) * 2));
  Slot& slot = slots_[slotOf(key)];
  if (slot.place == kFree) {
    slot = {static_cast<std::uint32_t>(entries_.size()), tagOf(key.hash())};
    entries_.push_back({key, std::move(object)});
    ++count_;
  } else {
    Entry& entry = entries_[slot.place];
    if (!entry.object) ++count_;
    entry.object = std::move(object);
  }
  if (requests_.empty()) return;
  const auto waiting = requests_.find(key);
  if (waiting == requests_.end()) return;
  const std::vector<Request> blocks = std::move(waiting->second);
  requests_.erase(waiting);
  const Object stored = objectForKey(key);
  for (const Request& block : blocks) block(stored);
}

void QWRequestsMap::removeObjectForKey(const qw::ObjectID& key) {
  if (slots_.empty()) return;
  const std::uint32_t place = slots_[slotOf(key)].place;
  if (place == kFree || !entries_[place].object) return;
  const Object removed =
      std::exchange(entries_[place].object, nullptr);  // dies after the map is consistent again
  --count_;
}

void QWRequestsMap::removeAllObjects() {
  const std::vector<Entry> removed = std::exchange(entries_, {});
  slots_.clear();
  count_ = 0;
}

void QWRequestsMap::removeAllRequests() {
  while (!requests_.empty()) {
    const auto requests = std::exchange(requests_, {});
    for (const auto& [key, blocks] : requests)
      for (const Request& block : blocks) block(nullptr);
  }
}
