#include "platform/object/Class.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <shared_mutex>

#include "platform/base/Log.h"
#include "platform/object/Property.h"

// The list of the upper library's classes, where the program is linked with it. Its build has every program
// ask for this symbol, so that it is there although nothing below may name it.
extern "C" [[gnu::weak]] void qw_addFrameworkClasses();

namespace qw {

namespace {

std::size_t hashOfKey(std::string_view key) {
  std::size_t hash = 0xcbf29ce484222325ULL;
  for (const char c : key) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3ULL;
  return hash ^ (hash >> 29);
}

struct Registered {
  std::shared_mutex mutex;
  std::map<std::string_view, const Class*> classes;
};

Registered& registered() {
  static Registered instance;
  return instance;
}

}  // namespace

std::string_view Class::table() const {
  for (const Class* c = this; c; c = c->superclass_)
    if (!c->options_.table.empty()) return c->options_.table;
  return {};
}

bool Class::isSubclassOf(const Class& other) const {
  for (const Class* c = this; c; c = c->superclass_)
    if (c == &other) return true;
  return false;
}

const Property* Class::property(std::string_view key) const {
  const Layout& table = layout();
  const std::size_t mask = table.slots.size() - 1;
  for (std::size_t slot = hashOfKey(key) & mask; table.slots[slot]; slot = (slot + 1) & mask)
    if (table.slots[slot]->key == key) return table.slots[slot];
  return nullptr;
}

bool Class::makes(const std::type_info& type) const {
  const auto instance = create();
  const Object* object = instance.get();
  if (object && typeid(*object) == type) return true;
  Log::error("A subclass of {} lacks a kClass of its own: its objects would be saved as {}", name_, name_);
  return false;
}

const Class* Class::ownerOf(const Property& property) const {
  for (const Class* c = this; c; c = c->superclass_)
    if (std::any_of(c->own_.begin(), c->own_.end(), [&](const Property& own) { return &own == &property; }))
      return c;
  return nullptr;
}

const Property* Class::propertyOfMember(const void* member) const {
  for (const Property* property : properties())
    if (property->member == member) return property;
  return nullptr;
}

const Class::Layout& Class::makeLayout() const {
  auto layout = std::make_unique<Layout>();
  if (superclass_) layout->properties = superclass_->layout().properties;
  for (const Property& property : own_) {
    auto same = std::find_if(layout->properties.begin(), layout->properties.end(),
                             [&](const Property* other) { return other->key == property.key; });
    if (same != layout->properties.end())
      *same = &property;
    else
      layout->properties.push_back(&property);
  }
  std::size_t size = 4;
  while (size < layout->properties.size() * 2) size *= 2;
  layout->slots.resize(size);
  for (const Property* property : layout->properties) {
    std::size_t slot = hashOfKey(property->key) & (size - 1);
    while (layout->slots[slot]) slot = (slot + 1) & (size - 1);
    layout->slots[slot] = property;
  }
  // Two threads may both get here; the first one's table stays, for the process.
  const Layout* expected = nullptr;
  if (layout_.compare_exchange_strong(expected, layout.get(), std::memory_order_acq_rel))
    return *layout.release();
  return *expected;
}

const Property& detail::rowOfMember(const Class& c, const void* member, std::string_view name) {
  static constexpr Property kUnlisted;
  if (const Property* row = c.propertyOfMember(member)) return *row;
  Log::error("The table of {} does not list {}", c.name(), name);
  return kUnlisted;
}

void ClassRegistry::add(std::initializer_list<const Class*> classes) {
  add(std::span<const Class* const>(classes.begin(), classes.size()));
}

void ClassRegistry::add(std::span<const Class* const> classes) {
  std::unique_lock lock(registered().mutex);
  for (const Class* c : classes) {
    const auto entry = registered().classes.emplace(c->name(), c).first;
    if (entry->second != c) Log::error("There are two classes called {}; the first one stays", c->name());
  }
}

void ClassRegistry::addFrameworkClasses() {
  static std::once_flag once;
  std::call_once(once, [] {
    if (qw_addFrameworkClasses) qw_addFrameworkClasses();
  });
}

const Class* ClassRegistry::find(std::string_view name) {
  addFrameworkClasses();
  std::shared_lock lock(registered().mutex);
  const auto found = registered().classes.find(name);
  return found == registered().classes.end() ? nullptr : found->second;
}

}  // namespace qw
