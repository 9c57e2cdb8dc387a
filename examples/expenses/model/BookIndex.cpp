#include "model/BookIndex.h"

#include <vector>

BookIndex::BookIndex(ExpenseBook& store) : store_(store) {
  // Of equal names the first counts.
  for (Currency& currency : book().currencies()) currencies_.try_emplace(currency.code(), &currency);
  for (Wallet& wallet : book().wallets()) wallets_.try_emplace(wallet.name(), &wallet);
  std::vector<std::pair<std::string, Category*>> open{{"", &book().rootCategory()}};
  while (!open.empty()) {
    const auto [above, parent] = std::move(open.back());
    open.pop_back();
    for (Category& category : parent->categories()) {
      std::string path = above.empty() ? category.name() : above + "/" + category.name();
      categories_.try_emplace(path, &category);
      open.emplace_back(std::move(path), &category);
    }
  }
}

bool BookIndex::isPath(std::string_view path) {
  return !path.empty() && !path.starts_with('/') && !path.ends_with('/') && path.find("//") == path.npos;
}

Category* BookIndex::makeCategory(std::string_view path) {
  if (!isPath(path)) return nullptr;
  Category* category = &book().rootCategory();
  for (std::size_t end = 0; end < path.size();) {
    const std::size_t begin = end ? end + 1 : 0;
    end = std::min(path.find('/', begin), path.size());
    auto [place, isNew] = categories_.try_emplace(std::string(path.substr(0, end)), nullptr);
    if (isNew) {
      const auto made = store_.create<Category>();
      made->setName(std::string(path.substr(begin, end - begin)));
      category->categories().add(made);
      place->second = made.get();
    }
    category = place->second;
  }
  return category;
}
