// Breaks every rule for finished files; see BinaryRules_test.cpp.
#include <windows.h>

#include <timeapi.h>

// In a section of its own that is written and run.
asm(".section .mixed,\"xw\"\n.globl mixed\nmixed:\n.long 0\n.text");
extern "C" DWORD mixed;

// One memory for all processes that load the file.
__attribute__((section(".common,\"dws\"#"))) DWORD common = 1;

// Exported with its C++ name; calls a library that nothing else needs.
__declspec(dllexport) DWORD decorated();
DWORD decorated() {
  return timeGetTime() + mixed;
}

// Three spellings of a path, and one that is relative.
extern "C" __declspec(dllexport) const void* const texts[] = {
    "-I/machine/bytes/file",
    L"at /machine/wide",
    "\\machine\\slash\\file",
    "../machine/relative",
};
