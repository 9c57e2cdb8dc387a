#include "platform/object/KeyPath.h"

namespace qw {

std::vector<std::string> KeyPath::split(std::string_view path) {
  std::vector<std::string> keys;
  while (!path.empty()) {
    const std::size_t point = path.find('.');
    const std::string_view key = path.substr(0, point);
    if (key != "self" && !key.empty()) keys.emplace_back(key);
    path = point == std::string_view::npos ? std::string_view() : path.substr(point + 1);
  }
  return keys;
}

KeyPath::KeyPath(std::string_view path) : text_(path) {
  for (std::string& key : split(path)) components_.push_back({std::move(key)});
  isSingleKey_ = components_.size() == 1;
}

Value KeyPath::value(const Object& object) const {
  if (components_.empty()) return object.valueForKey("self");
  Value first = components_[0].value(object);
  return components_.size() == 1 ? first : value(first, 1);
}

Value KeyPath::value(const Value& start, std::size_t from) const {
  if (from == components_.size()) return start;
  const Component& component = components_[from];
  switch (start.kind()) {
    case Value::Kind::kObject:
      return value(component.value(*start.object()), from + 1);
    case Value::Kind::kArray:
    case Value::Kind::kSet: {
      if (component.key == "@count") return value(static_cast<std::int64_t>(start.count()), from + 1);
      const Array& elements = start.array() ? *start.array() : start.set()->elements();
      Array results;
      results.reserve(elements.size());
      for (const Value& element : elements) results.push_back(value(element, from));
      return results;
    }
    case Value::Kind::kDictionary: {
      const auto entry = start.dictionary()->find(component.key);
      return entry == start.dictionary()->end() ? Value() : value(entry->second, from + 1);
    }
    case Value::Kind::kClass: {
      const Class& c = *start.classValue();
      if (component.key == "name") return value(Value(c.name()), from + 1);
      if (component.key == "table") return value(Value(c.table()), from + 1);
      if (component.key == "synchronizationPriority")
        return value(Value(c.synchronizationPriority()), from + 1);
      return {};
    }
    default:
      return {};
  }
}

ValueView KeyPath::viewAlong(const Object& object, Value& scratch) const {
  const Object* current = &object;
  for (std::size_t i = 0; i < components_.size(); ++i) {
    const Property* property = components_[i].propertyIn(*current);
    if (!property || !property->view) {
      scratch = value(components_[i].value(*current), i + 1);
      return ValueView(scratch);
    }
    const ValueView view = property->view(*current);
    if (i + 1 == components_.size()) return view;
    if (view.kind() != ValueView::Kind::kObject) {
      scratch = value(view.toValue(), i + 1);
      return ValueView(scratch);
    }
    current = view.object();
  }
  return ValueView(const_cast<Object*>(current));
}

bool KeyPath::setValue(Object& object, const Value& newValue) const {
  if (components_.empty()) return false;
  std::shared_ptr<Object> target = object.shared_from_this();
  for (std::size_t i = 0; i + 1 < components_.size() && target; ++i)
    target = components_[i].value(*target).object();
  return target && target->setValueForKey(newValue, components_.back().key);
}

}  // namespace qw
