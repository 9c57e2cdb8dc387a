#include "platform/base/Log.h"

#include <glib.h>

#include <mutex>

namespace qw {

namespace {

struct SinkHolder {
  std::mutex mutex;
  Log::Sink sink;
};

// Lives for good: threads may log while the program ends.
SinkHolder& holder() {
  static auto* instance = new SinkHolder;
  return *instance;
}

// GLib ends the program on its level "error", so ours is its "critical".
GLogLevelFlags glibLevel(Log::Level level) {
  switch (level) {
    case Log::Level::kDebug:
      return G_LOG_LEVEL_DEBUG;
    case Log::Level::kInfo:
      return G_LOG_LEVEL_INFO;
    case Log::Level::kWarning:
      return G_LOG_LEVEL_WARNING;
    case Log::Level::kError:
      break;
  }
  return G_LOG_LEVEL_CRITICAL;
}

}  // namespace

void Log::write(Level level, std::string_view message) {
  {
    SinkHolder& current = holder();
    std::lock_guard lock(current.mutex);
    if (current.sink) return current.sink(level, message);
  }
  const GLogLevelFlags flags = glibLevel(level);
  const char* priority = flags == G_LOG_LEVEL_DEBUG     ? "7"
                         : flags == G_LOG_LEVEL_INFO    ? "6"
                         : flags == G_LOG_LEVEL_WARNING ? "4"
                                                        : "3";
  const GLogField fields[] = {
      {"MESSAGE", message.data(), static_cast<gssize>(message.size())},
      {"PRIORITY", priority, -1},
      {"GLIB_DOMAIN", "QWAdditions", -1},
  };
  g_log_structured_array(flags, fields, G_N_ELEMENTS(fields));
}

Log::Sink Log::setSink(Sink sink) {
  SinkHolder& current = holder();
  std::lock_guard lock(current.mutex);
  return std::exchange(current.sink, std::move(sink));
}

Log::Capture::Capture()
    : previous_(setSink([this](Level level, std::string_view message) {
        messages_.push_back({level, std::string(message)});
      })) {}

Log::Capture::~Capture() { setSink(std::move(previous_)); }

std::vector<Log::Message> Log::Capture::take() {
  std::lock_guard lock(holder().mutex);
  return std::exchange(messages_, {});
}

}  // namespace qw
