#include "import/CSVRecordReader.h"

#include <algorithm>

#include "import/internal/CSVText.h"
#include "platform/system/Localization.h"

namespace qw {

CSVRecordReader::CSVRecordReader(const QWCSVRows& rows, Mapping mapping, QWDateFormatter& dateFormatter,
                                 QWNumberFormatter& numberFormatter, std::size_t firstLine)
    : rows_(rows),
      mapping_(std::move(mapping)),
      dateFormatter_(dateFormatter),
      numberFormatter_(numberFormatter),
      line_(firstLine) {}

CSVRecordReader::Column CSVRecordReader::column(std::string_view keyPath) const {
  Column column;
  const auto mapped = mapping_.find(keyPath);
  if (mapped == mapping_.end()) return column;
  column.name_ = mapped->second;
  const auto& header = rows_.header();
  const auto found = std::find(header.begin(), header.end(), mapped->second);
  if (found != header.end()) column.index_ = static_cast<std::size_t>(found - header.begin());
  return column;
}

bool CSVRecordReader::next() {
  if (position_ == rows_.size()) return false;
  ++position_;
  isRejected_ = false;
  return true;
}

std::size_t CSVRecordReader::line() {
  const std::size_t start = rows_[position_ - 1].offset();
  line_ += CSVText::countLineEnds(rows_.text().substr(countedTo_, start - countedTo_));
  countedTo_ = start;
  return line_;
}

std::string_view CSVRecordReader::text(const Column& column) const {
  const QWCSVRows::Row row = rows_[position_ - 1];
  return column.index_ && *column.index_ < row.size() ? row[*column.index_] : std::string_view();
}

template <class T, class Formatter>
std::optional<T> CSVRecordReader::parsed(const Column& column, Formatter& formatter,
                                         std::string_view reason) {
  const std::string_view field = text(column);
  std::optional<T> value;
  if (field.find_first_not_of(" \t") != field.npos && !formatter.getObjectValue(value, field))
    reject(column, Localization::frameworkFormat(reason, {field}));
  return value;
}

std::optional<Date> CSVRecordReader::date(const Column& column) {
  return parsed<Date>(column, dateFormatter_, "CSVImport.NoDate");
}

std::optional<Decimal> CSVRecordReader::number(const Column& column) {
  return parsed<Decimal>(column, numberFormatter_, "CSVImport.NoNumber");
}

void CSVRecordReader::reject(const Column& column, std::string reason) {
  if (!isRejected_) ++rejectedRows_;
  isRejected_ = true;
  if (rejections_.size() < kMaximumRejections)
    rejections_.push_back({line(), column.name_, std::string(text(column)), std::move(reason)});
}

}  // namespace qw
