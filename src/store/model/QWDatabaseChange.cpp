#include "store/model/QWDatabaseChange.h"

#include "store/model/QWDatabaseObject.h"
#include "store/model/QWDatabaseQuery.h"

QWDatabaseChange::QWDatabaseChange(std::string sql, PrepareBlock prepareBlock)
    : sql_(std::move(sql)), prepareBlock_(std::move(prepareBlock)) {}

QWDatabaseChange::QWDatabaseChange(qw::RowWrite write) : write_(std::move(write)) {
  write_.object->expectPendingChange(*this);
}

QWDatabaseChange::~QWDatabaseChange() {
  if (write_.object) write_.object->forgetPendingChange(*this);
}

const std::string& QWDatabaseChange::sql() const { return write_ ? write_.sql() : sql_; }

void QWDatabaseChange::capture() {
  if (write_.kind != qw::RowWrite::Kind::kDelete) captured_ = write_.object->copyOfColumns();
}

void QWDatabaseChange::prepare(QWDatabaseQuery& query) const {
  using Kind = qw::RowWrite::Kind;
  if (prepareBlock_) prepareBlock_(query);
  if (!write_) return;
  if (write_.kind != Kind::kInsert) query.setInt64(write_.former.rowID(), "sqlID");
  if (write_.kind != Kind::kDelete) values().prepareBlock()(query);
}
