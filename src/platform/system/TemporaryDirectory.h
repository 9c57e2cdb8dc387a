#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

#include "platform/base/Error.h"
#include "platform/base/Export.h"

namespace qw {

/// A fresh directory that only the user can enter, removed with all it holds when its owner goes. Any thread.
class QW_EXPORT TemporaryDirectory {
 public:
  /// A directory named after `name` and made unique, in the temporary directory of the application
  /// context. Fails in the domain of `FileManager`.
  static std::optional<TemporaryDirectory> create(std::string_view name, Error* error = nullptr);
  /// The same inside an existing directory.
  static std::optional<TemporaryDirectory> createIn(const std::filesystem::path& parent,
                                                    std::string_view name, Error* error = nullptr);

  /// Takes the directory over.
  TemporaryDirectory(TemporaryDirectory&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  TemporaryDirectory& operator=(TemporaryDirectory&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
  }
  ~TemporaryDirectory();

  /// Absolute; empty after `release`.
  const std::filesystem::path& path() const { return path_; }
  /// Releases the directory: it is not removed.
  std::filesystem::path release() { return std::exchange(path_, {}); }

 private:
  explicit TemporaryDirectory(std::filesystem::path path) : path_(std::move(path)) {}

  std::filesystem::path path_;
};

}  // namespace qw
