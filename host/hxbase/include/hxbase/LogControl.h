#pragma once

#include <cstdint>

#include <hxbase/Log.h>

// What the stand-in offers beyond the host's own library, for programs that watch the log.

extern "C" {

// Receives every line of an enabled level. Called on the thread that logs, by several threads at
// once; the texts are valid during the call only. It must not throw, and must not log. Once the
// process is ending it is not called any more, because Windows has ended the other threads wherever
// they were, and a lock that one of them held is never released: such lines go where they go
// without a sink.
using HxLogSink = void(void* context, uint16_t level, const char* className, const char* sourceFile, uint16_t line,
                       const char* functionName, const wchar_t* message, const char* moduleName);

// Sets the receiver of the lines; null restores the default, which writes readable UTF-8 lines to
// the standard error stream. When the call returns, the previous sink runs on no thread any more.
// Any thread, but not from inside a sink. context is handed back as it is and stays the caller's.
HXBASE_API void HxSetLogSink(HxLogSink* sink, void* context);

// Enables or disables the lines of one level. All levels are enabled at first. Any thread.
HXBASE_API void HxSetLogLevelEnabled(uint16_t level, bool enabled);

}  // extern "C"
