#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <unordered_set>

#include "../tests/import/CSVReference.h"
#include "import/QWCSVRows.h"

// Whatever text is read: the records are those of a plain reader, whether fields are read in turn or by
// index, and with a header each row answers by the name of each of its columns. The first byte chooses the
// separator.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const char separator = ",;\t |"[data[0] % 5];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);

  const auto expected = CSVReference().read(text, separator);
  const QWCSVRows rows = QWStringAdditions::CSVRowsWithSeparator(text, std::string(1, separator));
  if (rows.size() != expected.size()) std::abort();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (CSVReference::Record(rows[i].begin(), rows[i].end()) != expected[i]) std::abort();
    for (std::size_t column = 0; column < expected[i].size(); ++column) {
      if (rows[i][column] != expected[i][column]) std::abort();
    }
  }

  const QWCSVRows named = QWStringAdditions::CSVRowsWithSeparator(text, std::string(1, separator), true);
  if (named.size() + 1 != expected.size() && !expected.empty()) std::abort();
  const std::unordered_set<std::string> names(named.header().begin(), named.header().end());
  for (const auto row : named) {
    if (row.size() > named.header().size()) std::abort();
    for (std::size_t column = 0; column < row.size() && names.size() == named.header().size(); ++column) {
      if (row.value(named.header()[column]) != row[column]) std::abort();
    }
  }
  return 0;
}
