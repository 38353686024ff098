#include "platform/ModuleDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "PluginLocation.h"
#include "support/Files.h"
#include "support/ImportHook.h"
#include "support/WideText.h"

namespace zuvia::test {
namespace {

using Step = ModuleDirectoryReport::Step;
using testing::ElementsAre;

constexpr DWORD kError = 0x80000005;

HMODULE self() {
  return GetModuleHandleW(nullptr);
}

// Leaves the stack below the caller full of backslashes, so that a name that runs on there has another directory.
// Called through a pointer, so that it is not inlined.
void (*const volatile spoilStack)() = [] {
  volatile wchar_t used[4096];
  for (volatile wchar_t& unit : used) unit = L'\\';
};

TEST(ModuleDirectory, IsThatOfTheModuleWithThisCode) {
  const ModuleDirectoryReport report = findModuleDirectory();
  EXPECT_EQ(report.step, Step::Done);
  EXPECT_EQ(WideText(report.directory), WideText(programDirectory()));
}

TEST(ModuleDirectory, IsFoundByAnAddressWithoutAReference) {
  std::vector<std::tuple<DWORD, HMODULE>> asked;
  ImportHook<decltype(GetModuleHandleExW)> hook(
      self(), "GetModuleHandleExW", [&](auto* original, DWORD flags, const wchar_t* name, HMODULE* module) -> BOOL {
        const BOOL found = original(flags, name, module);
        asked.emplace_back(flags, *module);
        return found;
      });
  findModuleDirectory();
  EXPECT_THAT(asked, ElementsAre(std::tuple(6u, self())));
}

TEST(ModuleDirectory, KeepsTheBackslashOfADrivesRoot) {
  const PluginLocation location(L"C:\\zuviaplugin.dll");
  EXPECT_EQ(WideText(findModuleDirectory().directory), L"C:\\");
}

TEST(ModuleDirectory, KeepsBlanksAndAnyCharacter) {
  const PluginLocation location(L"C:\\a b\\\u4e2d\u00e9\\other name.dll");
  EXPECT_EQ(WideText(findModuleDirectory().directory), L"C:\\a b\\\u4e2d\u00e9");
}

TEST(ModuleDirectory, ReportsThatTheModuleIsNotFound) {
  FailingImport<decltype(GetModuleHandleExW)> failing(self(), "GetModuleHandleExW", FALSE, {.lastError = kError});
  const ModuleDirectoryReport report = findModuleDirectory();
  EXPECT_EQ(report.step, Step::Handle);
  EXPECT_EQ(report.error, kError);
  EXPECT_EQ(WideText(report.directory), L"");
}

TEST(ModuleDirectory, ReportsThatTheNameIsNotTold) {
  const PluginLocation location(L"", kError);
  const ModuleDirectoryReport report = findModuleDirectory();
  EXPECT_EQ(report.step, Step::FileName);
  EXPECT_EQ(report.error, kError);
  EXPECT_EQ(WideText(report.directory), L"");
}

// The buffer holds 260 characters and, in front of what follows, a terminator.
TEST(ModuleDirectory, TakesANameThatFillsTheBuffer) {
  const std::wstring directory = L"C:\\" + std::wstring(200, L'd');
  const PluginLocation location(directory + L"\\" + std::wstring(260 - directory.size() - 1, L'n'));
  ASSERT_EQ(location.path().size(), 260u);
  spoilStack();
  const ModuleDirectoryReport report = findModuleDirectory();
  EXPECT_EQ(report.step, Step::Done);
  EXPECT_EQ(WideText(report.directory), WideText(directory));
}

TEST(ModuleDirectory, TakesALongerNameAsItIsCutOff) {
  const std::wstring directory = L"C:\\" + std::wstring(240, L'd');
  const PluginLocation location(directory + L"\\" + std::wstring(20, L'n') + L"\\zuviaplugin.dll");
  const ModuleDirectoryReport report = findModuleDirectory();
  EXPECT_EQ(report.step, Step::Done);
  EXPECT_EQ(WideText(report.directory), WideText(directory));
}

TEST(ModuleDirectory, OffersAZeroedBufferOf260Characters) {
  bool checked = false;
  ImportHook<decltype(GetModuleFileNameW)> hook(
      self(), "GetModuleFileNameW", [&](auto* original, HMODULE module, wchar_t* name, DWORD size) -> DWORD {
        EXPECT_EQ(size, 260u);
        EXPECT_TRUE(std::all_of(name, name + size, [](wchar_t unit) { return unit == 0; }));
        checked = true;
        return original(module, name, size);
      });
  EXPECT_EQ(findModuleDirectory().step, Step::Done);
  EXPECT_TRUE(checked);
}

}  // namespace
}  // namespace zuvia::test
