#pragma once

#include <string_view>

#include "import/QWCSVImportController.h"

/// How a bank's file writes dates and amounts: entered by name, or told from the columns that hold them.
namespace StatementForms {

inline constexpr std::string_view kNumbers[] = {"1234.56",  "1234,56",  "1,234.56",
                                                "1.234,56", "1'234.56", "1 234,56"};

/// Enters the separators of one of `kNumbers`.
void enterNumbers(qw::CSVImportOptions& options, std::string_view form);

/// Enters the date format if it is empty, and the separators if none are chosen, that read the texts of the
/// columns mapped as "date" and "amount". False when they can be read in two ways, such as 01/02/2024 or
/// 1,234, and nothing in the file tells which.
bool propose(QWCSVImportController& importer, qw::Error* error);

}  // namespace StatementForms
