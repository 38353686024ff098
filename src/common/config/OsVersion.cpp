#include "common/config/OsVersion.h"

#include "common/config/OsVersionText.h"
#include "platform/Windows.h"

namespace zuvia {

namespace {

using RtlGetVersionFunction = LONG(WINAPI*)(OSVERSIONINFOEXW*);

template <typename Info>
OsVersion numbersOf(const Info& info) {
  OsVersion version;
  version.major = info.dwMajorVersion;
  version.minor = info.dwMinorVersion;
  version.build = info.dwBuildNumber;
  return version;
}

// Asks the kernel; the ordinary query tells an application what its manifest says it knows.
bool queryKernel(OsVersion& version) {
  const HMODULE module = GetModuleHandleW(L"ntdll.dll");
  const FARPROC found = module == nullptr ? nullptr : GetProcAddress(module, "RtlGetVersion");
  if (found == nullptr) {
    return false;
  }
  const auto rtlGetVersion = reinterpret_cast<RtlGetVersionFunction>(reinterpret_cast<void*>(found));
  OSVERSIONINFOEXW info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  if (rtlGetVersion(&info) < 0) {
    return false;
  }
  version = numbersOf(info);
  version.productType = info.wProductType;
  return true;
}

bool queryApplication(OsVersion& version) {
  OSVERSIONINFOW info = {};
  info.dwOSVersionInfoSize = sizeof(info);
  if (!GetVersionExW(&info)) {
    return false;
  }
  version = numbersOf(info);
  return true;
}

}  // namespace

std::wstring osVersionString() {
  OsVersion version;
  if (queryKernel(version)) {
    return osVersionText(version);
  }
  return queryApplication(version) ? plainOsVersionText(version) : L"Unknown Windows Version";
}

}  // namespace zuvia
