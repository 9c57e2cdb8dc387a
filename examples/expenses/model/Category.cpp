#include "model/Category.h"

#include <fmt/format.h>

constinit const qw::Class Category::kClass = qw::define<Category, QWDatabaseObject>(
    "Category", {.table = "Category", .synchronizationPriority = 10}, [] {
      return qw::properties(qw::parent<&Category::parent_>("parent", "categories"),
                            qw::children<&Category::categories_>("categories", "parent"),
                            qw::attribute<&Category::name_>("name"),
                            qw::attribute<&Category::color_>("color"),
                            qw::attribute<&Category::budget_>("budget"),
                            qw::attribute<&Category::share_>("share", {.isPercentage = true}),
                            qw::derived<&Category::path>("path", {"name", "parent.path"}));
    });

void Category::setParent(Category* parent) { assign<&Category::parent_>(parent); }

std::string Category::path() const {
  std::vector<std::string_view> names;
  for (const Category* category = this; category->parent(); category = category->parent())
    names.push_back(category->name_);
  return fmt::format("{}", fmt::join(names.rbegin(), names.rend(), "/"));
}

bool Category::isBelow(const Category& other) const {
  for (const Category* category = parent(); category; category = category->parent())
    if (category == &other) return true;
  return false;
}
