#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include "platform/base/Export.h"
#include "platform/base/IndexSet.h"
#include "platform/object/Class.h"
#include "platform/object/Value.h"

namespace qw {

class KeyedArchiver;
class KeyedUnarchiver;

namespace detail {
struct ObjectExtras;
struct Anchor;
}  // namespace detail

/// What happened to a property. For a plain set both values are whole; for the other kinds `indexes` says
/// where in the ordered relation, `oldValue` holds the removed and `newValue` the inserted elements.
struct QW_EXPORT Change {
  /// A plain set, or what happened to an ordered to-many relation.
  enum class Kind : std::uint8_t { kSetting, kInsertion, kRemoval, kReplacement };

  /// What happened.
  Kind kind = Kind::kSetting;
  /// The key or key path as the observer gave it.
  std::string_view keyPath;
  /// What was there; the removed elements for a removal or replacement.
  Value oldValue;
  /// What is there now; the inserted elements for an insertion or replacement.
  Value newValue;
  /// Where, for the other kinds than a set.
  IndexSet indexes;
};

/// Keeps an observer in place; destroying it (or `reset`) removes the observer, which is then not called
/// again, even when this happens while the same change is being delivered. May outlive the observed object.
class [[nodiscard]] QW_EXPORT Observation {
 public:
  struct State;

  Observation() = default;
  /// For `Object::observe`.
  explicit Observation(std::shared_ptr<State> state) : state_(std::move(state)) {}
  Observation(Observation&&) = default;
  Observation& operator=(Observation&& other) noexcept {
    if (this != &other) {
      reset();
      state_ = std::move(other.state_);
    }
    return *this;
  }
  ~Observation() { reset(); }
  /// Removes the observer now. Nothing happens when there is none.
  void reset();

 private:
  std::shared_ptr<State> state_;
};

/// Called after a change, on the object's thread.
using Observer = std::function<void(const Change&)>;

/// Base of everything that answers by key: key-value coding on the class's property table, key-value
/// observation, and hooks for equality, text and archiving. Owned by `std::shared_ptr`, made by `make<T>()`
/// or `Class::create`; belongs to the thread of its document (normally the main thread).
class QW_EXPORT Object : public std::enable_shared_from_this<Object> {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  /// The class's description; every class of objects has one of its own.
  static const Class kClass;
  /// The class that the object was made of.
  const Class& objectClass() const { return *class_; }
  /// Whether the object's class is `c` or one below it.
  bool isKindOf(const Class& c) const { return class_->isSubclassOf(c); }
  /// This object, kept alive, as a `T`. Requires: it is one.
  template <class T>
  std::shared_ptr<T> sharedAs() {
    return std::static_pointer_cast<T>(shared_from_this());
  }

  /// The value of a property. "self" is the object, "class" its class; an unknown key goes to
  /// `valueForUndefinedKey`.
  Value valueForKey(std::string_view key) const;
  /// Sets through the property's public setter. False when there is no such property, it is read-only, or the
  /// value has the wrong type; nothing is changed then. A key that the class does not know is logged.
  [[nodiscard]] bool setValueForKey(const Value& value, std::string_view key);
  /// Keys joined by "."; after a to-many hop the result is an array with one value for each element.
  Value valueForKeyPath(std::string_view keyPath) const;
  /// Sets the last key on the object that the others lead to; false when they lead to none.
  [[nodiscard]] bool setValueForKeyPath(const Value& value, std::string_view keyPath);

  /// Observes a key or key path. Links along the path are followed: when one changes, the rest is observed on
  /// its new target and the observer hears a plain set of the whole path. Observers may remove themselves or
  /// others while they are called; one that is added meanwhile waits for the next change. Changes inside the
  /// elements of a to-many relation are not followed.
  Observation observe(std::string_view keyPath, Observer observer);
  /// Notifies the observers of a key, with its present value as the old and the new one.
  void notifyChangeValueForKey(std::string_view key);

  /// Whether both mean the same; by identity unless a class says otherwise.
  virtual bool isEqual(const Object& other) const { return this == &other; }
  /// Equal objects have equal hashes.
  virtual std::size_t hash() const;
  /// Negative, 0 or positive; by address where a class has no order of its own.
  virtual int compare(const Object& other) const;
  /// A text for people and logs.
  virtual std::string description() const;

  /// Writes the object's keys into an archive. A subclass calls its base first.
  virtual void encodeWithCoder(KeyedArchiver&) const {}
  /// Reads the object's keys from an archive, some of which may be missing. A subclass calls its base first.
  virtual void initWithCoder(KeyedUnarchiver&) {}
  /// What stands for this freshly decoded object; a registered singleton answers itself instead.
  virtual std::shared_ptr<Object> replacementAfterDecoding() { return shared_from_this(); }

 protected:
  /// Stores a changed value and tells its observers. False when the value was equal.
  template <auto Member, class V>
  bool assign(V&& value);

  /// The value of a key that is no property; null unless a class answers some.
  virtual Value valueForUndefinedKey(std::string_view) const { return {}; }
  /// False, and a message in the log, where a subclass does not know the key either.
  virtual bool setValueForUndefinedKey(const Value& value, std::string_view key);
  /// A key of this object is observed from now on: for values that change without anybody setting them.
  virtual void observerAdded(std::string_view) {}

 public:
  /// Whether some key of this object is observed; nothing has to be prepared for observers otherwise.
  bool isObserved() const;
  /// Whether this key is observed, be it as a part of a path.
  bool isObserved(std::string_view key) const;
  /// Delivers a change that was just made. `change.keyPath` is the key.
  void didChange(const Change& change);
  /// Whether this thread is in an observer's call.
  static bool isDelivering() { return deliveries_ > 0; }

 private:
  template <class T>
  friend std::shared_ptr<T> make();
  template <class T>
  friend class Back;
  friend struct Observation::State;

  detail::Anchor* anchor() const;
  detail::ObjectExtras& extras() const;

  const Class* class_ = &kClass;
  mutable detail::ObjectExtras* extras_ = nullptr;
  static inline thread_local int deliveries_ = 0;
};

/// A new object of class `T`, which has a static member `kClass`.
template <class T>
std::shared_ptr<T> make() {
  auto object = std::make_shared<T>();
  static_cast<Object&>(*object).class_ = &T::kClass;
  return object;
}

/// Whether `T::kClass` makes objects of class `T`; if not, `T` lacks a `kClass` of its own, which is logged.
template <class T>
bool checkClass() {
  static const bool isRight = T::kClass.makes(typeid(T));
  return isRight;
}

namespace detail {

template <class T>
std::shared_ptr<Object> createInstance() {
  return make<T>();
}

}  // namespace detail

/// Around a change that is not a plain assignment: takes the old value when the key is observed and delivers
/// the notice at its end.
class QW_EXPORT ChangeScope {
 public:
  /// Before the change; the key need not be a property.
  ChangeScope(Object& object, std::string_view key)
      : object_(object), key_(key), observed_(object.isObserved(key)) {
    if (observed_) old_ = object.valueForKey(key);
  }
  ~ChangeScope() {
    if (observed_)
      object_.didChange({Change::Kind::kSetting, key_, std::move(old_), object_.valueForKey(key_), {}});
  }
  ChangeScope(const ChangeScope&) = delete;
  ChangeScope& operator=(const ChangeScope&) = delete;

 private:
  Object& object_;
  std::string_view key_;
  bool observed_;
  Value old_;
};

template <auto Member, class V>
bool Object::assign(V&& value) {
  auto& member = detail::Members::of(static_cast<detail::OwnerOf<Member>&>(*this).*Member);
  if (member == value) return false;
  if (!isObserved()) {
    member = std::forward<V>(value);
    return true;
  }
  const Property* property = class_->propertyOfMember(memberTag<Member>());
  ChangeScope scope(*this, property ? property->key : std::string_view());
  member = std::forward<V>(value);
  return true;
}

}  // namespace qw
