// Ends while other threads log, in the sink or in the default writer. EndingLibrary logs once more after those threads
// were ended. Argument: "sink" or "default".

#include <hxbase/LogControl.h>
#include <windows.h>

#include <cstring>
#include <thread>

__declspec(dllimport) void useEndingLibrary();

namespace {

void log(const wchar_t* message) {
  DoLog2(1, "Ending", "Ending", 1, "log", message, "ending.exe");
}

SRWLOCK sinkLock = SRWLOCK_INIT;

// Holds a lock of its own for most of its time, as any sink would hold one.
void sink(void*, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t*, const char*) {
  AcquireSRWLockExclusive(&sinkLock);
  Sleep(1);
  ReleaseSRWLockExclusive(&sinkLock);
}

}  // namespace

int main(int argc, char** argv) {
  useEndingLibrary();
  if (argc == 2 && std::strcmp(argv[1], "sink") == 0) HxSetLogSink(sink, nullptr);
  for (int i = 0; i < 4; ++i) {
    std::thread([] {
      for (;;) log(L"line");
    }).detach();
  }
  Sleep(100);
  ExitProcess(7);
}
