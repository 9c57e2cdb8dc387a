#include "store/model/QWDatabaseResultSet.h"

#include "platform/base/Log.h"
#include "platform/system/ApplicationContext.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"

namespace {

/// Years of two digits are era years where the user's calendar is the Japanese one.
qw::DateText::ShortYear shortYears() {
  return qw::ApplicationContext::current().locale.find("calendar=japanese") != std::string::npos
             ? qw::DateText::ShortYear::japaneseEra
             : qw::DateText::ShortYear::keep;
}

}  // namespace

QWDatabaseResultSet::QWDatabaseResultSet(std::shared_ptr<QWDatabaseQuery> query)
    : query_(std::move(query)), reader_(query_->statement(), shortYears()) {}

bool QWDatabaseResultSet::next() {
  if (!query_) return false;
  const int result = sqlite3_step(query_->statement());
  if (result == SQLITE_ROW) return true;
  failed_ = result != SQLITE_DONE;
  if (QWDatabaseManager* manager = query_->databaseManager()) {
    if (failed_)
      manager->noteReadFailure();
    else
      manager->addQueryToCache(query_);
  }
  query_.reset();
  return false;
}

int QWDatabaseResultSet::indexForColumn(std::string_view name) const {
  if (columnIndexes_.empty() && query_)
    for (int i = sqlite3_column_count(query_->statement()) - 1; i >= 0; --i)
      columnIndexes_[sqlite3_column_name(query_->statement(), i)] = i;
  const auto found = columnIndexes_.find(std::string(name));
  return found == columnIndexes_.end() ? -1 : found->second;
}

int QWDatabaseResultSet::column(std::string_view name) const {
  const int index = query_ ? indexForColumn(name) : -1;
  if (index < 0)
    qw::Log::warning("Column {} not found in result set from query : {}", name, query_ ? query_->sql() : "");
  return index;
}

template <class Codec>
auto QWDatabaseResultSet::read(std::string_view name) const {
  int columns[Codec::suffixes.size()];
  for (std::size_t i = 0; i < Codec::suffixes.size(); ++i)
    columns[i] = column(std::string(name) + std::string(Codec::suffixes[i]));
  return Codec::read(reader_, columns);
}

bool QWDatabaseResultSet::isNullForColumn(std::string_view name) const {
  return reader_.isNull(column(name));
}
bool QWDatabaseResultSet::boolForColumn(std::string_view name) const { return read<qw::Column<bool>>(name); }
std::int32_t QWDatabaseResultSet::intForColumn(std::string_view name) const {
  return read<qw::Column<std::int32_t>>(name);
}
std::int64_t QWDatabaseResultSet::int64ForColumn(std::string_view name) const {
  return reader_.int64(column(name));
}
double QWDatabaseResultSet::doubleForColumn(std::string_view name) const {
  return reader_.real(column(name));
}
std::optional<std::string> QWDatabaseResultSet::stringForColumn(std::string_view name) const {
  return read<qw::Column<std::optional<std::string>>>(name);
}
std::optional<qw::Data> QWDatabaseResultSet::dataForColumn(std::string_view name) const {
  qw::Data data = reader_.blob(column(name));
  return data.empty() ? std::nullopt : std::optional(std::move(data));
}
std::optional<qw::Date> QWDatabaseResultSet::dateForColumn(std::string_view name) const {
  return read<qw::PlainDate>(name);
}
std::optional<qw::Date> QWDatabaseResultSet::dateTimeForColumn(std::string_view name) const {
  return read<qw::Column<std::optional<qw::Date>>>(name);
}
std::optional<QWDuration> QWDatabaseResultSet::durationForColumn(std::string_view name) const {
  return read<qw::Column<std::optional<QWDuration>>>(name);
}
std::optional<qw::Decimal> QWDatabaseResultSet::decimalNumberForColumn(std::string_view name) const {
  return read<qw::Column<std::optional<qw::Decimal>>>(name);
}
std::optional<qw::Image> QWDatabaseResultSet::imageForColumn(std::string_view name) const {
  return read<qw::Column<std::optional<qw::Image>>>(name);
}
std::optional<qw::Color> QWDatabaseResultSet::colorForColumn(std::string_view name) const {
  return read<qw::Column<std::optional<qw::Color>>>(name);
}
qw::Value QWDatabaseResultSet::JSONObjectForColumn(std::string_view name) const {
  return read<qw::Column<qw::Value>>(name);
}
std::shared_ptr<QWConstant> QWDatabaseResultSet::constantForColumn(std::string_view name) const {
  return QWConstantsManager::constantWithID(reader_.text(column(name)));
}
const qw::Class* QWDatabaseResultSet::classForColumn(std::string_view name) const {
  return qw::ClassSchema::classWithStoredName(reader_.text(column(name)));
}

const int* QWDatabaseResultSet::columnsFor(const qw::ClassSchema& schema) {
  if (&schema == lastSchema_) return lastColumns_;
  std::vector<int>& columns = classColumns_[&schema];
  if (columns.empty()) {
    columns.push_back(indexForColumn("sqlID"));
    for (const std::string& name : schema.columns()) columns.push_back(indexForColumn(name));
  }
  lastSchema_ = &schema;
  lastColumns_ = columns.data();
  return lastColumns_;
}
