#pragma once

#include <cstddef>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/IndexSet.h"
#include "store/columns/ObjectID.h"
#include "store/columns/Relation.h"

namespace qw {

/// The ordered children of an object: rows of their own with the parent's ID and an "index" from 0 on. Every
/// edit is undoable, notifies the observers of the relation and keeps the children's parent and index right;
/// indexes behind an insertion or removal are updated together before they are read or saved.
/// Owned by the parent, owns the children.
class QW_EXPORT ChildList {
 public:
  ChildList() = default;
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
  const std::vector<std::shared_ptr<QWDatabaseObject>>& objects() const { return items_; }

  /// Removes the child from its parent first. An index beyond the end is the end. Requires: same store.
  void insertObject(std::shared_ptr<QWDatabaseObject> child, std::size_t index);
  /// Appends a child, as `insertObject` does.
  void addObject(std::shared_ptr<QWDatabaseObject> child) { insertObject(std::move(child), items_.size()); }
  /// Removes a child without deleting it: it has no parent then and index -1.
  void detach(QWDatabaseObject& child);
  /// Removes a child and deletes it.
  void remove(QWDatabaseObject& child);
  /// To another place; `to` counts without the child.
  void move(QWDatabaseObject& child, std::size_t to);
  /// Exactly these children in this order; the ones that are no longer there are deleted.
  void setObjects(const std::vector<std::shared_ptr<QWDatabaseObject>>& children);
  /// Where a child with this ID belongs when the order of `order` is to be kept: behind the last child whose
  /// ID precedes it there, else at the front.
  std::size_t indexToInsertObject(const ObjectID& child, const std::vector<ObjectID>& order) const;
  /// Where the child belongs that has this ID in another store, among these siblings: behind the nearest of
  /// those before it that is here, too, else at the front. Children that come in their order cost no search.
  std::size_t indexToInsertObject(const ObjectID& child, const ChildList& siblings) const;

  /// Updates stale indexes.
  void settle();

  /// Whose children these are.
  std::shared_ptr<QWDatabaseObject> owner() const;

  /// Value of the relation: an array of the children.
  Value toValue() const;

 private:
  friend class Loader;
  friend class ::QWDatabaseObject;

  void bind(QWDatabaseObject& owner, const Property& property) {
    owner_ = &owner;
    property_ = &property;
  }
  void markStale(std::size_t from);
  void detachAt(std::size_t index);
  /// As stored: appended without undo, notices and modification.
  void append(std::shared_ptr<QWDatabaseObject> child);

  QWDatabaseObject* owner_ = nullptr;
  const Property* property_ = nullptr;
  std::vector<std::shared_ptr<QWDatabaseObject>> items_;
  std::size_t staleFrom_ = kNone;
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
    explicit Iterator(const std::shared_ptr<QWDatabaseObject>* place) : place_(place) {}
    T& operator*() const { return static_cast<T&>(**place_); }
    T* operator->() const { return &**this; }
    /// The child that many places further on.
    T& operator[](difference_type n) const { return *(*this + n); }
    Iterator& operator++() { return *this += 1; }
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
    friend difference_type operator-(Iterator a, Iterator b) { return a.place_ - b.place_; }
    friend auto operator<=>(Iterator, Iterator) = default;

   private:
    const std::shared_ptr<QWDatabaseObject>* place_ = nullptr;
  };

  /// At the first child.
  Iterator begin() const { return Iterator(objects().data()); }
  /// Behind the last child.
  Iterator end() const { return Iterator(objects().data() + size()); }
  /// Requires: index < size().
  T& operator[](std::size_t index) const { return static_cast<T&>(*objects()[index]); }
  /// The child, kept alive. Requires: index < size().
  std::shared_ptr<T> at(std::size_t index) const { return std::static_pointer_cast<T>(objects()[index]); }

  /// A new child at the end, of a class below `T` if asked for. Null where the parent is in no store. Needs
  /// store/model/QWDatabaseManager.h.
  template <class Child = T>
  std::shared_ptr<Child> create();
  /// Appends a child, which leaves its former parent.
  void add(std::shared_ptr<T> child) { addObject(std::move(child)); }
  /// Inserts a child, which leaves its former parent; beyond the end means the end.
  void insert(std::shared_ptr<T> child, std::size_t index) { insertObject(std::move(child), index); }
  /// As `setObjects`.
  void set(const std::vector<std::shared_ptr<T>>& children) {
    setObjects({children.begin(), children.end()});
  }
};

}  // namespace qw
