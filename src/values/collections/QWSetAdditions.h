#pragma once

#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/object/Value.h"
#include "values/collections/QWArrayAdditions.h"

/// Operations on sets of values. Free functions without state.
namespace QW_EXPORT QWSetAdditions {

/// The elements of `set` that are not in `removed`, in their order.
qw::ValueSet setByRemovingObjectsInSet(const qw::ValueSet& set, const qw::ValueSet& removed);
/// The same for the elements of an array.
qw::ValueSet setByRemovingObjectsInArray(const qw::ValueSet& set, const qw::Array& removed);

/// The set of the block's results; null results are left out.
template <class Block>
qw::ValueSet transformUsingBlock(const qw::ValueSet& set, Block block) {
  return qw::ValueSet(QWArrayAdditions::transformUsingBlock(set.elements(), block));
}

/// `value` itself if the set does not contain it, else the first free name of its numbered series ("Client 2"
/// after "Client"). `format` holds %@ for the base text and %ld for the number. `pattern`, if not empty,
/// recognises a text that is numbered already: capture group 1 is its base, 2 its number; the series goes on
/// from there. Takes time in proportion to the numbers that are taken; to make many names unique, use
/// `qw::UniqueNames`.
std::string uniqueValue(const qw::ValueSet& set, std::string_view value, std::string_view format = "%@ %ld",
                        std::string_view pattern = "(.*) ([0-9]+)");

/// As `QWArrayAdditions::flatArrayWithChildrenKeyPath`, of the elements of a set.
inline qw::Array flatArrayWithChildrenKeyPath(const qw::ValueSet& set, std::string_view childrenKeyPath,
                                              std::string_view leafKeyPath, bool includingGroups = false) {
  return QWArrayAdditions::flatArrayWithChildrenKeyPath(set.elements(), childrenKeyPath, leafKeyPath,
                                                        includingGroups);
}
/// As `QWArrayAdditions::objectPathsMapWithKeyPath`, of the elements of a set.
inline qw::Dictionary objectPathsMapWithKeyPath(const qw::ValueSet& set, std::string_view keyPath,
                                                std::string_view childrenKeyPath,
                                                std::string_view leafKeyPath) {
  return QWArrayAdditions::objectPathsMapWithKeyPath(set.elements(), keyPath, childrenKeyPath, leafKeyPath);
}

}  // namespace QWSetAdditions
