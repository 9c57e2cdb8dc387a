#include "store/model/QWDatabaseQuery.h"

#include "platform/base/Log.h"
#include "store/model/ClassSchema.h"
#include "store/model/QWDatabaseManager.h"

QWDatabaseQuery::QWDatabaseQuery(QWDatabaseManager& manager, std::string sql, sqlite3_stmt* statement)
    : manager_(&manager), sql_(std::move(sql)), statement_(statement) {}

QWDatabaseQuery::~QWDatabaseQuery() { sqlite3_finalize(statement_); }

QWDatabaseManager* QWDatabaseQuery::databaseManager() const {
  return static_cast<QWDatabaseManager*>(manager_.get());
}

void QWDatabaseQuery::reset() {
  sqlite3_reset(statement_);
  bindResult_ = SQLITE_OK;
  bindFault_.clear();
}

int QWDatabaseQuery::indexForParameter(std::string_view name) const {
  return sqlite3_bind_parameter_index(statement_, (":" + std::string(name)).c_str());
}

template <class Codec, class T>
void QWDatabaseQuery::bind(const T& value, std::string_view parameter) {
  std::vector<int> parameters;
  for (const std::string_view suffix : Codec::suffixes) {
    const std::string name = std::string(parameter) + std::string(suffix);
    parameters.push_back(indexForParameter(name));
    if (parameters.back() > 0) continue;
    noteBindResult(SQLITE_RANGE);
    bindFault_ = "Parameter " + name + " not found in query : " + sql_;
    qw::Log::error("{}", bindFault_);
  }
  qw::RowBinder binder;
  binder.beginMapped(statement_, std::move(parameters));
  Codec::bind(binder, value);
  noteBindResult(binder.result());
}

void QWDatabaseQuery::setNull(std::string_view parameter) {
  bind<qw::Column<std::optional<std::string>>>(std::nullopt, parameter);
}
void QWDatabaseQuery::setBool(bool value, std::string_view parameter) {
  bind<qw::Column<bool>>(value, parameter);
}
void QWDatabaseQuery::setInt(std::int32_t value, std::string_view parameter) {
  bind<qw::Column<std::int32_t>>(value, parameter);
}
void QWDatabaseQuery::setInt64(std::int64_t value, std::string_view parameter) {
  bind<qw::Column<std::int64_t>>(value, parameter);
}
void QWDatabaseQuery::setDouble(double value, std::string_view parameter) {
  bind<qw::Column<double>>(value, parameter);
}
void QWDatabaseQuery::setString(std::optional<std::string_view> value, std::string_view parameter) {
  struct Text : qw::TextColumn {
    static void bind(qw::RowBinder& row, std::optional<std::string_view> value) {
      value ? row.bindText(*value) : row.bindNull();
    }
  };
  bind<Text>(value, parameter);
}
void QWDatabaseQuery::setData(const std::optional<qw::Data>& value, std::string_view parameter) {
  // Beside NULL there are empty bytes here.
  struct Bytes : qw::TextColumn {
    static void bind(qw::RowBinder& row, const std::optional<qw::Data>& value) {
      value ? row.bindBlob(*value) : row.bindNull();
    }
  };
  bind<Bytes>(value, parameter);
}
void QWDatabaseQuery::setDate(std::optional<qw::Date> value, std::string_view parameter) {
  bind<qw::PlainDate>(value, parameter);
}
void QWDatabaseQuery::setDateTime(std::optional<qw::Date> value, std::string_view parameter) {
  bind<qw::Column<std::optional<qw::Date>>>(value, parameter);
}
void QWDatabaseQuery::setDuration(const std::optional<QWDuration>& value, std::string_view parameter) {
  bind<qw::Column<std::optional<QWDuration>>>(value, parameter);
}
void QWDatabaseQuery::setDecimalNumber(const std::optional<qw::Decimal>& value, std::string_view parameter) {
  bind<qw::Column<std::optional<qw::Decimal>>>(value, parameter);
}
void QWDatabaseQuery::setImage(const std::optional<qw::Image>& value, std::string_view parameter) {
  bind<qw::Column<std::optional<qw::Image>>>(value, parameter);
}
void QWDatabaseQuery::setColor(const std::optional<qw::Color>& value, std::string_view parameter) {
  bind<qw::Column<std::optional<qw::Color>>>(value, parameter);
}
void QWDatabaseQuery::setJSONObject(const qw::Value& value, std::string_view parameter) {
  bind<qw::Column<qw::Value>>(value, parameter);
}
void QWDatabaseQuery::setConstant(const std::shared_ptr<QWConstant>& value, std::string_view parameter) {
  bind<qw::Column<std::shared_ptr<QWConstant>>>(value, parameter);
}
void QWDatabaseQuery::setClass(const qw::Class* value, std::string_view parameter) {
  setString(value ? std::optional(qw::ClassSchema::storedClassName(value->name())) : std::nullopt, parameter);
}
