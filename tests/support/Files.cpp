#include "support/Files.h"

#include <windows.h>

#include <functional>
#include <memory>
#include <system_error>

#include "support/Digest.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

struct CloseFile {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using FileHandle = std::unique_ptr<void, CloseFile>;

struct CloseFind {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { FindClose(handle); }
};
using FindHandle = std::unique_ptr<void, CloseFind>;

[[noreturn]] void fail(const char* action, const std::wstring& path) {
  const auto error = static_cast<int>(GetLastError());
  throw std::system_error(error, std::system_category(), std::string(action) + ' ' + toUtf8(path));
}

// The form that is not parsed: no length limit, no device names, nothing cut off.
std::wstring verbatim(const std::wstring& path) {
  return path.starts_with(L"\\\\") ? path : L"\\\\?\\" + path;
}

DWORD attributesOf(const std::wstring& path) {
  return GetFileAttributesW(verbatim(path).c_str());
}

FileHandle open(const std::wstring& path, DWORD access, DWORD disposition) {
  const DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  HANDLE handle = CreateFileW(verbatim(path).c_str(), access, share, nullptr, disposition, 0, nullptr);
  if (handle == INVALID_HANDLE_VALUE) fail("Cannot open", path);
  return FileHandle(handle);
}

using Visitor = std::function<void(const std::wstring& name, DWORD attributes)>;

void visitEntries(const std::wstring& directory, const Visitor& visit) {
  WIN32_FIND_DATAW data{};
  HANDLE handle = FindFirstFileW(joinPath(verbatim(directory), L"*").c_str(), &data);
  if (handle == INVALID_HANDLE_VALUE) fail("Cannot list", directory);
  const FindHandle find(handle);
  do {
    const std::wstring name = data.cFileName;
    if (name != L"." && name != L"..") visit(name, data.dwFileAttributes);
  } while (FindNextFileW(handle, &data));
}

bool isPlainDirectory(DWORD attributes) {
  return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

void removeEntry(const std::wstring& path, DWORD attributes) {
  if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
    SetFileAttributesW(verbatim(path).c_str(), attributes & ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY));
  }
  const bool directory = (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  const bool removed = (directory && RemoveDirectoryW(verbatim(path).c_str())) ||
                       DeleteFileW(verbatim(path).c_str());  // a link to a directory may be either
  if (!removed) fail("Cannot remove", path);
}

void removeKnown(const std::wstring& path, DWORD attributes) {
  if (isPlainDirectory(attributes)) {
    visitEntries(path, [&](const std::wstring& name, DWORD inner) { removeKnown(joinPath(path, name), inner); });
  }
  removeEntry(path, attributes);
}

std::string describe(std::string_view content) {
  return std::to_string(content.size()) + " bytes " + sha256(content);
}

std::string describe(const std::wstring& path, DWORD attributes) {
  if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return "link";
  if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return "directory";
  return describe(readFile(path));
}

void list(const std::wstring& directory, const std::wstring& prefix, TreeListing& listing) {
  visitEntries(directory, [&](const std::wstring& name, DWORD attributes) {
    const std::wstring path = joinPath(directory, name);
    listing[prefix + name] = describe(path, attributes);
    if (isPlainDirectory(attributes)) list(path, prefix + name + L'\\', listing);
  });
}

}  // namespace

std::wstring joinPath(const std::wstring& directory, std::wstring_view name) {
  std::wstring path = directory;
  if (!path.empty() && path.back() != L'\\') path += L'\\';
  return path.append(name);
}

std::wstring parentOf(const std::wstring& path) {
  const std::size_t separator = path.rfind(L'\\');
  return separator == std::wstring::npos ? std::wstring() : path.substr(0, separator);
}

std::wstring temporaryDirectory() {
  std::wstring path(MAX_PATH + 1, L'\0');
  path.resize(GetTempPathW(static_cast<DWORD>(path.size()), path.data()));
  if (path.empty()) fail("Cannot find", L"the directory for temporary files");
  return parentOf(path);
}

std::wstring programDirectory() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return parentOf(path);
}

bool fileExists(const std::wstring& path) {
  const DWORD attributes = attributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool directoryExists(const std::wstring& path) {
  const DWORD attributes = attributesOf(path);
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void makeDirectories(const std::wstring& path) {
  if (directoryExists(path)) return;
  makeDirectories(parentOf(path));
  const bool made = CreateDirectoryW(verbatim(path).c_str(), nullptr) != 0;
  if (!made && GetLastError() != ERROR_ALREADY_EXISTS) fail("Cannot make", path);
}

void writeFile(const std::wstring& path, std::string_view content) {
  makeDirectories(parentOf(path));
  const FileHandle file = open(path, GENERIC_WRITE, CREATE_ALWAYS);
  DWORD written = 0;
  const auto size = static_cast<DWORD>(content.size());
  if (!WriteFile(file.get(), content.data(), size, &written, nullptr) || written != size) fail("Cannot write", path);
}

std::string readFile(const std::wstring& path) {
  const FileHandle file = open(path, GENERIC_READ, OPEN_EXISTING);
  LARGE_INTEGER size{};
  if (!GetFileSizeEx(file.get(), &size)) fail("Cannot measure", path);
  std::string content(static_cast<std::size_t>(size.QuadPart), '\0');
  DWORD got = 0;
  if (!ReadFile(file.get(), content.data(), static_cast<DWORD>(content.size()), &got, nullptr))
    fail("Cannot read", path);
  content.resize(got);
  return content;
}

void copyFile(const std::wstring& from, const std::wstring& to) {
  writeFile(to, readFile(from));
}

void removeTree(const std::wstring& path) {
  const DWORD attributes = attributesOf(path);
  if (attributes != INVALID_FILE_ATTRIBUTES) removeKnown(path, attributes);
}

TreeListing listTree(const std::wstring& directory) {
  TreeListing listing;
  list(directory, {}, listing);
  return listing;
}

TreeListing listingOf(const std::map<std::wstring, std::string>& files) {
  TreeListing listing;
  for (const auto& [path, content] : files) {
    listing[path] = describe(content);
    for (std::wstring above = parentOf(path); !above.empty(); above = parentOf(above)) listing[above] = "directory";
  }
  return listing;
}

std::string describeChanges(const TreeListing& before, const TreeListing& after) {
  std::string changes;
  for (const auto& [path, content] : before) {
    const auto found = after.find(path);
    if (found == after.end())
      changes += "missing: " + toUtf8(path) + '\n';
    else if (found->second != content)
      changes += "changed: " + toUtf8(path) + '\n';
  }
  for (const auto& [path, content] : after) {
    if (!before.contains(path)) changes += "new: " + toUtf8(path) + '\n';
  }
  return changes;
}

}  // namespace zuvia::test
