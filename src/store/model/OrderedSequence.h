#pragma once

#include <algorithm>
#include <compare>
#include <cstddef>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "platform/base/Export.h"

namespace qw {

/// A sequence that takes insertion, removal and look-up by place anywhere in logarithmic time: a plain vector
/// as long as it is short, then a B+ tree of blocks that know how many elements lie below them. Every element
/// knows its block (`Hook::place(element)`, a `void*&` that belongs to the sequence), so that its place is
/// found without a search. An element is in one such sequence at a time.
template <class T, class Hook>
class QW_EXPORT OrderedSequence {
 public:
  /// How elements are held; never null.
  using Pointer = std::shared_ptr<T>;

  /// Visits the elements in order, with random access; valid until the sequence changes.
  class Iterator {
   public:
    using iterator_category = std::random_access_iterator_tag;
    using value_type = Pointer;
    using difference_type = std::ptrdiff_t;
    using pointer = const Pointer*;
    using reference = const Pointer&;

    Iterator() = default;
    /// At the element with this index; at the end for the size.
    Iterator(const OrderedSequence& sequence, std::size_t index) : sequence_(&sequence) { seek(index); }
    const Pointer& operator*() const { return *place_; }
    const Pointer* operator->() const { return place_; }
    /// The element so many places further on.
    const Pointer& operator[](difference_type n) const { return *(*this + n); }
    Iterator& operator++() {
      ++index_;
      if (++place_ == end_) seek(index_);
      return *this;
    }
    Iterator& operator--() { return *this += -1; }
    Iterator operator++(int) { return std::exchange(*this, *this + 1); }
    Iterator operator--(int) { return std::exchange(*this, *this - 1); }
    Iterator& operator+=(difference_type n) {
      seek(index_ + static_cast<std::size_t>(n));
      return *this;
    }
    Iterator& operator-=(difference_type n) { return *this += -n; }
    friend Iterator operator+(Iterator i, difference_type n) { return i += n; }
    friend Iterator operator+(difference_type n, Iterator i) { return i += n; }
    friend Iterator operator-(Iterator i, difference_type n) { return i -= n; }
    friend difference_type operator-(const Iterator& a, const Iterator& b) {
      return static_cast<difference_type>(a.index_) - static_cast<difference_type>(b.index_);
    }
    friend bool operator==(const Iterator& a, const Iterator& b) { return a.index_ == b.index_; }
    friend auto operator<=>(const Iterator& a, const Iterator& b) { return a.index_ <=> b.index_; }

   private:
    void seek(std::size_t index) {
      index_ = index;
      if (index >= sequence_->size()) {
        place_ = end_ = nullptr;
        return;
      }
      const Leaf* leaf = sequence_->find(index);
      place_ = leaf->items.data() + index;
      end_ = leaf->items.data() + leaf->items.size();
    }

    const OrderedSequence* sequence_ = nullptr;
    std::size_t index_ = 0;
    const Pointer* place_ = nullptr;
    const Pointer* end_ = nullptr;  // of the block
  };

  OrderedSequence() = default;
  /// Takes the elements over; long sequences cost no more than short ones.
  OrderedSequence(OrderedSequence&& other) noexcept {
    own_.parent = std::exchange(other.own_.parent, nullptr);
    fill(&own_, std::exchange(other.own_.items, {}));
  }
  OrderedSequence& operator=(OrderedSequence&&) = delete;
  ~OrderedSequence() { clear(); }

  /// The number of elements.
  std::size_t size() const { return own_.parent ? own_.parent->count : own_.items.size(); }
  /// Whether there are no elements.
  bool empty() const { return size() == 0; }
  /// Requires: an index below the size.
  const Pointer& operator[](std::size_t index) const {
    const Leaf* leaf = find(index);
    return leaf->items[index];
  }
  /// Requires: not empty.
  const Pointer& front() const { return (*this)[0]; }
  /// Requires: not empty.
  const Pointer& back() const { return lastLeaf()->items.back(); }
  /// At the first element.
  Iterator begin() const { return {*this, 0}; }
  /// Behind the last element.
  Iterator end() const { return {*this, size()}; }

  /// Whether the element is in this sequence and not in another one or in none.
  bool contains(const T& element) const {
    const Node* node = leafOf(element);
    if (!node) return false;
    while (node->parent) node = node->parent;
    return node == (own_.parent ? own_.parent : static_cast<const Node*>(&own_));
  }
  /// Requires: the element is in some sequence. Answers its place there.
  static std::size_t indexOf(const T& element) {
    const Leaf* leaf = leafOf(element);
    std::size_t index = leaf->placeOf(element);
    const Node* node = leaf;
    for (const Branch* branch = node->parent; branch; node = branch, branch = branch->parent)
      for (std::size_t i = branch->slot(node); i-- > 0;) index += branch->counts[i];
    return index;
  }

  /// Requires: not null, and in no sequence.
  void push_back(Pointer element) {
    Leaf* leaf = lastLeaf();
    insertAt(leaf, leaf->items.size(), std::move(element));
  }
  /// Before the element with this index; at the end for the size. Requires: not null, and in no sequence.
  void insert(std::size_t index, Pointer element) {
    Leaf* leaf = find(index);
    insertAt(leaf, index, std::move(element));
  }
  /// Requires: the element is in this sequence.
  void erase(const T& element) {
    Leaf* leaf = leafOf(element);
    const std::size_t index = leaf->placeOf(element);
    Hook::place(*leaf->items[index]) = nullptr;
    leaf->items.erase(leaf->items.begin() + static_cast<std::ptrdiff_t>(index));
    count(leaf, -1);
    if (leaf->parent && leaf->items.size() < kMost / 4) shrink(leaf);
  }
  /// Exactly these in this order. Requires: none is null, and none is in another sequence.
  void assign(std::vector<Pointer> elements) {
    clear();
    for (Pointer& element : elements) push_back(std::move(element));
  }
  /// Lets go of all elements.
  void clear() {
    empty([](std::vector<Pointer>) {});
  }
  /// Empties the sequence and answers what it held.
  std::vector<Pointer> take() {
    std::vector<Pointer> elements;
    elements.reserve(size());
    empty([&](std::vector<Pointer> items) {
      for (Pointer& element : items) elements.push_back(std::move(element));
    });
    return elements;
  }

 private:
  static constexpr std::size_t kMost = 64;  // elements of a leaf, nodes of a branch

  struct Branch;
  struct Node {
    Branch* parent = nullptr;
  };
  struct Leaf : Node {
    std::vector<Pointer> items;

    std::size_t placeOf(const T& element) const {
      std::size_t i = 0;
      while (items[i].get() != &element) ++i;
      return i;
    }
  };
  struct Branch : Node {
    bool isAboveLeaves = false;
    std::size_t count = 0;  // the sum of counts
    std::vector<Node*> nodes;
    std::vector<std::size_t> counts;  // of the elements below each

    std::size_t slot(const Node* node) const {
      if (nodes.back() == node) return nodes.size() - 1;
      return static_cast<std::size_t>(std::find(nodes.begin(), nodes.end(), node) - nodes.begin());
    }
    void add(std::size_t slot, Node* node, std::size_t below) {
      nodes.insert(nodes.begin() + static_cast<std::ptrdiff_t>(slot), node);
      counts.insert(counts.begin() + static_cast<std::ptrdiff_t>(slot), below);
      node->parent = this;
    }
    void drop(std::size_t slot) {
      nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(slot));
      counts.erase(counts.begin() + static_cast<std::ptrdiff_t>(slot));
    }
  };

  static Leaf* leafOf(const T& element) { return static_cast<Leaf*>(Hook::place(const_cast<T&>(element))); }

  /// The block with that place, which becomes the place in the block.
  const Leaf* find(std::size_t& index) const {
    const Branch* branch = own_.parent;
    if (!branch) return &own_;
    for (;;) {
      std::size_t i = 0;
      for (; i + 1 < branch->counts.size() && index >= branch->counts[i]; ++i) index -= branch->counts[i];
      if (branch->isAboveLeaves) return static_cast<const Leaf*>(branch->nodes[i]);
      branch = static_cast<const Branch*>(branch->nodes[i]);
    }
  }
  Leaf* find(std::size_t& index) { return const_cast<Leaf*>(std::as_const(*this).find(index)); }
  const Leaf* lastLeaf() const {
    const Branch* branch = own_.parent;
    if (!branch) return &own_;
    while (!branch->isAboveLeaves) branch = static_cast<const Branch*>(branch->nodes.back());
    return static_cast<const Leaf*>(branch->nodes.back());
  }
  Leaf* lastLeaf() { return const_cast<Leaf*>(std::as_const(*this).lastLeaf()); }

  /// Hands the elements of one leaf after the other over.
  template <class Take>
  void empty(Take take) {
    Branch* root = std::exchange(own_.parent, nullptr);
    if (root)
      empty(root, take);
    else
      release(own_, take);
  }
  /// As deep as the tree: a handful of levels.
  template <class Take>
  static void empty(Branch* branch, Take& take) {
    for (Node* node : branch->nodes) {
      if (!branch->isAboveLeaves) {
        empty(static_cast<Branch*>(node), take);
        continue;
      }
      release(*static_cast<Leaf*>(node), take);
      delete static_cast<Leaf*>(node);
    }
    delete branch;
  }
  template <class Take>
  static void release(Leaf& leaf, Take& take) {
    for (const Pointer& element : leaf.items) Hook::place(*element) = nullptr;
    take(std::exchange(leaf.items, {}));
  }

  static void count(Node* node, std::ptrdiff_t change) {
    for (Branch* branch = node->parent; branch; node = branch, branch = branch->parent) {
      branch->counts[branch->slot(node)] += static_cast<std::size_t>(change);
      branch->count += static_cast<std::size_t>(change);
    }
  }

  static void fill(Leaf* leaf, std::vector<Pointer> items) {
    leaf->items = std::move(items);
    for (const Pointer& element : leaf->items) Hook::place(*element) = leaf;
  }

  void insertAt(Leaf* leaf, std::size_t index, Pointer element) {
    if (leaf->items.size() >= kMost) leaf = makeRoom(leaf, index);
    Hook::place(*element) = leaf;
    leaf->items.insert(leaf->items.begin() + static_cast<std::ptrdiff_t>(index), std::move(element));
    count(leaf, 1);
  }

  /// The leaf, with room, that has the place of the full one; `index` becomes the place there. Elements that
  /// come one behind the other fill their leaves.
  Leaf* makeRoom(Leaf* leaf, std::size_t& index) {
    if (leaf == &own_) {
      auto* root = new Branch;
      root->isAboveLeaves = true;
      root->count = own_.items.size();
      leaf = new Leaf;
      fill(leaf, std::exchange(own_.items, {}));
      root->add(0, leaf, root->count);
      own_.parent = root;
    }
    Branch* branch = leaf->parent;
    const std::size_t slot = branch->slot(leaf);
    if (index == 0 && slot > 0) {
      auto* before = static_cast<Leaf*>(branch->nodes[slot - 1]);
      if (before->items.size() < kMost) {
        index = before->items.size();
        return before;
      }
    }
    auto* added = new Leaf;
    if (index == 0) {
      branch->add(slot, added, 0);
    } else {
      const std::size_t kept = index == kMost ? kMost : kMost / 2;
      const auto middle = leaf->items.begin() + static_cast<std::ptrdiff_t>(kept);
      fill(added, {std::make_move_iterator(middle), std::make_move_iterator(leaf->items.end())});
      if (index == kMost) added->items.reserve(kMost);  // more will come
      leaf->items.erase(middle, leaf->items.end());
      branch->counts[slot] = kept;
      branch->add(slot + 1, added, added->items.size());
    }
    if (branch->nodes.size() > kMost) split(branch);
    if (index == 0) return added;
    if (index <= leaf->items.size() && leaf->items.size() < kMost) return leaf;
    index -= leaf->items.size();
    return added;
  }

  void split(Branch* branch) {
    for (; branch && branch->nodes.size() > kMost; branch = branch->parent) {
      auto* right = new Branch;
      right->isAboveLeaves = branch->isAboveLeaves;
      const std::size_t kept = branch->nodes.size() / 2;
      for (std::size_t i = kept; i < branch->nodes.size(); ++i) {
        right->add(i - kept, branch->nodes[i], branch->counts[i]);
        right->count += branch->counts[i];
      }
      branch->nodes.resize(kept);
      branch->counts.resize(kept);
      branch->count -= right->count;
      if (!branch->parent) {
        auto* root = new Branch;
        root->count = branch->count + right->count;
        root->add(0, branch, 0);
        own_.parent = root;
      }
      const std::size_t slot = branch->parent->slot(branch);
      branch->parent->counts[slot] = branch->count;
      branch->parent->add(slot + 1, right, right->count);
    }
  }

  /// A leaf that became small goes into a neighbour or, when it is empty, goes.
  void shrink(Leaf* leaf) {
    Branch* branch = leaf->parent;
    std::size_t slot = branch->slot(leaf);
    if (!leaf->items.empty()) {
      if (branch->nodes.size() == 1) return;
      const std::size_t into = slot > 0 ? slot - 1 : slot + 1;
      auto* neighbour = static_cast<Leaf*>(branch->nodes[into]);
      if (neighbour->items.size() + leaf->items.size() > kMost / 2) return;
      if (into > slot) std::swap(leaf, neighbour);
      slot = std::max(slot, into);
      for (Pointer& element : leaf->items) {
        Hook::place(*element) = neighbour;
        neighbour->items.push_back(std::move(element));
      }
      branch->counts[slot - 1] = neighbour->items.size();
    }
    branch->drop(slot);
    delete leaf;
    while (branch->nodes.empty() && branch->parent) {
      Branch* above = branch->parent;
      above->drop(above->slot(branch));
      delete branch;
      branch = above;
    }
    lower();
  }

  /// Takes away roots that have become needless.
  void lower() {
    Branch* root = own_.parent;
    while (root->nodes.size() == 1 && !root->isAboveLeaves) {
      auto* below = static_cast<Branch*>(root->nodes[0]);
      delete root;
      root = own_.parent = below;
      root->parent = nullptr;
    }
    if (root->nodes.size() > 1) return;
    own_.parent = nullptr;
    if (!root->nodes.empty()) {
      auto* leaf = static_cast<Leaf*>(root->nodes[0]);
      fill(&own_, std::move(leaf->items));
      delete leaf;
    }
    delete root;
  }

  Leaf own_;  // its parent is the root of the tree, if there is one: then it has no elements itself
};

}  // namespace qw
