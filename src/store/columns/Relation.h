#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/object/Back.h"
#include "platform/object/Property.h"

class QWDatabaseObject;

namespace qw {

struct AttributeComparison;
class ChildList;
class RowBinder;
class RowReader;

/// What a relation's row in a property table knows beside its columns.
struct QW_EXPORT Relation {
  /// The class at the other end.
  const Class& (*targetClass)() = nullptr;
  /// For a reference, an owned object and a parent: the target, deleted or not.
  std::shared_ptr<QWDatabaseObject> (*target)(const QWDatabaseObject&) = nullptr;
  /// Stores the target and nothing else: no undo, no notice.
  void (*store)(QWDatabaseObject&, QWDatabaseObject* target) = nullptr;
  /// For children.
  ChildList& (*list)(QWDatabaseObject&) = nullptr;

  /// Links the object to the target, none for null: no undo, no notice.
  void setTarget(QWDatabaseObject& object, QWDatabaseObject* target) const { store(object, target); }
  /// The same.
  void setTarget(QWDatabaseObject& object, const std::shared_ptr<QWDatabaseObject>& target) const {
    store(object, target.get());
  }
  /// Links the object to none: no undo, no notice.
  void setTarget(QWDatabaseObject& object, std::nullptr_t) const { store(object, nullptr); }
};

/// How the store keeps one property.
struct QW_EXPORT PropertyStorage {
  /// Appended to the property's column name, one a column.
  std::span<const std::string_view> suffixes{};
  /// Declared SQL types, one a column.
  std::span<const std::string_view> types{};
  /// Binds the columns in order.
  void (*bind)(RowBinder&, const QWDatabaseObject&) = nullptr;
  /// For attributes; relations are resolved by the loader.
  void (*read)(const RowReader&, const int* columns, QWDatabaseObject&) = nullptr;
  /// Copies the member without undo and notices; for attributes.
  void (*copy)(QWDatabaseObject& to, const QWDatabaseObject& from) = nullptr;
  /// Null for attributes.
  const Relation* relation = nullptr;
  /// For attributes.
  const AttributeComparison* comparison = nullptr;
};

/// A link to an object that lives elsewhere in the store: kept in the file as the target's ID. A target that
/// is deleted reads as none; when its deletion is undone the link is there again.
template <class T>
class QW_EXPORT Reference {
 public:
  Reference() = default;
  /// None.
  Reference(std::nullptr_t) {}
  /// A link to the target; none for a null pointer.
  Reference(T* target) : target_(target) {}
  /// A link to the target, which it does not keep.
  Reference(const std::shared_ptr<T>& target) : target_(target) {}

  /// The target; null for none, one that is gone and one that is deleted.
  T* get() const {
    T* target = target_.get();
    return target && !target->isDeleted() ? target : nullptr;
  }
  T* operator->() const { return get(); }
  /// Whether there is a target that is not deleted.
  explicit operator bool() const { return get() != nullptr; }
  /// The target even when it is deleted.
  const Back<T>& link() const { return target_; }
  friend bool operator==(const Reference& a, const Reference& b) { return a.target_ == b.target_; }
  friend bool operator==(const Reference& a, const T* b) { return a.target_ == b; }
  friend bool operator==(const Reference& a, std::nullptr_t) { return !a.target_; }

 private:
  Back<T> target_;
};

template <class T>
struct ValueTraits<Reference<T>> {
  static constexpr Value::Kind kKind = Value::Kind::kObject;
  static Value toValue(const Reference<T>& value) {
    return value.get() ? Value(std::shared_ptr<Object>(value.link().lock())) : Value();
  }
  static std::optional<Reference<T>> fromValue(const Value& value) {
    if (value.isNull()) return Reference<T>();
    auto object = value.objectAs<T>();
    return object ? std::optional(Reference<T>(object)) : std::nullopt;
  }
  static ValueView view(const Reference<T>& value) { return static_cast<Object*>(value.get()); }
};

}  // namespace qw
