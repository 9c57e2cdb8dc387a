#pragma once

#include <functional>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "platform/base/Export.h"
#include "store/columns/ObjectID.h"

class QWDatabaseObject;

/// The objects of a store by their ID, in the order of registration, with requests for objects that are not
/// there yet. Open addressing over a dense list: registering and looking up take constant time. An object
/// under its own ID, as those of a store are, keeps that ID while it is registered; its key costs no memory.
class QW_EXPORT QWRequestsMap {
 public:
  /// Null for none.
  using Object = std::shared_ptr<QWDatabaseObject>;
  /// Called with the object, or with null when the wait was given up.
  using Request = std::function<void(const Object&)>;

  QWRequestsMap() = default;
  /// Copies objects and requests.
  explicit QWRequestsMap(const QWRequestsMap* other) { *this = *other; }

  /// The number of objects.
  std::size_t count() const { return count_; }
  /// In the order of registration.
  std::vector<qw::ObjectID> allKeys() const;
  /// In the order of registration.
  std::vector<Object> allValues() const;
  /// Null when there is none.
  Object objectForKey(const qw::ObjectID& key) const;
  /// As `objectForKey`, without keeping it alive.
  QWDatabaseObject* find(const qw::ObjectID& key) const;
  /// Makes room for so many objects.
  void reserve(std::size_t count);
  /// Calls `visit(const Object&)` in the order of registration; nothing may be added or removed during the
  /// calls.
  template <class Visit>
  void forEach(Visit visit) const {
    for (const Object& entry : entries_)
      if (entry) visit(entry);
  }

  /// Runs the block when an object with the key is stored; at once, with what there is, for a key that is
  /// present or empty.
  void requestObjectForKey(const qw::ObjectID& key, Request block);
  /// Whether anything is waited for.
  bool hasRequests() const { return !requests_.empty(); }
  /// Whether something waits for an object with the key.
  bool hasRequestsForKey(const qw::ObjectID& key) const { return requests_.contains(key); }
  /// Stores the object, then runs the key's requests in their order.
  void setObjectForKey(Object object, const qw::ObjectID& key);
  /// Stores objects under their own IDs until one meets an ID that another object has; answers how many it
  /// stored. For many at once: a look-up in a large table waits for memory, and these wait together. Requires
  /// that nothing is requested.
  std::size_t addObjects(std::span<const Object> objects);
  /// Forgets the object; requests for the key stay.
  void removeObjectForKey(const qw::ObjectID& key);
  /// Forgets all objects; requests stay.
  void removeAllObjects();
  /// Answers every request with null and forgets it.
  void removeAllRequests();

 private:
  static constexpr std::uint32_t kFree = 0xffffffff;
  struct Slot {
    std::uint32_t place = kFree;  // in entries_
    std::uint32_t tag = 0;        // of the key's hash, so that a collision rarely has to look at the entry
  };

  std::size_t slotOf(const qw::ObjectID& key) const { return slotOf(key, key.hash()); }
  std::size_t slotOf(const qw::ObjectID& key, std::size_t hash) const;
  /// Where the search for the hash begins.
  std::size_t homeOf(std::size_t hash) const {
    return static_cast<std::size_t>((static_cast<unsigned __int128>(hash) * slots_.size()) >> 64);
  }
  std::size_t nextSlot(std::size_t slot) const { return slot + 1 == slots_.size() ? 0 : slot + 1; }
  /// Slots for so many entries: at most two of three are taken.
  static std::size_t slotsFor(std::size_t count) { return count + count / 2 + 4; }
  const qw::ObjectID& keyOf(std::uint32_t place) const;
  void add(Object object, std::size_t slot, std::size_t hash);
  void rebuild(std::size_t capacity);
  void makeRoom();

  std::vector<Object> entries_;                                // null: removed
  std::unordered_map<std::uint32_t, qw::ObjectID> otherKeys_;  // of entries under another key than their ID
  std::vector<Slot> slots_;
  std::size_t count_ = 0;
  std::unordered_map<qw::ObjectID, std::vector<Request>> requests_;
};
