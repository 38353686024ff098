#include "platform/SystemClock.h"

#include "platform/Windows.h"

namespace zuvia {

int64_t systemTicks() {
  constexpr int64_t kTicksFrom1601To1970 = 116'444'736'000'000'000;
  FILETIME time = {};
  GetSystemTimeAsFileTime(&time);
  return ((static_cast<int64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime) - kTicksFrom1601To1970;
}

}  // namespace zuvia
