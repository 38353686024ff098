#include "support/InstallTree.h"

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <tlhelp32.h>

#include <atomic>
#include <stdexcept>
#include <system_error>

#include "support/Text.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

const std::wstring kPluginName = L"zuviaplugin.dll";

std::wstring uniqueDirectory(const std::wstring& name) {
  static std::atomic<unsigned> count = 0;
  const std::wstring number = std::to_wstring(GetCurrentProcessId()) + L'-' + std::to_wstring(GetTickCount64());
  return joinPath(temporaryDirectory(), name + L'-' + number + L'-' + std::to_wstring(++count));
}

std::wstring modulesDirectory() {
  return joinPath(parentOf(programDirectory()), L"modules");
}

// Whether this process has an implementation module from below a directory. The plugin itself does not
// count: libraries that are linked into it keep it loaded until the process ends.
bool hasImplementation(const std::wstring& directory) {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, GetCurrentProcessId());
  bool found = false;
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Module32FirstW(snapshot, &entry); more && !found; more = Module32NextW(snapshot, &entry)) {
    const std::wstring path = entry.szExePath;
    found = _wcsnicmp(path.c_str(), directory.c_str(), directory.size()) == 0 && !path.ends_with(kPluginName);
  }
  CloseHandle(snapshot);
  return found;
}

}  // namespace

InstallTree::InstallTree(const std::wstring& name) : base_(uniqueDirectory(name)) {
  makeDirectories(root());
  makeDirectories(appPath());
}

InstallTree::~InstallTree() {
  if (kept_) return;
  try {
    removeTree(base_);
  } catch (const std::system_error& error) {
    if (error.code().value() == ERROR_ACCESS_DENIED && !hasImplementation(base_) && removeThroughLinux(base_)) return;
    ADD_FAILURE() << error.what();
  }
}

std::wstring InstallTree::pluginPath() const {
  return joinPath(root(), kPluginName);
}

std::wstring InstallTree::installPlugin() const {
  copyFile(builtPlugin(), pluginPath());
  return pluginPath();
}

std::wstring InstallTree::addVersion(const std::wstring& directoryName, const std::wstring& module) const {
  const std::wstring directory = joinPath(root(), directoryName);
  copyFile(module, joinPath(directory, L"zuimpl.dll"));
  return directory;
}

std::wstring InstallTree::addFile(const std::wstring& relativePath, std::string_view content) const {
  const std::wstring path = joinPath(root(), relativePath);
  writeFile(path, content);
  return path;
}

std::wstring builtPlugin() {
  return joinPath(programDirectory(), kPluginName);
}

std::wstring moduleFile(const std::wstring& name) {
  const std::wstring path = joinPath(joinPath(modulesDirectory(), name), L"zuimpl.dll");
  if (!fileExists(path)) throw std::runtime_error("No module was built as " + toUtf8(name));
  return path;
}

std::wstring companionFile() {
  return joinPath(modulesDirectory(), L"companion\\zucompanion.dll");
}

}  // namespace zuvia::test
