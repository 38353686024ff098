#include "common/config/OsVersion.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "support/ImportHook.h"
#include "support/WideText.h"

namespace zuvia {
namespace {

using test::FailingImport;
using test::ImportHook;
using test::LookupHook;
using test::WideText;

using RtlGetVersionFunction = LONG(OSVERSIONINFOEXW*);
constexpr LONG kStatusUnsuccessful = static_cast<LONG>(0xC0000001);

HMODULE self() {
  return GetModuleHandleW(nullptr);
}

template <typename Info>
void fill(Info& info, DWORD major, DWORD minor, DWORD build) {
  info.dwMajorVersion = major;
  info.dwMinorVersion = minor;
  info.dwBuildNumber = build;
}

// The kernel's answer.
class Kernel {
 public:
  explicit Kernel(OSVERSIONINFOEXW answer, LONG status = 0)
      : hook_(self(), "ntdll.dll", "RtlGetVersion", [this, answer, status](auto*, OSVERSIONINFOEXW* info) {
          asked_ = *info;
          *info = answer;
          return status;
        }) {}

  const OSVERSIONINFOEXW& asked() const { return asked_; }

 private:
  OSVERSIONINFOEXW asked_ = {};
  LookupHook<RtlGetVersionFunction> hook_;
};

// The ordinary query's answer: Windows 6.2 build 9200.
class OrdinaryQuery {
 public:
  const std::optional<OSVERSIONINFOW>& asked() const { return asked_; }

 private:
  std::optional<OSVERSIONINFOW> asked_;
  ImportHook<decltype(GetVersionExW)> hook_{self(), "GetVersionExW", [this](auto*, OSVERSIONINFOW* info) -> BOOL {
                                              asked_ = *info;
                                              fill(*info, 6, 2, 9200);
                                              return TRUE;
                                            }};
};

WideText osVersion() {
  return osVersionString();
}

// Whether everything but the size is zero.
template <typename Info>
bool isZeroed(Info info) {
  info.dwOSVersionInfoSize = 0;
  const std::string_view bytes(reinterpret_cast<const char*>(&info), sizeof info);
  return bytes.find_first_not_of('\0') == std::string_view::npos;
}

OSVERSIONINFOEXW version(DWORD major, DWORD minor, DWORD build, BYTE type) {
  OSVERSIONINFOEXW info = {};
  fill(info, major, minor, build);
  info.wProductType = type;
  return info;
}

TEST(OsVersionString, IsOfTheKernelsNumbers) {
  const OrdinaryQuery ordinary;
  const Kernel kernel(version(10, 0, 22631, VER_NT_WORKSTATION));
  EXPECT_EQ(osVersion(), L"Windows 11 (Build 22631)");
  EXPECT_FALSE(ordinary.asked().has_value());
}

TEST(OsVersionString, TakesTheProductTypeFromTheKernel) {
  const Kernel kernel(version(10, 0, 20348, VER_NT_SERVER));
  EXPECT_EQ(osVersion(), L"Windows Server 2022 (Build 20348)");
}

TEST(OsVersionString, TellsADomainControllerApart) {
  const Kernel kernel(version(10, 0, 20348, VER_NT_DOMAIN_CONTROLLER));
  EXPECT_EQ(osVersion(), L"Windows Server (Unknown Type, Build 20348)");
}

TEST(OsVersionString, AsksTheKernelWithAZeroedExtendedRecord) {
  const Kernel kernel(version(10, 0, 22631, VER_NT_WORKSTATION));
  osVersion();
  EXPECT_EQ(kernel.asked().dwOSVersionInfoSize, sizeof(OSVERSIONINFOEXW));
  EXPECT_TRUE(isZeroed(kernel.asked()));
}

TEST(OsVersionString, CountsAPositiveStatusAsSuccess) {
  const Kernel kernel(version(10, 0, 22631, VER_NT_WORKSTATION), 1);
  EXPECT_EQ(osVersion(), L"Windows 11 (Build 22631)");
}

TEST(OsVersionString, FallsBackWhenTheKernelFails) {
  const OrdinaryQuery ordinary;
  const Kernel kernel(version(10, 0, 22631, VER_NT_WORKSTATION), kStatusUnsuccessful);
  EXPECT_EQ(osVersion(), L"Windows (Version 6.2, Build 9200)");
}

TEST(OsVersionString, FallsBackWhenTheFunctionIsMissing) {
  const OrdinaryQuery ordinary;
  const FailingImport<decltype(GetProcAddress)> missing(
      self(), "GetProcAddress", nullptr, {.callCount = test::kEveryCall}, [](HMODULE, const char* name) {
        return reinterpret_cast<uintptr_t>(name) > 0xFFFF && std::string_view(name) == "RtlGetVersion";
      });
  EXPECT_EQ(osVersion(), L"Windows (Version 6.2, Build 9200)");
  EXPECT_EQ(missing.failures(), 1U);
}

TEST(OsVersionString, FallsBackWhenTheModuleIsMissing) {
  const OrdinaryQuery ordinary;
  const FailingImport<decltype(GetModuleHandleW)> missing(
      self(), "GetModuleHandleW", nullptr, {.callCount = test::kEveryCall},
      [](const wchar_t* name) { return name != nullptr && std::wstring_view(name) == L"ntdll.dll"; });
  EXPECT_EQ(osVersion(), L"Windows (Version 6.2, Build 9200)");
  EXPECT_EQ(missing.failures(), 1U);
}

TEST(OsVersionString, FallsBackWithAZeroedBasicRecord) {
  const OrdinaryQuery ordinary;
  const Kernel kernel({}, kStatusUnsuccessful);
  osVersion();
  ASSERT_TRUE(ordinary.asked().has_value());
  EXPECT_EQ(ordinary.asked()->dwOSVersionInfoSize, sizeof(OSVERSIONINFOW));
  EXPECT_TRUE(isZeroed(*ordinary.asked()));
}

TEST(OsVersionString, IsUnknownWhenBothQueriesFail) {
  const Kernel kernel({}, kStatusUnsuccessful);
  const FailingImport<decltype(GetVersionExW)> failing(self(), "GetVersionExW", FALSE, {.lastError = 0x80000005});
  EXPECT_EQ(osVersion(), L"Unknown Windows Version");
  EXPECT_EQ(failing.failures(), 1U);
}

TEST(OsVersionString, IsOfThisSystemWithoutAnyHook) {
  EXPECT_THAT(osVersion(), test::WideStartsWith(std::wstring(L"Windows ")));
}

}  // namespace
}  // namespace zuvia
