#include "values/collections/QWBoolean.h"

#include "platform/object/Property.h"
#include "platform/system/Localization.h"

constinit const qw::Class QWBoolean::kClass =
    qw::define<QWBoolean, QWConstant>("QWBoolean", {}, [] { return qw::properties(); });

std::string QWBoolean::description() const { return qw::Localization::frameworkString(name()); }

void QWBoolean::addConstants(QWConstantsManager& manager) {
  const auto add = [&manager](const char* name, std::int64_t value) {
    const Pointer constant = make(name, value);
    manager.addConstant(constant);
    manager.addAlias(std::to_string(value), constant);
  };
  add("No", 0);
  add("Yes", 1);
}
