#include <zuvia/Exports.h>

#include <exception>
#include <string>

#include "BridgeTest.h"

namespace zuvia::test {
namespace {

using testing::IsEmpty;

class CommandsTest : public BridgeTest {
 protected:
  std::string send(const char* cmd, const char* data = nullptr) { return monitor().sendCommand(cmd, data); }
};

TEST_F(CommandsTest, AnswerZeroWithoutAWord) {
  EXPECT_EQ(send(nullptr), "0");
  EXPECT_EQ(send(""), "0");
  EXPECT_EQ(send(nullptr, "data"), "0");
  load();
  EXPECT_EQ(send(nullptr), "0");
  EXPECT_EQ(send(""), "0");
  EXPECT_EQ(takeRecord(), "");
}

TEST_F(CommandsTest, TellWhetherAnImplementationIsLoaded) {
  EXPECT_EQ(send("isLoaded"), "2");
  load();
  EXPECT_EQ(send("isLoaded"), "1");
  EXPECT_EQ(send("isLoaded", "data"), "1");
  entry().onUnload();
  EXPECT_EQ(send("isLoaded"), "2");
}

TEST_F(CommandsTest, TellTheVersion) {
  EXPECT_EQ(send("getVersion"), "");
  load();
  EXPECT_EQ(send("getVersion"), "2.0.0.45");
  EXPECT_EQ(send("getVersion", "data"), "2.0.0.45");
  entry().onUnload();
  EXPECT_EQ(send("getVersion"), "");
}

TEST_F(CommandsTest, AnswerTheHostInformationWithZero) {
  EXPECT_EQ(send("setHostInfo", "{}"), "0");
  EXPECT_EQ(send("setHostInfo", nullptr), "0");
  load();
  EXPECT_EQ(send("setHostInfo", "{}"), "0");
  EXPECT_EQ(send("setHostInfo", "{"), "0");
  EXPECT_EQ(send("setHostInfo", R"({"uid": "x"})"), "0");
}

TEST_F(CommandsTest, AreAnsweredByTheImplementationWhenTheyAreNotThePluginsOwn) {
  load();
  EXPECT_EQ(send("echo", "data"), "data");
  EXPECT_EQ(send("anything"), "answer to anything");
  EXPECT_EQ(takeRecord(), "sendCommand \"echo\" \"data\"\nsendCommand \"anything\" null\n");
}

TEST_F(CommandsTest, AreAnsweredEmptyWithoutAnImplementation) {
  EXPECT_EQ(send("echo", "data"), "");
  load();
  entry().onUnload();
  EXPECT_EQ(send("echo", "data"), "");
}

TEST_F(CommandsTest, AreComparedExactly) {
  for (const char* cmd : {"isloaded", "isLoaded ", " isLoaded", "ISLOADED", "getversion", "setHostInfo2", "is"}) {
    EXPECT_EQ(send(cmd), "") << cmd;
  }
  load();
  EXPECT_EQ(send("isloaded"), "answer to isloaded");
  EXPECT_EQ(send("getVersion "), "answer to getVersion ");
  EXPECT_EQ(send("sethostinfo", "{}"), "answer to sethostinfo");
}

TEST_F(CommandsTest, LeaveThePluginsOwnOnesFromTheImplementation) {
  load();
  send("isLoaded");
  send("getVersion");
  EXPECT_EQ(takeRecord(), "");
}

TEST_F(CommandsTest, LogNothingOfTheirOwn) {
  load();
  send("isLoaded");
  send("getVersion");
  send("echo", "data");
  send(nullptr);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(CommandsTest, CopyTheAnswerOfTheImplementation) {
  load();
  const char* const answer = monitor().sendCommand("echo", "one");
  auto* const implementation = reinterpret_cast<CreateImplFunction*>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), "createImpl")))();
  auto* const direct = static_cast<IWxMonitor*>(implementation->queryInterface(IID_IWxMonitor));
  EXPECT_STREQ(direct->sendCommand("echo", "two"), "two");
  EXPECT_STREQ(answer, "one");
}

TEST_F(CommandsTest, ShareTheirTextWithGetVersion) {
  load();
  const char* const version = loader().getVersion();
  EXPECT_EQ(monitor().sendCommand("isLoaded", nullptr), version);
  EXPECT_STREQ(version, "1");
  EXPECT_EQ(monitor().sendCommand("getVersion", nullptr), version);
  EXPECT_STREQ(version, "2.0.0.45");
  EXPECT_EQ(monitor().sendCommand(nullptr, nullptr), version);
  EXPECT_STREQ(version, "0");
}

TEST_F(CommandsTest, LeaveTheVersionToBeAskedForAgain) {
  load();
  for (const char* cmd : {"isLoaded", "getVersion", "setHostInfo", "echo", "anything", ""}) {
    send(cmd, "{}");
    EXPECT_STREQ(loader().getVersion(), "2.0.0.45") << cmd;
  }
}

TEST_F(CommandsTest, AreAnsweredAsEverWhenAListenerAsksForTheVersionMeanwhile) {
  load();
  std::string version;
  monitor().addListener([&](const char*, const char*) { version = loader().getVersion(); });
  EXPECT_EQ(send("emit", "happened"), "raised");
  EXPECT_EQ(version, "2.0.0.45");
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
}

TEST_F(CommandsTest, CarryLongTexts) {
  load();
  const std::string text(1 << 20, 'x');
  EXPECT_EQ(send("echo", text.c_str()), text);
}

TEST_F(CommandsTest, LetPassWhatTheImplementationThrows) {
  load();
  EXPECT_THROW(send("throw"), std::exception);
  EXPECT_EQ(send("isLoaded"), "1");
}

}  // namespace
}  // namespace zuvia::test
