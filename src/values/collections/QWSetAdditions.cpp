#include "values/collections/QWSetAdditions.h"

#include "values/text/internal/UniqueNames.h"

namespace QWSetAdditions {

qw::ValueSet setByRemovingObjectsInSet(const qw::ValueSet& set, const qw::ValueSet& removed) {
  qw::ValueSet result;
  for (const qw::Value& element : set) {
    if (!removed.contains(element)) result.insert(element);
  }
  return result;
}

qw::ValueSet setByRemovingObjectsInArray(const qw::ValueSet& set, const qw::Array& removed) {
  return setByRemovingObjectsInSet(set, qw::ValueSet(removed));
}

std::string uniqueValue(const qw::ValueSet& set, std::string_view value, std::string_view format,
                        std::string_view pattern) {
  if (!set.contains(value)) return std::string(value);
  qw::NumberedName name(value, pattern);
  std::string text;
  do {
    ++name.number;
    text = name.text(format);
  } while (set.contains(text));
  return text;
}

}  // namespace QWSetAdditions
