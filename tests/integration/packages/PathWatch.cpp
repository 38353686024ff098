#include "integration/packages/PathWatch.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "support/Text.h"

namespace zuvia::test {
namespace {

std::wstring fullPath(const std::wstring& path) {
  std::array<wchar_t, 2048> buffer;
  const DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(buffer.size()), buffer.data(), nullptr);
  return length < buffer.size() ? std::wstring(buffer.data(), length) : L"";
}

// The system leaves none where it would go upwards itself; one in a full path is no place to be sure of.
bool hasParentPart(std::wstring_view path) {
  return (std::wstring(path) + L'\\').find(L"\\..\\") != std::wstring::npos;
}

bool isIn(std::wstring_view path, std::wstring_view directory) {
  if (path.size() < directory.size() || _wcsnicmp(path.data(), directory.data(), directory.size()) != 0) return false;
  return path.size() == directory.size() || path[directory.size()] == L'\\';
}

}  // namespace

PathWatch::PathWatch(HMODULE module)
    : createFile_(
          module, "CreateFileW",
          [this](auto* original, const wchar_t* path, auto... rest) { return add(path), original(path, rest...); }),
      deleteFile_(module, "DeleteFileW",
                  [this](auto* original, const wchar_t* path) { return add(path), original(path); }),
      moveFile_(module, "MoveFileExW",
                [this](auto* original, const wchar_t* from, const wchar_t* to, DWORD flags) {
                  return add(from), add(to), original(from, to, flags);
                }),
      removeDirectory_(module, "RemoveDirectoryW",
                       [this](auto* original, const wchar_t* path) { return add(path), original(path); }),
      createDirectory_(module, "SHCreateDirectoryExW",
                       [this](auto* original, HWND window, const wchar_t* path, auto* security) {
                         return add(path), original(window, path, security);
                       }),
      setAttributes_(
          module, "SetFileAttributesW",
          [this](auto* original, const wchar_t* path, DWORD value) { return add(path), original(path, value); }),
      openWide_(
          module, "_wfopen",
          [this](auto* original, const wchar_t* path, const wchar_t* mode) { return add(path), original(path, mode); }),
      openNarrow_(
          module, "fopen",
          [this](auto* original, const char* path, const char* mode) { return add(path), original(path, mode); }),
      openLow_(module, "_open", [this](auto* original, const char* path, int flags, int permissions) {
        return add(path), original(path, flags, permissions);
      }) {}

std::vector<std::wstring> PathWatch::paths() const {
  const std::lock_guard lock(mutex_);
  return paths_;
}

std::set<WideText> PathWatch::pathsOutside(const std::vector<std::wstring>& directories) const {
  std::set<WideText> outside;
  for (const std::wstring& path : paths()) {
    const std::wstring full = fullPath(path);
    const auto holdsIt = [&](const std::wstring& directory) { return isIn(full, directory); };
    if (hasParentPart(full) || std::ranges::none_of(directories, holdsIt)) outside.insert(full);
  }
  return outside;
}

void PathWatch::add(const wchar_t* path) {
  const std::lock_guard lock(mutex_);
  paths_.emplace_back(path == nullptr ? L"" : path);
}

void PathWatch::add(const char* path) {
  const std::lock_guard lock(mutex_);
  paths_.push_back(path == nullptr ? L"" : toWide(path));
}

}  // namespace zuvia::test
