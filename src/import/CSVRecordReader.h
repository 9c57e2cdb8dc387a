#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "import/QWCSVRows.h"
#include "platform/base/Date.h"
#include "platform/base/Decimal.h"
#include "platform/base/Export.h"
#include "values/dates/QWDateFormatter.h"
#include "values/numbers/QWNumberFormatter.h"

namespace qw {

/// Reads the rows of an import one after the other, field by field through the mapping and the parsers, and
/// keeps an account of what was refused. Uses the rows and the formatters that it is given, which have to
/// outlive it; one thread.
///
///     qw::CSVRecordReader reader(*rows, *mapping, *dates, *numbers, importer.options().firstLine());
///     const auto date = reader.column("date"), payee = reader.column("payee"), amount = reader.column("amount");
///     while (reader.next()) {
///       const auto day = reader.date(date);
///       const auto sum = reader.number(amount);
///       if (!day) reader.reject(date, "a date is needed");
///       if (reader.isRejected()) continue;
///     …
///     }
///     report(reader.rejections());  // line, column, text and reason of each field that was refused
class QW_EXPORT CSVRecordReader {
 public:
  /// Column names by key path.
  using Mapping = std::map<std::string, std::string, std::less<>>;
  /// Why a field was refused.
  struct Rejection {
    /// The line of the file that the row begins in, counted from 1.
    std::size_t line = 0;
    /// The column's name, empty when it is not mapped.
    std::string column;
    /// The field as it is in the file.
    std::string text;
    /// A sentence for the user.
    std::string reason;
  };
  /// How many rejections are kept; `rejectedRows` counts on.
  static constexpr std::size_t kMaximumRejections = 1000;

  /// A mapped column, or one that the file does not have.
  class Column {
   public:
    /// Whether the file has the column.
    bool isMapped() const { return index_.has_value(); }

   private:
    friend CSVRecordReader;
    std::optional<std::size_t> index_;
    std::string name_;
  };

  /// `firstLine` is the number of the file's line that the rows begin with.
  CSVRecordReader(const QWCSVRows& rows, Mapping mapping, QWDateFormatter& dateFormatter,
                  QWNumberFormatter& numberFormatter, std::size_t firstLine = 1);
  CSVRecordReader(QWCSVRows&& rows, Mapping mapping, QWDateFormatter& dateFormatter,
                  QWNumberFormatter& numberFormatter, std::size_t firstLine = 1) = delete;

  /// The column that the mapping gives for a key path; to be looked up once, before the rows.
  Column column(std::string_view keyPath) const;

  /// Goes to the first or the next row; false behind the last one.
  bool next();
  /// The number of rows read so far, this one included.
  std::size_t position() const { return position_; }
  /// The line of the file that this row begins in, counted from 1.
  std::size_t line();

  /// The field as it stands, empty when the row has none. Valid as long as the rows are.
  std::string_view text(const Column& column) const;
  ///@{
  /// None for a blank field, and for one that is refused, which rejects the row.
  std::optional<Date> date(const Column& column);
  std::optional<Decimal> number(const Column& column);
  ///@}

  /// Rejects this row for a reason of the caller's.
  void reject(const Column& column, std::string reason);
  /// Whether something in this row was refused.
  bool isRejected() const { return isRejected_; }
  /// How many rows were rejected.
  std::size_t rejectedRows() const { return rejectedRows_; }
  /// Why the first rows were rejected, in their order; at most `kMaximumRejections`.
  const std::vector<Rejection>& rejections() const { return rejections_; }

 private:
  template <class T, class Formatter>
  std::optional<T> parsed(const Column& column, Formatter& formatter, std::string_view reason);

  const QWCSVRows& rows_;
  Mapping mapping_;
  QWDateFormatter& dateFormatter_;
  QWNumberFormatter& numberFormatter_;
  std::size_t position_ = 0;
  std::size_t countedTo_ = 0;  // in the rows' text, up to which line_ has counted
  std::size_t line_;
  bool isRejected_ = false;
  std::size_t rejectedRows_ = 0;
  std::vector<Rejection> rejections_;
};

}  // namespace qw
