#include "platform/files/ZipArchive.h"

#include <fmt/format.h>
#include <glib.h>
#include <sys/stat.h>
#include <zip.h>

#include <algorithm>
#include <memory>
#include <set>
#include <system_error>

#include "platform/base/UUID.h"
#include "platform/base/internal/FileDescriptor.h"
#include "platform/system/FileManager.h"
#include "platform/system/Localization.h"

namespace qw::ZipArchive {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kTooLarge = "Archive.TooLarge";

struct Discard {
  void operator()(zip_t* archive) const { zip_discard(archive); }
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using Archive = std::unique_ptr<zip_t, Discard>;

struct Entry {
  zip_uint64_t index;
  std::string name;  ///< checked; without the slash that ends the name of a directory
  bool isDirectory;
  bool isEncrypted;
  std::uint64_t size;
};

bool failWith(Error* error, int code, const fs::path& path, std::string_view reason) {
  return Error::set(error, FileManager::kErrorDomain, code,
                    Localization::frameworkFormat("Error.Archive", {path.filename().string(), reason}));
}

// The reason is the framework's text of a key, with one argument.
bool fail(Error* error, int code, const fs::path& path, std::string_view key,
          std::string_view argument = {}) {
  return error && failWith(error, code, path, Localization::frameworkFormat(key, {argument}));
}

bool fail(Error* error, const fs::path& path, zip_error_t* reason) {
  switch (zip_error_code_zip(reason)) {
    case ZIP_ER_NOPASSWD:
    case ZIP_ER_WRONGPASSWD:
      return fail(error, FileManager::kWrongPassword, path, "Archive.WrongPassword");
    case ZIP_ER_RENAME:
    case ZIP_ER_CLOSE:
    case ZIP_ER_WRITE:
    case ZIP_ER_NOENT:
    case ZIP_ER_EXISTS:
    case ZIP_ER_OPEN:
    case ZIP_ER_TMPOPEN:
    case ZIP_ER_MEMORY:
    case ZIP_ER_REMOVE:
      return failWith(error, FileManager::kSystemError, path, zip_error_strerror(reason));
    default:
      return fail(error, FileManager::kBadArchive, path, "Archive.Damaged", zip_error_strerror(reason));
  }
}

bool failSystem(Error* error, const fs::path& path, int reason) {
  return failWith(error, FileManager::kSystemError, path, std::generic_category().message(reason));
}

Archive open(const fs::path& path, int flags, Error* error) {
  int code = 0;
  Archive archive(zip_open(path.c_str(), flags, &code));
  if (!archive) {
    zip_error_t reason;
    zip_error_init_with_code(&reason, code);
    fail(error, path, &reason);
    zip_error_fini(&reason);
  }
  return archive;
}

// libzip takes passwords as C strings.
bool checkPassword(std::string_view password, const fs::path& path, Error* error) {
  return password.find('\0') == password.npos ||
         fail(error, FileManager::kWrongPassword, path, "Archive.WrongPassword");
}

bool addFile(zip_t* archive, const fs::path& file, const std::string& name, const std::string& password) {
  zip_source_t* source = zip_source_file(archive, file.c_str(), 0, -1);
  if (!source) return false;
  const zip_int64_t index = zip_file_add(archive, name.c_str(), source, ZIP_FL_ENC_UTF_8);
  if (index < 0) {
    zip_source_free(source);
    return false;
  }
  const auto position = static_cast<zip_uint64_t>(index);
  return zip_set_file_compression(archive, position, ZIP_CM_DEFLATE, 1) == 0 &&
         (password.empty() ||
          zip_file_set_encryption(archive, position, ZIP_EM_AES_256, password.c_str()) == 0);
}

// Adds what stands at `item` under the name, directories before what they hold. The caller answers libzip's
// error when `reason` stays empty.
bool addItem(zip_t* archive, const fs::path& item, const std::string& name, const std::string& password,
             std::string& reason) {
  std::error_code failure;
  const fs::file_status status = fs::status(item, failure);
  if (fs::is_regular_file(status)) return addFile(archive, item, name, password);
  if (!fs::is_directory(status)) {
    reason = Localization::frameworkFormat(fs::exists(status) ? "Archive.NoPlainFile" : "Archive.Missing",
                                           {item.filename().string()});
    return false;
  }
  if (zip_dir_add(archive, name.c_str(), ZIP_FL_ENC_UTF_8) < 0) return false;
  std::set<fs::path> sorted;
  for (fs::directory_iterator next(item, failure), end; !failure && next != end; next.increment(failure)) {
    sorted.insert(next->path());
  }
  if (failure) {
    reason = failure.message();
    return false;
  }
  for (const fs::path& child : sorted) {
    // What a link points to may lie anywhere, also above the link.
    if (fs::is_symlink(child)) {
      reason = Localization::frameworkFormat("Archive.NoPlainFile", {child.filename().string()});
      return false;
    }
    if (!addItem(archive, child, name + "/" + child.filename().string(), password, reason)) return false;
  }
  return true;
}

bool isAllowedName(std::string_view name) {
  if (name.empty() || name.size() > kMaximumNameLength) return false;
  if (!g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr)) return false;
  const auto isForbidden = [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '\\';
  };
  if (std::any_of(name.begin(), name.end(), isForbidden)) return false;
  const bool hasDrive = name.size() > 1 && name[1] == ':' && g_ascii_isalpha(name[0]);
  if (hasDrive || std::count(name.begin(), name.end(), '/') > kMaximumDepth) return false;
  if (name.back() == '/') name.remove_suffix(1);
  for (std::size_t start = 0; start <= name.size();) {
    const std::size_t end = std::min(name.find('/', start), name.size());
    const std::string_view component = name.substr(start, end - start);
    // An empty component is also what an absolute path begins with.
    if (component.empty() || component == "." || component == ".." || component.size() > 255) return false;
    start = end + 1;
  }
  return true;
}

bool isFileOrDirectory(zip_t* archive, zip_uint64_t index) {
  zip_uint8_t system = 0;
  zip_uint32_t attributes = 0;
  if (zip_file_get_external_attributes(archive, index, 0, &system, &attributes) != 0) return false;
  // The upper half holds Unix permissions and type where a Unix wrote the archive, and zero elsewhere.
  const auto type = (attributes >> 16) & S_IFMT;
  return type == 0 || type == S_IFREG || type == S_IFDIR;
}

// Names that are taken: files exactly once, directories any number of times.
class Names {
 public:
  // False when something that must not be there again already is, or a file stands where a directory has to.
  bool add(const std::string& name, bool isDirectory) {
    for (std::size_t slash = name.find('/'); slash != name.npos; slash = name.find('/', slash + 1)) {
      if (!addDirectory(name.substr(0, slash))) return false;
    }
    return isDirectory ? addDirectory(name) : files_.insert(name).second && !directories_.contains(name);
  }

 private:
  bool addDirectory(const std::string& name) {
    directories_.insert(name);
    return !files_.contains(name);
  }

  std::set<std::string> files_;
  std::set<std::string> directories_;
};

// Every entry of the archive; none when any of them, or all together, must not be extracted.
std::optional<std::vector<Entry>> checkedEntries(zip_t* archive, const fs::path& path, Error* error) {
  const auto bad = [&](std::string_view key, std::string_view argument = {}) {
    fail(error, key == kTooLarge ? FileManager::kTooLarge : FileManager::kBadArchive, path, key, argument);
    return std::nullopt;
  };
  const zip_int64_t count = zip_get_num_entries(archive, 0);
  if (count > kMaximumEntries) return bad(kTooLarge);
  std::error_code failure;
  const std::uint64_t archiveSize = fs::file_size(path, failure);
  if (failure) {
    failSystem(error, path, failure.value());
    return std::nullopt;
  }
  const std::uint64_t bound = std::min(kMaximumExpandedSize, archiveSize * kMaximumRatio);

  std::vector<Entry> entries;
  entries.reserve(static_cast<std::size_t>(count));
  Names names;
  std::uint64_t expandedSize = 0;
  for (zip_uint64_t index = 0; index < static_cast<zip_uint64_t>(count); ++index) {
    zip_stat_t status;
    constexpr zip_uint64_t kNeeded =
        ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_METHOD | ZIP_STAT_ENCRYPTION_METHOD;
    if (zip_stat_index(archive, index, 0, &status) != 0 || (status.valid & kNeeded) != kNeeded) {
      return bad("Archive.Damaged", zip_strerror(archive));
    }
    std::string name = status.name;
    if (!isAllowedName(name)) return bad("Archive.ForbiddenName", std::to_string(index + 1));
    if (!isFileOrDirectory(archive, index)) return bad("Archive.NoPlainFile", name);
    const bool isDirectory = name.back() == '/';
    if (isDirectory) name.pop_back();
    if (!names.add(name, isDirectory)) return bad("Archive.DuplicateName", name);
    // Not left to the opening of the entry: libzip 1.7 leaks the archive when it cannot decrypt.
    if (zip_compression_method_supported(status.comp_method, 0) == 0 ||
        (status.encryption_method != ZIP_EM_NONE &&
         zip_encryption_method_supported(status.encryption_method, 0) == 0)) {
      return bad("Archive.Unreadable", name);
    }
    if (status.size > bound - expandedSize) return bad(kTooLarge);
    expandedSize += status.size;
    entries.push_back(
        {index, std::move(name), isDirectory, status.encryption_method != ZIP_EM_NONE, status.size});
  }
  return entries;
}

std::unique_ptr<zip_file_t, Discard> openEntry(zip_t* archive, const Entry& entry,
                                               const std::string& password) {
  return std::unique_ptr<zip_file_t, Discard>(
      entry.isEncrypted
          ? zip_fopen_index_encrypted(archive, entry.index, 0, password.empty() ? nullptr : password.c_str())
          : zip_fopen_index(archive, entry.index, 0));
}

bool extractFile(zip_t* archive, const Entry& entry, const std::string& password, const fs::path& target,
                 const fs::path& archivePath, Error* error) {
  auto source = openEntry(archive, entry, password);
  if (!source) return fail(error, archivePath, zip_get_error(archive));
  auto file = FileDescriptor::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0666);
  if (!file) return failSystem(error, archivePath, errno);
  std::vector<char> buffer(std::size_t{1} << 18);
  std::uint64_t written = 0;
  for (;;) {
    const zip_int64_t count = zip_fread(source.get(), buffer.data(), buffer.size());
    if (count < 0) return fail(error, archivePath, zip_file_get_error(source.get()));
    if (count == 0) break;
    written += static_cast<std::uint64_t>(count);
    if (written > entry.size) break;
    if (!file.writeAll(buffer.data(), static_cast<std::size_t>(count)))
      return failSystem(error, archivePath, errno);
  }
  if (written != entry.size)
    return fail(error, FileManager::kBadArchive, archivePath, "Archive.WrongSize", entry.name);
  return file.close() || failSystem(error, archivePath, errno);
}

// Extracts checked entries into a directory that nobody else writes to.
bool extract(zip_t* archive, std::span<const Entry> entries, const std::string& password,
             const fs::path& directory, const fs::path& archivePath, Error* error) {
  std::uint64_t needed = 0;
  for (const Entry& entry : entries) needed += entry.size;
  std::error_code failure;
  const fs::space_info space = fs::space(directory, failure);
  if (!failure && space.available < needed) return failSystem(error, archivePath, ENOSPC);
  for (const Entry& entry : entries) {
    const fs::path target = directory / entry.name;
    fs::create_directories(entry.isDirectory ? target : target.parent_path(), failure);
    if (failure) return failSystem(error, archivePath, failure.value());
    if (!entry.isDirectory && !extractFile(archive, entry, password, target, archivePath, error))
      return false;
  }
  return true;
}

// Directories that are made on the way to `path`, removed again unless kept.
class MadeDirectories {
 public:
  explicit MadeDirectories(const fs::path& path) {
    for (fs::path next = path; !next.empty() && !fs::exists(next, failure_); next = next.parent_path()) {
      made_.push_back(next);
    }
    fs::create_directories(path, failure_);
  }
  ~MadeDirectories() {
    std::error_code ignored;
    for (const fs::path& directory : made_) fs::remove(directory, ignored);
  }
  const std::error_code& failure() const { return failure_; }
  void keep() { made_.clear(); }

 private:
  std::vector<fs::path> made_;
  std::error_code failure_;
};

// Moves what the staging directory holds to its parent, all or nothing.
bool moveOut(const fs::path& staging, const fs::path& directory, const fs::path& archivePath, Error* error) {
  std::vector<fs::path> moved;
  std::error_code failure;
  std::vector<fs::path> items;
  for (fs::directory_iterator next(staging, failure), end; !failure && next != end; next.increment(failure)) {
    items.push_back(next->path());
  }
  for (const fs::path& item : items) {
    if (failure) break;
    fs::path target = directory / item.filename();
    if (::renameat2(AT_FDCWD, item.c_str(), AT_FDCWD, target.c_str(), RENAME_NOREPLACE) == 0) {
      moved.push_back(std::move(target));
    } else {
      failure.assign(errno, std::generic_category());
    }
  }
  if (!failure) return true;
  for (const fs::path& target : moved) FileManager::removeItem(target);
  return failSystem(error, archivePath, failure.value());
}

bool hasExtension(std::string_view name, std::span<const std::string> extensions) {
  const std::size_t point = name.rfind('.');
  if (point == name.npos || point == 0) return false;
  const std::string extension(name.substr(point + 1));
  return std::any_of(extensions.begin(), extensions.end(), [&](const std::string& wanted) {
    return g_ascii_strcasecmp(wanted.c_str(), extension.c_str()) == 0;
  });
}

// The path of the document that the entry is or lies in, or empty. Finder's copies of resource forks bear the
// name of the file they belong to.
std::string_view documentPath(std::string_view name, std::span<const std::string> extensions) {
  if (name.starts_with("__MACOSX/")) return {};
  for (std::size_t start = 0; start <= name.size();) {
    const std::size_t end = std::min(name.find('/', start), name.size());
    const std::string_view component = name.substr(start, end - start);
    if (component.starts_with("._")) return {};
    if (hasExtension(component, extensions)) return name.substr(0, end);
    start = end + 1;
  }
  return {};
}

bool liesIn(std::string_view name, std::string_view document) {
  return name.starts_with(document) && (name.size() == document.size() || name[document.size()] == '/');
}

}  // namespace

bool zipFiles(std::span<const fs::path> paths, const fs::path& toPath, std::string_view password,
              std::string_view comment, Error* error) {
  if (!checkPassword(password, toPath, error)) return false;
  if (paths.empty()) return fail(error, FileManager::kArchiveEmpty, toPath, "Archive.NothingToAdd");
  if (comment.size() > 65'535) return fail(error, FileManager::kTooLarge, toPath, "Archive.CommentTooLong");
  // In the same directory, so that the finished archive only has to be renamed.
  const fs::path unfinished = toPath.parent_path() / fmt::format(".{}", UUID::random().text());
  Archive archive = open(unfinished, ZIP_CREATE | ZIP_EXCL, error);
  if (!archive) return false;
  const std::string secret(password);
  for (const fs::path& path : paths) {
    std::string reason;
    const fs::path item = path.has_filename() ? path : path.parent_path();
    if (!addItem(archive.get(), item, item.filename().string(), secret, reason)) {
      return reason.empty() ? fail(error, toPath, zip_get_error(archive.get()))
                            : failWith(error, FileManager::kSystemError, toPath, reason);
    }
  }
  if (!comment.empty() && zip_set_archive_comment(archive.get(), comment.data(),
                                                  static_cast<zip_uint16_t>(comment.size())) != 0) {
    return fail(error, toPath, zip_get_error(archive.get()));
  }
  if (zip_close(archive.get()) != 0) return fail(error, toPath, zip_get_error(archive.get()));
  (void)archive.release();
  if (FileManager::replaceItem(toPath, unfinished, error)) return true;
  FileManager::removeItem(unfinished);
  return false;
}

std::optional<std::vector<fs::path>> unzipFileAtPath(const fs::path& path, const fs::path& directory,
                                                     std::string_view password, Error* error) {
  if (!checkPassword(password, path, error)) return std::nullopt;
  const Archive archive = open(path, ZIP_RDONLY | ZIP_CHECKCONS, error);
  if (!archive) return std::nullopt;
  const auto entries = checkedEntries(archive.get(), path, error);
  if (!entries) return std::nullopt;
  MadeDirectories made(directory);
  if (made.failure()) {
    failSystem(error, path, made.failure().value());
    return std::nullopt;
  }
  const auto staging = TemporaryDirectory::createIn(directory, ".unzip", error);
  if (!staging || !extract(archive.get(), *entries, std::string(password), staging->path(), path, error) ||
      !moveOut(staging->path(), directory, path, error)) {
    return std::nullopt;
  }
  made.keep();
  std::vector<fs::path> files;
  for (const Entry& entry : *entries) {
    if (!entry.isDirectory) files.push_back(directory / entry.name);
  }
  return files;
}

std::optional<std::string> commentOfZipFileAtPath(const fs::path& path, std::string_view password,
                                                  Error* error) {
  if (!checkPassword(password, path, error)) return std::nullopt;
  const Archive archive = open(path, ZIP_RDONLY | ZIP_CHECKCONS, error);
  if (!archive) return std::nullopt;
  if (!password.empty()) {
    const auto entries = checkedEntries(archive.get(), path, error);
    if (!entries) return std::nullopt;
    const auto encrypted =
        std::find_if(entries->begin(), entries->end(), [](const Entry& e) { return e.isEncrypted; });
    if (encrypted != entries->end() && !openEntry(archive.get(), *encrypted, std::string(password))) {
      fail(error, path, zip_get_error(archive.get()));
      return std::nullopt;
    }
  }
  int length = 0;
  const char* comment = zip_get_archive_comment(archive.get(), &length, 0);
  return comment ? std::string(comment, static_cast<std::size_t>(length)) : std::string();
}

std::optional<Document> unzipDocumentWithExtensions(std::span<const std::string> extensions,
                                                    const fs::path& path, Error* error) {
  const Archive archive = open(path, ZIP_RDONLY | ZIP_CHECKCONS, error);
  if (!archive) return std::nullopt;
  auto entries = checkedEntries(archive.get(), path, error);
  if (!entries) return std::nullopt;
  std::string document;
  for (const Entry& entry : *entries) {
    document = documentPath(entry.name, extensions);
    if (!document.empty()) break;
  }
  if (document.empty()) {
    fail(error, FileManager::kArchiveEmpty, path, "Archive.NoDocument");
    return std::nullopt;
  }
  std::erase_if(*entries, [&](const Entry& entry) { return !liesIn(entry.name, document); });
  auto directory = TemporaryDirectory::create("document", error);
  if (!directory || !extract(archive.get(), *entries, {}, directory->path(), path, error))
    return std::nullopt;
  fs::path extracted = directory->path() / document;
  return Document{std::move(*directory), std::move(extracted)};
}

}  // namespace qw::ZipArchive
