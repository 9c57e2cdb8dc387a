#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/system/TemporaryDirectory.h"

namespace qw {

/// ZIP archives (PKWARE APPNOTE 6.3) of files. Archives that are read may come from a stranger: every entry
/// is checked before the first is extracted, and an archive with names that lead out of the directory,
/// symbolic links, two entries for one file, or contents beyond the bounds below is refused as a whole. A
/// failure leaves no file behind and is in the domain of `FileManager`. Any thread may call these. An empty
/// password is no password.
namespace QW_EXPORT ZipArchive {

/// Files and directories.
inline constexpr std::int64_t kMaximumEntries = 100'000;
inline constexpr std::size_t kMaximumNameLength = 1024;  ///< bytes of UTF-8
inline constexpr int kMaximumDepth = 32;                 ///< directories around a file
inline constexpr std::uint64_t kMaximumExpandedSize = std::uint64_t{16}
                                                      << 30;  ///< bytes, all entries together
/// Bytes of all entries to bytes of the archive. Deflate reaches 1,032 and no more, so that only entries that
/// share their compressed bytes, and methods made for it, come out above.
inline constexpr std::uint64_t kMaximumRatio = 1100;

/// Writes the files, and directories with the files they hold, into a new archive under their own names,
/// deflated for speed. With a password every file is encrypted (WinZip AES-256); names and comment stay
/// readable. An archive that stands at `toPath` is replaced when the new one is complete. The comment is
/// UTF-8 of at most 65,535 bytes.
bool zipFiles(std::span<const std::filesystem::path> paths, const std::filesystem::path& toPath,
              std::string_view password = {}, std::string_view comment = {}, Error* error = nullptr);

/// Extracts all entries into a directory, which is made if it is missing, and answers the paths of the files
/// in the order of the archive; an archive without files gives an empty list. What exists is never replaced:
/// an entry of the same name fails.
std::optional<std::vector<std::filesystem::path>> unzipFileAtPath(const std::filesystem::path& path,
                                                                  const std::filesystem::path& directory,
                                                                  std::string_view password = {},
                                                                  Error* error = nullptr);

/// The comment of the whole archive, empty when it has none. It is never encrypted; a password that is given
/// is checked against the first encrypted entry.
std::optional<std::string> commentOfZipFileAtPath(const std::filesystem::path& path,
                                                  std::string_view password = {}, Error* error = nullptr);

/// A document that was extracted into a temporary directory of its own, which goes with this value.
struct QW_EXPORT Document {
  /// Removed with all it holds when this value goes.
  TemporaryDirectory directory;
  /// Of the document inside of it.
  std::filesystem::path path;
};

/// Extracts the first document (a file, or a directory with all it holds) whose name has one of the
/// extensions, written without a point and compared without regard to ASCII case. `kArchiveEmpty` when there
/// is none.
std::optional<Document> unzipDocumentWithExtensions(std::span<const std::string> extensions,
                                                    const std::filesystem::path& path,
                                                    Error* error = nullptr);

}  // namespace ZipArchive

}  // namespace qw
