#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "model/Records.h"
#include "platform/Data.h"
#include "platform/TextEncoding.h"

/// Reads a bank's CSV file into a book. What a field of an expense is called in the file is told by
/// `columns`, or else by the field's own key.
struct StatementImport {
  qw::TextEncoding encoding = qw::TextEncoding::utf8();
  std::string separator = ",";
  /// The first line that is read, counted from 1: banks put account and period before the table.
  std::size_t firstLine = 1;
  /// Whether that line names the columns. Otherwise they are named "1", "2" and so on.
  bool hasHeader = true;
  TextForms forms;
  /// Field to column.
  std::map<std::string, std::string> columns;
  /// Field to the text that every expense gets.
  std::map<std::string, std::string> constants;
  /// The file writes what was spent as a negative amount.
  bool invert = false;
  /// Leaves out rows that cannot be read; otherwise the first of them ends the import.
  bool skipBadRows = false;

  struct Result {
    std::size_t imported = 0;
    std::size_t skipped = 0;
    /// Why the first row was skipped.
    std::string reason;
  };
  /// Rows done and rows in all; called about a hundred times.
  using Progress = std::function<void(std::size_t, std::size_t)>;

  /// Adds an expense for each row; makes the categories that are new. A failure leaves the records that were
  /// made so far to the caller's undo group.
  std::optional<Result> run(const qw::Data& bytes, ExpenseBook& store, const Progress& progress,
                            qw::Error* error) const;
};
