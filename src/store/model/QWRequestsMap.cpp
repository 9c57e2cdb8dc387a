#include "store/model/QWRequestsMap.h"

#include "store/model/QWDatabaseObject.h"

namespace {

/// Bits of the hash that do not choose the slot.
std::uint32_t tagOf(std::size_t hash) { return static_cast<std::uint32_t>(hash ^ (hash >> 45)); }

}  // namespace

const qw::ObjectID& QWRequestsMap::keyOf(std::uint32_t place) const {
  if (!otherKeys_.empty())
    if (const auto other = otherKeys_.find(place); other != otherKeys_.end()) return other->second;
  return entries_[place]->ID();
}

std::vector<qw::ObjectID> QWRequestsMap::allKeys() const {
  std::vector<qw::ObjectID> keys;
  keys.reserve(count_);
  for (std::size_t i = 0; i < entries_.size(); ++i)
    if (entries_[i]) keys.push_back(keyOf(static_cast<std::uint32_t>(i)));
  return keys;
}

std::vector<QWRequestsMap::Object> QWRequestsMap::allValues() const {
  std::vector<Object> values;
  values.reserve(count_);
  forEach([&](const Object& object) { values.push_back(object); });
  return values;
}

/// The slot that holds the key, or the free one where it would go. Requires slots.
std::size_t QWRequestsMap::slotOf(const qw::ObjectID& key, std::size_t hash) const {
  const std::uint32_t tag = tagOf(hash);
  const auto isKey = [&](const Slot& slot) {
    return slot.tag == tag && entries_[slot.place] && keyOf(slot.place) == key;
  };
  std::size_t slot = homeOf(hash);
  while (slots_[slot].place != kFree && !isKey(slots_[slot])) slot = nextSlot(slot);
  return slot;
}

QWDatabaseObject* QWRequestsMap::find(const qw::ObjectID& key) const {
  if (slots_.empty()) return nullptr;
  const std::uint32_t place = slots_[slotOf(key)].place;
  return place == kFree ? nullptr : entries_[place].get();
}

QWRequestsMap::Object QWRequestsMap::objectForKey(const qw::ObjectID& key) const {
  if (slots_.empty()) return nullptr;
  const std::uint32_t place = slots_[slotOf(key)].place;
  return place == kFree ? nullptr : entries_[place];
}

/// Also lets go of the places of removed objects.
void QWRequestsMap::rebuild(std::size_t capacity) {
  std::unordered_map<std::uint32_t, qw::ObjectID> otherKeys;
  std::uint32_t kept = 0;
  for (std::uint32_t place = 0; place < entries_.size(); ++place) {
    if (!entries_[place]) continue;
    if (const auto other = otherKeys_.find(place); other != otherKeys_.end()) otherKeys[kept] = other->second;
    if (kept != place) entries_[kept] = std::move(entries_[place]);
    ++kept;
  }
  entries_.resize(kept);
  entries_.reserve(capacity);
  otherKeys_ = std::move(otherKeys);
  slots_.assign(slotsFor(capacity), Slot());
  for (std::uint32_t place = 0; place < kept; ++place) {
    const std::size_t hash = keyOf(place).hash();
    std::size_t slot = homeOf(hash);
    while (slots_[slot].place != kFree) slot = nextSlot(slot);
    slots_[slot] = {place, tagOf(hash)};
  }
}

void QWRequestsMap::reserve(std::size_t count) {
  if (slotsFor(count) > slots_.size()) rebuild(count);
}

/// Removed objects keep their places until a rebuild, so that probing stays right.
void QWRequestsMap::makeRoom() {
  if (slotsFor(entries_.size() + 1) > slots_.size()) rebuild(std::max<std::size_t>(8, (count_ + 1) * 2));
}

void QWRequestsMap::add(Object object, std::size_t slot, std::size_t hash) {
  slots_[slot] = {static_cast<std::uint32_t>(entries_.size()), tagOf(hash)};
  entries_.push_back(std::move(object));
  ++count_;
}

std::size_t QWRequestsMap::addObjects(std::span<const Object> objects) {
  if (objects.empty()) return 0;
  if (slotsFor(entries_.size() + objects.size()) > slots_.size()) rebuild((count_ + objects.size()) * 2);
  for (const Object& object : objects) __builtin_prefetch(&slots_[homeOf(object->ID().hash())], 1);
  for (std::size_t i = 0; i < objects.size(); ++i) {
    const std::size_t hash = objects[i]->ID().hash();
    const std::size_t slot = slotOf(objects[i]->ID(), hash);
    if (slots_[slot].place != kFree) return i;
    add(objects[i], slot, hash);
  }
  return objects.size();
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
  makeRoom();
  const std::size_t hash = key.hash();
  const std::size_t slot = slotOf(key, hash);
  const bool isNew = slots_[slot].place == kFree;
  const bool isOwnKey = object->ID() == key;
  if (isNew) add(std::move(object), slot, hash);
  const std::uint32_t place = slots_[slot].place;
  if (!isNew) entries_[place] = std::move(object);
  if (!isOwnKey)
    otherKeys_.insert_or_assign(place, key);
  else if (!otherKeys_.empty())
    otherKeys_.erase(place);
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
  if (place == kFree) return;
  if (!otherKeys_.empty()) otherKeys_.erase(place);
  const Object removed = std::exchange(entries_[place], nullptr);  // dies after the map is consistent again
  --count_;
}

void QWRequestsMap::removeAllObjects() {
  const std::vector<Object> removed = std::exchange(entries_, {});
  otherKeys_.clear();
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
