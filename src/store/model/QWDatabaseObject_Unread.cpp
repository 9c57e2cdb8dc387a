// Values that the file has and nobody can read: they stay there until their property is set.
#include <algorithm>

#include "store/model/QWDatabaseObject.h"

namespace {

/// Columns on their way through an undo manager.
class KeptColumns final : public qw::ExtensionValue {
 public:
  explicit KeptColumns(std::vector<std::shared_ptr<sqlite3_value>> columns) : columns_(std::move(columns)) {}
  const auto& columns() const { return columns_; }
  bool isEqual(const ExtensionValue& other) const override {
    return columns_ == static_cast<const KeptColumns&>(other).columns_;
  }
  std::size_t hash() const override { return columns_.size(); }
  int compare(const ExtensionValue& other) const override { return isEqual(other) ? 0 : 1; }
  std::string description() const override { return "a value that cannot be read"; }

 private:
  std::vector<std::shared_ptr<sqlite3_value>> columns_;
};

}  // namespace

void QWDatabaseObject::keepUnread(const void* member, const qw::RowReader& row,
                                  std::span<const int> columns) {
  const qw::Property* property = objectClass().propertyOfMember(member);
  if (!property) return;
  Columns values;
  for (const int column : columns) values.push_back(row.value(column));
  rare().unread.push_back({property, std::move(values)});
}

void QWDatabaseObject::copyUnread(const QWDatabaseObject& source) {
  if (source.rare_ && !source.rare_->unread.empty())
    rare().unread = source.rare_->unread;
  else if (rare_)
    rare_->unread.clear();
}

const QWDatabaseObject::Columns* QWDatabaseObject::unread(const qw::Property& property) const {
  if (!rare_) return nullptr;
  const auto& all = rare_->unread;
  const auto found =
      std::find_if(all.begin(), all.end(), [&](const Unread& u) { return u.property == &property; });
  return found == all.end() ? nullptr : &found->columns;
}

bool QWDatabaseObject::dropUnread(const qw::Property& property) {
  if (!unread(property)) return false;
  setUnread(property, {});
  return true;
}

void QWDatabaseObject::setUnread(const qw::Property& property, Columns columns) {
  if (qw::UndoManager* undo = recordingUndoManager()) {
    const Columns* former = unread(property);
    undo->registerAction(
        *this,
        [](qw::Object& target, const qw::Property* property, const qw::Value& value, std::int64_t) {
          static_cast<QWDatabaseObject&>(target).setUnread(*property,
                                                           value.extensionAs<KeptColumns>()->columns());
        },
        &property,
        std::shared_ptr<const qw::ExtensionValue>(
            std::make_shared<KeptColumns>(former ? *former : Columns())));
  }
  willModify();
  auto& all = rare().unread;
  std::erase_if(all, [&](const Unread& u) { return u.property == &property; });
  if (!columns.empty()) all.push_back({&property, std::move(columns)});
  addModification();
}
