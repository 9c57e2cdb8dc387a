#include "platform/loop/RunLoop.h"

#include <glib-unix.h>
#include <glib.h>
#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace qw {

namespace {

using SourceHandle = std::shared_ptr<GSource>;

// A source whose closure runs when its ready time comes. Timers that repeat carry their interval.
struct ClosureSource {
  GSource base;
  gint64 interval;
};

gboolean dispatchClosure(GSource* source, GSourceFunc callback, gpointer data) noexcept {
  const gint64 interval = reinterpret_cast<ClosureSource*>(source)->interval;
  if (interval > 0) {
    const gint64 missed = (g_source_get_time(source) - g_source_get_ready_time(source)) / interval;
    g_source_set_ready_time(source, g_source_get_ready_time(source) + (missed + 1) * interval);
  }
  return callback(data);
}

GSourceFuncs closureFunctions = {nullptr, nullptr, dispatchClosure, nullptr, nullptr, nullptr};

template <class Function>
void deleteFunction(gpointer function) {
  delete static_cast<Function*>(function);
}

enum class AfterCall { kKeep, kRemove };

template <AfterCall after>
gboolean callClosure(gpointer closure) noexcept {
  (*static_cast<RunLoop::Closure*>(closure))();
  return after == AfterCall::kKeep ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

gboolean callDescriptorClosure(gint, GIOCondition condition, gpointer data) noexcept {
  using Events = RunLoop::DescriptorEvents;
  unsigned events = 0;
  if (condition & G_IO_IN) events |= static_cast<unsigned>(Events::kReadable);
  if (condition & G_IO_OUT) events |= static_cast<unsigned>(Events::kWritable);
  if (condition & (G_IO_HUP | G_IO_ERR)) events |= static_cast<unsigned>(Events::kHangUp);
  (*static_cast<std::function<void(Events)>*>(data))(static_cast<Events>(events));
  return G_SOURCE_CONTINUE;
}

SourceHandle attach(GSource* source, GMainContext* context) {
  g_source_attach(source, context);
  return SourceHandle(source, [](GSource* s) {
    g_source_destroy(s);
    g_source_unref(s);
  });
}

GSource* newClosureSource(int priority, gint64 readyTime, gint64 interval, AfterCall after,
                          RunLoop::Closure closure) {
  GSource* source = g_source_new(&closureFunctions, sizeof(ClosureSource));
  reinterpret_cast<ClosureSource*>(source)->interval = interval;
  g_source_set_priority(source, priority);
  g_source_set_ready_time(source, readyTime);
  g_source_set_callback(
      source, after == AfterCall::kKeep ? callClosure<AfterCall::kKeep> : callClosure<AfterCall::kRemove>,
      new RunLoop::Closure(std::move(closure)), deleteFunction<RunLoop::Closure>);
  return source;
}

gint64 monotonicTimeIn(RunLoop::Duration delay) { return g_get_monotonic_time() + delay.count(); }

Registration registrationOf(SourceHandle source) {
  return Registration([source = std::move(source)]() mutable { source.reset(); });
}

// A part of the pass with a queue of its own: its source is ready as long as it is armed. It stays armed
// while its handler runs, so that a loop nested in the handler goes on with the rest of the queue.
class Stage {
 public:
  Stage(GMainContext* context, int priority, RunLoop::Closure handler)
      : source_(attach(newClosureSource(priority, -1, 0, AfterCall::kKeep, std::move(handler)), context)) {
    g_source_set_can_recurse(source_.get(), TRUE);
  }
  void arm() { g_source_set_ready_time(source_.get(), 0); }
  void disarm() { g_source_set_ready_time(source_.get(), -1); }

 private:
  SourceHandle source_;
};

bool threadIsMain() {
#ifdef __linux__
  return gettid() == getpid();
#else
  static const std::thread::id first = std::this_thread::get_id();
  return std::this_thread::get_id() == first;
#endif
}

// Lets one thread wait until another has run a closure, or has dropped it.
class Completion {
 public:
  void set(bool ran) {
    std::lock_guard lock(mutex_);
    if (!done_) ran_ = ran;
    done_ = true;
    changed_.notify_all();
  }
  bool wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return done_; });
    return ran_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool done_ = false;
  bool ran_ = false;
};

}  // namespace

struct RunLoop::State {
  explicit State(GMainContext* c)
      : context(c),
        dispatchStage(c, G_PRIORITY_DEFAULT, [this] { runDispatched(); }),
        passStage(c, G_PRIORITY_HIGH, [this] { runPass(); }),
        laterPassStage(c, G_PRIORITY_DEFAULT, [this] { runPass(); }),
        idleStage(c, G_PRIORITY_DEFAULT_IDLE, [this] { runIdle(); }) {}

  void runDispatched();
  void runPass();
  void runIdle();
  void close();
  // What a pass schedules itself waits for the next one behind other events, so that it cannot starve them.
  void armPass() { inPass ? laterPassStage.arm() : passStage.arm(); }

  GMainContext* context;
  std::optional<std::thread::id> thread;  // none for the main thread, which may not be the first to ask
  int runDepth = 0;
  int runsToKeep = 0;

  std::mutex mutex;  // guards the two below
  std::deque<Closure> dispatched;
  bool closed = false;

  std::map<PerformToken, Closure> scheduled;
  std::map<PerformToken, Closure> running;
  std::vector<Closure> endOfPass;
  std::uint64_t lastSequence = 0;
  bool inPass = false;

  std::deque<Closure> idle;

  Stage dispatchStage;
  Stage passStage;  // before any other event, so that a pass ends before the next event begins
  Stage laterPassStage;
  Stage idleStage;
};

void RunLoop::State::runDispatched() {
  std::unique_lock lock(mutex);
  // Closures that come in meanwhile wait for the next pass. A nested loop may have taken some of ours.
  for (std::size_t count = dispatched.size(); count > 0 && !dispatched.empty(); --count) {
    {
      const Closure closure = std::move(dispatched.front());
      dispatched.pop_front();
      lock.unlock();
      closure();
    }
    lock.lock();
  }
  if (dispatched.empty()) dispatchStage.disarm();
}

void RunLoop::State::runPass() {
  const bool nested = std::exchange(inPass, true);
  passStage.disarm();
  running.merge(scheduled);
  if (!running.empty()) laterPassStage.arm();
  while (!running.empty()) {
    const auto entry = running.extract(running.begin());
    entry.mapped()();
  }
  for (const Closure& closure : std::exchange(endOfPass, {})) closure();
  if (scheduled.empty() && endOfPass.empty()) laterPassStage.disarm();
  inPass = nested;
}

void RunLoop::State::runIdle() {
  for (std::size_t count = idle.size(); count > 0 && !idle.empty(); --count) {
    const Closure closure = std::move(idle.front());
    idle.pop_front();
    closure();
  }
  if (idle.empty()) idleStage.disarm();
}

void RunLoop::State::close() {
  std::deque<Closure> dropped;  // destroyed after the lock is given back
  {
    std::lock_guard lock(mutex);
    closed = true;
    dropped.swap(dispatched);
  }
  scheduled.clear();
  endOfPass.clear();
  idle.clear();
}

RunLoop::RunLoop(GMainContext* context) : state_(std::make_unique<State>(g_main_context_ref(context))) {}

RunLoop::~RunLoop() {
  GMainContext* context = state_->context;
  state_.reset();
  g_main_context_unref(context);
}

RunLoop& RunLoop::main() {
  // Lives for good: other threads may dispatch while the program ends.
  static auto* loop = new std::shared_ptr<RunLoop>(new RunLoop(g_main_context_default()));
  return **loop;
}

bool RunLoop::isMainThread() {
  static thread_local const bool isMain = threadIsMain();
  return isMain;
}

RunLoop& RunLoop::current() { return isMainThread() ? main() : *threadLoop(); }

RunLoop* RunLoop::threadLoop() {
  struct Holder {
    Holder() {
      GMainContext* existing = g_main_context_get_thread_default();
      GMainContext* context = existing ? g_main_context_ref(existing) : g_main_context_new();
      if (!existing) g_main_context_push_thread_default(pushed = context);
      loop.reset(new RunLoop(context));
      loop->state_->thread = std::this_thread::get_id();
      g_main_context_unref(context);
    }
    ~Holder() {
      loop->state_->close();
      if (pushed) g_main_context_pop_thread_default(pushed);
    }
    GMainContext* pushed = nullptr;
    std::shared_ptr<RunLoop> loop;
  };
  static thread_local Holder holder;
  return holder.loop.get();
}

bool RunLoop::isCurrent() const {
  return state_->thread ? *state_->thread == std::this_thread::get_id() : isMainThread();
}

GMainContext* RunLoop::context() const { return state_->context; }

void RunLoop::dispatch(Closure closure) {
  std::lock_guard lock(state_->mutex);
  if (state_->closed) return;
  state_->dispatched.push_back(std::move(closure));
  if (state_->dispatched.size() == 1) state_->dispatchStage.arm();
}

bool RunLoop::dispatchSync(const Closure& closure) {
  if (isCurrent()) {
    closure();
    return true;
  }
  // The waiter is released when the closure has run, or by the end of `guard` when it is dropped.
  const auto completion = std::make_shared<Completion>();
  std::shared_ptr<void> guard(nullptr, [completion](void*) { completion->set(false); });
  dispatch([&closure, completion, guard = std::move(guard)] {
    closure();
    completion->set(true);
  });
  return completion->wait();
}

RunLoop::PerformToken RunLoop::perform(std::uint64_t order, Closure closure) {
  const PerformToken token{order, ++state_->lastSequence};
  state_->scheduled.emplace(token, std::move(closure));
  state_->armPass();
  return token;
}

bool RunLoop::cancelPerform(PerformToken token) {
  return state_->scheduled.erase(token) + state_->running.erase(token) > 0;
}

void RunLoop::atEndOfPass(Closure closure) {
  state_->endOfPass.push_back(std::move(closure));
  state_->armPass();
}

void RunLoop::whenIdle(Closure closure) {
  state_->idle.push_back(std::move(closure));
  state_->idleStage.arm();
}

Registration RunLoop::timer(Duration delay, Closure closure) {
  GSource* source =
      newClosureSource(G_PRIORITY_DEFAULT, monotonicTimeIn(delay), 0, AfterCall::kRemove, std::move(closure));
  return registrationOf(attach(source, state_->context));
}

Registration RunLoop::repeatingTimer(Duration interval, Closure closure) {
  interval = std::max(interval, Duration(1));
  GSource* source = newClosureSource(G_PRIORITY_DEFAULT, monotonicTimeIn(interval), interval.count(),
                                     AfterCall::kKeep, std::move(closure));
  return registrationOf(attach(source, state_->context));
}

void RunLoop::after(Duration delay, Closure closure) {
  GSource* source =
      newClosureSource(G_PRIORITY_DEFAULT, monotonicTimeIn(delay), 0, AfterCall::kRemove, std::move(closure));
  g_source_attach(source, state_->context);
  g_source_unref(source);
}

Registration RunLoop::descriptor(int fd, DescriptorEvents events,
                                 std::function<void(DescriptorEvents)> closure) {
  using Handler = std::function<void(DescriptorEvents)>;
  unsigned condition = G_IO_HUP | G_IO_ERR;
  if (events & DescriptorEvents::kReadable) condition |= G_IO_IN;
  if (events & DescriptorEvents::kWritable) condition |= G_IO_OUT;
  GSource* source = g_unix_fd_source_new(fd, static_cast<GIOCondition>(condition));
  g_source_set_callback(source,
                        reinterpret_cast<GSourceFunc>(reinterpret_cast<void (*)()>(callDescriptorClosure)),
                        new Handler(std::move(closure)), deleteFunction<Handler>);
  return registrationOf(attach(source, state_->context));
}

void RunLoop::run() {
  const int depth = ++state_->runDepth;
  state_->runsToKeep = depth;
  while (state_->runsToKeep >= depth) g_main_context_iteration(state_->context, TRUE);
  state_->runsToKeep = state_->runDepth = depth - 1;
}

void RunLoop::stop() {
  if (!isCurrent()) return dispatch([this] { stop(); });
  state_->runsToKeep = state_->runDepth - 1;
}

bool RunLoop::runUntil(const std::function<bool()>& condition, Duration timeout) {
  const gint64 deadline = monotonicTimeIn(timeout);
  const Registration wakeUp = repeatingTimer(std::chrono::milliseconds(5), [] {});
  while (!condition()) {
    if (g_get_monotonic_time() >= deadline) return false;
    g_main_context_iteration(state_->context, TRUE);
  }
  return true;
}

void RunLoop::drain() {
  while (g_main_context_iteration(state_->context, FALSE)) {
  }
}

}  // namespace qw
