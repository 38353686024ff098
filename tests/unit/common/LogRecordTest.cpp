#include "common/LogRecord.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <hxbase/LogControl.h>

#include "support/ImportHook.h"
#include "support/LogCapture.h"

namespace zuvia {
namespace {

using test::ImportHook;
using test::LogCapture;
using test::LogLine;
using test::WideText;
using testing::ElementsAre;
using testing::SizeIs;

LogRecord makeRecord(LogSink* sink = nullptr) {
  return LogRecord("Class", kLogLevel, "..\\some\\source", 12, "Class::operation", sink);
}

// Counts this thread's allocations while it lives, and can make larger ones fail; the small ones that throwing
// an exception takes still succeed.
class Allocations {
 public:
  int count = 0;
  bool failing = false;

 private:
  DWORD thread_ = GetCurrentThreadId();
  ImportHook<void*(size_t)> hook_{GetModuleHandleW(nullptr), "malloc", [this](auto* original, size_t size) -> void* {
                                    if (GetCurrentThreadId() != thread_) {
                                      return original(size);
                                    }
                                    ++count;
                                    return failing && size > 1000 ? nullptr : original(size);
                                  }};
};

TEST(LogRecord, AStatementGivesTheHostsLoggerItsSevenValues) {
  LogCapture log;
  const int line = __LINE__ + 1;
  ZU_LOG("ZuDllLoader", "ZuDllLoader", "ZuDllLoader::scanDirectory") << "Scan directory fail! error: " << 5;

  ASSERT_THAT(log.lines(), SizeIs(1));
  const LogLine logged = log.lines().front();
  EXPECT_EQ(logged.level, 1);
  EXPECT_EQ(logged.className, "ZuDllLoader");
  EXPECT_EQ(logged.sourceFile, "ZuDllLoader");
  EXPECT_EQ(logged.line, line);
  EXPECT_EQ(logged.functionName, "ZuDllLoader::scanDirectory");
  EXPECT_EQ(logged.message, L"Scan directory fail! error: 5");
  EXPECT_EQ(logged.moduleName, "common_tests.exe");
}

TEST(LogRecord, LineNumbersHave16Bits) {
  LogCapture log;
  { LogRecord record("Class", kLogLevel, "source", static_cast<uint16_t>(65535 + 2), "function"); }
  ASSERT_THAT(log.lines(), SizeIs(1));
  EXPECT_EQ(log.lines().front().line, 1);
}

TEST(LogRecord, PiecesAreAppendedInOrder) {
  LogCapture log;
  makeRecord() << "narrow " << std::string("text ") << L"wide " << std::wstring(L"text ") << std::string_view("n")
               << true << false;
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"narrow text wide text ntruefalse")));
}

TEST(LogRecord, NumbersUpTo32BitsAreSigned) {
  LogCapture log;
  makeRecord() << std::numeric_limits<int32_t>::min() << " " << std::numeric_limits<int32_t>::max() << " " << 0 << " "
               << int16_t{-7};
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"-2147483648 2147483647 0 -7")));
}

TEST(LogRecord, ErrorCodesFrom80000000OnAreUnsigned) {
  LogCapture log;
  makeRecord() << DWORD{0x80000000} << " " << DWORD{0xFFFFFFFF} << " " << uint32_t{0x80004005} << " "
               << uint16_t{65535};
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"2147483648 4294967295 2147500037 65535")));
}

TEST(LogRecord, NumbersOf64BitsAreSigned) {
  LogCapture log;
  makeRecord() << std::numeric_limits<int64_t>::min() << " " << std::numeric_limits<int64_t>::max() << " "
               << std::numeric_limits<uint64_t>::max() << " " << size_t{3};
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"-9223372036854775808 9223372036854775807 -1 3")));
}

TEST(LogRecord, NarrowTextIsReadInTheAnsiCodePage) {
  LogCapture log;
  std::wstring expected(8, L'\0');
  const std::string narrow = "\xE9\x80\xFCz";
  expected.resize(static_cast<size_t>(
      MultiByteToWideChar(CP_ACP, 0, narrow.data(), static_cast<int>(narrow.size()), expected.data(), 8)));
  makeRecord() << narrow;
  EXPECT_THAT(log.messages(), ElementsAre(WideText(expected)));
}

TEST(LogRecord, EmptyPiecesAddNothing) {
  LogCapture log;
  makeRecord() << "" << L"" << std::string() << std::wstring() << "x";
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"x")));
}

TEST(LogRecord, BeginsEmptyWithRoomFor511Characters) {
  LogCapture log;
  const LogRecord record = makeRecord();
  EXPECT_EQ(record.length(), 0U);
  EXPECT_EQ(record.capacity(), 511U);
  EXPECT_STREQ(record.message(), L"");
}

TEST(LogRecord, AMessageOf511CharactersStaysInTheInlineBuffer) {
  LogCapture log;
  const std::string piece(500, 'a');
  LogRecord record = makeRecord();
  const wchar_t* const inlineBuffer = record.message();
  {
    const Allocations allocations;
    record << piece << 12345678901;
    EXPECT_EQ(allocations.count, 0);
  }
  EXPECT_EQ(record.length(), 511U);
  EXPECT_EQ(record.capacity(), 511U);
  EXPECT_EQ(record.message(), inlineBuffer);
}

TEST(LogRecord, A512thCharacterMovesItToABufferOf1024) {
  LogCapture log;
  LogRecord record = makeRecord();
  const wchar_t* const inlineBuffer = record.message();
  record << std::wstring(511, L'a');
  record << "b";
  EXPECT_EQ(record.length(), 512U);
  EXPECT_EQ(record.capacity(), 1023U);
  EXPECT_NE(record.message(), inlineBuffer);
  EXPECT_EQ(record.message(), std::wstring(511, L'a') + L"b");
}

TEST(LogRecord, TheBufferDoublesUntilThePieceFits) {
  LogCapture log;
  LogRecord record = makeRecord();
  record << std::wstring(1023, L'a');
  EXPECT_EQ(record.capacity(), 1023U);
  record << std::string(1, 'b');
  EXPECT_EQ(record.capacity(), 2047U);
  record << std::wstring(10'000, L'c');
  EXPECT_EQ(record.capacity(), 16383U);
  EXPECT_EQ(record.message(), std::wstring(1023, L'a') + L"b" + std::wstring(10'000, L'c'));
}

TEST(LogRecord, APieceWithoutMemoryIsLeftOut) {
  LogCapture log;
  {
    LogRecord record = makeRecord();
    record << "kept ";
    {
      const std::string piece(600, 'x');
      Allocations allocations;
      allocations.failing = true;
      record << piece;
      EXPECT_GE(allocations.count, 1);
    }
    record << "too";
  }
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"kept too")));
}

// Such pieces are refused by their length alone; nothing of them is read.
TEST(LogRecord, APieceThatNoMessageHoldsIsLeftOut) {
  LogCapture log;
  {
    LogRecord record = makeRecord();
    record << "kept ";
    record << std::wstring_view(L"x", 0x7FFFFFFF);
    record << std::wstring_view(L"x", 0x7FFFFFFF - 5);
    record << std::string_view("x", 0x80000000);
    record << std::string_view("x", static_cast<size_t>(-5));
    EXPECT_EQ(record.capacity(), 511U);
    record << "too";
  }
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"kept too")));
}

TEST(LogRecord, IsEmittedAlsoWhenAnExceptionLeavesTheStatement) {
  LogCapture log;
  const auto fail = []() -> const char* { throw std::runtime_error("no piece"); };
  EXPECT_THROW(makeRecord() << "before " << fail(), std::runtime_error);
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"before ")));
}

// Counts the calls of the logger and its conversions while a level is disabled.
TEST(LogRecord, ADisabledLevelMakesOneEmptyCallAndNoWork) {
  int logged = 0;
  int conversions = 0;
  std::wstring message = L"unset";
  const HMODULE program = GetModuleHandleW(nullptr);
  ImportHook<decltype(DoLog2)> doLog(
      program, "DoLog2",
      [&](auto*, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t* text, const char*) {
        ++logged;
        message = text;
      });
  ImportHook<decltype(MultiByteToWideChar)> convert(
      program, "MultiByteToWideChar",
      [&](auto* original, UINT page, DWORD flags, const char* text, int size, wchar_t* out, int outSize) {
        ++conversions;
        return original(page, flags, text, size, out, outSize);
      });
  HxSetLogLevelEnabled(kLogLevel, false);
  {
    const Allocations allocations;
    makeRecord() << "text" << L"wide" << 1 << int64_t{2} << std::wstring_view(L"x") << true;
    EXPECT_LE(allocations.count, 2);  // the hook's own copy of the message
  }
  HxSetLogLevelEnabled(kLogLevel, true);
  EXPECT_EQ(logged, 1);
  EXPECT_EQ(message, L"");
  EXPECT_EQ(conversions, 0);
}

TEST(LogRecord, TheLevelIsAskedForOnceAndFixed) {
  int asked = 0;
  const HMODULE program = GetModuleHandleW(nullptr);
  LogCapture log;
  ImportHook<decltype(IsLogLevelEnabled)> enabled(program, "IsLogLevelEnabled", [&](auto*, uint16_t level) {
    ++asked;
    EXPECT_EQ(level, 1);
    return asked == 1;
  });
  makeRecord() << "one"
               << " two";
  EXPECT_EQ(asked, 1);
  EXPECT_THAT(log.messages(), ElementsAre(WideText(L"one two")));
}

class RecordingSink final : public LogSink {
 public:
  explicit RecordingSink(bool enabled) : enabled_(enabled) {}
  void write(uint16_t level, const char* className, const char* sourceFile, uint16_t line, const char* functionName,
             const wchar_t* message, const char* moduleName) override {
    calls.push_back("write");
    values = {level, className, sourceFile, line, functionName, WideText(message), moduleName, 0};
  }
  bool isEnabled(uint16_t) override {
    calls.push_back("isEnabled");
    return enabled_;
  }

  std::vector<std::string> calls;
  LogLine values;

 private:
  bool enabled_;
};

TEST(LogRecord, ASinkTakesTheLineInsteadOfTheHostsLogger) {
  LogCapture log;
  RecordingSink sink(true);
  makeRecord(&sink) << "to the sink";
  EXPECT_THAT(sink.calls, ElementsAre("isEnabled", "write"));
  EXPECT_EQ(sink.values.level, 1);
  EXPECT_EQ(sink.values.className, "Class");
  EXPECT_EQ(sink.values.sourceFile, "..\\some\\source");
  EXPECT_EQ(sink.values.line, 12);
  EXPECT_EQ(sink.values.functionName, "Class::operation");
  EXPECT_EQ(sink.values.message, L"to the sink");
  EXPECT_EQ(sink.values.moduleName, "common_tests.exe");
  EXPECT_THAT(log.messages(), SizeIs(0));
}

TEST(LogRecord, ASinkThatIsDisabledGetsNoLineAndNobodyElseDoes) {
  LogCapture log;
  RecordingSink sink(false);
  makeRecord(&sink) << "nowhere";
  EXPECT_THAT(sink.calls, ElementsAre("isEnabled"));
  EXPECT_THAT(log.messages(), SizeIs(0));
}

// The slot order is a contract with the host: write first.
TEST(LogRecord, ASinksFirstSlotIsWrite) {
  RecordingSink sink(true);
  using Write = void(void*, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t*, const char*);
  LogSink* const base = &sink;
  auto* const slots = *reinterpret_cast<void***>(base);
  reinterpret_cast<Write*>(slots[0])(base, 1, "c", "s", 2, "f", L"m", "n");
  EXPECT_THAT(sink.calls, ElementsAre("write"));
}

TEST(LogRecord, AnyThreadMayLog) {
  LogCapture log;
  constexpr int kThreads = 8;
  constexpr int kLines = 100;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([] {
      for (int line = 0; line < kLines; ++line) {
        makeRecord() << "whole " << L"line";
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(log.messages(), std::vector<WideText>(kThreads * kLines, WideText(L"whole line")));
}

}  // namespace
}  // namespace zuvia
