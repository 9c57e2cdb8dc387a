#include "platform/files/KeyedArchiver.h"

#include <cassert>

#include "platform/files/internal/KeyedArchiveLayout.h"

namespace qw {

std::optional<Data> KeyedArchiver::archivedData(const Value& root, Error* error) {
  KeyedArchiver archiver;
  archiver.encodeObject(root, kRootKey);
  return archiver.finish(error);
}

KeyedArchiver::KeyedArchiver() { objects_.push_back({.node = list_.addText(keyed::kNull)}); }

void KeyedArchiver::encodeBool(bool value, std::string_view key) { encode(list_.addBoolean(value), key); }
void KeyedArchiver::encodeInt(std::int32_t value, std::string_view key) {
  encode(list_.addInteger(value), key);
}
void KeyedArchiver::encodeInt64(std::int64_t value, std::string_view key) {
  encode(list_.addInteger(value), key);
}
void KeyedArchiver::encodeDouble(double value, std::string_view key) { encode(list_.addReal(value), key); }
void KeyedArchiver::encodeBytes(std::span<const std::uint8_t> bytes, std::string_view key) {
  encode(list_.addData(bytes), key);
}

void KeyedArchiver::encodeObject(const Value& value, std::string_view key) {
  encode(reference(uidOf(value)), key);
}

void KeyedArchiver::encodeConditionalObject(const std::shared_ptr<const Object>& object,
                                            std::string_view key) {
  if (object) conditionals_.push_back({entries_.size(), object});
  encode(reference(0), key);
}

void KeyedArchiver::encode(Index value, std::string_view key) {
  const Index name = list_.addText(keyed::needsEscape(key) ? keyed::escaped(key) : key);
  entries_.push_back({name, value});
}

void KeyedArchiver::encodeElements(const Array& elements, std::string_view key) {
  std::vector<Index> nodes;
  nodes.reserve(elements.size());
  for (const Value& element : elements) {
    nodes.push_back(reference(element.isNull() ? uidOfNullElement() : uidOf(element)));
  }
  encode(list_.addArray(nodes), key);
}

KeyedArchiver::UID KeyedArchiver::uidOf(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::kNull:
      return 0;
    case Value::Kind::kBool:
      return uidOfScalar(list_.addBoolean(value.boolValue()));
    case Value::Kind::kInt:
      return uidOfScalar(list_.addInteger(value.int64Value()));
    case Value::Kind::kDouble:
      return uidOfScalar(list_.addReal(value.doubleValue()));
    case Value::Kind::kText:
      return uidOfScalar(list_.addText(*value.text()));
    case Value::Kind::kData:
      return uidOfScalar(list_.addData(value.data()->bytes()));
    case Value::Kind::kObject:
      return uidOfRecord(value.object().get(), value);
    case Value::Kind::kArray:
      return uidOfRecord(value.array(), value);
    case Value::Kind::kSet:
      return uidOfRecord(value.set(), value);
    case Value::Kind::kDictionary:
      return uidOfRecord(value.dictionary(), value);
    case Value::Kind::kExtension:
      return uidOfRecord(value.extension().get(), value);
    default:
      return uidOfRecord(nullptr, value);
  }
}

KeyedArchiver::Index KeyedArchiver::reference(UID uid) {
  if (uid >= references_.size()) references_.resize(objects_.size(), 0);
  if (references_[uid] == 0) references_[uid] = list_.addUID(uid);
  return references_[uid];
}

KeyedArchiver::UID KeyedArchiver::uidOfScalar(Index node) {
  if (node >= scalars_.size()) scalars_.resize(list_.size(), 0);
  if (scalars_[node] == 0) {
    scalars_[node] = static_cast<UID>(objects_.size());
    objects_.push_back({.node = node});
  }
  return scalars_[node];
}

/// A record is only noted here and encoded when its turn comes in `finish`.
KeyedArchiver::UID KeyedArchiver::uidOfRecord(const void* address, const Value& value) {
  const auto uid = static_cast<UID>(objects_.size());
  if (address) {
    const auto [entry, isNew] = records_.try_emplace(address, uid);
    if (!isNew) return entry->second;
  }
  objects_.push_back({.value = value});
  return uid;
}

/// Containers of the layout hold no null; an object that says so stands in its place.
KeyedArchiver::UID KeyedArchiver::uidOfNullElement() {
  if (nullElement_ == 0) {
    nullElement_ = static_cast<UID>(objects_.size());
    objects_.emplace_back();
    const UID classUID = uidOfClass(keyed::kNullClass, nullptr);
    objects_[nullElement_].classUID = classUID;
  }
  return nullElement_;
}

KeyedArchiver::UID KeyedArchiver::uidOfClass(std::string_view name, const Class* c) {
  const auto [entry, isNew] = classes_.try_emplace(name, static_cast<UID>(objects_.size()));
  if (!isNew) return entry->second;
  std::vector<Index> names{list_.addText(name)};
  for (c = c ? c->superclass() : nullptr; c; c = c->superclass()) names.push_back(list_.addText(c->name()));
  const Index keys[] = {list_.addText(keyed::kClassNameKey), list_.addText(keyed::kClassesKey)};
  const Index values[] = {names.front(), list_.addArray(names)};
  objects_.push_back({.node = list_.addDictionary(keys, values)});
  return entry->second;
}

/// Encodes what a record holds and answers the name of its class, empty when it has no archived form.
std::string_view KeyedArchiver::encodeContent(const Value& value) {
  switch (value.kind()) {
    case Value::Kind::kObject:
      value.object()->encodeWithCoder(*this);
      return value.object()->objectClass().name();
    case Value::Kind::kArray:
      encodeElements(*value.array(), keyed::kElementsKey);
      return keyed::kArrayClass;
    case Value::Kind::kSet:
      encodeElements(value.set()->elements(), keyed::kElementsKey);
      return keyed::kSetClass;
    case Value::Kind::kDictionary: {
      Array keys, values;
      for (const auto& [key, element] : *value.dictionary()) {
        keys.emplace_back(key);
        values.push_back(element);
      }
      encodeElements(keys, keyed::kKeysKey);
      encodeElements(values, keyed::kElementsKey);
      return keyed::kDictionaryClass;
    }
    case Value::Kind::kDate:
      encodeDouble(PropertyList::secondsSince2001(*value.date()), keyed::kTimeKey);
      return keyed::kDateClass;
    case Value::Kind::kDecimal:
      encodeObject(value.decimalValue()->text(), keyed::kValueKey);
      return keyed::kDecimalClass;
    case Value::Kind::kColor: {
      const Color& color = *value.color();
      encodeElements({color.red, color.green, color.blue, color.alpha}, keyed::kValueKey);
      return keyed::kColorClass;
    }
    case Value::Kind::kImage:
      encodeBytes(value.image()->png().bytes(), keyed::kValueKey);
      encodeDouble(value.image()->scale(), keyed::kScaleKey);
      return keyed::kImageClass;
    case Value::Kind::kClass:
      encodeObject(value.classValue()->name(), keyed::kValueKey);
      return keyed::kClassClass;
    case Value::Kind::kExtension:
      value.extension()->encodeWithCoder(*this);
      return value.extension()->archiveClassName();
    default:
      return {};
  }
}

std::optional<Data> KeyedArchiver::finish(Error* error) {
  assert(topEnd_ == 0 && "an archiver is finished once");
  topEnd_ = entries_.size();
  // Encoding appends to the objects, so they are counted anew each time.
  for (UID uid = 1; uid < objects_.size(); ++uid) {
    const Value value = objects_[uid].value;
    if (value.isNull()) continue;
    const std::size_t first = entries_.size();
    const std::string_view className = encodeContent(value);
    if (className.empty()) {
      Error::set(error, keyed::kErrorDomain, keyed::kUnrepresentable,
                 "A value cannot be archived: " + value.description());
      return std::nullopt;
    }
    const UID classUID = uidOfClass(className, value.object() ? &value.object()->objectClass() : nullptr);
    objects_[uid].classUID = classUID;
    objects_[uid].firstEntry = first;
    objects_[uid].lastEntry = entries_.size();
  }
  for (const Conditional& conditional : conditionals_) {
    const auto found = records_.find(conditional.object.get());
    if (found != records_.end()) entries_[conditional.entry].value = reference(found->second);
  }
  if (isTooDeep()) {
    Error::set(error, keyed::kErrorDomain, keyed::kTooLarge,
               "The objects lead to each other in too long a chain.");
    return std::nullopt;
  }
  return write(error);
}

/// Walks the objects depth first in the order of their keys, as decoding does.
bool KeyedArchiver::isTooDeep() const {
  struct Visit {
    std::size_t entry;
    std::size_t lastEntry;
    std::size_t element = 0;
  };
  std::vector<bool> visited(objects_.size());
  std::vector<Visit> path{{0, topEnd_}};
  while (!path.empty()) {
    Visit& visit = path.back();
    if (visit.entry == visit.lastEntry) {
      path.pop_back();
      continue;
    }
    const Index value = entries_[visit.entry].value;
    Index target = value;
    if (list_.type(value) == PropertyList::Type::kArray) {
      const std::span<const Index> elements = list_.elements(value);
      if (visit.element < elements.size()) target = elements[visit.element];
      if (++visit.element >= elements.size()) {
        ++visit.entry;
        visit.element = 0;
      }
    } else {
      ++visit.entry;
    }
    if (list_.type(target) != PropertyList::Type::kUID) continue;
    const UID uid = static_cast<UID>(list_.uid(target));
    const Element& object = objects_[uid];
    if (visited[uid] || object.firstEntry == object.lastEntry) continue;
    visited[uid] = true;
    if (path.size() > keyed::kDepth) return true;
    path.push_back({object.firstEntry, object.lastEntry});
  }
  return false;
}

std::optional<Data> KeyedArchiver::write(Error* error) {
  std::vector<Index> keys, values;
  const auto add = [&](Index key, Index value) {
    keys.push_back(key);
    values.push_back(value);
  };
  const auto addEntries = [&](std::size_t first, std::size_t last) {
    keys.clear();
    values.clear();
    for (std::size_t i = first; i < last; ++i) add(entries_[i].key, entries_[i].value);
  };
  const Index classKey = list_.addText(keyed::kClassKey);
  std::vector<Index> nodes;
  nodes.reserve(objects_.size());
  for (const Element& object : objects_) {
    if (object.classUID == 0) {
      nodes.push_back(object.node);
      continue;
    }
    addEntries(object.firstEntry, object.lastEntry);
    add(classKey, reference(object.classUID));
    nodes.push_back(list_.addDictionary(keys, values));
  }
  addEntries(0, topEnd_);
  const Index top = list_.addDictionary(keys, values);
  addEntries(0, 0);
  add(list_.addText(keyed::kVersionKey), list_.addInteger(keyed::kVersion));
  add(list_.addText(keyed::kArchiverKey), list_.addText(keyed::kArchiver));
  add(list_.addText(keyed::kTopKey), top);
  add(list_.addText(keyed::kObjectsKey), list_.addArray(nodes));
  list_.setRoot(list_.addDictionary(keys, values));
  return list_.write(error);
}

}  // namespace qw
