#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/base/Export.h"
#include "store/model/QWDatabaseQuery.h"

namespace qw {
class ClassSchema;
class Loader;
}  // namespace qw

/// The rows of a query, one at a time, read by column name. `next` steps to each row, the first included; at
/// the end the statement is returned to the manager's cache. A column that is not there is logged and reads
/// as NULL.
class QW_EXPORT QWDatabaseResultSet {
 public:
  /// For `QWDatabaseManager::executeQuery`: the rows of a statement that was reset.
  explicit QWDatabaseResultSet(std::shared_ptr<QWDatabaseQuery> query);

  /// False at the end, and after a failure, which leaves the statement out of the cache.
  bool next();
  /// True after a `next` that ended in a failure.
  bool failed() const { return failed_; }
  /// -1 when there is no such column.
  int indexForColumn(std::string_view name) const;

  /// True for a column that is not there, too.
  bool isNullForColumn(std::string_view name) const;
  /// False for NULL.
  bool boolForColumn(std::string_view name) const;
  /// 0 for NULL.
  std::int32_t intForColumn(std::string_view name) const;
  /// 0 for NULL.
  std::int64_t int64ForColumn(std::string_view name) const;
  /// 0 for NULL.
  double doubleForColumn(std::string_view name) const;
  /// None for NULL.
  std::optional<std::string> stringForColumn(std::string_view name) const;
  /// No value for NULL and for no bytes.
  std::optional<qw::Data> dataForColumn(std::string_view name) const;
  /// None for NULL and for a text that is no date.
  std::optional<qw::Date> dateForColumn(std::string_view name) const;
  /// None for NULL and for a text that is no date-time.
  std::optional<qw::Date> dateTimeForColumn(std::string_view name) const;
  /// Two columns: the name, and name + "Unit". None for NULL.
  std::optional<QWDuration> durationForColumn(std::string_view name) const;
  /// None for NULL and for a text that is no number.
  std::optional<qw::Decimal> decimalNumberForColumn(std::string_view name) const;
  /// Two columns: the name, and name + "Scale". None for NULL and for bytes that are no PNG.
  std::optional<qw::Image> imageForColumn(std::string_view name) const;
  /// None for NULL and for a text that is no colour.
  std::optional<qw::Color> colorForColumn(std::string_view name) const;
  /// Null when the text is no JSON.
  qw::Value JSONObjectForColumn(std::string_view name) const;
  /// Null for NULL and for a name that no registered class knows.
  std::shared_ptr<QWConstant> constantForColumn(std::string_view name) const;
  /// Null when no registered class has the name.
  const qw::Class* classForColumn(std::string_view name) const;

  /// The current row by column number.
  const qw::RowReader& reader() const { return reader_; }
  /// Column numbers of a class: "sqlID" first, then the schema's columns in order; -1 for those that are
  /// missing, which is not logged. Looked up once for each class.
  const int* columnsFor(const qw::ClassSchema& schema);

  /// For the store: the load that the rows are part of; null outside of one.
  qw::Loader* loader() const { return loader_; }
  /// Says which load it is.
  void setLoader(qw::Loader* loader) { loader_ = loader; }

 private:
  int column(std::string_view name) const;
  /// The one or two columns of a value of type T.
  template <class Codec>
  auto read(std::string_view name) const;

  std::shared_ptr<QWDatabaseQuery> query_;
  qw::RowReader reader_;
  bool failed_ = false;
  mutable std::unordered_map<std::string, int> columnIndexes_;
  std::unordered_map<const qw::ClassSchema*, std::vector<int>> classColumns_;
  const qw::ClassSchema* lastSchema_ = nullptr;
  const int* lastColumns_ = nullptr;
  qw::Loader* loader_ = nullptr;
};
