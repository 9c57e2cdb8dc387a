#pragma once

#include <string>
#include <vector>

#include "model/ExpenseBook.h"

/// Looks for what should never be in a book's file.
namespace BookCheck {

/// Something that was looked at, and what is wrong with it.
struct Finding {
  std::string title;
  std::vector<std::string> faults;
};

/// The rows in the file, by SQL alone, then the loaded records against the rows and against the rules of the
/// model. At most ten faults are told for each. The store must be unchanged since it was opened.
std::vector<Finding> check(ExpenseBook& store);

}  // namespace BookCheck
