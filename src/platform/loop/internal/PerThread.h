#pragma once

#include "platform/loop/RunLoop.h"

namespace qw {

/// The `T` of the calling thread, made when first asked for. It may use the thread's run loop until it is
/// destroyed with the thread. That of the main thread is never destroyed, for what ends after `main`.
template <class T>
T& perThread() {
  if (RunLoop::isMainThread()) {
    static T* const instance = new T;
    return *instance;
  }
  struct Holder {
    RunLoop& loop = RunLoop::current();  // first made, last destroyed
    T value;
  };
  static thread_local Holder holder;
  return holder.value;
}

}  // namespace qw
