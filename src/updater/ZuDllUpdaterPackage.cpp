#include <array>
#include <cerrno>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <map>
#include <string_view>

#include <hxutility/Zip.h>

#include "common/Limits.h"
#include "platform/Directories.h"
#include "platform/Windows.h"
#include "updater/EntryNames.h"
#include "updater/ZuDllUpdater.h"
#include "updater/ZuDllUpdaterLog.h"

namespace zuvia {

namespace {

using Entries = std::map<std::wstring, std::string>;

constexpr std::string_view kSignature = "\x37\x7A\xBC\xAF\x27\x1C";

bool extract(const std::wstring& zipPath, Entries& entries) {
  std::string data;
  if (!ZuDllUpdater::readAllBytes(zipPath, data)) {
    UPDATER_LOG("unZip") << "Read unzip file fail: " << zipPath;
    return false;
  }
  if (data.size() <= kSignature.size() || !data.starts_with(kSignature)) {
    UPDATER_LOG("unZip") << "Check unzip file fail. Invalid 7z signature, size: " << data.size();
    return false;
  }
  if (!HxUtility::zip::UnZip7zToMemory(data.data(), data.size(), entries) || entries.empty()) {
    UPDATER_LOG("unZip") << "Check unzip file fail. UnZip7zToMemory error, entries: " << entries.size();
    return false;
  }
  return true;
}

bool isImplementationModule(const std::wstring& name) {
  return isTopLevelEntryName(name) && _wcsicmp(name.c_str(), L"zuimpl.dll") == 0;
}

// Looks at everything before anything is written.
bool checkEntries(const Entries& entries) {
  int64_t total = 0;
  bool hasModule = false;
  for (const auto& [name, content] : entries) {
    if (!isLegalEntryName(name)) {
      UPDATER_LOG("unZip") << "Unzip file fail! Illegal archive entry: " << name;
      return false;
    }
    const auto size = static_cast<int64_t>(content.size());
    if (size > kMaxPackageBytes || total + size > kMaxPackageBytes) {
      UPDATER_LOG("unZip") << "Unzip file fail! Entry too large, entry: " << name << ", size: " << size
                           << ", total: " << total << ", max: " << kMaxPackageBytes;
      return false;
    }
    total += size;
    hasModule = hasModule || isImplementationModule(name);
  }
  if (!hasModule) {
    UPDATER_LOG("unZip") << "Check unzip file fail. File zuimpl.dll not exist!";
  }
  return hasModule;
}

// Directories that exist already are as good as made.
bool prepareOutput(const std::wstring& outDir) {
  if (createDirectories(outDir) == ERROR_SUCCESS || GetFileAttributesW(outDir.c_str()) != INVALID_FILE_ATTRIBUTES) {
    return true;
  }
  const DWORD error = GetLastError();
  UPDATER_LOG("unZip") << "Unzip file fail. CreateDirectory err: " << error << ", path: " << outDir;
  return false;
}

bool prepareParent(const std::wstring& parent) {
  const auto error = static_cast<DWORD>(createDirectories(parent));
  if (error == ERROR_SUCCESS || GetFileAttributesW(parent.c_str()) != INVALID_FILE_ATTRIBUTES) {
    return true;
  }
  UPDATER_LOG("unZip") << "Unzip file fail! Create sub directory error: " << error << ", path: " << parent;
  return false;
}

// Nothing between outDir and the file may be a link that leads the writing elsewhere.
bool checkParents(std::wstring directory, const std::wstring& outDir) {
  while (directory.size() >= outDir.size()) {
    const DWORD attributes = GetFileAttributesW(directory.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
      const DWORD error = GetLastError();
      UPDATER_LOG("unZip") << "Unzip file fail! Invalid parent directory, attributes: " << attributes
                           << ", error: " << error << ", path: " << directory;
      return false;
    }
    const size_t separator = directory.rfind(L'\\');
    if (separator == std::wstring::npos) {
      break;
    }
    directory.resize(separator);
  }
  return true;
}

bool isReparsePoint(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

std::array<char, 128> errorText(int error) {
  std::array<char, 128> text = {};
  strerror_s(text.data(), text.size(), error);
  return text;
}

bool writeFile(const std::wstring& path, const std::string& content) {
  std::ofstream file(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
  if (!file.is_open()) {
    const int error = errno;
    UPDATER_LOG("unZip") << "Unzip file fail! Open output file failed, path: " << path << ", errno: " << error
                         << ", msg: " << errorText(error).data();
    return false;
  }
  // Flushed, so that a full disk is noticed here and not lost in the stream's destructor.
  file.write(content.data(), static_cast<std::streamsize>(content.size())).flush();
  if (!file.good()) {
    const int error = errno;
    UPDATER_LOG("unZip") << "Unzip file fail! Write output file failed, path: " << path << ", size: " << content.size()
                         << ", errno: " << error << ", msg: " << errorText(error).data();
    return false;
  }
  return true;
}

bool writeEntry(const std::wstring& outDir, const std::wstring& name, const std::string& content) {
  const std::wstring path = entryPath(outDir, name);
  const std::wstring parent = path.substr(0, path.rfind(L'\\'));
  if (!prepareParent(parent) || !checkParents(parent, outDir)) {
    return false;
  }
  if (isReparsePoint(path)) {
    UPDATER_LOG("unZip") << "Unzip file fail! Output path is a reparse point: " << path;
    return false;
  }
  return writeFile(path, content);
}

}  // namespace

bool ZuDllUpdater::unZip(const std::wstring& zipPath, const std::wstring& outDir) {
  Entries entries;
  if (!extract(zipPath, entries) || !checkEntries(entries) || !prepareOutput(outDir)) {
    return false;
  }
  for (const auto& [name, content] : entries) {
    if (!writeEntry(outDir, name, content)) {
      return false;
    }
  }
  return true;
}

}  // namespace zuvia
