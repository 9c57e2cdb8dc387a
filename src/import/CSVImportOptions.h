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

  /// The controls below, in the order in which they are shown.
  const std::shared_ptr<Form>& form() const { return form_; }
  /// Hides or shows the control for how dates are written.
  void hideDates(bool hidden);
  /// Hides or shows the controls for how numbers are written.
  void hideNumbers(bool hidden);
  /// Called when the user has changed how the file's text is read.
  void setReadingBlock(std::function<void()> block) { readingBlock_ = std::move(block); }

  /// The options as settings keep them, by name and number. Unknown values are ignored.
  Dictionary settings() const;
  /// Takes over what `settings` gave; what it names counts as chosen.
  void setSettings(const Dictionary& settings);

  /// Chooses the encoding that the bytes of a file suggest, unless the user or settings have chosen.
  void proposeEncoding(std::string_view bytes);
  /// Chooses the separator that the text of a file suggests, unless the user or settings have chosen.
  void proposeSeparator(std::string_view text);

  /// How bytes become text.
  TextEncoding encoding() const;
  /// One character.
  std::string separator() const;
  /// The line that the rows begin with, counted from 1.
  std::size_t firstLine() const;
  /// Whether the first row names the columns.
  bool hasHeader() const { return hasHeaderButton->objectValue().boolValue(); }
  /// Sets the date format of the file.
  void configure(QWDateFormatter& formatter) const;
  /// Sets the separators of the file's numbers, or has them guessed.
  void configure(QWNumberFormatter& formatter) const;

  /// A choice of `QWStringEncoding`.
  const std::shared_ptr<Control> encodingButton;
  /// A choice of `QWCharacterSeparator`.
  const std::shared_ptr<Control> separatorButton;
  /// A number from 1 on.
  const std::shared_ptr<Control> firstLineField;
  /// A switch.
  const std::shared_ptr<Control> hasHeaderButton;
  /// A text: a pattern of Unicode TR 35.
  const std::shared_ptr<Control> dateFormatField;
  /// A choice of `QWCharacterSeparator`; none for guessing.
  const std::shared_ptr<Control> decimalSeparatorButton;
  /// A choice of `QWCharacterSeparator`; none for guessing.
  const std::shared_ptr<Control> groupingSeparatorButton;

 private:
  std::shared_ptr<Form> form_;
  std::function<void()> readingBlock_;
  bool isEncodingChosen_ = false;
  bool isSeparatorChosen_ = false;
};

}  // namespace qw
