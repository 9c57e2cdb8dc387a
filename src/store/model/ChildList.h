#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/IndexSet.h"
#include "store/columns/ObjectID.h"
#include "store/columns/Relation.h"
#include "store/model/OrderedSequence.h"

class QWDatabaseManager;

namespace qw {

/// The ordered children of an object: rows of their own with the parent's ID and a number "index", by which a
/// load sorts them. Every edit is undoable, notifies the observers of the relation and keeps the children's
/// parent right; each takes logarithmic time wherever in the list it happens. In memory the children count
/// from 0 on without gaps; in the file their numbers leave room, so that a save writes the rows that moved
/// and no others. Owned by the parent, owns the children.
class QW_EXPORT ChildList {
  struct Place {
    static void*& place(QWDatabaseObject& child);
  };

 public:
  /// What `objects` answers: a range with random access, whose elements are shared pointers.
  using Objects = OrderedSequence<QWDatabaseObject, Place>;

  ChildList();
  ~ChildList();
  ChildList(const ChildList&) = delete;
  ChildList& operator=(const ChildList&) = delete;

  /// The number of children.
  std::size_t size() const { return items_.size(); }
  /// Whether there are no children.
  bool empty() const { return items_.empty(); }
  /// `kNone` when the object is not among the children.
  std::size_t indexOf(const QWDatabaseObject& child) const;
  /// The index of what is not there.
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  /// The children in order; valid until the list changes.
  const Objects& objects() const { return items_; }
  /// A copy that later edits do not change.
  std::vector<std::shared_ptr<QWDatabaseObject>> toVector() const { return {items_.begin(), items_.end()}; }

  /// Removes the child from its parent first; an index beyond the end is the end. False, with nothing
  /// changed, when these would become the children of an object below the child. Requires: same store.
  bool insertObject(std::shared_ptr<QWDatabaseObject> child, std::size_t index);
  /// Appends a child, as `insertObject` does.
  bool addObject(std::shared_ptr<QWDatabaseObject> child) { return insertObject(std::move(child), kNone); }
  /// Removes a child without deleting it: it has no parent then and index -1.
  void detach(QWDatabaseObject& child);
  /// Removes a child and deletes it.
  void remove(QWDatabaseObject& child);
  /// To another place; `to` counts without the child.
  void move(QWDatabaseObject& child, std::size_t to);
  /// Exactly these children in this order; the ones that are no longer there are deleted. False, with nothing
  /// changed, when one of them is the owner or above it.
  bool setObjects(const std::vector<std::shared_ptr<QWDatabaseObject>>& children);
  /// Where a child with this ID belongs when the order of `order` is to be kept: behind the last child whose
  /// ID precedes it there, else at the front.
  std::size_t indexToInsertObject(const ObjectID& child, const std::vector<ObjectID>& order) const;
  /// Where the child belongs that has this ID in another store, among these siblings: behind the nearest of
  /// those before it that is here, too, else at the front. Children that come in their order cost no search.
  std::size_t indexToInsertObject(const ObjectID& child, const ChildList& siblings) const;

  /// Whose children these are.
  std::shared_ptr<QWDatabaseObject> owner() const;

  /// Value of the relation: an array of the children.
  Value toValue() const;

  /// Looks from the object upwards and from the other one downwards at once, and ends with whichever way ends
  /// first: a tree of n objects is put together, in any order, with O(n log n) steps in all.
  static bool isOrIsBelow(const QWDatabaseObject& object, const QWDatabaseObject& other);
  /// The children of the object, their children and so on; not the object itself.
  static std::unordered_set<const QWDatabaseObject*> allBelow(const QWDatabaseObject& object);

  // For the store.
  /// Whose children these are to be, and by which property.
  void bind(QWDatabaseObject& owner, const Property& property) {
    owner_ = &owner;
    property_ = &property;
  }
  /// Appends without undo, notices and modification.
  void append(std::shared_ptr<QWDatabaseObject> child);
  /// The same for one that was loaded; false when its number does not lie behind the last one's.
  bool appendLoaded(const std::shared_ptr<QWDatabaseObject>& child);
  /// After a load: sorts by number. Those that have none of their own get one with the next save.
  void sort();
  /// Gives the children that moved numbers between those of their neighbours, which are renumbered only where
  /// there is no room.
  void number();
  /// What counts as a number in the file.
  static bool isNumber(std::int64_t number);
  /// After a save: the numbers that no row has any more are free. True when nothing is left to remember.
  bool forgetWrittenNumbers();
  /// Forgets what the next save was to know.
  void forgetEdits() { edits_.reset(); }

 private:
  /// Whose number it was, and how many saves had been computed when it was given up.
  struct Released {
    std::shared_ptr<QWDatabaseObject> child;
    std::uint32_t computation;
  };
  /// What edits leave for the next save.
  struct Edits {
    /// Children that have no number between those of their neighbours, perhaps no longer here.
    std::vector<std::shared_ptr<QWDatabaseObject>> unplaced;
    /// Numbers that rows in the file may still have, although their objects left or have another one now.
    /// Only the same object gets its number back until its row is known to have been written without it: so
    /// two rows never share one, whichever of them fail.
    std::map<std::int64_t, Released> released;
  };

  bool isGoingBack() const;
  void indexesChanged();
  bool takesBack(QWDatabaseObject& child);
  void detachAt(std::size_t index);

  Edits& edits();
  void place(QWDatabaseObject& child, std::size_t index);
  void markUnplaced(QWDatabaseObject& child);
  std::vector<std::size_t> unplacedIndexes();
  void keepNumbersInOrder(std::size_t begin, std::size_t end);
  std::size_t numberRun(std::size_t begin, std::size_t end);
  void release(QWDatabaseObject& child);
  void setNumber(QWDatabaseObject& child, std::int64_t number);

  QWDatabaseObject* owner_ = nullptr;
  const Property* property_ = nullptr;
  Objects items_;
  std::unique_ptr<Edits> edits_;
};

/// The children as their class: `for (Expense& expense : book->expenses())`.
template <class T>
class QW_EXPORT Children : public ChildList {
 public:
  /// A random-access iterator over the children; ends when the list changes.
  class Iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = T;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using reference = T&;

    Iterator() = default;
    /// For the list.
    explicit Iterator(Objects::Iterator place) : place_(place) {}
    T& operator*() const { return static_cast<T&>(**place_); }
    T* operator->() const { return &**this; }
    /// The child that many places further on.
    T& operator[](difference_type n) const { return *(*this + n); }
    Iterator& operator++() {
      ++place_;
      return *this;
    }
    Iterator operator++(int) { return Iterator(place_++); }
    Iterator& operator--() { return *this += -1; }
    Iterator operator--(int) { return Iterator(place_--); }
    Iterator& operator+=(difference_type n) {
      place_ += n;
      return *this;
    }
    Iterator& operator-=(difference_type n) { return *this += -n; }
    friend Iterator operator+(Iterator i, difference_type n) { return i += n; }
    friend Iterator operator+(difference_type n, Iterator i) { return i += n; }
    friend Iterator operator-(Iterator i, difference_type n) { return i -= n; }
    friend difference_type operator-(const Iterator& a, const Iterator& b) { return a.place_ - b.place_; }
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.place_ == b.place_; }
    friend auto operator<=>(const Iterator& a, const Iterator& b) { return a.place_ <=> b.place_; }

   private:
    Objects::Iterator place_;
  };

  /// At the first child.
  Iterator begin() const { return Iterator(objects().begin()); }
  /// Behind the last child.
  Iterator end() const { return Iterator(objects().end()); }
  /// Requires: index < size().
  T& operator[](std::size_t index) const { return static_cast<T&>(*objects()[index]); }
  /// The child, kept alive. Requires: index < size().
  std::shared_ptr<T> at(std::size_t index) const { return std::static_pointer_cast<T>(objects()[index]); }

  /// A new child at the end, of a class below `T` if asked for. Null where the parent is in no store. Needs
  /// store/model/QWDatabaseManager.h.
  template <class Child = T>
  std::shared_ptr<Child> create();
  /// Appends a child, which leaves its former parent; false as `insertObject` says.
  bool add(std::shared_ptr<T> child) { return addObject(std::move(child)); }
  /// Inserts a child, which leaves its former parent; beyond the end means the end.
  bool insert(std::shared_ptr<T> child, std::size_t index) { return insertObject(std::move(child), index); }
  /// As `setObjects`.
  bool set(const std::vector<std::shared_ptr<T>>& children) {
    return setObjects({children.begin(), children.end()});
  }
};

}  // namespace qw
