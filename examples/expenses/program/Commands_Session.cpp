// Commands about the book as a whole: batches, undo, saving, the password.
#include <fmt/format.h>
#include <glib.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>

#include "model/Records.h"
#include "program/Command.h"
#include "program/Terminal.h"

namespace {

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 7, std::move(message));
}

/// Words of a line as a shell splits them; a line that is empty or a comment has none.
std::optional<std::vector<std::string>> words(const std::string& line, qw::Error* error) {
  int count = 0;
  gchar** arguments = nullptr;
  GError* failure = nullptr;
  std::vector<std::string> result;
  if (!g_shell_parse_argv(line.c_str(), &count, &arguments, &failure)) {
    const bool isEmpty = failure->code == G_SHELL_ERROR_EMPTY_STRING;
    if (!isEmpty) fail(error, failure->message);
    g_error_free(failure);
    return isEmpty ? std::optional(result) : std::nullopt;
  }
  result.assign(arguments, arguments + count);
  g_strfreev(arguments);
  return result;
}

bool runLine(const std::string& line, Session& session, qw::Error* error) {
  const auto parts = words(line, error);
  if (!parts) return false;
  if (parts->empty()) return true;
  for (const Command& command : commands()) {
    if (command.name != parts->front() || command.where == Command::Where::kCommandLine) continue;
    CLI::App app(std::string(command.help), std::string(command.name));
    const Action action = command.declare(app);
    try {
      app.parse(std::vector<std::string>(parts->rbegin(), parts->rend() - 1));  // last word first
    } catch (const CLI::CallForHelp&) {
      fmt::print("{}", app.help());
      return true;
    } catch (const CLI::ParseError& failure) {
      return fail(error, failure.what());
    }
    return perform(command, action, line, session, error);
  }
  return fail(error, fmt::format("there is no command \"{}\"", parts->front()));
}

}  // namespace

bool perform(const Command& command, const Action& action, std::string_view line, Session& session,
             qw::Error* error) {
  if (!command.isUndoStep) return action(session, error);
  return session.change(std::string(line), [&] { return action(session, error); });
}

Action declareBatch(CLI::App& app) {
  std::string names;
  for (const Command& command : commands())
    if (command.where != Command::Where::kCommandLine)
      names += (names.empty() ? "" : ", ") + std::string(command.name);
  app.footer("A line is a command, without the book: " + names +
             ".\nThe first line that fails ends the batch, and nothing since the last save is kept. On a "
             "terminal it only "
             "says why.");
  return [](Session& session, qw::Error* error) {
    const bool isTerminal = isatty(STDIN_FILENO) == 1;
    std::string line;
    for (std::size_t number = 1;; ++number) {
      if (isTerminal) fmt::print("> ");
      std::fflush(stdout);
      if (!std::getline(std::cin, line)) break;
      qw::Error failure;
      if (runLine(line, session, &failure)) continue;
      if (!isTerminal) return fail(error, fmt::format("line {}: {}", number, failure.localizedDescription));
      fmt::print("{}\n", failure.localizedDescription);
    }
    return true;
  };
}

Action declareUndo(CLI::App&) {
  return [](Session& session, qw::Error* error) {
    qw::UndoManager& undo = *session.store().undoManager();
    if (!undo.canUndo()) return fail(error, "there is nothing to undo");
    const std::string name = undo.undoActionName();
    undo.undo();
    fmt::print("Undid: {}\n", name);
    return true;
  };
}

Action declareRedo(CLI::App&) {
  return [](Session& session, qw::Error* error) {
    qw::UndoManager& undo = *session.store().undoManager();
    if (!undo.canRedo()) return fail(error, "there is nothing to redo");
    const std::string name = undo.redoActionName();
    undo.redo();
    fmt::print("Redid: {}\n", name);
    return true;
  };
}

Action declareSave(CLI::App&) {
  return [](Session& session, qw::Error* error) {
    if (!session.save(error)) return false;
    fmt::print("Saved.\n");
    return true;
  };
}

Action declarePassword(CLI::App& app) {
  struct Options {
    std::optional<std::string> password;
    bool remove = false;
  };
  const auto options = std::make_shared<Options>();
  auto* given =
      app.add_option("--new", options->password, "the new password; asked for when it is not given");
  app.add_flag("--remove", options->remove, "remove the protection")->excludes(given);
  app.footer("The password keeps honest people out. The file itself is not encrypted.");
  return [options](Session& session, qw::Error* error) {
    if (!options->remove && !options->password) {
      options->password = Terminal::askSecretly("New password: ");
      const auto again = options->password ? Terminal::askSecretly("Once more: ") : std::nullopt;
      if (options->password != again) return fail(error, "the passwords differ");
    }
    if (!options->remove && (!options->password || options->password->empty()))
      return fail(error, "give a password with --new, or --remove");
    session.store().protectWithPassword(options->remove ? "" : *options->password);
    fmt::print("{}\n",
               options->remove ? "The book has no password any more." : "The book has a new password.");
    return true;
  };
}
