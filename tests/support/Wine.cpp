#include "support/Wine.h"

#include <windows.h>

#include <functional>
#include <stdexcept>

#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/HookedEntries.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

// The end of a Linux program is not told to the one that started it: its effect is waited for.
bool waitUntil(const std::function<bool()>& condition) {
  for (int waited = 0; waited < 5000; waited += 20) {
    if (condition()) return true;
    Sleep(20);
  }
  return false;
}

bool isLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

}  // namespace

bool runsUnderWine() {
  return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

void makeDirectoryLink(const std::wstring& link, const std::wstring& target) {
  if (runsUnderWine()) {
    runLinuxProgram(L"/bin/ln", {L"-s", linuxPath(target), linuxPath(link)});
  } else {
    CreateSymbolicLinkW(link.c_str(), target.c_str(), SYMBOLIC_LINK_FLAG_DIRECTORY);
  }
  if (!waitUntil([&] { return isLink(link); })) throw std::runtime_error("Cannot link " + toUtf8(link));
}

bool removeThroughLinux(const std::wstring& directory) {
  if (!runsUnderWine()) return false;
  runLinuxProgram(L"/bin/rm", {L"-rf", linuxPath(directory)});
  return waitUntil([&] { return !directoryExists(directory); });
}

void runLinuxProgram(const std::wstring& path, const std::vector<std::wstring>& arguments) {
  const std::wstring program = L"Z:" + path;
  std::wstring command = commandLine(program, arguments);
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                      &process)) {
    throw std::runtime_error("Cannot start " + toUtf8(path) + ": error " + std::to_string(GetLastError()));
  }
  // Wine makes no handles for a Linux program and leaves what was on its stack in their place: to close that would
  // close something of this process, its output for one.
}

std::wstring linuxPath(const std::wstring& path) {
  using Translate = char*(const wchar_t*);
  const auto translate = reinterpret_cast<Translate*>(findFunction("kernel32.dll", "wine_get_unix_file_name"));
  char* translated = translate(path.c_str());
  if (translated == nullptr) throw std::runtime_error("No Linux path for " + toUtf8(path));
  const std::wstring result = toWide(translated);
  HeapFree(GetProcessHeap(), 0, translated);
  return result;
}

}  // namespace zuvia::test
