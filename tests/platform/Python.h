#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

/// Runs programs of Python 3, an independent reader and writer of common formats, on files of a directory of
/// its own.
class Python {
 public:
  Python() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qw-python-XXXXXX").string();
    if (mkdtemp(pattern.data())) directory_ = pattern;
  }
  ~Python() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  Python(const Python&) = delete;
  Python& operator=(const Python&) = delete;

  static bool isAvailable() {
    static const bool available =
        std::system("python3 -c 'import plistlib; plistlib.UID' >/dev/null 2>&1") == 0;
    return available;
  }

  void write(const std::string& name, std::span<const std::uint8_t> bytes) const {
    std::ofstream(directory_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  std::string read(const std::string& name) const {
    std::ifstream file(directory_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  /// Runs the program in the directory; what it printed, or its errors.
  std::string run(const std::string& program) const {
    std::ofstream(directory_ / "program.py") << program;
    const std::string command = "cd '" + directory_.string() + "' && python3 program.py >output 2>&1";
    const int status = std::system(command.c_str());
    return (status == 0 ? "" : "failed: ") + read("output");
  }

 private:
  std::filesystem::path directory_;
};
