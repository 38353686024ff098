// The plugin that ships, one step of its building after another, and then all of them together.

#include <json/json.h>

#include <algorithm>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/SecondProcess.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class ShippedPluginTest : public PluginTest {
 protected:
  // Loads 2.0.0.45, and has it updated to 2.0.0.47. Returns the offer.
  Offer update() {
    const Offer offer = makeOffer("2.0.0.47");
    serve(offer);
    load();
    send("setHostInfo", hostInformation());
    EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47"), 0u);
    return offer;
  }

  std::wstring versionDirectory(const std::wstring& version) const { return tree.root() + L'\\' + version; }
};

Json::Value parsed(const std::string& text) {
  Json::Value value;
  std::string errors;
  std::istringstream stream(text);
  EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), stream, &value, &errors)) << errors;
  return value;
}

// ---- 1: entry point, plugin object, discovery, the log

TEST_F(ShippedPluginTest, IsOneObjectWithFourInterfaces) {
  EXPECT_EQ(create(), plugin);
  for (const char* iid : {IID_IPluginEntryPoint, IID_IPluginLoader, IID_IWxMonitor, IID_IZUPlugin}) {
    EXPECT_NE(plugin->queryInterface(iid), nullptr) << iid;
    EXPECT_EQ(loader().queryInterface(iid), plugin->queryInterface(iid)) << iid;
    EXPECT_EQ(monitor().queryInterface(iid), plugin->queryInterface(iid)) << iid;
  }
  EXPECT_EQ(plugin->queryInterface(IID_IPluginEntryPoint), plugin);
  const char* const unknown = "IID_IUnknown";
  EXPECT_EQ(plugin->queryInterface(unknown), nullptr);
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_STREQ(loader().getVersion(), "");
  EXPECT_FALSE(monitor().monitorRelay1(nullptr, nullptr, nullptr));
  EXPECT_EQ(monitor().addListener(Listener()), 100u);
  EXPECT_TRUE(monitor().removeListener(100));
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(ShippedPlugin, IsCreatedOnceByManyThreadsAndWithoutATrace) {
  const InstallTree tree;
  const LogCapture log;
  const HMODULE module = LoadLibraryW(tree.installPlugin().c_str());
  ASSERT_NE(module, nullptr);
  const auto create = reinterpret_cast<CreateFunction*>(reinterpret_cast<void*>(GetProcAddress(module, kCreateExport)));
  const TreeListing before = tree.listAll();
  std::vector<std::future<IPluginEntryPoint*>> created;
  for (int i = 0; i < 8; ++i) created.push_back(std::async(std::launch::async, [&] { return create(); }));
  IPluginEntryPoint* const plugin = create();
  for (std::future<IPluginEntryPoint*>& one : created) EXPECT_EQ(one.get(), plugin);
  EXPECT_THAT(log.messages(), IsEmpty());
  EXPECT_EQ(tree.listAll(), before);
  FreeLibrary(module);
}

TEST(ShippedPlugin, TriesItsCreationAgainAfterMemoryRanOut) {
  const InstallTree tree;
  const HMODULE module = LoadLibraryW(tree.installPlugin().c_str());
  ASSERT_NE(module, nullptr);
  const auto create = reinterpret_cast<CreateFunction*>(reinterpret_cast<void*>(GetProcAddress(module, kCreateExport)));
  {
    // Not the first allocation only: what is thrown then must not need any.
    std::atomic<bool> failing = true;
    const ImportHook<void*(size_t)> exhausted(module, "malloc", [&](auto* original, size_t size) {
      return failing.exchange(false) ? nullptr : original(size);
    });
    EXPECT_THROW(create(), std::bad_alloc);
    EXPECT_FALSE(failing);
  }
  IPluginEntryPoint* const plugin = create();
  ASSERT_NE(plugin, nullptr);
  EXPECT_EQ(create(), plugin);
  FreeLibrary(module);
}

TEST_F(ShippedPluginTest, FindsEveryVersionBelowItsOwnDirectoryAndTakesTheNewest) {
  addVersion(L"2.0.0.45");
  tree.addVersion(L"2.0.0.47\\deep\\below", moduleFile(L"10.0.0.0"));
  addVersion(L"9.9.9.9");
  entry().onLoaded(nullptr);
  EXPECT_STREQ(loader().getVersion(), "10.0.0.0");
}

TEST_F(ShippedPluginTest, NamesItselfInEachLogLine) {
  addVersion(L"2.0.0.45");
  entry().onLoaded("C:\\host");
  ASSERT_THAT(log.lines(), SizeIs(2));
  EXPECT_THAT(log.lines(), Each(AllOf(Field(&LogLine::level, 1), Field(&LogLine::moduleName, "zuviaplugin.dll"))));
  const LogLine first = log.lines()[0];
  EXPECT_EQ(first.className, "ZuLoaderPrivate");
  EXPECT_EQ(first.sourceFile, "ZuLoader");
  EXPECT_EQ(first.functionName, "ZuLoaderPrivate::onLoaded");
  const LogLine second = log.lines()[1];
  EXPECT_EQ(second.className, "ZuDllLoader");
  EXPECT_EQ(second.sourceFile, "ZuDllLoader");
  EXPECT_EQ(second.functionName, "ZuDllLoader::loadZuDll");
}

// ---- 2: loading, with fallback

TEST_F(ShippedPluginTest, FallsBackFromABrokenVersionToAGoodOne) {
  tree.addVersion(L"2.0.0.46", sampleFile(L"2.0.0.46"));
  tree.addVersion(L"2.0.0.45", sampleFile(L"2.0.0.45"));
  entry().onLoaded("C:\\host");
  EXPECT_THAT(log.messages(),
              ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: false, path: C:\\host",
                          L"Load plugin failed, path: " + modulePath(L"2.0.0.46") + L", version: 2.0.0.46, error: 126",
                          L"Load plugin success, path: " + modulePath(L"2.0.0.45") + L", version: 2.0.0.45"));
  EXPECT_TRUE(loader().isLoaded());
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  EXPECT_EQ(send("echo", "hello"), "hello");
}

// ---- 3: operating system and cache

TEST_F(ShippedPluginTest, RecordsEachExchangeInItsCacheFile) {
  serveEntry("{}");
  load();
  exchange();
  ASSERT_THAT(server.requests(), SizeIs(1));
  const Json::Value cache = parsed(readFile(cachePath(L"bbs.cache")));
  ASSERT_EQ(cache.getMemberNames(), (std::vector<std::string>{"entries"}));
  ASSERT_EQ(cache["entries"].size(), 1u);
  const Json::Value& exchanged = cache["entries"][0];
  EXPECT_EQ(exchanged["key_url"], "https://localhost:18443/configs/pc/post");
  EXPECT_EQ(exchanged["key_post_body"].asString(), server.requests()[0].body);
  EXPECT_EQ(exchanged["key_headers"], parsed(R"(["uid: 4711"])"));
  EXPECT_EQ(exchanged["response_data"], answerWith("{}"));
  EXPECT_GT(exchanged["timestamp_ms"].asInt64(), 1'600'000'000'000);
}

// ---- 4: the configuration client

TEST_F(ShippedPluginTest, PostsItsRequestOverHttps) {
  tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
  writeFile(cachePath(L"hit.cache"), "  0123456789ABCDEF \r\n");
  serveEntry("{}");
  load();
  exchange();
  ASSERT_THAT(server.requests(), SizeIs(1));
  const Request request = server.requests()[0];
  EXPECT_TRUE(request.tls);
  EXPECT_EQ(request.header("Host"), "localhost:18443");
  EXPECT_EQ(request.header("Content-Type"), "application/json;charset=UTF-8");
  EXPECT_EQ(request.header("uid"), "4711");
  EXPECT_EQ(request.header("sid"), "0");
  EXPECT_EQ(request.header("ssid"), "0");
  Json::Value body = parsed(request.body);
  EXPECT_THAT(body["osVersion"].asString(), StartsWith("Windows "));
  body.removeMember("osVersion");
  EXPECT_EQ(body, parsed(R"({"bssCode": "zu_kx_anchor", "bssVersion": "0", "bssMode": "all", "client": "pc",
                             "version": "2.0.0",
                             "extendInfo": {"zuuid": "4711", "hostver": "9.1.2", "hitseq": "0123456789ABCDEF"}})"));
}

TEST_F(ShippedPluginTest, AsksTheProductionServiceUnlessItIsToldOtherwise) {
  serveEntry("{}");
  load();
  Json::Value path = toUtf8(tree.appPath());
  send("setHostInfo", R"({"app_path": )" + Json::writeString(Json::StreamWriterBuilder(), path) + "}");
  ASSERT_TRUE(log.waitForStart(L"onFetch success key: "));
  ASSERT_THAT(server.requests(), SizeIs(1));
  EXPECT_EQ(server.requests()[0].header("Host"), "config.zuvia.example");
}

TEST_F(ShippedPluginTest, LeavesTheSessionsLockFreeAfterAnExchange) {
  serveEntry("{}");
  load();
  exchange();
  SecondProcess second;
  EXPECT_THAT(second.tryMutex(L"Local\\ZuviaPluginCurlGlobal"), testing::AnyOf(MutexState::Missing, MutexState::Free));
}

// ---- 5: download and digest

TEST_F(ShippedPluginTest, RefusesAPackageWithAnotherDigest) {
  Offer offer = makeOffer("2.0.0.47");
  const std::string found = offer.pmd5;
  offer.pmd5 = md5("something else");
  serve(offer);
  load();
  const TreeListing before = tree.list();
  send("setHostInfo", hostInformation());
  const unsigned long task = threadOf(L"Download exception! ");
  EXPECT_THAT(messagesOf(task), ElementsAre(L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url),
                                            L"Download success ver:  2.0.0.47",
                                            L"Download exception! Expected md5: " + toWide(offer.pmd5) +
                                                L", but found: " + toWide(found) + L", del: true"));
  entry().onUnload();
  EXPECT_EQ(tree.list(), before);
  EXPECT_THAT(listTree(cachePath(L"update")), IsEmpty());
}

// ---- 6: removal

TEST_F(ShippedPluginTest, RemovesVersionsThatNobodyUses) {
  addVersion(L"2.0.0.44");
  tree.addFile(L"2.0.0.44\\sub\\companion.txt", "companion");
  tree.addVersion(L"1.0", moduleFile(L"0.0.0.0"));
  tree.addVersion(L"other", moduleFile(L"2.0.0.44"));
  load();
  SecondProcess second;
  second.holdFile(tree.root() + L"\\1.0\\zuimpl.dll");
  serveEntry("{}");
  exchange();
  const std::vector<WideText> messages = log.messages();
  EXPECT_THAT(messages, Contains(L"Try delete unused plugin: " + versionDirectory(L"2.0.0.44")));
  EXPECT_THAT(messages, Contains(L"Skip non version directory: " + versionDirectory(L"other")));
  EXPECT_THAT(messages, Contains(L"Skip in-use or inaccessible version: " + modulePath(L"1.0")));
  EXPECT_FALSE(directoryExists(versionDirectory(L"2.0.0.44")));
  EXPECT_TRUE(directoryExists(versionDirectory(L"1.0")));
  EXPECT_TRUE(directoryExists(versionDirectory(L"other")));
  EXPECT_TRUE(directoryExists(versionDirectory(L"2.0.0.45")));
  EXPECT_THAT(second.tryMutex(L"Local\\ZuviaPluginCleanup"), MutexState::Missing);
}

// ---- 7: publishing

TEST_F(ShippedPluginTest, PublishesTheFilesOfThePackage) {
  const Offer offer = update();
  ASSERT_TRUE(log.waitFor(L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47"));
  entry().onUnload();
  EXPECT_EQ(readFile(modulePath(L"2.0.0.47")), readFile(moduleFile(L"2.0.0.47")));
  EXPECT_EQ(readFile(versionDirectory(L"2.0.0.47") + L"\\sub\\companion.txt"), "companion");
  const TreeListing listing = tree.list();
  EXPECT_EQ(listing.size(), 7u) << "plugin, two versions with a module, a directory and a file: nothing else";
  EXPECT_THAT(listTree(cachePath(L"update")), IsEmpty());
  SecondProcess second;
  EXPECT_EQ(second.tryMutex(L"Local\\ZuviaPluginUpdate-2.0.0.47"), MutexState::Missing);
}

// ---- 8: the entry and the decision

TEST_F(ShippedPluginTest, LeavesAVersionAloneThatIsNotNewer) {
  Offer offer = makeOffer("2.0.0.45");
  serveEntry(offer.entry());
  load();
  const TreeListing before = tree.list();
  exchange();
  const unsigned long fetch = threadOf(L"DoFetchJob ");
  const std::wstring body = toWide(server.requests()[0].body);
  EXPECT_THAT(messagesOf(fetch),
              ElementsAre(L"Stored cache to persistent file: " + cachePath(L"bbs.cache"),
                          L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
                          L"https://localhost:18443/configs/pc/post, body: " +
                              body,
                          L"Fetch ZuUpdateConfig success str: [ver: 2.0.0.45, pmd5: " + toWide(offer.pmd5) +
                              L", dmd5:" + toWide(offer.dmd5) + L", url: " + toWide(offer.url) + L"]",
                          L"No needed to upgrade for version: 2.0.0.45, local ver is newest!",
                          L"onFetch success key: zu_plugin_update, value: " + toWide(offer.entry())));
  EXPECT_EQ(tree.list(), before);
}

TEST_F(ShippedPluginTest, LeavesAVersionAloneThatIsInstalledIntact) {
  const Offer offer = makeOffer("2.0.0.47");
  serveEntry(offer.entry());
  load();
  addVersion(L"2.0.0.47");
  exchange();
  EXPECT_THAT(log.messages(), Contains(L"No needed to upgrade for for version: 2.0.0.47"));
  EXPECT_THAT(events(), IsEmpty());
}

// ---- 9: host information

TEST_F(ShippedPluginTest, TakesHostInformationOnlyWhileAnImplementationIsLoaded) {
  const TreeListing before = tree.listAll();
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo with invalid params loaded: false"));
  EXPECT_EQ(tree.listAll(), before);
  serveEntry("{}");
  load();
  exchange();
  const std::vector<WideText> own = messagesOf(GetCurrentThreadId());
  EXPECT_THAT(own,
              ElementsAre(L"setHostInfo uid: 4711, ver: 9.1.2, env: true", L"setHostInfo path: " + tree.appPath()));
  EXPECT_EQ(send("record", ""),
            "onLoaded \"C:\\host\"\nqueryInterface IID_IWxMonitor\naddListener 7\n"
            "sendCommand \"setHostInfo\" \"" +
                hostInformation() + "\"\n");
}

TEST_F(ShippedPluginTest, FetchesOnceForManyHostInformations) {
  serveEntry("{}");
  load();
  exchange();
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  entry().onUnload();
  EXPECT_THAT(server.requests(), SizeIs(1));
}

// ---- 10: everything

TEST_F(ShippedPluginTest, RunsFromItsLoadToTheUpgradeAndOnToTheNewVersion) {
  addVersion(L"2.0.0.44");
  addVersion(L"2.0.0.45");
  const Offer offer = makeOffer("2.0.0.47");
  serve(offer);
  const unsigned long host = GetCurrentThreadId();
  std::mutex mutex;
  std::vector<std::string> raised;
  monitor().addListener([&](const char* name, const char* data) {
    const std::lock_guard lock(mutex);
    raised.push_back(std::string(name) + '=' + data);
  });

  entry().onLoaded("C:\\host");
  EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
  const unsigned long task = threadOf(L"onNotifyEvent cmd: pluginUpgradeEvent");
  const unsigned long fetch = threadOf(L"DoFetchJob ");
  ASSERT_TRUE(log.waitForStart(L"onFetch success "));
  entry().onUnload();

  EXPECT_THAT(messagesOf(host),
              ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: false, path: C:\\host",
                          L"onNotifyEvent cmd: pluginLoadedEvent, data: ",
                          L"Load plugin success, path: " + modulePath(L"2.0.0.45") + L", version: 2.0.0.45",
                          L"onNotifyEvent cmd: pluginLoadedDoneEvent, data: 2.0.0.45",
                          L"setHostInfo uid: 4711, ver: 9.1.2, env: true", L"setHostInfo path: " + tree.appPath(),
                          L"Try delete unused plugin: " + versionDirectory(L"2.0.0.44"), L"onUnload"));
  EXPECT_THAT(messagesOf(fetch),
              ElementsAre(L"Stored cache to persistent file: " + cachePath(L"bbs.cache"),
                          L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
                          L"https://localhost:18443/configs/pc/post, body: " +
                              toWide(server.requests()[0].body),
                          L"Fetch ZuUpdateConfig success str: [ver: 2.0.0.47, pmd5: " + toWide(offer.pmd5) +
                              L", dmd5:" + toWide(offer.dmd5) + L", url: " + toWide(offer.url) + L"]",
                          L"Directory not exist: " + versionDirectory(L"2.0.0.47"),
                          L"Directory not exist: " + cachePath(L"update") + L"\\, create: 0",
                          L"onFetch success key: zu_plugin_update, value: " + toWide(offer.entry())));
  EXPECT_THAT(messagesOf(task),
              ElementsAre(WideText(L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url)),
                          WideText(L"Download success ver:  2.0.0.47"),
                          WideStartsWith(L"Unzip file success path: " + tree.root() + L"\\.update-2.0.0.47-"),
                          WideText(L"Try published download plugin : false"),
                          WideText(L"MoveFileExW  published: true, dest: " + versionDirectory(L"2.0.0.47")),
                          WideText(L"onUpdateSuccess newVer: 2.0.0.47"),
                          WideText(L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47")));
  EXPECT_THAT(raised,
              ElementsAre("pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45", "pluginUpgradeEvent=2.0.0.47"));

  // The same process goes on with the new version, under the text of the first.
  log.clear();
  raised.clear();
  server.serve("POST", "/configs/pc/post", Answer::respond(200, answerWith("{}")));
  entry().onLoaded(nullptr);
  send("setHostInfo", hostInformation());
  EXPECT_THAT(messagesOf(host),
              ElementsAre(L"onLoaded native v: 2.0.0.45, isLoad: false, path: ",
                          L"onNotifyEvent cmd: pluginLoadedEvent, data: ",
                          L"Load plugin success, path: " + modulePath(L"2.0.0.47") + L", version: 2.0.0.47",
                          L"onNotifyEvent cmd: pluginLoadedDoneEvent, data: 2.0.0.45",
                          L"setHostInfo uid: 4711, ver: 9.1.2, env: true", L"setHostInfo path: " + tree.appPath(),
                          L"Try delete unused plugin: " + versionDirectory(L"2.0.0.45")));
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  EXPECT_FALSE(directoryExists(versionDirectory(L"2.0.0.45")));
  EXPECT_TRUE(directoryExists(versionDirectory(L"2.0.0.47")));
}

TEST_F(ShippedPluginTest, StaysOnItsVersionUntilTheNextLoad) {
  update();
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  EXPECT_EQ(send("isLoaded", ""), "1");
  EXPECT_NE(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
  EXPECT_EQ(GetModuleHandleW(modulePath(L"2.0.0.47").c_str()), nullptr);
}

TEST_F(ShippedPluginTest, WaitsInItsUnloadForAnUpdateAndRaisesTheEventMeanwhile) {
  const Offer offer = makeOffer("2.0.0.47");
  serveEntry(offer.entry());
  server.expect("GET", "/zuimpl-2.0.0.47.7z",
                Answer::respond(200, offer.package).drip(static_cast<unsigned>(offer.package.size())));
  load();
  send("setHostInfo", hostInformation());
  ASSERT_TRUE(server.waitForRequests(2));
  entry().onUnload();
  ASSERT_THAT(events(), ElementsAre("pluginUpgradeEvent=2.0.0.47"));
  EXPECT_NE(waitForEvent("pluginUpgradeEvent=2.0.0.47", 0), GetCurrentThreadId());
  std::vector<WideText> messages = log.messages();
  EXPECT_LT(std::ranges::find(messages, L"onUnload"), std::ranges::find(messages, L"onUpdateSuccess newVer: 2.0.0.47"));
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_EQ(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
  EXPECT_TRUE(fileExists(modulePath(L"2.0.0.47")));
}

TEST_F(ShippedPluginTest, WaitsInItsUnloadForAFetch) {
  server.expect("POST", "/configs/pc/post", Answer::respond(200, answerWith("{}")).drip(200));
  load();
  send("setHostInfo", hostInformation());
  ASSERT_TRUE(server.waitForRequests(1));
  entry().onUnload();
  EXPECT_THAT(log.messages().back(), L"onFetch success key: zu_plugin_update, value: {}");
}

TEST_F(ShippedPluginTest, IsDestroyedThroughItsRootInTheMiddleOfAnUpdate) {
  const Offer offer = makeOffer("2.0.0.47");
  serveEntry(offer.entry());
  server.expect("GET", "/zuimpl-2.0.0.47.7z",
                Answer::respond(200, offer.package).drip(static_cast<unsigned>(offer.package.size())));
  load();
  send("setHostInfo", hostInformation());
  ASSERT_TRUE(server.waitForRequests(2));
  IPluginEntryPoint* const old = plugin;
  delete static_cast<IZUPlugin*>(std::exchange(plugin, nullptr)->queryInterface(IID_IZUPlugin));
  EXPECT_THAT(events(), ElementsAre("pluginUpgradeEvent=2.0.0.47"));
  EXPECT_EQ(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
  EXPECT_EQ(create(), old) << "a new object was made";
}

TEST_F(ShippedPluginTest, LeavesNothingOpenAfterAnUpdate) {
  server.serve("POST", "/configs/pc/post", Answer::respond(200, makeOffer("2.0.0.47").answer()));
  server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, makeOffer("2.0.0.47").package));
  load();
  const auto live = [&] {
    log.clear();
    removeTree(versionDirectory(L"2.0.0.47"));
    entry().onLoaded(nullptr);
    send("setHostInfo", hostInformation());
    EXPECT_TRUE(log.waitFor(L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47"));
    entry().onUnload();
  };
  const HMODULE kept = LoadLibraryW(modulePath(L"2.0.0.45").c_str());
  live();
  // The system may add a thread to its pool at any time, which then keeps what it opens: only what grows with
  // every update counts.
  constexpr std::size_t kUpdates = 5;
  HandleCount before = countHandles();
  for (std::size_t i = 0; i < kUpdates; ++i) live();
  for (const auto& [type, count] : countHandles()) EXPECT_LT(count, before[type] + kUpdates) << type;
  FreeLibrary(kept);
}

}  // namespace
}  // namespace zuvia::test
