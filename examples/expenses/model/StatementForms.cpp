#include "model/StatementForms.h"

#include <fmt/format.h>

#include <algorithm>

#include "import/CSVRecordReader.h"
#include "model/Records.h"

namespace {

constexpr std::string_view kDates[] = {"yyyy-MM-dd", "dd.MM.yyyy", "dd/MM/yyyy", "MM/dd/yyyy"};
/// How many rows are looked at.
constexpr std::size_t kRows = 10'000;

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 8, std::move(message));
}

/// The texts of a property's column in the first rows, without blank ones.
std::vector<std::string_view> texts(const QWCSVImportController& importer, std::string_view keyPath) {
  std::vector<std::string_view> found;
  const auto mapped = importer.mapping().find(keyPath);
  if (mapped == importer.mapping().end()) return found;
  const auto& header = importer.header();
  const auto column =
      static_cast<std::size_t>(std::find(header.begin(), header.end(), mapped->second) - header.begin());
  for (std::size_t i = 0; i < std::min(importer.rows().size(), kRows); ++i) {
    const auto row = importer.rows()[i];
    const std::string_view text = column < row.size() ? Texts::trimmed(row[column]) : std::string_view();
    if (!text.empty()) found.push_back(text);
  }
  return found;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// What one text tells of the sign before its fraction: '.' or ',', '?' when it can be either, 0 for nothing.
char decimalSign(std::string_view text) {
  const std::size_t last = text.find_last_of(".,");
  if (last == text.npos) return 0;
  const char sign = text[last];
  const char other = sign == '.' ? ',' : '.';
  if (text.substr(0, last).find(other) != text.npos) return sign;
  if (text.substr(0, last).find(sign) != text.npos) return other;
  const std::string_view rest = text.substr(last + 1);
  const auto digits = std::find_if_not(rest.begin(), rest.end(), isDigit) - rest.begin();
  const bool isWhole = last == 0 || !isDigit(text[last - 1]) || (last == 1 && text[0] == '0');
  return digits == 3 && !isWhole ? '?' : sign;
}

void enterSeparators(qw::CSVImportOptions& options, std::string_view decimal, std::string_view grouping) {
  options.decimalSeparatorButton->enter(QWCharacterSeparator::constantWithCharacter(decimal));
  options.groupingSeparatorButton->enter(grouping.empty()
                                             ? QWCharacterSeparator::noSeparator()
                                             : QWCharacterSeparator::constantWithCharacter(grouping));
}

bool proposeDates(QWCSVImportController& importer, qw::Error* error) {
  const auto dates = texts(importer, "date");
  QWDateFormatter formatter;
  std::size_t most = 0;
  std::vector<std::string_view> best;
  for (const std::string_view form : kDates) {
    formatter.setDateFormat(form);
    const auto isRead = [&](std::string_view text) {
      std::optional<qw::Date> date;
      return formatter.getObjectValue(date, text) && date;
    };
    const auto count = static_cast<std::size_t>(std::count_if(dates.begin(), dates.end(), isRead));
    if (count > most) best.clear();
    most = std::max(most, count);
    if (most > 0 && count == most) best.push_back(form);
  }
  if (best.size() > 1)
    return fail(error, fmt::format("dates like \"{}\" can be {}: say which with --date-format", dates[0],
                                   fmt::join(best, " or ")));
  if (!best.empty()) importer.dateFormatField().enter(best[0]);
  return true;
}

bool proposeNumbers(QWCSVImportController& importer, qw::Error* error) {
  const auto amounts = texts(importer, "amount");
  std::string_view point, comma, doubtful;
  for (const std::string_view text : amounts) {
    const char sign = decimalSign(text);
    if (sign == '.') point = text;
    if (sign == ',') comma = text;
    if (sign == '?') doubtful = text;
  }
  if (!point.empty() && !comma.empty()) return true;  // each field is read by itself
  if (point.empty() && comma.empty()) {
    if (doubtful.empty()) return true;
    return fail(
        error,
        fmt::format("amounts like \"{}\" can be read in two ways: say which with --number-format", doubtful));
  }
  const std::string_view decimal = comma.empty() ? "." : ",";
  const auto holds = [&](std::string_view sign) {
    return std::any_of(amounts.begin(), amounts.end(), [&](std::string_view text) {
      const std::size_t at = text.find(sign);
      return at != text.npos && at > 0 && isDigit(text[at - 1]) && at + 1 < text.size() &&
             isDigit(text[at + 1]);
    });
  };
  std::string_view grouping = comma.empty() ? "," : ".";
  for (const std::string_view sign : {" ", "'"})
    if (holds(sign)) grouping = sign;
  enterSeparators(importer.options(), decimal, grouping);
  return true;
}

}  // namespace

void StatementForms::enterNumbers(qw::CSVImportOptions& options, std::string_view form) {
  enterSeparators(options, form.substr(form.size() - 3, 1), form.size() > 7 ? form.substr(1, 1) : "");
}

bool StatementForms::propose(QWCSVImportController& importer, qw::Error* error) {
  const std::string* format = importer.dateFormatField().objectValue().text();
  if ((!format || format->empty()) && !proposeDates(importer, error)) return false;
  return importer.decimalSeparatorButton().objectValue().isNull() ? proposeNumbers(importer, error) : true;
}
