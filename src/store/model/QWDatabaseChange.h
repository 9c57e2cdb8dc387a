#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/base/Export.h"
#include "store/model/RowWrite.h"

class QWDatabaseObject;
class QWDatabaseQuery;

/// One pending write. A change of an object holds the values of the moment when it was computed: they are
/// read from the object when the statement runs, unless the object is edited before, which makes the change
/// take its own copy first.
class QW_EXPORT QWDatabaseChange {
 public:
  /// Binds the parameters of the statement just before it runs.
  using PrepareBlock = std::function<void(QWDatabaseQuery&)>;

  /// A write of the store's own rows.
  QWDatabaseChange(std::string sql, PrepareBlock prepareBlock);
  /// The write of an object's row.
  explicit QWDatabaseChange(qw::RowWrite write);
  ~QWDatabaseChange();
  QWDatabaseChange(const QWDatabaseChange&) = delete;
  QWDatabaseChange& operator=(const QWDatabaseChange&) = delete;

  /// The statement, with parameters for all values.
  const std::string& sql() const;
  /// The object whose row this is; null for the store's own rows.
  const std::shared_ptr<QWDatabaseObject>& object() const { return write_.object; }
  /// Binds the parameters.
  void prepare(QWDatabaseQuery& query) const;

  /// The write of the object's row; its object is null for the store's own rows.
  const qw::RowWrite& write() const { return write_; }
  /// What holds the values: the object, or the copy that was taken of it.
  const QWDatabaseObject& values() const { return captured_ ? *captured_ : *write_.object; }
  /// Keeps the values that the object has now.
  void capture();

 private:
  std::string sql_;  // of the store's own rows
  PrepareBlock prepareBlock_;
  qw::RowWrite write_;
  std::shared_ptr<QWDatabaseObject> captured_;
};
