#include "model/Summary.h"

#include <algorithm>
#include <set>
#include <unordered_map>

Summary Summary::of(const std::vector<const Expense*>& expenses, By by) {
  Summary summary;
  std::unordered_map<std::string, std::size_t> places;
  const auto lineFor = [&](const Expense& expense, const std::string& month) -> Line& {
    const QWDatabaseObject* record = expense.wallet();
    if (by == By::kCategory) record = expense.category();
    const std::string key = by == By::kMonth ? month : record ? record->ID().text() : "";
    const auto [place, isNew] = places.try_emplace(key, summary.lines.size());
    if (!isNew) return summary.lines[place->second];
    Line& line = summary.lines.emplace_back();
    if (by == By::kMonth) {
      line.title = month;
    } else if (by == By::kWallet) {
      line.title = expense.wallet()->name();
      line.color = expense.wallet()->color();
    } else if (const Category* category = expense.category()) {
      line.title = category->path();
      line.budget = category->budget();
      for (; category && !line.color; category = category->parent()) line.color = category->color();
    }
    return line;
  };
  std::set<std::string> months;
  for (const Expense* expense : expenses) {
    std::string month = expense->month();
    Line& line = lineFor(*expense, month);
    const qw::Decimal amount = expense->homeAmount();
    const qw::Decimal share = expense->category() ? amount * expense->category()->share() : amount;
    for (Line* sum : {&line, &summary.total}) {
      ++sum->count;
      sum->total += amount;
      sum->share += share;
    }
    months.insert(std::move(month));
  }
  summary.months = months.size();
  std::sort(summary.lines.begin(), summary.lines.end(),
            [](const Line& a, const Line& b) { return a.title < b.title; });
  return summary;
}
