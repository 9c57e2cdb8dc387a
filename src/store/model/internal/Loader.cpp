#include "store/model/internal/Loader.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "platform/base/Log.h"
#include "store/model/QWDatabaseManager.h"

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
  rows->setLoader(this);
  ObjectPointer object = makeObject(root, *rows);
  rows->next();  // tells whether the row was read whole
  rows.reset();
  if (object) arrive(object);
  registerArrived();
  while (expanded_ < parents_.size() || !owned_.empty()) {
    while (expanded_ < parents_.size()) attachChildren(*parents_[expanded_++]);
    const std::size_t before = arrivedCount_;
    attachOwned();
    if (arrivedCount_ == before) break;
  }
  resolveReferences();
  return object;
}

std::vector<Loader::ObjectPointer> Loader::takeDropped() {
  std::vector<ObjectPointer> dropped = std::move(dropped_);
  for (auto& [name, table] : tables_) {
    for (auto& [key, buckets] : table.buckets)
      for (auto& list : buckets.lists) std::move(list.begin(), list.end(), std::back_inserter(dropped));
    for (auto& [id, object] : table.ownedByID) dropped.push_back(std::move(object));
  }
  std::erase_if(dropped, [](const ObjectPointer& object) { return object->rowState().isRegistered(); });
  std::sort(dropped.begin(), dropped.end());  // one may wait for two parents
  dropped.erase(std::unique(dropped.begin(), dropped.end()), dropped.end());
  return dropped;
}

Loader::ObjectPointer Loader::makeObject(const Class& elementClass, QWDatabaseResultSet& row) {
  const Class* c = classOfRow(elementClass, row);
  ObjectPointer object = c ? std::static_pointer_cast<QWDatabaseObject>(c->create()) : nullptr;
  if (!object) {
    Log::warning("A row of {} is of no class of this store", elementClass.table());
    return nullptr;
  }
  rowParents_.clear();
  rowParent_ = nullptr;
  object->initWithRow(manager_, row);
  return object;
}

const Loader::Recent& Loader::recentAt(const RowReader& row, int column) {
  Recent& recent = recent_[static_cast<std::size_t>(std::max(0, column)) % recent_.size()];
  if (const std::string_view text = row.text(column); text != recent.text) {
    recent.text = text;
    recent.id = ObjectID(text);
    recent.object = nullptr;
  }
  if (!recent.object && recent.id) recent.object = manager_.objects().find(recent.id);
  return recent;
}

void Loader::readRelations(QWDatabaseObject& object, const ClassSchema& schema, const RowReader& row,
                           const int* columns) {
  for (const auto& entry : schema.parents()) {
    const Recent& parent = recentAt(row, columns[entry.column]);
    if (!parent.id) continue;
    if (rowParents_.empty()) rowParent_ = parent.object;
    rowParents_.push_back({&object, entry.property, parent.id});
  }
  for (const auto& entry : schema.references()) {
    const Recent& target = recentAt(row, columns[entry.column]);
    if (!target.id) continue;
    const Relation& relation = *entry.storage->relation;
    if (target.object && target.object->isKindOf(relation.targetClass()))
      relation.setTarget(object, target.object);
    else
      references_.push_back({&object, entry.property, target.id});
  }
  for (const auto& entry : schema.owned())
    if (const ObjectID& target = recentAt(row, columns[entry.column]).id)
      owned_.push_back({&object, entry.property, target});
}

void Loader::keep(Table& table, ObjectPointer object) {
  if (rowParents_.empty()) {
    if (!table.ownedByID.try_emplace(object->ID(), object).second) dropped_.push_back(std::move(object));
    return;
  }
  // Most parents have arrived when the table of their children is read: the child goes into its list while it
  // is at hand.
  if (rowParents_.size() == 1 && rowParent_ &&
      attachAtOnce(object, *rowParents_.front().property, *rowParent_))
    return;
  for (const Link& parent : rowParents_) {
    Buckets* buckets = table.bucketsFor(parent.property->key);
    if (!buckets) buckets = &table.buckets.emplace_back(parent.property->key, Buckets()).second;
    buckets->listFor(parent.target).push_back(object);
  }
}

void Loader::openListOf(QWDatabaseObject& parent, const Property& parentProperty) {
  open_ = {&parent, &parentProperty, parent.sharedAs<QWDatabaseObject>(), nullptr, nullptr};
  const Property* children = parent.objectClass().property(parentProperty.inverse);
  if (!children || children->kind != PropertyKind::kChildren) return;
  open_.list = &children->storage->relation->list(parent);
  open_.elementClass = &children->storage->relation->targetClass();
}

bool Loader::attachAtOnce(ObjectPointer& object, const Property& parentProperty, QWDatabaseObject& parent) {
  if (open_.parent != &parent || open_.parentProperty != &parentProperty) openListOf(parent, parentProperty);
  if (!open_.list || !object->isKindOf(*open_.elementClass)) return false;
  parentProperty.storage->relation->setTarget(*object, open_.owner.get());
  append(*open_.list, object);
  arrive(std::move(object));
  return true;
}

/// Rows that come in their order, as most do, need no sorting.
void Loader::append(ChildList& list, const ObjectPointer& child) {
  if (!list.appendLoaded(child) && (disordered_.empty() || disordered_.back() != &list))
    disordered_.push_back(&list);
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
  manager_.reserveObjects(count);
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
  rows->setLoader(this);
  while (rows->next())
    if (ObjectPointer object = makeObject(*base, *rows)) keep(table, std::move(object));
  registerArrived();
  open_ = {};
  sortDisordered();
  return table;
}

void Loader::arrive(ObjectPointer object) {
  constexpr std::size_t kBatch = 64;
  object->rowState().setRegistered(true);
  ++arrivedCount_;
  if (!ClassSchema::of(object->objectClass()).children().empty()) parents_.push_back(object.get());
  arrived_.push_back(std::move(object));
  if (arrived_.size() == kBatch) registerArrived();
}

void Loader::registerArrived() {
  manager_.registerObjects(arrived_);
  arrived_.clear();
}

void Loader::attachChildren(QWDatabaseObject& parent) {
  for (const auto& entry : ClassSchema::of(parent.objectClass()).children()) {
    const Relation& relation = *entry.storage->relation;
    Table& table = tableOf(relation.targetClass());
    Buckets* buckets = table.bucketsFor(entry.property->inverse);
    if (!buckets) continue;
    const auto place = buckets->places.find(parent.ID());
    if (place == buckets->places.end()) continue;
    std::vector<ObjectPointer> children = std::exchange(buckets->lists[place->second], {});
    ChildList& list = relation.list(parent);
    for (ObjectPointer& child : children) {
      if (child->rowState().isRegistered() || !child->isKindOf(relation.targetClass())) {
        dropped_.push_back(child);
        continue;
      }
      child->objectClass().property(entry.property->inverse)->storage->relation->setTarget(*child, &parent);
      append(list, child);
      arrive(std::move(child));
    }
    registerArrived();
    sortDisordered();
  }
}

void Loader::attachOwned() {
  std::vector<Link> waiting;
  std::swap(waiting, owned_);
  for (const Link& link : waiting) {
    if (!link.object->rowState().isRegistered()) {
      owned_.push_back(link);
      continue;
    }
    const Relation& relation = *link.property->storage->relation;
    Table& table = tableOf(relation.targetClass());
    const auto found = table.ownedByID.find(link.target);
    if (found == table.ownedByID.end() || !found->second->isKindOf(relation.targetClass())) continue;
    ObjectPointer target = std::move(found->second);
    table.ownedByID.erase(found);
    relation.setTarget(*link.object, target.get());
    arrive(std::move(target));
  }
  registerArrived();
}

void Loader::resolveReferences() {
  ObjectID lastID;
  QWDatabaseObject* last = nullptr;
  for (const Link& link : references_) {
    if (!link.object->rowState().isRegistered()) continue;
    if (!(link.target == lastID)) {
      lastID = link.target;
      last = manager_.objects().find(lastID);
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
      // A row that is below itself is read once.
      if (manager.objects().find(ObjectID(rows->stringForColumn("ID").value_or("")))) continue;
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
