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
  enum class Kind : std::uint8_t {
    kText,    ///< the value is a text
    kNumber,  ///< the value is an integer
    kSwitch,  ///< the value is a bool
    kChoice,  ///< the value is that of the chosen item, or null
  };
  struct Item {
    std::string title;
    Value value;
  };

  static const Class kClass;
  static std::shared_ptr<Control> make(Kind kind, std::string label, Value value);
  /// Nothing is chosen at first.
  static std::shared_ptr<Control> makeChoice(std::string label, std::vector<Item> items);

  Kind kind() const { return kind_; }
  const std::string& label() const { return label_; }

  const Value& objectValue() const { return value_; }
  /// Shows a value; the user's block is not called. A choice that has no such item gets one.
  void setObjectValue(Value value);
  /// What the user does: shows the value and calls the block, which may set other controls.
  void enter(Value value);
  /// Called after the user has entered a value.
  void setBlock(std::function<void()> block) { block_ = std::move(block); }

  const std::vector<Item>& items() const { return items_; }
  /// Replaces the choices; the value stays chosen if it is still among them, otherwise nothing is.
  void setItems(std::vector<Item> items);
  std::vector<std::string> titles() const;
  /// The place of the value among the items; none while nothing is chosen.
  std::optional<std::size_t> selectedIndex() const;
  /// The user chooses an item. Requires: index < items().size().
  void selectIndex(std::size_t index) { enter(items_[index].value); }

  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden) { assign<&Control::hidden_>(hidden); }
  bool isEnabled() const { return enabled_; }
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
