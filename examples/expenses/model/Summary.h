#pragma once

#include <optional>
#include <string>
#include <vector>

#include "model/Book.h"

/// Sums of expenses in the home currency.
struct Summary {
  enum class By : std::uint8_t { kMonth, kCategory, kWallet };

  struct Line {
    /// A month, a category's path or a wallet's name; empty for expenses without a category.
    std::string title;
    std::size_t count = 0;
    qw::Decimal total;
    /// What this household bears of it.
    qw::Decimal share;
    std::optional<qw::Color> color;
    /// For a category: what may be spent in a month.
    std::optional<qw::Decimal> budget;
  };

  /// Ordered by title.
  std::vector<Line> lines;
  Line total;
  /// How many months have expenses.
  std::size_t months = 0;

  static Summary of(const std::vector<const Expense*>& expenses, By by);
};
