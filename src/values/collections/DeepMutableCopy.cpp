#include "values/collections/DeepMutableCopy.h"

namespace qw {

namespace DeepMutableCopy {
namespace {

Value copy(const Value& value) {
  if (value.array()) return deepMutableCopy(*value.array());
  if (value.dictionary()) return deepMutableCopy(*value.dictionary());
  if (value.set()) return *value.set();
  return value;
}

}  // namespace

Array deepMutableCopy(const Array& array) {
  Array result;
  result.reserve(array.size());
  for (const Value& element : array) result.push_back(copy(element));
  return result;
}

Dictionary deepMutableCopy(const Dictionary& dictionary) {
  Dictionary result;
  for (const auto& [key, value] : dictionary) result.emplace_hint(result.end(), key, copy(value));
  return result;
}

}  // namespace DeepMutableCopy

}  // namespace qw
