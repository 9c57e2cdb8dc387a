#include "platform/system/FileManager.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <system_error>
#include <vector>

#include "platform/base/UUID.h"
#include "platform/base/internal/FileDescriptor.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Localization.h"

namespace qw::FileManager {
namespace {

namespace fs = std::filesystem;

// Fills the error with the framework's text of a key, about a file and the system's reason.
bool fail(Error* error, std::string_view key, const fs::path& path, int reason) {
  if (!error) return false;
  return Error::set(error, kErrorDomain, kSystemError,
                    Localization::frameworkFormat(
                        key, {path.filename().string(), std::generic_category().message(reason)}));
}

// Removes the file at the end unless it was put in its place.
struct Scratch {
  fs::path path;
  ~Scratch() {
    if (!path.empty()) ::unlink(path.c_str());
  }
};

// Makes a rename in the directory last. File systems that cannot sync a directory say so with EINVAL.
bool syncDirectory(const fs::path& directory) {
  const auto descriptor = FileDescriptor::open(directory.c_str(), O_RDONLY | O_DIRECTORY);
  return descriptor && (::fsync(descriptor.get()) == 0 || errno == EINVAL);
}

fs::path directoryOf(const fs::path& path) {
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

// The file itself when the path is a symbolic link to one.
fs::path behindLink(const fs::path& path) {
  std::error_code failure;
  if (!fs::is_symlink(path, failure)) return path;
  const fs::path target = fs::canonical(path, failure);
  return failure ? path : target;
}

}  // namespace

std::optional<fs::path> supportDirectory(Error* error) {
  const ApplicationContext& context = ApplicationContext::current();
  std::error_code failure;
  fs::create_directories(context.supportDirectory, failure);
  const fs::path path = context.supportDirectory / context.application.identifier;
  if (::mkdir(path.c_str(), 0700) != 0 && !fs::is_directory(path, failure)) {
    fail(error, "Error.Create", path, errno);
    return std::nullopt;
  }
  return path;
}

std::optional<Data> contents(const fs::path& path, std::size_t maximumSize, Error* error) {
  const auto failed = [&](int reason) {
    fail(error, "Error.Read", path, reason);
    return std::nullopt;
  };
  // Not blocking, because opening a pipe would wait for a writer.
  const auto file = FileDescriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK);
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) return failed(errno);
  if (!S_ISREG(status.st_mode)) return failed(S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  const auto tooLarge = [&] {
    Error::set(error, kErrorDomain, kTooLarge,
               Localization::frameworkFormat("Error.TooLarge",
                                             {path.filename().string(), std::to_string(maximumSize)}));
    return std::nullopt;
  };
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > maximumSize) return tooLarge();
  // One byte more than is expected shows the end; a file that grows meanwhile is read on, within the bound.
  std::vector<std::uint8_t> bytes(size + 1);
  std::size_t length = 0;
  for (;;) {
    if (length == bytes.size()) {
      if (length > maximumSize) return tooLarge();
      bytes.resize(std::min(length * 2, maximumSize + 1));
    }
    const ssize_t count = ::read(file.get(), bytes.data() + length, bytes.size() - length);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return failed(errno);
    if (count == 0) break;
    length += static_cast<std::size_t>(count);
  }
  if (length > maximumSize) return tooLarge();
  bytes.resize(length);
  return Data(std::move(bytes));
}

bool writeAtomically(std::string_view bytes, const fs::path& path, Error* error) {
  const fs::path target = behindLink(path);
  Scratch scratch{directoryOf(target) / fmt::format(".{}", UUID::random().text())};
  auto file = FileDescriptor::open(scratch.path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
  if (!file) {
    const int reason = errno;
    scratch.path.clear();
    return fail(error, "Error.Write", path, reason);
  }
  if (!file.writeAll(bytes.data(), bytes.size()) || !file.close())
    return fail(error, "Error.Write", path, errno);
  if (!replaceItem(target, scratch.path, error)) return false;
  scratch.path.clear();
  return true;
}

bool copyItem(const fs::path& from, const fs::path& path, Error* error) {
  const fs::path target = behindLink(path);
  Scratch scratch{directoryOf(target) / fmt::format(".{}", UUID::random().text())};
  std::error_code failure;
  if (!fs::copy_file(from, scratch.path, failure)) return fail(error, "Error.Write", path, failure.value());
  if (!replaceItem(target, scratch.path, error)) return false;
  scratch.path.clear();
  return true;
}

bool replaceItem(const fs::path& path, const fs::path& replacement, Error* error) {
  const auto failed = [&] { return fail(error, "Error.Write", path, errno); };
  {
    const auto file = FileDescriptor::open(replacement.c_str(), O_RDONLY);
    struct stat status;
    if (!file) return failed();
    if (::stat(path.c_str(), &status) == 0 && ::fchmod(file.get(), status.st_mode & 07777) != 0)
      return failed();
    if (::fsync(file.get()) != 0) return failed();
  }
  if (::rename(replacement.c_str(), path.c_str()) != 0) return failed();
  // What is in its place now stays there: without this last step it is only not yet certain to outlive a
  // power cut.
  return syncDirectory(directoryOf(path)) || failed();
}

bool removeItem(const fs::path& path, Error* error) {
  std::error_code failure;
  fs::remove_all(path, failure);
  return !failure || fail(error, "Error.Remove", path, failure.value());
}

}  // namespace qw::FileManager
