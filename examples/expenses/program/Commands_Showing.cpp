// Commands that show what is in a book.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "model/BookCheck.h"
#include "model/Summary.h"
#include "platform/object/SortDescriptor.h"
#include "program/Command.h"
#include "program/Selection.h"
#include "program/Terminal.h"

namespace {

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 6, std::move(message));
}

constexpr qw::Color kRed{0.8, 0.2, 0.2};

/// A field of a CSV record (RFC 4180).
std::string quoted(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == text.npos && !text.starts_with(' ') && !text.starts_with('\t'))
    return text;
  std::string result = "\"";
  for (const char c : text) result += c == '"' ? std::string("\"\"") : std::string(1, c);
  return result + "\"";
}

/// Sorts as `SortDescriptor::fromText` says; texts and what has a name are ordered as people order them.
bool sortRecords(std::vector<QWDatabaseObject*>& records, const std::string& keys, const RecordKind& kind,
                 qw::Error* error) {
  using qw::SortDescriptor;
  if (keys.empty()) return true;
  auto descriptors = SortDescriptor::fromText(keys, kind.recordClass, error);
  if (!descriptors) return false;
  for (SortDescriptor& descriptor : *descriptors) {
    const Field* field = kind.field(descriptor.keyPath());
    if (!field || descriptor.comparison() != SortDescriptor::Comparison::kNatural) continue;
    std::string path = descriptor.keyPath();
    if (field->type == FieldType::kCategory) path += ".path";
    if (field->type == FieldType::kWallet) path += ".name";
    if (field->type == FieldType::kCurrency) path += ".code";
    descriptor = SortDescriptor(path, descriptor.order(), SortDescriptor::Comparison::kLocalizedStandard);
  }
  std::vector<QWDatabaseObject*> sorted;
  sorted.reserve(records.size());
  for (const std::size_t place : SortDescriptor::sortedPlaces(
           std::vector<const qw::Object*>(records.begin(), records.end()), *descriptors))
    sorted.push_back(records[place]);
  records = std::move(sorted);
  return true;
}

void printTable(const std::vector<QWDatabaseObject*>& records, std::size_t all, const RecordKind& kind,
                const Session& session) {
  std::vector<Terminal::Table::Column> columns{{"ID"}};
  std::vector<const Field*> fields;
  for (const Field& field : kind.fields) {
    if (field.derived) continue;
    const bool isNumber = field.type == FieldType::kAmount || field.type == FieldType::kCount;
    columns.push_back(
        {std::string(field.key), isNumber ? Terminal::Table::Align::kRight : Terminal::Table::Align::kLeft});
    fields.push_back(&field);
  }
  Terminal::Table table(columns);
  const std::size_t length = session.prefixLength();
  for (const QWDatabaseObject* record : records) {
    std::vector<std::string> cells{record->ID().text().substr(0, length)};
    for (const Field* field : fields) {
      if (field->key == "amount") {
        const auto& expense = static_cast<const Expense&>(*record);
        cells.push_back(
            Texts::grouped(expense.amount(), expense.currency() ? expense.currency()->fractionDigits() : 0));
      } else {
        cells.push_back(Records::text(*field, *record));
      }
    }
    table.addRow(std::move(cells));
  }
  fmt::print("{}", table.text());
  const std::string count = Records::counted(all, kind);
  fmt::print("{}\n",
             records.size() == all ? count : fmt::format("{} of {}", Texts::grouped(records.size()), count));
}

qw::Color barColor(std::size_t line) {
  static constexpr qw::Color kColors[] = {{0.2, 0.6, 0.8}, {0.4, 0.8, 0.4}, {0.8, 0.6, 0.2},
                                          {0.8, 0.4, 0.6}, {0.6, 0.4, 0.8}, {0.4, 0.8, 0.8}};
  return kColors[line % std::size(kColors)];
}

void printSummary(const Summary& summary, Summary::By by, const Currency& home) {
  using Align = Terminal::Table::Align;
  const auto money = [&](const qw::Decimal& amount) {
    const int digits = home.fractionDigits();
    return Texts::grouped(amount.rounded(digits, qw::RoundingMode::plain), digits);
  };
  static constexpr const char* kTitles[] = {"month", "category", "wallet"};
  const bool isShared = summary.total.share != summary.total.total;
  const bool isCategory = by == Summary::By::kCategory;
  const qw::Decimal months = std::max<std::size_t>(summary.months, 1);
  Terminal::Table table({{kTitles[static_cast<std::size_t>(by)]},
                         {"expenses", Align::kRight},
                         {"total " + home.code(), Align::kRight},
                         {"our share", Align::kRight},
                         {"a month", Align::kRight},
                         {"budget", Align::kRight}});
  const auto cells = [&](const Summary::Line& line, std::string title) {
    return std::vector<std::string>{std::move(title),
                                    Texts::grouped(line.count),
                                    money(line.total),
                                    isShared ? money(line.share) : "",
                                    isCategory ? money(line.total / months) : "",
                                    line.budget ? money(*line.budget) : ""};
  };
  for (std::size_t i = 0; i < summary.lines.size(); ++i) {
    const Summary::Line& line = summary.lines[i];
    const bool isOverBudget = line.budget && line.total > *line.budget * months;
    table.addRow(cells(line, line.title.empty() ? "(none)" : line.title), line.total.toDouble(),
                 isOverBudget ? kRed : line.color.value_or(barColor(by == Summary::By::kMonth ? 0 : i)));
  }
  table.addTotal(cells(summary.total, "all"));
  fmt::print("{}", table.text());
}

}  // namespace

Action declareList(CLI::App& app) {
  struct Options {
    Selection selection;
    std::string sort, format = "table";
    std::optional<std::size_t> limit;
  };
  const auto options = std::make_shared<Options>();
  options->selection.declareKind(app);
  options->selection.declareConditions(app);
  app.add_option("--sort", options->sort,
                 "fields or key paths to sort by, as -amount,category.name; \"-\" begins with the largest")
      ->type_name("KEYS");
  app.add_option("--limit", options->limit, "how many at most")->type_name("N");
  app.add_option("--format", options->format, "table, json or csv")
      ->check(CLI::IsMember({"table", "json", "csv"}).description(""))
      ->capture_default_str();
  return [options](Session& session, qw::Error* error) {
    const RecordKind& kind = *Records::kindNamed(options->selection.kind);
    auto records = options->selection.records(session.store(), error);
    if (!records || !sortRecords(*records, options->sort, kind, error)) return false;
    const std::size_t all = records->size();
    if (options->limit && *options->limit < all) records->resize(*options->limit);
    if (options->format == "table") {
      printTable(*records, all, kind, session);
    } else if (options->format == "csv") {
      std::string line = "ID";
      for (const Field& field : kind.fields) line += "," + std::string(field.key);
      fmt::print("{}\r\n", line);
      for (const QWDatabaseObject* record : *records) {
        line = record->ID().text();
        for (const Field& field : kind.fields) line += "," + quoted(Records::text(field, *record));
        fmt::print("{}\r\n", line);
      }
    } else {
      auto list = nlohmann::ordered_json::array();
      for (const QWDatabaseObject* record : *records) {
        auto& entry = list.emplace_back(nlohmann::ordered_json::object());
        entry["ID"] = record->ID().text();
        for (const Field& field : kind.fields) {
          // Numbers are texts: a JSON number would lose digits.
          if (field.type == FieldType::kFlag)
            entry[std::string(field.key)] = record->valueForKey(field.key).boolValue();
          else if (record->valueForKey(field.key).isNull())
            entry[std::string(field.key)] = nullptr;
          else
            entry[std::string(field.key)] = Records::text(field, *record);
        }
      }
      fmt::print("{}\n", list.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
    }
    return true;
  };
}

Action declareSummary(CLI::App& app) {
  struct Options {
    Selection selection;
    Summary::By by = Summary::By::kMonth;
  };
  static const std::map<std::string, Summary::By> kBys = {
      {"month", Summary::By::kMonth}, {"category", Summary::By::kCategory}, {"wallet", Summary::By::kWallet}};
  const auto options = std::make_shared<Options>();
  options->selection.declareConditions(app);
  app.add_option("--by", options->by, "month, category or wallet")
      ->transform(CLI::CheckedTransformer(kBys).description(""))
      ->type_name("WHAT")
      ->required();
  return [options](Session& session, qw::Error* error) {
    const auto records = options->selection.records(session.store(), error);
    if (!records) return false;
    std::vector<const Expense*> expenses;
    for (const QWDatabaseObject* record : *records) expenses.push_back(static_cast<const Expense*>(record));
    printSummary(Summary::of(expenses, options->by), options->by, *session.book().homeCurrency());
    return true;
  };
}

Action declareCheck(CLI::App&) {
  return [](Session& session, qw::Error* error) {
    std::size_t faults = 0;
    for (const auto& [title, found] : BookCheck::check(session.store())) {
      fmt::print("{}  {}\n", found.empty() ? "ok    " : Terminal::colored("FAULT ", kRed), title);
      for (const std::string& text : found) fmt::print("        {}\n", Terminal::fitted(text, 1000));
      faults += found.size();
    }
    if (faults) return fail(error, fmt::format("{} has {} faults", session.path().string(), faults));
    const std::size_t count = Records::all(Records::expenses(), session.book()).size();
    fmt::print("{} is sound: {}.\n", session.path().string(), Records::counted(count, Records::expenses()));
    return true;
  };
}
