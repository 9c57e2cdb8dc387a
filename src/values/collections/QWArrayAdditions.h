#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Value.h"
#include "values/collections/GroupRecord.h"

/// Operations on arrays of values: transforming, comparing, flattening trees, grouping by paths, CSV. Free
/// functions without state. Elements that are objects are used on their own thread; no function changes them.
/// Each is linear in the number of elements.
namespace QW_EXPORT QWArrayAdditions {

/// The block's result for each element, in order; null results are left out.
template <class Block>
qw::Array transformUsingBlock(const qw::Array& array, Block block) {
  qw::Array result;
  for (const qw::Value& element : array) {
    if (qw::Value transformed = block(element); !transformed.isNull())
      result.push_back(std::move(transformed));
  }
  return result;
}

/// Whether both have as many elements and `compare`, a predicate or a comparison method of the elements,
/// holds for each pair.
template <class Elements, class Compare>
bool isEqualToArray(const Elements& array, const Elements& other, Compare compare) {
  return std::equal(
      array.begin(), array.end(), other.begin(), other.end(),
      [&](const auto& a, const auto& b) { return static_cast<bool>(std::invoke(compare, a, b)); });
}

/// The value that all elements have at the key path ("self": the elements themselves). Null if they differ or
/// if there is none.
qw::Value objectsValueForKeyPath(const qw::Array& array, std::string_view keyPath);

/// `QWSetAdditions::uniqueValue` among the elements.
std::string uniqueValue(const qw::Array& array, std::string_view value, std::string_view format = "%@ %ld",
                        std::string_view pattern = "(.*) ([0-9]+)");

/// One CSV record, ended by LF. Numbers are written plain with all their digits and a point, dates in the
/// short style of the locale without time, anything else by its description. Quotes are doubled; a field is
/// put in quotes only if it contains the separator or a line end.
std::string CSVLineWithSeparator(const qw::Array& array, std::string_view separator);

/// The leaves of a forest, and its groups before their children if wanted, in depth-first order and each only
/// once. An element is a group if the leaf key path is given and false there, or, without one, if it has
/// children (not null) at the children key path. An empty key path is not given. Each group is entered once,
/// so that cycles end.
qw::Array flatArrayWithChildrenKeyPath(const qw::Array& array, std::string_view childrenKeyPath,
                                       std::string_view leafKeyPath, bool includingGroups = false);

/// The elements of a forest (groups as above) by path: an element's text at the key path, after those of the
/// groups around it, joined by " : ". Elements without a text there, and all below them, are left out; of
/// equal paths the last element counts.
qw::Dictionary objectPathsMapWithKeyPath(const qw::Array& array, std::string_view keyPath,
                                         std::string_view childrenKeyPath, std::string_view leafKeyPath);

/// Builds a tree of records from the object path that each element has at the key path. Elements without a
/// text there are left out; records keep the order in which they are first met; of elements with equal paths
/// the last is kept. What a path has beyond `kDeepestGroup` components stays together as the name of its last
/// record.
std::vector<std::shared_ptr<qw::GroupRecord>> groupsForKeyPath(const qw::Array& array,
                                                               std::string_view keyPath);
/// Levels of `groupsForKeyPath`.
inline constexpr std::size_t kDeepestGroup = 1000;

/// A menu item for a group record: one with an object becomes an item that represents it, any other a
/// submenu.
struct QW_EXPORT MenuItem {
  /// What the item shows.
  std::string title;
  /// Null for a submenu.
  qw::Value representedObject;
  /// The items of a submenu, in order.
  std::vector<MenuItem> submenu;
};
/// The items for records and everything below them, in their order.
std::vector<MenuItem> groupsMenu(const std::vector<std::shared_ptr<qw::GroupRecord>>& groups);

}  // namespace QWArrayAdditions

/// Operations that change an array.
namespace QW_EXPORT QWMutableArrayAdditions {

/// Appends the object unless it is null.
inline void addObjectIfNotNull(qw::Array& array, qw::Value object) {
  if (!object.isNull()) array.push_back(std::move(object));
}

}  // namespace QWMutableArrayAdditions
