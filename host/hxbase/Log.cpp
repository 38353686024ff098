#include <hxbase/LogControl.h>
#include <windows.h>

#include <array>
#include <atomic>

#include "LogLine.h"

namespace {

// What is here works before it is initialised, being zero then, and has no destructor: other modules
// log at the very beginning and at the very end of the process.

// One bit per level; set means disabled.
constinit std::array<std::atomic<uint32_t>, 65536 / 32> disabledLevels{};

struct Sink {
  HxLogSink* function;
  void* context;
};

// Held shared while the sink runs and exclusively while it is changed.
constinit SRWLOCK sinkLock = SRWLOCK_INIT;
constinit Sink sink{};

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

using ShutdownQuery = BOOLEAN WINAPI();

// Looked up when this module is loaded, not with every line: the look-up can wait for the loader.
ShutdownQuery* const shutdownQuery = reinterpret_cast<ShutdownQuery*>(
    reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlDllShutdownInProgress")));

// Whether this is the one thread that is left, the others having been ended wherever they were. A
// lock that one of them held is never released.
bool processIsEnding() {
  return shutdownQuery != nullptr && shutdownQuery() != 0;
}

// In one call, which keeps the line whole without a lock; the run-time library's streams have locks of their own.
void writeToStandardError(const std::string& text) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

void writeToSink(const hxbase::LogLine& line) {
  sink.function(sink.context, line.level, line.className, line.sourceFile, line.line, line.functionName, line.message,
                line.moduleName);
}

void log(const hxbase::LogLine& line) {
  if (processIsEnding()) return writeToStandardError(hxbase::readableLine(line));
  const SharedLock lock(sinkLock);
  if (sink.function != nullptr) return writeToSink(line);
  writeToStandardError(hxbase::readableLine(line));
}

}  // namespace

bool IsLogLevelEnabled(uint16_t level) {
  return (disabledLevels[level / 32] & maskOf(level)) == 0;
}

void DoLog2(uint16_t level, const char* className, const char* sourceFile, uint16_t line, const char* functionName,
            const wchar_t* message, const char* moduleName) {
  if (!IsLogLevelEnabled(level)) return;
  try {
    log({level, className, sourceFile, line, functionName, message, moduleName});
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
