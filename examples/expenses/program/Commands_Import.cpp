// The import of a bank's file.
#include <fmt/format.h>
#include <glib.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>

#include "model/StatementForms.h"
#include "model/StatementImport.h"
#include "platform/files/UserDefaults.h"
#include "platform/loop/RunLoop.h"
#include "program/Command.h"
#include "program/Selection.h"
#include "program/Terminal.h"

namespace {

/// How many rejected rows, and how many duplicates, are listed.
constexpr std::size_t kListed = 5;
/// How many rows of the file a preview shows.
constexpr std::size_t kPreviewed = 3;

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 5, std::move(message));
}

/// What the command line gave; the rest is remembered or guessed.
struct Options {
  std::string file, remember;
  std::optional<std::string> encoding, separator, dateFormat, numberFormat, wallet;
  std::optional<std::size_t> firstLine;
  std::optional<bool> hasHeader, invert;
  std::vector<std::string> columns, constants;
  bool preview = false, dryRun = false, skipBadRows = false, skipDuplicates = false;

  void declare(CLI::App& app);
};

void Options::declare(CLI::App& app) {
  app.add_option("file", file, "the bank's file")->type_name("FILE.csv")->required();
  app.add_option("--encoding", encoding, "as windows-1252; guessed when it is not given");
  app.add_option("--separator", separator, "one character, or \"tab\"; guessed when it is not given");
  app.add_option("--first-line", firstLine, "where the table begins, counted from 1")
      ->check(CLI::PositiveNumber.description(""));
  const auto addSwitch = [&app](const char* names, std::optional<bool>& value, const char* help) {
    app.add_flag_function(
        names, [&value](std::int64_t count) { value = count > 0; }, help);
  };
  addSwitch("--header,!--no-header", hasHeader,
            "whether the first line names the columns; otherwise they are called 1, 2 …");
  app.add_option("--map", columns, "which column a field is in, as payee=Name; may be repeated")
      ->type_name("KEY=COLUMN")
      ->allow_extra_args(false);
  app.add_option("--set", constants, "a text for a field of every expense; may be repeated")
      ->type_name("KEY=TEXT")
      ->allow_extra_args(false);
  app.add_option("--wallet", wallet, "where the expenses go; the only wallet if there is one");
  app.add_option("--date-format", dateFormat, "a pattern of Unicode TR 35, as dd.MM.yyyy; guessed");
  const std::vector<std::string> forms(std::begin(StatementForms::kNumbers),
                                       std::end(StatementForms::kNumbers));
  app.add_option("--number-format", numberFormat, fmt::format("{}; guessed", fmt::join(forms, " or ")))
      ->check(CLI::IsMember(forms).description(""));
  addSwitch("--invert,!--no-invert", invert, "whether the file writes what was spent as negative");
  app.add_option("--remember", remember, "remembers how this file is read, and reads the next one like it")
      ->type_name("NAME");
  app.add_flag("--preview", preview, "only show how the file would be read");
  app.add_flag("--dry-run", dryRun, "only show what would be imported");
  app.add_flag("--skip-bad-rows", skipBadRows, "leave out rows that cannot be read");
  app.add_flag("--skip-duplicates", skipDuplicates,
               "leave out what is there already, with the same date, amount and payee");
}

/// What is remembered of an import beside what the controller remembers.
class Memory {
 public:
  explicit Memory(const std::string& name) : key_("StatementImport " + name) {}

  void load(StatementImport& statement) const {
    const auto saved = qw::UserDefaults::standard().dictionary(key_);
    if (const auto found = saved.find("invert"); found != saved.end())
      statement.invert = found->second.boolValue();
    const auto found = saved.find("constants");
    const qw::Dictionary* constants = found == saved.end() ? nullptr : found->second.dictionary();
    if (!constants) return;
    for (const auto& [key, text] : *constants) {
      const Field* field = Records::expenses().field(key);
      if (field && !field->derived && text.text()) statement.constants[key] = *text.text();
    }
  }

  bool save(const StatementImport& statement, qw::Error* error) const {
    qw::Dictionary constants;
    for (const auto& [key, text] : statement.constants) constants[key] = text;
    auto& settings = qw::UserDefaults::standard();
    settings.set(key_, qw::Dictionary{{"invert", statement.invert}, {"constants", std::move(constants)}});
    return settings.synchronize(error);
  }

 private:
  std::string key_;
};

/// Answers the questions of an import with what the command line says.
class ImportWindow : public qw::Presenter {
 public:
  ImportWindow(const Options& options, std::map<std::string, std::string> columns,
               QWCSVImportController& importer)
      : options_(options), columns_(std::move(columns)), importer_(importer) {}

  /// What went wrong, or else nothing.
  const std::optional<qw::Error>& failure() const { return failure_; }

  void chooseFilesToOpen(const OpenRequest&,
                         std::function<void(std::vector<std::filesystem::path>)> completion) override {
    std::vector<std::filesystem::path> files;
    if (attempt(&ImportWindow::enterOptions)) files.emplace_back(options_.file);
    qw::RunLoop::main().dispatch([=] { completion(files); });
  }

  void ask(const Question& question, std::function<void(Answer)> completion) override {
    Answer answer{question.cancelButton, question.selectedChoice};
    if (!question.accessory) {
      failure_ = importer_.readingError();
    } else if (attempt(&ImportWindow::enterMapping)) {
      if (options_.preview)
        showPreview();
      else
        answer.button = question.defaultButton;
    }
    qw::RunLoop::main().dispatch([=] { completion(answer); });
  }

 private:
  bool attempt(bool (ImportWindow::*work)(qw::Error*)) {
    qw::Error error;
    if ((this->*work)(&error)) return true;
    failure_ = std::move(error);
    return false;
  }

  bool enterOptions(qw::Error* error) {
    if (options_.encoding) {
      const auto encoding = qw::TextEncoding::named(*options_.encoding);
      const auto known = QWStringEncoding::constants();
      const auto constant = std::find_if(
          known.begin(), known.end(), [&](const auto& c) { return encoding && c->encoding() == encoding; });
      if (constant == known.end())
        return fail(error, fmt::format("the encoding \"{}\" is not known", *options_.encoding));
      importer_.encodingButton().enter(*constant);
    }
    if (options_.separator) {
      const std::string& text = *options_.separator == "tab" ? "\t" : *options_.separator;
      if (!g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) ||
          g_utf8_strlen(text.c_str(), -1) != 1)
        return fail(error, "the separator is one character");
      importer_.separatorButton().enter(QWCharacterSeparator::constantWithCharacter(text));
    }
    if (options_.firstLine) importer_.firstLineField().enter(static_cast<std::int64_t>(*options_.firstLine));
    if (options_.hasHeader) importer_.hasHeaderButton().enter(*options_.hasHeader);
    if (options_.dateFormat) importer_.dateFormatField().enter(*options_.dateFormat);
    if (options_.numberFormat) StatementForms::enterNumbers(importer_.options(), *options_.numberFormat);
    return true;
  }

  bool enterMapping(qw::Error* error) {
    if (importer_.header().empty())
      return fail(error, fmt::format("{} has no table in line {} or below", options_.file,
                                     importer_.options().firstLine()));
    const auto choices = importer_.mappingView()->controls();
    for (std::size_t i = 0; i < importer_.keyPaths().size(); ++i) {
      const auto column = columns_.find(importer_.keyPaths()[i]);
      if (column == columns_.end()) continue;
      const auto place = placeOfColumn(column->second);
      if (!place)
        return fail(error, fmt::format("there is no column \"{}\"; the file has \"{}\"", column->second,
                                       fmt::join(importer_.header(), "\", \"")));
      choices[i]->selectIndex(*place + 1);  // the first choice is none
    }
    return StatementForms::propose(importer_, error);
  }

  /// By name or, in a file that names none, by number from 1.
  std::optional<std::size_t> placeOfColumn(const std::string& name) const {
    const auto& header = importer_.header();
    const auto found = std::find(header.begin(), header.end(), name);
    if (found != header.end()) return static_cast<std::size_t>(found - header.begin());
    if (importer_.options().hasHeader()) return std::nullopt;
    for (std::size_t i = 0; i < header.size(); ++i)
      if (std::to_string(i + 1) == name) return i;
    return std::nullopt;
  }

  void showPreview() const {
    qw::CSVImportOptions& options = importer_.options();
    const auto character = [](const qw::Control& control) {
      const auto separator = control.objectValue().objectAs<QWCharacterSeparator>();
      if (!separator || separator->character().empty()) return std::string("none");
      return separator->character() == "\t" ? "tab" : "\"" + separator->character() + "\"";
    };
    const bool isGuessed = options.decimalSeparatorButton->objectValue().isNull();
    fmt::print("encoding {}, separator {}, {} rows from line {}{}\n", options.encoding().name(),
               character(*options.separatorButton), Texts::grouped(importer_.rows().size()),
               options.firstLine() + (options.hasHeader() ? 1 : 0), options.hasHeader() ? "" : ", no header");
    fmt::print("dates {}, numbers {}\n\n", options.dateFormatField->objectValue().description(),
               isGuessed ? "guessed one by one"
                         : fmt::format("with decimal separator {}, grouping separator {}",
                                       character(*options.decimalSeparatorButton),
                                       character(*options.groupingSeparatorButton)));
    // A row of the file is a column here: there are more columns than fit beside each other.
    const qw::Form::Table rows = importer_.preview();
    std::vector<Terminal::Table::Column> titles{{"column"}, {"field"}};
    for (std::size_t row = 1; row <= std::min(kPreviewed, rows.size() - 1); ++row)
      titles.push_back({fmt::format("row {}", row)});
    Terminal::Table table(titles);
    for (std::size_t column = 0; column < importer_.header().size(); ++column) {
      const std::string& name = importer_.header()[column];
      std::vector<std::string> keys;
      for (const std::string& key : importer_.keyPaths()) {
        const auto mapped = importer_.mapping().find(key);
        if (mapped != importer_.mapping().end() && mapped->second == name) keys.push_back(key);
      }
      std::vector<std::string> cells{name, fmt::format("{}", fmt::join(keys, ", "))};
      for (std::size_t row = 1; row + 1 < titles.size(); ++row)
        cells.push_back(column < rows[row].size() ? rows[row][column] : "");
      table.addRow(std::move(cells));
    }
    fmt::print("{}", table.text());
  }

  const Options& options_;
  std::map<std::string, std::string> columns_;
  QWCSVImportController& importer_;
  std::optional<qw::Error> failure_;
};

void printMore(std::size_t count, std::size_t listed) {
  if (count > listed) fmt::print("… and {} more\n", Texts::grouped(count - listed));
}

std::string described(const qw::CSVRecordReader::Rejection& rejection) {
  return Terminal::fitted(fmt::format("line {}{}{}: {}", rejection.line, rejection.column.empty() ? "" : ", ",
                                      rejection.column, rejection.reason),
                          1000);
}

void printRejections(const StatementImport::Result& result) {
  if (result.rejectedRows == 0) return;
  fmt::print("{} cannot be read:\n", Texts::counted(result.rejectedRows, "row", "rows"));
  const std::size_t listed = std::min(kListed, result.rejections.size());
  for (std::size_t i = 0; i < listed; ++i) fmt::print("  {}\n", described(result.rejections[i]));
  printMore(result.rejectedRows, listed);
}

void printDuplicates(const StatementImport::Result& result) {
  if (result.duplicateRows == 0) return;
  using Align = Terminal::Table::Align;
  Terminal::Table table(
      {{"line", Align::kRight}, {"date"}, {"payee"}, {"amount", Align::kRight}, {"same as"}});
  const std::size_t listed = std::min(kListed, result.duplicates.size());
  for (std::size_t i = 0; i < listed; ++i) {
    const auto& [line, date, payee, amount, sameAs] = result.duplicates[i];
    table.addRow(
        {std::to_string(line), date, payee, amount, sameAs ? fmt::format("line {}", sameAs) : "an expense"});
  }
  fmt::print("{} with the same date, amount and payee:\n{}",
             Texts::counted(result.duplicateRows, "duplicate", "duplicates"), table.text());
  printMore(result.duplicateRows, listed);
}

/// Asks for nothing: fills in what the command line says, and imports.
class Import {
 public:
  Import(const Options& options, Session& session) : options_(options), session_(session) {}

  bool run(qw::Error* error) {
    if (options_.preview || options_.dryRun) session_.onlyLook();
    const Memory memory(options_.remember);
    if (!options_.remember.empty()) memory.load(statement_);
    if (options_.invert) statement_.invert = *options_.invert;
    std::map<std::string, std::string> columns;
    if (!parse(options_.columns, columns, error) || !parse(options_.constants, statement_.constants, error))
      return false;
    statement_.skipDuplicates = options_.skipDuplicates;
    statement_.skipBadRows = options_.skipBadRows;
    statement_.isDryRun = options_.dryRun;
    if (options_.wallet) statement_.constants["wallet"] = *options_.wallet;

    const auto importer = prepare(columns);
    ImportWindow window(options_, std::move(columns), *importer);
    importer->showOpenPanelInWindow(window);
    qw::RunLoop::main().runUntil([&] { return isFinished_; }, std::chrono::hours(24));
    if (window.failure()) return fail(error, window.failure()->localizedDescription);
    if (options_.preview) return true;
    if (!result_) return fail(error, failure_.localizedDescription);
    if (!report(error)) return false;
    if (options_.remember.empty() || options_.dryRun) return true;
    importer->setAutosaveName(options_.remember);
    importer->saveSettings();
    return memory.save(statement_, error);
  }

 private:
  template <class Map>
  static bool parse(const std::vector<std::string>& texts, Map& map, qw::Error* error) {
    const auto pairs = parsePairs(texts, Records::expenses(), true, error);
    if (!pairs) return false;
    for (const auto& [field, text] : *pairs) map[std::string(field->key)] = text;
    return true;
  }

  std::shared_ptr<QWCSVImportController> prepare(const std::map<std::string, std::string>& columns) {
    auto importer = qw::make<QWCSVImportController>();
    importer->initWithBlock([this](QWCSVImportController& controller, const QWCSVRows* rows, auto&&...) {
      if (rows) import(controller);
      isFinished_ = true;
    });
    auto keys = StatementImport::keyPaths();
    // What is set holds, whatever the columns are called.
    std::erase_if(
        keys, [&](const auto& key) { return statement_.constants.contains(key) && !columns.contains(key); });
    importer->setKeyPaths(std::move(keys));
    importer->setHasDates(true);
    importer->setHasNumbers(true);
    importer->hasHeaderButton().setObjectValue(true);
    importer->dateFormatField().setObjectValue("");  // to be guessed
    importer->setAutosaveName(options_.remember);
    importer->loadSettings();
    importer->setAutosaveName("");  // only what has succeeded is worth to be remembered
    return importer;
  }

  void import(QWCSVImportController& importer) {
    const auto begin = std::chrono::steady_clock::now();
    {
      Terminal::ProgressBar bar("Importing");
      result_ = statement_.run(
          importer, session_.store(), [&](std::size_t done, std::size_t total) { bar.show(done, total); },
          &failure_);
    }
    seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }

  bool report(qw::Error* error) const {
    printRejections(*result_);
    printDuplicates(*result_);
    if (result_->rejectedRows && !options_.skipBadRows)
      return fail(
          error, fmt::format("{} (--skip-bad-rows leaves such rows out)", described(result_->rejections[0])));
    std::vector<std::string> left;
    if (result_->rejectedRows) left.push_back(Texts::counted(result_->rejectedRows, "bad row", "bad rows"));
    if (result_->duplicateRows && statement_.skipDuplicates)
      left.push_back(Texts::counted(result_->duplicateRows, "duplicate", "duplicates"));
    if (!left.empty())
      fmt::print("{} {}.\n", options_.dryRun ? "Would leave out" : "Left out", fmt::join(left, " and "));
    const std::string expenses = Records::counted(result_->imported, Records::expenses());
    if (options_.dryRun)
      fmt::print("Would import {}.\n", expenses);
    else
      fmt::print("Imported {} in {:.2f} s.\n", expenses, seconds_);
    return true;
  }

  const Options& options_;
  Session& session_;
  StatementImport statement_;
  bool isFinished_ = false;
  std::optional<StatementImport::Result> result_;
  qw::Error failure_;
  double seconds_ = 0;
};

}  // namespace

Action declareImport(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  options->declare(app);
  return [options](Session& session, qw::Error* error) { return Import(*options, session).run(error); };
}
