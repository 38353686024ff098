#include "platform/Directories.h"

#include "platform/Windows.h"

#include <shlobj.h>

namespace zuvia {

int createDirectories(const std::wstring& directory) {
  return SHCreateDirectoryExW(nullptr, directory.c_str(), nullptr);
}

bool isDirectory(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool isFile(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace zuvia
