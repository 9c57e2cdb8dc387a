#include "values/collections/QWCharacterSeparator.h"

#include "platform/object/Property.h"
#include "platform/system/Localization.h"

constinit const qw::Class QWCharacterSeparator::kClass = qw::define<QWCharacterSeparator, QWConstant>(
    "QWCharacterSeparator", {},
    [] { return qw::properties(qw::property<&QWCharacterSeparator::character_>("character")); });

QWCharacterSeparator::Pointer QWCharacterSeparator::constantWithCharacter(std::string_view character) {
  if (character == "\u00A0") character = " ";
  for (const Pointer& constant : constants())
    if (constant->character() == character) return constant;
  return make(std::string(character), -1, character);
}

std::string QWCharacterSeparator::description() const { return qw::Localization::frameworkString(name()); }

void QWCharacterSeparator::initWithCoder(qw::KeyedUnarchiver& coder) {
  QWConstantOf::initWithCoder(coder);
  character_ = name();  // of one that is not registered
}

void QWCharacterSeparator::addConstants(QWConstantsManager& manager) {
  manager.addConstant(make("NoSeparator", 0, ""));
  manager.addConstant(make("SpaceSeparator", ' ', " "));
  manager.addConstant(make("DotSeparator", '.', "."));
  manager.addConstant(make("CommaSeparator", ',', ","));
  manager.addConstant(make("QuoteSeparator", '\'', "'"));
  manager.addConstant(make("SemicolonSeparator", ';', ";"));
  manager.addConstant(make("TabSeparator", '\t', "\t"));
}

QWCharacterSeparator::Pointer QWCharacterSeparator::make(std::string name, std::int64_t value,
                                                         std::string_view character) {
  auto separator = QWConstantOf::make(std::move(name), value);
  separator->character_ = character;
  return separator;
}
