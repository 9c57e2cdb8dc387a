#include "store/model/internal/FiltersBarRecord.h"

namespace qw {

constinit const Class FiltersBarRecord::kClass =
    define<FiltersBarRecord, QWDatabaseObject>("FiltersBarRecord", {.table = "QWFiltersBarData"}, [] {
      return properties(attribute<&FiltersBarRecord::name_, &FiltersBarRecord::setName>("name"),
                        attribute<&FiltersBarRecord::values_, &FiltersBarRecord::setValues>("values"),
                        attribute<&FiltersBarRecord::condition_>("condition"));
    });

}  // namespace qw
