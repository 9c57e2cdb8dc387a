#pragma once

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/columns/ObjectID.h"
#include "store/columns/Row.h"
#include "store/model/ClassSchema.h"

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
  /// Of the objects that were read: those that nothing led to.
  std::vector<std::shared_ptr<QWDatabaseObject>> takeDropped();
  /// For the current row of a query outside of a load: relations are requested from the registry, owned
  /// objects and children are read by queries of their own.
  static void resolveSingleRow(QWDatabaseManager& manager, QWDatabaseObject& object,
                               const ClassSchema& schema, const RowReader& row, const int* columns);
  /// Records the parents, references and owned objects that the current row names.
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
  /// The ID last read from a column, and its object if that has arrived: neighbouring rows mostly belong and
  /// refer to the same objects.
  struct Recent {
    std::string text;
    ObjectID id;
    QWDatabaseObject* object = nullptr;
  };
  /// The list of an object that arrived, into which children go as they are read.
  struct OpenList {
    const QWDatabaseObject* parent = nullptr;
    const Property* parentProperty = nullptr;
    ObjectPointer owner;
    ChildList* list = nullptr;  // null: the parent takes no such children
    const Class* elementClass = nullptr;
  };

  void reserveFor(const std::string& table);
  Table& tableOf(const Class& c);
  ObjectPointer makeObject(const Class& elementClass, QWDatabaseResultSet& row);
  void keep(Table& table, ObjectPointer object);
  const Recent& recentAt(const RowReader& row, int column);
  /// Puts the object of the current row into the list of a parent that has arrived. False when that takes no
  /// such children.
  bool attachAtOnce(ObjectPointer& object, const Property& parentProperty, QWDatabaseObject& parent);
  void openListOf(QWDatabaseObject& parent, const Property& parentProperty);
  void append(ChildList& list, const ObjectPointer& child);
  void sortDisordered();
  void attachChildren(QWDatabaseObject& parent);
  void attachOwned();
  void resolveReferences();
  /// The way from the root leads to the object.
  void arrive(ObjectPointer object);
  void registerArrived();

  QWDatabaseManager& manager_;
  std::unordered_map<const Class*, Table> tables_;  // by the first class of each
  std::unordered_map<const Class*, Table*> tableByClass_;
  std::vector<ObjectPointer> arrived_;  // not registered yet
  std::size_t arrivedCount_ = 0;
  std::vector<QWDatabaseObject*> parents_;  // arrived objects whose class has children, in order
  std::size_t expanded_ = 0;                // how many of them have got their children
  std::vector<Link> references_;
  std::vector<Link> owned_;
  std::vector<ObjectPointer> dropped_;  // links may still name them
  std::array<Recent, 16> recent_;       // by column

  OpenList open_;
  std::vector<ChildList*> disordered_;  // lists whose rows did not come in their order
  // Of the row being read:
  std::vector<Link> rowParents_;
  QWDatabaseObject* rowParent_ = nullptr;  // the first one, if it has arrived
};

}  // namespace qw
