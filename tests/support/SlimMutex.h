#pragma once

#include <windows.h>

#include <algorithm>
#include <chrono>

namespace zuvia::test {

// A std::mutex that two threads ever wanted at once keeps an event of the run-time library for good; this one
// keeps nothing, so that tests can tell whether they do.
class SlimMutex {
 public:
  void lock() { AcquireSRWLockExclusive(&lock_); }
  void unlock() { ReleaseSRWLockExclusive(&lock_); }

  // Gives it up until `changed` is signalled or the deadline has come.
  void wait(CONDITION_VARIABLE& changed, std::chrono::steady_clock::time_point deadline) {
    using std::chrono::milliseconds;
    const auto left = std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now());
    SleepConditionVariableSRW(&changed, &lock_, static_cast<DWORD>(std::max(left, milliseconds(0)).count()), 0);
  }

 private:
  SRWLOCK lock_ = SRWLOCK_INIT;
};

}  // namespace zuvia::test
