#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <objbase.h>
#include <shlobj.h>
#include <wincrypt.h>

#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/ImportHook.h"
#include "support/InstallTree.h"
#include "support/LogCapture.h"
#include "support/Wine.h"
#include "updater/ZuDllUpdater.h"

namespace zuvia::test {

// The hooked module is the test program: the updater is linked into it.
inline HMODULE self() {
  return GetModuleHandleW(nullptr);
}

// An install tree in which the updater believes to lie, and the lines that it logs. The paths hold a blank and
// characters outside every ANSI code page at once.
class UpdaterTest : public testing::Test {
 protected:
  UpdaterTest();

  // The updater's lines so far, each as "function: message". Level, class and source file are checked here.
  std::vector<WideText> logged() const;

  // A path for a package, in a directory that exists.
  std::wstring packagePath() const { return joinPath(tree.appPath(), L"package.zip"); }

  const InstallTree tree{L"zuvia \u00e9\u4e2d"};
  LogCapture log;

 private:
  DWORD copyPluginPath(wchar_t* path, DWORD size) const;

  ImportHook<decltype(GetModuleFileNameW)> moduleName_;
};

using PackageEntries = std::vector<std::pair<std::wstring, std::string>>;  // name and content

// Makes a package of these files, with their names as they are.
std::string makePackage(const PackageEntries& entries);

// Makes every GUID this one, for its scope.
class FixedGuid {
 public:
  // result: what the making of a GUID reports.
  explicit FixedGuid(const GUID& guid, HRESULT result = S_OK)
      : hook_(self(), "CoCreateGuid", [guid, result](auto*, GUID* out) -> HRESULT {
          *out = guid;
          return result;
        }) {}

 private:
  ImportHook<decltype(CoCreateGuid)> hook_;
};

// Holds calls of a hooked function until it is opened.
class Gate {
 public:
  // In the hook: says that a call has come and waits until the gate is open.
  void pass();

  // Waits until a call has come. False: none came within 10 s.
  bool waitForCall() const;

  void open();

  ~Gate() { open(); }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool called_ = false;
  bool open_ = false;
};

// Whether nobody holds a named mutex. Asked on a thread of its own, for the asking one may be the holder.
bool isMutexFree(const std::wstring& name);

// The error code that the system leaves after an action.
template <typename Action>
DWORD errorAfter(Action action) {
  SetLastError(ERROR_SUCCESS);
  action();
  return GetLastError();
}

}  // namespace zuvia::test
