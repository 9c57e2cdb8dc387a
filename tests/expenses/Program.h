#pragma once

#include <glib.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/system/TemporaryDirectory.h"
#include "support/Files.h"
#include "support/SQLite.h"

/// Runs the real program, with a directory of its own for each test.
class ProgramTest : public testing::Test {
 protected:
  struct Output {
    int status;
    std::string out;
    std::string error;
  };

  using Words = std::vector<std::string>;
  /// As a shell reads them.
  static Words words(const char* line) {
    if (!*line) return {};
    gchar** parsed = nullptr;
    EXPECT_TRUE(g_shell_parse_argv(line, nullptr, &parsed, nullptr)) << line;
    Words words;
    for (gchar** word = parsed; word && *word; ++word) words.emplace_back(*word);
    g_strfreev(parsed);
    return words;
  }
  static std::string quoted(const std::string& word) {
    gchar* text = g_shell_quote(word.c_str());
    std::string result = text;
    g_free(text);
    return result;
  }

  /// Runs a shell command in the directory.
  Output shell(const std::string& command, const std::string& input = "") const {
    Files::write(path("in"), input);
    const std::string line =
        "cd " + quoted(directory_.path().string()) + " && (" + command + ") <in >out 2>error";
    const int status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, Files::read(path("out")),
            Files::read(path("error"))};
  }
  Output run(const Words& words, const std::string& input = "") const {
    // Settings of its own, and a locale that writes neither dates nor numbers as the files here do.
    std::string command = "env -u NO_COLOR LC_ALL=C XDG_CONFIG_HOME=" + quoted(path("config").string()) +
                          " " + quoted(std::getenv("EXPENSES_PROGRAM"));
    for (const std::string& word : words) command += " " + quoted(word);
    return shell(command, input);
  }
  /// The same for what has to work.
  std::string succeed(const Words& words, const std::string& input = "") const {
    const Output output = run(words, input);
    EXPECT_EQ(output.status, 0) << testing::PrintToString(words) << "\n" << output.error;
    EXPECT_EQ(output.error, "");
    return output.out;
  }
  Output run(const char* line, const std::string& input = "") const { return run(words(line), input); }
  std::string succeed(const char* line, const std::string& input = "") const {
    return succeed(words(line), input);
  }
  /// One field of every listed record.
  Words listed(const std::string& field, const std::string& options = "") const {
    Words texts;
    for (const auto& record : nlohmann::json::parse(succeed(("list b --format json " + options).c_str())))
      texts.push_back(record[field].is_null() ? "" : record[field]);
    return texts;
  }

  std::filesystem::path path(const std::string& name) const { return directory_.path() / name; }

 private:
  qw::TemporaryDirectory directory_ = *qw::TemporaryDirectory::create("expenses-test");
};
