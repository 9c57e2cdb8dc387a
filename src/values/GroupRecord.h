#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/Object.h"

namespace qw {

/// One level of a grouping by paths (`QWArrayAdditions::groupsForKeyPath`). Answers the keys "name", "object"
/// (null unless a grouped object ends here) and "subgroups" (null unless there are any). Owned by the record
/// above it.
class GroupRecord : public Object {
 public:
  static const Class kClass;

  /// The text of the path component.
  const std::string& name() const { return name_; }
  const Value& object() const { return object_; }
  const std::vector<std::shared_ptr<GroupRecord>>& subgroups() const { return subgroups_; }

  void setName(std::string name) { name_ = std::move(name); }
  void setObject(Value object) { object_ = std::move(object); }
  void addSubgroup(std::shared_ptr<GroupRecord> subgroup) { subgroups_.push_back(std::move(subgroup)); }

 private:
  Value subgroupsValue() const;

  std::string name_;
  Value object_;
  std::vector<std::shared_ptr<GroupRecord>> subgroups_;
};

}  // namespace qw
