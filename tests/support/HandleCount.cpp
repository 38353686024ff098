#include "support/HandleCount.h"

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <tlhelp32.h>
#include <winternl.h>

#include <stdexcept>
#include <vector>

#include "support/HookedEntries.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

// Not in the public headers; stable since Windows XP.
constexpr int kExtendedHandleInformation = 64;

struct HandleEntry {
  void* object;
  ULONG_PTR processId;
  ULONG_PTR handle;
  ULONG access;
  USHORT creator;
  USHORT typeIndex;
  ULONG attributes;
  ULONG reserved;
};

struct HandleList {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry first;  // and the others after it
};

using QuerySystem = NTSTATUS WINAPI(int, void*, ULONG, ULONG*);
using QueryObject = NTSTATUS WINAPI(HANDLE, int, void*, ULONG, ULONG*);

template <typename Function>
Function* ntFunction(const char* name) {
  return reinterpret_cast<Function*>(findFunction("ntdll.dll", name));
}

// The list grows while it is asked for, so the room is doubled until it fits.
std::vector<char> readHandleList() {
  constexpr auto kTooSmall = static_cast<NTSTATUS>(0xC0000004);
  static const auto query = ntFunction<QuerySystem>("NtQuerySystemInformation");
  std::vector<char> buffer(1 << 16);
  NTSTATUS status = kTooSmall;
  for (;;) {
    status = query(kExtendedHandleInformation, buffer.data(), static_cast<ULONG>(buffer.size()), nullptr);
    if (status != kTooSmall) break;
    buffer.resize(buffer.size() * 2);
  }
  if (status != 0) throw std::runtime_error("The system does not list its handles");
  return buffer;
}

// "unknown" for a handle that was closed since it was listed.
std::string typeOf(ULONG_PTR handle) {
  constexpr int kObjectTypeInformation = 2;
  static const auto query = ntFunction<QueryObject>("NtQueryObject");
  alignas(void*) char buffer[1024]{};
  const auto object = reinterpret_cast<HANDLE>(handle);
  if (query(object, kObjectTypeInformation, buffer, sizeof buffer, nullptr) != 0) return "unknown";
  const auto& name = *reinterpret_cast<const UNICODE_STRING*>(buffer);
  return toUtf8(std::wstring_view(name.Buffer, name.Length / sizeof(wchar_t)));
}

std::size_t countThreads() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (snapshot == INVALID_HANDLE_VALUE) throw std::runtime_error("The system does not list its threads");
  std::size_t count = 0;
  THREADENTRY32 entry{};
  entry.dwSize = sizeof entry;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++count;
  }
  CloseHandle(snapshot);
  return count;
}

}  // namespace

HandleCount countHandles() {
  HandleCount count;
  count["running threads"] = countThreads();
  const std::vector<char> buffer = readHandleList();
  const auto& list = *reinterpret_cast<const HandleList*>(buffer.data());
  const HandleEntry* entries = &list.first;
  for (std::size_t i = 0; i < list.count; ++i) {
    if (entries[i].processId == GetCurrentProcessId()) ++count[typeOf(entries[i].handle)];
  }
  return count;
}

std::string describeGrowth(const HandleCount& before, const HandleCount& after) {
  std::string growth;
  for (const auto& [type, count] : after) {
    const auto found = before.find(type);
    const std::size_t old = found == before.end() ? 0 : found->second;
    if (count > old) growth += type + ": " + std::to_string(old) + " before, " + std::to_string(count) + " after\n";
  }
  return growth;
}

HandleCheck::~HandleCheck() {
  constexpr int kTries = 40;
  std::string growth;
  for (int tried = 0; tried < kTries; ++tried) {
    growth = describeGrowth(before_, countHandles());
    if (growth.empty()) return;
    Sleep(50);
  }
  ADD_FAILURE() << "More is open than before:\n" << growth;
}

}  // namespace zuvia::test
