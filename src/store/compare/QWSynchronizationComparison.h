#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/Export.h"
#include "platform/system/Localization.h"
#include "store/columns/Comparison.h"
#include "store/model/QWDatabaseObject.h"

/// How a class with differences that no property describes makes its changes: `compareWithObject` calls its
/// base, and appends what these functions answer. `object` is this side's (its `originalObject` is what is
/// edited), `otherObject` the other's; `block(target, value)` gives a value to whichever of the two sides
/// gives way. Titles are looked up in the table "Synchronization". Null, or nothing, when there is no
/// difference.
namespace QW_EXPORT QWSynchronizationComparison {

/// Null for no difference.
using Change = std::shared_ptr<QWSynchronizationChange>;
/// In the order in which they are shown.
using Changes = std::vector<Change>;
/// Null for none.
using ObjectPointer = std::shared_ptr<QWDatabaseObject>;

/// Appends a change if there is one.
inline void add(Changes& changes, Change change) {
  if (change) changes.push_back(std::move(change));
}

/// Values of one type: `T` chooses how they are compared and shown (`qw::Comparison`); a `kind` with the same
/// members does so for what the type does not tell, as a `qw::AmountComparison`.
template <class Object, class T, class Block, class Kind = qw::Comparison<T>>
Change compareValue(const T& value, Object& object, const std::type_identity_t<T>& otherValue,
                    std::type_identity_t<Object>& otherObject, std::string_view localizationKey, Block block,
                    Kind kind = Kind());

/// Sets the link of the side that is not chosen.
using ReferenceBlock = std::function<void(QWDatabaseObject& target, const ObjectPointer& reference)>;
/// A link, null for none. It is found again by its ID in the store that it is set in; one that is not there
/// leaves the target as it is.
Change compareReference(const QWDatabaseObject* reference, QWDatabaseObject& object,
                        const QWDatabaseObject* otherReference, QWDatabaseObject& otherObject,
                        std::string_view localizationKey, ReferenceBlock block);

/// `siblings` is the order that the target belongs into: the children of that side's parent, or null.
using ParentBlock =
    std::function<void(QWDatabaseObject& target, const ObjectPointer& parent, const qw::ChildList* siblings)>;
/// A parent among whose children the object has a place: `ChildList::indexToInsertObject` finds it.
Change compareParent(QWDatabaseObject* parent, QWDatabaseObject& object, const qw::ChildList* array,
                     QWDatabaseObject* otherParent, QWDatabaseObject& otherObject,
                     const qw::ChildList* otherArray, std::string_view localizationKey, ParentBlock block);

/// An owned object. The same one on both sides: its own differences, unless the session compares it by
/// itself. Another one: imported into the store that it is set in.
Changes compareOwnedReference(const ObjectPointer& owned, QWDatabaseObject& object,
                              const ObjectPointer& otherOwned, QWDatabaseObject& otherObject,
                              std::string_view localizationKey, ReferenceBlock block);

/// Sets the links of the side that is not chosen.
using SetBlock = std::function<void(QWDatabaseObject& target, const std::vector<ObjectPointer>& set)>;
/// Links without an order. The block runs once all of them are found.
Change compareReferencesSet(std::span<const ObjectPointer> set, QWDatabaseObject& object,
                            std::span<const ObjectPointer> otherSet, QWDatabaseObject& otherObject,
                            std::string_view localizationKey, SetBlock block);

/// Orders the objects of the side that is not chosen.
using OrderBlock = std::function<void(QWDatabaseObject& target, const std::vector<qw::ObjectID>& order)>;
/// The order of what both sides have. Keeping this side's does nothing. Linear.
Change compareOrder(std::span<const ObjectPointer> array, QWDatabaseObject& object,
                    std::span<const ObjectPointer> otherArray, QWDatabaseObject& otherObject,
                    std::string_view localizationKey, OrderBlock block);

/// The objects in the order of the IDs; IDs of others are skipped, and an object whose ID is not listed comes
/// behind the one, of those that stood before it, that now stands last. Linear.
std::vector<ObjectPointer> reorderedArrayWithIDs(std::span<const ObjectPointer> array,
                                                 std::span<const qw::ObjectID> ids);

template <class Object, class T, class Block, class Kind>
Change compareValue(const T& value, Object& object, const std::type_identity_t<T>& otherValue,
                    std::type_identity_t<Object>& otherObject, std::string_view localizationKey, Block block,
                    Kind kind) {
  if (!kind.differ(value, otherValue)) return nullptr;
  auto change =
      std::make_shared<QWSynchronizationChange>(qw::Localization::synchronizationString(localizationKey));
  const auto self = object.template sharedAs<Object>(), target = otherObject.template sharedAs<Object>();
  change->show([self, value = T(value), kind] { return kind.side(*self, value); },
               [target, value = T(otherValue), kind] { return kind.side(*target, value); });
  change->block = [target, value = T(kind.value(value)), block] { block(*target, value); };
  change->otherBlock = [self, value = T(kind.value(otherValue)), block] {
    if (const auto target = self->originalObject()) block(static_cast<Object&>(*target), value);
  };
  return change;
}

}  // namespace QWSynchronizationComparison
