#pragma once

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/object/KeyPath.h"
#include "platform/object/Value.h"

namespace qw {

/// Walks trees of values in depth-first order, parents before their children, to any depth.
///
/// An element is a group if the leaf key path is given and false there, or, without a leaf key path, if it
/// has children (not null) at the children key path. An empty key path counts as not given.
class TreeWalker {
 public:
  TreeWalker(std::string_view childrenKeyPath, std::string_view leafKeyPath) {
    if (!childrenKeyPath.empty()) childrenKeyPath_.emplace(childrenKeyPath);
    if (!leafKeyPath.empty()) leafKeyPath_.emplace(leafKeyPath);
  }

  /// Calls `enter(std::move(element), isGroup)` for each element; if that answers true for a group, then
  /// walks the group's children, if it has any, and calls `leave()`.
  template <class Enter, class Leave>
  void walk(Array elements, Enter enter, Leave leave) const {
    struct Level {
      Array elements;
      std::size_t next = 0;
    };
    std::vector<Level> levels;
    levels.push_back({std::move(elements)});
    while (true) {
      Level& level = levels.back();
      if (level.next == level.elements.size()) {
        levels.pop_back();
        if (levels.empty()) return;
        leave();
        continue;
      }
      Value& element = level.elements[level.next++];
      Value children;
      const bool isGroup = readGroup(element, children);
      if (!enter(std::move(element), isGroup) || !isGroup) continue;
      if (children.array()) {
        levels.push_back({std::move(children.mutableArray())});
      } else if (children.set()) {
        levels.push_back({children.set()->elements()});
      } else {
        leave();
      }
    }
  }

 private:
  bool readGroup(const Value& element, Value& children) const {
    if (leafKeyPath_ && isLeaf(element)) return false;
    if (childrenKeyPath_) children = childrenKeyPath_->value(element);
    return leafKeyPath_ || !children.isNull();
  }

  bool isLeaf(const Value& element) const {
    if (!element.object()) return leafKeyPath_->value(element).boolValue();
    Value scratch;
    const ValueView leaf = leafKeyPath_->view(*element.object(), scratch);
    return leaf.kind() == ValueView::Kind::kBool ? leaf.boolean() : leaf.toValue().boolValue();
  }

  std::optional<KeyPath> childrenKeyPath_;
  std::optional<KeyPath> leafKeyPath_;
};

}  // namespace qw
