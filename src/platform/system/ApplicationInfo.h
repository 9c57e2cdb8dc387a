#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"

namespace qw {

/// What an application says about itself: set in code, or read from its information dictionary, a JSON object
/// (RFC 8259) with the keys given below. Other keys are ignored. The current one is part of the
/// `ApplicationContext`.
///
///     {"CFBundleIdentifier": "org.example.Expenses",
///      "CFBundleName": "Expenses",
///      "CFBundleShortVersionString": "1.2",
///      "CFBundleDocumentTypes": [{"CFBundleTypeName": "Expense book", "CFBundleTypeExtensions": ["expenses"]}],
///      "QWPlugins": {"QWDocumentSynchronizationHandler": ["FolderHandler"]}}
struct QW_EXPORT ApplicationInfo {
  /// A kind of document that the application opens.
  struct DocumentType {
    std::string name;                     ///< "CFBundleTypeName"
    std::vector<std::string> extensions;  ///< "CFBundleTypeExtensions", without a point, preferred one first
    std::vector<std::string> contentTypes;  ///< "LSItemContentTypes", preferred one first
    friend bool operator==(const DocumentType&, const DocumentType&) = default;
  };

  /// "CFBundleIdentifier", the only one that has to be there. Names the application's files and settings, so
  /// it holds nothing but ASCII letters, digits, ".", "-" and "_", and does not begin with a point.
  std::string identifier;
  std::string name;                         ///< "CFBundleName", or the identifier
  std::string displayName;                  ///< "CFBundleDisplayName", or the name
  std::string version;                      ///< "CFBundleShortVersionString"
  std::vector<DocumentType> documentTypes;  ///< "CFBundleDocumentTypes"
  std::map<std::string, std::vector<std::string>>
      plugIns;  ///< "QWPlugins": class names by the name of their type

  /// Answers none when the text is not such an object, naming the first key whose value is wrong.
  static std::optional<ApplicationInfo> fromJSON(std::string_view text, Error* error = nullptr);
  /// The same for the text of a file of at most 1 MiB.
  static std::optional<ApplicationInfo> fromFile(const std::filesystem::path& path, Error* error = nullptr);

  friend bool operator==(const ApplicationInfo&, const ApplicationInfo&) = default;
};

}  // namespace qw
