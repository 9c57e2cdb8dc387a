#include "import/internal/CSVText.h"

#include <algorithm>
#include <cstring>
#include <map>

#include "import/QWCSVRows.h"

namespace qw {
namespace {

struct LineEnd {
  std::size_t place;
  /// In bytes; 0 where the text ends without one.
  std::size_t size;
};

/// The first at or behind `at`.
LineEnd nextLineEnd(std::string_view text, std::size_t at) {
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c >= '\n' && c <= '\r') return {at, 1};
    if (c == '\xC2' && text.substr(at, 2) == "\u0085") return {at, 2};
    if (c == '\xE2' && (text.substr(at, 3) == "\u2028" || text.substr(at, 3) == "\u2029")) return {at, 3};
  }
  return {text.size(), 0};
}

/// How evenly a text is split: the records of the most frequent width above one, and that width.
struct Evenness {
  std::size_t records = 0;
  std::size_t width = 1;
  friend auto operator<=>(const Evenness&, const Evenness&) = default;
};

Evenness evenness(std::string_view sample, const std::string& separator) {
  std::map<std::size_t, std::size_t> widths;
  const QWCSVRows rows = QWStringAdditions::CSVRowsWithSeparator(std::string(sample), separator);
  for (const auto& row : rows) ++widths[row.size()];
  Evenness best;
  for (const auto& [width, records] : widths)
    if (width > 1) best = std::max(best, Evenness{records, width});
  return best;
}

}  // namespace

void CSVText::normalizeLineEnds(std::string& text) {
  std::size_t read = text.find("\r\n");
  if (read == text.npos) return;
  std::size_t written = read;
  while (read < text.size()) {
    ++read;  // over the CR
    const std::size_t next = std::min(text.find("\r\n", read), text.size());
    std::memmove(text.data() + written, text.data() + read, next - read);
    written += next - read;
    read = next;
  }
  text.resize(written);
}

std::size_t CSVText::startOfLine(std::string_view text, std::size_t number) {
  std::size_t at = 0;
  for (; number > 1 && at < text.size(); --number) {
    const LineEnd end = nextLineEnd(text, at);
    at = end.place + end.size;
  }
  return at;
}

std::size_t CSVText::countLineEnds(std::string_view text) {
  std::size_t count = 0;
  for (LineEnd end = nextLineEnd(text, 0); end.size > 0; end = nextLineEnd(text, end.place + end.size))
    ++count;
  return count;
}

std::string CSVText::guessSeparator(std::string_view text, std::span<const std::string> candidates) {
  constexpr std::size_t kSample = 256 * 1024;
  if (text.size() > kSample) {
    const std::size_t end = text.rfind('\n', kSample);
    text = text.substr(0, end == text.npos ? kSample : end);
  }
  std::string best;
  Evenness most;
  for (const std::string& candidate : candidates) {
    const Evenness found = evenness(text, candidate);
    if (found > most) {
      most = found;
      best = candidate;
    }
  }
  return best;
}

}  // namespace qw
