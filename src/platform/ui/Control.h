#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

namespace qw {

/// One control of a controller's view, as state without a window: what it is, what it shows, whether it is
/// shown. A presenter draws it, observes it by key ("label", "objectValue", "titles", "selectedIndex",
/// "hidden", "enabled") and hands over what the user does with `enter` or `selectIndex`. Owned by its
/// controller; main thread.
class QW_EXPORT Control : public Object {
 public:
  /// What a control is, and with it what kind of value it shows.
  enum class Kind : std::uint8_t {
    kText,    ///< the value is a text
    kNumber,  ///< the value is an integer
    kSwitch,  ///< the value is a bool
    kChoice,  ///< the value is that of the chosen item, or null
  };
  /// One of the choices of a `kChoice`: what is shown, and the value that it stands for.
  struct Item {
    /// What is shown.
    std::string title;
    /// What `objectValue` is when this item is chosen.
    Value value;
  };

  static const Class kClass;
  /// A control of any kind but `kChoice` with its first value.
  static std::shared_ptr<Control> make(Kind kind, std::string label, Value value);
  /// A `kChoice` among the items. Nothing is chosen at first.
  static std::shared_ptr<Control> makeChoice(std::string label, std::vector<Item> items);

  /// What it is; never changes.
  Kind kind() const { return kind_; }
  /// Shown beside it, in the user's language; may be empty.
  const std::string& label() const { return label_; }

  /// The value that is shown, of the type that `Kind` says.
  const Value& objectValue() const { return value_; }
  /// Shows a value; the user's block is not called. A choice that has no such item gets one.
  void setObjectValue(Value value);
  /// What the user does: shows the value and calls the block, which may set other controls.
  void enter(Value value);
  /// Called after the user has entered a value.
  void setBlock(std::function<void()> block) { block_ = std::move(block); }

  /// The choices in order; empty for other kinds.
  const std::vector<Item>& items() const { return items_; }
  /// Replaces the choices; the value stays chosen if it is still among them, otherwise nothing is.
  void setItems(std::vector<Item> items);
  /// The titles of the items, in order.
  std::vector<std::string> titles() const;
  /// The place of the value among the items; none while nothing is chosen.
  std::optional<std::size_t> selectedIndex() const;
  /// The user chooses an item. Requires: index < items().size().
  void selectIndex(std::size_t index) { enter(items_[index].value); }

  /// Whether a presenter leaves it out. Observable as "hidden".
  bool isHidden() const { return hidden_; }
  /// Notifies the observers when it changes.
  void setHidden(bool hidden) { assign<&Control::hidden_>(hidden); }
  /// Whether the user may change it. Observable as "enabled".
  bool isEnabled() const { return enabled_; }
  /// Notifies the observers when it changes.
  void setEnabled(bool enabled) { assign<&Control::enabled_>(enabled); }

 private:
  Kind kind_ = Kind::kText;
  std::string label_;
  Value value_;
  std::vector<Item> items_;
  bool hidden_ = false;
  bool enabled_ = true;
  std::function<void()> block_;
};

}  // namespace qw
