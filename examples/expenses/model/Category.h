#pragma once

#include <optional>
#include <string>

#include "platform/base/Color.h"
#include "platform/base/Decimal.h"
#include "store/model/QWDatabaseObject.h"

/// What an expense is for. Categories are a tree: each is a child of another, except the root, which belongs
/// to the book and has no name.
class Category : public QWDatabaseObject {
 public:
  static const qw::Class kClass;

  /// Null for the root.
  Category* parent() const { return parent_.get(); }
  void setParent(Category* parent);
  qw::Children<Category>& categories() { return categories_; }
  const qw::Children<Category>& categories() const { return categories_; }

  const std::string& name() const { return name_; }
  void setName(std::string name) { assign<&Category::name_>(std::move(name)); }
  const std::optional<qw::Color>& color() const { return color_; }
  void setColor(std::optional<qw::Color> color) { assign<&Category::color_>(color); }
  /// What may be spent in a month, in the home currency. None: no limit.
  const std::optional<qw::Decimal>& budget() const { return budget_; }
  void setBudget(std::optional<qw::Decimal> budget) { assign<&Category::budget_>(budget); }
  /// The part of each expense that this household bears, as a fraction: 0.5 of a rent that two share.
  const qw::Decimal& share() const { return share_; }
  void setShare(const qw::Decimal& share) { assign<&Category::share_>(share); }

  /// The names from below the root down, joined by "/"; empty for the root.
  std::string path() const;
  bool isBelow(const Category& other) const;

  std::string synchronizationDescription() const override { return path(); }

 private:
  qw::Back<Category> parent_;
  qw::Children<Category> categories_;
  std::string name_;
  std::optional<qw::Color> color_;
  std::optional<qw::Decimal> budget_;
  qw::Decimal share_ = 1;
};
