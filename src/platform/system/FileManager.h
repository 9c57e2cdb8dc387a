#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/base/Data.h"
#include "platform/base/Error.h"
#include "platform/base/Export.h"

namespace qw {

/// Operations on files that the standard library lacks: contents that are replaced whole or not at all,
/// reading within a bound, and the application's own directory. Any thread may call them. Failures are in the
/// domain `kErrorDomain` with a sentence that names the file; unless stated otherwise they leave everything
/// as it was.
namespace QW_EXPORT FileManager {

/// The domain of `ErrorCode`.
inline constexpr std::string_view kErrorDomain = "QWFileManagerErrorDomain";

/// What can go wrong with files and archives.
enum ErrorCode : int {
  kSystemError = 1,    ///< the operating system refused
  kArchiveEmpty = 2,   ///< an archive holds no file, or none of the wanted kind
  kBadArchive = 3,     ///< not an archive, a damaged one, or one that is not safe to extract
  kWrongPassword = 4,  ///< a password is missing or wrong
  kTooLarge = 5,       ///< a file or the contents of an archive exceed their bound
};

/// The bound of `contents` in bytes unless the caller gives another.
inline constexpr std::size_t kMaximumContents = std::size_t{1} << 30;

/// The application's directory for its own data, made for the user alone if it is missing.
std::optional<std::filesystem::path> supportDirectory(Error* error = nullptr);

/// All bytes of a regular file. A file of more than `maximumSize` bytes fails with `kTooLarge`, unread.
std::optional<Data> contents(const std::filesystem::path& path, std::size_t maximumSize = kMaximumContents,
                             Error* error = nullptr);

/// Makes the bytes the contents of a file: whoever reads it, and whatever happens to the machine meanwhile,
/// finds the old contents or the new ones. An existing file keeps its permissions; one behind a symbolic link
/// is replaced, not the link. The directory has to exist.
bool writeAtomically(std::string_view bytes, const std::filesystem::path& path, Error* error = nullptr);

/// Copies a file of any size, as `writeAtomically` writes. Requires: two different files.
bool copyItem(const std::filesystem::path& from, const std::filesystem::path& path, Error* error = nullptr);

/// Puts a finished file in the place of another in the same directory, as `writeAtomically` does. A failure
/// leaves both.
bool replaceItem(const std::filesystem::path& path, const std::filesystem::path& replacement,
                 Error* error = nullptr);

/// Removes a file, a symbolic link or a directory with all it holds. One that is not there counts as removed.
bool removeItem(const std::filesystem::path& path, Error* error = nullptr);

}  // namespace FileManager

}  // namespace qw
