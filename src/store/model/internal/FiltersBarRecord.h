#pragma once

#include "store/model/QWDatabaseObject.h"

namespace qw {

/// The stored state of a filters bar, one for each name, as far as the store itself cares: it is kept whole
/// and its ID is matched between copies. A class registered as "QWFiltersBarData" takes its place where there
/// is one.
class FiltersBarRecord : public QWDatabaseObject {
 public:
  static const Class kClass;

  const std::string& name() const { return name_; }
  void setName(std::string name) { assign<&FiltersBarRecord::name_>(std::move(name)); }
  const Value& values() const { return values_; }
  void setValues(Value values) { assign<&FiltersBarRecord::values_>(std::move(values)); }

 private:
  std::string name_;
  Value values_;
  std::optional<std::string> condition_;
};

}  // namespace qw
