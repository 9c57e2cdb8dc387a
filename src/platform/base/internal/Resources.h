#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace qw {

/// A file of the framework's own (SQL, string tables) that was compiled into it, so that nothing has to be
/// found when a program runs. Lives as long as the program; any thread.
struct Resource {
  std::string_view path;  ///< below the project's resources folder, for instance "en.lproj/Localizable.json"
  std::string_view contents;
};

/// Every resource, in ascending order of the bytes of its path.
std::span<const Resource> resources();

/// The contents of the resource at exactly this path, or no value.
std::optional<std::string_view> resource(std::string_view path);

}  // namespace qw
