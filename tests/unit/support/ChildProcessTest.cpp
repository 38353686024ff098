#include "support/ChildProcess.h"

#include <gtest/gtest.h>
#include <windows.h>
// After windows.h.
#include <shellapi.h>

#include <string>
#include <system_error>
#include <vector>

#include "support/Files.h"
#include "support/HandleCount.h"

namespace zuvia::test {
namespace {

const std::wstring& program() {
  static const std::wstring path = joinPath(programDirectory(), L"zuvia_test_second.exe");
  return path;
}

TEST(CommandLine, IsTakenApartAsItWasPutTogether) {
  const std::vector<std::wstring> arguments = {L"", L"a b", L"c\\", L"d \\\\", L"\"e\"", L"f\\\"g", L"\u4e2d"};
  int count = 0;
  wchar_t** parts = CommandLineToArgvW(commandLine(L"C:\\a b\\program.exe", arguments).c_str(), &count);
  const std::vector<std::wstring> taken(parts, parts + count);
  LocalFree(parts);
  ASSERT_EQ(taken.size(), arguments.size() + 1);
  EXPECT_EQ(taken.front(), L"C:\\a b\\program.exe");
  EXPECT_EQ(std::vector<std::wstring>(taken.begin() + 1, taken.end()), arguments);
}

TEST(ChildProcess, TalksByLines) {
  ChildProcess child(program());
  EXPECT_TRUE(child.writeLine("hello"));
  EXPECT_TRUE(child.writeLine("nonsense"));
  EXPECT_EQ(child.readLine(), "ok ");
  EXPECT_EQ(child.readUntil([](const std::string& line) { return line.starts_with("error"); }),
            "error unknown command");
  EXPECT_EQ(child.readLine(20), std::nullopt);
}

TEST(ChildProcess, EndsWhenItsInputEnds) {
  ChildProcess child(program());
  EXPECT_EQ(child.waitForExit(20), std::nullopt);
  child.closeInput();
  EXPECT_EQ(child.waitForExit(), 0u);
  EXPECT_EQ(child.readLine(), std::nullopt);
}

TEST(ChildProcess, IsTerminated) {
  ChildProcess child(program());
  child.terminate();
  EXPECT_EQ(child.waitForExit(0), 999u);
  EXPECT_FALSE(child.writeLine("hello"));
}

TEST(ChildProcess, CollectsTheErrorStream) {
  ChildProcess child(program());
  child.writeLine("complain about something");
  EXPECT_EQ(child.readLine(), "ok ");
  child.closeInput();
  EXPECT_EQ(child.waitForExit(), 0u);
  EXPECT_EQ(child.errorText(), "about something\r\n");
}

TEST(ChildProcess, SaysWhatCannotBeStarted) {
  EXPECT_THROW(ChildProcess(L"C:\\no\\such\\program.exe"), std::system_error);
}

// Locks of the run-time library keep an event each when two threads first want them at once, whenever that is:
// what a child leaves open is what is left as often as there were children.
TEST(ChildProcess, LeavesNothingOpen) {
  constexpr std::size_t kChildren = 10;
  const HandleCount before = countHandles();
  for (std::size_t i = 0; i < kChildren; ++i) {
    ChildProcess child(program());
    child.writeLine("hello");
    child.readLine();
  }
  for (const auto& [type, count] : countHandles()) {
    const auto old = before.find(type);
    EXPECT_LT(count, (old == before.end() ? 0 : old->second) + kChildren) << type;
  }
}

}  // namespace
}  // namespace zuvia::test
