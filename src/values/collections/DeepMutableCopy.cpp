#include "values/collections/DeepMutableCopy.h"

namespace DeepMutableCopy {
namespace {

qw::Value copy(const qw::Value& value) {
  if (value.array()) return deepMutableCopy(*value.array());
  if (value.dictionary()) return deepMutableCopy(*value.dictionary());
  if (value.set()) return *value.set();
  return value;
}

}  // namespace

qw::Array deepMutableCopy(const qw::Array& array) {
  qw::Array result;
  result.reserve(array.size());
  for (const qw::Value& element : array) result.push_back(copy(element));
  return result;
}

qw::Dictionary deepMutableCopy(const qw::Dictionary& dictionary) {
  qw::Dictionary result;
  for (const auto& [key, value] : dictionary) result.emplace_hint(result.end(), key, copy(value));
  return result;
}

}  // namespace DeepMutableCopy
