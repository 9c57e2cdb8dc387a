// The command that brings two copies of a book into agreement.
#include <fmt/format.h>
#include <glib-unix.h>
#include <sys/file.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <nlohmann/json.hpp>

#include "model/Records.h"
#include "platform/files/ZipArchive.h"
#include "platform/system/FileManager.h"
#include "platform/system/Localization.h"
#include "program/Command.h"
#include "program/Terminal.h"
#include "sync/QWDatabaseSynchronizationSessionController.h"

namespace {

using Controller = QWDatabaseSynchronizationSessionController;

struct Options {
  std::string other;
  std::optional<std::string> otherPassword;
  bool review = false;
  bool yes = false;
  bool json = false;
  bool writeBoth = false;
  bool isBatch = false;  // the standard input holds commands
};

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 8, std::move(message));
}

constexpr std::string_view kTitles = R"({
  "Book.homeCurrency": "Home currency", "rootCategory": "Categories",
  "Category.budget": "Budget", "Category.color": "Color", "Category.name": "Name", "Category.share": "Share",
  "Currency.code": "Code", "Currency.fractionDigits": "Decimals", "Currency.rate": "Rate",
  "Currency.symbol": "Symbol",
  "Expense.amount": "Amount", "Expense.category": "Category", "Expense.cleared": "Cleared",
  "Expense.currency": "Currency", "Expense.date": "Date", "Expense.memo": "Memo", "Expense.payee": "Payee",
  "Expense.receipt": "Receipt", "Expense.warranty": "Warranty",
  "Wallet.color": "Color", "Wallet.currency": "Currency", "Wallet.name": "Name",
  "book": "Book", "parent": "Parent", "wallet": "Wallet",
  "categories": "Order of categories", "currencies": "Order of currencies", "expenses": "Order of expenses",
  "wallets": "Order of wallets"})";

/// What a side shows, in letters.
std::string sideText(const std::string& text, const std::string& imageText) {
  return text.empty() ? imageText : text;
}

/// Waits for a line of the standard input without keeping the run loop from working; none at the end of the
/// input, or once `isOver`.
std::optional<std::string> askLine(const std::string& question, const std::function<bool()>& isOver) {
  fmt::print("{}", question);
  std::fflush(stdout);
  std::string line;
  bool isDone = false, isEnd = false;
  const auto input = qw::RunLoop::main().descriptor(STDIN_FILENO, qw::RunLoop::DescriptorEvents::kReadable,
                                                    [&](qw::RunLoop::DescriptorEvents) {
                                                      char character = 0;
                                                      if (isDone || isEnd) return;
                                                      if (read(STDIN_FILENO, &character, 1) != 1)
                                                        isEnd = true;
                                                      else if (character == '\n')
                                                        isDone = true;
                                                      else
                                                        line += character;
                                                    });
  while (!qw::RunLoop::main().runUntil([&] { return isDone || isEnd || isOver(); }, std::chrono::hours(1))) {
  }
  return isDone ? std::optional(line) : std::nullopt;
}

/// One synchronization on the command line.
class Run {
 public:
  Run(const Options& options, Session& session) : options_(options), session_(session) {}

  bool perform(qw::Error* error) {
    if (!prepareOther(error)) return false;
    qw::Localization::addApplicationTable("en", qw::Localization::kSynchronizationTable, kTitles);
    controller_ =
        Controller::create(QWDatabaseSynchronizationSession::create(
                               session_.store().sharedAs<QWDatabaseManager>(), options_.other),
                           [&](bool, const std::optional<std::string>& message) { failure_ = message; });
    controller_->setReviewDelay({});
    controller_->present(presenter_);
    const guint interrupt = g_unix_signal_add(
        SIGINT,
        [](gpointer controller) -> gboolean {
          static_cast<Controller*>(controller)->cancel();
          return G_SOURCE_CONTINUE;
        },
        controller_.get());
    const bool done = drive(error);
    g_source_remove(interrupt);
    return done;
  }

 private:
  using State = Controller::State;

  bool isOnlyShown() const { return options_.json || (!options_.yes && !options_.review && !isAnswering()); }
  bool isAnswering() const { return !options_.isBatch && isatty(STDIN_FILENO) == 1; }

  /// What can be refused beforehand; a file that is to be written is held.
  bool prepareOther(qw::Error* error) {
    std::error_code failure;
    const std::filesystem::path other = options_.other;
    if (!std::filesystem::exists(other, failure))
      return fail(error, fmt::format("cannot open {}: {}", options_.other,
                                     failure ? failure.message() : "No such file or directory"));
    if (std::filesystem::equivalent(other, session_.path(), failure))
      return fail(error, "a book is always in agreement with itself");
    if (options_.review && options_.isBatch)
      return fail(error, "--review asks questions, which a batch cannot answer");
    if (!options_.writeBoth || isOnlyShown()) return true;
    held_.reset(std::fopen(other.c_str(), "r+e"));
    if (!held_) return fail(error, fmt::format("cannot write {}: {}", options_.other, std::strerror(errno)));
    if (flock(fileno(held_.get()), LOCK_EX | LOCK_NB) == 0) return true;
    return fail(error, fmt::format("{} is being changed by another program", options_.other));
  }

  bool drive(qw::Error* error) {
    if (!options_.json) bar_.emplace("Comparing");
    controller_->start();
    const auto progress = controller_->observe("progress", [&](const qw::Change&) { showProgress(); });
    while (!controller_->hasEnded()) {
      const State before = controller_->state();
      wait([&] { return controller_->state() != before; });
      if (controller_->state() == State::kComputing && !checkPassword(error)) return false;
      if (controller_->state() == State::kReviewing) review();
    }
    bar_.reset();
    if (controller_->state() == State::kFailed)
      return fail(error, failure_.value_or(fmt::format("cannot open {}", options_.other)));
    if (controller_->state() == State::kCanceled && !isOnlyShown())
      return fail(error, "cancelled; nothing was changed");
    return conclude(error);
  }

  /// Until the condition holds; the run loop works meanwhile.
  template <class Condition>
  static void wait(Condition condition) {
    while (!qw::RunLoop::main().runUntil(condition, std::chrono::hours(1))) {
    }
  }

  void showProgress() {
    if (bar_) bar_->show(controller_->progress(), controller_->maxProgress());
  }

  bool checkPassword(qw::Error* error) {
    const QWDatabaseManager& other = *controller_->session()->otherDatabaseManager();
    if (!other.password() || other.password() == session_.store().password()) return true;
    if (!options_.otherPassword && isAnswering())
      options_.otherPassword = Terminal::askSecretly(fmt::format("Password of {}: ", options_.other));
    if (other.checkPassword(options_.otherPassword.value_or(""))) return true;
    controller_->cancel();
    return fail(error, options_.otherPassword ? "this is not the other book's password"
                                              : "the other book is protected: give --other-password");
  }

  /// The review of a step.
  void review() {
    bar_.reset();
    const int step = controller_->session()->currentStep();
    const auto& groups = controller_->changes();
    count_ += groups.size();
    if (options_.json) {
      for (const auto& group : groups) json_.push_back(asJSON(*group, step));
    } else if (!options_.review) {
      fmt::print("{}", table({groups.begin(), groups.end()}));
    }
    bool goesOn = true;
    if (options_.review)
      goesOn = askEach(groups);
    else if (!isOnlyShown() && !options_.yes)
      goesOn = askOnce();
    if (controller_->hasEnded()) return;
    if (!goesOn) return controller_->cancel();
    for (const auto& group : groups)
      for (const auto& change : group->changes) ++(change->keepOther ? taken_ : kept_);
    const bool isLast = step == controller_->session()->numberOfSteps();
    // What is only looked at is applied as far as later steps build on it, and taken back.
    isOnlyShown() && isLast ? controller_->cancel() : controller_->validate();
  }

  static nlohmann::json asJSON(const QWSynchronizationChangesGroup& group, int step) {
    nlohmann::json changes = nlohmann::json::array();
    for (const auto& change : group.changes)
      changes.push_back({{"title", change->title},
                         {"value", sideText(change->value(), change->imageText())},
                         {"otherValue", sideText(change->otherValue(), change->otherImageText())},
                         {"keepOther", change->keepOther}});
    return {{"step", step}, {"id", group.objectID.text()}, {"title", group.title}, {"changes", changes}};
  }

  static std::string table(const std::vector<std::shared_ptr<QWSynchronizationChangesGroup>>& groups) {
    Terminal::Table table({{"Record"}, {"What"}, {"This book"}, {"Other book"}, {"Proposal"}});
    for (const auto& group : groups) {
      std::string title = group->title;
      for (const auto& change : group->changes)
        table.addRow({std::exchange(title, ""), change->title, sideText(change->value(), change->imageText()),
                      sideText(change->otherValue(), change->otherImageText()),
                      change->keepOther ? "theirs" : "mine"});
    }
    return table.text();
  }

  bool askOnce() {
    const auto answer = askLine("Apply this? [y/N] ", [&] { return controller_->hasEnded(); });
    return answer == "y" || answer == "yes";
  }

  /// False when the user gives up.
  bool askEach(const QWDatabaseSynchronizationSession::Groups& groups) {
    const auto choose = [](QWSynchronizationChangesGroup& group, bool keepOther) {
      for (const auto& change : group.changes) change->keepOther = keepOther;
    };
    for (const auto& group : groups) {
      fmt::print("{}", table({group}));
      for (bool isAnswered = false; !isAnswered;) {
        const auto answer =
            askLine("Enter: as proposed, m: mine, t: theirs, a: all the rest as proposed, q: give up > ",
                    [&] { return controller_->hasEnded(); });
        if (!answer || *answer == "q") return false;
        if (*answer == "a") return true;
        if (*answer == "m" || *answer == "t") choose(*group, *answer == "t");
        isAnswered = answer->empty() || *answer == "m" || *answer == "t";
      }
    }
    return true;
  }

  bool conclude(qw::Error* error) {
    if (options_.json) {
      const nlohmann::json groups{{"groups", json_}};
      fmt::print("{}\n", groups.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    } else if (count_ == 0) {
      fmt::print("Both books agree.\n");
    } else if (isOnlyShown()) {
      fmt::print("Nothing was changed; --yes takes the proposals, --review asks about each.\n");
    } else {
      fmt::print("{} differed; {} taken from the other book, {} kept.\n",
                 count_ == 1 ? "1 record" : Texts::grouped(count_) + " records",
                 taken_ == 1 ? "1 change" : Texts::grouped(taken_) + " changes", Texts::grouped(kept_));
    }
    if (isOnlyShown()) {
      controller_->session()->takeBack();
      return true;
    }
    if (count_ > 0) session_.noteChange();
    return !options_.writeBoth || (session_.save(error) && writeOther(error));
  }

  /// The other file becomes a copy of the book.
  bool writeOther(qw::Error* error) {
    const std::filesystem::path other = options_.other;
    for (const char* end : {"-journal", "-wal"})
      if (std::filesystem::exists(options_.other + end))
        return fail(error, fmt::format("{} is being changed by another program", options_.other));
    const bool isZip = other.extension() == ".zip";
    if (isZip) {
      const std::filesystem::path files[] = {session_.path()};
      if (!qw::ZipArchive::zipFiles(files, other, {}, {}, error)) return false;
    } else {
      const auto bytes = qw::FileManager::contents(session_.path(), qw::FileManager::kMaximumContents, error);
      if (!bytes || !qw::FileManager::writeAtomically(bytes->text(), other, error)) return false;
    }
    fmt::print("Wrote {}.\n", options_.other);
    return true;
  }

  Options options_;
  Session& session_;
  qw::Presenter presenter_;
  std::shared_ptr<Controller> controller_;
  std::optional<Terminal::ProgressBar> bar_;
  std::optional<std::string> failure_;
  // The other file, against other programs.
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> held_{nullptr, &std::fclose};
  nlohmann::json json_ = nlohmann::json::array();
  std::size_t count_ = 0, taken_ = 0, kept_ = 0;
};

}  // namespace

Action declareSync(CLI::App& app) {
  const auto options = std::make_shared<Options>();
  options->isBatch = app.get_parent() == nullptr;
  app.add_option("other", options->other, "another copy of the book, or a ZIP archive of one")
      ->type_name("OTHER")
      ->required();
  auto* review =
      app.add_flag("--review", options->review, "ask about each record: mine, theirs, as proposed");
  auto* yes = app.add_flag("--yes", options->yes, "take the proposals")->excludes(review);
  app.add_flag("--json", options->json, "print what differs and the proposals as JSON; change nothing")
      ->excludes(review)
      ->excludes(yes);
  app.add_flag("--write-both", options->writeBoth, "save, and make the other file a copy of the result");
  app.add_option("--other-password", options->otherPassword, "of the other copy, when it has another one");
  app.footer("What was changed later is proposed. Without --yes or --review the differences are shown.");
  return [options](Session& session, qw::Error* error) { return Run(*options, session).perform(error); };
}
