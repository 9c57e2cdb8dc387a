#pragma once

#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Error.h"
#include "platform/base/Export.h"

namespace qw {

/// The texts that a program shows, by key and table, in the language that fits the user best (Unicode TR 35
/// language matching on the languages of the application context). The framework brings its own tables; an
/// application adds its. A key is looked up in the chosen language, then in that language without region and
/// script, then in the language "Base", then in English. Any thread may look up; tables are added before
/// threads start.
namespace QW_EXPORT Localization {

/// The table of a program's texts.
inline constexpr std::string_view kDefaultTable = "Localizable";
/// The table of what is shown when two copies of a store are compared.
inline constexpr std::string_view kSynchronizationTable = "Synchronization";

/// The text of a key in the application's tables, or the key itself.
std::string applicationString(std::string_view key, std::string_view table = kDefaultTable);
/// The text of a key in the framework's own tables, or the key itself.
std::string frameworkString(std::string_view key, std::string_view table = kDefaultTable);
/// The text of a key in the table "Synchronization" of the application, or else of the framework, or the key
/// itself.
std::string synchronizationString(std::string_view key);

/// The text, or none when no table has the key, without a copy: it lives as long as the program.
std::optional<std::string_view> findApplicationString(std::string_view key,
                                                      std::string_view table = kDefaultTable);
/// The same in the framework's own tables.
std::optional<std::string_view> findFrameworkString(std::string_view key,
                                                    std::string_view table = kDefaultTable);

/// The framework's text of a key with its arguments filled in.
std::string frameworkFormat(std::string_view key, std::initializer_list<std::string_view> arguments);
/// Fills arguments into a format. "%@", "%d", "%u" and "%i" (with "l" or "ll" before the letter) take the
/// next argument, "%2$@" the second, "%%" is a percent sign. A missing argument is empty; any other text
/// stays as it is.
std::string format(std::string_view format, std::initializer_list<std::string_view> arguments);

/// Adds the tables of the application: every file `<language>.lproj/<table>.json` below the directory, each
/// one JSON object (RFC 8259) of texts by key. The language is a BCP 47 tag or "Base". A later key replaces
/// an earlier one. None is added when one cannot be read.
bool addApplicationTables(const std::filesystem::path& directory, Error* error = nullptr);
/// Adds one table from the text of such a file.
bool addApplicationTable(std::string_view language, std::string_view table, std::string_view json,
                         Error* error = nullptr);
/// Forgets all tables of the application.
void removeApplicationTables();

/// The language of the texts that are shown: the one chosen for the application, or for the framework when
/// the application has no tables. A BCP 47 tag.
std::string language();

}  // namespace Localization

}  // namespace qw
