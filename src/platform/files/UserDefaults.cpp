#include "platform/files/UserDefaults.h"

#include <fmt/format.h>
#include <glib.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>
#include <vector>

#include "platform/base/Log.h"
#include "platform/base/internal/FileDescriptor.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Clock.h"
#include "platform/system/FileManager.h"
#include "platform/system/Localization.h"

namespace qw {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace std::chrono_literals;

constexpr std::size_t kMaximumFileSize = 64 << 20;
constexpr auto kWriteDelay = 1s;
constexpr auto kLockTimeout = 5s;
// The whole file and a tagged value add levels, and a tag adds one to each container.
constexpr int kMaximumFileDepth = 2 * UserDefaults::kMaximumDepth + 4;

bool isUTF8(std::string_view text) {
  // GLib takes a zero byte for the end of the text.
  for (;;) {
    const std::size_t zero = std::min(text.find('\0'), text.size());
    if (!g_utf8_validate(text.data(), static_cast<gssize>(zero), nullptr)) return false;
    if (zero == text.size()) return true;
    text.remove_prefix(zero + 1);
  }
}

std::string base64(const Data& data) {
  const std::unique_ptr<gchar, decltype(&g_free)> text(g_base64_encode(data.data(), data.size()), g_free);
  return text.get();
}

Data fromBase64(const std::string& text) {
  gsize size = 0;
  const std::unique_ptr<guchar, decltype(&g_free)> bytes(g_base64_decode(text.c_str(), &size), g_free);
  return Data(std::span<const std::uint8_t>(bytes.get(), size));
}

bool encode(const Value& value, json& out, int depth);

bool encodeDictionary(const Dictionary& dictionary, json& out, int depth) {
  json entries = json::object();
  bool looksTagged = false;
  for (const auto& [key, value] : dictionary) {
    if (!isUTF8(key) || !encode(value, entries[key], depth + 1)) return false;
    looksTagged = looksTagged || key.starts_with('$');
  }
  out = looksTagged ? json{{"$dictionary", std::move(entries)}} : std::move(entries);
  return true;
}

// False when the value, or one in it, cannot be written.
bool encode(const Value& value, json& out, int depth) {
  switch (value.kind()) {
    case Value::Kind::kNull:
      out = nullptr;
      return true;
    case Value::Kind::kBool:
      out = value.boolValue();
      return true;
    case Value::Kind::kInt:
      out = value.int64Value();
      return true;
    case Value::Kind::kDouble: {
      const double number = value.doubleValue();
      if (std::isfinite(number)) {
        out = number;
      } else {
        out = {{"$double", std::isnan(number) ? "nan" : number < 0 ? "-inf" : "inf"}};
      }
      return true;
    }
    case Value::Kind::kDecimal: {
      const auto decimal = value.decimalValue();
      out = {{"$decimal", decimal && !decimal->isNaN() ? decimal->text() : "nan"}};
      return true;
    }
    case Value::Kind::kText:
      out = *value.text();
      return isUTF8(*value.text());
    case Value::Kind::kDate:
      out = {{"$date", value.date()->microseconds()}};
      return true;
    case Value::Kind::kData:
      out = {{"$data", base64(*value.data())}};
      return true;
    case Value::Kind::kColor: {
      const Color& color = *value.color();
      out = {{"$color", json::array({color.red, color.green, color.blue, color.alpha})}};
      return std::isfinite(color.red + color.green + color.blue + color.alpha);
    }
    case Value::Kind::kArray: {
      if (depth > UserDefaults::kMaximumDepth) return false;
      out = json::array();
      for (const Value& element : *value.array()) {
        if (!encode(element, out.emplace_back(), depth + 1)) return false;
      }
      return true;
    }
    case Value::Kind::kDictionary:
      return depth <= UserDefaults::kMaximumDepth && encodeDictionary(*value.dictionary(), out, depth);
    default:
      return false;
  }
}

Value decode(const json& in);

Dictionary decodeEntries(const json& object) {
  Dictionary entries;
  for (const auto& entry : object.items()) entries.emplace(entry.key(), decode(entry.value()));
  return entries;
}

// The value of an object with one member that begins with "$"; none when it is no tag that is known here.
std::optional<Value> decodeTagged(const std::string& tag, const json& content) {
  if (tag == "$dictionary" && content.is_object()) return Value(decodeEntries(content));
  if (tag == "$date" && content.is_number_integer()) return Value(Date::fromMicroseconds(content));
  if (tag == "$color" && content.is_array() && content.size() == 4 &&
      std::all_of(content.begin(), content.end(), [](const json& c) { return c.is_number(); })) {
    return Value(Color{content[0], content[1], content[2], content[3]});
  }
  if (!content.is_string()) return std::nullopt;
  const auto& text = content.get_ref<const std::string&>();
  if (tag == "$data") return Value(fromBase64(text));
  if (tag == "$decimal") return Value(Decimal::fromText(text).value_or(Decimal::nan()));
  if (tag == "$double") return Value(std::strtod(text.c_str(), nullptr));
  return std::nullopt;
}

Value decode(const json& in) {
  switch (in.type()) {
    case json::value_t::boolean:
      return Value(in.get<bool>());
    case json::value_t::number_integer:
      return Value(in.get<std::int64_t>());
    case json::value_t::number_unsigned:
      if (in.get<std::uint64_t>() <= INT64_MAX) return Value(in.get<std::int64_t>());
      return Value(in.get<double>());
    case json::value_t::number_float:
      return Value(in.get<double>());
    case json::value_t::string:
      return Value(in.get_ref<const std::string&>());
    case json::value_t::array: {
      Array elements;
      elements.reserve(in.size());
      for (const json& element : in) elements.push_back(decode(element));
      return Value(std::move(elements));
    }
    case json::value_t::object: {
      const auto first = in.begin();
      if (in.size() == 1 && first.key().starts_with('$')) {
        if (auto value = decodeTagged(first.key(), first.value())) return *std::move(value);
      }
      return Value(decodeEntries(in));
    }
    default:
      return Value();
  }
}

// The object that a settings file holds; none when it is damaged.
std::optional<json> parseFile(std::string_view text) {
  bool isTooDeep = false;
  auto document = json::parse(
      text,
      [&](int depth, json::parse_event_t, json&) {
        isTooDeep = isTooDeep || depth > kMaximumFileDepth;
        return !isTooDeep;
      },
      /*allow_exceptions=*/false);
  if (isTooDeep || !document.is_object()) return std::nullopt;
  return document;
}

fs::path standardFile() {
  const ApplicationContext& context = ApplicationContext::current();
  return context.configurationDirectory / context.application.identifier / "defaults.json";
}

bool fail(Error* error, std::string_view key, const fs::path& file, int reason) {
  return Error::set(
      error, FileManager::kErrorDomain, FileManager::kSystemError,
      Localization::frameworkFormat(key, {file.string(), std::generic_category().message(reason)}));
}

bool makeDirectory(const fs::path& directory) {
  std::error_code failure;
  fs::create_directories(directory.parent_path(), failure);
  if (::mkdir(directory.c_str(), 0700) == 0 || fs::is_directory(directory, failure)) return true;
  errno = failure ? failure.value() : ENOTDIR;
  return false;
}

// Holds the directory against other processes and other instances here until the descriptor is closed. A file
// system without locks is used without.
bool lockDirectory(const FileDescriptor& directory) {
  const auto deadline = std::chrono::steady_clock::now() + kLockTimeout;
  while (::flock(directory.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOSYS) return true;
    if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

struct Observer {
  std::string key;
  std::function<void(const Value&)> call;
  std::atomic<bool> hasEnded{false};
};

using Notices = std::vector<std::pair<std::shared_ptr<Observer>, Value>>;

void deliver(const Notices& notices) {
  for (const auto& [observer, value] : notices) {
    if (!observer->hasEnded) observer->call(value);
  }
}

}  // namespace

struct UserDefaults::State : std::enable_shared_from_this<State> {
  // A change that the file does not hold yet; no JSON for a removal.
  struct Change {
    std::optional<json> entry;
    std::uint64_t number;
  };
  using Changes = std::map<std::string, Change, std::less<>>;

  State(fs::path path, bool standard) : file(std::move(path)), isStandard(standard) {}

  Value effective(std::string_view key) const {
    if (const auto found = values.find(key); found != values.end()) return found->second;
    if (const auto found = registered.find(key); found != registered.end()) return found->second;
    return {};
  }

  void addNotices(std::string_view key, const Value& before, Notices& notices) const {
    const Value now = effective(key);
    if (now.kind() == before.kind() && now == before) return;
    for (const auto& observer : observers) {
      if (observer->key == key) notices.emplace_back(observer, now);
    }
  }

  void change(std::string_view key, Value value, std::optional<json> entry) {
    Notices notices;
    bool mustSchedule = false;
    {
      const std::lock_guard lock(mutex);
      const Value before = effective(key);
      if (value.isNull()) {
        if (const auto found = values.find(key); found != values.end()) values.erase(found);
      } else {
        values.insert_or_assign(std::string(key), std::move(value));
      }
      changes.insert_or_assign(std::string(key), Change{std::move(entry), ++lastNumber});
      mustSchedule = !std::exchange(isScheduled, true);
      addNotices(key, before, notices);
    }
    if (mustSchedule) schedule();
    deliver(notices);
  }

  void schedule() {
    RunLoop::main().dispatch([weak = weak_from_this()] {
      RunLoop::main().after(kWriteDelay, [weak] {
        if (const auto state = weak.lock()) state->writeScheduled();
      });
    });
  }

  void writeScheduled() {
    {
      const std::lock_guard lock(mutex);
      isScheduled = false;
      if (changes.empty()) return;
    }
    // Under another context, as tests put in force, the directory may be gone with what owned it.
    if (isStandard && file != standardFile()) return;
    Error error;
    if (!synchronize(&error)) Log::error("{}", error.localizedDescription);
  }

  bool synchronize(Error* error) {
    Notices notices;
    {
      const std::lock_guard fileLock(fileMutex);
      Changes written;
      {
        const std::lock_guard lock(mutex);
        written = changes;
      }
      json document = json::object();
      if (!exchangeWithFile(written, document, error)) return false;
      const std::lock_guard lock(mutex);
      takeOver(decodeEntries(document), written, notices);
    }
    deliver(notices);
    return true;
  }

  // Answers in `document` what the file holds with the changes made to it, and writes that when it differs.
  bool exchangeWithFile(const Changes& written, json& document, Error* error) {
    const fs::path directory = file.parent_path();
    if (!written.empty() && !makeDirectory(directory)) return fail(error, "Error.Create", directory, errno);
    const auto locked = FileDescriptor::open(directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (!locked) return errno == ENOENT || fail(error, "Error.Read", file, errno);
    if (!lockDirectory(locked)) return fail(error, "Error.Write", file, errno);

    std::optional<Data> contents;
    std::error_code failure;
    if (fs::exists(file, failure)) {
      contents = FileManager::contents(file, kMaximumFileSize, error);
      if (!contents) return false;
    } else if (failure) {
      return fail(error, "Error.Read", file, failure.value());
    }
    bool mustWrite = !written.empty();
    if (contents) {
      if (auto parsed = parseFile(contents->text())) {
        document = *std::move(parsed);
      } else {
        if (!putAside(error)) return false;
        encodeMemory(document);
        mustWrite = mustWrite || !document.empty();
      }
    }
    for (const auto& [key, change] : written) {
      if (change.entry) {
        document[key] = *change.entry;
      } else {
        document.erase(key);
      }
    }
    if (!mustWrite) return true;
    const std::string text = document.dump(2) + "\n";
    return (contents && text == contents->text()) || FileManager::writeAtomically(text, file, error);
  }

  bool putAside(Error* error) {
    fs::path aside = file;
    aside += fmt::format(".damaged-{}", Clock::now().seconds());
    std::error_code failure;
    fs::rename(file, aside, failure);
    if (failure) return fail(error, "Error.Write", file, failure.value());
    Log::error("Settings in {} are damaged; they were put aside as {}.", file.string(),
               aside.filename().string());
    return true;
  }

  void encodeMemory(json& document) {
    const std::lock_guard lock(mutex);
    for (const auto& [key, value] : values) encode(value, document[key], 1);
  }

  // What the file holds becomes what is in memory, except for changes that came since it was written.
  void takeOver(Dictionary held, const Changes& written, Notices& notices) {
    for (const auto& [key, change] : written) {
      const auto pending = changes.find(key);
      if (pending != changes.end() && pending->second.number == change.number) changes.erase(pending);
    }
    for (const auto& [key, change] : changes) {
      held.erase(key);
      if (const auto newer = values.find(key); newer != values.end()) held.emplace(key, newer->second);
    }
    Dictionary before;
    for (const auto& observer : observers) before.emplace(observer->key, effective(observer->key));
    values = std::move(held);
    for (const auto& [key, value] : before) addNotices(key, value, notices);
  }

  const fs::path file;
  const bool isStandard;

  std::mutex fileMutex;      // held, before `mutex`, while the file is read and written
  mutable std::mutex mutex;  // guards the rest
  Dictionary values;
  Dictionary registered;
  Changes changes;
  std::uint64_t lastNumber = 0;
  bool isScheduled = false;
  std::vector<std::shared_ptr<Observer>> observers;
};

UserDefaults& UserDefaults::standard() {
  struct Standards {
    std::mutex mutex;
    std::uint64_t generation = 0;
    UserDefaults* current = nullptr;
    std::map<fs::path, UserDefaults*> byFile;
  };
  static auto* const standards = new Standards;
  const std::uint64_t generation = ApplicationContext::generation();
  const std::lock_guard lock(standards->mutex);
  if (standards->current && standards->generation == generation) return *standards->current;
  if (standards->byFile.empty()) {
    std::atexit([] { standard().state_->writeScheduled(); });
  }
  UserDefaults*& found = standards->byFile[standardFile()];
  if (!found) found = new UserDefaults(std::make_shared<State>(standardFile(), /*standard=*/true));
  standards->current = found;
  standards->generation = generation;
  return *found;
}

UserDefaults::UserDefaults(fs::path file) : UserDefaults(std::make_shared<State>(std::move(file), false)) {}

UserDefaults::UserDefaults(std::shared_ptr<State> state) : state_(std::move(state)) {
  Error error;
  if (!state_->synchronize(&error)) Log::error("{}", error.localizedDescription);
}

UserDefaults::~UserDefaults() { state_->writeScheduled(); }

Value UserDefaults::value(std::string_view key) const {
  const std::lock_guard lock(state_->mutex);
  return state_->effective(key);
}

bool UserDefaults::boolValue(std::string_view key) const { return value(key).boolValue(); }

std::int64_t UserDefaults::intValue(std::string_view key) const { return value(key).int64Value(); }

double UserDefaults::doubleValue(std::string_view key) const { return value(key).doubleValue(); }

std::optional<std::string> UserDefaults::text(std::string_view key) const {
  const Value found = value(key);
  if (found.text()) return *found.text();
  return found.isNumber() ? std::optional(found.description()) : std::nullopt;
}

Array UserDefaults::array(std::string_view key) const {
  const Value found = value(key);
  return found.array() ? *found.array() : Array();
}

Dictionary UserDefaults::dictionary(std::string_view key) const {
  const Value found = value(key);
  return found.dictionary() ? *found.dictionary() : Dictionary();
}

bool UserDefaults::set(std::string_view key, Value value) {
  std::optional<json> entry;
  if (!isUTF8(key) || (!value.isNull() && !encode(value, entry.emplace(), 1))) return false;
  state_->change(key, std::move(value), std::move(entry));
  return true;
}

void UserDefaults::registerDefaults(const Dictionary& values) {
  Notices notices;
  {
    const std::lock_guard lock(state_->mutex);
    for (const auto& [key, value] : values) {
      const Value before = state_->effective(key);
      state_->registered.insert_or_assign(key, value);
      state_->addNotices(key, before, notices);
    }
  }
  deliver(notices);
}

Registration UserDefaults::observe(std::string_view key, std::function<void(const Value&)> observer) {
  auto added = std::make_shared<Observer>();
  added->key = key;
  added->call = std::move(observer);
  const std::lock_guard lock(state_->mutex);
  state_->observers.push_back(added);
  return Registration([weak = std::weak_ptr(state_), added] {
    added->hasEnded = true;
    const auto state = weak.lock();
    if (!state) return;
    const std::lock_guard lock(state->mutex);
    std::erase(state->observers, added);
  });
}

bool UserDefaults::synchronize(Error* error) { return state_->synchronize(error); }

}  // namespace qw
