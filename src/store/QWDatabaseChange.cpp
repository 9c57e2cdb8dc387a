#include "store/QWDatabaseChange.h"

#include "store/ClassSchema.h"
#include "store/QWDatabaseManager.h"
#include "store/QWDatabaseObject.h"
#include "store/QWDatabaseQuery.h"

QWDatabaseChange::QWDatabaseChange(std::string sql, PrepareBlock prepareBlock)
    : own_(new Own{std::move(sql), std::move(prepareBlock)}), sql_(&own_->sql) {}

QWDatabaseChange::QWDatabaseChange(ObjectKey, Kind kind, std::shared_ptr<QWDatabaseObject> object,
                                   const std::string& sql)
    : kind_(kind),
      sql_(&sql),
      object_(std::move(object)),
      sqlID_(object_->sqlID_),
      modificationsCount_(object_->modificationsCount_) {
  if (object_->pendingChange_) object_->pendingChange_->capture();
  object_->pendingChange_ = this;
}

QWDatabaseChange::~QWDatabaseChange() {
  if (object_ && object_->pendingChange_ == this) object_->pendingChange_ = nullptr;
}

std::shared_ptr<QWDatabaseObject> QWDatabaseChange::object() const { return object_; }

void QWDatabaseChange::keepValues(QWDatabaseObject& copy, const QWDatabaseObject& source) {
  copy.id_ = source.id_;
  copy.lastModificationDate_ = source.lastModificationDate_;
  copy.order_ = source.order_;
  for (const auto& entry : qw::ClassSchema::of(source.objectClass()).stored()) {
    if (entry.storage->copy)
      entry.storage->copy(copy, source);
    else if (const qw::Relation* relation = entry.storage->relation)
      relation->setTarget(copy, relation->target(source));
  }
}

void QWDatabaseChange::capture() {
  object_->pendingChange_ = nullptr;
  if (kind_ == Kind::kDelete) return;
  captured_ = std::static_pointer_cast<QWDatabaseObject>(object_->objectClass().create());
  keepValues(*captured_, *object_);
}

void QWDatabaseChange::revert(bool committed) {
  if (!object_) return;
  switch (kind_) {
    case Kind::kOther:
      return;
    case Kind::kInsert:
      if (!committed) object_->sqlID_ = 0;
      break;
    case Kind::kUpdate:
      object_->modificationsCount_ += modificationsCount_;
      break;
    case Kind::kDelete:
      if (!committed) object_->sqlID_ = sqlID_;
      object_->modificationsCount_ += modificationsCount_;
      break;
  }
  object_->mustWrite_ = true;
  if (QWDatabaseManager* manager = object_->databaseManager()) manager->queueForSaving(*object_);
}

int QWDatabaseChange::bind(sqlite3_stmt* statement, qw::RowBinder& binder) const {
  binder.begin(statement);
  if (kind_ != Kind::kDelete) (captured_ ? captured_ : object_)->bindColumns(binder);
  if (kind_ != Kind::kInsert) binder.bindInt64(sqlID_);
  return binder.result();
}

void QWDatabaseChange::prepare(QWDatabaseQuery& query) const {
  if (own_ && own_->prepareBlock) own_->prepareBlock(query);
  if (!object_) return;
  if (kind_ != Kind::kInsert) query.setInt64(sqlID_, "sqlID");
  if (kind_ != Kind::kDelete) (captured_ ? captured_ : object_)->prepareBlock()(query);
}
