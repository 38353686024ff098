#pragma once

#include <windows.h>

#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "support/ImportHook.h"
#include "support/WideText.h"

namespace zuvia::test {

// Records every path under which a module opens, makes, moves, changes or removes something, for as long as it
// lives: through each function that the module imports for that. What it merely asks about (attributes, listings)
// is not recorded.
class PathWatch {
 public:
  // The module imports all these functions. Throws as ImportHook does.
  explicit PathWatch(HMODULE module);

  // The paths so far, as they were given, in the order of the calls; both of a move. Any thread.
  std::vector<std::wstring> paths() const;

  // Where the system looks for those that neither lie in one of these directories nor are one of them: absolute,
  // without "." and the dots and blanks that do not count, "\\.\nul" for a device. Each once.
  std::set<WideText> pathsOutside(const std::vector<std::wstring>& directories) const;

 private:
  void add(const wchar_t* path);
  void add(const char* path);

  mutable std::mutex mutex_;
  std::vector<std::wstring> paths_;
  ImportHook<decltype(CreateFileW)> createFile_;
  ImportHook<decltype(DeleteFileW)> deleteFile_;
  ImportHook<decltype(MoveFileExW)> moveFile_;
  ImportHook<decltype(RemoveDirectoryW)> removeDirectory_;
  ImportHook<int(HWND, const wchar_t*, const SECURITY_ATTRIBUTES*)> createDirectory_;
  ImportHook<decltype(SetFileAttributesW)> setAttributes_;
  ImportHook<FILE*(const wchar_t*, const wchar_t*)> openWide_;
  ImportHook<FILE*(const char*, const char*)> openNarrow_;
  ImportHook<int(const char*, int, int)> openLow_;
};

}  // namespace zuvia::test
