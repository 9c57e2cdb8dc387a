#pragma once

#include <functional>
#include <utility>

#include "platform/base/Export.h"

namespace qw {

/// Something that was registered and ends when this value is destroyed: an observer, a timer, a source.
/// Move-only; an empty one ends nothing. The function that returns one documents on which thread it may end.
class [[nodiscard]] QW_EXPORT Registration {
 public:
  Registration() = default;
  /// `end` is called once.
  explicit Registration(std::function<void()> end) : end_(std::move(end)) {}
  /// Takes the registration over and leaves an empty one.
  Registration(Registration&& other) noexcept : end_(std::exchange(other.end_, nullptr)) {}
  Registration& operator=(Registration&& other) noexcept {
    if (this != &other) {
      end();
      end_ = std::exchange(other.end_, nullptr);
    }
    return *this;
  }
  ~Registration() { end(); }

  /// Whether there is something to end.
  explicit operator bool() const { return static_cast<bool>(end_); }
  /// Ends it now; nothing happens the second time.
  void end() {
    if (const auto action = std::exchange(end_, nullptr)) action();
  }

 private:
  std::function<void()> end_;
};

}  // namespace qw
