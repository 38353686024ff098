#pragma once

#include <windows.h>

#include <cstdio>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "support/ImportHook.h"
#include "support/SecondProcess.h"

namespace zuvia::test {

// A program as one that looks for viruses: another process that opens what the plugin has newly written, at once when
// the plugin has closed it, and keeps it open for a while. The plugin's closing tells it of the file, so that it is
// never late. While it holds something, a directory above that cannot be moved; Windows refuses that, Wine does not.
//
// Any thread.
class Scanner {
 public:
  // isWanted: which new files it opens, by their paths. share: with whom it shares them. Throws as ImportHook does.
  Scanner(HMODULE plugin, FileShare share, std::function<bool(const std::wstring& path)> isWanted);

  // Of new files it opens this one only, or none.
  Scanner(HMODULE plugin, FileShare share, const std::wstring& wanted = {});

  // Opens a file that is there already, wanted or not.
  void open(const std::wstring& path);

  // Lets go of everything.
  void letGo();

  // What it holds, in the order of its opening. A file is held once at most.
  std::vector<std::wstring> held() const;

 private:
  template <typename File>
  void opened(File file, const wchar_t* path);
  template <typename File>
  void closed(File file);
  void hold(const std::wstring& path);
  bool holdsBelow(const std::wstring& directory) const;

  const FileShare share_;
  const std::function<bool(const std::wstring&)> isWanted_;
  mutable std::mutex mutex_;  // guards what follows
  SecondProcess process_;
  std::map<const void*, std::wstring> written_;  // open for writing, by stream or handle
  std::vector<std::wstring> held_;
  ImportHook<FILE*(const wchar_t*, const wchar_t*)> openStream_;
  ImportHook<int(FILE*)> closeStream_;
  ImportHook<decltype(CreateFileW)> createFile_;
  ImportHook<decltype(CloseHandle)> closeHandle_;
  ImportHook<decltype(MoveFileExW)> moveFile_;
};

}  // namespace zuvia::test
