#pragma once

#include <optional>
#include <string>

#include "platform/base/Export.h"
#include "store/model/QWDatabaseObject.h"

/// Base of named objects with an icon, as a library list shows them. Several classes share a table, told
/// apart by the column "class".
class QW_EXPORT QWLibraryObject : public QWDatabaseObject {
 public:
  static const qw::Class kClass;

  /// Icons are kept at most this large, in points.
  static constexpr qw::Size kIconSize{32, 32};

  /// What the list shows.
  const std::string& name() const { return name_; }
  /// The icon, or else the default one.
  std::optional<qw::Image> icon() const { return icon_ ? icon_ : defaultIcon(); }
  /// The stored icon only.
  const std::optional<qw::Image>& rawIcon() const { return icon_; }
  /// The icon at 24×24 points with round corners; the default icon as it is.
  std::optional<qw::Image> roundedIcon() const;
  /// Whether lists leave it out.
  bool isHidden() const { return hidden_; }
  /// Whether it cannot have children.
  virtual bool isLeaf() const { return true; }
  /// Shown when no icon is set.
  virtual std::optional<qw::Image> defaultIcon() const { return std::nullopt; }

  /// Undoable.
  virtual void setName(std::string name) { assign<&QWLibraryObject::name_>(std::move(name)); }
  /// Scaled down to `kIconSize`.
  void setIcon(const std::optional<qw::Image>& icon);
  /// Undoable.
  void setHidden(bool hidden) { assign<&QWLibraryObject::hidden_>(hidden); }

  /// Gives it no name through `setName`, where a subclass may choose one.
  void initWithDatabaseManager(QWDatabaseManager& manager) override;

  std::string description() const override { return name_; }

 private:
  std::string name_;
  std::optional<qw::Image> icon_;
  bool hidden_ = false;
  mutable std::optional<qw::Image> roundedIcon_;
  mutable std::optional<qw::Image> roundedFrom_;
};
