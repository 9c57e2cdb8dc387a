#pragma once

#include "store/model/QWDatabaseObject.h"

namespace qw {

/// The stored state of a filters bar, one for each name, as far as the store itself cares: it is kept whole
/// and its ID is matched between copies. A class registered as "QWFiltersBarData" takes its place where there
/// is one.
class FiltersBarRecord : public QWDatabaseObject {
 public:
  static const Class kClass;

  /// Unique within the store.
  const std::string& name() const { return name_; }
  /// Undoable.
  void setName(std::string name) { assign<&FiltersBarRecord::name_>(std::move(name)); }
  /// The state as JSON; null for none.
  const Value& values() const { return values_; }
  /// Undoable. A value without a JSON form fails the save of this record.
  void setValues(Value values) { assign<&FiltersBarRecord::values_>(std::move(values)); }

 private:
  std::string name_;
  Value values_;
  std::optional<std::string> condition_;
};

}  // namespace qw
