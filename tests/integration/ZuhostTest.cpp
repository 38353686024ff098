// The plugin that ships in a process of its own: zuhost.exe, which loads it as a host application does.

#include <json/json.h>

#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "integration/PluginTest.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;

class ZuhostTest : public testing::Test {
 protected:
  ZuhostTest() {
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", sampleFile(L"2.0.0.45"));
    host.emplace(programDirectory() + L"\\zuhost.exe",
                 std::vector<std::wstring>{L"--json", L"--plugin", tree.pluginPath()});
  }
  ~ZuhostTest() override { host.reset(); }  // before the tree goes

  // Sends a command and takes what is told up to its answer; keeps events and messages of the log on the way.
  std::string ask(const std::string& command) {
    EXPECT_TRUE(host->writeLine(command));
    while (const std::optional<std::string> line = host->readLine(20000)) {
      const Json::Value value = parsed(*line);
      if (value.isMember("event")) {
        told.push_back(value["event"].asString() + '=' + value["data"].asString());
      } else if (value.isMember("log")) {
        told.push_back(value["log"]["message"].asString());
        EXPECT_EQ(value["log"]["module"], "zuviaplugin.dll");
      } else {
        return *line;
      }
    }
    return "no answer";
  }

  static Json::Value parsed(const std::string& line) {
    Json::Value value;
    std::string errors;
    std::istringstream stream(line);
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << line;
    return value;
  }

  std::string modulePath() const { return toUtf8(tree.root()) + "\\2.0.0.45\\zuimpl.dll"; }

  InstallTree tree;
  std::vector<std::string> told;
  std::optional<ChildProcess> host;
};

TEST_F(ZuhostTest, LoadsSendsListensUnloadsAndDestroys) {
  EXPECT_EQ(ask("loaded"), R"({"loaded":false})");
  EXPECT_EQ(ask("send isLoaded"), R"({"result":"2"})");
  EXPECT_EQ(ask("listen"), R"({"listener":100})");
  EXPECT_EQ(ask("load C:\\host"), R"({"done":"load"})");
  EXPECT_THAT(
      told, ElementsAre("onLoaded native v: 2.0.0.45, isLoad: false, path: C:\\host",
                        "pluginLoadedEvent=", "onNotifyEvent cmd: pluginLoadedEvent, data: ",
                        "Load plugin success, path: " + modulePath() + ", version: 2.0.0.45",
                        "pluginLoadedDoneEvent=2.0.0.45", "onNotifyEvent cmd: pluginLoadedDoneEvent, data: 2.0.0.45"));
  EXPECT_EQ(ask("loaded"), R"({"loaded":true})");
  EXPECT_EQ(ask("version"), R"({"version":"2.0.0.45"})");
  EXPECT_EQ(ask("send isLoaded"), R"({"result":"1"})");
  EXPECT_EQ(ask("send echo hello there"), R"({"result":"hello there"})");
  EXPECT_EQ(ask("send setHostInfo {oops"), R"({"result":"0"})");
  EXPECT_EQ(ask("query IID_IWxMonitor"), R"({"interface":true})");
  EXPECT_EQ(ask("query IID_iwxmonitor"), R"({"interface":false})");

  told.clear();
  ask("send emit greeting hello");
  EXPECT_EQ(ask("wait greeting 10000"), R"({"ok":true,"waited":"greeting"})");
  EXPECT_EQ(ask("unlisten 100"), R"({"removed":true})");
  EXPECT_EQ(ask("unlisten 100"), R"({"removed":false})");
  ASSERT_FALSE(told.empty());
  EXPECT_EQ(told.front(), "greeting=hello");

  told.clear();
  EXPECT_EQ(ask("unload"), R"({"done":"unload"})");
  EXPECT_EQ(ask("loaded"), R"({"loaded":false})");
  EXPECT_EQ(ask("relay1 1 2 3"), R"({"relay":false})");
  EXPECT_EQ(ask("destroy"), R"({"done":"destroy"})");
  EXPECT_EQ(told.back(), "onUnload");
  EXPECT_EQ(ask("quit"), R"({"done":"quit"})");
  EXPECT_EQ(host->waitForExit(), 0u);
}

TEST_F(ZuhostTest, EndsInOrderWithoutAnUnload) {
  EXPECT_EQ(ask("load"), R"({"done":"load"})");
  host->closeInput();
  EXPECT_EQ(host->waitForExit(), 0u);
}

TEST_F(ZuhostTest, IsDestroyedWhileAnImplementationIsLoaded) {
  EXPECT_EQ(ask("load"), R"({"done":"load"})");
  told.clear();
  EXPECT_EQ(ask("destroy"), R"({"done":"destroy"})");
  EXPECT_THAT(told, ElementsAre("onUnload"));
  host->closeInput();
  EXPECT_EQ(host->waitForExit(), 0u);
}

TEST_F(ZuhostTest, TellsNothingWithItsLevelOff) {
  host.emplace(programDirectory() + L"\\zuhost.exe",
               std::vector<std::wstring>{L"--json", L"--level-off", L"--plugin", tree.pluginPath()});
  EXPECT_EQ(ask("load"), R"({"done":"load"})");
  for (const std::string& line : told) EXPECT_EQ(line, "");
}

}  // namespace
}  // namespace zuvia::test
