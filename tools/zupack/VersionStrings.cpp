#include "zupack/VersionStrings.h"

#include <array>
#include <cstdio>

#include "platform/Windows.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

constexpr const wchar_t* kNames[] = {L"CompanyName", L"FileDescription", L"FileVersion",    L"InternalName",
                                     L"ProductName", L"ProductVersion",  L"LegalCopyright", L"OriginalFilename"};

struct Translation {
  WORD language;
  WORD codePage;
};

std::vector<char> resourceOf(const std::filesystem::path& file) {
  const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
  std::vector<char> resource(size);
  if (size == 0 || GetFileVersionInfoW(file.c_str(), 0, size, resource.data()) == FALSE) return {};
  return resource;
}

// Where the texts of the first language stand.
std::wstring tableOf(const std::vector<char>& resource) {
  void* found = nullptr;
  UINT size = 0;
  if (VerQueryValueW(resource.data(), L"\\VarFileInfo\\Translation", &found, &size) == FALSE ||
      size < sizeof(Translation)) {
    return {};
  }
  const auto* const translation = static_cast<const Translation*>(found);
  std::array<wchar_t, 32> path{};
  std::swprintf(path.data(), path.size(), L"\\StringFileInfo\\%04x%04x\\", translation->language,
                translation->codePage);
  return path.data();
}

std::string textOf(const std::vector<char>& resource, const std::wstring& path) {
  void* found = nullptr;
  UINT length = 0;
  if (VerQueryValueW(resource.data(), path.c_str(), &found, &length) == FALSE || found == nullptr) return {};
  const std::wstring_view text(static_cast<const wchar_t*>(found), length);
  return tools::toUtf8(text.substr(0, text.find(L'\0')));
}

}  // namespace

std::vector<std::pair<std::string, std::string>> versionStrings(const std::filesystem::path& file) {
  const std::vector<char> resource = resourceOf(file);
  if (resource.empty()) return {};
  const std::wstring table = tableOf(resource);
  std::vector<std::pair<std::string, std::string>> strings;
  for (const wchar_t* name : kNames) {
    std::string text = table.empty() ? "" : textOf(resource, table + name);
    if (!text.empty()) strings.emplace_back(tools::toUtf8(name), std::move(text));
  }
  return strings;
}

}  // namespace zuvia::zupack
