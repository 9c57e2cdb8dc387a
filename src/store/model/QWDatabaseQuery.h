#pragma once

#include <sqlite3.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/object/Back.h"
#include "store/columns/Column.h"

class QWDatabaseManager;

/// One prepared statement with typed parameters by name. Made by `QWDatabaseManager::prepareQuery`, used on
/// the manager's thread; owns the compiled statement and must not outlive the manager's connection. A value
/// for a name that the statement lacks is logged, and running the statement fails.
class QW_EXPORT QWDatabaseQuery {
 public:
  /// For `QWDatabaseManager::prepareQuery`: takes the statement over.
  QWDatabaseQuery(QWDatabaseManager& manager, std::string sql, sqlite3_stmt* statement);
  ~QWDatabaseQuery();
  QWDatabaseQuery(const QWDatabaseQuery&) = delete;
  QWDatabaseQuery& operator=(const QWDatabaseQuery&) = delete;

  /// Null once the manager is gone.
  QWDatabaseManager* databaseManager() const;
  /// As it was given.
  const std::string& sql() const { return sql_; }
  /// The compiled statement, still owned.
  sqlite3_stmt* statement() const { return statement_; }

  /// Makes the statement ready to run again; bindings stay.
  void reset();
  /// SQLITE_OK, or what the first value since the last `reset` that could not be bound failed with:
  /// SQLITE_MISMATCH for one without a JSON form, which is logged, too; SQLITE_RANGE for one whose
  /// parameter the statement lacks.
  int bindResult() const { return bindResult_; }
  /// Keeps the first failure.
  void noteBindResult(int result) {
    if (bindResult_ == SQLITE_OK) bindResult_ = result;
  }
  /// What was wrong with the parameters since the last `reset`; empty when nothing was.
  const std::string& bindFault() const { return bindFault_; }
  /// The 1-based index of ":" + name, 0 when there is none.
  int indexForParameter(std::string_view name) const;

  /// Each binds a copy in the column format of its type; a missing value binds NULL.
  void setNull(std::string_view parameter);
  /// 0 or 1.
  void setBool(bool value, std::string_view parameter);
  /// An integer.
  void setInt(std::int32_t value, std::string_view parameter);
  /// An integer.
  void setInt64(std::int64_t value, std::string_view parameter);
  /// A REAL.
  void setDouble(double value, std::string_view parameter);
  /// Text, UTF-8.
  void setString(std::optional<std::string_view> value, std::string_view parameter);
  /// A BLOB; empty data binds NULL.
  void setData(const std::optional<qw::Data>& value, std::string_view parameter);
  /// "yyyy-MM-dd" in the current time zone.
  void setDate(std::optional<qw::Date> value, std::string_view parameter);
  /// "yyyy-MM-dd HH:mm:ss" in GMT.
  void setDateTime(std::optional<qw::Date> value, std::string_view parameter);
  /// Two parameters: the name for the count, name + "Unit" for the unit.
  void setDuration(const std::optional<QWDuration>& value, std::string_view parameter);
  /// The plain text of the number.
  void setDecimalNumber(const std::optional<qw::Decimal>& value, std::string_view parameter);
  /// Two parameters: the name for the PNG bytes, name + "Scale" for the scale.
  void setImage(const std::optional<qw::Image>& value, std::string_view parameter);
  /// Red, green, blue and alpha as decimal fractions.
  void setColor(const std::optional<qw::Color>& value, std::string_view parameter);
  /// Compact JSON; null binds NULL.
  void setJSONObject(const qw::Value& value, std::string_view parameter);
  /// The constant's `ID`.
  void setConstant(const std::shared_ptr<QWConstant>& value, std::string_view parameter);
  /// The class's name, as the column "class" has it.
  void setClass(const qw::Class* value, std::string_view parameter);

 private:
  /// Binds to the parameters of a column format.
  template <class Codec, class T>
  void bind(const T& value, std::string_view parameter);

  qw::Back<qw::Object> manager_;
  std::string sql_;
  sqlite3_stmt* statement_;
  int bindResult_ = SQLITE_OK;
  std::string bindFault_;
};
