#include "model/ExpenseBook.h"

constinit const qw::Class ExpenseBook::kClass =
    qw::define<ExpenseBook, QWDatabaseManager>("ExpenseBook", {}, [] { return qw::properties(); });

std::vector<const qw::Class*> ExpenseBook::modelClasses() const {
  return {&Book::kClass, &Currency::kClass, &Category::kClass, &Wallet::kClass, &Expense::kClass};
}

std::int64_t ExpenseBook::maximumSynchronizationPriorityForStep(int step) const {
  return step == 1 ? Expense::kClass.synchronizationPriority() : -1;
}

void ExpenseBook::addInitialData() { book().assign<&Book::rootCategory_>(create<Category>()); }
