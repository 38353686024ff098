#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>

#include "support/ImportHook.h"

namespace zuvia::test {

// A disk that becomes full while the plugin writes a file: of what goes beyond a number of its bytes, and of everything
// that is written to this or any other file later, nothing arrives, for as long as this lives. As on a disk, the part
// of a write that still fits is written, and files and directories can be made.
class FullDisk {
 public:
  // path: the file, as the plugin opens it. room: how many of its bytes fit. Throws as ImportHook does.
  FullDisk(HMODULE plugin, std::wstring path, std::size_t room);

  // Whether a write was refused.
  bool happened() const;

  // How many bytes the plugin meant to write to a file, up to and including the first write that was refused.
  std::size_t offered(const std::wstring& path) const;

 private:
  struct File {
    std::size_t offered = 0;
    bool refused = false;
  };

  int write(int (*original)(int, const void*, unsigned), int number, const void* data, unsigned size);
  unsigned fitting(const std::wstring& path, unsigned size);
  static int refuse();

  const std::wstring path_;
  mutable std::mutex mutex_;           // guards what follows
  std::map<int, std::wstring> paths_;  // by the number of the open file, the last one that had it
  std::map<std::wstring, File> files_;
  std::size_t room_;
  bool full_ = false;
  ImportHook<FILE*(const wchar_t*, const wchar_t*)> opening_;
  ImportHook<int(int, const void*, unsigned)> writing_;
};

}  // namespace zuvia::test
