#include "values/collections/QWArrayAdditions.h"

#include <unordered_map>

#include "platform/object/KeyPath.h"
#include "values/collections/QWSetAdditions.h"
#include "values/text/QWStringAdditions.h"

namespace QWArrayAdditions {

qw::Value objectsValueForKeyPath(const qw::Array& array, std::string_view keyPath) {
  if (array.empty()) return {};
  const qw::KeyPath path(keyPath);
  const qw::Value value = path.value(array.front());
  const bool agreed = std::all_of(array.begin() + 1, array.end(),
                                  [&](const qw::Value& element) { return path.value(element) == value; });
  return agreed ? value : qw::Value();
}

std::string uniqueValue(const qw::Array& array, std::string_view value, std::string_view format,
                        std::string_view pattern) {
  return QWSetAdditions::uniqueValue(qw::ValueSet(array), value, format, pattern);
}

std::vector<std::shared_ptr<qw::GroupRecord>> groupsForKeyPath(const qw::Array& array,
                                                               std::string_view keyPath) {
  struct Level {
    std::unordered_map<std::string, std::size_t> byName;
    std::vector<std::pair<std::shared_ptr<qw::GroupRecord>, std::unique_ptr<Level>>> records;
  };
  Level root;
  const qw::KeyPath path(keyPath);
  for (const qw::Value& element : array) {
    const qw::Value value = path.value(element);
    if (!value.text()) continue;
    std::vector<std::string> components = QWStringAdditions::objectPathComponents(*value.text());
    for (std::size_t i = kDeepestGroup; i < components.size(); ++i) {
      components[kDeepestGroup - 1].append(" : ").append(components[i]);
    }
    components.resize(std::min(components.size(), kDeepestGroup));
    Level* level = &root;
    qw::GroupRecord* parent = nullptr;
    for (const std::string& name : components) {
      const auto [found, added] = level->byName.try_emplace(name, level->records.size());
      if (added) {
        auto record = qw::make<qw::GroupRecord>();
        record->setName(name);
        if (parent) parent->addSubgroup(record);
        level->records.emplace_back(std::move(record), std::make_unique<Level>());
      }
      auto& [record, below] = level->records[found->second];
      parent = record.get();
      level = below.get();
    }
    parent->setObject(element);
  }
  std::vector<std::shared_ptr<qw::GroupRecord>> groups;
  for (auto& [record, below] : root.records) groups.push_back(std::move(record));
  return groups;
}

std::vector<MenuItem> groupsMenu(const std::vector<std::shared_ptr<qw::GroupRecord>>& groups) {
  std::vector<MenuItem> items;
  for (const auto& group : groups) {
    MenuItem& item = items.emplace_back(MenuItem{group->name(), group->object(), {}});
    if (item.representedObject.isNull()) item.submenu = groupsMenu(group->subgroups());
  }
  return items;
}

}  // namespace QWArrayAdditions
