#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>
#include <vector>

/// A connection of a test's own to a file, past the store.
class SQLite {
 public:
  explicit SQLite(const std::filesystem::path& path, int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) {
    EXPECT_EQ(sqlite3_open_v2(path.c_str(), &database_, flags, nullptr), SQLITE_OK) << path;
  }
  ~SQLite() { sqlite3_close(database_); }
  SQLite(const SQLite&) = delete;
  SQLite& operator=(const SQLite&) = delete;

  void execute(const std::string& sql) {
    EXPECT_EQ(sqlite3_exec(database_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(database_);
  }
  /// The rows, their columns joined by "|"; the last one is the message where reading ended with an error.
  std::vector<std::string> rows(const std::string& sql) {
    std::vector<std::string> rows;
    sqlite3_stmt* statement = nullptr;
    int result = sqlite3_prepare_v2(database_, sql.c_str(), -1, &statement, nullptr);
    while (result == SQLITE_OK && (result = sqlite3_step(statement)) == SQLITE_ROW) {
      rows.emplace_back();
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        rows.back() += (i ? "|" : "") + std::string(value ? value : "NULL");
      }
      result = SQLITE_OK;
    }
    if (result != SQLITE_DONE) rows.push_back(sqlite3_errmsg(database_));
    sqlite3_finalize(statement);
    return rows;
  }

 private:
  sqlite3* database_ = nullptr;
};
