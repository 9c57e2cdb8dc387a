#pragma once

#include <cstdlib>
#include <span>
#include <string>

#include "platform/system/TemporaryDirectory.h"
#include "support/Files.h"

/// Runs programs of Python 3, an independent reader and writer of common formats, on files of a directory of
/// its own.
class Python {
 public:
  static bool isAvailable() {
    static const bool available =
        std::system("python3 -c 'import plistlib; plistlib.UID' >/dev/null 2>&1") == 0;
    return available;
  }

  void write(const std::string& name, std::span<const std::uint8_t> bytes) const {
    Files::write(path(name), {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }
  std::string read(const std::string& name) const { return Files::read(path(name)); }
  /// Runs the program in the directory; what it printed, or its errors.
  std::string run(const std::string& program) const {
    Files::write(path("program.py"), program);
    const std::string command = "cd '" + directory_.path().string() + "' && python3 program.py >output 2>&1";
    const int status = std::system(command.c_str());
    return (status == 0 ? "" : "failed: ") + read("output");
  }

 private:
  Files::Path path(const std::string& name) const { return directory_.path() / name; }
  qw::TemporaryDirectory directory_ = *qw::TemporaryDirectory::create("python");
};
