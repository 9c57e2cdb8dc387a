#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/base/Export.h"
#include "platform/base/Registration.h"

typedef struct _GMainContext GMainContext;

namespace qw {

/// The event loop of one thread, on the GLib main context of that thread, so that whatever drives that
/// context (GTK, Qt, another library, or `run`) drives it too. The main thread's is never destroyed; another
/// thread's ends with the thread and drops what is still pending. Only `dispatch`, `dispatchSync`, `stop` and
/// `isCurrent` may be called from other threads.
///
/// One pass handles the events that are due (timers, descriptors, dispatched closures), then the performs
/// they scheduled in order, then the closures of `atEndOfPass`. Idle closures run when nothing else is due.
/// Closures must not throw.
class QW_EXPORT RunLoop : public std::enable_shared_from_this<RunLoop> {
 public:
  /// Runs on the loop's thread; must not throw.
  using Closure = std::function<void()>;
  /// Of the monotonic clock.
  using Duration = std::chrono::microseconds;
  /// Names a scheduled perform.
  struct PerformToken {
    /// As it was given; lower ones run first.
    std::uint64_t order = 0;
    /// Counts the performs of a loop.
    std::uint64_t sequence = 0;
    friend auto operator<=>(const PerformToken&, const PerformToken&) = default;
  };
  /// What a descriptor is ready for; a set of bits.
  enum class DescriptorEvents : unsigned { kReadable = 1, kWritable = 2, kHangUp = 4 };

  /// The loop of the calling thread, made when first asked for. Keep `shared_from_this()` to reach it from a
  /// thread that may outlive it.
  static RunLoop& current();
  /// The loop of the program's main thread.
  static RunLoop& main();
  /// Whether the caller runs on the program's main thread.
  static bool isMainThread();

  ~RunLoop();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  /// Whether this is the loop of the calling thread. From any thread.
  bool isCurrent() const;
  /// For libraries that attach their own sources.
  GMainContext* context() const;

  /// Runs a closure on this loop's thread in a coming pass, after everything dispatched before. From any
  /// thread. When the thread has ended the closure is dropped.
  void dispatch(Closure closure);
  /// Runs a closure on this loop's thread and waits for it; at once when that is the calling thread. False
  /// when the thread ended without running it. Blocks as long as nothing drives the loop.
  bool dispatchSync(const Closure& closure);

  /// Runs a closure at the end of this pass, or of the next one when called by such a closure: lower orders
  /// first, then in order of scheduling.
  PerformToken perform(std::uint64_t order, Closure closure);
  /// Answers whether the perform was still to run.
  bool cancelPerform(PerformToken token);
  /// Runs a closure once when this pass ends, after its performs.
  void atEndOfPass(Closure closure);
  /// Runs a closure once, after those posted before, when no event is due.
  void whenIdle(Closure closure);

  /// Runs a closure once after the delay, unless the registration, which belongs to this thread, ends before.
  Registration timer(Duration delay, Closure closure);
  /// The same again and again: at multiples of the interval (at least a microsecond), without those that it
  /// missed.
  Registration repeatingTimer(Duration interval, Closure closure);
  /// A timer that nothing can end.
  void after(Duration delay, Closure closure);
  /// Calls back in every pass in which the descriptor is ready for one of the events, or hung up or failed.
  /// The caller keeps the descriptor open until the registration has ended.
  Registration descriptor(int fd, DescriptorEvents events, std::function<void(DescriptorEvents)> closure);

  /// Handles events until `stop` is called for this run; runs nest.
  void run();
  /// Ends the innermost run after the current pass. From any thread.
  void stop();
  /// Handles events until the condition holds, or answers false after the time-out. The condition is looked
  /// at after every pass and every few milliseconds.
  bool runUntil(const std::function<bool()>& condition, Duration timeout);
  /// Handles everything that is due, and what that makes due, without waiting. For programs that run no loop.
  void drain();

 private:
  struct State;
  explicit RunLoop(GMainContext* context);
  static RunLoop* threadLoop();

  std::unique_ptr<State> state_;
};

/// The events of both sets.
constexpr RunLoop::DescriptorEvents operator|(RunLoop::DescriptorEvents a, RunLoop::DescriptorEvents b) {
  return static_cast<RunLoop::DescriptorEvents>(static_cast<unsigned>(a) | static_cast<unsigned>(b));
}
/// Whether two sets of events have one in common.
constexpr bool operator&(RunLoop::DescriptorEvents a, RunLoop::DescriptorEvents b) {
  return (static_cast<unsigned>(a) & static_cast<unsigned>(b)) != 0;
}

}  // namespace qw
