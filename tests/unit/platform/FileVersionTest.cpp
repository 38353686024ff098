#include "platform/FileVersion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

#include "support/ImportHook.h"
#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

using Step = FileVersionReport::Step;

constexpr DWORD kError = 0x80000005;

HMODULE self() {
  return GetModuleHandleW(nullptr);
}

std::tuple<uint32_t, uint32_t, uint32_t, uint32_t> numbers(const FileVersionReport& report) {
  return {report.major, report.minor, report.build, report.revision};
}

// What VerQueryValueW answers instead of the block that it found.
using QueryHook = ImportHook<decltype(VerQueryValueW)>;

TEST(FileVersion, IsReadFromTheResource) {
  const FileVersionReport report = readFileVersion(moduleFile(L"2.0.0.45"));
  EXPECT_EQ(report.step, Step::Done);
  EXPECT_EQ(numbers(report), std::tuple(2, 0, 0, 45));
  EXPECT_EQ(report.length, sizeof(VS_FIXEDFILEINFO));
  EXPECT_TRUE(report.hasFixedInfo);
}

TEST(FileVersion, HoldsTheSmallestAndTheGreatestNumbers) {
  const FileVersionReport zero = readFileVersion(moduleFile(L"0.0.0.0"));
  EXPECT_EQ(zero.step, Step::Done);
  EXPECT_EQ(numbers(zero), std::tuple(0, 0, 0, 0));
  const FileVersionReport full = readFileVersion(moduleFile(L"65535.65535.65535.65535"));
  EXPECT_EQ(numbers(full), std::tuple(65535, 65535, 65535, 65535));
}

TEST(FileVersion, DependsOnNothingElseInTheFixedInformation) {
  QueryHook hook(self(), "VerQueryValueW",
                 [](auto* original, const void* block, const wchar_t* name, void** value, UINT* length) -> BOOL {
                   const BOOL found = original(block, name, value, length);
                   auto& info = *static_cast<VS_FIXEDFILEINFO*>(*value);
                   const DWORD ms = info.dwFileVersionMS;
                   std::fill_n(static_cast<char*>(*value), sizeof info, '\x5A');
                   info.dwFileVersionMS = ms;
                   info.dwFileVersionLS = 0xFFFE'0003;
                   return found;
                 });
  EXPECT_EQ(numbers(readFileVersion(moduleFile(L"2.0.0.45"))), std::tuple(2, 0, 0xFFFE, 3));
}

TEST(FileVersion, IsMissingWithoutAResource) {
  const FileVersionReport report = readFileVersion(moduleFile(L"no-version"));
  EXPECT_EQ(report.step, Step::Size);
  EXPECT_NE(report.error, 0u);
}

TEST(FileVersion, IsMissingWithoutAFile) {
  const FileVersionReport report = readFileVersion(L"C:\\no\\such\\file.dll");
  EXPECT_EQ(report.step, Step::Size);
  EXPECT_NE(report.error, 0u);
}

TEST(FileVersion, KeepsTheErrorOfTheSize) {
  FailingImport<decltype(GetFileVersionInfoSizeW)> failing(self(), "GetFileVersionInfoSizeW", 0, {.lastError = kError});
  const FileVersionReport report = readFileVersion(moduleFile(L"2.0.0.45"));
  EXPECT_EQ(report.step, Step::Size);
  EXPECT_EQ(report.error, kError);
  EXPECT_EQ(failing.failures(), 1u);
}

TEST(FileVersion, KeepsTheErrorOfReading) {
  FailingImport<decltype(GetFileVersionInfoW)> failing(self(), "GetFileVersionInfoW", FALSE, {.lastError = kError});
  const FileVersionReport report = readFileVersion(moduleFile(L"2.0.0.45"));
  EXPECT_EQ(report.step, Step::Info);
  EXPECT_EQ(report.error, kError);
  EXPECT_GE(report.size, sizeof(VS_FIXEDFILEINFO));
  EXPECT_EQ(failing.failures(), 1u);
}

TEST(FileVersion, ReadsTheWholeResourceIntoZeroes) {
  DWORD announced = 0;
  ImportHook<decltype(GetFileVersionInfoSizeW)> size(self(), "GetFileVersionInfoSizeW",
                                                     [&](auto* original, const wchar_t* path, DWORD* ignored) -> DWORD {
                                                       return announced = original(path, ignored);
                                                     });
  bool checked = false;
  ImportHook<decltype(GetFileVersionInfoW)> read(
      self(), "GetFileVersionInfoW",
      [&](auto* original, const wchar_t* path, DWORD reserved, DWORD length, void* data) -> BOOL {
        EXPECT_EQ(length, announced);
        EXPECT_EQ(reserved, 0u);
        const char* const bytes = static_cast<const char*>(data);
        EXPECT_TRUE(std::all_of(bytes, bytes + length, [](char byte) { return byte == 0; }));
        checked = true;
        return original(path, reserved, length, data);
      });
  EXPECT_EQ(readFileVersion(moduleFile(L"2.0.0.45")).size, announced);
  EXPECT_TRUE(checked);
}

TEST(FileVersion, KeepsTheErrorOfTheQuery) {
  FailingImport<decltype(VerQueryValueW)> failing(
      self(), "VerQueryValueW", FALSE, {.lastError = kError},
      [](const void*, const wchar_t* name, void**, UINT*) { return std::wstring(name) == L"\\"; });
  const FileVersionReport report = readFileVersion(moduleFile(L"2.0.0.45"));
  EXPECT_EQ(report.step, Step::Query);
  EXPECT_EQ(report.error, kError);
  EXPECT_EQ(failing.failures(), 1u);
}

TEST(FileVersion, IsMissingFromAnEmptyBlock) {
  const FileVersionReport report = readFileVersion(moduleFile(L"no-fixed-info"));
  EXPECT_EQ(report.step, Step::QueryEmpty);
  EXPECT_EQ(report.length, 0u);
  EXPECT_TRUE(report.hasFixedInfo);
}

TEST(FileVersion, IsMissingFromABlockThatIsNotThere) {
  QueryHook hook(self(), "VerQueryValueW", [](auto*, const void*, const wchar_t*, void** value, UINT* length) -> BOOL {
    *value = nullptr;
    *length = 52;
    return TRUE;
  });
  const FileVersionReport report = readFileVersion(moduleFile(L"2.0.0.45"));
  EXPECT_EQ(report.step, Step::QueryEmpty);
  EXPECT_EQ(report.length, 52u);
  EXPECT_FALSE(report.hasFixedInfo);
}

// A resource of 16 bytes whose fixed information is its last 8: the numbers would lie behind it.
TEST(FileVersion, ReadsZeroWhereTheFixedInformationIsTooShort) {
  ImportHook<decltype(GetFileVersionInfoSizeW)> size(self(), "GetFileVersionInfoSizeW",
                                                     [](auto*, const wchar_t*, DWORD*) -> DWORD { return 16; });
  ImportHook<decltype(GetFileVersionInfoW)> read(self(), "GetFileVersionInfoW",
                                                 [](auto*, const wchar_t*, DWORD, DWORD length, void* data) -> BOOL {
                                                   std::fill_n(static_cast<char*>(data), length, '\x5A');
                                                   return TRUE;
                                                 });
  QueryHook query(self(), "VerQueryValueW",
                  [](auto*, const void* block, const wchar_t*, void** value, UINT* length) -> BOOL {
                    *value = const_cast<char*>(static_cast<const char*>(block)) + 8;
                    *length = 8;
                    return TRUE;
                  });
  const FileVersionReport report = readFileVersion(L"any");
  EXPECT_EQ(report.step, Step::Done);
  EXPECT_EQ(numbers(report), std::tuple(0, 0, 0, 0));
}

}  // namespace
}  // namespace zuvia::test
