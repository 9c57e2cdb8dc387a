#pragma once

#include "platform/base/Export.h"
#include "store/columns/Column.h"
#include "store/columns/Comparison.h"
#include "store/model/ChildList.h"
#include "store/model/ClassSchema.h"

class QWDatabaseObject;

/// The rows of a persisted class's property table. Each needs the member and a key; the setter is the public
/// one, for a class that does more than `assign` in it.
namespace qw {

/// Beside the key: what a row of a persisted property may say.
struct QW_EXPORT AttributeOptions {
  /// Of the property's title where copies are compared, where it differs from "Class.key".
  std::string_view localizationKey{};
  /// Keys or key paths whose changes change this property.
  Property::Keys dependsOn{};
  /// Column name when it differs from the key.
  std::string_view column{};
  /// For decimals: an amount, with the key path of its `QWCurrency`, or a share that reads as a percentage.
  std::string_view currencyKeyPath{};
  /// Whether a decimal reads as a percentage where copies are compared.
  bool isPercentage = false;
};

namespace detail {

template <auto Member, class Codec>
struct QW_EXPORT AttributeStorage {
  using Owner = OwnerOf<Member>;
  static void bind(RowBinder& row, const QWDatabaseObject& object) {
    Codec::bind(row, Members::of(static_cast<const Owner&>(object).*Member));
  }
  /// A column that the row lacks, and NULL where there is no null value, leave the member's own initial
  /// value. What cannot be read does so, too, or is none, and stays in the file until the property is set.
  static void read(const RowReader& row, const int* columns, QWDatabaseObject& object) {
    auto& member = Members::of(static_cast<Owner&>(object).*Member);
    if (columns[0] < 0) return;
    auto value = Codec::read(row, columns);
    const bool isNone = isNothing(value, row, columns[0]);
    if (!isNone || kIsNullable<TypeOf<Member>>) assign(member, std::move(value));
    if (isNone && !row.isNull(columns[0]))
      static_cast<Owner&>(object).keepUnread(memberTag<Member>(), row, {columns, Codec::suffixes.size()});
  }
  template <class V>
  static bool isNothing(const V& value, const RowReader& row, int column) {
    if constexpr (requires { value.has_value(); })
      return !value.has_value();
    else if constexpr (requires { value.isNull(); })
      return value.isNull();
    else if constexpr (requires { value == nullptr; })
      return value == nullptr;
    else
      return value == V() && row.isNull(column);
  }
  template <class T, class V>
  static void assign(T& member, V&& value) {
    if constexpr (requires { member = std::forward<V>(value); })
      member = std::forward<V>(value);
    else
      member = *std::forward<V>(value);
  }
  static void copy(QWDatabaseObject& to, const QWDatabaseObject& from) {
    Members::of(static_cast<Owner&>(to).*Member) = Members::of(static_cast<const Owner&>(from).*Member);
  }
  static constexpr PropertyStorage kStorage{
      Codec::suffixes, Codec::types, &bind, &read, &copy, nullptr, &MemberComparison<Member>::kComparison};
};

template <class Link>
struct TargetOf;
template <class T>
struct TargetOf<Back<T>> {
  using Type = T;
};
template <class T>
struct TargetOf<Reference<T>> {
  using Type = T;
};
template <class T>
struct TargetOf<std::shared_ptr<T>> {
  using Type = T;
};
template <class T>
struct TargetOf<Children<T>> {
  using Type = T;
};

template <class T>
std::shared_ptr<QWDatabaseObject> lockLink(const Back<T>& link) {
  return link.lock();
}
template <class T>
std::shared_ptr<QWDatabaseObject> lockLink(const Reference<T>& link) {
  return link.link().lock();
}
template <class T>
std::shared_ptr<QWDatabaseObject> lockLink(const std::shared_ptr<T>& link) {
  return link;
}

/// A single ID column and the link behind it.
template <auto Member>
struct QW_EXPORT LinkStorage {
  using Owner = OwnerOf<Member>;
  using Link = TypeOf<Member>;
  using Target = typename TargetOf<Link>::Type;

  static const Class& targetClass() { return Target::kClass; }
  static std::shared_ptr<QWDatabaseObject> target(const QWDatabaseObject& object) {
    return lockLink(Members::of(static_cast<const Owner&>(object).*Member));
  }
  static void store(QWDatabaseObject& object, QWDatabaseObject* target) {
    auto* typed = static_cast<Target*>(target);
    auto& member = Members::of(static_cast<Owner&>(object).*Member);
    if constexpr (std::is_same_v<Link, std::shared_ptr<Target>>)
      member = typed ? typed->template sharedAs<Target>() : nullptr;
    else
      member = Link(typed);
  }
  static void bind(RowBinder& row, const QWDatabaseObject& object) {
    const auto* target = Members::of(static_cast<const Owner&>(object).*Member).get();
    row.bindID(target && !target->isDeleted() ? target->ID() : ObjectID());
  }
  static constexpr Relation kRelation{&targetClass, &target, &store, nullptr};
  static constexpr PropertyStorage kStorage{
      TextColumn::suffixes, TextColumn::types, &bind, nullptr, nullptr, &kRelation};
};

template <auto Member>
struct QW_EXPORT ChildrenStorage {
  using Owner = OwnerOf<Member>;
  using Element = typename TargetOf<TypeOf<Member>>::Type;

  static const Class& elementClass() { return Element::kClass; }
  static ChildList& list(QWDatabaseObject& object) { return static_cast<Owner&>(object).*Member; }
  static Value get(const Object& object) { return (static_cast<const Owner&>(object).*Member).toValue(); }
  static bool set(Object& object, const Value& value) {
    if (!value.array()) return false;  // what is no list is no empty list
    std::vector<std::shared_ptr<QWDatabaseObject>> children;
    for (const Value& element : *value.array()) {
      auto child = element.objectAs<Element>();
      if (!child) return false;
      children.push_back(std::move(child));
    }
    return (static_cast<Owner&>(object).*Member).setObjects(children);
  }
  static constexpr Relation kRelation{&elementClass, nullptr, nullptr, &list};
  static constexpr PropertyStorage kStorage{{}, {}, nullptr, nullptr, nullptr, &kRelation};
};

/// Restoring goes through the object's own assignment: compare, undo, store, modify, notify.
template <auto Member>
bool restoreMember(Object& object, const Value& value) {
  using T = TypeOf<Member>;
  auto content = ValueTraits<T>::fromValue(value);
  if (!content) return false;
  auto& owner = static_cast<OwnerOf<Member>&>(object);
  if constexpr (kIsBack<T>) {
    // Another parent may be refused.
    return owner.template assign<Member>(*content) || Members::of(owner.*Member) == *content;
  } else {
    owner.template assign<Member>(*std::move(content));
    return true;
  }
}

/// Writes the class's name; a loader reads it before there is an object.
QW_EXPORT void bindClass(RowBinder& row, const QWDatabaseObject& object);
inline constexpr PropertyStorage kClassStorage{
    TextColumn::suffixes, TextColumn::types, &bindClass, nullptr, nullptr, nullptr};

template <auto Member, auto Setter>
constexpr Property persisted(std::string_view key, PropertyKind kind, const PropertyStorage& storage,
                             const AttributeOptions& options) {
  Property row = property<Member, Setter>(key, {options.localizationKey, options.dependsOn});
  row.kind = kind;
  row.column = options.column;
  row.currencyKeyPath = options.currencyKeyPath;
  row.isPercentage = options.isPercentage;
  row.storage = &storage;
  row.restore = &restoreMember<Member>;
  if constexpr (std::is_same_v<decltype(Setter), std::nullptr_t>) row.set = row.restore;
  return row;
}

}  // namespace detail

/// A value in the columns of its type (`Column<T>`). A `Date` is a date-time.
template <auto Member, auto Setter = nullptr>
constexpr Property attribute(std::string_view key, AttributeOptions options = {}) {
  using Storage = detail::AttributeStorage<Member, Column<detail::TypeOf<Member>>>;
  return detail::persisted<Member, Setter>(key, PropertyKind::kAttribute, Storage::kStorage, options);
}

/// A `Date` or `std::optional<Date>` without a time of day.
template <auto Member, auto Setter = nullptr>
constexpr Property dateAttribute(std::string_view key, AttributeOptions options = {}) {
  using Storage = detail::AttributeStorage<Member, PlainDate>;
  return detail::persisted<Member, Setter>(key, PropertyKind::kAttribute, Storage::kStorage, options);
}

/// A `Reference<T>`: the ID of an object elsewhere in the store.
template <auto Member, auto Setter = nullptr>
constexpr Property reference(std::string_view key, AttributeOptions options = {}) {
  using Storage = detail::LinkStorage<Member>;
  Property row = detail::persisted<Member, Setter>(key, PropertyKind::kReference, Storage::kStorage, options);
  // What undo brings back is the link itself: its target may be deleted now and live again after the next undo.
  row.stored = [](const Object& object) {
    return Value(
        std::shared_ptr<Object>(Storage::target(static_cast<const typename Storage::Owner&>(object))));
  };
  return row;
}

/// A `std::shared_ptr<T>` to an object with a row of its own, which is deleted with, or replaced by, its
/// owner.
template <auto Member, auto Setter = nullptr>
constexpr Property owned(std::string_view key, AttributeOptions options = {}) {
  using Storage = detail::LinkStorage<Member>;
  return detail::persisted<Member, Setter>(key, PropertyKind::kOwned, Storage::kStorage, options);
}

/// A `Back<T>` to the object among whose children this one is; the first parent of a class brings the column
/// "index". `inverse` is the key of those children there.
template <auto Member>
constexpr Property parent(std::string_view key, std::string_view inverse, AttributeOptions options = {}) {
  using Storage = detail::LinkStorage<Member>;
  Property row = detail::persisted<Member, nullptr>(key, PropertyKind::kParent, Storage::kStorage, options);
  row.inverse = inverse;
  return row;
}

/// `Children<T>`, the other end of `parent`; `inverse` is the key of the parent there.
template <auto Member>
constexpr Property children(std::string_view key, std::string_view inverse, AttributeOptions options = {}) {
  using Storage = detail::ChildrenStorage<Member>;
  Property row;
  row.key = key;
  row.kind = PropertyKind::kChildren;
  row.valueKind = Value::Kind::kArray;
  row.member = memberTag<Member>();
  row.get = &Storage::get;
  row.set = row.restore = &Storage::set;
  row.localizationKey = options.localizationKey;
  row.dependsOn = options.dependsOn;
  row.inverse = inverse;
  row.storage = &Storage::kStorage;
  return row;
}

/// The column "class", by which several classes share one table.
constexpr Property classColumn() {
  Property row;
  row.key = "class";
  row.kind = PropertyKind::kAttribute;
  row.valueKind = Value::Kind::kClass;
  row.get = [](const Object& object) { return Value(&object.objectClass()); };
  row.storage = &detail::kClassStorage;
  return row;
}

}  // namespace qw
