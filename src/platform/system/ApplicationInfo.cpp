#include "platform/system/ApplicationInfo.h"

#include <fmt/format.h>
#include <glib.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/system/FileManager.h"

namespace qw {
namespace {

using nlohmann::json;

constexpr std::string_view kErrorDomain = "QWApplicationInfoErrorDomain";
constexpr std::size_t kMaximumFileSize = 1 << 20;

// Reads the entries of one JSON object. Each reader leaves its target as it is when the key is missing, and
// remembers the first key whose value has the wrong form.
class Reader {
 public:
  Reader(const json& object, std::string& wrongKey) : object_(object), wrongKey_(wrongKey) {
    if (!object.is_object()) wrong("{}");
  }

  void read(const char* key, std::string& target) {
    if (const json* value = find(key)) value->is_string() ? void(target = *value) : wrong(key);
  }

  void read(const char* key, std::vector<std::string>& target) {
    const json* value = find(key);
    if (!value) return;
    if (!value->is_array() ||
        !std::all_of(value->begin(), value->end(), [](const json& e) { return e.is_string(); })) {
      return wrong(key);
    }
    target = value->get<std::vector<std::string>>();
  }

  template <class Each>
  void eachElement(const char* key, Each each) {
    const json* value = find(key);
    if (!value) return;
    if (!value->is_array()) return wrong(key);
    for (const json& element : *value) each(element);
  }

  template <class Each>
  void eachEntry(const char* key, Each each) {
    const json* value = find(key);
    if (!value) return;
    if (!value->is_object()) return wrong(key);
    for (const auto& entry : value->items()) each(*value, entry.key());
  }

 private:
  const json* find(const char* key) const {
    if (!object_.is_object()) return nullptr;
    const auto found = object_.find(key);
    return found == object_.end() ? nullptr : &*found;
  }
  void wrong(const char* key) {
    if (wrongKey_.empty()) wrongKey_ = key;
  }

  const json& object_;
  std::string& wrongKey_;
};

bool isIdentifier(std::string_view text) {
  const auto isAllowed = [](char c) { return g_ascii_isalnum(c) || c == '.' || c == '-' || c == '_'; };
  return !text.empty() && text.front() != '.' && text.size() <= 200 &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

}  // namespace

std::optional<ApplicationInfo> ApplicationInfo::fromJSON(std::string_view text, Error* error) {
  const auto bad = [&](std::string reason) {
    Error::set(error, kErrorDomain, 1, "Application information: " + std::move(reason));
    return std::nullopt;
  };
  const json document = json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!document.is_object()) return bad("it is not a JSON object.");
  ApplicationInfo info;
  std::string wrongKey;
  Reader reader(document, wrongKey);
  reader.read("CFBundleIdentifier", info.identifier);
  info.name = info.identifier;
  reader.read("CFBundleName", info.name);
  info.displayName = info.name;
  reader.read("CFBundleDisplayName", info.displayName);
  reader.read("CFBundleShortVersionString", info.version);
  reader.eachElement("CFBundleDocumentTypes", [&](const json& element) {
    DocumentType& type = info.documentTypes.emplace_back();
    Reader entries(element, wrongKey);
    entries.read("CFBundleTypeName", type.name);
    entries.read("CFBundleTypeExtensions", type.extensions);
    entries.read("LSItemContentTypes", type.contentTypes);
  });
  reader.eachEntry("QWPlugins", [&](const json& entries, const std::string& type) {
    Reader(entries, wrongKey).read(type.c_str(), info.plugIns[type]);
  });
  if (!wrongKey.empty()) return bad(fmt::format("the value of “{}” has the wrong form.", wrongKey));
  if (!isIdentifier(info.identifier))
    return bad("“CFBundleIdentifier” is missing or holds other characters.");
  return info;
}

std::optional<ApplicationInfo> ApplicationInfo::fromFile(const std::filesystem::path& path, Error* error) {
  const auto contents = FileManager::contents(path, kMaximumFileSize, error);
  return contents ? fromJSON(contents->text(), error) : std::nullopt;
}

}  // namespace qw
