#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

/// A set of names that finds, for a name already taken, the next one in a numbered series ("Client 2" after
/// "Client"). Remembers which numbers it found taken, so that making a great many names unique stays linear.
class UniqueNames {
 public:
  /// `format` holds %@ for the base text and %ld for the number. `pattern`, if not empty, recognises a name
  /// that is already numbered: capture group 1 is its base, 2 its number.
  explicit UniqueNames(std::string_view format, std::string_view pattern = "")
      : format_(format), pattern_(pattern) {}

  bool contains(const std::string& name) const { return names_.contains(name); }
  void insert(std::string name) { names_.insert(std::move(name)); }
  /// The name itself if it is not taken, else the first free one of its series. The result is not inserted.
  std::string unique(std::string_view name);

 private:
  std::int64_t firstFree(const std::string& base, std::int64_t number);

  std::string format_;
  std::string pattern_;
  std::unordered_set<std::string> names_;
  /// For each base, numbers known as taken, each with a higher number from which to look on.
  std::unordered_map<std::string, std::unordered_map<std::int64_t, std::int64_t>> taken_;
};
