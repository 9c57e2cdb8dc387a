#include "platform/system/Clock.h"

#include <chrono>

namespace qw {

Date Clock::systemNow() {
  using std::chrono::microseconds;
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return Date::fromMicroseconds(std::chrono::duration_cast<microseconds>(sinceEpoch).count());
}

}  // namespace qw
