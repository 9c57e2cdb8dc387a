#include "platform/system/Localization.h"

#include <unicode/localematcher.h>
#include <unicode/locid.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <vector>

#include "platform/base/Log.h"
#include "platform/base/internal/Resources.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"

namespace qw::Localization {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kErrorDomain = "QWLocalizationErrorDomain";
constexpr std::string_view kBase = "Base";
constexpr std::string_view kEnglish = "en";
constexpr std::string_view kDirectoryEnd = ".lproj";
constexpr std::string_view kFileEnd = ".json";
constexpr std::size_t kMaximumFileSize = 16 << 20;

struct Hash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
};
template <class T>
using ByText = std::unordered_map<std::string, T, Hash, std::equal_to<>>;

using Table = ByText<std::string>;
using Tables = ByText<Table>;                                  // by name
using Languages = std::map<std::string, Tables, std::less<>>;  // by BCP 47 tag
// What one language shows. There are a handful of tables and most look-ups are in the first.
using Merged = std::vector<std::pair<std::string, Table>>;

std::string canonicalTag(std::string_view language) {
  if (language == kBase) return std::string(kBase);
  std::string tag(language);
  std::replace(tag.begin(), tag.end(), '_', '-');
  UErrorCode status = U_ZERO_ERROR;
  auto canonical = icu::Locale::forLanguageTag(tag, status).toLanguageTag<std::string>(status);
  return U_SUCCESS(status) ? canonical : tag;
}

// The language among those available that fits the wished ones best.
std::string bestLanguage(const Languages& available, const std::vector<std::string>& wished) {
  std::string fallback;
  icu::LocaleMatcher::Builder builder;
  for (const auto& [tag, tables] : available) {
    if (tag == kBase) continue;
    if (fallback.empty() || tag == kEnglish) fallback = tag;
    UErrorCode status = U_ZERO_ERROR;
    builder.addSupportedLocale(icu::Locale::forLanguageTag(tag, status));
  }
  std::string list;
  for (const std::string& tag : wished) list += (list.empty() ? "" : ",") + tag;
  UErrorCode status = U_ZERO_ERROR;
  const auto fallbackLocale = icu::Locale::forLanguageTag(fallback, status);
  const icu::LocaleMatcher matcher = builder.setDefaultLocale(&fallbackLocale).build(status);
  const icu::Locale* best = matcher.getBestMatchForListString(list, status);
  if (U_FAILURE(status) || !best) return fallback;
  auto tag = best->toLanguageTag<std::string>(status);
  return U_SUCCESS(status) && available.contains(tag) ? tag : fallback;
}

// The tables of one language with what it lacks filled in from those it falls back to.
Merged merged(const Languages& available, const std::string& language) {
  std::vector<std::string_view> chain;
  for (std::string_view tag = language; !tag.empty();) {
    chain.push_back(tag);
    const std::size_t dash = tag.rfind('-');
    tag = dash == tag.npos ? std::string_view() : tag.substr(0, dash);
  }
  chain.push_back(kBase);
  chain.push_back(kEnglish);
  Tables result;
  for (const std::string_view tag : chain) {
    const auto tables = available.find(tag);
    if (tables == available.end()) continue;
    for (const auto& [name, table] : tables->second) result[name].insert(table.begin(), table.end());
  }
  Merged tables(std::make_move_iterator(result.begin()), std::make_move_iterator(result.end()));
  std::partition(tables.begin(), tables.end(),
                 [](const auto& table) { return table.first == kDefaultTable; });
  return tables;
}

bool parseTable(std::string_view json, std::string_view name, Table& table, Error* error) {
  const auto bad = [&](std::string_view reason) {
    return Error::set(error, kErrorDomain, 1, fmt::format("String table “{}”: {}.", name, reason));
  };
  const auto document = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
  if (document.is_discarded()) return bad("it is not valid JSON");
  if (!document.is_object()) return bad("it is not an object of texts");
  for (const auto& [key, text] : document.items()) {
    if (!text.is_string()) return bad(fmt::format("the value of “{}” is not a text", key));
    table.insert_or_assign(key, text.get<std::string>());
  }
  return true;
}

Languages loadFrameworkTables() {
  Languages languages;
  for (const Resource& file : resources()) {
    const std::size_t slash = file.path.find(kDirectoryEnd);
    if (slash == file.path.npos || !file.path.ends_with(kFileEnd)) continue;
    std::string_view name = file.path.substr(slash + kDirectoryEnd.size() + 1);
    name.remove_suffix(kFileEnd.size());
    Error error;
    Table& table = languages[canonicalTag(file.path.substr(0, slash))][std::string(name)];
    if (!parseTable(file.contents, file.path, table, &error)) Log::error("{}", error.localizedDescription);
  }
  return languages;
}

// The tables in force for one context. Kept for good, so that a reader needs no lock and the texts stay where
// they are.
struct State {
  std::uint64_t generation;
  std::string applicationLanguage;
  std::string frameworkLanguage;
  const Merged* application;
  const Merged* framework;
};

class Registry {
 public:
  static Registry& shared() {
    static auto* registry = new Registry;
    return *registry;
  }

  const State& state() {
    const State* state = state_.load(std::memory_order_acquire);
    if (state && state->generation == ApplicationContext::generation()) return *state;
    const std::lock_guard lock(mutex_);
    return makeState();
  }

  void change(const std::function<void(Languages&)>& edit) {
    const std::lock_guard lock(mutex_);
    edit(application_);
    currentApplication_.clear();
    state_.store(nullptr, std::memory_order_release);
  }

 private:
  const State& makeState() {
    const std::uint64_t generation = ApplicationContext::generation();
    std::vector<std::string> wished = ApplicationContext::current().preferredLanguages;
    State state{generation, {}, {}, nullptr, nullptr};
    if (!application_.empty()) {
      state.applicationLanguage = bestLanguage(application_, wished);
      // One language for a whole window: the framework follows the application where it can.
      wished.insert(wished.begin(), state.applicationLanguage);
    }
    state.frameworkLanguage = bestLanguage(framework_, wished);
    state.application = tables(application_, state.applicationLanguage, currentApplication_);
    state.framework = tables(framework_, state.frameworkLanguage, currentFramework_);
    states_.push_back(std::move(state));
    state_.store(&states_.back(), std::memory_order_release);
    return states_.back();
  }

  const Merged* tables(const Languages& available, const std::string& language,
                       std::map<std::string, const Merged*>& current) {
    const Merged*& found = current[language];
    if (!found) found = &merged_.emplace_back(merged(available, language));
    return found;
  }

  std::mutex mutex_;
  std::atomic<const State*> state_{nullptr};
  const Languages framework_ = loadFrameworkTables();
  Languages application_;
  std::map<std::string, const Merged*> currentFramework_;    // by language
  std::map<std::string, const Merged*> currentApplication_;  // by language
  std::deque<State> states_;
  std::deque<Merged> merged_;
};

std::optional<std::string_view> find(const Merged& tables, std::string_view key, std::string_view table) {
  const auto texts =
      std::find_if(tables.begin(), tables.end(), [&](const auto& t) { return t.first == table; });
  if (texts == tables.end()) return std::nullopt;
  const auto text = texts->second.find(key);
  if (text == texts->second.end()) return std::nullopt;
  return text->second;
}

// The length of a conversion at the start of the text, 0 when it is none; `position` is the argument it
// names, from 1, or 0 for the next one.
std::size_t conversionLength(std::string_view text, std::size_t& position) {
  std::size_t at = 1;
  position = 0;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at < 4) {
    position = position * 10 + static_cast<std::size_t>(text[at++] - '0');
  }
  if (at > 1 && (position == 0 || at == text.size() || text[at++] != '$')) return 0;
  const std::size_t length = at;
  while (at < text.size() && text[at] == 'l' && at < length + 2) ++at;
  if (at == text.size()) return 0;
  const bool isNumber = text[at] == 'd' || text[at] == 'u' || text[at] == 'i';
  return isNumber || (text[at] == '@' && at == length) ? at + 1 : 0;
}

}  // namespace

std::optional<std::string_view> findApplicationString(std::string_view key, std::string_view table) {
  return find(*Registry::shared().state().application, key, table);
}

std::optional<std::string_view> findFrameworkString(std::string_view key, std::string_view table) {
  return find(*Registry::shared().state().framework, key, table);
}

std::string applicationString(std::string_view key, std::string_view table) {
  return std::string(findApplicationString(key, table).value_or(key));
}

std::string frameworkString(std::string_view key, std::string_view table) {
  return std::string(findFrameworkString(key, table).value_or(key));
}

std::string synchronizationString(std::string_view key) {
  if (const auto text = findApplicationString(key, kSynchronizationTable)) return std::string(*text);
  return frameworkString(key, kSynchronizationTable);
}

std::string frameworkFormat(std::string_view key, std::initializer_list<std::string_view> arguments) {
  return format(findFrameworkString(key).value_or(key), arguments);
}

std::string format(std::string_view format, std::initializer_list<std::string_view> arguments) {
  std::string result;
  std::size_t next = 0;
  while (!format.empty()) {
    const std::size_t percent = std::min(format.find('%'), format.size());
    result += format.substr(0, percent);
    format.remove_prefix(percent);
    if (format.empty()) break;
    std::size_t position = 0;
    std::size_t length = 1;
    if (format.starts_with("%%")) {
      length = 2;
      result += '%';
    } else if (const std::size_t conversion = conversionLength(format, position)) {
      length = conversion;
      const std::size_t index = position > 0 ? position - 1 : next++;
      if (index < arguments.size()) result += arguments.begin()[index];
    } else {
      result += '%';
    }
    format.remove_prefix(length);
  }
  return result;
}

bool addApplicationTables(const fs::path& directory, Error* error) {
  const auto failed = [&](const std::error_code& failure) {
    return Error::set(error, kErrorDomain, 1,
                      fmt::format("String tables in “{}”: {}.", directory.string(), failure.message()));
  };
  Languages added;
  std::error_code failure;
  for (fs::directory_iterator folder(directory, failure), end; !failure && folder != end;
       folder.increment(failure)) {
    if (folder->path().extension() != kDirectoryEnd || !folder->is_directory()) continue;
    Tables& tables = added[canonicalTag(folder->path().stem().string())];
    for (fs::directory_iterator file(folder->path(), failure); !failure && file != end;
         file.increment(failure)) {
      if (file->path().extension() != kFileEnd) continue;
      const auto json = FileManager::contents(file->path(), kMaximumFileSize, error);
      Table& table = tables[file->path().stem().string()];
      if (!json || !parseTable(json->text(), file->path().string(), table, error)) return false;
    }
  }
  if (failure) return failed(failure);
  Registry::shared().change([&](Languages& languages) {
    for (auto& [language, tables] : added) {
      for (auto& [name, table] : tables) {
        Table& target = languages[language][name];
        table.merge(target);
        target = std::move(table);
      }
    }
  });
  return true;
}

bool addApplicationTable(std::string_view language, std::string_view table, std::string_view json,
                         Error* error) {
  Table added;
  if (!parseTable(json, table, added, error)) return false;
  Registry::shared().change([&](Languages& languages) {
    Table& target = languages[canonicalTag(language)][std::string(table)];
    added.merge(target);
    target = std::move(added);
  });
  return true;
}

void removeApplicationTables() {
  Registry::shared().change([](Languages& languages) { languages.clear(); });
}

std::string language() {
  const State& state = Registry::shared().state();
  return state.applicationLanguage.empty() ? state.frameworkLanguage : state.applicationLanguage;
}

}  // namespace qw::Localization
