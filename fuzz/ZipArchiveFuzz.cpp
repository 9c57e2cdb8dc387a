#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "platform/files/ZipArchive.h"

// Whatever the archive says, files appear below its directory only, exactly those that are answered, and none
// at all after a failure.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  namespace fs = std::filesystem;
  static const auto directory = qw::TemporaryDirectory::create("fuzz");
  if (!directory) std::abort();
  const fs::path inner = directory->path() / "a" / "b";
  const fs::path archive = inner / "archive";
  const fs::path out = inner / "out";
  fs::create_directories(inner);
  std::ofstream(archive, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));

  const auto extracted = qw::ZipArchive::unzipFileAtPath(archive, out, "password");
  if (fs::exists(out) != extracted.has_value()) std::abort();
  std::size_t files = 0;
  for (const auto& item : fs::recursive_directory_iterator(directory->path())) {
    if (item.is_symlink()) std::abort();
    files += item.is_regular_file() ? 1 : 0;
  }
  if (files != 1 + (extracted ? extracted->size() : 0)) std::abort();
  for (const fs::path& path : extracted.value_or(std::vector<fs::path>())) {
    if (!fs::is_regular_file(path)) std::abort();
  }
  if (extracted && !qw::ZipArchive::commentOfZipFileAtPath(archive)) std::abort();
  fs::remove_all(inner);
  return 0;
}
