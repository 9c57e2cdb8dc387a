#include "program/Terminal.h"

#include <fmt/format.h>
#include <glib.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace Terminal {

namespace {

constexpr std::size_t kWidestCell = 40;
constexpr std::size_t kLongestBar = 40;

Colors colors = Colors::kAutomatic;

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

std::string styled(std::string_view text, std::string_view code) {
  return hasColors() ? fmt::format("\033[{}m{}\033[0m", code, text) : std::string(text);
}

/// A run of blocks whose last one may be some eighths wide.
std::string bar(double length) {
  static constexpr const char* kParts[] = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
  const auto eighths = static_cast<std::size_t>(std::lround(length * 8));
  std::string text;
  for (std::size_t i = 0; i < eighths / 8; ++i) text += "█";
  return text + kParts[eighths % 8];
}

}  // namespace

void setColors(Colors choice) { colors = choice; }

bool hasColors() {
  if (colors != Colors::kAutomatic) return colors == Colors::kAlways;
  const char* terminal = std::getenv("TERM");
  return !isSet("NO_COLOR") && isatty(STDOUT_FILENO) && terminal && std::string_view(terminal) != "dumb";
}

std::string colored(std::string_view text, const qw::Color& color) {
  // The 6 × 6 × 6 cube of the 256 colours that nearly every terminal has.
  const auto level = [](double part) { return std::lround(std::clamp(part, 0.0, 1.0) * 5); };
  return styled(
      text, fmt::format("38;5;{}", 16 + 36 * level(color.red) + 6 * level(color.green) + level(color.blue)));
}
std::string bold(std::string_view text) { return styled(text, "1"); }
std::string faint(std::string_view text) { return styled(text, "2"); }

std::size_t width(std::string_view text) {
  std::size_t columns = 0;
  const char* end = text.data() + text.size();
  for (const char* at = text.data(); at < end; at = g_utf8_next_char(at)) {
    const gunichar character = g_utf8_get_char(at);
    columns += g_unichar_iszerowidth(character) ? 0 : g_unichar_iswide(character) ? 2 : 1;
  }
  return columns;
}

std::string fitted(std::string_view text, std::size_t maximumWidth) {
  gchar* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string result;
  std::size_t columns = 0;
  std::size_t roomForDots = 0;  // bytes that leave a column for "…"
  for (const char* at = valid; *at; at = g_utf8_next_char(at)) {
    const gunichar character = g_utf8_get_char(at);
    const bool isControl = g_unichar_iscntrl(character) || g_unichar_type(character) == G_UNICODE_FORMAT;
    const std::string_view written =
        isControl ? std::string_view(" ")
                  : std::string_view(at, static_cast<std::size_t>(g_utf8_next_char(at) - at));
    columns += width(written);
    if (columns > maximumWidth) {
      result.resize(roomForDots);
      result += "…";
      break;
    }
    result += written;
    if (columns < maximumWidth) roomForDots = result.size();
  }
  g_free(valid);
  return result;
}

ProgressBar::ProgressBar(std::string title)
    : title_(std::move(title)), isShown_(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
  if (isShown_) fmt::print(stderr, "\r\033[K");
}

void ProgressBar::show(std::size_t done, std::size_t total) {
  if (!isShown_ || total == 0) return;
  const double part = static_cast<double>(done) / static_cast<double>(total);
  fmt::print(stderr, "\r{} {:<40}\033[K {:3.0f} %", title_, "", part * 100);
  fmt::print(stderr, "\r{} {}", title_, bar(part * 40));
}

std::optional<std::string> askSecretly(std::string_view question) {
  std::FILE* terminal = std::fopen("/dev/tty", "r+");
  if (!terminal) return std::nullopt;
  std::optional<std::string> answer;
  termios before{};
  if (tcgetattr(fileno(terminal), &before) == 0) {
    termios silent = before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(fileno(terminal), TCSAFLUSH, &silent);
    fmt::print(terminal, "{}", question);
    std::fflush(terminal);
    std::string line;
    int c = 0;
    while ((c = std::fgetc(terminal)) != EOF && c != '\n') line += static_cast<char>(c);
    tcsetattr(fileno(terminal), TCSAFLUSH, &before);
    fmt::print(terminal, "\n");
    if (c == '\n') answer = std::move(line);
  }
  std::fclose(terminal);
  return answer;
}

std::string Table::text() const {
  if (rows_.empty()) return {};
  std::vector<std::size_t> widths(columns_.size());
  std::vector<std::vector<std::string>> cells;
  double longest = 0;
  for (const Row& row : rows_) {
    longest = std::max(longest, row.value);
    auto& fittedCells = cells.emplace_back();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      fittedCells.push_back(fitted(row.cells[i], kWidestCell));
      widths[i] = std::max(widths[i], width(fittedCells.back()));
    }
  }
  std::size_t whole = 0;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (widths[i] == 0) continue;
    widths[i] = std::max(widths[i], width(columns_[i].title));
    whole += widths[i] + 2;
  }
  const auto line = [&](const std::vector<std::string>& texts) {
    std::string result;
    std::string gap;  // what would be blanks at the end of a line is not written
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (widths[i] == 0) continue;
      const std::string blanks(widths[i] - width(texts[i]), ' ');
      const bool isRight = columns_[i].align == Align::kRight;
      if (isRight) gap += blanks;
      if (!texts[i].empty()) {
        result += gap + texts[i];
        gap.clear();
      }
      gap += isRight ? "  " : blanks + "  ";
    }
    return std::pair(result, gap);
  };

  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  std::string result = bold(line(titles).first) + "\n";
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const Row& row = rows_[i];
    if (row.isTotal) {
      std::string rule;
      for (std::size_t column = 0; column + 2 < whole; ++column) rule += "─";
      result += faint(rule) + "\n";
    }
    const auto [texts, gap] = line(cells[i]);
    result += row.isTotal ? bold(texts) : texts;
    if (row.color && row.value > 0)
      result += gap + colored(bar(row.value / longest * static_cast<double>(kLongestBar)), *row.color);
    result += "\n";
  }
  return result;
}

}  // namespace Terminal
