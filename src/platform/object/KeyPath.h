#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

namespace qw {

/// A key path made ready: keys joined by ".", each of which remembers the property that it last meant, so
/// that reading the same path on many objects of a class costs little more than the members. "self" (or an
/// empty path) is the object itself. Used on one thread.
class QW_EXPORT KeyPath {
 public:
  /// Takes the path apart; empty keys are left out. Nothing is looked up yet.
  explicit KeyPath(std::string_view path);
  /// The keys of a path, without "self" and empty ones.
  static std::vector<std::string> split(std::string_view path);

  /// The path as it was given.
  const std::string& text() const { return text_; }
  /// The number of keys; 0 for "self".
  std::size_t length() const { return components_.size(); }
  /// Whether the path leads to the object itself.
  bool isSelf() const { return components_.empty(); }

  /// Null when a link on the way is null. A to-many hop gives an array with one value for each element;
  /// "@count" is the number of elements of the collection before it.
  Value value(const Object& object) const;
  /// The same from any value: an object, a collection (mapped), a dictionary (by key) or a class.
  Value value(const Value& start) const { return value(start, 0); }
  /// A borrowed look; `scratch` holds what cannot be borrowed and must live as long as the view.
  ValueView view(const Object& object, Value& scratch) const {
    // Most paths are one key, and most objects of a list are of one class.
    if (isSingleKey_) {
      const Component& component = components_.front();
      if (&object.objectClass() == component.lastClass && component.lastView)
        return component.lastView(object);
    }
    return viewAlong(object, scratch);
  }
  /// Sets the last key on the object that the others lead to. False when they lead to none, or when setting
  /// fails.
  bool setValue(Object& object, const Value& value) const;

 private:
  struct Component {
    std::string key;
    mutable const Class* lastClass = nullptr;
    mutable const Property* lastProperty = nullptr;
    mutable ValueView (*lastView)(const Object&) = nullptr;

    const Property* propertyIn(const Object& object) const {
      const Class* c = &object.objectClass();
      if (c != lastClass) {
        lastProperty = c->property(key);
        lastClass = c;
        lastView = lastProperty ? lastProperty->view : nullptr;
      }
      return lastProperty;
    }
    Value value(const Object& object) const {
      const Property* property = propertyIn(object);
      return property ? property->get(object) : object.valueForKey(key);
    }
  };

  Value value(const Value& start, std::size_t from) const;

  ValueView viewAlong(const Object& object, Value& scratch) const;

  std::string text_;
  std::vector<Component> components_;
  bool isSingleKey_ = false;
};

}  // namespace qw
