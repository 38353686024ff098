#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <hxbase/LogControl.h>
#include <windows.h>

#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::EndsWith;

// The lines that reached a sink, for as long as the object lives.
class SinkLog {
 public:
  using Line = std::tuple<uint16_t, std::string, std::string, uint16_t, std::string, std::wstring, std::string>;

  SinkLog() { HxSetLogSink(receive, this); }
  SinkLog(const SinkLog&) = delete;
  SinkLog& operator=(const SinkLog&) = delete;
  ~SinkLog() { HxSetLogSink(nullptr, nullptr); }

  std::vector<Line> lines() {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

 private:
  static void receive(void* context, uint16_t level, const char* className, const char* sourceFile, uint16_t line,
                      const char* functionName, const wchar_t* message, const char* moduleName) {
    auto* const log = static_cast<SinkLog*>(context);
    const std::lock_guard lock(log->mutex_);
    log->lines_.emplace_back(level, className, sourceFile, line, functionName, message, moduleName);
  }

  std::mutex mutex_;
  std::vector<Line> lines_;
};

void log(const wchar_t* message, uint16_t level = 1) {
  DoLog2(level, "Class", "..\\source\\File", 65535, "Class::function", message, "module.dll");
}

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

std::string readAll(HANDLE pipe) {
  std::string bytes;
  std::array<char, 4096> buffer;
  DWORD count = 0;
  while (ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) != 0) {
    bytes.append(buffer.data(), count);
  }
  return bytes;
}

// Redirects the standard error stream of this process while action runs; returns what was written.
template <typename Action>
std::string standardErrorOf(Action action) {
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  EXPECT_NE(CreatePipe(&reader, &writer, nullptr, 0), 0);
  const Handle readEnd(reader);
  Handle writeEnd(writer);
  std::string text;
  std::thread collector([&] { text = readAll(reader); });
  const HANDLE before = GetStdHandle(STD_ERROR_HANDLE);
  SetStdHandle(STD_ERROR_HANDLE, writer);
  action();
  SetStdHandle(STD_ERROR_HANDLE, before);
  writeEnd.reset();
  collector.join();
  return text;
}

TEST(Log, ReachesTheSinkWithAllSevenValues) {
  SinkLog sink;
  const std::wstring message = L"\u6587 \U0001F388\n" + std::wstring(2000, L'x');
  log(message.c_str());
  EXPECT_THAT(sink.lines(), ElementsAre(SinkLog::Line(1, "Class", "..\\source\\File", 65535, "Class::function", message,
                                                      "module.dll")));
}

TEST(Log, PassesAnEmptyMessageOn) {
  SinkLog sink;
  log(L"");
  EXPECT_EQ(sink.lines().size(), 1U);
}

TEST(Log, HasEveryLevelEnabledAtFirst) {
  for (unsigned level = 0; level <= 0xFFFF; ++level) {
    ASSERT_TRUE(IsLogLevelEnabled(static_cast<uint16_t>(level))) << level;
  }
}

TEST(Log, DropsLinesOfADisabledLevelAndOfNoOther) {
  SinkLog sink;
  for (const uint16_t level : {uint16_t{0}, uint16_t{1}, uint16_t{31}, uint16_t{32}, uint16_t{65535}}) {
    HxSetLogLevelEnabled(level, false);
    EXPECT_FALSE(IsLogLevelEnabled(level));
    EXPECT_TRUE(IsLogLevelEnabled(static_cast<uint16_t>(level ^ 2)));
    log(L"dropped", level);
    log(L"kept", static_cast<uint16_t>(level ^ 2));
    HxSetLogLevelEnabled(level, true);
    EXPECT_TRUE(IsLogLevelEnabled(level));
    log(L"again", level);
  }
  EXPECT_EQ(sink.lines().size(), 10U);
}

TEST(Log, WritesReadableUtf8LinesWithoutASink) {
  const std::string text = standardErrorOf([] {
    log(L"\u6587 message");
    log(L"two\r\nlines\t", 2);
  });
  EXPECT_EQ(text,
            "[1] module.dll ..\\source\\File:65535 Class Class::function: \xE6\x96\x87 message\n"
            "[2] module.dll ..\\source\\File:65535 Class Class::function: two  lines \n");
}

TEST(Log, GoesBackToTheStandardErrorWhenTheSinkIsTakenAway) {
  { SinkLog sink; }
  EXPECT_THAT(standardErrorOf([] { log(L"back"); }), EndsWith(": back\n"));
}

TEST(Log, SurvivesAStandardErrorThatCannotBeWritten) {
  const HANDLE before = GetStdHandle(STD_ERROR_HANDLE);
  for (const HANDLE handle : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
    SetStdHandle(STD_ERROR_HANDLE, handle);
    log(L"nowhere");
  }
  SetStdHandle(STD_ERROR_HANDLE, before);
  SinkLog sink;
  log(L"still working");
  EXPECT_EQ(sink.lines().size(), 1U);
}

TEST(Log, WritesLinesOfManyThreadsWhole) {
  const std::wstring message(3000, L'm');
  const std::string text = standardErrorOf([&] {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
      threads.emplace_back([&] {
        for (int line = 0; line < 50; ++line) log(message.c_str());
      });
    }
    for (auto& thread : threads) thread.join();
  });
  const std::string line =
      "[1] module.dll ..\\source\\File:65535 Class Class::function: " + std::string(3000, 'm') + '\n';
  ASSERT_EQ(text.size(), line.size() * 400);
  for (size_t begin = 0; begin < text.size(); begin += line.size())
    ASSERT_EQ(text.compare(begin, line.size(), line), 0);
}

struct SlowSink {
  std::atomic<bool> entered = false;
  std::atomic<bool> ended = false;

  static void receive(void* context, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t*,
                      const char*) {
    auto* const sink = static_cast<SlowSink*>(context);
    sink->entered = true;
    Sleep(100);
    sink->ended = true;
  }
};

TEST(SetLogSink, ReturnsOnlyWhenTheOldSinkHasEnded) {
  SlowSink slow;
  HxSetLogSink(SlowSink::receive, &slow);
  std::thread logger([] { log(L"slow"); });
  while (!slow.entered) Sleep(1);
  HxSetLogSink(nullptr, nullptr);
  EXPECT_TRUE(slow.ended);
  logger.join();
}

struct MeetingSink {
  std::atomic<int> inside = 0;
  std::atomic<bool> met = false;

  static void receive(void* context, uint16_t, const char*, const char*, uint16_t, const char*, const wchar_t*,
                      const char*) {
    auto* const sink = static_cast<MeetingSink*>(context);
    if (++sink->inside == 2) sink->met = true;
    for (int i = 0; i < 5000 && !sink->met; ++i) Sleep(1);
    --sink->inside;
  }
};

TEST(SetLogSink, LetsSeveralThreadsIntoTheSinkAtOnce) {
  MeetingSink meeting;
  HxSetLogSink(MeetingSink::receive, &meeting);
  std::thread first([] { log(L"first"); });
  std::thread second([] { log(L"second"); });
  first.join();
  second.join();
  HxSetLogSink(nullptr, nullptr);
  EXPECT_TRUE(meeting.met);
}

// Runs the program that ends while it logs. Returns its standard error.
std::string endingProcess(const std::wstring& mode) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  EXPECT_NE(CreatePipe(&reader, &writer, &inheritable, 0), 0);
  const Handle readEnd(reader);
  Handle writeEnd(writer);
  SetHandleInformation(reader, HANDLE_FLAG_INHERIT, 0);
  std::wstring line = L"\"" ENDING_PROGRAM L"\" " + mode;
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdError = writer;
  PROCESS_INFORMATION information{};
  EXPECT_NE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &information),
            0);
  const Handle process(information.hProcess);
  const Handle thread(information.hThread);
  writeEnd.reset();
  std::string text;
  std::thread collector([&] { text = readAll(reader); });
  const DWORD ended = WaitForSingleObject(process.get(), 20'000);
  EXPECT_EQ(ended, WAIT_OBJECT_0) << "it hangs";
  if (ended != WAIT_OBJECT_0) TerminateProcess(process.get(), 99);
  collector.join();
  DWORD status = 0;
  EXPECT_NE(GetExitCodeProcess(process.get(), &status), 0);
  EXPECT_EQ(status, 7U);
  return text;
}

TEST(Log, WorksWhileTheProcessEndsAlthoughThreadsWereEndedInTheSink) {
  EXPECT_EQ(endingProcess(L"sink"), "[1] ending.dll Ending:1 Ending log: last line\n");
}

TEST(Log, WorksWhileTheProcessEndsAlthoughThreadsWereEndedWhileWriting) {
  EXPECT_THAT(endingProcess(L"default"), EndsWith("last line\n"));
}

}  // namespace
