#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class QWDatabaseQuery;

namespace qw {

/// Compiled statements that wait to be run again, by their SQL. Owned by the manager of the connection, which
/// they must not outlive.
class StatementCache {
 public:
  /// A statement of this SQL, ready to be run; null when none waits.
  std::shared_ptr<QWDatabaseQuery> take(const std::string& sql);
  /// Resets the statement and keeps it.
  void put(const std::shared_ptr<QWDatabaseQuery>& query);
  /// A statement that is run again by the one who kept it must not be handed to another meanwhile.
  void remove(const std::shared_ptr<QWDatabaseQuery>& query);
  void clear();

 private:
  std::unordered_map<std::string, std::vector<std::shared_ptr<QWDatabaseQuery>>> queries_;
  std::unordered_set<const QWDatabaseQuery*> waiting_;
};

}  // namespace qw
