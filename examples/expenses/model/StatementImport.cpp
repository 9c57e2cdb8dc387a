#include "model/StatementImport.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "platform/system/DateText.h"
#include "values/dates/QWDateAdditions.h"
#include "values/numbers/QWCurrencyFormatter.h"

namespace {

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 2, std::move(message));
}

/// What makes two expenses the same.
struct Likeness {
  qw::Date date;
  qw::Decimal amount;
  std::string payee;
  friend bool operator==(const Likeness&, const Likeness&) = default;

  struct Hash {
    std::size_t operator()(const Likeness& likeness) const {
      return std::hash<std::string>()(likeness.payee) * 31 + likeness.amount.hash() * 17 +
             std::hash<std::int64_t>()(likeness.date.microseconds());
    }
  };
};

/// The expenses of a book and the rows of a file, by what they are like: the line of the row, or 0.
using Likenesses = std::unordered_map<Likeness, std::size_t, Likeness::Hash>;

Likenesses likenesses(Book& book, std::size_t rows) {
  Likenesses all;
  for (const Wallet& wallet : book.wallets()) rows += wallet.expenses().size();
  all.reserve(rows);
  for (const Wallet& wallet : book.wallets())
    for (const Expense& expense : wallet.expenses())
      all.try_emplace({expense.date(), expense.amount(), expense.payee()}, 0);
  return all;
}

/// Reads the rows into values of the fields. The constants outlive it.
class RowReader {
 public:
  RowReader(const StatementImport& options, const QWCSVImportController& importer,
            qw::CSVRecordReader& reader, BookIndex& index)
      : reader_(reader), index_(index), invert_(options.invert) {
    for (const std::string& key : importer.keyPaths()) {
      const auto column = reader.column(key);
      if (!column.isMapped()) continue;
      if (key == "category")
        category_ = column;
      else
        columns_.push_back({Records::expenses().field(key), column});
    }
  }

  bool readConstants(const StatementImport::Constants& texts, qw::Error* error) {
    for (const auto& [key, text] : texts) {
      if (key == "category") {
        usualCategory_ = Texts::trimmed(text);
        continue;
      }
      const Field* field = Records::expenses().field(key);
      auto value = Records::read(*field, text, index_, error);
      if (!value) return false;
      constants_.push_back({field, *std::move(value)});
    }
    return usualCategory_.empty() || BookIndex::isPath(usualCategory_) ||
           fail(error, fmt::format("\"{}\" names no category", usualCategory_));
  }

  bool has(std::string_view key) const {
    const auto isKey = [&](const auto& named) { return named.field->key == key; };
    return std::any_of(columns_.begin(), columns_.end(), isKey) ||
           std::any_of(constants_.begin(), constants_.end(), isKey);
  }

  /// The values of the row but for its category. False when it is rejected.
  bool read(std::vector<FieldValue>& values) {
    values = constants_;
    for (const auto& [field, column] : columns_) {
      qw::Value value;
      if (field->type == FieldType::kDate) {
        const auto date = reader_.date(column);
        value = date ? std::optional(QWDateAdditions::startOfDay(*date)) : std::nullopt;
      } else if (field->type == FieldType::kAmount) {
        const auto number = reader_.number(column);
        value = number && invert_ ? -*number : number;
      } else {
        value = readText(*field, column);
      }
      if (reader_.isRejected()) return false;
      // Without a text the usual value holds.
      if (!value.isNull()) values.push_back({field, std::move(value)});
    }
    return true;
  }

  /// None for an empty path; a path that is none rejects the row.
  std::string_view readCategory() {
    const std::string_view path = Texts::trimmed(reader_.text(category_));
    if (path.empty()) return usualCategory_;
    if (!BookIndex::isPath(path)) reader_.reject(category_, fmt::format("\"{}\" names no category", path));
    return path;
  }

 private:
  struct MappedField {
    const Field* field;
    qw::CSVRecordReader::Column column;
  };

  qw::Value readText(const Field& field, const qw::CSVRecordReader::Column& column) {
    const std::string_view text = reader_.text(column);
    if (Texts::trimmed(text).empty()) return {};
    qw::Error error;
    auto value = Records::read(field, text, index_, &error);
    if (!value) reader_.reject({}, error.localizedDescription);  // which names the field
    return value.value_or(qw::Value());
  }

  qw::CSVRecordReader& reader_;
  BookIndex& index_;
  std::vector<MappedField> columns_;
  qw::CSVRecordReader::Column category_;
  std::vector<FieldValue> constants_;
  std::string_view usualCategory_;
  bool invert_;
};

const qw::Value* find(const std::vector<FieldValue>& values, std::string_view key) {
  const qw::Value* found = nullptr;  // the last one: that of the row
  for (const FieldValue& value : values)
    if (value.field->key == key) found = &value.value;
  return found;
}

}  // namespace

std::vector<std::string> StatementImport::keyPaths() {
  std::vector<std::string> keys;
  for (const Field& field : Records::expenses().fields)
    if (!field.derived) keys.emplace_back(field.key);
  return keys;
}

std::optional<StatementImport::Result> StatementImport::run(QWCSVImportController& importer,
                                                            ExpenseBook& store, const Progress& progress,
                                                            qw::Error* error) const {
  BookIndex index(store);
  QWDateFormatter dates;
  importer.options().configure(dates);
  QWCurrencyFormatter numbers;
  const auto named = constants.find("wallet");
  const Wallet* usual = named != constants.end()             ? index.wallet(named->second)
                        : index.book().wallets().size() == 1 ? &index.book().wallets()[0]
                                                             : nullptr;
  if (const Currency* currency = usual ? usual->currency() : nullptr) {
    const QWCurrency own = currency->money();
    numbers.setCurrency(own);
    numbers.setCurrencies({own});
  }
  // A file says exactly what it means.
  numbers.setDecimalNumberBehavior(std::nullopt);
  numbers.setCanInsertDecimalSeparatorAutomatically(false);
  importer.options().configure(numbers);

  const QWCSVRows& rows = importer.rows();
  qw::CSVRecordReader reader(rows, importer.mapping(), dates, numbers, importer.options().firstLine());
  RowReader rowReader(*this, importer, reader, index);
  if (!rowReader.readConstants(constants, error)) return std::nullopt;
  for (const std::string_view key : {"date", "amount"})
    if (!rowReader.has(key))
      return fail(error,
                  fmt::format("say which column is the {0} with --map {0}=COLUMN; the file has \"{1}\"", key,
                              fmt::join(importer.header(), "\", \""))),
             std::nullopt;
  if (!usual && !rowReader.has("wallet")) return fail(error, "say which wallet with --wallet"), std::nullopt;

  Likenesses known = likenesses(index.book(), rows.size());
  const std::size_t step = std::max<std::size_t>(rows.size() / 100, 1);
  Result result;
  std::vector<FieldValue> values;
  while (reader.next()) {
    if (progress && reader.position() % step == 0) progress(reader.position(), rows.size());
    if (!rowReader.read(values)) continue;
    for (const std::string_view key : {"date", "amount"})
      if (!find(values, key)) reader.reject(reader.column(key), "must not be empty");
    if (reader.isRejected()) continue;

    const qw::Value* payee = find(values, "payee");
    const auto [same, isNew] =
        known.try_emplace({*find(values, "date")->date(), *find(values, "amount")->decimalValue(),
                           payee && payee->text() ? *payee->text() : std::string()},
                          0);
    if (isNew) {
      same->second = reader.line();
    } else {
      const auto& [date, amount, name] = same->first;
      if (++result.duplicateRows <= kMaximumDuplicates)
        result.duplicates.push_back(
            {reader.line(), qw::DateText::dateText(date), name, amount.text(), same->second});
      if (skipDuplicates) continue;
    }
    const std::string_view category = rowReader.readCategory();
    const bool makes = !isDryRun && !reader.isRejected() && (skipBadRows || reader.rejectedRows() == 0);
    qw::Error rowError;
    if (makes) {
      if (!category.empty())
        values.push_back({Records::expenses().field("category"),
                          index.makeCategory(category)->sharedAs<QWDatabaseObject>()});
      if (!Records::make(Records::expenses(), values, index, &rowError))
        reader.reject({}, rowError.localizedDescription);
    }
    if (reader.isRejected()) {
      if (isNew) known.erase(same);
    } else {
      ++result.imported;
    }
  }
  result.rejectedRows = reader.rejectedRows();
  result.rejections = reader.rejections();
  return result;
}
