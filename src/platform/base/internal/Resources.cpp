#include "platform/base/internal/Resources.h"

#include <algorithm>

namespace qw {

std::optional<std::string_view> resource(std::string_view path) {
  const auto all = resources();
  const auto found = std::lower_bound(all.begin(), all.end(), path,
                                      [](const Resource& r, std::string_view p) { return r.path < p; });
  if (found == all.end() || found->path != path) return std::nullopt;
  return found->contents;
}

}  // namespace qw
