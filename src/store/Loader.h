#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/ClassSchema.h"
#include "store/ObjectID.h"
#include "store/Row.h"

class QWDatabaseManager;
class QWDatabaseObject;
class QWDatabaseResultSet;

namespace qw {

/// Reads a root object and everything below it. Each table is read once; its objects wait, sorted by parent,
/// until the object that they belong to is there. What no parent leads to is dropped: the result is that of
/// asking for the children of each object in the order of "index", which would cost a query an object.
class Loader {
 public:
  explicit Loader(QWDatabaseManager& manager) : manager_(manager) {}

  /// Loads `root` and everything below it. Null when its table has no row.
  std::shared_ptr<QWDatabaseObject> loadRoot(const Class& root);
  /// For a row that the caller stands on outside of a load: relations are requested from the registry, owned
  /// objects and children are read by queries of their own.
  static void resolveSingleRow(QWDatabaseManager& manager, QWDatabaseObject& object,
                               const ClassSchema& schema, const RowReader& row, const int* columns);
  /// Takes down whom the current row belongs and refers to.
  void readRelations(QWDatabaseObject& object, const ClassSchema& schema, const RowReader& row,
                     const int* columns);

 private:
  using ObjectPointer = std::shared_ptr<QWDatabaseObject>;

  /// The objects of one table that are children by one parent column, by the parent's ID.
  struct Buckets {
    std::unordered_map<ObjectID, std::uint32_t> places;
    std::vector<std::vector<ObjectPointer>> lists;
    ObjectID lastParent;
    std::uint32_t lastPlace = 0;

    std::vector<ObjectPointer>& listFor(const ObjectID& parent);
  };
  struct Table {
    bool read = false;
    std::vector<std::pair<std::string_view, Buckets>> buckets;  // by parent key: one or two
    std::unordered_map<ObjectID, ObjectPointer> ownedByID;      // rows without a parent

    Buckets* bucketsFor(std::string_view parentKey);
  };
  struct Link {
    QWDatabaseObject* object;
    const Property* property;
    ObjectID target;
  };

  /// The list of an object that arrived, into which children go as they are read.
  struct OpenList {
    ObjectID parentID;
    const Property* parentProperty = nullptr;
    ObjectPointer parent;
    ChildList* list = nullptr;  // null: the parent has not arrived
  };

  void reserveFor(const std::string& table);
  Table& tableOf(const Class& c);
  ObjectPointer makeObject(const Class& elementClass, QWDatabaseResultSet& row);
  void keep(Table& table, ObjectPointer object);
  /// Puts the object into its parent's list. False when the parent has not arrived or takes no such children.
  bool attachAtOnce(const ObjectPointer& object, const Link& link);
  void append(ChildList& list, const ObjectPointer& child);
  void sortDisordered();
  void attachChildren(QWDatabaseObject& parent);
  void attachOwned();
  void resolveReferences();
  void arrive(const ObjectPointer& object);

  QWDatabaseManager& manager_;
  std::unordered_map<const Class*, Table> tables_;  // by the first class of each
  std::unordered_map<const Class*, Table*> tableByClass_;
  std::vector<ObjectPointer> arrived_;  // in order; children are attached from the front
  std::size_t expanded_ = 0;
  std::vector<Link> references_;
  std::vector<Link> owned_;
  std::vector<ObjectPointer> dropped_;  // links may still name them
  /// The ID last read from a column: neighbouring rows mostly belong and refer to the same objects.
  struct RecentID {
    std::string text;
    ObjectID id;
  };
  const ObjectID& idAt(const RowReader& row, int column);
  std::array<RecentID, 16> recentIDs_;  // by column

  OpenList open_;
  std::vector<ChildList*> disordered_;  // lists whose rows did not come in their order
  // Of the row being read:
  std::vector<Link> parents_;
};

}  // namespace qw
