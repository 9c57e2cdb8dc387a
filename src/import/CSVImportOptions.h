#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/object/Value.h"
#include "platform/ui/Form.h"
#include "values/collections/QWCharacterSeparator.h"
#include "values/collections/QWStringEncoding.h"
#include "values/dates/QWDateFormatter.h"
#include "values/numbers/QWNumberFormatter.h"

namespace qw {

/// The options of a CSV import as controls in a form, and what follows from them. Owned by the import's
/// controller; main thread.
class QW_EXPORT CSVImportOptions {
 public:
  /// The usual values: UTF-8, semicolons, from line 1 without a header, dates as the locale writes them with
  /// four digits of the year, numbers by guessing.
  CSVImportOptions();
  ~CSVImportOptions();
  CSVImportOptions(const CSVImportOptions&) = delete;
  CSVImportOptions& operator=(const CSVImportOptions&) = delete;

  const std::shared_ptr<Form>& form() const { return form_; }
  void hideDates(bool hidden);
  void hideNumbers(bool hidden);
  /// Called when the user has changed how the file's text is read.
  void setReadingBlock(std::function<void()> block) { readingBlock_ = std::move(block); }

  /// The options as settings keep them, by name and number. What cannot be understood is passed over.
  Dictionary settings() const;
  void setSettings(const Dictionary& settings);

  /// Choose what the bytes, or the text, of a file speak for, unless the user or settings have chosen.
  void proposeEncoding(std::string_view bytes);
  void proposeSeparator(std::string_view text);

  TextEncoding encoding() const;
  /// One character.
  std::string separator() const;
  std::size_t firstLine() const;
  bool hasHeader() const { return hasHeaderButton->objectValue().boolValue(); }
  /// The parsers that dates and numbers of the file are read with.
  void configure(QWDateFormatter& formatter) const;
  void configure(QWNumberFormatter& formatter) const;

  const std::shared_ptr<Control> encodingButton;
  const std::shared_ptr<Control> separatorButton;
  const std::shared_ptr<Control> firstLineField;
  const std::shared_ptr<Control> hasHeaderButton;
  const std::shared_ptr<Control> dateFormatField;
  const std::shared_ptr<Control> decimalSeparatorButton;
  const std::shared_ptr<Control> groupingSeparatorButton;

 private:
  std::shared_ptr<Form> form_;
  std::function<void()> readingBlock_;
  bool isEncodingChosen_ = false;
  bool isSeparatorChosen_ = false;
};

}  // namespace qw
