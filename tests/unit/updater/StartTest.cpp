#include <gmock/gmock.h>
#include <json/json.h>

#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <sstream>

#include "common/HostInfo.h"
#include "support/Digest.h"
#include "support/TestServer.h"
#include "support/TrustedRoot.h"
#include "unit/updater/UpdaterFixture.h"

#include "support/NetworkRedirect.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;

// The whole way from the request for the entry to the callback.
class StartTest : public UpdaterTest {
 protected:
  StartTest() {
    hostInfo().testEnv = true;
    hostInfo().hostVersion = "not sent";
    updater.emplace(77);
    updater->setHostVersion("8.1.2");
    updater->setAppPath(tree.appPath());
    updater->setCurrentImplementation({L"", 2, 0, 0, 45});
    writeFile(joinPath(tree.appPath(), L"zuviaplugin\\cache\\hit.cache"), "MYHITSEQUENCE");
  }

  void start() {
    auto token = std::make_shared<int>();
    callback = token;
    updater->start([this, token = std::move(token)](const std::string& version) {
      EXPECT_FALSE(callback.expired());  // what is called still exists
      told.push_back(version);
    });
  }
  void destroy() { updater.reset(); }
  void expectRequest() { server.expect("POST", "/configs/pc/post", Answer::respond(200, configuration())); }
  void expectPackage() { server.expect("GET", "/zuimpl.7z", Answer::respond(200, package)); }

  std::string configuration() const {
    Json::Value entry;
    entry["ver"] = "2.0.0.47";
    entry["pmd5"] = md5(package);
    entry["dmd5"] = md5(module);
    entry["url"] = "https://localhost:18443/zuimpl.7z";
    Json::Value answer;
    answer["configs"]["zu_plugin_update"] = Json::writeString(Json::StreamWriterBuilder(), entry);
    return Json::writeString(Json::StreamWriterBuilder(), answer);
  }

  Json::Value sentRequest() const {
    std::istringstream text(server.requests().at(0).body);
    Json::Value request;
    text >> request;
    return request;
  }

  const std::string module = readFile(moduleFile(L"2.0.0.47"));
  const std::string package = makePackage({{L"zuimpl.dll", module}});
  std::vector<std::string> told;
  std::weak_ptr<int> callback;  // lives as long as what the updater calls
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
  const NetworkRedirect redirect{self(), {{"localhost", 18443, server.port()}}};
  std::optional<ZuDllUpdater> updater;
};

TEST_F(StartTest, FetchesTheEntryAndPublishesWhatItOffers) {
  expectRequest();
  expectPackage();
  start();
  ASSERT_TRUE(server.waitForRequests(2));
  destroy();
  EXPECT_THAT(told, ElementsAre("2.0.0.47"));
  EXPECT_EQ(readFile(joinPath(tree.root(), L"2.0.0.47\\zuimpl.dll")), module);
}

TEST_F(StartTest, SendsItsVersionTheHostsAndTheHitSequence) {
  server.expect("POST", "/configs/pc/post", Answer::respond(200, "{}"));
  start();
  ASSERT_TRUE(server.waitForRequests(1));
  destroy();
  const Json::Value request = sentRequest();
  EXPECT_EQ(request["bssCode"], "zu_kx_anchor");
  EXPECT_EQ(request["version"], "2.0.0");
  EXPECT_EQ(request["extendInfo"]["hostver"], "8.1.2");
  EXPECT_EQ(request["extendInfo"]["hitseq"], "MYHITSEQUENCE");
  EXPECT_EQ(request["extendInfo"]["zuuid"], "77");
}

TEST_F(StartTest, SendsNoHitSequenceAndDownloadsNothingWithoutAnApplicationPath) {
  updater->setAppPath(L"");
  expectRequest();
  start();
  ASSERT_TRUE(server.waitForRequests(1));
  destroy();
  EXPECT_EQ(sentRequest()["extendInfo"]["hitseq"], "");
  EXPECT_THAT(logged(), ElementsAre(L"getHitSeqId: getHitSeqId path empty fail!",
                                    L"checkUpdate: Directory not exist: " + joinPath(tree.root(), L"2.0.0.47"),
                                    L"onFetch: Update plugin fail! Download path not specified."));
}

TEST_F(StartTest, EndsAfterTheRunningFetchAndTheTaskThatComesOfIt) {
  Gate gate;
  const ImportHook<decltype(WaitForSingleObject)> hook(
      self(), "WaitForSingleObject", [&gate](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
        if (milliseconds == 60'000) gate.pass();
        return original(handle, milliseconds);
      });
  expectRequest();
  expectPackage();
  start();
  ASSERT_TRUE(gate.waitForCall());
  const std::future<void> destruction = std::async(std::launch::async, [this] { destroy(); });
  EXPECT_EQ(destruction.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
  gate.open();
  destruction.wait();
  EXPECT_THAT(told, ElementsAre("2.0.0.47"));
  EXPECT_TRUE(directoryExists(joinPath(tree.root(), L"2.0.0.47")));
}

}  // namespace
}  // namespace zuvia::test
