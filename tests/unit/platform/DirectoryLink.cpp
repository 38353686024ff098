#include "DirectoryLink.h"

#include <windows.h>

#include <stdexcept>

#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using UnixName = char*(const wchar_t* path);

// Of Wine only; null on Windows.
UnixName* unixNameFunction() {
  return reinterpret_cast<UnixName*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
}

std::wstring unixName(const std::wstring& path) {
  char* const name = unixNameFunction()(path.c_str());
  if (name == nullptr) throw std::runtime_error("No path of the system below for " + toUtf8(path));
  std::wstring text = toWide(name);
  HeapFree(GetProcessHeap(), 0, name);
  return text;
}

bool isLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

// Wine's own CreateSymbolicLinkW makes nothing, so that the system below has to do it. A program of that
// system has no process handle: whether it is done shows in the link.
void linkUnderWine(const std::wstring& link, const std::wstring& target) {
  const std::size_t separator = link.rfind(L'\\');
  const std::wstring place = unixName(link.substr(0, separator)) + L'/' + link.substr(separator + 1);
  std::wstring line = commandLine(L"/bin/ln", {L"-s", unixName(target), place});
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(L"/bin/ln", line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    throw std::runtime_error("Cannot start ln: " + std::to_string(GetLastError()));
  }
  if (process.hProcess != nullptr) CloseHandle(process.hProcess);
  if (process.hThread != nullptr) CloseHandle(process.hThread);
  for (int waited = 0; waited < 10000 && !isLink(link); waited += 5) Sleep(5);
}

}  // namespace

void linkDirectory(const std::wstring& link, const std::wstring& target) {
  if (unixNameFunction() != nullptr) {
    linkUnderWine(link, target);
  } else {
    CreateSymbolicLinkW(link.c_str(), target.c_str(),
                        SYMBOLIC_LINK_FLAG_DIRECTORY | SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE);
  }
  if (!isLink(link)) throw std::runtime_error("Cannot make the link " + toUtf8(link));
}

}  // namespace zuvia::test
