#include "values/collections/QWBoolean.h"

#include "platform/object/Property.h"
#include "platform/system/Localization.h"

constinit const qw::Class QWBoolean::kClass =
    qw::define<QWBoolean, QWConstant>("QWBoolean", {}, [] { return qw::properties(); });

QWBoolean::Pointer QWBoolean::constantWithName(std::string_view name) {
  if (auto constant = QWConstantOf::constantWithName(name)) return constant;
  return name == "0" ? falseBoolean() : name == "1" ? trueBoolean() : nullptr;
}

std::string QWBoolean::description() const { return qw::Localization::frameworkString(name()); }

void QWBoolean::addConstants(QWConstantsManager& manager) {
  manager.addConstant(make("No", 0));
  manager.addConstant(make("Yes", 1));
}
