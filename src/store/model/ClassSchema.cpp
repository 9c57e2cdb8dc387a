#include "store/model/ClassSchema.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include "platform/base/Log.h"
#include "platform/system/Localization.h"
#include "store/model/QWDatabaseObject.h"

namespace qw {

namespace {

/// Whether an object of class `c`, or of a class below an abstract one, can be a `target`.
bool fits(const Class& c, const Class& target) {
  return c.isSubclassOf(target) || (c.isAbstract() && target.isSubclassOf(c));
}

bool isKind(const Property& property, PropertyKind kind) {
  return property.kind == kind && property.storage && property.storage->relation;
}

/// Whether objects of `c` are what the other end's relation leads to.
std::string faultOfEnds(const Class& c, const Property& relation, const Class& other) {
  const auto fault = [&](std::string_view what) {
    return fmt::format("{}.{} names \"{}\" of {} as its other end, {}", c.name(), relation.key,
                       relation.inverse, other.name(), what);
  };
  if (!fits(other, relation.storage->relation->targetClass()))
    return fault(fmt::format("which is no {}", relation.storage->relation->targetClass().name()));
  const Property* end = other.property(relation.inverse);
  if (!end) return fault("which it does not have");
  const bool isParent = relation.kind == PropertyKind::kParent;
  if (!isKind(*end, isParent ? PropertyKind::kChildren : PropertyKind::kParent))
    return fault(isParent ? "which is no list of children" : "which is no parent");
  if (end->inverse != relation.key) return fault(fmt::format("which names \"{}\"", end->inverse));
  const Class& target = end->storage->relation->targetClass();
  return fits(c, target) ? "" : fault(fmt::format("which is for objects of {}", target.name()));
}

std::string faultOfRelation(const Class& c, const Property& property) {
  if (!property.storage || !property.storage->relation) return {};
  const Class& target = property.storage->relation->targetClass();
  if (property.kind == PropertyKind::kParent || property.kind == PropertyKind::kChildren)
    return faultOfEnds(c, property, target);
  return {};
}

std::string lowercase(std::string_view name) {
  std::string text(name);
  for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  return text;
}

/// The topmost class with the table of `c`, whose rows may be of any class below it.
const Class& baseOfTable(const Class& c) {
  const Class* base = &c;
  while (base->superclass() && base->superclass()->table() == c.table()) base = base->superclass();
  return *base;
}

/// Rows that cannot be told apart.
std::string faultOfTables(std::span<const Class* const> classes) {
  std::map<std::string, const Class*> tables;
  for (const std::string_view own : {"QWMetadata", "QWDeletedID", "QWSynchronizationHandler"})
    tables[lowercase(own)] = nullptr;
  for (const Class* c : classes) {
    if (c->table().empty()) continue;
    const auto [entry, isFirst] = tables.try_emplace(lowercase(c->table()), c);
    if (isFirst) continue;
    const Class* other = entry->second;
    if (!other)
      return fmt::format("{} has the table \"{}\", which is the store's own", c->name(), c->table());
    if (&baseOfTable(*c) != &baseOfTable(*other))
      return fmt::format("{} and {} have the table \"{}\", but no superclass that has it", other->name(),
                         c->name(), c->table());
    for (const Class* one : {other, c})
      if (!one->property("class") || one->property("class")->storage != &detail::kClassStorage)
        return fmt::format("{} and {} share the table \"{}\" without qw::classColumn()", other->name(),
                           c->name(), c->table());
  }
  return {};
}

/// Everything that rows may lead to has to be in the list.
std::string faultOfTargets(const Class& c, std::span<const Class* const> classes) {
  for (const Property* property : c.properties()) {
    if (!property->storage || !property->storage->relation) continue;
    const Class& target = property->storage->relation->targetClass();
    const bool isListed = std::any_of(classes.begin(), classes.end(), [&](const Class* listed) {
      return listed == &target || (target.isAbstract() && listed->isSubclassOf(target));
    });
    if (!isListed)
      return fmt::format("{}.{} leads to {}, which modelClasses() does not list", c.name(), property->key,
                         target.name());
    if (target.table().empty() && !target.isAbstract())
      return fmt::format("{}.{} leads to {}, which has no table", c.name(), property->key, target.name());
  }
  return {};
}

}  // namespace

const Property* ClassSchema::otherEnd(const Class& c, const Property& relation, const Class& other) {
  const std::string fault = faultOfEnds(c, relation, other);
  if (fault.empty()) return other.property(relation.inverse);
  Log::error("The model is wrong: {}", fault);
  return nullptr;
}

std::string ClassSchema::fault(const Class& c) {
  std::set<std::string> columns{"sqlid", "id", "lastmodificationdate"};
  bool isIndexed = false;
  for (const Property* property : c.properties()) {
    if (std::string fault = faultOfRelation(c, *property); !fault.empty()) return fault;
    if (!property->storage || property->kind == PropertyKind::kChildren) continue;
    const std::string_view name = property->column.empty() ? property->key : property->column;
    std::vector<std::string> names;
    for (const std::string_view suffix : property->storage->suffixes)
      names.push_back(std::string(name) + std::string(suffix));
    if (property->kind == PropertyKind::kParent && !std::exchange(isIndexed, true)) names.push_back("index");
    for (const std::string& column : names)
      if (!columns.insert(lowercase(column)).second)
        return fmt::format("{}.{} has the column \"{}\", which there is already", c.name(), property->key,
                           column);
  }
  for (const Property& property : c.ownProperties()) {
    const Property* above = c.superclass() ? c.superclass()->property(property.key) : nullptr;
    if (above && property.overrides && above->kind != property.kind)
      return fmt::format("{}.{} is of another kind than the property that it overrides", c.name(),
                         property.key);
    if (above && !property.overrides)
      return fmt::format("{}.{} takes the place of a superclass's property without qw::overriding", c.name(),
                         property.key);
    if (!above && property.overrides)
      return fmt::format("{}.{} is qw::overriding, but no superclass has the property", c.name(),
                         property.key);
  }
  return {};
}

std::string ClassSchema::fault(const Class& root, std::span<const Class* const> classes) {
  if (std::find(classes.begin(), classes.end(), nullptr) != classes.end())
    return "modelClasses() lists a null pointer";
  if (!root.table().empty() && root.isAbstract())
    return fmt::format("{}, the class of the root object, is abstract", root.name());
  if (!root.table().empty() && std::find(classes.begin(), classes.end(), &root) == classes.end())
    return fmt::format("modelClasses() does not list {}, the class of the root object", root.name());
  std::map<std::string_view, const Class*> names;
  for (const Class* c : classes) {
    if (std::count(classes.begin(), classes.end(), c) > 1)
      return fmt::format("modelClasses() lists {} twice", c->name());
    const Class* registered = ClassRegistry::find(c->name());
    if ((registered && registered != c) || names.try_emplace(c->name(), c).first->second != c)
      return fmt::format("there are two classes called {}", c->name());
    if (std::string fault = ClassSchema::fault(*c); !fault.empty()) return fault;
    if (std::string fault = faultOfTargets(*c, classes); !fault.empty()) return fault;
  }
  return faultOfTables(classes);
}

const ClassSchema& ClassSchema::of(const Class& c) {
  auto& place = c.annotation();
  if (const void* made = place.load(std::memory_order_acquire)) return *static_cast<const ClassSchema*>(made);
  if (const std::string fault = ClassSchema::fault(c); !fault.empty())
    Log::error("The model is wrong: {}", fault);
  std::unique_ptr<const ClassSchema> schema(new ClassSchema(c));
  const void* expected = nullptr;
  if (place.compare_exchange_strong(expected, schema.get(), std::memory_order_acq_rel))
    return *schema.release();
  return *static_cast<const ClassSchema*>(expected);
}

ClassSchema::ClassSchema(const Class& c) : class_(c), table_(c.table()), quotedTable_(quoted(table_)) {
  const auto add = [&](std::string name, std::string_view type) {
    columns_.push_back(std::move(name));
    types_.push_back(type);
  };
  add("ID", "TEXT");
  add("lastModificationDate", "TEXT");
  for (const Property* property : c.properties()) {
    const PropertyStorage* storage = property->storage;
    if (!storage) continue;
    const bool isLost = !faultOfRelation(c, *property).empty();
    if (property->kind == PropertyKind::kChildren) {
      if (!isLost) children_.push_back({property, storage, -1});
      continue;
    }
    const Entry entry{property, storage, static_cast<int>(columns_.size())};
    const std::string_view name = property->column.empty() ? property->key : property->column;
    for (std::size_t i = 0; i < storage->suffixes.size(); ++i)
      add(std::string(name) + std::string(storage->suffixes[i]), storage->types[i]);
    stored_.push_back(entry);
    switch (property->kind) {
      case PropertyKind::kReference:
        references_.push_back(entry);
        break;
      case PropertyKind::kOwned:
        owned_.push_back(entry);
        break;
      case PropertyKind::kParent:
        if (!isLost) parents_.push_back(entry);
        if (indexColumn_ < 0) {
          indexColumn_ = static_cast<int>(columns_.size());
          add("index", "INTEGER");
        }
        break;
      default:
        if (storage->read)
          attributes_.push_back(entry);
        else
          classColumn_ = entry.column;
    }
  }
  std::string names, parameters, assignments;
  for (const std::string& column : columns_) {
    const char* separator = names.empty() ? "" : ", ";
    names += separator + quoted(column);
    parameters += separator + (":" + column);
    assignments += separator + quoted(column) + " = :" + column;
  }
  insert_ = "INSERT INTO " + quotedTable_ + " (" + names + ") VALUES (" + parameters + ")";
  update_ = "UPDATE " + quotedTable_ + " SET " + assignments + " WHERE \"sqlID\" = :sqlID";
  delete_ = "DELETE FROM " + quotedTable_ + " WHERE \"sqlID\" = :sqlID";
}

std::string_view ClassSchema::storedClassName(std::string_view name) {
  return name.starts_with("QWKT") ? name.substr(2) : name;
}

const Class* ClassSchema::classWithStoredName(std::string_view stored) {
  return ClassRegistry::find(stored == "KTClient" ? std::string_view("QWKTClient") : stored);
}

std::string ClassSchema::titleKey(const Class& c, const Property& property) {
  if (!property.localizationKey.empty()) return std::string(property.localizationKey);
  const Class* owner = c.ownerOf(property);
  std::string key = fmt::format("{}.{}", owner ? owner->name() : c.name(), property.key);
  constexpr std::string_view kTable = Localization::kSynchronizationTable;
  const bool isKnown =
      Localization::findApplicationString(key, kTable) || Localization::findFrameworkString(key, kTable);
  return isKnown ? key : std::string(property.key);
}

std::string ClassSchema::quoted(std::string_view name) {
  std::string text = "\"";
  for (const char c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
  return text + "\"";
}

std::string ClassSchema::createStatements(std::span<const Class* const> classes) {
  struct Table {
    std::vector<std::string> columns;
    std::set<std::string> names;
  };
  std::map<std::string, Table> tables;
  for (const Class* c : classes) {
    const ClassSchema& schema = of(*c);
    if (schema.table().empty()) continue;
    Table& table = tables[schema.table()];
    for (std::size_t i = 0; i < schema.columns().size(); ++i)
      if (table.names.insert(schema.columns()[i]).second)
        table.columns.push_back(quoted(schema.columns()[i]) + " " + std::string(schema.types()[i]));
  }
  std::string sql;
  for (const auto& [name, table] : tables) {
    sql += "CREATE TABLE IF NOT EXISTS " + quoted(name) + " (\"sqlID\" INTEGER PRIMARY KEY";
    for (const std::string& column : table.columns) sql += ", " + column;
    sql += ");\n";
  }
  return sql;
}

void detail::bindClass(RowBinder& row, const QWDatabaseObject& object) {
  row.bindText(ClassSchema::storedClassName(object.objectClass().name()));
}

}  // namespace qw
