#pragma once

#include <functional>
#include <span>
#include <string_view>

#include "platform/base/Error.h"
#include "program/Session.h"

namespace CLI {
class App;
}

/// Runs a command whose options are parsed; false with the error set when it fails.
using Action = std::function<bool(Session&, qw::Error*)>;

/// One command of the program, the same on the command line and in a batch.
struct Command {
  enum class Where : std::uint8_t { kEverywhere, kCommandLine, kBatch };

  std::string_view name;
  std::string_view help;
  Session::Access access;
  Where where;
  /// What it changes is one undo step; when it fails, nothing is changed.
  bool isUndoStep;
  /// Declares the options and answers what runs once they are parsed.
  Action (*declare)(CLI::App&);
};

std::span<const Command> commands();

// The declarations of the commands, by subject.
Action declareNew(CLI::App& app);
Action declareImport(CLI::App& app);
Action declareList(CLI::App& app);
Action declareSummary(CLI::App& app);
Action declareAdd(CLI::App& app);
Action declareEdit(CLI::App& app);
Action declareDelete(CLI::App& app);
Action declareBatch(CLI::App& app);
Action declareUndo(CLI::App& app);
Action declareRedo(CLI::App& app);
Action declareSave(CLI::App& app);
Action declareSync(CLI::App& app);
Action declareCheck(CLI::App& app);
Action declarePassword(CLI::App& app);

/// Where the command line and a batch meet. `line` names the undo step.
bool perform(const Command& command, const Action& action, std::string_view line, Session& session,
             qw::Error* error);
