#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace qw {

/// A name with a number, as in "Client 2".
struct NumberedName {
  std::string base;
  std::int64_t number = 1;

  /// Takes a name apart by a pattern whose capture group 1 is the base and 2 the number; a name that it does
  /// not match, or any name if the pattern is empty, is a base with number 1.
  NumberedName(std::string_view name, std::string_view pattern);
  /// Writes the name by a format, with %@ for the base and %ld for the number; without %ld the number comes
  /// last.
  std::string text(std::string_view format) const;
};

/// A set of names that finds, for a name already taken, the next one in its numbered series ("Client 2" after
/// "Client"). Remembers which numbers it found taken, so that making a great many names unique stays linear.
class UniqueNames {
 public:
  /// For `format` and `pattern` see `NumberedName`.
  explicit UniqueNames(std::string_view format = "%@ %ld", std::string_view pattern = "(.*) ([0-9]+)")
      : format_(format), pattern_(pattern) {}

  bool contains(const std::string& name) const { return names_.contains(name); }
  void insert(std::string name) { names_.insert(std::move(name)); }
  /// The name itself if it is not taken, else the first free one of its series after its number. The result
  /// is not inserted.
  std::string unique(std::string_view name);

 private:
  void moveToFreeNumber(NumberedName& name);

  std::string format_;
  std::string pattern_;
  std::unordered_set<std::string> names_;
  /// For each base, numbers known as taken, each with a higher number from which to look on.
  std::unordered_map<std::string, std::unordered_map<std::int64_t, std::int64_t>> taken_;
};

}  // namespace qw
