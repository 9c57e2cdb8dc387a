#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

namespace qw {

/// One level of a grouping by paths (`QWArrayAdditions::groupsForKeyPath`). Answers the keys "name", "object"
/// (null unless a grouped object ends here) and "subgroups" (null unless there are any). Owned by the record
/// above it.
class QW_EXPORT GroupRecord : public Object {
 public:
  static const Class kClass;

  /// The text of the path component.
  const std::string& name() const { return name_; }
  /// The grouped object whose path ends here; null for a record between.
  const Value& object() const { return object_; }
  /// The records below, in the order in which they were added.
  const std::vector<std::shared_ptr<GroupRecord>>& subgroups() const { return subgroups_; }

  /// Nobody is notified, as by the other two.
  void setName(std::string name) { name_ = std::move(name); }
  /// Null for none.
  void setObject(Value object) { object_ = std::move(object); }
  /// Appends a record below this one.
  void addSubgroup(std::shared_ptr<GroupRecord> subgroup) { subgroups_.push_back(std::move(subgroup)); }

 private:
  Value subgroupsValue() const;

  std::string name_;
  Value object_;
  std::vector<std::shared_ptr<GroupRecord>> subgroups_;
};

}  // namespace qw
