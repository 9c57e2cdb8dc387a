#include "values/collections/QWBufferedCaller.h"

#include <cassert>
#include <map>
#include <unordered_map>

#include "platform/loop/internal/PerThread.h"

namespace qw::detail {

namespace {

using Target = BufferedCalls::Target;

struct PendingCall {
  BufferedCalls::Invocation invocation;
  RunLoop::PerformToken perform;
};

struct Caller {
  std::unordered_map<std::string, PendingCall> invocations;
  bool cancelling = false;
  unsigned disableRegistrationCount = 0;

  bool isIdle() const { return invocations.empty() && !cancelling && disableRegistrationCount == 0; }
};

// The callers of one thread. Ordered by the identity that a target keeps even when it is dead, so that an
// object that comes to lie at the address of a dead one is another. A caller is kept only while it has
// something to remember.
struct Callers {
  std::map<Target, Caller, std::owner_less<Target>> byTarget;
  std::uint64_t nextOrder = 0;
  std::size_t sweepAtSize = 16;

  Caller& make(const Target& target) {
    if (byTarget.size() >= sweepAtSize) {
      // Callers of dead targets go when their calls come up; those without any are found here.
      std::erase_if(byTarget,
                    [](const auto& e) { return e.first.expired() && e.second.invocations.empty(); });
      sweepAtSize = 16 + 2 * byTarget.size();
    }
    return byTarget[target];
  }

  Caller* find(const Target& target) {
    const auto found = byTarget.find(target);
    return found == byTarget.end() ? nullptr : &found->second;
  }
  void removeIfIdle(const Target& target) {
    const auto found = byTarget.find(target);
    if (found != byTarget.end() && (found->second.isIdle() || target.expired())) byTarget.erase(found);
    if (byTarget.empty()) nextOrder = 0;
  }
};

Callers& callers() { return perThread<Callers>(); }

void invoke(const Target& target, const std::string& key) {
  if (Caller* caller = callers().find(target)) {
    const auto call = caller->invocations.extract(key);
    if (const auto object = target.lock(); object && !call.empty()) call.mapped().invocation(*object);
  }
  callers().removeIfIdle(target);
}

}  // namespace

void BufferedCalls::call(const Target& target, std::string key, Invocation invocation) {
  Callers& all = callers();
  Caller& caller = all.make(target);
  if (std::exchange(caller.cancelling, false)) {
    const auto call = caller.invocations.extract(key);
    if (!call.empty()) RunLoop::current().cancelPerform(call.mapped().perform);
    return all.removeIfIdle(target);
  }
  if (caller.disableRegistrationCount > 0 || caller.invocations.contains(key)) return;
  const auto perform = RunLoop::current().perform(all.nextOrder++, [target, key] { invoke(target, key); });
  caller.invocations.emplace(std::move(key), PendingCall{std::move(invocation), perform});
}

void BufferedCalls::prepareToCancel(const Target& target) { callers().make(target).cancelling = true; }

void BufferedCalls::disableRegistration(const Target& target) {
  ++callers().make(target).disableRegistrationCount;
}

void BufferedCalls::enableRegistration(const Target& target) {
  Caller* const caller = callers().find(target);
  assert(caller && caller->disableRegistrationCount > 0);
  if (caller && caller->disableRegistrationCount > 0) --caller->disableRegistrationCount;
  callers().removeIfIdle(target);
}

bool BufferedCalls::shouldRegister(const Target& target) {
  const Caller* const caller = callers().find(target);
  return !caller || caller->disableRegistrationCount == 0;
}

void BufferedCalls::clear(const Target& target) {
  Callers& all = callers();
  if (Caller* const caller = all.find(target))
    for (const auto& [key, call] : caller->invocations) RunLoop::current().cancelPerform(call.perform);
  all.byTarget.erase(target);
  all.removeIfIdle(target);
}

}  // namespace qw::detail
