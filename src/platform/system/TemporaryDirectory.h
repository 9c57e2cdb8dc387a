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
  /// A directory named after `name` and made unique, in the temporary directory of the application context or
  /// in another existing one. Fails in the domain of `FileManager`.
  static std::optional<TemporaryDirectory> create(std::string_view name, Error* error = nullptr);
  static std::optional<TemporaryDirectory> createIn(const std::filesystem::path& parent,
                                                    std::string_view name, Error* error = nullptr);

  TemporaryDirectory(TemporaryDirectory&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  TemporaryDirectory& operator=(TemporaryDirectory&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
  }
  ~TemporaryDirectory();

  const std::filesystem::path& path() const { return path_; }
  /// Gives the directory up: it stays.
  std::filesystem::path release() { return std::exchange(path_, {}); }

 private:
  explicit TemporaryDirectory(std::filesystem::path path) : path_(std::move(path)) {}

  std::filesystem::path path_;
};

}  // namespace qw
