#include "store/model/ClassSchema.h"

#include <algorithm>
#include <map>
#include <memory>
#include <set>

#include "store/model/QWDatabaseObject.h"

namespace qw {

const ClassSchema& ClassSchema::of(const Class& c) {
  auto& place = c.annotation();
  if (const void* made = place.load(std::memory_order_acquire)) return *static_cast<const ClassSchema*>(made);
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
    if (property->kind == PropertyKind::kChildren) {
      children_.push_back({property, storage, -1});
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
        parents_.push_back(entry);
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
