#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "import/CSVRecordReader.h"
#include "import/QWCSVImportController.h"
#include "model/Records.h"

/// Makes expenses of the rows of a bank's file, which an import controller has read.
struct StatementImport {
  using Constants = std::map<std::string, std::string, std::less<>>;
  /// Rows done and rows in all; called about a hundred times.
  using Progress = std::function<void(std::size_t, std::size_t)>;

  /// Field to the text that every expense gets unless its row says otherwise.
  Constants constants;
  /// The file writes what was spent as a negative amount.
  bool invert = false;
  /// Leaves out what has the date, amount and payee of an expense of the book or of a row before.
  bool skipDuplicates = false;
  /// Without, the expenses of a file with a row that cannot be read are of no use, and no more of them are
  /// made.
  bool skipBadRows = false;
  /// Makes nothing, and counts what it would make.
  bool isDryRun = false;

  struct Duplicate {
    std::size_t line = 0;
    std::string date, payee, amount;
    /// The line of the row before; 0 when the book has the expense.
    std::size_t sameAs = 0;
  };
  struct Result {
    std::size_t imported = 0;
    std::size_t rejectedRows = 0;
    /// The first of them, `qw::CSVRecordReader::kMaximumRejections` at most.
    std::vector<qw::CSVRecordReader::Rejection> rejections;
    std::size_t duplicateRows = 0;
    /// The first of them, `kMaximumDuplicates` at most.
    std::vector<Duplicate> duplicates;
  };
  static constexpr std::size_t kMaximumDuplicates = 1000;

  /// The fields of an expense that a file can hold.
  static std::vector<std::string> keyPaths();

  /// Adds an expense for each row that can be read; makes the categories that are new. Amounts may bear the
  /// symbol or the code of the wallet's currency. None when no row can be read for what is missing. What was
  /// made is left to the caller's undo group.
  std::optional<Result> run(QWCSVImportController& importer, ExpenseBook& store, const Progress& progress,
                            qw::Error* error) const;
};
