#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "import/CSVRecordReader.h"
#include "import/QWCSVImportController.h"
#include "import/internal/CSVText.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/TemporaryDirectory.h"

namespace {

template <class T>
T pick(const std::vector<T>& choices, std::uint8_t byte) {
  return choices[byte % choices.size()];
}

void require(bool holds, int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "line %d: the property does not hold\n", line);
  std::abort();
}

/// Enters what the first three bytes say; what they leave is guessed.
void enterOptions(qw::CSVImportOptions& options, const std::uint8_t* bytes) {
  using Separator = QWCharacterSeparator;
  if (bytes[0] & 0x80) options.encodingButton->enter(pick(QWStringEncoding::constants(), bytes[0]));
  if (bytes[1] & 0x80)
    options.separatorButton->enter(pick<Separator::Pointer>(
        {Separator::commaSeparator(), Separator::semicolonSeparator(), Separator::tabSeparator(),
         Separator::constantWithCharacter("|"), Separator::constantWithCharacter("\u2028")},
        bytes[1]));
  if (bytes[1] & 0x40)
    options.decimalSeparatorButton->enter(pick<Separator::Pointer>(
        {Separator::dotSeparator(), Separator::commaSeparator()}, bytes[1] >> 3 & 1));
  options.hasHeaderButton->enter((bytes[2] & 0x80) != 0);
  options.firstLineField->enter(bytes[2] >> 4 & 7);
  const char* const format = pick<const char*>(
      {"yyyy-MM-dd", "dd.MM.yyyy", "M/d/yy", "yyyyMMdd HH:mm", "", "d 'of' MMMM y"}, bytes[2] & 15);
  options.dateFormatField->enter(format);
}

}  // namespace

// Whatever file is imported with whatever options: it is read or refused with a reason; the preview begins
// with the header; every row gives values or is rejected, and the rows begin in lines of the file that do not
// go back. The first three bytes choose the options, the rest is the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const qw::ApplicationContext::Override context;
  if (size < 3) return 0;
  const std::filesystem::path path = context.directory() / "file.csv";
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(data) + 3, static_cast<std::streamsize>(size - 3));

  auto importer = qw::make<QWCSVImportController>();
  importer->setKeyPaths({"date", "amount", "payee"});
  enterOptions(importer->options(), data);
  qw::Error error;
  if (!importer->openFile(path, &error)) {
    require(!error.localizedDescription.empty() && importer->rows().empty());
    return 0;
  }
  const auto preview = importer->preview();
  require(!preview.empty() && preview[0] == importer->header());
  require(preview.size() - 1 == std::min(importer->rows().size(), QWCSVImportController::kPreviewRows));
  for (const auto& row : preview) require(row.size() <= importer->header().size());

  // Columns that do not bear the names of properties are mapped as a user might.
  importer->proposeMapping();
  const auto view = importer->mappingView();
  for (std::size_t i = 0; i < importer->keyPaths().size(); ++i) {
    qw::Control& choice = *view->controls()[i];
    if (!choice.selectedIndex() || *choice.selectedIndex() == 0)
      choice.selectIndex(std::min(i + 1, choice.items().size() - 1));
  }

  std::size_t lines = 1;
  for (std::size_t i = 3; i < size; ++i) lines += data[i] >= '\n' && data[i] <= '\r';
  QWDateFormatter dates;
  QWNumberFormatter numbers;
  importer->options().configure(dates);
  importer->options().configure(numbers);
  const std::size_t firstLine = importer->options().firstLine();
  qw::CSVRecordReader reader(importer->rows(), importer->mapping(), dates, numbers, firstLine);
  const auto date = reader.column("date"), amount = reader.column("amount"), payee = reader.column("payee");
  std::size_t read = 0, line = firstLine;
  const bool isASCII = std::all_of(data + 3, data + size, [](std::uint8_t byte) { return byte < 0x80; });
  while (reader.next()) {
    require(reader.line() >= line);
    line = reader.line();
    if (isASCII) require(line <= lines);
    const auto day = reader.date(date);
    const auto sum = reader.number(amount);
    const auto isPrinted = [](char c) { return c > ' ' && c < 0x7F; };
    const std::string_view text = reader.text(date);
    require(day || reader.isRejected() || std::none_of(text.begin(), text.end(), isPrinted));
    require(!sum || !sum->isNaN());
    require(reader.text(payee).size() <= size * 4);
    if (!reader.isRejected()) ++read;
  }
  require(reader.position() == importer->rows().size());
  require(read + reader.rejectedRows() == importer->rows().size());
  require(reader.rejections().size() <= qw::CSVRecordReader::kMaximumRejections);
  for (const auto& rejection : reader.rejections()) require(!rejection.reason.empty());
  return 0;
}
