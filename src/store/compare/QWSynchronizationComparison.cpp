#include "store/compare/QWSynchronizationComparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "platform/system/Collation.h"
#include "store/model/QWDatabaseManager.h"
#include "values/dates/QWDateFormatter.h"
#include "values/numbers/QWCurrencyFormatter.h"
#include "values/numbers/QWPercentageFormatter.h"

namespace qw::detail {

Side sideOfBool(bool value) {
  static const auto icon = [](std::string_view text) {
    return Image::textIcon(text, {24, 24}, Color::darkGray());
  };
  static const Side yes{"", icon("✓"), "✓"}, no{"", icon("X"), "X"};
  return value ? yes : no;
}

Side sideOfDate(Date value) {
  return {QWDateFormatter::formatDate(value, QWDateFormatter::Style::kShort), {}, {}};
}

Side sideOfColor(const Color& value) { return {"", Image::colorIcon(value, {16, 16}), value.webColor()}; }

Side sideOfImage(const Image& value, Size maximum) {
  return {"", value.resizedToFit(maximum), fmt::format("{} × {}", value.pixelWidth(), value.pixelHeight())};
}

Side sideOfCollection(std::size_t count) {
  return {
      Localization::frameworkFormat(count < 2 ? "Item" : "Items", {std::to_string(count)}), std::nullopt, {}};
}

bool imagesDiffer(const Image& a, const Image& b) {
  if (a == b) return false;
  const auto length = [](const Image& image) {
    const auto jpeg = image.jpeg(1);
    return jpeg ? jpeg->size() : 0;
  };
  return length(a) != length(b);
}

}  // namespace qw::detail

qw::Side qw::AmountComparison::side(const QWDatabaseObject& object,
                                    const std::optional<Decimal>& value) const {
  if (!value) return {};
  const auto currency = ValueTraits<QWCurrency>::fromValue(object.valueForKeyPath(currencyKeyPath));
  return {QWCurrencyFormatter::formatValue(*value, currency), {}, {}};
}

qw::Side qw::PercentageComparison::side(const QWDatabaseObject&, const std::optional<Decimal>& value) const {
  return value ? Side{QWPercentageFormatter::formatValue(*value, 2), {}, {}} : Side();
}

namespace QWSynchronizationComparison {

namespace {

using MakeSide = QWSynchronizationChange::MakeSide;

MakeSide described(const QWDatabaseObject* object) {
  if (!object) return nullptr;
  return [kept = object->shared_from_this(), object] {
    return qw::Side{object->synchronizationDescription(), {}, {}};
  };
}

Change makeChange(std::string_view localizationKey, MakeSide mine, MakeSide other) {
  auto change =
      std::make_shared<QWSynchronizationChange>(qw::Localization::synchronizationString(localizationKey));
  change->show(std::move(mine), std::move(other));
  return change;
}

/// Gives a change the two closures that run `write(target, mine)` on the side that gives way.
template <class T, class Write>
void setBlocks(QWSynchronizationChange& change, QWDatabaseObject& object, T mine, QWDatabaseObject& other,
               T theirs, Write write) {
  change.block = [target = other.sharedAs<QWDatabaseObject>(), mine = std::move(mine), write] {
    if (target->databaseManager()) write(*target, mine);
  };
  change.otherBlock = [self = object.sharedAs<QWDatabaseObject>(), theirs = std::move(theirs), write] {
    const auto target = self->originalObject();
    if (target && target->databaseManager()) write(*target, theirs);
  };
}

qw::ObjectID idOf(const QWDatabaseObject* object) { return object ? object->ID() : qw::ObjectID(); }

/// Looks the link up in the target's store.
void resolve(QWDatabaseObject& target, const qw::ObjectID& id, const ReferenceBlock& block) {
  target.databaseManager()->requestLiveObjectWithID(
      id, [target = target.sharedAs<QWDatabaseObject>(), isNone = id.empty(), block](const auto& found) {
        if (found || isNone) block(*target, found);
      });
}

MakeSide joinedDescriptions(std::span<const ObjectPointer> objects, bool sorted) {
  return [objects = std::vector(objects.begin(), objects.end()), sorted] {
    std::vector<std::string> texts;
    texts.reserve(objects.size());
    for (const auto& object : objects) texts.push_back(object->synchronizationDescription());
    if (sorted)
      std::sort(texts.begin(), texts.end(), [](const std::string& a, const std::string& b) {
        return qw::Collation::localizedStandardCompare(a, b) < 0;
      });
    return qw::Side{fmt::format("{}", fmt::join(texts, ", ")), {}, {}};
  };
}

std::vector<qw::ObjectID> idsOf(std::span<const ObjectPointer> objects) {
  std::vector<qw::ObjectID> ids;
  ids.reserve(objects.size());
  for (const auto& object : objects) ids.push_back(object->ID());
  return ids;
}

/// Those of the IDs that are among the others, in their order.
std::vector<qw::ObjectID> common(const std::vector<qw::ObjectID>& ids,
                                 const std::vector<qw::ObjectID>& others) {
  const std::unordered_set<qw::ObjectID> wanted(others.begin(), others.end());
  std::vector<qw::ObjectID> result;
  for (const qw::ObjectID& id : ids)
    if (wanted.contains(id)) result.push_back(id);
  return result;
}

}  // namespace

Change compareReference(const QWDatabaseObject* reference, QWDatabaseObject& object,
                        const QWDatabaseObject* otherReference, QWDatabaseObject& otherObject,
                        std::string_view localizationKey, ReferenceBlock block) {
  if (idOf(reference) == idOf(otherReference)) return nullptr;
  auto change = makeChange(localizationKey, described(reference), described(otherReference));
  setBlocks(*change, object, idOf(reference), otherObject, idOf(otherReference),
            [block = std::move(block)](QWDatabaseObject& target, const qw::ObjectID& id) {
              resolve(target, id, block);
            });
  return change;
}

Change compareParent(QWDatabaseObject* parent, QWDatabaseObject& object, const qw::ChildList* array,
                     QWDatabaseObject* otherParent, QWDatabaseObject& otherObject,
                     const qw::ChildList* otherArray, std::string_view localizationKey, ParentBlock block) {
  if (idOf(parent) == idOf(otherParent)) return nullptr;
  /// A parent and its children there, which live as long as it does.
  struct Place {
    ObjectPointer parent;
    const qw::ChildList* siblings;
  };
  const auto place = [](QWDatabaseObject* parent, const qw::ChildList* siblings) {
    return Place{parent ? parent->sharedAs<QWDatabaseObject>() : nullptr, siblings};
  };
  auto change = makeChange(localizationKey, described(parent), described(otherParent));
  setBlocks(*change, object, place(parent, array), otherObject, place(otherParent, otherArray),
            [block = std::move(block)](QWDatabaseObject& target, const Place& place) {
              resolve(target, idOf(place.parent.get()),
                      [place, block](QWDatabaseObject& target, const ObjectPointer& found) {
                        block(target, found, place.siblings);
                      });
            });
  return change;
}

Changes compareOwnedReference(const ObjectPointer& owned, QWDatabaseObject& object,
                              const ObjectPointer& otherOwned, QWDatabaseObject& otherObject,
                              std::string_view localizationKey, ReferenceBlock block) {
  if (!owned && !otherOwned) return {};
  if (owned && otherOwned && owned->ID() == otherOwned->ID()) {
    if (owned->shouldSynchronizeProperties() || otherOwned->shouldSynchronizeProperties()) return {};
    auto changes = owned->compareWithObject(*otherOwned);
    const std::string title = qw::Localization::synchronizationString(localizationKey);
    for (const auto& change : changes) change->title = fmt::format("[{}] {}", title, change->title);
    return changes;
  }
  auto change = makeChange(localizationKey, described(owned.get()), described(otherOwned.get()));
  setBlocks(*change, object, owned, otherObject, otherOwned,
            [block = std::move(block)](QWDatabaseObject& target, const ObjectPointer& source) {
              if (!source) return block(target, nullptr);
              QWDatabaseManager& manager = *target.databaseManager();
              auto imported = manager.objectWithID(source->ID());
              if (!imported || &imported->objectClass() != &source->objectClass())
                imported = source->importInDatabaseManager(manager);
              block(target, imported);
            });
  return {change};
}

Change compareReferencesSet(std::span<const ObjectPointer> set, QWDatabaseObject& object,
                            std::span<const ObjectPointer> otherSet, QWDatabaseObject& otherObject,
                            std::string_view localizationKey, SetBlock block) {
  const auto ids = idsOf(set), otherIDs = idsOf(otherSet);
  const std::unordered_set<qw::ObjectID> mine(ids.begin(), ids.end()),
      theirs(otherIDs.begin(), otherIDs.end());
  if (mine == theirs) return nullptr;
  auto change =
      makeChange(localizationKey, joinedDescriptions(set, true), joinedDescriptions(otherSet, true));
  setBlocks(*change, object, ids, otherObject, otherIDs,
            [block = std::move(block)](QWDatabaseObject& target, const std::vector<qw::ObjectID>& ids) {
              if (ids.empty()) return block(target, {});
              const auto found = std::make_shared<std::vector<ObjectPointer>>();
              for (const qw::ObjectID& id : ids)
                resolve(target, id,
                        [found, block, count = ids.size()](QWDatabaseObject& target, const auto& reference) {
                          found->push_back(reference);
                          if (found->size() == count) block(target, *found);
                        });
            });
  return change;
}

Change compareOrder(std::span<const ObjectPointer> array, QWDatabaseObject& object,
                    std::span<const ObjectPointer> otherArray, QWDatabaseObject&,
                    std::string_view localizationKey, OrderBlock block) {
  const auto hasSameID = [](const ObjectPointer& a, const ObjectPointer& b) { return a->ID() == b->ID(); };
  if (std::equal(array.begin(), array.end(), otherArray.begin(), otherArray.end(), hasSameID)) return nullptr;
  const auto ids = idsOf(array), otherIDs = idsOf(otherArray);
  if (common(ids, otherIDs) == common(otherIDs, ids)) return nullptr;
  auto change =
      makeChange(localizationKey, joinedDescriptions(array, false), joinedDescriptions(otherArray, false));
  change->otherBlock = [self = object.sharedAs<QWDatabaseObject>(), otherIDs, block = std::move(block)] {
    if (const auto target = self->originalObject()) block(*target, otherIDs);
  };
  return change;
}

std::vector<ObjectPointer> reorderedArrayWithIDs(std::span<const ObjectPointer> array,
                                                 std::span<const qw::ObjectID> ids) {
  std::unordered_map<qw::ObjectID, std::size_t> places;  // in `array`, until the object is placed
  places.reserve(array.size());
  for (std::size_t i = 0; i < array.size(); ++i) places.try_emplace(array[i]->ID(), i);
  std::vector<std::size_t> listed;
  std::vector<std::size_t> rank(array.size(), 0);  // from 1 on, of the listed ones
  for (const qw::ObjectID& id : ids) {
    const auto place = places.find(id);
    if (place == places.end()) continue;
    listed.push_back(place->second);
    rank[place->second] = listed.size();
    places.erase(place);
  }
  // Behind each listed object, and in front of all, the others that belong there.
  std::vector<std::vector<std::size_t>> behind(listed.size() + 1);
  std::size_t last = 0;
  for (std::size_t i = 0; i < array.size(); ++i) {
    last = std::max(last, rank[i]);
    if (rank[i] == 0) behind[last].push_back(i);
  }
  std::vector<ObjectPointer> result;
  result.reserve(array.size());
  for (std::size_t i = 0; i < behind.size(); ++i) {
    if (i) result.push_back(array[listed[i - 1]]);
    for (const std::size_t place : behind[i]) result.push_back(array[place]);
  }
  return result;
}

}  // namespace QWSynchronizationComparison
