#include "store/Loader.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "platform/Log.h"
#include "store/QWDatabaseManager.h"

namespace qw {

namespace {

/// The class of a row: its column "class" where the element's class has one; null when that names no such
/// class.
const Class* classOfRow(const Class& elementClass, const QWDatabaseResultSet& row) {
  if (ClassSchema::of(elementClass).classColumn() < 0) return &elementClass;
  const Class* c = row.classForColumn("class");
  return c && c->isSubclassOf(elementClass) ? c : nullptr;
}

}  // namespace

std::vector<Loader::ObjectPointer>& Loader::Buckets::listFor(const ObjectID& parent) {
  if (lists.empty() || !(parent == lastParent)) {
    const auto [entry, isNew] = places.try_emplace(parent, static_cast<std::uint32_t>(lists.size()));
    if (isNew) lists.emplace_back();
    lastParent = parent;
    lastPlace = entry->second;
  }
  return lists[lastPlace];
}

Loader::Buckets* Loader::Table::bucketsFor(std::string_view parentKey) {
  for (auto& [key, found] : buckets)
    if (key == parentKey) return &found;
  return nullptr;
}

std::shared_ptr<QWDatabaseObject> Loader::loadRoot(const Class& root) {
  const std::string& name = ClassSchema::of(root).table();
  if (name.empty()) return nullptr;
  auto rows =
      manager_.executeQuery(manager_.prepareQuery("SELECT * FROM " + ClassSchema::quoted(name) + " LIMIT 1"));
  if (!rows || !rows->next()) return nullptr;
  rows->loader_ = this;
  ObjectPointer object = makeObject(root, *rows);
  rows->next();  // tells whether the row was read whole
  rows.reset();
  if (object) arrive(object);
  while (expanded_ < arrived_.size() || !owned_.empty()) {
    while (expanded_ < arrived_.size()) attachChildren(*arrived_[expanded_++]);
    const std::size_t before = arrived_.size();
    attachOwned();
    if (arrived_.size() == before) break;
  }
  resolveReferences();
  return object;
}

Loader::ObjectPointer Loader::makeObject(const Class& elementClass, QWDatabaseResultSet& row) {
  const Class* c = classOfRow(elementClass, row);
  ObjectPointer object = c ? std::static_pointer_cast<QWDatabaseObject>(c->create()) : nullptr;
  if (!object) {
    Log::warning("A row of {} is of no class of this store", elementClass.table());
    return nullptr;
  }
  parents_.clear();
  object->initWithRow(manager_, row);
  return object;
}

const ObjectID& Loader::idAt(const RowReader& row, int column) {
  RecentID& recent = recentIDs_[static_cast<std::size_t>(std::max(0, column)) % recentIDs_.size()];
  if (const std::string_view text = row.text(column); text != recent.text) {
    recent.text = text;
    recent.id = ObjectID(text);
  }
  return recent.id;
}

void Loader::readRelations(QWDatabaseObject& object, const ClassSchema& schema, const RowReader& row,
                           const int* columns) {
  for (const auto& entry : schema.parents())
    if (const ObjectID& parent = idAt(row, columns[entry.column]))
      parents_.push_back({&object, entry.property, parent});
  for (const auto& entry : schema.references())
    if (const ObjectID& target = idAt(row, columns[entry.column]))
      references_.push_back({&object, entry.property, target});
  for (const auto& entry : schema.owned())
    if (const ObjectID& target = idAt(row, columns[entry.column]))
      owned_.push_back({&object, entry.property, target});
}

void Loader::keep(Table& table, ObjectPointer object) {
  if (parents_.empty()) {
    if (!table.ownedByID.try_emplace(object->ID(), object).second) dropped_.push_back(std::move(object));
    return;
  }
  // Most parents have arrived when the table of their children is read: the child goes into its list while it
  // is at hand.
  if (parents_.size() == 1 && attachAtOnce(object, parents_.front())) return;
  for (const Link& parent : parents_) {
    Buckets* buckets = table.bucketsFor(parent.property->key);
    if (!buckets) buckets = &table.buckets.emplace_back(parent.property->key, Buckets()).second;
    buckets->listFor(parent.target).push_back(object);
  }
}

bool Loader::attachAtOnce(const ObjectPointer& object, const Link& link) {
  if (!(link.target == open_.parentID) || link.property != open_.parentProperty) {
    open_ = {link.target, link.property, manager_.objects_.objectForKey(link.target), nullptr};
    if (open_.parent) {
      const Property* children = open_.parent->objectClass().property(link.property->inverse);
      if (children && children->kind == PropertyKind::kChildren)
        open_.list = &children->storage->relation->list(*open_.parent);
    }
  }
  if (!open_.list || !object->isKindOf(open_.list->property_->storage->relation->targetClass())) return false;
  link.property->storage->relation->setTarget(*object, open_.parent);
  arrive(object);
  append(*open_.list, object);
  return true;
}

/// Rows that come in their order, as most do, need no sorting.
void Loader::append(ChildList& list, const ObjectPointer& child) {
  const bool isInOrder =
      child->order_ >= 0 && (list.items_.empty() || list.items_.back()->order_ < child->order_);
  list.items_.push_back(child);
  if (!isInOrder && (disordered_.empty() || disordered_.back() != &list)) disordered_.push_back(&list);
}

void Loader::sortDisordered() {
  std::sort(disordered_.begin(), disordered_.end());
  disordered_.erase(std::unique(disordered_.begin(), disordered_.end()), disordered_.end());
  for (ChildList* list : std::exchange(disordered_, {})) list->sort();
}

/// Room for as many objects as the table may have rows: its highest row number, or what fits the file if that
/// is less.
void Loader::reserveFor(const std::string& table) {
  constexpr std::uintmax_t kSmallestRow = 32;
  const auto rows =
      manager_.executeQuery(manager_.prepareQuery("SELECT max(rowid) FROM " + ClassSchema::quoted(table)));
  std::error_code ignored;
  const std::uintmax_t size = std::filesystem::file_size(manager_.URL(), ignored);
  if (!rows || !rows->next() || ignored) return;
  const auto highest = static_cast<std::uintmax_t>(std::max<std::int64_t>(0, rows->reader().int64(0)));
  const auto count = static_cast<std::size_t>(std::min(highest, size / kSmallestRow));
  manager_.objects_.reserve(manager_.objects_.count() + count);
  arrived_.reserve(arrived_.size() + count);
}

Loader::Table& Loader::tableOf(const Class& c) {
  Table*& known = tableByClass_[&c];
  if (known) return *known;
  // Rows of a table that classes share may be of any of them, not only of the one that is asked for.
  const std::string& name = ClassSchema::of(c).table();
  const Class* base = &c;
  while (base->superclass() && base->superclass()->table() == name) base = base->superclass();
  Table& table = tables_[base];
  known = &table;
  if (table.read) return table;
  table.read = true;
  reserveFor(name);
  auto rows = manager_.executeQuery(manager_.prepareQuery("SELECT * FROM " + ClassSchema::quoted(name)));
  if (!rows) return table;
  rows->loader_ = this;
  while (rows->next())
    if (ObjectPointer object = makeObject(*base, *rows)) keep(table, std::move(object));
  open_ = {};
  sortDisordered();
  return table;
}

void Loader::arrive(const ObjectPointer& object) {
  manager_.registerObject(*object);
  arrived_.push_back(object);
}

void Loader::attachChildren(QWDatabaseObject& parent) {
  for (const auto& entry : ClassSchema::of(parent.objectClass()).children()) {
    const Relation& relation = *entry.storage->relation;
    Table& table = tableOf(relation.targetClass());
    Buckets* buckets = table.bucketsFor(entry.property->inverse);
    if (!buckets) continue;
    const auto place = buckets->places.find(parent.ID());
    if (place == buckets->places.end()) continue;
    const std::vector<ObjectPointer> children = std::exchange(buckets->lists[place->second], {});
    ChildList& list = relation.list(parent);
    const ObjectPointer self = parent.sharedAs<QWDatabaseObject>();
    for (const ObjectPointer& child : children) {
      if (child->registered_ || !child->isKindOf(relation.targetClass())) {
        dropped_.push_back(child);
        continue;
      }
      child->objectClass().property(entry.property->inverse)->storage->relation->setTarget(*child, self);
      arrive(child);
      append(list, child);
    }
    sortDisordered();
  }
}

void Loader::attachOwned() {
  std::vector<Link> waiting;
  std::swap(waiting, owned_);
  for (const Link& link : waiting) {
    if (!link.object->registered_) {
      owned_.push_back(link);
      continue;
    }
    const Relation& relation = *link.property->storage->relation;
    Table& table = tableOf(relation.targetClass());
    const auto found = table.ownedByID.find(link.target);
    if (found == table.ownedByID.end() || !found->second->isKindOf(relation.targetClass())) continue;
    const ObjectPointer target = std::move(found->second);
    table.ownedByID.erase(found);
    relation.setTarget(*link.object, target);
    arrive(target);
  }
}

void Loader::resolveReferences() {
  ObjectID lastID;
  ObjectPointer last;
  for (const Link& link : references_) {
    if (!link.object->registered_) continue;
    if (!(link.target == lastID)) {
      lastID = link.target;
      last = manager_.objects_.objectForKey(lastID);
    }
    const Relation& relation = *link.property->storage->relation;
    if (last && last->isKindOf(relation.targetClass())) relation.setTarget(*link.object, last);
  }
}

void Loader::resolveSingleRow(QWDatabaseManager& manager, QWDatabaseObject& object, const ClassSchema& schema,
                              const RowReader& row, const int* columns) {
  const ObjectPointer self = object.sharedAs<QWDatabaseObject>();
  manager.registerObject(object);
  for (const auto& entry : schema.parents()) {
    const ObjectPointer parent = manager.objectWithID(ObjectID(row.text(columns[entry.column])));
    if (!parent) continue;
    entry.storage->relation->setTarget(object, parent);
    const Property* children = parent->objectClass().property(entry.property->inverse);
    if (children && children->storage) children->storage->relation->list(*parent).append(self);
  }
  for (const auto& entry : schema.references())
    manager.requestObjectWithID(
        ObjectID(row.text(columns[entry.column])),
        [weak = std::weak_ptr(self), relation = entry.storage->relation](const ObjectPointer& target) {
          const ObjectPointer object = weak.lock();
          if (object && target && target->isKindOf(relation->targetClass()))
            relation->setTarget(*object, target);
        });
  const auto readAll = [&](const Class& elementClass, const std::string& column, const ObjectID& value,
                           const std::string& end) {
    std::vector<ObjectPointer> objects;
    auto query = manager.prepareQuery("SELECT * FROM " + ClassSchema::of(elementClass).quotedTable() +
                                      " WHERE \"" + column + "\" = :value " + end);
    if (!query) return objects;
    query->setString(value.text(), "value");
    auto rows = manager.executeQuery(query);
    while (rows && rows->next()) {
      const Class* c = classOfRow(elementClass, *rows);
      auto child = c ? std::static_pointer_cast<QWDatabaseObject>(c->create()) : nullptr;
      if (!child) continue;
      child->initWithRow(manager, *rows);
      objects.push_back(std::move(child));
    }
    return objects;
  };
  for (const auto& entry : schema.owned()) {
    const ObjectID target = ObjectID(row.text(columns[entry.column]));
    if (!target) continue;
    const auto found = readAll(entry.storage->relation->targetClass(), "ID", target, "LIMIT 1");
    if (!found.empty()) entry.storage->relation->setTarget(object, found.front());
  }
  for (const auto& entry : schema.children()) {
    const Class& elementClass = entry.storage->relation->targetClass();
    const Property* parent = elementClass.property(entry.property->inverse);
    if (!parent) continue;
    readAll(elementClass, std::string(parent->column.empty() ? parent->key : parent->column), object.ID(),
            "ORDER BY \"index\"");
  }
}

}  // namespace qw
