#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

namespace qw {

/// Owns an open file descriptor and closes it at the end. Invalid (-1) when opening failed, with the reason
/// in `errno`.
class FileDescriptor {
 public:
  /// Owns an open descriptor from now on, or none for a negative number.
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  /// open(2) with O_CLOEXEC added to the flags.
  static FileDescriptor open(const char* path, int flags, mode_t mode = 0) {
    return FileDescriptor(::open(path, flags | O_CLOEXEC, mode));
  }
  /// Takes the descriptor over and leaves the other invalid.
  FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor() { close(); }

  /// Whether a descriptor is open.
  explicit operator bool() const { return descriptor_ >= 0; }
  /// The descriptor, still owned; -1 for none.
  int get() const { return descriptor_; }

  /// Closes at once, so that a late write error is met. False with the reason in `errno`.
  bool close() {
    const int descriptor = std::exchange(descriptor_, -1);
    return descriptor < 0 || ::close(descriptor) == 0;
  }

  /// Writes every byte. False with the reason in `errno`.
  bool writeAll(const char* bytes, std::size_t size) const {
    while (size > 0) {
      const ssize_t written = ::write(descriptor_, bytes, size);
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) return false;
      bytes += written;
      size -= static_cast<std::size_t>(written);
    }
    return true;
  }

 private:
  int descriptor_;
};

}  // namespace qw
