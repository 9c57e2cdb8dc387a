#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

namespace qw {

namespace detail {

/// The place that every back link to one object shares; the object empties it when it dies.
struct QW_EXPORT Anchor {
  Object* target;
  std::atomic<std::uint32_t> links{1};

  static void release(Anchor* anchor) {
    if (anchor && anchor->links.fetch_sub(1, std::memory_order_acq_rel) == 1) delete anchor;
  }
};

}  // namespace detail

/// A link that does not own: to a parent, an owner, a referenced object. It reads as null from the moment its
/// target dies, and costs 8 bytes and two loads. The target is used on its own thread; links may be dropped
/// on any.
template <class T>
class QW_EXPORT Back {
 public:
  Back() = default;
  /// Null.
  Back(std::nullptr_t) {}
  /// A link to a target that a shared pointer owns; null for a null pointer.
  Back(T* target) : anchor_(target ? anchorOf(target) : nullptr) {}
  /// The same for a shared pointer, which the link does not keep.
  Back(const std::shared_ptr<T>& target) : Back(target.get()) {}
  /// Another link to the same target.
  Back(const Back& other) : anchor_(other.anchor_) {
    if (anchor_) anchor_->links.fetch_add(1, std::memory_order_relaxed);
  }
  /// Takes the link over and leaves null.
  Back(Back&& other) noexcept : anchor_(std::exchange(other.anchor_, nullptr)) {}
  Back& operator=(Back other) noexcept {
    std::swap(anchor_, other.anchor_);
    return *this;
  }
  ~Back() { detail::Anchor::release(anchor_); }

  /// The target, null when there is none or it died.
  T* get() const { return anchor_ ? static_cast<T*>(anchor_->target) : nullptr; }
  /// The target. Requires: not null.
  T* operator->() const { return get(); }
  /// The target. Requires: not null.
  T& operator*() const { return *get(); }
  /// Whether there is a target that still lives.
  explicit operator bool() const { return get() != nullptr; }
  /// The target kept alive; null when there is none.
  std::shared_ptr<T> lock() const {
    T* target = get();
    return target ? std::static_pointer_cast<T>(target->shared_from_this()) : nullptr;
  }

  friend bool operator==(const Back& a, const Back& b) { return a.get() == b.get(); }
  friend bool operator==(const Back& a, const T* b) { return a.get() == b; }

 private:
  static detail::Anchor* anchorOf(T* target) {
    detail::Anchor* anchor = static_cast<Object*>(target)->anchor();
    anchor->links.fetch_add(1, std::memory_order_relaxed);
    return anchor;
  }

  detail::Anchor* anchor_ = nullptr;
};

namespace detail {

template <class T>
inline constexpr bool kIsBack = false;
template <class T>
inline constexpr bool kIsBack<Back<T>> = true;

}  // namespace detail

}  // namespace qw
