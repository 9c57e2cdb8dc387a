#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <vector>

#include "model/Records.h"

/// "key=text" pairs taken apart. None with the error set when one has no "=" or no such field of the kind;
/// `settable` refuses computed fields.
std::optional<std::vector<std::pair<const Field*, std::string>>> parsePairs(
    const std::vector<std::string>& pairs, const RecordKind& kind, bool settable, qw::Error* error);
/// The pairs as values.
std::optional<std::vector<FieldValue>> readValues(const std::vector<std::string>& pairs,
                                                  const RecordKind& kind, BookIndex& index, qw::Error* error);

/// Which records a command is about: a kind and conditions that all have to hold.
struct Selection {
  std::string kind = "expense";
  std::vector<std::string> conditions;

  void declareKind(CLI::App& app);
  void declareConditions(CLI::App& app);
  /// In the book's order.
  std::optional<std::vector<QWDatabaseObject*>> records(ExpenseBook& store, qw::Error* error) const;
};
