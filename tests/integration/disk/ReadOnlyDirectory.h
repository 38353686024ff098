#pragma once

#include <windows.h>

#include <cstdio>
#include <string>

#include "integration/faults/Fault.h"
#include "support/ImportHook.h"

namespace zuvia::test {

// A directory below which the plugin may read and list everything, and make, change, move and remove nothing, for as
// long as this lives: ERROR_ACCESS_DENIED, EACCES. By hooks, because the user who runs the tests may write anywhere.
class ReadOnlyDirectory : public ArmedFault {
 public:
  // Throws as ImportHook does.
  ReadOnlyDirectory(HMODULE plugin, const std::wstring& directory);

  // Whether something was refused.
  bool happened() const override { return happened_; }

 private:
  template <typename Result>
  Result refuse(Result result);
  bool holds(const wchar_t* path) const;

  const std::wstring beginning_;  // of the paths that are meant
  std::atomic<bool> happened_ = false;
  ImportHook<decltype(CreateFileW)> createFile_;
  ImportHook<FILE*(const wchar_t*, const wchar_t*)> open_;
  ImportHook<int(HWND, const wchar_t*, const SECURITY_ATTRIBUTES*)> createDirectory_;
  ImportHook<decltype(MoveFileExW)> moveFile_;
  ImportHook<decltype(DeleteFileW)> deleteFile_;
  ImportHook<decltype(RemoveDirectoryW)> removeDirectory_;
  ImportHook<decltype(SetFileAttributesW)> setAttributes_;
};

// It, as a fault.
Fault readOnly(const std::wstring& directory);

}  // namespace zuvia::test
