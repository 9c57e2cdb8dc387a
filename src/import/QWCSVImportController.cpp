#include "import/QWCSVImportController.h"

#include <algorithm>

#include "import/internal/CSVText.h"
#include "platform/files/UserDefaults.h"
#include "platform/loop/RunLoop.h"
#include "platform/object/Property.h"
#include "platform/system/Collation.h"
#include "platform/system/FileManager.h"
#include "platform/system/Localization.h"

namespace {

constexpr std::string_view kMappingKey = "mapping";
constexpr std::string_view kLabelFontSize = "QWEditingPanelLabelFontSize";

std::string text(std::string_view key) { return qw::Localization::frameworkString(key); }

std::string settingsKey(const std::string& autosaveName) { return "QWCSVImportController " + autosaveName; }

}  // namespace

constinit const qw::Class QWCSVImportController::kClass =
    qw::define<QWCSVImportController, qw::Object>("QWCSVImportController", {}, [] {
      return qw::properties(
          qw::property<&QWCSVImportController::hasDates_, &QWCSVImportController::setHasDates>("hasDates"),
          qw::property<&QWCSVImportController::hasNumbers_, &QWCSVImportController::setHasNumbers>(
              "hasNumbers"),
          qw::property<&QWCSVImportController::autosaveName_, &QWCSVImportController::setAutosaveName>(
              "autosaveName"),
          qw::property<&QWCSVImportController::keyPaths_, &QWCSVImportController::setKeyPaths>("keyPaths"));
    });

QWCSVImportController::~QWCSVImportController() { forgetMappingView(); }

void QWCSVImportController::setKeyPaths(std::vector<std::string> keyPaths) {
  forgetMappingView();
  assign<&QWCSVImportController::keyPaths_>(std::move(keyPaths));
}

void QWCSVImportController::setAutosaveName(std::string name) {
  assign<&QWCSVImportController::autosaveName_>(std::move(name));
}

void QWCSVImportController::setHasDates(bool hasDates) {
  assign<&QWCSVImportController::hasDates_>(hasDates);
  if (options_) options_->hideDates(!hasDates_);
}

void QWCSVImportController::setHasNumbers(bool hasNumbers) {
  assign<&QWCSVImportController::hasNumbers_>(hasNumbers);
  if (options_) options_->hideNumbers(!hasNumbers_);
}

qw::CSVImportOptions& QWCSVImportController::options() {
  if (!options_) loadView();
  return *options_;
}

void QWCSVImportController::loadView() {
  options_ = std::make_unique<qw::CSVImportOptions>();
  options_->hideDates(!hasDates_);
  options_->hideNumbers(!hasNumbers_);
  options_->setReadingBlock([this] {
    if (!hasFile_) return;
    readRows();
    if (mappingView_) fillMappingView();
  });
  loadSettings();
}

void QWCSVImportController::loadSettings() {
  if (autosaveName_.empty()) return;
  const qw::Dictionary settings = qw::UserDefaults::standard().dictionary(settingsKey(autosaveName_));
  options().setSettings(settings);
  const auto saved = settings.find(kMappingKey);
  if (saved == settings.end() || !saved->second.dictionary()) return;
  mapping_.clear();
  for (const auto& [keyPath, column] : *saved->second.dictionary())
    if (const std::string* name = column.text()) mapping_.emplace(keyPath, *name);
}

void QWCSVImportController::saveSettings() {
  if (autosaveName_.empty()) return;
  qw::Dictionary settings = options().settings();
  settings.emplace(kMappingKey, qw::Dictionary(mapping_.begin(), mapping_.end()));
  qw::UserDefaults::standard().set(settingsKey(autosaveName_), std::move(settings));
}

bool QWCSVImportController::openFile(const std::filesystem::path& URL, qw::Error* error) {
  hasFile_ = false;
  rows_ = {};
  readingError_ = {};
  auto bytes = qw::FileManager::contents(URL, qw::FileManager::kMaximumContents, &readingError_);
  if (bytes) {
    hasFile_ = true;
    bytes_ = *std::move(bytes);
    options().proposeEncoding(bytes_.text());
    readRows();
  }
  if (mappingView_) fillMappingView();
  if (readingError_ && error) *error = readingError_;
  return !readingError_;
}

void QWCSVImportController::readRows() {
  rows_ = {};
  readingError_ = {};
  auto text = options().encoding().decode(bytes_.text(), &readingError_);
  if (!text) return;
  qw::CSVText::normalizeLineEnds(*text);
  text->erase(0, qw::CSVText::startOfLine(*text, options().firstLine()));
  options().proposeSeparator(*text);
  std::vector<std::string> header;
  rows_ = QWStringAdditions::CSVRowsWithSeparator(*std::move(text), options().separator(),
                                                  options().hasHeader(), true, &header);
}

qw::Form::Table QWCSVImportController::preview() const {
  qw::Form::Table table{rows_.header()};
  for (const auto& row : rows_) {
    if (table.size() > kPreviewRows) break;
    table.emplace_back(row.begin(), row.end());
  }
  return table;
}

void QWCSVImportController::setColumn(std::string_view keyPath, std::string column) {
  const auto found = mapping_.find(keyPath);
  if (!column.empty())
    mapping_.insert_or_assign(std::string(keyPath), std::move(column));
  else if (found != mapping_.end())
    mapping_.erase(found);
  if (mappingView_) fillMappingView();
}

void QWCSVImportController::proposeMapping() {
  const auto isColumn = [&](const std::string& name) {
    return std::find(header().begin(), header().end(), name) != header().end();
  };
  for (const std::string& keyPath : keyPaths_) {
    const auto mapped = mapping_.find(keyPath);
    if (mapped != mapping_.end() && isColumn(mapped->second)) continue;
    for (const std::string& name : {keyPath, qw::Localization::applicationString(keyPath)}) {
      const auto column = std::find_if(header().begin(), header().end(), [&](const std::string& candidate) {
        return qw::Collation::localizedCaseInsensitiveCompare(candidate, name) == 0;
      });
      if (column == header().end()) continue;
      mapping_.insert_or_assign(keyPath, *column);
      break;
    }
  }
  if (mappingView_) fillMappingView();
}

void QWCSVImportController::forgetMappingView() {
  // A presenter may keep the form longer than we live.
  for (const auto& choice : columnChoices_) choice->setBlock({});
  columnChoices_.clear();
  mappingView_ = nullptr;
}

std::shared_ptr<qw::Form> QWCSVImportController::mappingView() {
  forgetMappingView();
  for (const std::string& keyPath : keyPaths_) {
    auto choice = qw::Control::makeChoice(qw::Localization::applicationString(keyPath) + " :", {});
    choice->setBlock([this, keyPath, control = choice.get()] {
      const std::string* column = control->objectValue().text();
      setColumn(keyPath, column ? *column : std::string());
    });
    columnChoices_.push_back(std::move(choice));
  }
  qw::Form::Controls controls = columnChoices_;
  for (const auto& control : options().form()->controls()) controls.push_back(control);
  mappingView_ = qw::Form::make(std::move(controls));
  fillMappingView();
  qw::UserDefaults& defaults = qw::UserDefaults::standard();
  mappingView_->setLabelFontSize(defaults.doubleValue(kLabelFontSize));
  labelFontSize_ =
      defaults.observe(kLabelFontSize, [form = std::weak_ptr(mappingView_)](const qw::Value& size) {
        qw::RunLoop::main().dispatch([form, size = size.doubleValue()] {
          if (const auto shown = form.lock()) shown->setLabelFontSize(size);
        });
      });
  return mappingView_;
}

void QWCSVImportController::fillMappingView() {
  std::vector<qw::Control::Item> items{{"", nullptr}};
  for (const std::string& column : header()) items.push_back({column, column});
  for (std::size_t i = 0; i < columnChoices_.size(); ++i) {
    const auto mapped = mapping_.find(keyPaths_[i]);
    const bool isColumn = mapped != mapping_.end() &&
                          std::find(header().begin(), header().end(), mapped->second) != header().end();
    columnChoices_[i]->setItems(items);
    columnChoices_[i]->setObjectValue(isColumn ? qw::Value(mapped->second) : qw::Value());
  }
  mappingView_->setTable(preview());
}

void QWCSVImportController::showOpenPanelInWindow(qw::Presenter& window) {
  const auto self = sharedAs<QWCSVImportController>();
  const qw::Presenter::OpenRequest request{.title = text("Import"),
                                           .prompt = text("Import"),
                                           .fileTypes = {"csv", ""},
                                           .accessory = options().form()};
  window.chooseFilesToOpen(request, [self, &window](const std::vector<std::filesystem::path>& chosen) {
    qw::Error error;
    if (chosen.empty()) {
      self->callBlockWithNothing();
    } else if (!self->openFile(chosen.front(), &error)) {
      window.presentError(error, [self] { self->callBlockWithNothing(); });
    } else {
      self->proposeMapping();
      self->askForMapping(window);
    }
  });
}

void QWCSVImportController::askForMapping(qw::Presenter& window) {
  const auto self = sharedAs<QWCSVImportController>();
  const qw::Presenter::Question question{.title = text("Import"),
                                         .message = text("ChooseImportMapping"),
                                         .buttons = {text("Cancel"), text("OK")},
                                         .defaultButton = 1,
                                         .cancelButton = 0,
                                         .accessory = mappingView()};
  window.ask(question, [self, &window](qw::Presenter::Answer answer) {
    if (answer.button != 1) {
      self->callBlockWithNothing();
    } else if (self->readingError_) {
      // The options were changed to some that do not fit the file: they can be changed again.
      window.presentError(self->readingError_, [self, &window] { self->askForMapping(window); });
    } else {
      self->saveSettings();
      self->callBlock();
    }
  });
}

void QWCSVImportController::callBlock() {
  QWDateFormatter dateFormatter;
  QWNumberFormatter numberFormatter;
  options().configure(dateFormatter);
  options().configure(numberFormatter);
  block_(*this, &rows_, &mapping_, &dateFormatter, &numberFormatter);
}

void QWCSVImportController::callBlockWithNothing() { block_(*this, nullptr, nullptr, nullptr, nullptr); }
