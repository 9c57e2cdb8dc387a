#include "platform/object/Object.h"

#include <cassert>
#include <list>

#include "platform/base/Log.h"
#include "platform/object/Back.h"
#include "platform/object/KeyPath.h"

namespace qw {

constinit const Class Object::kClass("Object", nullptr, {}, {}, nullptr);

namespace detail {

/// What few objects have: back links to them and observers.
struct ObjectExtras {
  struct Entry {
    std::string key;
    std::shared_ptr<Observation::State> state;  // null once removed during a delivery
    std::size_t level;                          // which component of the observer's path this is
    std::uint64_t number;
  };

  Anchor* anchor = nullptr;
  std::list<Entry> entries;
  std::uint64_t lastNumber = 0;
  unsigned deliveries = 0;
};

}  // namespace detail

/// One observer of a key path: an entry in the observer list of every object along the path, and observations
/// of what the keys on the way depend on.
struct Observation::State : std::enable_shared_from_this<Observation::State> {
  struct Level {
    std::string key;
    Back<Object> object;
    std::list<detail::ObjectExtras::Entry>::iterator entry;
    std::vector<Observation> dependencies;
  };

  Back<Object> root;
  std::string keyPath;
  Observer observer;
  std::vector<Level> levels;
  bool active = true;
  bool remembersValue = false;
  Value lastValue;

  void attach(std::size_t from) {
    Object* object = root.get();
    for (std::size_t i = 0; i < levels.size() && object; ++i) {
      if (i >= from) attachLevel(i, *object);
      if (i + 1 < levels.size()) object = object->valueForKey(levels[i].key).object().get();
    }
    if (remembersValue && root) lastValue = root->valueForKeyPath(keyPath);
  }

  void attachLevel(std::size_t i, Object& object) {
    Level& level = levels[i];
    auto& extras = object.extras();
    level.object = Back<Object>(&object);
    level.entry =
        extras.entries.insert(extras.entries.end(), {level.key, shared_from_this(), i, ++extras.lastNumber});
    object.observerAdded(level.key);
    const Property* property = object.objectClass().property(level.key);
    if (!property) return;
    for (const std::string_view dependency : property->dependsOn) {
      if (dependency.empty()) break;
      remembersValue = true;
      level.dependencies.push_back(object.observe(dependency, [weak = weak_from_this(), i](const Change&) {
        if (auto state = weak.lock()) state->pathChanged(i);
      }));
    }
  }

  void detach(std::size_t from) {
    for (std::size_t i = from; i < levels.size(); ++i) {
      Level& level = levels[i];
      level.dependencies.clear();
      Object* object = level.object.get();
      level.object = nullptr;
      if (!object) continue;
      auto& extras = object->extras();
      if (extras.deliveries)
        level.entry->state = nullptr;
      else
        extras.entries.erase(level.entry);
    }
  }

  /// The link at `level` leads elsewhere now.
  void pathChanged(std::size_t level) {
    if (!active) return;
    Value old = std::move(lastValue);
    detach(level + 1);
    attach(level + 1);
    Value now = remembersValue ? lastValue : root ? root->valueForKeyPath(keyPath) : Value();
    observer({Change::Kind::kSetting, keyPath, std::move(old), std::move(now), {}});
  }

  void deliver(std::size_t level, const Change& change) {
    if (!active) return;
    const auto keep = shared_from_this();
    if (level + 1 < levels.size()) return pathChanged(level);
    if (remembersValue && root) lastValue = root->valueForKeyPath(keyPath);
    Change own = change;
    own.keyPath = keyPath;
    observer(own);
  }
};

void Observation::reset() {
  if (!state_) return;
  state_->active = false;
  state_->detach(0);
  state_.reset();
}

Object::~Object() {
  if (!extras_) return;
  if (extras_->anchor) {
    extras_->anchor->target = nullptr;
    detail::Anchor::release(extras_->anchor);
  }
  delete extras_;
}

detail::ObjectExtras& Object::extras() const {
  if (!extras_) extras_ = new detail::ObjectExtras;
  return *extras_;
}

detail::Anchor* Object::anchor() const {
  auto& anchor = extras().anchor;
  if (!anchor) anchor = new detail::Anchor{const_cast<Object*>(this)};
  return anchor;
}

Value Object::valueForKey(std::string_view key) const {
  if (const Property* property = class_->property(key)) return property->get(*this);
  if (key == "self") return std::const_pointer_cast<Object>(shared_from_this());
  if (key == "class") return class_;
  return valueForUndefinedKey(key);
}

bool Object::setValueForKey(const Value& value, std::string_view key) {
  if (const Property* property = class_->property(key)) return property->set && property->set(*this, value);
  return setValueForUndefinedKey(value, key);
}

bool Object::setValueForUndefinedKey(const Value&, std::string_view key) {
  Log::error("{} has no property \"{}\"", class_->name(), key);
  return false;
}

Value Object::valueForKeyPath(std::string_view keyPath) const { return KeyPath(keyPath).value(*this); }

bool Object::setValueForKeyPath(const Value& value, std::string_view keyPath) {
  return KeyPath(keyPath).setValue(*this, value);
}

Observation Object::observe(std::string_view keyPath, Observer observer) {
  auto state = std::make_shared<Observation::State>();
  state->root = Back<Object>(this);
  state->keyPath = keyPath;
  state->observer = std::move(observer);
  for (const std::string& key : KeyPath::split(keyPath)) state->levels.push_back({key, {}, {}, {}});
  state->remembersValue = state->levels.size() > 1;
  state->attach(0);
  return Observation(std::move(state));
}

void Object::notifyChangeValueForKey(std::string_view key) { ChangeScope scope(*this, key); }

bool Object::isObserved() const { return extras_ && !extras_->entries.empty(); }

bool Object::isObserved(std::string_view key) const {
  if (!isObserved()) return false;
  for (const auto& entry : extras_->entries)
    if (entry.state && entry.key == key) return true;
  return false;
}

void Object::didChange(const Change& change) {
  if (!isObserved()) return;
  const auto keep = shared_from_this();
  auto& extras = *extras_;
  const std::uint64_t last = extras.lastNumber;
  ++extras.deliveries;
  ++deliveries_;
  for (auto entry = extras.entries.begin(); entry != extras.entries.end() && entry->number <= last; ++entry) {
    if (!entry->state || entry->key != change.keyPath) continue;
    const auto state = entry->state;
    state->deliver(entry->level, change);
  }
  --deliveries_;
  if (--extras.deliveries == 0) extras.entries.remove_if([](const auto& entry) { return !entry.state; });
}

std::size_t Object::hash() const { return std::hash<const void*>{}(this); }

int Object::compare(const Object& other) const {
  return this == &other ? 0 : std::less<const Object*>{}(this, &other) ? -1 : 1;
}

std::string Object::description() const { return std::string(class_->name()); }

}  // namespace qw
