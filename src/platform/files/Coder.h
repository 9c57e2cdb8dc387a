#pragma once

#include <typeindex>
#include <utility>
#include <vector>

#include "platform/base/Export.h"

namespace qw {

/// What an archiver and an unarchiver have in common: objects that are not part of the archive but that the
/// objects coming and going need (a store for the objects that live in it), one of each type. The coder does
/// not own them; they must live as long as it is used.
class QW_EXPORT Coder {
 public:
  Coder(const Coder&) = delete;
  Coder& operator=(const Coder&) = delete;

  /// Null when there is none of that type. `T` is exactly the type it was set as.
  template <class T>
  T* context() const {
    for (const auto& [type, context] : contexts_) {
      if (type == typeid(T)) return static_cast<T*>(context);
    }
    return nullptr;
  }
  /// Replaces an earlier context of that type; null removes it.
  template <class T>
  void setContext(T* context) {
    for (auto& [type, old] : contexts_) {
      if (type == typeid(T)) {
        old = context;
        return;
      }
    }
    contexts_.emplace_back(typeid(T), context);
  }

 protected:
  Coder() = default;
  ~Coder() = default;

 private:
  std::vector<std::pair<std::type_index, void*>> contexts_;
};

}  // namespace qw
