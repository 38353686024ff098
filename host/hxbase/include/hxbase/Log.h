#pragma once

#include <cstdint>

// The logger that the host's base library exports. The plugin module imports these two.

#if defined(HXBASE_BUILDING)
#define HXBASE_API __declspec(dllexport)
#else
#define HXBASE_API __declspec(dllimport)
#endif

extern "C" {

// Returns whether lines of this level are wanted. Any thread; does not throw.
HXBASE_API bool IsLogLevelEnabled(uint16_t level);

// Writes one line. The texts are owned by the caller and need not outlive the call; none is null.
//
// className, sourceFile, functionName, moduleName: narrow, system code page.
// message: UTF-16.
// The level is looked at once more: a line of a disabled level is dropped. Any thread; does not
// throw.
HXBASE_API void DoLog2(uint16_t level, const char* className, const char* sourceFile, uint16_t line,
                       const char* functionName, const wchar_t* message, const char* moduleName);

}  // extern "C"
