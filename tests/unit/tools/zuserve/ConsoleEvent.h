#pragma once

#include "platform/Windows.h"

namespace zuvia::test {

// Raises a console event in a process as Windows does: with a thread in it that calls the system's own routine.
// No console is needed for that. Returns what waiting for the thread gave.
inline DWORD raiseConsoleEvent(HANDLE process, unsigned long event, DWORD milliseconds = 10'000) {
  const FARPROC routine = GetProcAddress(GetModuleHandleW(L"kernelbase.dll"), "CtrlRoutine");
  const auto start = reinterpret_cast<LPTHREAD_START_ROUTINE>(reinterpret_cast<void*>(routine));
  void* const argument = reinterpret_cast<void*>(static_cast<ULONG_PTR>(event));
  const HANDLE thread = CreateRemoteThread(process, nullptr, 0, start, argument, 0, nullptr);
  const DWORD result = WaitForSingleObject(thread, milliseconds);
  CloseHandle(thread);
  return result;
}

}  // namespace zuvia::test
