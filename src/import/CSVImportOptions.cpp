#include "import/CSVImportOptions.h"

#include <algorithm>
#include <array>
#include <vector>

#include "import/internal/CSVText.h"
#include "platform/system/Localization.h"
#include "platform/system/TextEncoding.h"

namespace qw {
namespace {

constexpr std::string_view kEncoding = "encoding";
constexpr std::string_view kDateFormat = "dateFormat";
constexpr std::string_view kDecimalSeparator = "decimalSeparator";
constexpr std::string_view kGroupingSeparator = "groupingSeparator";
constexpr std::string_view kSeparator = "separator";
constexpr std::string_view kFirstLine = "firstLine";
constexpr std::string_view kHasHeader = "hasHeader";

std::string label(std::string_view key) {
  return Localization::frameworkString("CSVImport." + std::string(key));
}

std::shared_ptr<Object> object(std::shared_ptr<Object> constant) { return constant; }

template <class Constants>
std::shared_ptr<Control> choice(std::string_view key, const Constants& constants) {
  std::vector<Control::Item> items;
  items.reserve(constants.size());
  for (const auto& constant : constants) items.push_back({constant->description(), object(constant)});
  return Control::makeChoice(label(key), std::move(items));
}

std::shared_ptr<QWCharacterSeparator> chosenSeparator(const Control& control) {
  return control.objectValue().objectAs<QWCharacterSeparator>();
}

/// The separator of a name, which for one outside the registry is its character.
QWCharacterSeparator::Pointer separatorWithName(std::string_view name) {
  const auto registered = QWCharacterSeparator::constantWithName(name);
  return registered || name.empty() ? registered : QWCharacterSeparator::constantWithCharacter(name);
}

std::string usualDateFormat() {
  QWDateFormatter formatter;
  formatter.setLocalizedDateFormatFromTemplate("yyyyMMdd");
  return formatter.dateFormat();
}

/// Both separators of numbers are chosen or none: brings the other one after the user's choice of one.
void follow(const Control& chosen, Control& other, std::string usual, std::string usualOfChosen) {
  if (chosen.objectValue().isNull()) {
    other.setObjectValue(nullptr);
  } else if (other.objectValue().isNull()) {
    // One character cannot be both: then the locale's two have changed places.
    if (const auto separator = chosenSeparator(chosen); separator && separator->character() == usual)
      usual = std::move(usualOfChosen);
    other.setObjectValue(object(QWCharacterSeparator::constantWithCharacter(usual)));
  }
}

}  // namespace

CSVImportOptions::CSVImportOptions()
    : encodingButton(choice(kEncoding, QWStringEncoding::constants())),
      separatorButton(choice(kSeparator, std::array{QWCharacterSeparator::commaSeparator(),
                                                    QWCharacterSeparator::semicolonSeparator(),
                                                    QWCharacterSeparator::tabSeparator()})),
      firstLineField(Control::make(Control::Kind::kNumber, label(kFirstLine), 1)),
      hasHeaderButton(Control::make(Control::Kind::kSwitch, label(kHasHeader), false)),
      dateFormatField(Control::make(Control::Kind::kText, label(kDateFormat), usualDateFormat())),
      decimalSeparatorButton(choice(kDecimalSeparator, std::array{QWCharacterSeparator::dotSeparator(),
                                                                  QWCharacterSeparator::commaSeparator()})),
      groupingSeparatorButton(
          choice(kGroupingSeparator,
                 std::array{QWCharacterSeparator::noSeparator(), QWCharacterSeparator::spaceSeparator(),
                            QWCharacterSeparator::dotSeparator(), QWCharacterSeparator::commaSeparator(),
                            QWCharacterSeparator::quoteSeparator()})),
      form_(Form::make({encodingButton, separatorButton, firstLineField, hasHeaderButton, dateFormatField,
                        decimalSeparatorButton, groupingSeparatorButton})) {
  encodingButton->setObjectValue(object(QWStringEncoding::UTF8StringEncoding()));
  separatorButton->setObjectValue(object(QWCharacterSeparator::semicolonSeparator()));

  const auto changeReading = [this](bool* isChosen) {
    return [this, isChosen] {
      if (isChosen) *isChosen = true;
      if (readingBlock_) readingBlock_();
    };
  };
  encodingButton->setBlock(changeReading(&isEncodingChosen_));
  separatorButton->setBlock(changeReading(&isSeparatorChosen_));
  firstLineField->setBlock(changeReading(nullptr));
  hasHeaderButton->setBlock(changeReading(nullptr));
  decimalSeparatorButton->setBlock([this] {
    const QWNumberFormatter locale;
    follow(*decimalSeparatorButton, *groupingSeparatorButton, locale.groupingSeparator(),
           locale.decimalSeparator());
  });
  groupingSeparatorButton->setBlock([this] {
    const QWNumberFormatter locale;
    follow(*groupingSeparatorButton, *decimalSeparatorButton, locale.decimalSeparator(),
           locale.groupingSeparator());
  });
}

CSVImportOptions::~CSVImportOptions() {
  // A presenter may keep the form longer than we live.
  for (const auto& control : form_->controls()) control->setBlock({});
}

void CSVImportOptions::hideDates(bool hidden) { dateFormatField->setHidden(hidden); }

void CSVImportOptions::hideNumbers(bool hidden) {
  decimalSeparatorButton->setHidden(hidden);
  groupingSeparatorButton->setHidden(hidden);
}

Dictionary CSVImportOptions::settings() const {
  Dictionary settings;
  for (const auto& [key, control] :
       {std::pair(kEncoding, encodingButton), std::pair(kSeparator, separatorButton),
        std::pair(kDecimalSeparator, decimalSeparatorButton),
        std::pair(kGroupingSeparator, groupingSeparatorButton)}) {
    if (const auto constant = control->objectValue().objectAs<QWConstant>())
      settings.emplace(key, constant->name());
  }
  settings.emplace(kDateFormat, dateFormatField->objectValue());
  settings.emplace(kFirstLine, static_cast<std::int64_t>(firstLine()));
  settings.emplace(kHasHeader, hasHeader() ? 1 : 0);
  return settings;
}

void CSVImportOptions::setSettings(const Dictionary& settings) {
  const auto text = [&](std::string_view key) -> std::string {
    const auto found = settings.find(key);
    return found != settings.end() && found->second.text() ? *found->second.text() : "";
  };
  const auto number = [&](std::string_view key) -> std::optional<std::int64_t> {
    const auto found = settings.find(key);
    return found != settings.end() && found->second.isNumber() ? std::optional(found->second.int64Value())
                                                               : std::nullopt;
  };
  if (const auto encoding = QWStringEncoding::constantWithName(text(kEncoding))) {
    encodingButton->setObjectValue(object(encoding));
    isEncodingChosen_ = true;
  }
  if (const auto separator = separatorWithName(text(kSeparator))) {
    separatorButton->setObjectValue(object(separator));
    isSeparatorChosen_ = true;
  }
  if (const std::string format = text(kDateFormat); !format.empty()) dateFormatField->setObjectValue(format);
  const auto decimal = separatorWithName(text(kDecimalSeparator));
  const auto grouping = separatorWithName(text(kGroupingSeparator));
  if (decimal && grouping) {
    decimalSeparatorButton->setObjectValue(object(decimal));
    groupingSeparatorButton->setObjectValue(object(grouping));
  } else {
    decimalSeparatorButton->setObjectValue(nullptr);
    groupingSeparatorButton->setObjectValue(nullptr);
  }
  if (const auto line = number(kFirstLine)) firstLineField->setObjectValue(std::max<std::int64_t>(*line, 1));
  if (const auto header = number(kHasHeader)) hasHeaderButton->setObjectValue(*header != 0);
}

void CSVImportOptions::proposeEncoding(std::string_view bytes) {
  if (isEncodingChosen_) return;
  const TextEncoding guess = TextEncoding::guess(bytes);
  for (const auto& encoding : QWStringEncoding::constants()) {
    if (encoding->encoding() != guess) continue;
    encodingButton->setObjectValue(object(encoding));
    return;
  }
}

void CSVImportOptions::proposeSeparator(std::string_view text) {
  if (isSeparatorChosen_) return;
  const std::string guess = CSVText::guessSeparator(text, std::array<std::string, 3>{"\t", ";", ","});
  if (!guess.empty())
    separatorButton->setObjectValue(object(QWCharacterSeparator::constantWithCharacter(guess)));
}

TextEncoding CSVImportOptions::encoding() const {
  const auto chosen = encodingButton->objectValue().objectAs<QWStringEncoding>();
  return chosen && chosen->encoding() ? *chosen->encoding() : TextEncoding::utf8();
}

std::string CSVImportOptions::separator() const {
  const auto chosen = chosenSeparator(*separatorButton);
  return chosen && !chosen->character().empty() ? chosen->character() : ";";
}

std::size_t CSVImportOptions::firstLine() const {
  return static_cast<std::size_t>(std::max<std::int64_t>(firstLineField->objectValue().int64Value(), 1));
}

void CSVImportOptions::configure(QWDateFormatter& formatter) const {
  if (const std::string* format = dateFormatField->objectValue().text()) formatter.setDateFormat(*format);
}

void CSVImportOptions::configure(QWNumberFormatter& formatter) const {
  const auto decimal = chosenSeparator(*decimalSeparatorButton);
  const auto grouping = chosenSeparator(*groupingSeparatorButton);
  if (!decimal || !grouping) return;
  formatter.setGuessesSeparators(false);
  formatter.setDecimalSeparator(decimal->character());
  formatter.setGroupingSeparator(grouping->character());
}

}  // namespace qw
