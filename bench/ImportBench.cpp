// The import of a bank's export, from the file to the saved store, against a program that splits the same
// text and inserts the same rows through SQLite's C interface.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include "bench/Bench.h"
#include "import/CSVRecordReader.h"
#include "import/QWCSVImportController.h"
#include "platform/object/UndoManager.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Clock.h"
#include "platform/system/DateText.h"
#include "platform/system/TemporaryDirectory.h"
#include "store/model/QWDatabaseManager.h"

namespace {

constexpr std::array kKeys = {"number",   "date",   "valueDate", "payee",    "memo",
                              "category", "amount", "balance",   "currency", "reference"};

class Booking : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  void setNumber(std::string number) { assign<&Booking::number_>(std::move(number)); }
  void setDate(std::optional<qw::Date> date) { assign<&Booking::date_>(date); }
  void setValueDate(std::optional<qw::Date> date) { assign<&Booking::valueDate_>(date); }
  void setPayee(std::string payee) { assign<&Booking::payee_>(std::move(payee)); }
  void setMemo(std::string memo) { assign<&Booking::memo_>(std::move(memo)); }
  void setCategory(std::string category) { assign<&Booking::category_>(std::move(category)); }
  void setAmount(const qw::Decimal& amount) { assign<&Booking::amount_>(amount); }
  void setBalance(const qw::Decimal& balance) { assign<&Booking::balance_>(balance); }
  void setCurrency(std::string currency) { assign<&Booking::currency_>(std::move(currency)); }
  void setReference(std::string reference) { assign<&Booking::reference_>(std::move(reference)); }

 private:
  qw::Back<class Ledger> ledger_;
  std::string number_, payee_, memo_, category_, currency_, reference_;
  std::optional<qw::Date> date_, valueDate_;
  qw::Decimal amount_, balance_;
};

class Ledger : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<Booking>& bookings() { return bookings_; }

 private:
  qw::Children<Booking> bookings_;
};

constinit const qw::Class Ledger::kClass = qw::define<Ledger, QWDatabaseObject>(
    "ImportBenchLedger", {.table = "Ledger"},
    [] { return qw::properties(qw::children<&Ledger::bookings_>("bookings", "ledger")); });
constinit const qw::Class Booking::kClass =
    qw::define<Booking, QWDatabaseObject>("ImportBenchBooking", {.table = "Booking"}, [] {
      return qw::properties(
          qw::parent<&Booking::ledger_>("ledger", "bookings"), qw::attribute<&Booking::number_>("number"),
          qw::dateAttribute<&Booking::date_>("date"), qw::dateAttribute<&Booking::valueDate_>("valueDate"),
          qw::attribute<&Booking::payee_>("payee"), qw::attribute<&Booking::memo_>("memo"),
          qw::attribute<&Booking::category_>("category"), qw::attribute<&Booking::amount_>("amount"),
          qw::attribute<&Booking::balance_>("balance"), qw::attribute<&Booking::currency_>("currency"),
          qw::attribute<&Booking::reference_>("reference"));
    });

class LedgerStore : public QWDatabaseManager {
 public:
  const qw::Class& rootObjectClass() const override { return Ledger::kClass; }
  std::vector<const qw::Class*> modelClasses() const override { return {&Ledger::kClass, &Booking::kClass}; }
  Ledger& ledger() const { return static_cast<Ledger&>(*rootObject()); }
};

/// An amount in whole cents as banks of continental Europe write it: "-1.234,56".
std::string europeanAmount(std::int64_t cents) {
  std::string text = std::to_string(std::abs(cents) / 100);
  for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ".");
  char rest[8];
  std::snprintf(rest, sizeof rest, ",%02d", static_cast<int>(std::abs(cents) % 100));
  return (cents < 0 ? "-" : "") + text + rest;
}

/// Ten columns as a bank exports them: semicolons, days first, decimal commas. One memo in five has quotes
/// in it.
void writeStatement(const std::filesystem::path& path, std::size_t size) {
  constexpr std::array kPayees = {"Bäckerei Jäger", "Railway Company", "Electric & Gas", "Rent",
                                  "The Grocer at the Corner"};
  constexpr std::array kCategories = {"Food", "Household", "Transport", "Leisure"};
  std::mt19937 random(1);
  std::int64_t balance = 1'000'000;
  std::ofstream file(path, std::ios::binary);
  std::string text;
  for (std::size_t i = 0; i < kKeys.size(); ++i) text += (i ? ";" : "") + std::string(kKeys[i]);
  text += "\r\n";
  std::size_t written = 0;
  for (std::size_t row = 0; written + text.size() < size; ++row) {
    const auto days = std::chrono::sys_days(std::chrono::year(2000) / 1 / 1) + std::chrono::days(row % 9000);
    const std::chrono::year_month_day day(days);
    char date[16];
    std::snprintf(date, sizeof date, "%02u.%02u.%04d", static_cast<unsigned>(day.day()),
                  static_cast<unsigned>(day.month()), static_cast<int>(day.year()));
    const std::int64_t cents = static_cast<std::int64_t>(random() % 400'000) - 300'000;
    balance += cents;
    text += std::to_string(row + 1) + ";" + date + ";" + date + ";" + kPayees[random() % kPayees.size()] +
            ";" + (random() % 5 ? "standing order" : "\"card \"\"gold\"\"; terminal 12\"") + ";" +
            kCategories[random() % kCategories.size()] + ";" + europeanAmount(cents) + ";" +
            europeanAmount(balance) + ";EUR;REF" + std::to_string(random() % 100'000'000) + "\r\n";
    if (text.size() > 1'000'000) {
      file << text;
      written += text.size();
      text.clear();
    }
  }
  file << text;
}

/// From the file to the saved store as a program on the framework does it, in one step that can be undone.
bool importWithController(const std::filesystem::path& file, LedgerStore& store) {
  qw::UndoManager& undo = *store.undoManager();
  undo.setGroupsByEvent(false);
  undo.beginUndoGrouping();
  auto importer = qw::make<QWCSVImportController>();
  importer->setKeyPaths({kKeys.begin(), kKeys.end()});
  importer->setHasDates(true);
  importer->setHasNumbers(true);
  importer->hasHeaderButton().setObjectValue(true);
  importer->dateFormatField().setObjectValue("dd.MM.yyyy");
  importer->decimalSeparatorButton().setObjectValue(QWCharacterSeparator::commaSeparator());
  importer->groupingSeparatorButton().setObjectValue(QWCharacterSeparator::dotSeparator());
  if (!importer->openFile(file)) return false;
  importer->proposeMapping();

  QWDateFormatter dates;
  QWNumberFormatter numbers;
  importer->options().configure(dates);
  importer->options().configure(numbers);
  qw::CSVRecordReader reader(importer->rows(), importer->mapping(), dates, numbers);
  std::array<qw::CSVRecordReader::Column, kKeys.size()> columns;
  for (std::size_t i = 0; i < kKeys.size(); ++i) columns[i] = reader.column(kKeys[i]);
  const auto text = [&](std::size_t column) { return std::string(reader.text(columns[column])); };
  while (reader.next()) {
    const auto booking = store.create<Booking>();
    booking->setNumber(text(0));
    booking->setDate(reader.date(columns[1]));
    booking->setValueDate(reader.date(columns[2]));
    booking->setPayee(text(3));
    booking->setMemo(text(4));
    booking->setCategory(text(5));
    booking->setAmount(reader.number(columns[6]).value_or(0));
    booking->setBalance(reader.number(columns[7]).value_or(0));
    booking->setCurrency(text(8));
    booking->setReference(text(9));
    store.ledger().bookings().add(booking);
  }
  undo.endUndoGrouping();
  return reader.rejectedRows() == 0 && store.save();
}

/// Takes the next field of RFC 4180 off a text that has one.
std::string_view takeField(std::string_view& text, std::string& unquoted) {
  if (!text.starts_with('"')) {
    std::size_t end = 0;
    while (end < text.size() && text[end] != ';' && text[end] != '\r' && text[end] != '\n') ++end;
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(end);
    return field;
  }
  unquoted.clear();
  for (text.remove_prefix(1);;) {
    const std::size_t quote = text.find('"');
    unquoted += text.substr(0, quote);
    text.remove_prefix(quote + 1);
    if (!text.starts_with('"')) return unquoted;
    unquoted += '"';
    text.remove_prefix(1);
  }
}

/// "31.12.2024" as "2024-12-31".
void storedDate(std::string_view text, std::string& out) {
  out.assign(text.substr(6, 4)).append("-").append(text.substr(3, 2)).append("-").append(text.substr(0, 2));
}

/// "-1.234,50" as "-1234.5".
void storedAmount(std::string_view text, std::string& out) {
  out.clear();
  for (const char c : text)
    if (c != '.') out += c == ',' ? '.' : c;
  while (out.back() == '0') out.pop_back();
  if (out.back() == '.') out.pop_back();
}

/// The same by hand.
bool importByHand(const std::filesystem::path& file, const std::filesystem::path& path) {
  std::string bytes(std::filesystem::file_size(file), '\0');
  const int descriptor = open(file.c_str(), O_RDONLY);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t count = read(descriptor, bytes.data() + done, bytes.size() - done);
    if (count <= 0) return false;
    done += static_cast<std::size_t>(count);
  }
  close(descriptor);

  sqlite3* database = nullptr;
  sqlite3_open(path.c_str(), &database);
  sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr);
  sqlite3_stmt* root = nullptr;
  sqlite3_prepare_v2(database, "SELECT ID FROM Ledger", -1, &root, nullptr);
  sqlite3_step(root);
  const std::string ledger = reinterpret_cast<const char*>(sqlite3_column_text(root, 0));
  sqlite3_finalize(root);
  std::string columns = "ID, lastModificationDate, ledger, \"index\"";
  std::string marks = "?, ?, ?, ?";
  for (const char* key : kKeys) {
    columns += std::string(", \"") + key + "\"";
    marks += ", ?";
  }
  sqlite3_stmt* insert = nullptr;
  sqlite3_prepare_v2(database, ("INSERT INTO Booking (" + columns + ") VALUES (" + marks + ")").c_str(), -1,
                     &insert, nullptr);

  const std::string now = qw::DateText::dateTimeText(qw::Clock::now());
  const auto bind = [&](int place, std::string_view text) {
    sqlite3_bind_text(insert, place, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
  };
  std::array<std::string, kKeys.size()> scratch;
  std::string_view text = bytes;
  text.remove_prefix(text.find('\n') + 1);
  bool isDone = true;
  for (std::int64_t row = 0; !text.empty() && isDone; ++row) {
    char id[36];
    qw::ApplicationContext::uniqueID().write(id);
    bind(1, {id, sizeof id});
    bind(2, now);
    bind(3, ledger);
    sqlite3_bind_int64(insert, 4, row);
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
      std::string_view field = takeField(text, scratch[i]);
      if (i == 1 || i == 2 || i == 6 || i == 7) {
        (i < 3 ? storedDate : storedAmount)(field, scratch[i]);
        field = scratch[i];
      }
      bind(static_cast<int>(i) + 5, field);
      if (text.starts_with(';')) text.remove_prefix(1);
    }
    while (text.starts_with('\r') || text.starts_with('\n')) text.remove_prefix(1);
    isDone = sqlite3_step(insert) == SQLITE_DONE;
    sqlite3_reset(insert);
  }
  sqlite3_finalize(insert);
  sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(database);
  return isDone;
}

/// How many bookings the first store holds that are not the same in the second.
std::int64_t differences(const std::filesystem::path& one, const std::filesystem::path& other) {
  std::string keys = "row_number() OVER (ORDER BY \"index\")";  // the numbers themselves may differ
  for (const char* key : kKeys) keys += std::string(", \"") + key + "\"";
  sqlite3* database = nullptr;
  sqlite3_open(one.c_str(), &database);
  sqlite3_exec(database, ("ATTACH '" + other.string() + "' AS other").c_str(), nullptr, nullptr, nullptr);
  sqlite3_stmt* count = nullptr;
  const std::string rows = "SELECT " + keys + " FROM ";
  sqlite3_prepare_v2(
      database, ("SELECT count(*) FROM (" + rows + "main.Booking EXCEPT " + rows + "other.Booking)").c_str(),
      -1, &count, nullptr);
  const std::int64_t result = sqlite3_step(count) == SQLITE_ROW ? sqlite3_column_int64(count, 0) : -1;
  sqlite3_finalize(count);
  sqlite3_close(database);
  return result;
}

const qw::bench::Benchmark kImport("csv_import_100mb", [](qw::bench::Run& run) {
  run.repetitions(3);
  const auto directory = *qw::TemporaryDirectory::create("QWAdditions bench");
  const std::filesystem::path file = directory.path() / "statement.csv";
  writeStatement(file, 100'000'000);
  const auto fresh = [&](const char* name) {
    std::filesystem::remove(directory.path() / name);
    auto store = QWDatabaseManager::open<LedgerStore>(directory.path() / name);
    if (!store->save()) std::abort();
    return store;
  };
  const auto require = [](bool holds) {
    if (holds) return;
    std::fprintf(stderr, "csv_import_100mb: the import failed\n");
    std::abort();
  };
  run.measure(
      [&](qw::bench::Stopwatch& watch) {
        const auto store = fresh("ours");
        watch.start();
        require(importWithController(file, *store));
        watch.stop();
      },
      [&](qw::bench::Stopwatch& watch) {
        fresh("limit");
        watch.start();
        require(importByHand(file, directory.path() / "limit"));
        watch.stop();
      });
  require(differences(directory.path() / "ours", directory.path() / "limit") == 0);
  require(differences(directory.path() / "limit", directory.path() / "ours") == 0);
});

}  // namespace
