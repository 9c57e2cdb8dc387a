#pragma once

#include "model/Book.h"
#include "store/QWDatabaseManager.h"

/// The store file of an expense book.
class ExpenseBook : public QWDatabaseManager {
 public:
  static const qw::Class kClass;

  Book& book() const { return static_cast<Book&>(*rootObject()); }

  const qw::Class& rootObjectClass() const override { return Book::kClass; }
  std::vector<const qw::Class*> modelClasses() const override;

 protected:
  void addInitialData() override;
};
