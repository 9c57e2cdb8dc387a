#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Property.h"

/// A dictionary that keeps the order of insertion. Values are expected to be distinct: removing a key removes
/// every value that equals the key's from `objects`. Looking up and adding at the end take constant time,
/// inserting and removing time linear in what is held. Not thread-safe.
template <class Key, class Object,
          class Hash = std::conditional_t<std::is_same_v<Key, qw::Value>, qw::ValueHash, std::hash<Key>>>
class QW_EXPORT QWOrderedMap {
 public:
  /// Adds each element under its value at the key path, in order. Elements are shared pointers to objects;
  /// one whose value cannot be a key is left out.
  static QWOrderedMap orderedMapWithArray(const std::vector<Object>& array, std::string_view keyPath) {
    QWOrderedMap map;
    for (const Object& element : array)
      if (auto key = qw::ValueTraits<Key>::fromValue(element->valueForKeyPath(keyPath)))
        map.addObject(element, std::move(*key));
    return map;
  }

  /// The number of keys.
  std::size_t count() const { return map_.size(); }
  /// The keys in order.
  const std::vector<Key>& keys() const { return keys_; }
  /// The values in order, parallel to the keys as long as they are distinct.
  const std::vector<Object>& objects() const { return objects_; }
  /// Null when the key is absent; valid until the map changes.
  const Object* objectForKey(const Key& key) const {
    const auto found = map_.find(key);
    return found == map_.end() ? nullptr : &found->second;
  }
  /// As `objectForKey`.
  const Object* operator[](const Key& key) const { return objectForKey(key); }

  /// Removes an entry with this key, then inserts at the index, which is not adjusted for that; an index
  /// beyond the end means the end.
  void insertObject(Object object, std::size_t index, Key key) {
    removeObjectForKey(key);
    insertAt(keys_, index, key);
    insertAt(objects_, index, object);
    map_.emplace(std::move(key), std::move(object));
  }
  /// At the end; a former entry with this key goes.
  void addObject(Object object, Key key) {
    const std::size_t end = keys_.size();
    insertObject(std::move(object), end, std::move(key));
  }
  /// Nothing happens when the key is absent.
  void removeObjectForKey(const Key& key) {
    const auto entry = map_.extract(key);
    if (entry.empty()) return;
    keys_.erase(std::find(keys_.begin(), keys_.end(), entry.key()));
    std::erase(objects_, entry.mapped());
  }
  /// Empties the map.
  void removeAllObjects() { *this = {}; }

 private:
  template <class T>
  static void insertAt(std::vector<T>& list, std::size_t index, const T& element) {
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(std::min(index, list.size())), element);
  }

  std::vector<Key> keys_;
  std::vector<Object> objects_;
  std::unordered_map<Key, Object, Hash> map_;
};
