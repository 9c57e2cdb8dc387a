#include "import/QWCSVRows.h"

#include <array>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "values/text/internal/UniqueNames.h"
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

constexpr std::size_t kBlock = 64;

/// Walks the positions of four characters in a text, 64 bytes at a time.
class StopFinder {
 public:
  StopFinder(std::string_view text, char separator) : text_(text), characters_{separator, '"', '\n', '\r'} {
    load();
  }

  /// The next position, or the text's size once there is none.
  std::size_t next() {
    while (mask_ == 0) {
      if (text_.size() - block_ <= kBlock) return text_.size();
      block_ += kBlock;
      load();
    }
    const std::size_t position = block_ + static_cast<std::size_t>(std::countr_zero(mask_));
    mask_ &= mask_ - 1;
    return position;
  }

 private:
  void load() {
    const std::size_t left = text_.size() - block_;
    if (left >= kBlock) {
      mask_ = stops(text_.data() + block_);
      return;
    }
    std::array<char, kBlock> tail{};
    std::memcpy(tail.data(), text_.data() + block_, left);
    mask_ = stops(tail.data()) & ((std::uint64_t{1} << left) - 1);
  }

  /// A bit for each of 64 bytes that is one of the characters.
  std::uint64_t stops(const char* bytes) const {
    std::uint64_t mask = 0;
#ifdef __SSE2__
    for (std::size_t i = 0; i < kBlock; i += 16) {
      const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
      __m128i found = _mm_cmpeq_epi8(chunk, _mm_set1_epi8(characters_[0]));
      for (std::size_t k = 1; k < characters_.size(); ++k) {
        found = _mm_or_si128(found, _mm_cmpeq_epi8(chunk, _mm_set1_epi8(characters_[k])));
      }
      mask |= static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(found))) << i;
    }
#else
    for (std::size_t i = 0; i < kBlock; ++i) {
      bool found = false;
      for (const char c : characters_) found |= bytes[i] == c;
      mask |= std::uint64_t{found} << i;
    }
#endif
    return mask;
  }

  std::string_view text_;
  std::array<char, 4> characters_;
  std::size_t block_ = 0;
  std::uint64_t mask_ = 0;
};

}  // namespace

/// Fills a QWCSVRows from its text, in one pass.
class QWCSVRows::Reader {
 public:
  Reader(QWCSVRows& rows, std::string_view separator)
      : rows_(rows),
        text_(rows.text_),
        separator_(separator),
        finder_(text_, separator.empty() ? '"' : separator.front()) {
    rows_.separatorLength_ = separator.size();
    if (separator == " " || separator == "\t") rows_.keptBlank_ = separator.front();
  }

  void readRecords() {
    while (true) {
      std::size_t stop = nextStop();
      const bool quoted = stop < text_.size() && text_[stop] == '"';
      if (quoted) stop = readQuotedField(stop);
      if (stop < text_.size() && isSeparator(stop)) {
        addField(stop, quoted);
        fieldStart_ = stop + separator_.size();
        continue;
      }
      endRecord(stop, quoted);
      if (stop == text_.size()) break;
      recordStart_ = fieldStart_ = stop + 1;
    }
    if (!rows_.records_.empty()) rows_.records_.push_back({text_.size(), rows_.stops_.size()});
  }

  void takeHeader(bool fromFirstRecord, std::vector<std::string> header) {
    rows_.hasHeader_ = true;
    rows_.header_ = std::move(header);
    if (fromFirstRecord) readHeader();
    // The closing record has no fields, so each one is followed by another.
    for (std::size_t i = rows_.firstRow_; i + 1 < rows_.records_.size(); ++i) {
      const Record& record = rows_.records_[i];
      const std::size_t count = rows_.records_[i + 1].firstField - record.firstField;
      for (std::size_t column = rows_.header_.size(); column < count; ++column) {
        const std::string_view text = rows_.field(record, column);
        std::string name = std::to_string(column);
        if (!text.empty()) name.append(" (").append(text).append(")");
        rows_.header_.push_back(std::move(name));
      }
    }
    rows_.indexHeader();
  }

 private:
  bool isSeparator(std::size_t position) const {
    return text_.compare(position, separator_.size(), separator_) == 0 && !separator_.empty();
  }

  /// The next separator, quote or line end, or the end of the text.
  std::size_t nextStop() {
    std::size_t stop = finder_.next();
    if (separator_.size() > 1) {
      // Found by its first byte alone: look at the rest, and not into a separator that was passed.
      while (stop < text_.size() &&
             (stop < fieldStart_ || (text_[stop] == separator_.front() && !isSeparator(stop)))) {
        stop = finder_.next();
      }
    }
    return stop;
  }

  /// Reads on from the first quote of a field to the stop that ends it and keeps what the field holds: a
  /// piece of the text, or a copy once a second piece comes.
  std::size_t readQuotedField(std::size_t quote) {
    const std::size_t start =
        rows_.stops_.size() == recordFirstField_ ? fieldStart_ : rows_.skipBlanks(fieldStart_, quote);
    Rewritten field{start + 1, 0, 0};
    std::size_t pieceStart = start;
    const auto addPiece = [&](std::size_t end) {
      if (end == pieceStart) return;
      if (field.length == 0) {
        field.start = pieceStart;
      } else {
        if (!(field.start & kCopied)) {
          const std::size_t copy = rows_.copies_.size();
          rows_.copies_ += text_.substr(field.start, field.length);
          field.start = copy | kCopied;
        }
        rows_.copies_ += text_.substr(pieceStart, end - pieceStart);
      }
      field.length += end - pieceStart;
    };
    bool inside = false;
    std::size_t stop = quote;
    while (stop < text_.size() && (inside || text_[stop] == '"')) {
      if (text_[stop] == '"') {
        if (inside && text_.substr(stop + 1).starts_with('"')) {
          ++stop;  // two quotes: the first one is text
          finder_.next();
          addPiece(stop);
        } else {
          addPiece(stop);
          inside = !inside;
        }
        pieceStart = stop + 1;
      }
      stop = nextStop();
    }
    addPiece(stop);
    field.stop = stop;
    field_ = field;
    // The usual form, "text", needs no record of its own.
    simplyQuoted_ = field.start == start + 1 && field.length + 2 == stop - start;
    return stop;
  }

  void addField(std::size_t stop, bool quoted) {
    const std::size_t offset = stop - recordStart_;
    if (offset <= kMaximumOffset && (!quoted || simplyQuoted_)) {
      rows_.stops_.push_back(static_cast<std::uint32_t>(offset) | (quoted ? kQuoted : 0));
      return;
    }
    if (!quoted) {
      const std::size_t start =
          rows_.stops_.size() == recordFirstField_ ? fieldStart_ : rows_.skipBlanks(fieldStart_, stop);
      field_ = {start, stop - start, stop};
    }
    if (rows_.rewritten_.size() == kRewritten) throw std::length_error("too many rewritten CSV fields");
    rows_.stops_.push_back(static_cast<std::uint32_t>(rows_.rewritten_.size()) | kRewritten);
    rows_.rewritten_.push_back(field_);
  }

  void endRecord(std::size_t stop, bool quoted) {
    const bool hasText = quoted ? field_.length > 0 : stop > fieldStart_;
    if (!hasText && rows_.stops_.size() == recordFirstField_) return;
    addField(stop, quoted);
    rows_.records_.push_back({recordStart_, recordFirstField_});
    recordFirstField_ = rows_.stops_.size();
    if (!reserved_ && stop > kSample) reserve(stop);
  }

  /// Makes room for what the text will hold if it goes on as it began.
  void reserve(std::size_t read) {
    reserved_ = true;
    const double factor = 1.1 * static_cast<double>(text_.size()) / static_cast<double>(read);
    const auto scaled = [&](std::size_t count) {
      return static_cast<std::size_t>(factor * static_cast<double>(count));
    };
    rows_.stops_.reserve(scaled(rows_.stops_.size()));
    rows_.records_.reserve(scaled(rows_.records_.size()));
    rows_.rewritten_.reserve(scaled(rows_.rewritten_.size()));
    rows_.copies_.reserve(scaled(rows_.copies_.size()));
  }

  void readHeader() {
    rows_.header_.clear();
    if (rows_.records_.empty()) return;
    qw::UniqueNames names("%@ (%ld)", "");
    for (const std::string_view field : rows_[0]) {
      std::string name =
          names.unique(field.empty() ? std::to_string(rows_.header_.size()) : std::string(field));
      names.insert(name);
      rows_.header_.push_back(std::move(name));
    }
    rows_.firstRow_ = 1;
  }

  static constexpr std::size_t kSample = 256 * 1024;

  QWCSVRows& rows_;
  const std::string_view text_;
  const std::string_view separator_;
  StopFinder finder_;
  std::size_t recordStart_ = 0;
  std::size_t recordFirstField_ = 0;
  std::size_t fieldStart_ = 0;
  Rewritten field_{};  // the last quoted field
  bool simplyQuoted_ = false;
  bool reserved_ = false;
};

std::string_view QWCSVRows::field(const Record& record, std::size_t start, std::uint32_t stop) const {
  if (stop & kRewritten) {
    const Rewritten& field = rewritten_[stop & ~kRewritten];
    const std::string& source = field.start & kCopied ? copies_ : text_;
    return std::string_view(source).substr(field.start & ~kCopied, field.length);
  }
  std::size_t end = record.start + (stop & kMaximumOffset);
  if (start != record.start) start = skipBlanks(start, end);
  if (stop & kQuoted) {
    ++start;
    --end;
  }
  return std::string_view(text_).substr(start, end - start);
}

std::string_view QWCSVRows::field(const Record& record, std::size_t index) const {
  const std::uint32_t* stop = stops_.data() + record.firstField + index;
  const std::size_t start = index == 0 ? record.start : stopPosition(record, stop[-1]) + separatorLength_;
  return field(record, start, *stop);
}

void QWCSVRows::indexHeader() {
  constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  for (std::size_t column = 0; column < header_.size(); ++column) {
    const auto [found, added] = columns_.try_emplace(header_[column], column);
    previousColumns_.push_back(added ? kNone : std::exchange(found->second, column));
  }
}

std::optional<std::string_view> QWCSVRows::Row::value(std::string_view column) const {
  const auto found = rows_.columns_.find(column);
  if (found == rows_.columns_.end()) return std::nullopt;
  // Of several columns with one name the last that the record reaches counts.
  std::size_t index = found->second;
  while (index >= size()) {
    if (index >= rows_.previousColumns_.size()) return std::nullopt;
    index = rows_.previousColumns_[index];
  }
  return (*this)[index];
}

qw::Value QWCSVRows::Row::toValue() const {
  if (!rows_.hasHeader_) return qw::Array(begin(), end());
  qw::Dictionary dictionary;
  auto name = rows_.header_.begin();
  for (const std::string_view field : *this) dictionary.insert_or_assign(*name++, field);
  return dictionary;
}

QWCSVRows::QWCSVRows(std::string text, std::string_view separator, bool hasHeader, bool createHeader,
                     std::vector<std::string> header)
    : text_(std::move(text)) {
  Reader reader(*this, separator);
  reader.readRecords();
  if (hasHeader || createHeader) reader.takeHeader(hasHeader, std::move(header));
}

QWCSVRows QWStringAdditions::CSVRowsWithSeparator(std::string text, std::string_view separator,
                                                  bool hasHeader, bool createHeader,
                                                  std::vector<std::string>* header) {
  QWCSVRows rows(std::move(text), separator, hasHeader, createHeader,
                 header ? *header : std::vector<std::string>());
  if (header && rows.hasHeader()) *header = rows.header();
  return rows;
}
