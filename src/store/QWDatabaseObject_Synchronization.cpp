// The differences between an object and its counterpart, from the property table.
#include "platform/Localization.h"
#include "store/ClassSchema.h"
#include "store/QWDatabaseManager.h"
#include "store/QWDatabaseObject.h"

namespace {

std::string title(const qw::Property& property) {
  const std::string key(property.localizationKey.empty() ? property.key : property.localizationKey);
  return qw::Localization::synchronizationString(key);
}

/// Gives an object a value; a null link is set, too.
void setValue(const std::shared_ptr<QWDatabaseObject>& object, const qw::Property& property,
              const qw::Value& value) {
  if (object) (property.set ? property.set : property.restore)(*object, value);
}

}  // namespace

std::vector<std::shared_ptr<QWSynchronizationChange>> QWDatabaseObject::compareWithObject(
    QWDatabaseObject& other) {
  std::vector<std::shared_ptr<QWSynchronizationChange>> changes;
  const auto self = sharedAs<QWDatabaseObject>();
  const auto theirs = other.sharedAs<QWDatabaseObject>();
  const qw::ClassSchema& schema = qw::ClassSchema::of(objectClass());

  for (const auto& entry : schema.attributes()) {
    const qw::Property& property = *entry.property;
    const qw::Value mine = property.storedValue(*this), other = property.storedValue(*theirs);
    if (mine == other) continue;
    auto change = std::make_shared<QWSynchronizationChange>(title(property));
    change->value = mine.description();
    change->otherValue = other.description();
    change->block = [theirs, &property, mine] { setValue(theirs, property, mine); };
    change->otherBlock = [self, &property, other] { setValue(self->originalObject(), property, other); };
    changes.push_back(std::move(change));
  }

  // Links are found again by ID in the store that they are set in.
  const auto compareLink = [&](const qw::ClassSchema::Entry& entry) {
    const qw::Property& property = *entry.property;
    const auto targetOf = [&](const QWDatabaseObject& object) {
      auto target = entry.storage->relation->target(object);
      return target && !target->isDeleted() ? target : nullptr;
    };
    const auto mine = targetOf(*this), other = targetOf(*theirs);
    const qw::ObjectID id = mine ? mine->ID() : qw::ObjectID(),
                       otherID = other ? other->ID() : qw::ObjectID();
    if (id == otherID) return;
    const auto relink = [&property](const std::shared_ptr<QWDatabaseObject>& object, const qw::ObjectID& id) {
      if (!object || !object->databaseManager()) return;
      object->databaseManager()->requestObjectWithID(id, [object, &property](const auto& found) {
        setValue(object, property, qw::Value(std::shared_ptr<qw::Object>(found)));
      });
    };
    auto change = std::make_shared<QWSynchronizationChange>(title(property));
    if (mine) change->value = mine->synchronizationDescription();
    if (other) change->otherValue = other->synchronizationDescription();
    change->block = [theirs, relink, id] { relink(theirs, id); };
    change->otherBlock = [self, relink, otherID] { relink(self->originalObject(), otherID); };
    changes.push_back(std::move(change));
  };
  for (const auto& entry : schema.references()) compareLink(entry);
  for (const auto& entry : schema.owned()) compareLink(entry);
  for (const auto& entry : schema.parents()) compareLink(entry);
  return changes;
}
