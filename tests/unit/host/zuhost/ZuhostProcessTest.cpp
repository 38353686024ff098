#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>
#include <windows.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <string>
#include <vector>

// zuhost.exe as a process, with a plugin that is not the real one.
namespace {

using std::chrono::milliseconds;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using std::string_literals::operator""s;

struct HandleCloser {
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

struct Pipe {
  Handle reader;
  Handle writer;
};

// inherited: the end that the process gets.
Pipe makePipe(Handle Pipe::*inherited) {
  HANDLE reader = nullptr;
  HANDLE writer = nullptr;
  EXPECT_NE(CreatePipe(&reader, &writer, nullptr, 0), 0);
  Pipe pipe{Handle(reader), Handle(writer)};
  EXPECT_NE(SetHandleInformation((pipe.*inherited).get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT), 0);
  return pipe;
}

std::string readAll(HANDLE pipe) {
  std::string bytes;
  std::array<char, 4096> buffer;
  DWORD count = 0;
  while (ReadFile(pipe, buffer.data(), static_cast<DWORD>(buffer.size()), &count, nullptr) != 0 && count > 0) {
    bytes.append(buffer.data(), count);
  }
  return bytes;
}

// A running zuhost. The destructor ends one that is still there.
class Zuhost {
 public:
  explicit Zuhost(const std::wstring& arguments)
      : input_(makePipe(&Pipe::reader)), output_(makePipe(&Pipe::writer)), error_(makePipe(&Pipe::writer)) {
    std::wstring line = L"\"" ZUHOST_PROGRAM L"\" " + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input_.reader.get();
    startup.hStdOutput = output_.writer.get();
    startup.hStdError = error_.writer.get();
    PROCESS_INFORMATION information{};
    EXPECT_NE(CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &information),
              0);
    process_.reset(information.hProcess);
    thread_.reset(information.hThread);
    input_.reader.reset();
    output_.writer.reset();
    error_.writer.reset();
  }
  Zuhost(const Zuhost&) = delete;
  Zuhost& operator=(const Zuhost&) = delete;
  ~Zuhost() {
    if (WaitForSingleObject(process_.get(), 0) == WAIT_TIMEOUT) TerminateProcess(process_.get(), 99);
  }

  void write(const std::string& text) {
    DWORD written = 0;
    EXPECT_NE(WriteFile(input_.writer.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr), 0);
  }

  void endInput() { input_.writer.reset(); }

  std::string readLine() {
    std::string line;
    char byte = 0;
    DWORD count = 0;
    while (ReadFile(output_.reader.get(), &byte, 1, &count, nullptr) != 0 && count == 1 && byte != '\n') line += byte;
    return line;
  }

  // Waits for the end.
  void finish() {
    auto error = std::async(std::launch::async, [this] { return readAll(error_.reader.get()); });
    outputText = readAll(output_.reader.get());
    errorText = error.get();
    EXPECT_EQ(WaitForSingleObject(process_.get(), 30'000), WAIT_OBJECT_0);
    DWORD code = 0;
    EXPECT_NE(GetExitCodeProcess(process_.get(), &code), 0);
    status = code;
  }

  std::string outputText;
  std::string errorText;
  DWORD status = ~DWORD{0};

 private:
  Pipe input_;
  Pipe output_;
  Pipe error_;
  Handle process_;
  Handle thread_;
};

const std::wstring kFake = L"--plugin \"" FAKE_PLUGINS L"fake.dll\"";

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  size_t begin = 0;
  for (size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', begin)) {
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  EXPECT_EQ(begin, text.size()) << "the last line has no end";
  return lines;
}

Json::Value parsed(const std::string& line) {
  Json::Value value;
  std::string errors;
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(reader->parse(line.data(), line.data() + line.size(), &value, &errors)) << errors << line;
  return value;
}

// Runs the commands with --json; returns what it told. Expects status 0 and nothing on the error stream.
std::vector<Json::Value> told(const std::string& commands, const std::wstring& options = L"") {
  Zuhost host(kFake + L" --json " + options);
  host.write(commands);
  host.endInput();
  host.finish();
  EXPECT_EQ(host.status, 0U);
  EXPECT_EQ(host.errorText, "");
  std::vector<Json::Value> values;
  for (const auto& line : linesOf(host.outputText)) values.push_back(parsed(line));
  return values;
}

// The same, but only the answers, as JSON.
std::vector<std::string> answers(const std::string& commands) {
  std::vector<std::string> lines;
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  for (const auto& value : told(commands)) {
    if (!value.isMember("event") && !value.isMember("log")) lines.push_back(Json::writeString(writer, value));
  }
  return lines;
}

TEST(ZuhostProcess, AnswersEveryCommand) {
  EXPECT_THAT(
      answers("listen\nload\nloaded\nversion\nsend echo hello\nquery IID_IZUPlugin\nquery iid_izuplugin\n"
              "relay1 5 5 5\nrelay1 5 6 7\nrelay2 1 2 3\nwait loaded 1000\nsleep 1\nunlisten 100\nunlisten 100\n"
              "unload\nloaded\ndestroy\nquit\n"),
      testing::ElementsAre(R"({"listener":100})", R"({"done":"load"})", R"({"loaded":true})",
                           R"({"version":"1.2.3.4"})", R"({"result":"hello"})", R"({"interface":true})",
                           R"({"interface":false})", R"({"relay":true})", R"({"relay":false})", R"({"done":"relay2"})",
                           R"({"ok":true,"waited":"loaded"})", R"({"done":"sleep"})", R"({"removed":true})",
                           R"({"removed":false})", R"({"done":"unload"})", R"({"loaded":false})",
                           R"({"done":"destroy"})", R"({"done":"quit"})"));
}

TEST(ZuhostProcess, PassesArgumentsOnAsTheyAre) {
  const auto values = told("listen\nload C:\\a b\\\xE6\x96\x87 \nload\nrelay1 1 0xFFFFFFFFFFFFFFFF 3\nsend echo\n");
  ASSERT_EQ(values.size(), 8U);
  EXPECT_EQ(values[1]["data"], "C:\\a b\\\xE6\x96\x87 ");
  EXPECT_TRUE(values[3]["data"].isNull());
  EXPECT_EQ(values[5]["data"], "0000000000000001ffffffffffffffff0000000000000003");
  EXPECT_EQ(values[7]["result"], "(null)");
}

TEST(ZuhostProcess, TellsEventsWithTheirCircumstances) {
  const auto values = told("listen\nsend emit text\nwait emitted 5000\nrelay2 0 0 0\n");
  Json::Value emitted;
  Json::Value relayed;
  for (const auto& value : values) {
    if (value["event"] == "emitted") emitted = value;
    if (value["event"] == "relay2") relayed = value;
  }
  EXPECT_EQ(emitted["data"], "text");
  EXPECT_EQ(emitted["listener"], 100);
  EXPECT_TRUE(emitted["ms"].isUInt());
  EXPECT_NE(emitted["thread"], relayed["thread"]);
  EXPECT_GE(relayed["ms"].asUInt(), emitted["ms"].asUInt());
}

TEST(ZuhostProcess, WaitsSinceTheLastWaitOnly) {
  EXPECT_THAT(answers("listen\nload\nwait loaded 5000\nwait loaded 20\nload\nwait loaded 5000\nwait other 20\n"),
              testing::ElementsAre(R"({"listener":100})", R"({"done":"load"})", R"({"ok":true,"waited":"loaded"})",
                                   R"({"ok":false,"waited":"loaded"})", R"({"done":"load"})",
                                   R"({"ok":true,"waited":"loaded"})", R"({"ok":false,"waited":"other"})"));
}

TEST(ZuhostProcess, TellsLogLinesWithAllTheirFields) {
  const auto values = told("send log\n");
  ASSERT_EQ(values.size(), 2U);
  const Json::Value& log = values[0]["log"];
  EXPECT_EQ(log["level"], 1);
  EXPECT_EQ(log["class"], "FakePlugin");
  EXPECT_EQ(log["source"], "..\\fake\\FakePlugin");
  EXPECT_EQ(log["line"], 42);
  EXPECT_EQ(log["function"], "FakePlugin::log");
  EXPECT_EQ(log["message"], "\xE6\x96\x87 \"quoted\"\n" + std::string(3000, 'x'));
  EXPECT_EQ(log["module"], "fake.dll");
}

TEST(ZuhostProcess, LeavesLogLinesOutWithTheLevelOff) {
  const auto values = told("send log\n", L"--level-off");
  ASSERT_EQ(values.size(), 1U);
  EXPECT_EQ(values[0]["result"], "(null)");
}

TEST(ZuhostProcess, AnswersABadCommandAndReadsOn) {
  EXPECT_THAT(answers("bogus\nsend\nunlisten x\nwait e -1\nsleep 2147483648\n\n  \nsend a\0b\nloaded\n"s),
              testing::ElementsAre(R"({"error":"unknown command: bogus; help lists them"})",
                                   R"({"error":"usage: send CMD [DATA]"})",
                                   R"({"error":"not a number from 0 to 18446744073709551615: x"})",
                                   R"({"error":"not a number from 0 to 2147483647: -1"})",
                                   R"({"error":"not a number from 0 to 2147483647: 2147483648"})",
                                   R"({"error":"a line must not hold a NUL character"})", R"({"loaded":false})"));
}

TEST(ZuhostProcess, SurvivesAPluginThatMisbehaves) {
  EXPECT_THAT(
      answers("send throw\nsend throw-number\nsend null\nlisten\nsend emit-null\nloaded\n"),
      testing::ElementsAre(R"({"error":"the plugin threw: on demand"})",
                           R"({"error":"the plugin threw what is no standard exception"})", R"({"result":null})",
                           R"({"listener":100})", R"j({"result":"(null)"})j", R"({"loaded":false})"));
}

TEST(ZuhostProcess, RefusesWhatNeedsTheObjectAfterDestroy) {
  const std::string error = R"({"error":"the plugin object was destroyed"})";
  EXPECT_THAT(answers("destroy\nload\nunload\nsend x\nlisten\nunlisten 100\nquery IID_IZUPlugin\nloaded\nversion\n"
                      "relay1 1 2 3\nrelay2 1 2 3\ndestroy\nwait x 1\nsleep 1\n"),
              testing::ElementsAre(R"({"done":"destroy"})", error, error, error, error, error, error, error, error,
                                   error, error, error, R"({"ok":false,"waited":"x"})", R"({"done":"sleep"})"));
}

TEST(ZuhostProcess, WritesValidUtf8WhateverThePluginAnswers) {
  Zuhost host(kFake + L" --json");
  host.write("send bytes\nsend echo \xFF\n");
  host.endInput();
  host.finish();
  const auto lines = linesOf(host.outputText);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[0], AllOf(StartsWith("{\"result\":\"a\xEF\xBF\xBD"), EndsWith("\xEF\xBF\xBDz\"}")));
  EXPECT_EQ(lines[1], "{\"result\":\"\xEF\xBF\xBD\"}");
}

TEST(ZuhostProcess, NeverMixesTheLinesOfDifferentThreads) {
  const std::string data(500, 'd');
  const auto values = told("listen\nlisten\nsend emit-storm " + data + "\nunload\n");
  size_t events = 0;
  for (const auto& value : values) {
    if (value["event"] != "emitted") continue;
    ++events;
    EXPECT_EQ(value["data"], data);
  }
  EXPECT_EQ(events, 2U * 4U * 200U);
}

TEST(ZuhostProcess, AnswersBeforeTheNextCommandIsSent) {
  Zuhost host(kFake + L" --json");
  host.write("loa");
  host.write("ded\r\n");
  EXPECT_EQ(host.readLine(), R"({"loaded":false})");
  host.write("version");
  host.endInput();
  EXPECT_EQ(host.readLine(), R"({"version":""})");
  host.finish();
  EXPECT_EQ(host.status, 0U);
}

TEST(ZuhostProcess, EndsAtQuitWhateverIsStillRunning) {
  Zuhost host(kFake + L" --json");
  host.write("listen\nsend emit-storm x\nquit\nloaded\n");
  host.finish();
  EXPECT_EQ(host.status, 0U);
  EXPECT_THAT(host.outputText, AllOf(HasSubstr("{\"done\":\"quit\"}\n"), testing::Not(HasSubstr("loaded"))));
}

TEST(ZuhostProcess, TellsAPersonTheSameWithoutPromptOrColourInAPipe) {
  Zuhost host(kFake);
  host.write("listen\nload\nsend echo x\nbogus\nhelp\nquit\n");
  host.finish();
  const auto lines = linesOf(host.outputText);
  ASSERT_GT(lines.size(), 10U);
  EXPECT_EQ(lines[0], "listener: 100");
  EXPECT_THAT(lines[1], AllOf(StartsWith("event loaded \"\" (listener 100, thread "), EndsWith(" ms)")));
  EXPECT_EQ(lines[2], "done: load");
  EXPECT_EQ(lines[3], "result: x");
  EXPECT_EQ(lines[4], "error: unknown command: bogus; help lists them");
  EXPECT_THAT(lines[5], StartsWith("load [PATH] "));
  EXPECT_EQ(lines.back(), "done: quit");
  EXPECT_THAT(host.outputText, AllOf(testing::Not(HasSubstr("\x1B")), testing::Not(HasSubstr("zuhost>"))));
}

// The plugin lies in a directory of its own; what it imports lies beside zuhost.exe only.
TEST(ZuhostProcess, FindsTheLibrariesOfAPluginElsewhereBesideItself) {
  const std::filesystem::path elsewhere(FAKE_PLUGINS);
  ASSERT_FALSE(std::filesystem::exists(elsewhere / "hxbase.dll"));
  ASSERT_FALSE(std::filesystem::exists(elsewhere / "hxutility.dll"));
  EXPECT_THAT(answers("send unzip\n"), testing::ElementsAre(R"({"result":"yes"})"));
}

// ---- a plugin that cannot be had ----------------------------------------------------------------

std::string errorWith(const std::wstring& arguments) {
  Zuhost host(arguments);
  host.endInput();
  host.finish();
  EXPECT_EQ(host.status, 2U);
  EXPECT_EQ(host.outputText, "");
  EXPECT_EQ(linesOf(host.errorText).size(), 1U);
  return host.errorText;
}

TEST(ZuhostProcess, NamesAPluginThatIsMissing) {
  EXPECT_THAT(errorWith(L"--json --plugin \"" FAKE_PLUGINS L"\u6587 missing.dll\""),
              AllOf(StartsWith("zuhost: cannot load "),
                    HasSubstr("\xE6\x96\x87 missing.dll: there is no such file; --plugin names the plugin\n")));
}

TEST(ZuhostProcess, MakesNoRecordingOfAPluginThatIsMissing) {
  const std::filesystem::path recording = std::filesystem::temp_directory_path() / L"zuhost-recording.zu";
  std::filesystem::remove(recording);
  EXPECT_THAT(errorWith(L"--plugin \"" FAKE_PLUGINS L"missing.dll\" --record \"" + recording.wstring() + L"\""),
              StartsWith("zuhost: cannot load "));
  EXPECT_FALSE(std::filesystem::exists(recording));
}

TEST(ZuhostProcess, NamesAFileThatIsNoModule) {
  EXPECT_THAT(errorWith(L"--plugin \"" FAKE_PLUGINS L"..\\CTestTestfile.cmake\""),
              HasSubstr("CTestTestfile.cmake: error 193, "));
}

TEST(ZuhostProcess, NamesAModuleWithoutTheExport) {
  EXPECT_THAT(errorWith(L"--plugin \"" OTHER_LIBRARY L"\""), HasSubstr("hxbase.dll: no export create, error 127, "));
}

TEST(ZuhostProcess, NamesAPluginWithoutAnObject) {
  EXPECT_THAT(errorWith(L"--plugin \"" FAKE_PLUGINS L"nothing.dll\""),
              EndsWith("nothing.dll: create returned no object\n"));
  EXPECT_THAT(errorWith(L"--plugin \"" FAKE_PLUGINS L"throws.dll\""),
              EndsWith("throws.dll: create threw: no plugin today\n"));
}

TEST(ZuhostProcess, TellsAWrongCommandLine) {
  EXPECT_THAT(errorWith(L"--bogus"), StartsWith("zuhost: "));
}

TEST(ZuhostProcess, PrintsHelpAndVersionOnTheStandardOutput) {
  for (const auto& [option, expected] :
       {std::pair{L"--version", "zuhost " ZUHOST_VERSION "\n"}, {L"--help", "A listener"}}) {
    Zuhost host(option);
    host.finish();
    EXPECT_EQ(host.status, 0U);
    EXPECT_EQ(host.errorText, "");
    EXPECT_THAT(host.outputText, HasSubstr(expected));
  }
}

}  // namespace
