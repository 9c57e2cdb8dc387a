// Commands that add, change and delete records.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "program/Command.h"
#include "program/Selection.h"

namespace {

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 5, std::move(message));
}

/// The records with these IDs, or else those of the selection.
std::optional<std::vector<QWDatabaseObject*>> chosenRecords(const std::vector<std::string>& ids,
                                                            const Selection& selection, Session& session,
                                                            qw::Error* error) {
  if (!selection.conditions.empty()) {
    if (!ids.empty()) return fail(error, "give IDs or --where, not both"), std::nullopt;
    return selection.records(session.store(), error);
  }
  if (ids.empty()) return fail(error, "give the IDs of records, or --where"), std::nullopt;
  std::vector<QWDatabaseObject*> records;
  for (const std::string& id : ids) {
    const auto record = session.recordWithPrefix(id, error);
    if (!record) return std::nullopt;
    records.push_back(record.get());
  }
  return records;
}

/// What to call the records together.
const RecordKind& commonKind(const std::vector<QWDatabaseObject*>& records) {
  static constexpr RecordKind kMixed{"record", "records", nullptr, {}};
  const RecordKind* common = nullptr;
  for (const QWDatabaseObject* record : records) {
    const RecordKind* kind = Records::kindOf(*record);
    if (common && kind != common) return kMixed;
    common = kind;
  }
  return common ? *common : Records::expenses();
}

/// Why a record may not be deleted; empty when it may.
std::string whatNeeds(const QWDatabaseObject& record, Book& book) {
  if (&record == &book) return "a file needs its book";
  if (!record.isKindOf(Currency::kClass)) return {};
  if (book.homeCurrency() == &record) return "it is the home currency";
  for (const Wallet& wallet : book.wallets()) {
    if (wallet.currency() == &record) return fmt::format("the wallet \"{}\" is in it", wallet.name());
    for (const Expense& expense : wallet.expenses())
      if (expense.currency() == &record) return "there are expenses in it";
  }
  return {};
}

}  // namespace

Action declareNew(CLI::App& app) {
  struct Options {
    std::string currency = "EUR";
    std::string symbol;
    std::string wallet = "Wallet";
  };
  const auto options = std::make_shared<Options>();
  app.add_option("--currency", options->currency, "code of the home currency")->capture_default_str();
  app.add_option("--symbol", options->symbol, "how that currency is written, as €");
  app.add_option("--wallet", options->wallet, "name of the first wallet")->capture_default_str();
  return [options](Session& session, qw::Error* error) {
    BookIndex index(session.store());
    const auto make = [&](std::string_view name, const std::vector<std::string>& pairs) {
      const RecordKind& kind = *Records::kindNamed(name);
      const auto values = readValues(pairs, kind, index, error);
      return values ? Records::make(kind, *values, index, error) : nullptr;
    };
    const auto currency = make("currency", {"code=" + options->currency, "symbol=" + options->symbol});
    if (!currency) return false;
    session.book().setHomeCurrency(static_cast<Currency*>(currency.get()));
    if (!make("wallet", {"name=" + options->wallet})) return false;
    fmt::print("Made {} in {} with the wallet \"{}\".\n", session.path().string(), options->currency,
               options->wallet);
    return true;
  };
}

Action declareAdd(CLI::App& app) {
  struct Options {
    Selection selection;
    std::vector<std::string> pairs;
  };
  const auto options = std::make_shared<Options>();
  options->selection.declareKind(app);
  app.add_option("values", options->pairs, "as payee=Bakery amount=4.20")->type_name("KEY=TEXT")->required();
  return [options](Session& session, qw::Error* error) {
    const RecordKind& kind = *Records::kindNamed(options->selection.kind);
    BookIndex index(session.store());
    const auto values = readValues(options->pairs, kind, index, error);
    const auto record = values ? Records::make(kind, *values, index, error) : nullptr;
    if (!record) return false;
    fmt::print("Added {} {}.\n", kind.name, record->ID().text());
    return true;
  };
}

Action declareEdit(CLI::App& app) {
  struct Options {
    Selection selection;
    std::vector<std::string> arguments;
  };
  const auto options = std::make_shared<Options>();
  options->selection.declareKind(app);
  options->selection.declareConditions(app);
  app.add_option("arguments", options->arguments,
                 "IDs (unique beginnings will do) and values, as payee=Bakery")
      ->type_name("ID|KEY=TEXT")
      ->required();
  return [options](Session& session, qw::Error* error) {
    std::vector<std::string> ids, pairs;
    for (const std::string& argument : options->arguments)
      (argument.find('=') == argument.npos ? ids : pairs).push_back(argument);
    if (pairs.empty()) return fail(error, "give values, as payee=Bakery");
    const auto records = chosenRecords(ids, options->selection, session, error);
    if (!records) return false;
    BookIndex index(session.store());
    const RecordKind* kind = nullptr;
    std::optional<std::vector<FieldValue>> values;
    for (QWDatabaseObject* record : *records) {
      if (const RecordKind* own = Records::kindOf(*record); own != kind) {
        kind = own;
        values = readValues(pairs, *kind, index, error);
      }
      if (!values || !Records::set(*record, *values, error)) return false;
    }
    fmt::print("Changed {}.\n", Records::counted(records->size(), commonKind(*records)));
    return true;
  };
}

Action declareDelete(CLI::App& app) {
  struct Options {
    Selection selection;
    std::vector<std::string> ids;
  };
  const auto options = std::make_shared<Options>();
  options->selection.declareKind(app);
  options->selection.declareConditions(app);
  app.add_option("ids", options->ids, "IDs (unique beginnings will do)")->type_name("ID");
  return [options](Session& session, qw::Error* error) {
    const auto records = chosenRecords(options->ids, options->selection, session, error);
    if (!records) return false;
    for (const QWDatabaseObject* record : *records)
      if (const std::string need = whatNeeds(*record, session.book()); !need.empty())
        return fail(error, fmt::format("{} cannot be deleted: {}", record->ID().text(), need));
    // From the end, so that nothing moves up behind each; what went with its parent is not deleted again.
    for (std::size_t i = records->size(); i-- > 0;) (*records)[i]->deleteObject();
    fmt::print("Deleted {}.\n", Records::counted(records->size(), commonKind(*records)));
    return true;
  };
}
