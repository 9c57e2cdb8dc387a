#include "values/collections/GroupRecord.h"

#include "platform/object/Property.h"

constinit const qw::Class GroupRecord::kClass = qw::define<GroupRecord, qw::Object>("GroupRecord", {}, [] {
  return qw::properties(qw::property<&GroupRecord::name_>("name"),
                        qw::property<&GroupRecord::object_>("object"),
                        qw::derived<&GroupRecord::subgroupsValue>("subgroups"));
});

qw::Value GroupRecord::subgroupsValue() const {
  if (subgroups_.empty()) return {};
  return qw::ValueTraits<std::vector<std::shared_ptr<GroupRecord>>>::toValue(subgroups_);
}
