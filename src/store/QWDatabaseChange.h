#pragma once

#include <sqlite3.h>

#include <functional>
#include <memory>
#include <string>

#include "platform/Back.h"
#include "platform/Value.h"

class QWDatabaseObject;
class QWDatabaseQuery;

namespace qw {
class ClassSchema;
class RowBinder;
}  // namespace qw

/// One pending write. A change of an object holds the values of the moment when it was computed: they are
/// read from the object when the statement runs, unless the object is edited before, which makes the change
/// take its own copy first.
class QWDatabaseChange {
 public:
  /// Binds the parameters of the statement.
  using PrepareBlock = std::function<void(QWDatabaseQuery&)>;

  /// Only objects make changes of objects.
  class ObjectKey {
    friend class QWDatabaseObject;
    ObjectKey() = default;
  };
  /// What the statement does with the object's row; `kOther` is about no object.
  enum class Kind : std::uint8_t { kOther, kInsert, kUpdate, kDelete };

  /// A write of a row of the store's own.
  QWDatabaseChange(std::string sql, PrepareBlock prepareBlock);
  /// A write of an object's row; made by the object.
  QWDatabaseChange(ObjectKey, Kind kind, std::shared_ptr<QWDatabaseObject> object, const std::string& sql);
  ~QWDatabaseChange();
  QWDatabaseChange(const QWDatabaseChange&) = delete;
  QWDatabaseChange& operator=(const QWDatabaseChange&) = delete;

  /// The statement, with parameters by name.
  const std::string& sql() const { return *sql_; }
  /// The object whose row this is; null for the store's own rows, and once the object is gone.
  std::shared_ptr<QWDatabaseObject> object() const;
  /// Binds the parameters.
  void prepare(QWDatabaseQuery& query) const;

 private:
  friend class QWDatabaseManager;
  friend class QWDatabaseObject;

  /// What a change of the store's own rows carries.
  struct Own {
    std::string sql;
    PrepareBlock prepareBlock;
  };

  /// Gives `copy`, an object of no store, the column values of `source`.
  static void keepValues(QWDatabaseObject& copy, const QWDatabaseObject& source);
  /// Keeps the values that the object has now.
  void capture();
  void prefetch() const {
    for (std::size_t line = 0; line < 5; ++line)
      __builtin_prefetch(reinterpret_cast<const char*>(object_.get()) + 64 * line);
  }
  /// The write failed: the object is as unsaved as before, and will be written whatever its count says.
  /// `committed`: the file has it nevertheless, only not safely.
  void revert(bool committed = false);
  /// Binds by position. The change and its object must outlive the step. Answers an SQLite result code.
  int bind(sqlite3_stmt* statement, qw::RowBinder& binder) const;

  Kind kind_ = Kind::kOther;
  std::unique_ptr<const Own> own_;
  const std::string* sql_;
  std::shared_ptr<QWDatabaseObject> object_;
  std::int64_t sqlID_ = 0;                      // before the change
  std::int32_t modificationsCount_ = 0;         // before the change
  std::shared_ptr<QWDatabaseObject> captured_;  // a copy of the object with the values of then
};
