// expenses: keeps an expense book.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <system_error>

#include "program/Command.h"
#include "program/Terminal.h"

namespace {

using enum Session::Access;
using enum Command::Where;
constexpr Command kCommands[] = {
    {"new", "Make a book.", kNew, kCommandLine, true, &declareNew},
    {"import", "Add the rows of a bank's CSV file as expenses.", kChange, kEverywhere, true, &declareImport},
    {"list", "Show expenses or other records.", kRead, kEverywhere, false, &declareList},
    {"summary", "Add up expenses by month, category or wallet.", kRead, kEverywhere, false, &declareSummary},
    {"add", "Add an expense or another record.", kChange, kEverywhere, true, &declareAdd},
    {"edit", "Change records.", kChange, kEverywhere, true, &declareEdit},
    {"delete", "Delete records; what belongs to them goes with them.", kChange, kEverywhere, true,
     &declareDelete},
    {"sync", "Bring the book into agreement with another copy of it.", kChange, kEverywhere, false,
     &declareSync},
    {"batch", "Run commands read from the standard input on one open book.", kChange, kCommandLine, false,
     &declareBatch},
    {"undo", "Take back the last change.", kChange, kBatch, false, &declareUndo},
    {"redo", "Make the change again that was taken back last.", kChange, kBatch, false, &declareRedo},
    {"save", "Write all changes to the file.", kChange, kBatch, false, &declareSave},
    {"check", "Look for damage in the file and for faults in the book.", kCheck, kCommandLine, false,
     &declareCheck},
    {"password", "Protect the book with a password, or change or remove it.", kChange, kCommandLine, true,
     &declarePassword},
};

struct Run {
  const Command* command = nullptr;
  Action action;
  std::string book;
  std::optional<std::string> password;
};

int fail(std::string message) {
  std::replace(message.begin(), message.end(), '\n', ' ');
  std::fflush(stdout);
  fmt::print(stderr, "expenses: {}\n", Terminal::fitted(message, 4000));
  return 1;
}

void declare(CLI::App& app, Run& run) {
  static const std::map<std::string, Terminal::Colors> kColors = {{"auto", Terminal::Colors::kAutomatic},
                                                                  {"always", Terminal::Colors::kAlways},
                                                                  {"never", Terminal::Colors::kNever}};
  app.add_option_function<Terminal::Colors>("--color", &Terminal::setColors, "auto, always or never")
      ->transform(CLI::CheckedTransformer(kColors).description(""))
      ->type_name("WHEN");
  app.require_subcommand(1);
  app.fallthrough();
  for (const Command& command : kCommands) {
    if (command.where == kBatch) continue;
    CLI::App* part = app.add_subcommand(std::string(command.name), std::string(command.help));
    part->add_option("book", run.book, "the book's file")->type_name("BOOK")->required();
    part->add_option("--password", run.password, "of a protected book; asked for when it is not given")
        ->envname("EXPENSES_PASSWORD");
    Action action = command.declare(*part);
    part->parse_complete_callback([&run, &command, action = std::move(action)] {
      run.command = &command;
      run.action = action;
    });
  }
}

bool execute(const Run& run, qw::Error* error) {
  const Command& command = *run.command;
  const auto session = Session::open(run.book, command.access, run.password, error);
  if (!session || !perform(command, run.action, command.name, *session, error)) return false;
  return command.access == kRead || command.access == kCheck || session->save(error);
}

}  // namespace

std::span<const Command> commands() { return kCommands; }

int main(int argc, char** argv) {
  CLI::App app("Keeps an expense book: wallets, categories, currencies and what was spent.", "expenses");
  Run run;
  declare(app, run);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& help) {
    return app.exit(help);
  } catch (const CLI::CallForAllHelp& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& failure) {
    const auto words = app.remaining();
    if (app.get_subcommands().empty() && !words.empty())
      return fail(fmt::format("there is no command \"{}\"; expenses --help shows them", words.front()));
    return fail(failure.what());
  }
  qw::Error error;
  try {
    if (!execute(run, &error)) return fail(error.localizedDescription);
    if (std::fflush(stdout) == 0) return 0;
  } catch (const std::system_error&) {  // from the output of {fmt}
  }
  return fail("cannot write the output");
}
