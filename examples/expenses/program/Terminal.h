#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Color.h"

/// What the program knows of the terminal it writes to.
namespace Terminal {

enum class Colors : std::uint8_t { kAutomatic, kAlways, kNever };
/// Colours are used on a terminal, unless the environment variable NO_COLOR says no, or as told.
void setColors(Colors colors);
bool hasColors();

/// The text between the codes of a style, as it is without colours.
std::string colored(std::string_view text, const qw::Color& color);
std::string bold(std::string_view text);
std::string faint(std::string_view text);

/// How many columns a text takes.
std::size_t width(std::string_view text);
/// Without control characters, which a terminal would obey, and cut to a width with "…".
std::string fitted(std::string_view text, std::size_t maximumWidth);

/// Draws itself on the standard error when that is a terminal; gone when it is destroyed.
class ProgressBar {
 public:
  explicit ProgressBar(std::string title);
  ~ProgressBar();
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  void show(std::size_t done, std::size_t total);

 private:
  std::string title_;
  bool isShown_ = false;
};

/// Asks for a text that is not shown while it is typed. None without a terminal, or when the user gives up.
std::optional<std::string> askSecretly(std::string_view question);

/// Rows of texts in aligned columns.
class Table {
 public:
  enum class Align : std::uint8_t { kLeft, kRight };
  struct Column {
    std::string title;
    Align align = Align::kLeft;
  };

  explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

  void addRow(std::vector<std::string> cells) { rows_.push_back({std::move(cells), std::nullopt, 0, false}); }
  /// With a bar behind it, as long as `value` is to the largest one.
  void addRow(std::vector<std::string> cells, double value, const qw::Color& color) {
    rows_.push_back({std::move(cells), color, value, false});
  }
  /// Set off by a line.
  void addTotal(std::vector<std::string> cells) {
    rows_.push_back({std::move(cells), std::nullopt, 0, true});
  }

  /// Columns without any text are left out.
  std::string text() const;

 private:
  struct Row {
    std::vector<std::string> cells;
    std::optional<qw::Color> color;
    double value;
    bool isTotal;
  };

  std::vector<Column> columns_;
  std::vector<Row> rows_;
};

}  // namespace Terminal
