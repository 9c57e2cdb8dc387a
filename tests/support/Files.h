#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

/// Files that tests make and look at.
namespace Files {

using Path = std::filesystem::path;

inline Path write(const Path& path, std::string_view bytes) {
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}
inline std::string read(const Path& path) {
  std::ifstream file(path, std::ios::binary);
  return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(unreadable)";
}
inline void copy(const Path& from, const Path& to) {
  std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
}
/// Every path below the directory, relative to it.
inline std::vector<std::string> tree(const Path& directory) {
  std::vector<std::string> paths;
  for (const auto& item : std::filesystem::recursive_directory_iterator(directory))
    paths.push_back(item.path().lexically_relative(directory).string());
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace Files
