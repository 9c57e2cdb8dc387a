#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/base/Export.h"
#include "platform/base/UUID.h"
#include "platform/system/ApplicationInfo.h"

namespace qw {

/// What the framework takes from the application and its user: who it is, the directories, the languages
/// and the source of new identifiers. There is one context at a time. A program installs its own before it
/// starts threads, or keeps the one made from the environment; tests replace it with an `Override` and touch
/// nothing of the user's.
struct QW_EXPORT ApplicationContext {
  /// Answers a new identifier each time; called from any thread.
  using IdentifierSource = std::function<UUID()>;
  class Override;

  /// Who the application is; its identifier names its files and settings.
  ApplicationInfo application;
  /// Directories of the user, shared by all applications; not created until something is written.
  std::filesystem::path supportDirectory;        ///< application data: $XDG_DATA_HOME
  std::filesystem::path configurationDirectory;  ///< settings: $XDG_CONFIG_HOME
  std::filesystem::path temporaryDirectory;      ///< $TMPDIR
  /// BCP 47 tags of the languages of the user, best first; never empty.
  std::vector<std::string> preferredLanguages;
  /// ICU identifier of the locale that numbers, dates and sorting follow, for instance "de_CH".
  std::string locale;
  /// Draws a new identifier; called from any thread. Without one, identifiers are random.
  IdentifierSource identifierSource;

  /// Follows the XDG base directories and the POSIX locale variables; identifier and names are
  /// the name of the program's file.
  static ApplicationContext fromEnvironment();
  /// Identifiers in counting order from ...0001, of the form of version 4.
  static IdentifierSource sequentialIdentifiers();

  /// The current context, made from the environment at first use. Valid until another one is installed.
  static const ApplicationContext& current();
  /// Differs after each `install`, for values that are derived from the context and kept.
  static std::uint64_t generation() { return generation_.load(std::memory_order_acquire); }
  /// Makes a context the current one. No other thread may be using the previous one.
  static void install(ApplicationContext context);
  /// A new identifier from the source of the current context.
  static UUID uniqueID();

 private:
  static inline std::atomic<std::uint64_t> generation_{0};
};

/// Installs, while it lives, a context for tests: all directories inside a fresh temporary directory
/// that is removed at the end, language and locale American English, identifiers in counting order. What was
/// before is restored.
class ApplicationContext::Override {
 public:
  /// Makes the directories and installs the context. Main thread, before other threads start.
  Override();
  ~Override();
  Override(const Override&) = delete;
  Override& operator=(const Override&) = delete;

  /// The temporary directory that holds the others.
  const std::filesystem::path& directory() const { return directory_; }
  /// Installs a changed copy of this context, for instance with another locale.
  void change(const std::function<void(ApplicationContext&)>& edit);

 private:
  std::filesystem::path directory_;
  ApplicationContext previous_;
};

}  // namespace qw
