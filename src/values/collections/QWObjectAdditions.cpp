#include "values/collections/QWObjectAdditions.h"

#include "platform/object/KeyPath.h"
#include "values/text/internal/UniqueNames.h"

std::string QWObjectAdditions::validUniqueValue(const qw::Object& object, std::string_view value,
                                                std::string_view keyPath, const qw::Array& array,
                                                std::string_view format, std::string_view pattern) {
  const qw::KeyPath path(keyPath);
  qw::UniqueNames names(format, pattern);
  for (const qw::Value& element : array) {
    if (element.object().get() == &object) continue;
    const qw::Value name = path.value(element);
    if (name.text()) names.insert(*name.text());
  }
  return names.unique(value);
}
