#pragma once

#include <windows.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "integration/faults/Fault.h"

namespace zuvia::test {

inline constexpr const wchar_t* kCurlMutex = L"Local\\ZuviaPluginCurlGlobal";
inline constexpr const wchar_t* kCleanUpMutex = L"Local\\ZuviaPluginCleanup";
inline constexpr const wchar_t* kVersionMutex = L"Local\\ZuviaPluginUpdate-2.0.0.47";

// What goes wrong with a named mutex.
struct MutexTrouble {
  std::size_t use = 1;                       // the first opening of it, or a later one
  std::optional<DWORD> creationError = {};   // it cannot be made
  std::optional<DWORD> waitResult = {};      // what the wait answers instead of waiting
  DWORD waitError = kGreatError;             // and the error code that it leaves
  std::function<void()> beforeWait = [] {};  // on the thread that is about to wait
  std::function<void()> afterWait = [] {};   // on the same thread, with the mutex held
};

// One use of a named mutex by the plugin, from its opening to its closing, with or without trouble; other mutexes and
// waits pass. It happens when the mutex is waited for, or cannot be made. Lives from before that use until no thread is
// inside the plugin any more.
//
// steps: what is done with it, all of it, in order: "open", "wait 60000" (or "wait 60000 abandoned", "wait 60000 in
// vain"), "release", "close". Anything else fails the test.
Fault onMutex(const std::wstring& name, const MutexTrouble& trouble, const std::vector<std::string>& steps);

// No transfer can be begun, for want of memory, when the plugin holds the curl mutex for this time.
Fault withoutTransfer(std::size_t use);

}  // namespace zuvia::test
