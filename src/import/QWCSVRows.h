#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/base/Export.h"
#include "platform/object/Value.h"

/// The records of a CSV text (see `QWStringAdditions::CSVRowsWithSeparator`). The whole text is kept once,
/// with four bytes a field and sixteen a record beside it; fields are views into it, and only a field whose
/// quotes had to be taken out of its middle is a copy. All rows share one header. A value type without locks:
/// read it from any thread, change it from none. Views and rows are valid while the object lives and is not
/// moved or assigned to.
class QW_EXPORT QWCSVRows {
 public:
  class Row;
  class FieldIterator;
  class Iterator;

  QWCSVRows() = default;
  /// Reads a text; see `QWStringAdditions::CSVRowsWithSeparator`.
  QWCSVRows(std::string text, std::string_view separator, bool hasHeader, bool createHeader,
            std::vector<std::string> header);
  QWCSVRows(QWCSVRows&&) = default;
  QWCSVRows& operator=(QWCSVRows&&) = default;

  /// The number of rows, without the one that became the header.
  std::size_t size() const { return records_.size() - firstRow_ - (records_.empty() ? 0 : 1); }
  /// Whether there are no rows.
  bool empty() const { return size() == 0; }
  /// Requires: index < size().
  Row operator[](std::size_t index) const;
  /// At the first row.
  Iterator begin() const;
  /// Behind the last row.
  Iterator end() const;

  /// The text that was read.
  std::string_view text() const { return text_; }
  /// Whether rows answer by column name.
  bool hasHeader() const { return hasHeader_; }
  /// The column names, empty without a header.
  const std::vector<std::string>& header() const { return header_; }

 private:
  class Reader;

  /// Where a record begins, in the text and among the stops. One more at the end closes the last record.
  struct Record {
    std::uint64_t start;
    std::uint64_t firstField;
  };
  /// A field that is not what lies between the stops before and after it.
  struct Rewritten {
    std::uint64_t start;  // in the text or, with the bit below, among the copies
    std::uint64_t length;
    std::uint64_t stop;
  };
  static constexpr std::uint64_t kCopied = std::uint64_t{1} << 63;

  // A stop is where a field ends, counted from the start of its record; one of the two top bits says how to
  // read it.
  static constexpr std::uint32_t kRewritten = std::uint32_t{1} << 31;  // the rest is an index of rewritten_
  static constexpr std::uint32_t kQuoted = std::uint32_t{1} << 30;  // leave out the first and last character
  static constexpr std::uint32_t kMaximumOffset = kQuoted - 1;

  std::size_t stopPosition(const Record& record, std::uint32_t stop) const {
    return stop & kRewritten ? rewritten_[stop & ~kRewritten].stop : record.start + (stop & kMaximumOffset);
  }
  /// Reads the field that ends at `stop`; `start` is where the record starts or the separator before it ends.
  std::string_view field(const Record& record, std::size_t start, std::uint32_t stop) const;
  std::string_view field(const Record& record, std::size_t index) const;
  std::size_t skipBlanks(std::size_t start, std::size_t end) const {
    while (start < end && (text_[start] == ' ' || text_[start] == '\t') && text_[start] != keptBlank_)
      ++start;
    return start;
  }
  void indexHeader();

  std::string text_;
  std::string copies_;
  std::vector<Record> records_;
  std::vector<std::uint32_t> stops_;
  std::vector<Rewritten> rewritten_;
  std::size_t firstRow_ = 0;
  std::size_t separatorLength_ = 1;
  char keptBlank_ = '\0';  // a separator that is a blank is not skipped as one
  bool hasHeader_ = false;
  std::vector<std::string> header_;
  /// The last column of each name, and for each column the one before it with the same name.
  std::unordered_map<std::string_view, std::size_t> columns_;
  std::vector<std::size_t> previousColumns_;
};

/// One record: an array of fields by index, and a dictionary by column name if the rows have a header.
class QWCSVRows::Row {
 public:
  /// The number of fields; rows may differ.
  std::size_t size() const { return static_cast<std::size_t>((&record_)[1].firstField - record_.firstField); }
  /// The text of a field without its quotes. Requires: index < size().
  std::string_view operator[](std::size_t index) const { return rows_.field(record_, index); }
  /// Where the record begins in the text that was read.
  std::size_t offset() const { return record_.start; }
  /// The field of a column, none if the header has no such name or the record ends before it.
  std::optional<std::string_view> value(std::string_view column) const;
  /// The fields as values that outlive the rows: an array, or with a header a dictionary.
  qw::Value toValue() const;
  /// At the first field.
  FieldIterator begin() const;
  /// Behind the last field.
  FieldIterator end() const;

 private:
  friend class QWCSVRows;
  Row(const QWCSVRows& rows, const Record& record) : rows_(rows), record_(record) {}
  const QWCSVRows& rows_;
  const Record& record_;
};

/// Walks the fields of a row, a little faster than by index.
class QWCSVRows::FieldIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = std::string_view;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using reference = std::string_view;

  std::string_view operator*() const { return rows_->field(*record_, start_, *stop_); }
  FieldIterator& operator++() {
    start_ = rows_->stopPosition(*record_, *stop_) + rows_->separatorLength_;
    ++stop_;
    return *this;
  }
  FieldIterator operator++(int) {
    const FieldIterator before = *this;
    ++*this;
    return before;
  }
  bool operator==(const FieldIterator& other) const { return stop_ == other.stop_; }

 private:
  friend class Row;
  FieldIterator(const QWCSVRows& rows, const Record& record, std::uint64_t field)
      : rows_(&rows), record_(&record), stop_(rows.stops_.data() + field), start_(record.start) {}
  const QWCSVRows* rows_;
  const Record* record_;
  const std::uint32_t* stop_;
  std::size_t start_;
};

/// Visits the rows in order.
class QWCSVRows::Iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Row;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using reference = Row;

  Row operator*() const { return (*rows_)[index_]; }
  Iterator& operator++() {
    ++index_;
    return *this;
  }
  Iterator operator++(int) { return {*rows_, index_++}; }
  bool operator==(const Iterator& other) const { return index_ == other.index_; }

 private:
  friend class QWCSVRows;
  Iterator(const QWCSVRows& rows, std::size_t index) : rows_(&rows), index_(index) {}
  const QWCSVRows* rows_;
  std::size_t index_;
};

inline QWCSVRows::Row QWCSVRows::operator[](std::size_t index) const {
  return {*this, records_[firstRow_ + index]};
}
inline QWCSVRows::Iterator QWCSVRows::begin() const { return {*this, 0}; }
inline QWCSVRows::Iterator QWCSVRows::end() const { return {*this, size()}; }
inline QWCSVRows::FieldIterator QWCSVRows::Row::begin() const { return {rows_, record_, record_.firstField}; }
inline QWCSVRows::FieldIterator QWCSVRows::Row::end() const {
  return {rows_, record_, (&record_)[1].firstField};
}

namespace QW_EXPORT QWStringAdditions {

/// Reads a CSV text. Follows RFC 4180 with these rules for what it leaves open:
/// - `separator` is one character (also beyond ASCII). Blanks and tabs after a separator are dropped, all
///   others kept.
/// - Any run of CR and LF outside quotes ends a record; empty lines, and lines that hold only "", give no
///   record.
/// - Inside quotes two quotes stand for one; a quote anywhere else opens or closes, so `ab"c,d"e` is the field
///   `abc,de`; an unclosed quote ends with the text.
///
/// With `hasHeader` the first record names the columns: an empty name is replaced by its zero-based index, a
/// repeated one becomes "Name (2)". With `createHeader` alone the header starts as `*header`, or empty. In
/// both cases the first record that reaches beyond the header names the new column by its index and the
/// field's text: "0 (Smith)", or "0" if the field is empty. The header is handed back in `*header`; without
/// either flag rows have no names.
///
/// Takes time linear in the text, any size of text, and no failure but the lack of memory.
QWCSVRows CSVRowsWithSeparator(std::string text, std::string_view separator, bool hasHeader = false,
                               bool createHeader = false, std::vector<std::string>* header = nullptr);

}  // namespace QWStringAdditions
