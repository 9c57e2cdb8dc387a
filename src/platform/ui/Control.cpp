#include "platform/ui/Control.h"

#include <algorithm>

#include "platform/object/Property.h"

namespace qw {

constinit const Class Control::kClass = define<Control, Object>("Control", {}, [] {
  return properties(property<&Control::label_>("label"),
                    property<&Control::value_, &Control::setObjectValue>("objectValue"),
                    derived<&Control::titles>("titles"),
                    derived<&Control::selectedIndex>("selectedIndex", {"objectValue", "titles"}),
                    property<&Control::hidden_, &Control::setHidden>("hidden"),
                    property<&Control::enabled_, &Control::setEnabled>("enabled"));
});

std::shared_ptr<Control> Control::make(Kind kind, std::string label, Value value) {
  auto control = qw::make<Control>();
  control->kind_ = kind;
  control->label_ = std::move(label);
  control->value_ = std::move(value);
  return control;
}

std::shared_ptr<Control> Control::makeChoice(std::string label, std::vector<Item> items) {
  auto control = make(Kind::kChoice, std::move(label), nullptr);
  control->items_ = std::move(items);
  return control;
}

void Control::setObjectValue(Value value) {
  if (kind_ == Kind::kChoice && !value.isNull()) {
    const auto isChosen = [&](const Item& item) { return item.value == value; };
    if (std::none_of(items_.begin(), items_.end(), isChosen)) {
      ChangeScope scope(*this, "titles");
      items_.push_back({value.description(), value});
    }
  }
  assign<&Control::value_>(std::move(value));
}

void Control::enter(Value value) {
  setObjectValue(std::move(value));
  if (block_) block_();
}

void Control::setItems(std::vector<Item> items) {
  {
    ChangeScope scope(*this, "titles");
    items_ = std::move(items);
  }
  if (!selectedIndex()) setObjectValue(nullptr);
}

std::vector<std::string> Control::titles() const {
  std::vector<std::string> titles;
  titles.reserve(items_.size());
  for (const Item& item : items_) titles.push_back(item.title);
  return titles;
}

std::optional<std::size_t> Control::selectedIndex() const {
  const auto found =
      std::find_if(items_.begin(), items_.end(), [&](const Item& item) { return item.value == value_; });
  if (found == items_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - items_.begin());
}

}  // namespace qw
