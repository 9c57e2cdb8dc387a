#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "platform/base/Export.h"
#include "platform/object/Object.h"

namespace qw::detail {

/// The deferred calls of the calling thread, by target: what `QWBufferedCaller` does, without its types.
struct QW_EXPORT BufferedCalls {
  using Target = std::weak_ptr<Object>;
  using Invocation = std::function<void(Object&)>;

  static void call(const Target& target, std::string key, Invocation invocation);
  static void prepareToCancel(const Target& target);
  static void enableRegistration(const Target& target);
  static void disableRegistration(const Target& target);
  static bool shouldRegister(const Target& target);
  static void clear(const Target& target);
};

/// What a parameter is kept as until the call: a copy that owns its characters.
template <class P>
using StoredParameter =
    std::conditional_t<std::is_same_v<std::decay_t<P>, std::string_view>, std::string, std::decay_t<P>>;

/// Adds an argument to the key of a call, if it is a text, so that no two lists of texts have the same key.
template <class A>
void appendText(std::string& key, const A& argument) {
  if constexpr (std::is_convertible_v<const A&, std::string_view>) {
    const std::string_view text(argument);
    key += std::to_string(text.size());
    (key += ':') += text;
  } else if constexpr (std::is_same_v<A, Value>) {
    if (argument.text()) appendText(key, *argument.text());
  } else if constexpr (std::is_same_v<A, std::optional<std::string>>) {
    if (argument) appendText(key, *argument);
  }
}

/// The parameters of a member function.
template <class... P>
struct QW_EXPORT Parameters {
  static_assert((!std::is_same_v<std::decay_t<P>, const char*> && ...),
                "take texts as std::string_view or std::string");
  using Stored = std::tuple<StoredParameter<P>...>;

  template <auto Method, class T>
  static void invoke(T& target, Stored& stored) {
    std::apply([&](auto&... argument) { (target.*Method)(static_cast<P>(argument)...); }, stored);
  }
};
template <class C, class R, class... P>
Parameters<P...> parametersOf(R (C::*)(P...));
template <class C, class R, class... P>
Parameters<P...> parametersOf(R (C::*)(P...) const);
template <class C, class R, class... P>
Parameters<P...> parametersOf(R (C::*)(P...) noexcept);
template <class C, class R, class... P>
Parameters<P...> parametersOf(R (C::*)(P...) const noexcept);

/// Its address is that of no other member function's.
template <auto Method>
QW_EXPORT inline constexpr char kMethodIdentity = 0;

}  // namespace qw::detail

/// Turns repeated calls of one target into a single deferred call at the end of the run loop's pass: however
/// often the example is called in a pass, `reloadData` runs once.
///
///     void dataChanged() { qw::bufferedCaller(*this).call<&View::reloadData>(); }
///
/// Calls are the same when they are of the same member function with the same text arguments, in order; other
/// arguments do not count, and the first call recorded wins. Calls recorded earlier run earlier. Each thread
/// has its own callers, whose calls run on that thread. The target is owned by a shared pointer and held
/// weakly: once dead it is not called.
template <std::derived_from<qw::Object> T>
class QW_EXPORT QWBufferedCaller {
 public:
  /// The caller of this thread for the target.
  static QWBufferedCaller bufferedCallerForTarget(T& target) { return QWBufferedCaller(target); }
  /// Drops all pending calls of the target on this thread, and resets `prepareToCancel` and
  /// `disableRegistration`.
  static void clearInvocationsForTarget(T& target) { Calls::clear(target.weak_from_this()); }

  /// The next call through the target's caller drops the pending one that is the same, and is not recorded
  /// itself.
  QWBufferedCaller& prepareToCancel() {
    Calls::prepareToCancel(target_);
    return *this;
  }
  /// Ends what one `disableRegistration` began.
  void enableRegistration() { Calls::enableRegistration(target_); }
  /// Calls are dropped, not recorded, until `enableRegistration` was called as often.
  void disableRegistration() { Calls::disableRegistration(target_); }
  /// Whether calls are recorded.
  bool shouldRegister() const { return Calls::shouldRegister(target_); }

  /// Records a call with copies of the arguments.
  template <auto Method, class... Args>
  void call(Args&&... args) {
    static_assert(std::is_invocable_v<decltype(Method), T&, Args...>, "a member function of the target");
    using Parameters = decltype(qw::detail::parametersOf(Method));
    typename Parameters::Stored stored(std::forward<Args>(args)...);
    const char* const identity = &qw::detail::kMethodIdentity<Method>;
    std::string key(reinterpret_cast<const char*>(&identity), sizeof identity);
    std::apply([&](const auto&... argument) { (qw::detail::appendText(key, argument), ...); }, stored);
    Calls::call(target_, std::move(key), [stored = std::move(stored)](qw::Object& target) mutable {
      Parameters::template invoke<Method>(static_cast<T&>(target), stored);
    });
  }

 private:
  using Calls = qw::detail::BufferedCalls;
  explicit QWBufferedCaller(T& target) : target_(target.weak_from_this()) {}

  Calls::Target target_;
};

namespace qw {

/// The buffered caller of this thread for an object, also for `*this`.
template <std::derived_from<Object> T>
QWBufferedCaller<T> bufferedCaller(T& target) {
  return QWBufferedCaller<T>::bufferedCallerForTarget(target);
}

}  // namespace qw
