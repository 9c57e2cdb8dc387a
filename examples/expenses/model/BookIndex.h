#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "model/ExpenseBook.h"

/// Finds what people name in a book: currencies by code, wallets by name, categories by path. Reads the book
/// once; is told of nothing later, so it is made anew for each command.
class BookIndex {
 public:
  explicit BookIndex(ExpenseBook& store);

  ExpenseBook& store() const { return store_; }
  Book& book() const { return store_.book(); }

  /// Null when there is none.
  Currency* currency(std::string_view code) const { return find(currencies_, code); }
  Wallet* wallet(std::string_view name) const { return find(wallets_, name); }
  /// The names from below the root down, joined by "/".
  Category* category(std::string_view path) const { return find(categories_, path); }
  /// Whether a path has a name, and no empty one on the way.
  static bool isPath(std::string_view path);
  /// The same; what is missing on the way is made. Null when it is no path.
  Category* makeCategory(std::string_view path);

 private:
  template <class T>
  using Map = std::map<std::string, T*, std::less<>>;

  template <class T>
  static T* find(const Map<T>& map, std::string_view name) {
    const auto found = map.find(name);
    return found == map.end() ? nullptr : found->second;
  }

  ExpenseBook& store_;
  Map<Currency> currencies_;
  Map<Wallet> wallets_;
  Map<Category> categories_;
};
