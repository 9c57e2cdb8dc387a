#include "values/collections/GroupRecord.h"

#include "platform/object/Property.h"

namespace qw {

constinit const Class GroupRecord::kClass = define<GroupRecord, Object>("GroupRecord", {}, [] {
  return properties(property<&GroupRecord::name_>("name"), property<&GroupRecord::object_>("object"),
                    derived<&GroupRecord::subgroupsValue>("subgroups"));
});

Value GroupRecord::subgroupsValue() const {
  if (subgroups_.empty()) return {};
  return ValueTraits<std::vector<std::shared_ptr<GroupRecord>>>::toValue(subgroups_);
}

}  // namespace qw
