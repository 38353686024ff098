// Logs a line when the process ends: then the thread that ends it is the only one left.

#include <hxbase/Log.h>
#include <windows.h>

// For the program to have something to link.
__declspec(dllexport) void useEndingLibrary() {}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void*) {
  if (reason == DLL_PROCESS_DETACH) DoLog2(1, "Ending", "Ending", 1, "log", L"last line", "ending.dll");
  return TRUE;
}
