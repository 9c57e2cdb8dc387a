#include "model/StatementImport.h"

#include <fmt/format.h>

#include <algorithm>

#include "values/QWCSVRows.h"

namespace {

struct Column {
  const Field* field;
  std::size_t index;
};

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 2, std::move(message));
}

bool isNeeded(std::string_view key) { return key == "date" || key == "amount"; }

const Field* settableField(const std::string& key, qw::Error* error) {
  const Field* field = Records::expenses().field(key);
  if (field && !field->derived) return field;
  fail(error, fmt::format("an expense has no field \"{}\"", key));
  return nullptr;
}

/// The text from a line on; lines end with LF, CR LF or CR.
std::optional<std::string> fromLine(std::string text, std::size_t line) {
  std::size_t at = 0;
  for (; line > 1; --line) {
    at = text.find_first_of("\r\n", at);
    if (at == text.npos) return std::nullopt;
    at += text.compare(at, 2, "\r\n") == 0 ? 2 : 1;
  }
  text.erase(0, at);
  return text;
}

std::optional<std::size_t> indexOfColumn(const std::string& name, const QWCSVRows& rows, std::size_t width) {
  if (rows.hasHeader()) {
    const auto& header = rows.header();
    const auto found = std::find(header.begin(), header.end(), name);
    return found == header.end() ? std::nullopt
                                 : std::optional(static_cast<std::size_t>(found - header.begin()));
  }
  for (std::size_t i = 0; i < width; ++i)
    if (std::to_string(i + 1) == name) return i;
  return std::nullopt;
}

/// The columns that the file has for the fields of an expense.
std::optional<std::vector<Column>> chooseColumns(const StatementImport& options, const QWCSVRows& rows,
                                                 qw::Error* error) {
  const std::size_t width = rows.hasHeader() ? rows.header().size() : rows.empty() ? 0 : rows[0].size();
  std::vector<Column> columns;
  for (const auto& [key, name] : options.columns) {
    const Field* field = settableField(key, error);
    if (!field) return std::nullopt;
    const auto index = indexOfColumn(name, rows, width);
    if (!index && rows.hasHeader()) {
      fail(error, fmt::format("there is no column \"{}\"; the file has \"{}\"", name,
                              fmt::join(rows.header(), "\", \"")));
      return std::nullopt;
    }
    if (!index) {
      fail(error, fmt::format("there is no column {}; the first row has {}", name, width));
      return std::nullopt;
    }
    columns.push_back({field, *index});
  }
  if (rows.hasHeader())
    for (const Field& field : Records::expenses().fields) {
      const std::string key(field.key);
      if (field.derived || options.columns.contains(key) || options.constants.contains(key)) continue;
      if (const auto index = indexOfColumn(key, rows, width)) columns.push_back({&field, *index});
    }
  for (const std::string key : {"date", "amount"})
    if (!options.constants.contains(key) &&
        std::none_of(columns.begin(), columns.end(), [&](const Column& c) { return c.field->key == key; })) {
      fail(error, fmt::format("say which column is the {0} with --map {0}=COLUMN", key));
      return std::nullopt;
    }
  // Categories last: a row that cannot be read makes none.
  std::stable_partition(columns.begin(), columns.end(),
                        [](const Column& column) { return column.field->type != FieldType::kCategory; });
  return columns;
}

}  // namespace

std::optional<StatementImport::Result> StatementImport::run(const qw::Data& bytes, ExpenseBook& store,
                                                            const Progress& progress,
                                                            qw::Error* error) const {
  auto text = encoding.decode(bytes.text(), error);
  if (!text) return std::nullopt;
  text = fromLine(*std::move(text), firstLine);
  if (!text) return fail(error, fmt::format("the file has no line {}", firstLine)), std::nullopt;
  const QWCSVRows rows = QWStringAdditions::CSVRowsWithSeparator(*std::move(text), separator, hasHeader);
  const auto chosen = chooseColumns(*this, rows, error);
  if (!chosen) return std::nullopt;

  BookIndex index(store);
  std::vector<FieldValue> constantValues;
  for (const auto& [key, constant] : constants) {
    const Field* field = settableField(key, error);
    auto value = field
                     ? Records::read(*field, constant, forms, index, Records::Unknown::kMakeCategories, error)
                     : std::nullopt;
    if (!value) return std::nullopt;
    constantValues.push_back({field, *std::move(value)});
  }

  TextForms rowForms = forms;
  const auto wallet = constants.find("wallet");
  const Wallet* usual = wallet != constants.end()            ? index.wallet(wallet->second)
                        : index.book().wallets().size() == 1 ? &index.book().wallets()[0]
                                                             : nullptr;
  if (const Currency* currency = usual ? usual->currency() : nullptr) {
    rowForms.symbol = currency->symbol();
    rowForms.code = currency->code();
  }

  const std::size_t step = std::max<std::size_t>(rows.size() / 100, 1);
  Result result;
  std::vector<FieldValue> values;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (progress && i % step == 0) progress(i, rows.size());
    const auto row = rows[i];
    values = constantValues;
    qw::Error rowError;
    bool good = true;
    for (const Column& column : *chosen) {
      const std::string_view content = column.index < row.size() ? row[column.index] : std::string_view();
      // Without a text the usual value holds.
      if (Texts::trimmed(content).empty() && !isNeeded(column.field->key)) continue;
      auto value = Records::read(*column.field, content, rowForms, index, Records::Unknown::kMakeCategories,
                                 &rowError);
      good = value.has_value();
      if (!good) break;
      if (invert && column.field->key == "amount") value = -*value->decimalValue();
      values.push_back({column.field, *std::move(value)});
    }
    if (good && Records::make(Records::expenses(), values, index, &rowError)) {
      ++result.imported;
      continue;
    }
    if (!skipBadRows) {
      fail(error, fmt::format("row {}: {}", i + 1, rowError.localizedDescription));
      return std::nullopt;
    }
    if (++result.skipped == 1)
      result.reason = fmt::format("row {}: {}", i + 1, rowError.localizedDescription);
  }
  if (progress) progress(rows.size(), rows.size());
  return result;
}
