#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

#include "platform/base/Export.h"
#include "platform/base/Registration.h"

namespace qw {

/// The name of a notification with its hash, normally a constant made from a string literal. Does not own the
/// text.
///
///     inline constexpr qw::NotificationName kDidClose("DocumentDidClose");
class QW_EXPORT NotificationName {
 public:
  /// The text must live as long as the name.
  constexpr NotificationName(std::string_view text) : text_(text), hash_(hashOf(text)) {}
  /// The same for a literal.
  constexpr NotificationName(const char* text) : NotificationName(std::string_view(text)) {}

  /// The name as it was given.
  constexpr std::string_view text() const { return text_; }
  /// FNV-1a of the text.
  constexpr std::uint64_t hash() const { return hash_; }
  friend constexpr bool operator==(NotificationName a, NotificationName b) {
    return a.hash_ == b.hash_ && a.text_ == b.text_;
  }

 private:
  // FNV-1a, which a compiler can compute.
  static constexpr std::uint64_t hashOf(std::string_view text) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    return hash;
  }

  std::string_view text_;
  std::uint64_t hash_;
};

/// What observers are told: the name, and the identity of the sender, which may be null and is not owned.
struct QW_EXPORT Notification {
  /// What happened.
  NotificationName name;
  /// Whom it happened to; null when nobody is meant.
  const void* sender = nullptr;
};

/// Tells observers of named events, on the thread that posts. May be used from any thread. No lock is held
/// while an observer is called, so it may post, observe and end observations, its own too: an observer whose
/// registration has ended is not called again, and one that was added during a post waits for the next.
class QW_EXPORT NotificationCenter {
 public:
  /// Called on the thread that posts.
  using Callback = std::function<void(const Notification&)>;

  /// The center that the framework posts to; never destroyed.
  static NotificationCenter& defaultCenter();

  /// A center of one's own.
  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  /// Observes until the registration ends, from any thread; it may outlive the center. Without a sender, the
  /// notifications of every sender.
  Registration observe(NotificationName name, const void* sender, Callback callback);
  /// Calls the observers of this sender, then those of any sender, each in the order in which they began.
  void post(NotificationName name, const void* sender = nullptr);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace qw
