#include "store/model/internal/StatementCache.h"

#include "store/model/QWDatabaseQuery.h"

namespace qw {

std::shared_ptr<QWDatabaseQuery> StatementCache::take(const std::string& sql) {
  const auto found = queries_.find(sql);
  if (found == queries_.end() || found->second.empty()) return nullptr;
  auto query = std::move(found->second.back());
  found->second.pop_back();
  waiting_.erase(query.get());
  query->reset();
  return query;
}

void StatementCache::put(const std::shared_ptr<QWDatabaseQuery>& query) {
  query->reset();
  if (waiting_.insert(query.get()).second) queries_[query->sql()].push_back(query);
}

void StatementCache::remove(const std::shared_ptr<QWDatabaseQuery>& query) {
  if (waiting_.erase(query.get())) std::erase(queries_[query->sql()], query);
}

void StatementCache::clear() {
  waiting_.clear();
  queries_.clear();
}

}  // namespace qw
