#include <stdexcept>
#include <string>
#include <vector>

#include "BridgeTest.h"
#include "common/HostInfo.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;

// A text as a JSON string holds it.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\' || c == '"') result += '\\';
    result += c;
  }
  return result;
}

class HostInformationTest : public BridgeTest {
 protected:
  const char* send(const std::string& json) { return monitor().sendCommand("setHostInfo", json.c_str()); }

  // Host information with the application path of the tree, and further members.
  std::string withAppPath(const std::string& members = {}) {
    return R"({"app_path": ")" + escaped(toUtf8(tree.appPath())) + '"' + members + '}';
  }

  void expectEmptyHostInfo() {
    EXPECT_EQ(hostInfo().hostVersion, "");
    EXPECT_EQ(hostInfo().appPath, "");
    EXPECT_EQ(hostInfo().appPathW, L"");
    EXPECT_FALSE(hostInfo().testEnv);
  }

  // The line about its path of a client that has no application path.
  std::wstring defaultCacheLine() const {
    return L"Cache path is empty! Try use default cache dir: " + temporaryFiles();
  }
};

// ---- Refused

TEST_F(HostInformationTest, IsRefusedBeforeAnythingIsLoaded) {
  EXPECT_STREQ(send("{}"), "0");
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo with invalid params loaded: false"));
  addVersion(L"2.0.0.45");
  entry().onLoaded(nullptr);
  EXPECT_EQ(takeRecord(), "onLoaded null\nqueryInterface IID_IWxMonitor\naddListener 7\n");
}

TEST_F(HostInformationTest, IsRefusedAfterUnloading) {
  load();
  entry().onUnload();
  log.clear();
  EXPECT_STREQ(send("{}"), "0");
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo with invalid params loaded: false"));
}

TEST_F(HostInformationTest, IsRefusedWithoutAText) {
  load();
  EXPECT_STREQ(monitor().sendCommand("setHostInfo", nullptr), "0");
  EXPECT_STREQ(send(""), "0");
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo with invalid params loaded: true",
                                          L"setHostInfo with invalid params loaded: true"));
  EXPECT_EQ(takeRecord(), "");
  EXPECT_EQ(submitted, 0);
}

TEST_F(HostInformationTest, IsPassedOnThoughItIsNoJson) {
  load();
  const TreeListing before = tree.listAll();
  EXPECT_STREQ(send("{oops"), "0");
  EXPECT_THAT(log.messages(),
              ElementsAre(L"setHostInfo parse error: * Line 1, Column 2\n  Missing '}' or object member name\n"));
  EXPECT_EQ(takeRecord(), "sendCommand \"setHostInfo\" \"{oops\"\n");
  expectEmptyHostInfo();
  EXPECT_EQ(submitted, 0);
  EXPECT_EQ(tree.listAll(), before);
}

TEST_F(HostInformationTest, IsPassedOnThoughAValueDoesNotConvert) {
  load();
  const TreeListing before = tree.listAll();
  EXPECT_STREQ(send(R"({"uid": "4711"})"), "0");
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo parse exception: Value is not convertible to UInt64."));
  EXPECT_EQ(takeRecord(), "sendCommand \"setHostInfo\" \"{\"uid\": \"4711\"}\"\n");
  expectEmptyHostInfo();
  EXPECT_EQ(submitted, 0);
  EXPECT_EQ(tree.listAll(), before);
}

TEST_F(HostInformationTest, RefusesEachValueOfAnotherType) {
  load();
  const std::vector<std::pair<std::string, std::wstring>> cases = {
      {R"({"uid": -1})", L"LargestInt out of UInt64 range"},
      {R"({"ver": []})", L"Type is not convertible to string"},
      {R"({"app_path": {}})", L"Type is not convertible to string"},
      {R"({"test_env": "yes"})", L"Value is not convertible to bool."},
      {std::string(10000, '['), L"Exceeded stackLimit in readValue()."}};
  for (const auto& [json, words] : cases) {
    log.clear();
    EXPECT_STREQ(send(json), "0");
    EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo parse exception: " + words));
    expectEmptyHostInfo();
  }
  EXPECT_EQ(submitted, 0);
}

TEST_F(HostInformationTest, KeepsTheValuesOfTheLastAcceptedOne) {
  load();
  send(withAppPath(R"(, "ver": "9.1", "test_env": true)"));
  send("{oops");
  send(R"({"ver": "9.2", "uid": "x"})");
  EXPECT_EQ(hostInfo().hostVersion, "9.1");
  EXPECT_EQ(hostInfo().appPathW, tree.appPath());
  EXPECT_TRUE(hostInfo().testEnv);
}

// ---- Accepted

TEST_F(HostInformationTest, IsStoredAndLogged) {
  load();
  EXPECT_STREQ(send(withAppPath(R"(, "uid": 4711, "ver": "9.1.2", "test_env": true)")), "0");
  EXPECT_THAT(log.messages(),
              ElementsAre(L"setHostInfo uid: 4711, ver: 9.1.2, env: true", L"setHostInfo path: " + tree.appPath()));
  EXPECT_EQ(hostInfo().hostVersion, "9.1.2");
  EXPECT_EQ(hostInfo().appPath, toUtf8(tree.appPath()));
  EXPECT_EQ(hostInfo().appPathW, tree.appPath());
  EXPECT_TRUE(hostInfo().testEnv);
}

TEST_F(HostInformationTest, NamesItsPlaceInEachLine) {
  load();
  send("x");
  send("[]");
  send("");
  send(withAppPath());
  ASSERT_THAT(log.lines(), SizeIs(5));
  EXPECT_THAT(log.lines(), Each(AllOf(Field(&LogLine::level, 1), Field(&LogLine::className, "ZuLoaderPrivate"),
                                      Field(&LogLine::sourceFile, "ZuLoader"),
                                      Field(&LogLine::functionName, "ZuLoaderPrivate::setHostInfo"),
                                      Field(&LogLine::moduleName, "loader_test.exe"))));
}

TEST_F(HostInformationTest, ReadsThePathAsUtf8) {
  load();
  const std::wstring path = tree.appPath() + L"\\\u4e2d\u6587 \u00e9";
  send(R"({"app_path": ")" + escaped(toUtf8(path)) + "\"}");
  EXPECT_EQ(hostInfo().appPathW, path);
  EXPECT_EQ(hostInfo().appPath, toUtf8(path));
  EXPECT_THAT(log.messages().back(), L"setHostInfo path: " + path);
  EXPECT_TRUE(fileExists(path + L"\\zuviaplugin\\cache\\bbs.cache"));
}

TEST_F(HostInformationTest, MayBeAnEmptyObject) {
  load();
  EXPECT_STREQ(send("{}"), "0");
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo uid: 0, ver: , env: false", L"setHostInfo path: ",
                                          defaultCacheLine(), L"getHitSeqId path empty fail!"));
  expectEmptyHostInfo();
  EXPECT_EQ(submitted, 1);
  EXPECT_EQ(takeRecord(), "sendCommand \"setHostInfo\" \"{}\"\n");
}

TEST_F(HostInformationTest, TakesNullValuesForAbsentOnes) {
  load();
  send(R"({"uid": null, "ver": null, "test_env": null, "app_path": null})");
  EXPECT_EQ(log.messages().front(), L"setHostInfo uid: 0, ver: , env: false");
  EXPECT_EQ(submitted, 1);
}

TEST_F(HostInformationTest, LogsUserIdsAsSignedNumbers) {
  load();
  for (const auto& [uid, logged] :
       std::vector<std::pair<std::string, std::wstring>>{{"18446744073709551615", L"-1"},
                                                         {"9223372036854775808", L"-9223372036854775808"},
                                                         {"9223372036854775807", L"9223372036854775807"},
                                                         {"18446744073709551616", L"0"}}) {
    log.clear();
    send(withAppPath(", \"uid\": " + uid));
    EXPECT_EQ(log.messages().front(), L"setHostInfo uid: " + logged + L", ver: , env: false");
  }
}

TEST_F(HostInformationTest, TakesOneForTrue) {
  load();
  send(withAppPath(R"(, "test_env": 1)"));
  EXPECT_EQ(log.messages().front(), L"setHostInfo uid: 0, ver: , env: true");
  EXPECT_TRUE(hostInfo().testEnv);
}

TEST_F(HostInformationTest, ReachesTheImplementationByteForByte) {
  load();
  const std::string json = " {\"ver\" : \"\xff\", \"x\": [1,2 ] /* \t */}\r\n";
  send(json);
  EXPECT_EQ(takeRecord(), "sendCommand \"setHostInfo\" \"" + json + "\"\n");
}

TEST_F(HostInformationTest, AnswersZeroWhateverTheImplementationAnswers) {
  load();
  EXPECT_STREQ(monitor().sendCommand("anything", nullptr), "answer to anything");
  EXPECT_STREQ(send(withAppPath()), "0");
}

TEST_F(HostInformationTest, NeedsNoMonitor) {
  addVersion(L"2.0.0.50", L"no-monitor");
  entry().onLoaded(nullptr);
  EXPECT_STREQ(send(withAppPath()), "0");
  EXPECT_EQ(submitted, 1);
  EXPECT_EQ(log.messages().back(), L"setHostInfo path: " + tree.appPath());
}

// ---- The updater

TEST_F(HostInformationTest, MakesTheUpdaterThenCleansUpThenStarts) {
  addVersion(L"2.0.0.44");
  load();
  std::vector<std::string> steps;
  const HMODULE self = GetModuleHandleW(nullptr);
  const ImportHook<decltype(CreateThreadpoolWork)> createWork(
      self, "CreateThreadpoolWork", [&](auto* original, auto* callback, void* context, auto* environment) {
        steps.emplace_back("client made");
        return original(callback, context, environment);
      });
  const ImportHook<decltype(CreateMutexW)> createMutex(
      self, "CreateMutexW", [&](auto* original, auto* attributes, BOOL owned, const wchar_t* name) {
        if (std::wstring(name) == L"Local\\ZuviaPluginCleanup") steps.emplace_back("clean-up");
        return original(attributes, owned, name);
      });
  const ImportHook<decltype(SubmitThreadpoolWork)> submit(self, "SubmitThreadpoolWork", [&](auto*, PTP_WORK) {
    EXPECT_TRUE(fileExists(tree.appPath() + L"\\zuviaplugin\\cache\\hit.cache"));
    steps.emplace_back("fetch asked for");
  });

  send(withAppPath());
  EXPECT_THAT(steps, ElementsAre("client made", "clean-up", "fetch asked for"));
  EXPECT_THAT(log.messages(),
              ElementsAre(L"setHostInfo uid: 0, ver: , env: false", L"setHostInfo path: " + tree.appPath(),
                          L"Try delete unused plugin: " + tree.root() + L"\\2.0.0.44"));
  EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.44"));
  EXPECT_TRUE(fileExists(modulePath(L"2.0.0.45")));
}

TEST_F(HostInformationTest, IsStoredBeforeTheUpdaterIsMade) {
  load();
  bool seen = false;
  const ImportHook<decltype(CreateThreadpoolWork)> createWork(
      GetModuleHandleW(nullptr), "CreateThreadpoolWork",
      [&](auto* original, auto* callback, void* context, auto* environment) {
        seen = hostInfo().hostVersion == "9.1" && hostInfo().appPathW == tree.appPath() && hostInfo().testEnv;
        return original(callback, context, environment);
      });
  send(withAppPath(R"(, "ver": "9.1", "test_env": true)"));
  EXPECT_TRUE(seen);
}

TEST_F(HostInformationTest, MakesOneUpdaterOnly) {
  load();
  send(withAppPath(R"(, "uid": 1, "ver": "9.1")"));
  takeRecord();
  log.clear();
  addVersion(L"2.0.0.44");
  const std::string second = withAppPath(R"(, "uid": 2, "ver": "9.2", "test_env": true)");
  EXPECT_STREQ(send(second), "0");
  EXPECT_THAT(log.messages(),
              ElementsAre(L"setHostInfo uid: 2, ver: 9.2, env: true", L"setHostInfo path: " + tree.appPath()));
  EXPECT_EQ(hostInfo().hostVersion, "9.2");
  EXPECT_TRUE(hostInfo().testEnv);
  EXPECT_EQ(submitted, 1);
  EXPECT_TRUE(directoryExists(tree.root() + L"\\2.0.0.44"));
  EXPECT_EQ(takeRecord(), "sendCommand \"setHostInfo\" \"" + second + "\"\n");
}

TEST_F(HostInformationTest, ClearsWithASecondOneWhatItDoesNotName) {
  load();
  send(withAppPath(R"(, "ver": "9.1", "test_env": true)"));
  send("{}");
  expectEmptyHostInfo();
}

TEST_F(HostInformationTest, MakesTheUpdaterWithTheFirstThatIsAccepted) {
  load();
  send("{oops");
  send(R"({"uid": []})");
  EXPECT_EQ(submitted, 0);
  send(withAppPath());
  EXPECT_EQ(submitted, 1);
}

TEST_F(HostInformationTest, MakesAFreshUpdaterAfterAReload) {
  load();
  send(withAppPath(R"(, "ver": "9.1")"));
  entry().onUnload();
  EXPECT_EQ(hostInfo().hostVersion, "9.1") << "what the host said is kept";
  entry().onLoaded(nullptr);
  EXPECT_EQ(submitted, 1);
  addVersion(L"2.0.0.44");
  entry().onUnload();
  entry().onLoaded(nullptr);
  send(withAppPath());
  EXPECT_EQ(submitted, 2);
  EXPECT_FALSE(directoryExists(tree.root() + L"\\2.0.0.44"));
}

TEST_F(HostInformationTest, IsPassedOnThoughTheUpdaterIsNotMade) {
  load();
  const ImportHook<decltype(CreateThreadpoolWork)> failing(
      GetModuleHandleW(nullptr), "CreateThreadpoolWork",
      [](auto*, auto*, void*, auto*) -> PTP_WORK { throw std::runtime_error("no work today"); });
  EXPECT_STREQ(send(withAppPath(R"(, "ver": "9.1")")), "0");
  EXPECT_THAT(log.messages(),
              ElementsAre(L"setHostInfo uid: 0, ver: 9.1, env: false", L"setHostInfo path: " + tree.appPath(),
                          L"setHostInfo parse exception: no work today"));
  EXPECT_EQ(hostInfo().hostVersion, "9.1");
  EXPECT_NE(takeRecord(), "");
  EXPECT_EQ(submitted, 0);
}

TEST_F(HostInformationTest, KeepsAnUpdaterThatDidNotStart) {
  load();
  {
    const ImportHook<decltype(SubmitThreadpoolWork)> failing(
        GetModuleHandleW(nullptr), "SubmitThreadpoolWork",
        [](auto*, PTP_WORK) -> void { throw std::runtime_error("no fetch today"); });
    EXPECT_STREQ(send(withAppPath()), "0");
  }
  EXPECT_EQ(log.messages().back(), L"setHostInfo parse exception: no fetch today");
  EXPECT_NE(takeRecord(), "");
  send(withAppPath());
  EXPECT_EQ(submitted, 0) << "a second updater was made";
}

}  // namespace
}  // namespace zuvia::test
