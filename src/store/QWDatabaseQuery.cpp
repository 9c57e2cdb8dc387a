#include "store/QWDatabaseQuery.h"

#include "platform/Log.h"
#include "store/ClassSchema.h"
#include "store/QWDatabaseManager.h"

QWDatabaseQuery::QWDatabaseQuery(QWDatabaseManager& manager, std::string sql, sqlite3_stmt* statement)
    : manager_(&manager), sql_(std::move(sql)), statement_(statement) {}

QWDatabaseQuery::~QWDatabaseQuery() { sqlite3_finalize(statement_); }

QWDatabaseManager* QWDatabaseQuery::databaseManager() const {
  return static_cast<QWDatabaseManager*>(manager_.get());
}

void QWDatabaseQuery::reset() {
  sqlite3_reset(statement_);
  bindResult_ = SQLITE_OK;
}

int QWDatabaseQuery::indexForParameter(std::string_view name) const {
  return sqlite3_bind_parameter_index(statement_, (":" + std::string(name)).c_str());
}

int QWDatabaseQuery::index(std::string_view parameter) const {
  const int index = indexForParameter(parameter);
  if (index < 1) qw::Log::warning("Parameter {} not found in query : {}", parameter, sql_);
  return index;
}

void QWDatabaseQuery::setText(std::optional<std::string_view> text, std::string_view parameter) {
  const int i = index(parameter);
  if (i < 1) return;
  if (text)
    noteBindResult(sqlite3_bind_text64(statement_, i, text->empty() ? "" : text->data(), text->size(),
                                       SQLITE_TRANSIENT, SQLITE_UTF8));
  else
    noteBindResult(sqlite3_bind_null(statement_, i));
}

void QWDatabaseQuery::setNull(std::string_view parameter) {
  if (const int i = index(parameter); i > 0) noteBindResult(sqlite3_bind_null(statement_, i));
}

void QWDatabaseQuery::setBool(bool value, std::string_view parameter) { setInt64(value ? 1 : 0, parameter); }

void QWDatabaseQuery::setInt(std::int32_t value, std::string_view parameter) { setInt64(value, parameter); }

void QWDatabaseQuery::setInt64(std::int64_t value, std::string_view parameter) {
  if (const int i = index(parameter); i > 0) noteBindResult(sqlite3_bind_int64(statement_, i, value));
}

void QWDatabaseQuery::setDouble(double value, std::string_view parameter) {
  if (const int i = index(parameter); i > 0) noteBindResult(sqlite3_bind_double(statement_, i, value));
}

void QWDatabaseQuery::setString(std::optional<std::string_view> value, std::string_view parameter) {
  setText(value, parameter);
}

void QWDatabaseQuery::setData(const std::optional<qw::Data>& value, std::string_view parameter) {
  const int i = index(parameter);
  if (i < 1) return;
  if (!value)
    noteBindResult(sqlite3_bind_null(statement_, i));
  else if (value->empty())
    noteBindResult(sqlite3_bind_zeroblob(statement_, i, 0));
  else
    noteBindResult(sqlite3_bind_blob64(statement_, i, value->data(), value->size(), SQLITE_TRANSIENT));
}

void QWDatabaseQuery::setDate(std::optional<qw::Date> value, std::string_view parameter) {
  if (!value) return setNull(parameter);
  setText(qw::DateText::dateText(*value), parameter);
}

void QWDatabaseQuery::setDateTime(std::optional<qw::Date> value, std::string_view parameter) {
  if (!value) return setNull(parameter);
  setText(qw::DateText::dateTimeText(*value), parameter);
}

void QWDatabaseQuery::setDuration(const std::optional<QWDuration>& value, std::string_view parameter) {
  const std::string unit = std::string(parameter) + "Unit";
  if (value) {
    setInt64(value->numberOfUnits(), parameter);
    setInt64(static_cast<std::int64_t>(value->unit()), unit);
  } else {
    setNull(parameter);
    setNull(unit);
  }
}

void QWDatabaseQuery::setDecimalNumber(const std::optional<qw::Decimal>& value, std::string_view parameter) {
  if (!value) return setNull(parameter);
  setText(value->text(), parameter);
}

void QWDatabaseQuery::setImage(const std::optional<qw::Image>& value, std::string_view parameter) {
  const std::string scale = std::string(parameter) + "Scale";
  if (value) {
    setData(value->png(), parameter);
    setInt64(static_cast<std::int64_t>(value->scale()), scale);
  } else {
    setNull(parameter);
    setNull(scale);
  }
}

void QWDatabaseQuery::setColor(const std::optional<qw::Color>& value, std::string_view parameter) {
  if (!value) return setNull(parameter);
  setText(value->components(), parameter);
}

void QWDatabaseQuery::setJSONObject(const qw::Value& value, std::string_view parameter) {
  if (value.isNull()) return setNull(parameter);
  qw::Error error;
  const auto text = QWJSONSerializationAdditions::JSONRepresentationFromObject(value, {}, &error);
  if (text) {
    setText(*text, parameter);
  } else {
    setNull(parameter);  // a statement that ran before must not write its former value
    noteBindResult(SQLITE_MISMATCH);
    qw::Log::error("Exception while getting JSON representation from object : {}\n{}", value.description(),
                   error.localizedDescription);
  }
}

void QWDatabaseQuery::setConstant(const std::shared_ptr<QWConstant>& value, std::string_view parameter) {
  if (!value) return setNull(parameter);
  setText(value->ID(), parameter);
}

void QWDatabaseQuery::setClass(const qw::Class* value, std::string_view parameter) {
  if (!value) return setNull(parameter);
  setText(qw::ClassSchema::storedClassName(value->name()), parameter);
}
