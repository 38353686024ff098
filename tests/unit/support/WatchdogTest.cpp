// What tests/support/main.cpp adds to every test program.

#include <gtest/gtest.h>
#include <windows.h>

#include <string>

#include "support/ChildProcess.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

// This program, with one of its own tests.
ChildProcess run(const std::wstring& test, const wchar_t* seconds) {
  SetEnvironmentVariableW(L"ZUVIA_TEST_SECONDS", seconds);
  return ChildProcess(joinPath(programDirectory(), L"test_support.exe"), {L"--gtest_filter=" + test});
}

bool isClosingLine(const std::string& line) {
  return line.starts_with("zuvia-test: ");
}

TEST(Watchdog, NamesATestThatHangs) {
  ChildProcess child = run(L"Modules.MayBeSlow", L"1");  // takes two seconds
  EXPECT_EQ(child.readUntil(isClosingLine), "zuvia-test: Modules.MayBeSlow hangs: it took more than 1 seconds");
  EXPECT_EQ(child.waitForExit(), 3u);
}

TEST(Watchdog, LetsATestInTimePass) {
  ChildProcess child = run(L"Modules.MayBeSlow", L"60");
  EXPECT_EQ(child.readUntil(isClosingLine), "zuvia-test: passed");
  EXPECT_EQ(child.waitForExit(), 0u);
}

}  // namespace
}  // namespace zuvia::test
