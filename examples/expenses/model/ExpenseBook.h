#pragma once

#include "model/Book.h"
#include "store/model/QWDatabaseManager.h"

/// The store file of an expense book.
class ExpenseBook : public QWDatabaseManager {
 public:
  static const qw::Class kClass;

  Book& book() const { return static_cast<Book&>(*rootObject()); }

  const qw::Class& rootObjectClass() const override { return Book::kClass; }
  std::vector<const qw::Class*> modelClasses() const override;

  /// Expenses come after what they belong to and refer to.
  int numberOfSynchronizationSteps() const override { return 2; }
  std::int64_t maximumSynchronizationPriorityForStep(int step) const override;

 protected:
  void addInitialData() override;
};
