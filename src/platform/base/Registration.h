#pragma once

#include <functional>
#include <utility>

#include "platform/base/Export.h"

namespace qw {

/// Something that was registered and ends when this value is destroyed: an observer, a timer, a source.
/// Move-only; an empty one ends nothing. Where it may be destroyed is said by whoever hands it out.
class [[nodiscard]] QW_EXPORT Registration {
 public:
  Registration() = default;
  /// `end` is called once.
  explicit Registration(std::function<void()> end) : end_(std::move(end)) {}
  Registration(Registration&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
  Registration& operator=(Registration&& other) noexcept {
    if (this != &other) {
      end();
      end_ = std::exchange(other.end_, nullptr);
    }
    return *this;
  }
  ~Registration() { end(); }

  explicit operator bool() const { return static_cast<bool>(end_); }
  void end() {
    if (const auto action = std::exchange(end_, nullptr)) action();
  }

 private:
  std::function<void()> end_;
};

}  // namespace qw
