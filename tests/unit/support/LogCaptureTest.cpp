#include "support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hxbase/Log.h>
#include <windows.h>

#include <thread>

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void log(const wchar_t* message) {
  DoLog2(1, "Class", "Source", 65535, "Class::function", message, "zuviaplugin.dll");
}

TEST(LogCapture, KeepsAllSevenFields) {
  const LogCapture capture;
  DoLog2(3, "Class", "Source", 65535, "Class::function", L"text \u4e2d", "module.dll");
  ASSERT_EQ(capture.lines().size(), 1u);
  const LogLine line = capture.lines().front();
  EXPECT_EQ(line.level, 3);
  EXPECT_EQ(line.className, "Class");
  EXPECT_EQ(line.sourceFile, "Source");
  EXPECT_EQ(line.line, 65535);
  EXPECT_EQ(line.functionName, "Class::function");
  EXPECT_EQ(line.message, L"text \u4e2d");
  EXPECT_EQ(line.moduleName, "module.dll");
  EXPECT_EQ(line.threadId, GetCurrentThreadId());
}

TEST(LogCapture, KeepsTheOrderAndForgetsOnDemand) {
  LogCapture capture;
  log(L"one");
  log(L"two");
  EXPECT_THAT(capture.messages(), ElementsAre(L"one", L"two"));
  capture.clear();
  EXPECT_THAT(capture.messages(), IsEmpty());
}

TEST(LogCapture, WaitsForALine) {
  const LogCapture capture;
  std::thread writer([] {
    Sleep(50);
    log(L"late, error: 5");
  });
  EXPECT_TRUE(capture.waitForStart(L"late, "));
  EXPECT_TRUE(capture.waitFor(L"late, error: 5"));
  EXPECT_FALSE(capture.waitFor(L"late", 20));
  writer.join();
}

TEST(LogCapture, ReceivesNothingAfterItsEnd) {
  { const LogCapture capture; }
  testing::internal::CaptureStderr();
  log(L"to the error stream");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("to the error stream"));
}

TEST(LogCapture, LeavesTheLastErrorAlone) {
  const LogCapture capture;
  SetLastError(1234);
  log(L"one");
  EXPECT_EQ(GetLastError(), 1234u);
}

TEST(LogLine, PrintsItsFields) {
  const LogLine line{1, "Class", "Source", 7, "Class::function", L"text", "module.dll", 9};
  EXPECT_EQ(testing::PrintToString(line), "level 1 Class Source:7 Class::function [module.dll] \"text\"");
}

}  // namespace
}  // namespace zuvia::test
