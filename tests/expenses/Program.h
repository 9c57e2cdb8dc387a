#pragma once

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "platform/system/TemporaryDirectory.h"

/// Runs the real program, with a directory of its own for each test.
class ProgramTest : public testing::Test {
 protected:
  struct Output {
    int status;
    std::string out;
    std::string error;
  };

  static std::string contents(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
  }
  static void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static std::string quoted(const std::string& word) {
    gchar* text = g_shell_quote(word.c_str());
    std::string result = text;
    g_free(text);
    return result;
  }

  /// Runs a shell command in the directory.
  Output shell(const std::string& command, const std::string& input = "") const {
    write(path("in"), input);
    const std::string line =
        "cd " + quoted(directory_.path().string()) + " && (" + command + ") <in >out 2>error";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(path("out")), contents(path("error"))};
  }
  Output run(const std::vector<std::string>& words, const std::string& input = "") const {
    // Settings of its own, and a locale that writes neither dates nor numbers as the files here do.
    std::string command = "env -u NO_COLOR LC_ALL=C XDG_CONFIG_HOME=" + quoted(path("config").string()) +
                          " " + quoted(std::getenv("EXPENSES_PROGRAM"));
    for (const std::string& word : words) command += " " + quoted(word);
    return shell(command, input);
  }
  /// The same for what has to work.
  std::string succeed(const std::vector<std::string>& words, const std::string& input = "") const {
    const Output output = run(words, input);
    EXPECT_EQ(output.status, 0) << testing::PrintToString(words) << "\n" << output.error;
    EXPECT_EQ(output.error, "");
    return output.out;
  }
  nlohmann::json list(const std::vector<std::string>& options = {}) const {
    std::vector<std::string> words{"list", "b", "--format", "json"};
    words.insert(words.end(), options.begin(), options.end());
    return nlohmann::json::parse(succeed(words));
  }
  /// One field of every listed record.
  std::vector<std::string> listed(const std::string& field,
                                  const std::vector<std::string>& options = {}) const {
    std::vector<std::string> texts;
    for (const auto& record : list(options)) texts.push_back(record[field].is_null() ? "" : record[field]);
    return texts;
  }

  std::filesystem::path path(const std::string& name) const { return directory_.path() / name; }

 private:
  qw::TemporaryDirectory directory_ = *qw::TemporaryDirectory::create("expenses-test");
};
