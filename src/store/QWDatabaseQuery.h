#pragma once

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Back.h"
#include "store/Column.h"

class QWDatabaseManager;

/// One prepared statement with typed parameters by name. Made by `QWDatabaseManager::prepareQuery`, used on
/// the manager's thread; owns the compiled statement and must not outlive the manager's connection. A value
/// for a name that the statement lacks is logged, and running the statement fails.
class QWDatabaseQuery {
 public:
  QWDatabaseQuery(QWDatabaseManager& manager, std::string sql, sqlite3_stmt* statement);
  ~QWDatabaseQuery();
  QWDatabaseQuery(const QWDatabaseQuery&) = delete;
  QWDatabaseQuery& operator=(const QWDatabaseQuery&) = delete;

  /// Null once the manager is gone.
  QWDatabaseManager* databaseManager() const;
  const std::string& sql() const { return sql_; }
  sqlite3_stmt* statement() const { return statement_; }

  /// Makes the statement ready to run again; bindings stay.
  void reset();
  /// SQLITE_OK, or what the first value since the last `reset` that could not be bound failed with:
  /// SQLITE_MISMATCH for one without a JSON form, which the log tells, too; SQLITE_RANGE for one whose
  /// parameter the statement lacks.
  int bindResult() const { return bindResult_; }
  void noteBindResult(int result) {
    if (bindResult_ == SQLITE_OK) bindResult_ = result;
  }
  /// What was wrong with the parameters since the last `reset`; empty when nothing was.
  const std::string& bindFault() const { return bindFault_; }
  /// The 1-based index of ":" + name, 0 when there is none.
  int indexForParameter(std::string_view name) const;

  /// Each binds a copy in the column format of its type; a missing value binds NULL.
  void setNull(std::string_view parameter);
  void setBool(bool value, std::string_view parameter);
  void setInt(std::int32_t value, std::string_view parameter);
  void setInt64(std::int64_t value, std::string_view parameter);
  void setDouble(double value, std::string_view parameter);
  void setString(std::optional<std::string_view> value, std::string_view parameter);
  void setData(const std::optional<qw::Data>& value, std::string_view parameter);
  void setDate(std::optional<qw::Date> value, std::string_view parameter);
  void setDateTime(std::optional<qw::Date> value, std::string_view parameter);
  /// Two parameters: the name for the count, name + "Unit" for the unit.
  void setDuration(const std::optional<QWDuration>& value, std::string_view parameter);
  void setDecimalNumber(const std::optional<qw::Decimal>& value, std::string_view parameter);
  /// Two parameters: the name for the PNG bytes, name + "Scale" for the scale.
  void setImage(const std::optional<qw::Image>& value, std::string_view parameter);
  void setColor(const std::optional<qw::Color>& value, std::string_view parameter);
  void setJSONObject(const qw::Value& value, std::string_view parameter);
  void setConstant(const std::shared_ptr<QWConstant>& value, std::string_view parameter);
  void setClass(const qw::Class* value, std::string_view parameter);

 private:
  friend class QWDatabaseManager;

  /// Binds to the parameters of a column format.
  template <class Codec, class T>
  void bind(const T& value, std::string_view parameter);

  qw::Back<qw::Object> manager_;
  std::string sql_;
  sqlite3_stmt* statement_;
  int bindResult_ = SQLITE_OK;
  std::string bindFault_;
  bool cached_ = false;  // waits in the manager's cache
};
