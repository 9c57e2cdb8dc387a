#pragma once

#include <fmt/format.h>

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/base/Export.h"

namespace qw {

/// Messages for the system log: the journal of the desktop session, or the standard error stream of a
/// terminal, as GLib's log writer decides (debug and info messages appear when G_MESSAGES_DEBUG asks for
/// them). Formats follow the {fmt} library and are checked at compile time. May be called from any thread.
class QW_EXPORT Log {
 public:
  /// How serious a message is; `kDebug` and `kInfo` are hidden unless asked for.
  enum class Level { kDebug, kInfo, kWarning, kError };
  /// Receives every message in place of the system log, one call at a time.
  using Sink = std::function<void(Level, std::string_view message)>;
  /// A message that was written.
  struct Message {
    /// How serious it is.
    Level level;
    /// The formatted text, without a line end.
    std::string text;
    friend bool operator==(const Message&, const Message&) = default;
  };
  class Capture;

  /// Writes what helps to find a fault; hidden unless asked for.
  template <class... Args>
  static void debug(fmt::format_string<Args...> format, Args&&... args) {
    write(Level::kDebug, fmt::vformat(format, fmt::make_format_args(args...)));
  }
  /// Writes what may be of interest; hidden unless asked for.
  template <class... Args>
  static void info(fmt::format_string<Args...> format, Args&&... args) {
    write(Level::kInfo, fmt::vformat(format, fmt::make_format_args(args...)));
  }
  /// Writes that something was not as it should be, and was dealt with.
  template <class... Args>
  static void warning(fmt::format_string<Args...> format, Args&&... args) {
    write(Level::kWarning, fmt::vformat(format, fmt::make_format_args(args...)));
  }
  /// Writes that something failed.
  template <class... Args>
  static void error(fmt::format_string<Args...> format, Args&&... args) {
    write(Level::kError, fmt::vformat(format, fmt::make_format_args(args...)));
  }
  /// Writes a message as it stands.
  static void write(Level level, std::string_view message);

  /// Replaces the system log by a sink, which must not log itself; an empty one brings the system log back.
  /// Answers the sink that was.
  static Sink setSink(Sink sink);
};

/// Keeps, while it lives, every message from the system log and hands them to a test.
class Log::Capture {
 public:
  /// Takes the place of the system log.
  Capture();
  ~Capture();
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  /// The messages so far, in order; the next call answers those since.
  std::vector<Message> take();

 private:
  std::vector<Message> messages_;
  Sink previous_;
};

}  // namespace qw
