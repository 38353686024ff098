#include "support/Candidates.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>

#include "support/Files.h"

namespace zuvia::test {
namespace {

using Version = std::array<std::uint32_t, 4>;

std::optional<Version> versionOfFile(const std::wstring& path) {
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), nullptr);
  std::vector<char> block(size);
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  const bool readable = size != 0 && GetFileVersionInfoW(path.c_str(), 0, size, block.data()) &&
                        VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &length) &&
                        info != nullptr && length >= sizeof *info;
  if (!readable) return std::nullopt;
  return Version{HIWORD(info->dwFileVersionMS), LOWORD(info->dwFileVersionMS), HIWORD(info->dwFileVersionLS),
                 LOWORD(info->dwFileVersionLS)};
}

bool givesObject(HMODULE module) {
  using Create = void*();
  const FARPROC create = GetProcAddress(module, "createImpl");
  return create != nullptr && reinterpret_cast<Create*>(reinterpret_cast<void*>(create))() != nullptr;
}

bool loads(const std::wstring& path) {
  constexpr DWORD kSearch =
      LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_USER_DIRS | LOAD_LIBRARY_SEARCH_SYSTEM32;
  const HMODULE module = LoadLibraryExW(path.c_str(), nullptr, kSearch);
  if (module == nullptr) return false;
  const bool gives = givesObject(module);
  FreeLibrary(module);
  return gives;
}

void findModules(const std::wstring& directory, std::vector<std::wstring>& modules) {
  WIN32_FIND_DATAW entry{};
  const HANDLE found = FindFirstFileW((directory + L"\\*").c_str(), &entry);
  if (found == INVALID_HANDLE_VALUE) return;
  do {
    const std::wstring name = entry.cFileName;
    const std::wstring path = joinPath(directory, name);
    const DWORD kind = entry.dwFileAttributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
    if (kind == FILE_ATTRIBUTE_DIRECTORY) {
      if (name != L"." && name != L"..") findModules(path, modules);
    } else if (_wcsicmp(name.c_str(), L"zuimpl.dll") == 0) {
      modules.push_back(path);
    }
  } while (FindNextFileW(found, &entry));
  FindClose(found);
}

}  // namespace

std::vector<Candidate> findCandidates(const std::wstring& root) {
  const DLL_DIRECTORY_COOKIE cookie = AddDllDirectory(root.c_str());
  std::vector<Candidate> candidates;
  std::vector<std::wstring> modules;
  findModules(root, modules);
  for (const std::wstring& path : modules) {
    const std::optional<Version> version = versionOfFile(path);
    candidates.push_back({path, version, version && loads(path)});
  }
  if (cookie != nullptr) RemoveDllDirectory(cookie);
  std::ranges::stable_sort(candidates, std::ranges::greater(), &Candidate::version);
  return candidates;
}

std::string versionText(const Version& version) {
  std::string text;
  for (const std::uint32_t number : version) text += (text.empty() ? "" : ".") + std::to_string(number);
  return text;
}

std::optional<Version> versionOf(const std::string& text) {
  Version version{};
  char rest = 0;
  const int read =
      std::sscanf(text.c_str(), "%u.%u.%u.%u%c", &version[0], &version[1], &version[2], &version[3], &rest);
  if (read != 4) return std::nullopt;
  return version;
}

}  // namespace zuvia::test
