#include "integration/disk/ReadOnlyDirectory.h"

#include <cerrno>
#include <memory>
#include <string_view>

#include "support/Files.h"

namespace zuvia::test {
namespace {

bool writes(DWORD access, DWORD disposition) {
  return (access & (GENERIC_WRITE | GENERIC_ALL | DELETE)) != 0 || disposition != OPEN_EXISTING;
}

bool writes(std::wstring_view mode) {
  return mode.find_first_of(L"wa+") != std::wstring_view::npos;
}

}  // namespace

// A path whose directory is missing fails of itself, and with another reason.
ReadOnlyDirectory::ReadOnlyDirectory(HMODULE plugin, const std::wstring& directory)
    : beginning_(directory + L'\\'),
      createFile_(plugin, "CreateFileW",
                  [this](auto* original, const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                         DWORD disposition, auto... rest) {
                    if (holds(path) && writes(access, disposition) && directoryExists(parentOf(path))) {
                      return refuse(INVALID_HANDLE_VALUE);
                    }
                    return original(path, access, share, security, disposition, rest...);
                  }),
      open_(plugin, "_wfopen",
            [this](auto* original, const wchar_t* path, const wchar_t* mode) {
              const bool refused = holds(path) && writes(mode) && directoryExists(parentOf(path));
              return refused ? refuse<FILE*>(nullptr) : original(path, mode);
            }),
      createDirectory_(plugin, "SHCreateDirectoryExW",
                       [this](auto* original, HWND window, const wchar_t* path, auto* security) {
                         const bool refused = holds(path) && !directoryExists(path);
                         return refused ? refuse<int>(ERROR_ACCESS_DENIED) : original(window, path, security);
                       }),
      moveFile_(plugin, "MoveFileExW",
                [this](auto* original, const wchar_t* from, const wchar_t* to, DWORD flags) {
                  return holds(from) || holds(to) ? refuse(FALSE) : original(from, to, flags);
                }),
      deleteFile_(plugin, "DeleteFileW",
                  [this](auto* original, const wchar_t* path) { return holds(path) ? refuse(FALSE) : original(path); }),
      removeDirectory_(
          plugin, "RemoveDirectoryW",
          [this](auto* original, const wchar_t* path) { return holds(path) ? refuse(FALSE) : original(path); }),
      setAttributes_(plugin, "SetFileAttributesW", [this](auto* original, const wchar_t* path, DWORD attributes) {
        return holds(path) ? refuse(FALSE) : original(path, attributes);
      }) {}

template <typename Result>
Result ReadOnlyDirectory::refuse(Result result) {
  happened_ = true;
  errno = EACCES;
  SetLastError(ERROR_ACCESS_DENIED);
  return result;
}

bool ReadOnlyDirectory::holds(const wchar_t* path) const {
  return path != nullptr && std::wstring_view(path).starts_with(beginning_);
}

Fault readOnly(const std::wstring& directory) {
  return [directory](HMODULE plugin) { return std::make_unique<ReadOnlyDirectory>(plugin, directory); };
}

}  // namespace zuvia::test
