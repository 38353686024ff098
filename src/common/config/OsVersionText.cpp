#include "common/config/OsVersionText.h"

namespace zuvia {

namespace {

constexpr uint8_t kWorkstation = 1;
constexpr uint8_t kServer = 3;

std::wstring number(uint32_t value) {
  return std::to_wstring(static_cast<int32_t>(value));
}

std::wstring withBuild(const wchar_t* name, const OsVersion& version) {
  return std::wstring(name) + L" (Build " + number(version.build) + L")";
}

std::wstring withNumbers(const wchar_t* name, const OsVersion& version) {
  return std::wstring(name) + L" (Version " + number(version.major) + L"." + number(version.minor) + L", Build " +
         number(version.build) + L")";
}

std::wstring workstationText(const OsVersion& version) {
  constexpr uint32_t kFirstWindows11Build = 22000;
  if (version.major != 10 || version.minor != 0) {
    return withNumbers(L"Windows", version);
  }
  return withBuild(version.build >= kFirstWindows11Build ? L"Windows 11" : L"Windows 10", version);
}

// 2022 begins at its build; 2019 and 2016 are exactly theirs.
std::wstring server10Text(const OsVersion& version) {
  if (version.minor != 0) {
    return withNumbers(L"Windows Server", version);
  }
  if (version.build >= 20348) {
    return withBuild(L"Windows Server 2022", version);
  }
  switch (version.build) {
    case 17763:
      return withBuild(L"Windows Server 2019", version);
    case 14393:
      return withBuild(L"Windows Server 2016", version);
    default:
      return withBuild(L"Windows Server 10.0", version);
  }
}

std::wstring server6Text(const OsVersion& version) {
  switch (version.minor) {
    case 0:
      return withBuild(L"Windows Server 2008", version);
    case 1:
      return withBuild(L"Windows Server 2008 R2", version);
    case 2:
      return withBuild(L"Windows Server 2012", version);
    case 3:
      return withBuild(L"Windows Server 2012 R2", version);
    default:
      return withBuild(L"Windows Server 6.x", version);
  }
}

std::wstring serverText(const OsVersion& version) {
  switch (version.major) {
    case 10:
      return server10Text(version);
    case 6:
      return server6Text(version);
    default:
      return withNumbers(L"Windows Server", version);
  }
}

}  // namespace

std::wstring osVersionText(const OsVersion& version) {
  switch (version.productType) {
    case kWorkstation:
      return workstationText(version);
    case kServer:
      return serverText(version);
    default:
      return L"Windows Server (Unknown Type, Build " + number(version.build) + L")";
  }
}

std::wstring plainOsVersionText(const OsVersion& version) {
  return withNumbers(L"Windows", version);
}

}  // namespace zuvia
