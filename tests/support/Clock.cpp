#include "support/Clock.h"

namespace zuvia::test {
namespace {

std::int64_t trueTime() {
  FILETIME time{};
  GetSystemTimeAsFileTime(&time);
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.dwHighDateTime) << 32 | time.dwLowDateTime);
}

}  // namespace

Clock::Clock(HMODULE module)
    : now_(trueTime()), hook_(module, "GetSystemTimeAsFileTime", [this](auto*, FILETIME* time) {
        const auto now = static_cast<std::uint64_t>(now_.load());
        *time = {static_cast<DWORD>(now), static_cast<DWORD>(now >> 32)};
      }) {}

}  // namespace zuvia::test
