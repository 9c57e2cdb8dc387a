#include "model/BookCheck.h"

#include <fmt/format.h>

#include <map>
#include <set>

#include "model/Records.h"
#include "store/model/ClassSchema.h"

namespace BookCheck {

namespace {

constexpr std::size_t kMaximumFaults = 10;

std::string columnOf(const qw::ClassSchema::Entry& entry) {
  return qw::ClassSchema::quoted(entry.property->column.empty() ? entry.property->key
                                                                : entry.property->column);
}

class Checker {
 public:
  explicit Checker(ExpenseBook& store) : store_(store) {
    for (const qw::Class* c : store.modelClasses()) schemas_.push_back(&qw::ClassSchema::of(*c));
  }

  std::vector<Finding> run() {
    file();
    identifiers();
    links();
    indexes();
    values();
    loadedRecords();
    rules();
    return std::move(findings_);
  }

 private:
  void begin(std::string title) { findings_.push_back({std::move(title), {}}); }
  void fault(std::string text) {
    auto& faults = findings_.back().faults;
    if (faults.size() < kMaximumFaults) faults.push_back(std::move(text));
  }
  /// `use` gets each row; a query that fails is a fault itself.
  template <class Use>
  void query(const std::string& sql, Use use) {
    qw::Error error;
    const auto prepared = store_.prepareQuery(sql, &error);
    const auto rows = store_.executeQuery(prepared, prepared ? &error : nullptr);
    while (rows && rows->next()) use(*rows);
    if (!rows || rows->failed()) fault(error ? error.localizedDescription : "a query failed: " + sql);
  }

  void file() {
    begin("SQLite quick_check");
    query("PRAGMA quick_check(10)", [&](const QWDatabaseResultSet& row) {
      const std::string text = row.stringForColumn("quick_check").value_or("");
      if (text != "ok") fault(text);
    });
  }

  void identifiers() {
    begin("every row has an ID of its own");
    std::string all;
    for (const auto* schema : schemas_)
      all += fmt::format("{}SELECT ID FROM {}", all.empty() ? "" : " UNION ALL ", schema->table());
    query("SELECT ID, count(*) AS n FROM (" + all + ") GROUP BY ID HAVING n > 1 OR ID IS NULL OR ID = ''",
          [&](const QWDatabaseResultSet& row) {
            fault(fmt::format("{} rows have the ID \"{}\"", row.int64ForColumn("n"),
                              row.stringForColumn("ID").value_or("")));
          });
  }

  void links() {
    begin("every reference leads to a row");
    for (const auto* schema : schemas_)
      for (const auto* entries : {&schema->parents(), &schema->references(), &schema->owned()})
        for (const auto& entry : *entries) {
          const auto& target = qw::ClassSchema::of(entry.storage->relation->targetClass());
          query(fmt::format("SELECT ID, {0} AS target FROM {1} WHERE {0} <> '' AND {0} NOT IN "
                            "(SELECT ID FROM {2} WHERE ID IS NOT NULL) LIMIT {3}",
                            columnOf(entry), schema->table(), target.table(), kMaximumFaults),
                [&](const QWDatabaseResultSet& row) {
                  fault(fmt::format("{} {}: {} {} is not there", schema->table(),
                                    row.stringForColumn("ID").value_or(""), entry.property->key,
                                    row.stringForColumn("target").value_or("")));
                });
        }
  }

  void indexes() {
    begin("the children of every record have a number each");
    for (const auto* schema : schemas_)
      for (const auto& parent : schema->parents())
        query(
            fmt::format("SELECT {0} AS parent, count(*) AS n, min(\"index\") AS low, max(\"index\") AS high, "
                        "count(DISTINCT \"index\") AS places FROM {1} WHERE {0} <> '' GROUP BY {0} "
                        "HAVING low IS NULL OR low < 0 OR places <> n LIMIT {2}",
                        columnOf(parent), schema->table(), kMaximumFaults),
            [&](const QWDatabaseResultSet& row) {
              fault(fmt::format("{} of {} {}: {} rows on {} places from {} to {}", schema->table(),
                                parent.property->key, row.stringForColumn("parent").value_or(""),
                                row.int64ForColumn("n"), row.int64ForColumn("places"),
                                row.stringForColumn("low").value_or("none"),
                                row.stringForColumn("high").value_or("none")));
            });
  }

  /// What reads as 0 or as today although the file says something else.
  void values() {
    begin("every expense has an amount and a date");
    query("SELECT ID, amount, date FROM Expense", [&](const QWDatabaseResultSet& row) {
      const std::string date = row.stringForColumn("date").value_or("");
      const std::string amount = row.stringForColumn("amount").value_or("");
      const auto number = qw::Decimal::fromText(amount);
      if (!Texts::readDate(date) || !number || number->isNaN())
        fault(fmt::format("Expense {}: amount \"{}\" on \"{}\"", row.stringForColumn("ID").value_or(""),
                          amount, date));
    });
  }

  void loadedRecords() {
    begin("every row is a record of the book");
    std::map<std::string, std::int64_t> loaded;
    store_.objects().forEach(
        [&](const auto& object) { ++loaded[std::string(object->objectClass().table())]; });
    for (const auto* schema : schemas_)
      query("SELECT count(*) AS n FROM " + schema->table(), [&](const QWDatabaseResultSet& row) {
        if (const auto n = row.int64ForColumn("n"); n != loaded[schema->table()])
          fault(fmt::format("{} has {} rows, and {} records are in the book", schema->table(), n,
                            loaded[schema->table()]));
      });
  }

  void rules() {
    begin("every record keeps the rules of the book");
    Book& book = store_.book();
    std::set<std::pair<const RecordKind*, std::string>> names;
    for (const RecordKind& kind : Records::kinds())
      for (const QWDatabaseObject* record : Records::all(kind, book)) {
        if (const std::string text = Records::faultOf(*record); !text.empty())
          fault(fmt::format("{} {}: {}", kind.name, record->ID().text(), text));
        const Field& name = kind.field("path") ? *kind.field("path") : kind.fields[0];
        const bool isNamed = kind.recordClass != &Expense::kClass && kind.recordClass != &Book::kClass;
        if (isNamed && !names.insert({&kind, Records::text(name, *record)}).second)
          fault(fmt::format("there is more than one {} \"{}\"", kind.name, Records::text(name, *record)));
      }
  }

  ExpenseBook& store_;
  std::vector<const qw::ClassSchema*> schemas_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> check(ExpenseBook& store) { return Checker(store).run(); }

}  // namespace BookCheck
