// Scripts, recordings and the view of an installation, with the plugin that ships and zuhost.exe as a process.

#include <json/json.h>

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "integration/PluginTest.h"
#include "support/ChildProcess.h"
#include "support/Files.h"
#include "support/Text.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;

struct Outcome {
  unsigned long status;
  std::vector<std::string> lines;
  std::string error;
};

class ZuhostScriptTest : public testing::Test {
 protected:
  ZuhostScriptTest() {
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", sampleFile(L"2.0.0.45"));
  }

  // Runs zuhost to its end with these lines as its input.
  Outcome zuhost(std::vector<std::wstring> arguments, const std::vector<std::string>& input = {}) const {
    arguments.insert(arguments.end(), {L"--plugin", tree.pluginPath()});
    ChildProcess host(programDirectory() + L"\\zuhost.exe", arguments);
    for (const auto& line : input) EXPECT_TRUE(host.writeLine(line));
    host.closeInput();
    Outcome outcome{};
    while (auto line = host.readLine(30'000)) outcome.lines.push_back(*line);
    outcome.status = host.waitForExit().value_or(998);
    // Its error stream is read by a thread, which may be a moment behind.
    for (int i = 0; outcome.status != 0 && !host.errorText().ends_with('\n') && i < 500; ++i) Sleep(10);
    outcome.error = host.errorText();
    return outcome;
  }

  std::wstring script(const std::string& content) const {
    const std::wstring file = joinPath(tree.base(), L"a script.zu");
    writeFile(file, content);
    return file;
  }

  Outcome run(const std::string& content) const { return zuhost({L"run", script(content)}); }

  Json::Value status(std::vector<std::wstring> arguments = {}) const {
    arguments.insert(arguments.begin(), {L"status", L"--json", L"--app-path", tree.appPath()});
    const Outcome outcome = zuhost(arguments);
    EXPECT_EQ(outcome.status, 0u) << outcome.error;
    return outcome.lines.size() == 1 ? parsed(outcome.lines[0])["status"] : Json::Value();
  }

  static Json::Value parsed(const std::string& line) {
    Json::Value value;
    std::string errors;
    std::istringstream stream(line);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << line;
    return value;
  }

  const InstallTree tree;
};

TEST_F(ZuhostScriptTest, PassesWhenEveryExpectationHolds) {
  const Outcome outcome =
      run("# what a load does\n\nlisten\nexpect RESULT 100\nload C:\\host\n"
          "expect EVENT pluginLoadedEvent\nexpect EVENT pluginLoadedDoneEvent 2.0.0.??\n"
          "expect LOG Load plugin success, path: *, version: 2.0.0.45\n"
          "version\nexpect RESULT 2.0.0.45\n"
          "send emit greeting hello\nexpect --within 20000 EVENT greeting h*o\n"
          "send echo text\nexpect RESULT text\nstatus\nexpect RESULT t*\n"
          "unload\nexpect --within 5000 LOG onUnload*\nquit\nbogus\n");
  EXPECT_EQ(outcome.status, 0u) << outcome.error;
  EXPECT_EQ(outcome.error, "");
  EXPECT_THAT(outcome.lines, IsSupersetOf({"> listen", "> expect RESULT 100", "matched: 100", "result: text",
                                           "matched: greeting hello", "done: quit"}));
}

TEST_F(ZuhostScriptTest, StopsAtTheFirstExpectationThatFailsAndSaysWhatWasThere) {
  const Outcome outcome = run("load\n\nversion\nexpect RESULT 2.0.0.46\nloaded\n");
  EXPECT_EQ(outcome.status, 1u);
  EXPECT_THAT(outcome.error, AllOf(StartsWith("zuhost: "), EndsWith("a script.zu:4: expected RESULT \"2.0.0.46\"; "
                                                                    "it was \"2.0.0.45\"\n")));
  EXPECT_EQ(outcome.lines.back(), "error: expected RESULT \"2.0.0.46\"; it was \"2.0.0.45\"");
}

TEST_F(ZuhostScriptTest, SaysWhichEventsAndMessagesThereWereInstead) {
  EXPECT_THAT(run("listen\nload\nexpect --within 50 EVENT pluginUpgradeEvent*\n").error,
              EndsWith(":3: expected EVENT \"pluginUpgradeEvent*\"; events within 50 ms: "
                       "2: \"pluginLoadedEvent\", \"pluginLoadedDoneEvent 2.0.0.45\"\n"));
  EXPECT_THAT(run("load\nunload\nexpect LOG Load plugin*\n").error,
              EndsWith(":3: expected LOG \"Load plugin*\"; messages: 1: \"onUnload\"\n"));
}

TEST_F(ZuhostScriptTest, TakesEachEventOnceAndNoneWithoutAListener) {
  EXPECT_THAT(run("listen\nload\nexpect EVENT pluginLoadedEvent\nexpect --within 0 EVENT pluginLoadedEvent\n").error,
              HasSubstr(":4: expected EVENT \"pluginLoadedEvent\"; events: 1: "));
  EXPECT_THAT(run("load\nexpect EVENT x\n").error,
              EndsWith(":2: an event cannot be expected without a listener; say listen first\n"));
}

TEST_F(ZuhostScriptTest, StopsAtACommandThatFails) {
  EXPECT_THAT(run("loaded\nbogus\nquit\n").error, EndsWith("a script.zu:2: unknown command: bogus; help lists them\n"));
  EXPECT_THAT(run("listen\nwait never 20\n").error, EndsWith("a script.zu:2: the event never did not come\n"));
  EXPECT_THAT(run("expect RESULT x\n").error, EndsWith(":1: expected RESULT \"x\"; the last command has none\n"));
  EXPECT_THAT(run("version\nload\nexpect RESULT\n").error,
              EndsWith(":3: expected RESULT \"\"; the last command has none\n"));
}

TEST_F(ZuhostScriptTest, TellsProgramsWhereItStopped) {
  const Outcome outcome = zuhost({L"--json", L"run", script("loaded\nexpect RESULT true\n")});
  EXPECT_EQ(outcome.status, 1u);
  ASSERT_EQ(outcome.lines.size(), 2U);
  const Json::Value answer = parsed(outcome.lines[1]);
  EXPECT_EQ(answer["error"], "expected RESULT \"true\"; it was \"false\"");
  EXPECT_THAT(answer["at"].asString(), EndsWith("a script.zu:2"));
}

TEST_F(ZuhostScriptTest, IsNamedWhenItIsMissing) {
  const Outcome outcome = zuhost({L"run", tree.base() + L"\\missing.zu"});
  EXPECT_EQ(outcome.status, 2u);
  EXPECT_THAT(outcome.error, AllOf(StartsWith("zuhost: cannot read the script "), EndsWith("\\missing.zu\n")));
}

TEST_F(ZuhostScriptTest, ReplaysARecordedSession) {
  const std::wstring recording = joinPath(tree.base(), L"session.zu");
  const Outcome session = zuhost(
      {L"--record", recording},
      {"listen", "load C:\\host", "wait pluginLoadedDoneEvent 5000", "version", "bogus", "send echo a*b", "status",
       "send isLoaded", "expect EVENT pluginLoadedDoneEvent*", "wait never 20", "unload", "loaded", "quit"});
  EXPECT_EQ(session.status, 0u) << session.error;
  EXPECT_THAT(readFile(recording),
              EndsWith("\nlisten\nexpect RESULT 100\nload C:\\host\n# event pluginLoadedEvent\n"
                       "# event pluginLoadedDoneEvent 2.0.0.45\nwait pluginLoadedDoneEvent 5000\n"
                       "version\nexpect RESULT 2.0.0.45\n# bogus\n# -> unknown command: bogus; help lists them\n"
                       "send echo a*b\nexpect RESULT a?b\nsend isLoaded\nexpect RESULT 1\n"
                       "expect EVENT pluginLoadedDoneEvent*\n# wait never 20\n# -> the event never did not come\n"
                       "unload\nloaded\nexpect RESULT false\nquit\n"));
  const Outcome replayed = zuhost({L"run", recording});
  EXPECT_EQ(replayed.status, 0u) << replayed.error;

  tree.addVersion(L"2.0.0.47", sampleFile(L"2.0.0.47"));
  EXPECT_THAT(zuhost({L"run", recording}).error, EndsWith("expected RESULT \"2.0.0.45\"; it was \"2.0.0.47\"\n"));
}

TEST_F(ZuhostScriptTest, RecordsOverNothing) {
  const std::wstring recording = script("mine\n");
  const Outcome outcome = zuhost({L"--record", recording}, {});
  EXPECT_EQ(outcome.status, 2u);
  EXPECT_THAT(outcome.error, HasSubstr("a script.zu exists already: "));
  EXPECT_EQ(readFile(recording), "mine\n");
}

TEST_F(ZuhostScriptTest, ShowsATreeWithEveryKindOfDirectoryAndLeavesItAlone) {
  tree.addVersion(L"2.0.0.46", sampleFile(L"2.0.0.46"));  // lacks a library
  tree.addVersion(L".update-2.0.0.47-0123456789abcdef", sampleFile(L"2.0.0.46"));
  tree.addFile(L"2.0.0.44\\help\\companion.txt", "left of a removal");
  tree.addFile(L"logs\\host.txt", "x");
  makeDirectoryLink(joinPath(tree.root(), L"link"), programDirectory());
  writeFile(joinPath(tree.appPath(), L"zuviaplugin\\cache\\hit.cache"), "0123456789ABCDEF");
  writeFile(joinPath(tree.appPath(), L"zuviaplugin\\cache\\update\\0123456789abcdef.zip"), "left of a download");
  const TreeListing before = tree.listAll();
  const Json::Value shown = status();
  EXPECT_EQ(describeChanges(before, tree.listAll()), "");

  EXPECT_EQ(shown["chosen"], "2.0.0.45\\zuimpl.dll");
  EXPECT_EQ(shown["plugin"]["version"], "2.0.0.45");
  ASSERT_EQ(shown["modules"].size(), 3U);
  EXPECT_THAT(shown["modules"][0]["verdict"].asString(), StartsWith("would not load: it needs "));
  EXPECT_THAT(shown["modules"][1]["verdict"].asString(), StartsWith("would not load: it needs "));
  EXPECT_EQ(shown["modules"][2]["verdict"], "would be chosen");
  std::vector<std::string> directories;
  for (const auto& directory : shown["directories"]) {
    directories.push_back(directory["name"].asString() + ' ' + directory["kind"].asString());
  }
  EXPECT_THAT(directories, ElementsAre(".update-2.0.0.47-0123456789abcdef temporary", "2.0.0.44 incomplete",
                                       "2.0.0.45 version", "2.0.0.46 version", "link link", "logs other"));
  EXPECT_EQ(shown["caches"]["hitSequence"], "0123456789ABCDEF");
  EXPECT_EQ(shown["caches"]["packages"][0]["name"], "0123456789abcdef.zip");

  // What it says a load would take is what a load takes.
  EXPECT_EQ(run("load\nversion\nexpect RESULT 2.0.0.45\n").status, 0u);
}

TEST_F(ZuhostScriptTest, ShowsWhichVersionAHostRuns) {
  ChildProcess host(programDirectory() + L"\\zuhost.exe", {L"--json", L"--level-off", L"--plugin", tree.pluginPath()});
  ASSERT_TRUE(host.writeLine("load"));
  ASSERT_EQ(host.readLine(20'000), R"({"done":"load"})");
  const Json::Value shown = status();
  ASSERT_EQ(shown["modules"][0]["loadedBy"].size(), 1U);
  EXPECT_EQ(shown["modules"][0]["loadedBy"][0]["process"].asUInt(), host.id());
  EXPECT_EQ(shown["modules"][0]["loadedBy"][0]["program"], "zuhost.exe");
  EXPECT_EQ(shown["plugin"]["loadedBy"][0]["process"].asUInt(), host.id());

  // The host itself sees the same, and the caches at the application path that it told the plugin.
  Json::Value information;
  information["test_env"] = true;
  information["app_path"] = toUtf8(tree.appPath());
  Json::StreamWriterBuilder oneLine;
  oneLine["indentation"] = "";
  ASSERT_TRUE(host.writeLine("send setHostInfo " + Json::writeString(oneLine, information)));
  ASSERT_EQ(host.readLine(20'000), R"({"result":"0"})");
  ASSERT_TRUE(host.writeLine("status"));
  const Json::Value own = parsed(host.readLine(20'000).value_or("{}"))["status"];
  EXPECT_EQ(own["modules"][0]["loadedBy"], shown["modules"][0]["loadedBy"]);
  EXPECT_EQ(own["caches"]["directory"], toUtf8(tree.appPath()) + "\\zuviaplugin\\cache");
}

}  // namespace
}  // namespace zuvia::test
