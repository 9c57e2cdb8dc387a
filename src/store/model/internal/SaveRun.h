#pragma once

#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/base/Error.h"
#include "store/columns/Row.h"
#include "store/model/QWDatabaseChange.h"

class QWDatabaseManager;

namespace qw {

/// One save: a transaction in which every write is made that can be. A write that fails does not keep the
/// others from being made; its object stays unsaved. When the transaction itself cannot be committed nothing
/// is written and every object stays unsaved.
class SaveRun {
 public:
  explicit SaveRun(QWDatabaseManager& manager);

  /// Makes the changes, then the rows. False with code 4 and all messages when anything failed.
  bool run(std::span<const std::shared_ptr<QWDatabaseChange>> changes, std::span<const RowWrite> rows,
           Error* error);

 private:
  // These answer an SQLite result code.
  int write(const QWDatabaseChange& change);
  int write(const RowWrite& row, const QWDatabaseObject& values);
  int statementFor(const std::string& sql);
  int fail(int result, const std::string& sql, const std::string& reason);

  bool execute(const char* sql);
  /// Whether the row that the write inserts is in the file.
  bool isInFile(const RowWrite& insert, const QWDatabaseObject& values);
  /// Nothing that was bound for a row outlives its save.
  void putBackStatement();

  QWDatabaseManager& manager_;
  sqlite3* database_;
  std::shared_ptr<QWDatabaseQuery> query_;
  const std::string* sql_ = nullptr;  // whose statement `query_` is
  RowBinder binder_;
  std::vector<std::string> messages_;
};

}  // namespace qw
