#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Value.h"

namespace qw {

class Object;
struct PropertyStorage;  // how the store keeps a property in columns: the store's own business

/// What a property is to the rest of the system: persisted ones are attributes, references, owned objects,
/// parents and children; a derived one is computed; a plain one is neither stored nor undone.
enum class PropertyKind : std::uint8_t {
  kPlain,      ///< observed, neither stored nor undone
  kAttribute,  ///< a value in columns of its object's row
  kReference,  ///< a link to an object elsewhere in the store
  kOwned,      ///< an object with a row of its own that goes with its owner
  kParent,     ///< a link to the object among whose children this one is
  kChildren,   ///< an ordered to-many relation; the other end of a parent
  kDerived     ///< computed from other properties
};

/// One row of a class's property table: everything that the system does with the property by its name goes
/// through here. A literal type, so that tables are constants; made by `property`, `derived` and the store's
/// `attribute`, `reference`, `owned`, `parent` and `children`.
struct QW_EXPORT Property {
  /// At most six keys; the first empty one ends the list.
  using Keys = std::array<std::string_view, 6>;

  /// Unique within the class and its superclasses, unless it replaces theirs.
  std::string_view key;
  /// What the property is to the rest of the system.
  PropertyKind kind = PropertyKind::kPlain;
  /// What values of the property are beside null; null when they may be of any kind.
  Value::Kind valueKind = Value::Kind::kNull;
  /// Takes the place of the superclass's row with this key.
  bool overrides = false;
  /// Identity of the member behind the property; null when there is none.
  const void* member = nullptr;
  /// Reads the property; every row has it.
  Value (*get)(const Object&) = nullptr;
  /// Reads the property without a copy. Null when it has no borrowed form.
  ValueView (*view)(const Object&) = nullptr;
  /// Sets through the public setter; false when the value has the wrong type. Null for a read-only property.
  bool (*set)(Object&, const Value&) = nullptr;
  /// Puts back a value exactly as `storedValue` gave it, as undo does. Null for a read-only property.
  bool (*restore)(Object&, const Value&) = nullptr;
  /// What `restore` takes, where `get` answers something else (a default in the place of nothing). Null:
  /// `get`.
  Value (*stored)(const Object&) = nullptr;
  /// Keys or key paths of the same object whose changes change this property; the first empty one ends the
  /// list.
  Keys dependsOn{};
  /// Key of the property's title in the table "Synchronization"; empty for "Class.key", the class being the
  /// one that lists the row.
  std::string_view localizationKey{};
  /// For an amount of money: where its object's currency is found; for a share: that it reads as a
  /// percentage.
  std::string_view currencyKeyPath{};
  /// Whether a decimal reads as a percentage where copies are compared: 0.5 as "50%".
  bool isPercentage = false;
  /// Name under which the store keeps the property; empty for its key.
  std::string_view column{};
  /// For parents and children: key of the property at the other end.
  std::string_view inverse{};
  /// How the store keeps the property; null for one that is not stored.
  const PropertyStorage* storage = nullptr;

  /// The value to hand to `restore` later.
  Value storedValue(const Object& object) const { return stored ? stored(object) : get(object); }
};

/// What a class says about itself beside its properties.
struct QW_EXPORT ClassOptions {
  /// SQL table; empty for a class that is not persisted.
  std::string_view table{};
  /// Order of commit and of synchronization: parents lower than their children. -1: after all steps with a
  /// bound.
  std::int32_t synchronizationPriority = -1;
};

/// A class as data: its name, superclass, property table and how to make an instance. Constant-initialised
/// (`define`), lives for the process, safe to read from any thread. The table is flattened over the
/// superclasses at first use.
class QW_EXPORT Class {
 public:
  /// Makes an instance, not yet initialised.
  using Factory = std::shared_ptr<Object> (*)();

  /// For `define`. Name, options and properties must live as long as the process.
  constexpr Class(std::string_view name, const Class* superclass, ClassOptions options,
                  std::span<const Property> properties, Factory factory)
      : name_(name), superclass_(superclass), options_(options), own_(properties), factory_(factory) {}
  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

  /// Unique in the process; kept by archives and by rows of shared tables.
  constexpr std::string_view name() const { return name_; }
  /// Null for `Object`.
  constexpr const Class* superclass() const { return superclass_; }
  /// The nearest table up the superclasses; empty when there is none.
  std::string_view table() const;
  /// See `ClassOptions::synchronizationPriority`; not inherited.
  constexpr std::int32_t synchronizationPriority() const { return options_.synchronizationPriority; }
  /// True for the class itself and everything below `other`.
  bool isSubclassOf(const Class& other) const;
  /// Whether there are no objects of this class itself.
  constexpr bool isAbstract() const { return !factory_; }

  /// Every property, the superclass's first. A subclass's row with a superclass's key stands in its place.
  std::span<const Property* const> properties() const { return layout().properties; }
  /// Those of the class's own table.
  constexpr std::span<const Property> ownProperties() const { return own_; }
  /// The class, this one or one above it, whose table has the row; null when none has.
  const Class* ownerOf(const Property& property) const;
  /// Null when no property has that key.
  const Property* property(std::string_view key) const;
  /// The property behind a member (`memberTag<&T::member_>()`); null when the table does not list it.
  const Property* propertyOfMember(const void* member) const;

  /// A new instance, not yet initialised; null for an abstract class.
  std::shared_ptr<Object> create() const { return factory_ ? factory_() : nullptr; }

  /// Whether `create` makes objects of exactly this C++ class. Logged when it does not.
  bool makes(const std::type_info& type) const;

  /// A place for what an upper floor works out about the class once and keeps for the process.
  std::atomic<const void*>& annotation() const { return annotation_; }

 private:
  struct Layout {
    std::vector<const Property*> properties;
    std::vector<const Property*> slots;  // open addressing by key, a power of two, at most half full
  };
  const Layout& layout() const {
    const Layout* layout = layout_.load(std::memory_order_acquire);
    return layout ? *layout : makeLayout();
  }
  const Layout& makeLayout() const;

  std::string_view name_;
  const Class* superclass_;
  ClassOptions options_;
  std::span<const Property> own_;
  Factory factory_;
  mutable std::atomic<const Layout*> layout_{nullptr};
  mutable std::atomic<const void*> annotation_{nullptr};
};

/// The classes that can be found by name: those of stored rows, archives and declarations. A class gets here
/// by being listed (a store lists its model classes), never by a static initialiser that a linker may drop.
class QW_EXPORT ClassRegistry {
 public:
  /// Adding a class again does nothing; another class under a taken name is refused, and logged.
  static void add(std::initializer_list<const Class*> classes);
  /// The same for a list that is put together at run time.
  static void add(std::span<const Class* const> classes);
  /// Null when no class of that name was added.
  static const Class* find(std::string_view name);
  /// Has the libraries above this one add their classes, once; whatever looks a class up by name calls it
  /// first.
  static void addFrameworkClasses();
};

namespace detail {
struct Members;
}

/// A public member that everybody reads and only `set` of its object writes, so that no change escapes undo,
/// saving and observers: for a property that needs no accessors of its own.
template <class T>
class QW_EXPORT Stored {
 public:
  Stored() = default;
  /// The value of a new object.
  Stored(T initial) : value_(std::move(initial)) {}
  Stored(const Stored&) = delete;
  Stored& operator=(const Stored&) = delete;

  /// The value.
  operator const T&() const { return value_; }
  const T& operator*() const { return value_; }
  /// Of a link: the target's.
  decltype(auto) operator->() const {
    if constexpr (requires { value_.operator->(); })
      return (value_);
    else
      return &value_;
  }
  /// Of a link, an optional or an owned object: whether there is one.
  explicit operator bool() const requires std::is_class_v<T> { return static_cast<bool>(value_); }
  friend bool operator==(const Stored& a, const T& b) { return a.value_ == b; }

 private:
  friend struct detail::Members;
  T value_{};
};

namespace detail {

template <auto Member>
QW_EXPORT inline constexpr char kMemberTag = 0;

template <class L>
inline constexpr auto kTable = L{}();

template <class M>
struct MemberOf;
template <class C, class T>
struct MemberOf<T C::*> {
  using Owner = C;
  using Type = T;
};
template <class C, class T>
struct MemberOf<Stored<T> C::*> {
  using Owner = C;
  using Type = T;
};

/// A value as its property sees it, whether the class holds it as a `T` or as a `Stored<T>`.
struct QW_EXPORT Members {
  template <class T>
  static T& of(T& member) {
    return member;
  }
  template <class T>
  static T& of(Stored<T>& member) {
    return member.value_;
  }
  template <class T>
  static const T& of(const Stored<T>& member) {
    return member.value_;
  }
};

template <auto Member>
using OwnerOf = typename MemberOf<decltype(Member)>::Owner;
template <auto Member>
using TypeOf = typename MemberOf<decltype(Member)>::Type;
template <auto Member>
inline constexpr bool kIsStored = !std::is_same_v<decltype(Member), TypeOf<Member> OwnerOf<Member>::*>;

template <class T>
std::shared_ptr<Object> createInstance();

template <class T>
constexpr Class::Factory factoryOf() {
  if constexpr (std::is_abstract_v<T> || !std::is_default_constructible_v<T>)
    return nullptr;
  else
    return &createInstance<T>;
}

}  // namespace detail

/// The identity of a member for `Class::propertyOfMember`.
template <auto Member>
constexpr const void* memberTag() {
  return &detail::kMemberTag<Member>;
}

/// The rows of a property table. Two rows with one key do not compile.
template <class... Rows>
constexpr std::array<Property, sizeof...(Rows)> properties(Rows... rows) {
  std::array<Property, sizeof...(Rows)> table{rows...};
  for (std::size_t i = 0; i < table.size(); ++i)
    for (std::size_t k = 0; k < i; ++k)
      if (table[i].key == table[k].key) throw "two properties with the same key";
  return table;
}

/// A row that deliberately takes the place of a superclass's row with the same key.
constexpr Property overriding(Property row) {
  row.overrides = true;
  return row;
}

/// A class description. `table` is a capture-less lambda written in the initialiser of the static member
/// `kClass`, where it may name private members:
///
///     constinit const qw::Class Person::kClass = qw::define<Person, qw::Object>("Person", {}, [] {
///       return qw::properties(qw::property<&Person::name_, &Person::setName>("name"),
///                             qw::property<&Person::city_, &Person::setCity>("city"),
///                             qw::property<&Person::boss_>("boss"), qw::property<&Person::friends_>("friends"),
///                             qw::derived<&Person::label>("label", {"name", "city"}));
///     });
template <class T, class Base, class L>
constexpr Class define(std::string_view name, ClassOptions options, L) {
  return Class(name, &Base::kClass, options, detail::kTable<L>, detail::factoryOf<T>());
}

}  // namespace qw
