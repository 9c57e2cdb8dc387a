#include "platform/system/ApplicationContext.h"

#include <glib.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace qw {

namespace {

namespace fs = std::filesystem;

// Relative paths in the XDG variables are invalid and ignored.
fs::path directoryFromEnvironment(const char* variable, const char* fallbackInHome) {
  const char* value = std::getenv(variable);
  if (value && value[0] == '/') return value;
  return fs::path(g_get_home_dir()) / fallbackInHome;
}

bool isPosixLocale(std::string_view name) { return name.empty() || name == "C" || name == "POSIX"; }

// "de_CH.UTF-8@euro" without its encoding and modifier.
std::string_view withoutEncoding(std::string_view name) { return name.substr(0, name.find_first_of(".@")); }

std::vector<std::string> languagesFromEnvironment() {
  std::vector<std::string> languages;
  for (const char* const* name = g_get_language_names(); *name; ++name) {
    std::string language(*name);
    if (isPosixLocale(language) || withoutEncoding(language) != language) continue;
    for (char& c : language) c = c == '_' ? '-' : c;
    languages.push_back(std::move(language));
  }
  if (languages.empty()) languages.push_back("en");
  return languages;
}

std::string localeFromEnvironment() {
  for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
    const char* value = std::getenv(variable);
    if (!value || !value[0]) continue;
    const std::string_view name = withoutEncoding(value);
    if (isPosixLocale(name)) break;
    return std::string(name);
  }
  return "en_US";
}

struct Installed {
  ApplicationContext context = ApplicationContext::fromEnvironment();
  std::atomic<bool> hasIdentifierSource{false};
};

// Lives for good: threads and static objects may still ask for it while the program ends.
Installed& installed() {
  static auto* instance = new Installed;
  return *instance;
}

}  // namespace

ApplicationContext ApplicationContext::fromEnvironment() {
  ApplicationContext context;
  context.application.identifier = program_invocation_short_name;
  context.application.name = context.application.identifier;
  context.application.displayName = context.application.identifier;
  context.supportDirectory = directoryFromEnvironment("XDG_DATA_HOME", ".local/share");
  context.configurationDirectory = directoryFromEnvironment("XDG_CONFIG_HOME", ".config");
  context.temporaryDirectory = g_get_tmp_dir();
  context.preferredLanguages = languagesFromEnvironment();
  context.locale = localeFromEnvironment();
  return context;
}

ApplicationContext::IdentifierSource ApplicationContext::sequentialIdentifiers() {
  auto count = std::make_shared<std::atomic<std::uint64_t>>(0);
  return [count] { return UUID{0x4000, 0x8000'0000'0000'0000 | ++*count}; };
}

const ApplicationContext& ApplicationContext::current() { return installed().context; }

void ApplicationContext::install(ApplicationContext context) {
  Installed& current = installed();
  current.hasIdentifierSource = static_cast<bool>(context.identifierSource);
  current.context = std::move(context);
  generation_.fetch_add(1, std::memory_order_acq_rel);
}

UUID ApplicationContext::uniqueID() {
  const Installed& current = installed();
  return current.hasIdentifierSource ? current.context.identifierSource() : UUID::random();
}

ApplicationContext::Override::Override() : previous_(current()) {
  std::string path = (fs::path(g_get_tmp_dir()) / "context-XXXXXX").string();
  if (!mkdtemp(path.data())) throw std::system_error(errno, std::generic_category(), path);
  directory_ = path;
  ApplicationContext context;
  context.application.identifier = "org.example.Test";
  context.application.name = "Test";
  context.application.displayName = "Test";
  context.application.version = "1.0";
  context.supportDirectory = directory_ / "support";
  context.configurationDirectory = directory_ / "configuration";
  context.temporaryDirectory = directory_ / "temporary";
  for (const fs::path& path :
       {context.supportDirectory, context.configurationDirectory, context.temporaryDirectory})
    fs::create_directory(path);
  context.preferredLanguages = {"en"};
  context.locale = "en_US";
  context.identifierSource = sequentialIdentifiers();
  install(std::move(context));
}

ApplicationContext::Override::~Override() {
  install(std::move(previous_));
  std::error_code ignored;
  fs::remove_all(directory_, ignored);
}

void ApplicationContext::Override::change(const std::function<void(ApplicationContext&)>& edit) {
  ApplicationContext context = current();
  edit(context);
  install(std::move(context));
}

}  // namespace qw
