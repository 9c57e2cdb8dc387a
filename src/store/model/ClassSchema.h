#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"
#include "store/columns/Relation.h"

namespace qw {

/// What the store works out once for each class from its property table: columns, statements, and the
/// relations by kind. Lives for the process. A class with a fault is logged at its first use; a relation of
/// it that has none, or a wrong, other end is in no list, and does nothing.
class QW_EXPORT ClassSchema {
 public:
  /// A property and where its columns are.
  struct Entry {
    /// The row of the property table.
    const Property* property;
    /// How the property is kept.
    const PropertyStorage* storage;
    int column;  ///< position in columns(), of its first column; -1 for children
  };

  /// Made at first use; any thread.
  static const ClassSchema& of(const Class& c);

  /// The property at the other end of a parent or children relation of `c`, as objects of class `other` have
  /// it; null, with a message in the log, when they cannot be related by it.
  static const Property* otherEnd(const Class& c, const Property& relation, const Class& other);
  /// What is wrong with a class by itself, or with a store's model; empty when nothing is. Names class and
  /// property.
  static std::string fault(const Class& c);
  /// The same for a whole model, from its root class on.
  static std::string fault(const Class& root, std::span<const Class* const> classes);

  /// Whose schema this is.
  const Class& objectClass() const { return class_; }
  /// The SQL table; empty for a class that is not persisted.
  const std::string& table() const { return table_; }
  /// For statements: a table may be called "Order".
  const std::string& quotedTable() const { return quotedTable_; }
  /// "ID", "lastModificationDate", then those of the property table from the root class down.
  const std::vector<std::string>& columns() const { return columns_; }
  /// Declared SQL types of the columns.
  const std::vector<std::string_view>& types() const { return types_; }
  /// Everything but children, in column order.
  const std::vector<Entry>& stored() const { return stored_; }
  /// In column order.
  const std::vector<Entry>& attributes() const { return attributes_; }
  /// In column order.
  const std::vector<Entry>& references() const { return references_; }
  /// In column order.
  const std::vector<Entry>& owned() const { return owned_; }
  /// In column order.
  const std::vector<Entry>& parents() const { return parents_; }
  /// In the order of the property table.
  const std::vector<Entry>& children() const { return children_; }
  /// Position of "index", -1 without a parent.
  int indexColumn() const { return indexColumn_; }
  /// Position of "class", -1 for a class with a table of its own.
  int classColumn() const { return classColumn_; }

  /// With parameters in column order.
  const std::string& insertStatement() const { return insert_; }
  /// With parameters in column order, and "sqlID" last.
  const std::string& updateStatement() const { return update_; }
  /// With "sqlID" as its parameter.
  const std::string& deleteStatement() const { return delete_; }

  /// The name in the column "class": a name beginning "QWKT" loses its first two characters.
  static std::string_view storedClassName(std::string_view name);
  /// The class with that stored name among the registered ones; null when there is none.
  static const Class* classWithStoredName(std::string_view stored);

  /// Key of the property's title in the table "Synchronization": its own, or "Class.key", or, where no table
  /// has that, the property's key.
  static std::string titleKey(const Class& c, const Property& property);

  /// "name" with quotation marks doubled inside.
  static std::string quoted(std::string_view name);
  /// CREATE TABLE for every table of the classes; a table has the columns of all classes that share it. No
  /// index is made: loading reads each table once, and every index would multiply the cost of saving.
  static std::string createStatements(std::span<const Class* const> classes);

 private:
  explicit ClassSchema(const Class& c);

  const Class& class_;
  std::string table_, quotedTable_;
  std::vector<std::string> columns_;
  std::vector<std::string_view> types_;
  std::vector<Entry> stored_, attributes_, references_, owned_, parents_, children_;
  int indexColumn_ = -1;
  int classColumn_ = -1;
  std::string insert_, update_, delete_;
};

}  // namespace qw
