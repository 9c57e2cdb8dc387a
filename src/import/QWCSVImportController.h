#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "import/CSVImportOptions.h"
#include "import/QWCSVRows.h"
#include "platform/base/Data.h"
#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/base/Registration.h"
#include "platform/ui/Form.h"
#include "platform/ui/Presenter.h"

/// Asks for a delimited text file, for how it is read and for which column holds which property, and hands
/// the rows with two parsers to a block, which makes the objects (`qw::CSVRecordReader` helps). Controls and
/// forms are state that a presenter shows; nothing here draws. Owned by whoever makes it, and by an import
/// until its block has returned; main thread.
///
///     auto importer = qw::make<QWCSVImportController>();
///     importer->initWithBlock([&](QWCSVImportController& importer, const QWCSVRows* rows,
///                                 const QWCSVImportController::Mapping* mapping, QWDateFormatter* dates,
///                                 QWNumberFormatter* numbers) {
///       if (!rows) return;  // cancelled, or the file could not be read
///     …
///     });
///     importer->setKeyPaths({"date", "payee", "amount"});
///     importer->setHasDates(true);
///     importer->setHasNumbers(true);
///     importer->setAutosaveName("Bank statements");
///     …
///     importer->showOpenPanelInWindow(presenter);
class QW_EXPORT QWCSVImportController : public qw::Object {
 public:
  /// Names of columns by the key path of the property that they hold.
  using Mapping = std::map<std::string, std::string, std::less<>>;
  /// Gets the controller and, unless the user cancelled or the file could not be read, four things that live
  /// until it returns.
  using Block = std::function<void(QWCSVImportController&, const QWCSVRows* rows, const Mapping* mapping,
                                   QWDateFormatter* dateFormatter, QWNumberFormatter* numberFormatter)>;

  static const qw::Class kClass;
  /// How many rows the preview shows.
  static constexpr std::size_t kPreviewRows = 10;

  ~QWCSVImportController() override;
  /// The block is called once for each time that a file is asked for.
  void initWithBlock(Block block) { block_ = std::move(block); }

  /// The properties that can be imported, in the order they are shown.
  const std::vector<std::string>& keyPaths() const { return keyPaths_; }
  /// The form of the mapping is made anew then.
  void setKeyPaths(std::vector<std::string> keyPaths);
  /// Whether the controls for how dates are written are shown; false at first.
  bool hasDates() const { return hasDates_; }
  /// Shows or hides them.
  void setHasDates(bool hasDates);
  /// Whether the controls for how numbers are written are shown; false at first.
  bool hasNumbers() const { return hasNumbers_; }
  /// Shows or hides them.
  void setHasNumbers(bool hasNumbers);
  /// Under which name the user's settings keep options and mapping; empty keeps nothing.
  const std::string& autosaveName() const { return autosaveName_; }
  /// Before the options are first used.
  void setAutosaveName(std::string name);

  /// The options and their form, made at first use with the usual values and those that were saved.
  qw::CSVImportOptions& options();
  ///@{
  /// The control of that name in `options`.
  qw::Control& encodingButton() { return *options().encodingButton; }
  qw::Control& separatorButton() { return *options().separatorButton; }
  qw::Control& firstLineField() { return *options().firstLineField; }
  qw::Control& hasHeaderButton() { return *options().hasHeaderButton; }
  qw::Control& dateFormatField() { return *options().dateFormatField; }
  qw::Control& decimalSeparatorButton() { return *options().decimalSeparatorButton; }
  qw::Control& groupingSeparatorButton() { return *options().groupingSeparatorButton; }
  ///@}
  /// Takes over options and mapping from the user's settings, where they are.
  void loadSettings();
  /// Puts options and mapping into the user's settings; nothing happens without a name.
  void saveSettings();

  /// Lets the user choose a file, look at what was read of it, and map its columns. Then calls the block,
  /// exactly once and after this has returned. The window's presenter has to live until then.
  void showOpenPanelInWindow(qw::Presenter& window);
  /// Reads a file under the options; those of encoding and separator that nobody has chosen are guessed
  /// before. False, with no rows, when the file cannot be read or is no text of the encoding. From then on
  /// options that the user changes are applied to the bytes that were read.
  bool openFile(const std::filesystem::path& URL, qw::Error* error = nullptr);
  /// The rows of the file read last; valid until the options or the file change.
  const QWCSVRows& rows() const { return rows_; }
  /// The names of its columns, empty without a header.
  const std::vector<std::string>& header() const { return rows_.header(); }
  /// Why there are none: the file cannot be read under the options as they are now.
  const qw::Error& readingError() const { return readingError_; }
  /// The names of the columns, and the first rows.
  qw::Form::Table preview() const;

  /// Empty at first, apart from what was saved. Names that the file does not have stay for the next one.
  const Mapping& mapping() const { return mapping_; }
  /// An empty column removes the key path.
  void setColumn(std::string_view keyPath, std::string column);
  /// Maps key paths without a column of this file to the one that bears their name, or their localized name,
  /// in whatever case. Done for the user before the mapping is asked for.
  void proposeMapping();
  /// A choice among the columns for each key path, the controls of how the text is read, and the preview.
  std::shared_ptr<qw::Form> mappingView();

 private:
  void loadView();
  void readRows();
  void fillMappingView();
  void forgetMappingView();
  void askForMapping(qw::Presenter& window);
  void callBlock();
  void callBlockWithNothing();

  Block block_;
  std::vector<std::string> keyPaths_;
  bool hasDates_ = false;
  bool hasNumbers_ = false;
  std::string autosaveName_;
  std::unique_ptr<qw::CSVImportOptions> options_;
  Mapping mapping_;

  bool hasFile_ = false;
  qw::Data bytes_;
  QWCSVRows rows_;
  qw::Error readingError_;

  std::shared_ptr<qw::Form> mappingView_;
  std::vector<std::shared_ptr<qw::Control>> columnChoices_;  // one a key path
  qw::Registration labelFontSize_;
};
