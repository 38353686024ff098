#include <hxbase/LogControl.h>
#include <windows.h>

#include <array>
#include <atomic>

#include "LogLine.h"

namespace {

// Everything here is constant-initialised and has no destructor: other modules log before this one
// is initialised and after it was cleaned up.

// One bit per level; set means disabled.
constinit std::array<std::atomic<uint32_t>, 65536 / 32> disabledLevels{};

struct Sink {
  HxLogSink* function;
  void* context;
};

// Held shared while the sink runs and exclusively while it is changed.
constinit SRWLOCK sinkLock = SRWLOCK_INIT;
constinit Sink sink{};

constinit SRWLOCK standardErrorLock = SRWLOCK_INIT;

class SharedLock {
 public:
  explicit SharedLock(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockShared(&lock_); }
  SharedLock(const SharedLock&) = delete;
  SharedLock& operator=(const SharedLock&) = delete;
  ~SharedLock() { ReleaseSRWLockShared(&lock_); }

 private:
  SRWLOCK& lock_;
};

class ExclusiveLock {
 public:
  explicit ExclusiveLock(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ExclusiveLock(const ExclusiveLock&) = delete;
  ExclusiveLock& operator=(const ExclusiveLock&) = delete;
  ~ExclusiveLock() { ReleaseSRWLockExclusive(&lock_); }

 private:
  SRWLOCK& lock_;
};

uint32_t maskOf(uint16_t level) {
  return 1U << (level % 32);
}

// Whether this is the one thread that is left, the others having been ended wherever they were. A
// lock that one of them held is never released.
bool processIsEnding() {
  using RtlDllShutdownInProgress = BOOLEAN WINAPI();
  const auto function = reinterpret_cast<RtlDllShutdownInProgress*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));
  return function != nullptr && function() != 0;
}

// Without the run-time library's streams, which have locks of their own.
void writeToStandardError(const std::string& text) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void logWithoutLocks(const hxbase::LogLine& line) {
  writeToStandardError(hxbase::readableLine(line));
}

void log(const hxbase::LogLine& line) {
  const SharedLock lock(sinkLock);
  if (sink.function != nullptr) {
    sink.function(sink.context, line.level, line.className, line.sourceFile, line.line, line.functionName, line.message,
                  line.moduleName);
    return;
  }
  const std::string text = hxbase::readableLine(line);
  const ExclusiveLock whole(standardErrorLock);
  writeToStandardError(text);
}

}  // namespace

bool IsLogLevelEnabled(uint16_t level) {
  return (disabledLevels[level / 32] & maskOf(level)) == 0;
}

void DoLog2(uint16_t level, const char* className, const char* sourceFile, uint16_t line, const char* functionName,
            const wchar_t* message, const char* moduleName) {
  if (!IsLogLevelEnabled(level)) return;
  const hxbase::LogLine values{level, className, sourceFile, line, functionName, message, moduleName};
  try {
    if (processIsEnding()) {
      logWithoutLocks(values);
    } else {
      log(values);
    }
  } catch (...) {  // no memory for the text: the line is lost
  }
}

void HxSetLogSink(HxLogSink* function, void* context) {
  const ExclusiveLock lock(sinkLock);
  sink = {function, context};
}

void HxSetLogLevelEnabled(uint16_t level, bool enabled) {
  if (enabled) {
    disabledLevels[level / 32] &= ~maskOf(level);
  } else {
    disabledLevels[level / 32] |= maskOf(level);
  }
}
