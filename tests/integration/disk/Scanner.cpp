#include "integration/disk/Scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

namespace zuvia::test {

Scanner::Scanner(HMODULE plugin, FileShare share, std::function<bool(const std::wstring& path)> isWanted)
    : share_(share),
      isWanted_(std::move(isWanted)),
      openStream_(plugin, "_wfopen",
                  [this](auto* original, const wchar_t* path, const wchar_t* mode) {
                    FILE* const stream = original(path, mode);
                    const bool writes = std::wstring_view(mode).find_first_of(L"wa+") != std::wstring_view::npos;
                    if (stream != nullptr && writes) opened(stream, path);
                    return stream;
                  }),
      closeStream_(plugin, "fclose",
                   [this](auto* original, FILE* stream) {
                     const int result = original(stream);
                     closed(stream);
                     return result;
                   }),
      createFile_(plugin, "CreateFileW",
                  [this](auto* original, const wchar_t* path, DWORD access, auto... rest) {
                    HANDLE file = original(path, access, rest...);
                    if (file != INVALID_HANDLE_VALUE && (access & GENERIC_WRITE) != 0) opened(file, path);
                    return file;
                  }),
      closeHandle_(plugin, "CloseHandle",
                   [this](auto* original, HANDLE handle) {
                     const BOOL result = original(handle);
                     closed(handle);
                     return result;
                   }),
      moveFile_(plugin, "MoveFileExW", [this](auto* original, const wchar_t* from, const wchar_t* to, DWORD flags) {
        if (!holdsBelow(from)) return original(from, to, flags);
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
      }) {}

Scanner::Scanner(HMODULE plugin, FileShare share, const std::wstring& wanted)
    : Scanner(plugin, share, [wanted](const std::wstring& path) { return path == wanted; }) {}

void Scanner::open(const std::wstring& path) {
  const std::lock_guard lock(mutex_);
  hold(path);
}

void Scanner::letGo() {
  const std::lock_guard lock(mutex_);
  process_.releaseFiles();
  held_.clear();
}

std::vector<std::wstring> Scanner::held() const {
  const std::lock_guard lock(mutex_);
  return held_;
}

template <typename File>
void Scanner::opened(File file, const wchar_t* path) {
  const std::lock_guard lock(mutex_);
  written_[file] = path;
}

// The caller's last error and errno are those of the closing.
template <typename File>
void Scanner::closed(File file) {
  const DWORD lastError = GetLastError();
  const int error = errno;
  {
    const std::lock_guard lock(mutex_);
    const auto found = written_.find(file);
    if (found == written_.end()) return;
    const std::wstring path = found->second;
    written_.erase(found);
    if (isWanted_(path) && std::ranges::count(held_, path) == 0) hold(path);
  }
  errno = error;
  SetLastError(lastError);
}

void Scanner::hold(const std::wstring& path) {
  try {
    process_.holdFile(path, share_);
    held_.push_back(path);
  } catch (const std::exception& failure) {
    ADD_FAILURE() << failure.what();
  }
}

bool Scanner::holdsBelow(const std::wstring& directory) const {
  const std::lock_guard lock(mutex_);
  return std::ranges::any_of(held_, [&](const std::wstring& path) { return path.starts_with(directory + L'\\'); });
}

}  // namespace zuvia::test
