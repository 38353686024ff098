// Whatever reaches the plugin that ships: the log says what was wrong, and files, handles, locks and the running
// version stay as they were.

#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Digest.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/PackageBuilder.h"
#include "support/SecondProcess.h"
#include "support/Wine.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::IsEmpty;

class BadInputTest : public PluginTest {
 protected:
  // The plugin is left as it was: its version runs, its directory is unchanged, nothing waits to be unpacked, and
  // no lock is held.
  void TearDown() override { expectUnchanged(); }

  void begin() {
    load();
    before_ = tree.list();
  }

  // Has the service answer this, as it is, and waits for the line.
  void answered(const std::string& body, const std::wstring& line) {
    server.expect("POST", "/configs/pc/post", Answer::respond(200, body));
    begin();
    send("setHostInfo", hostInformation());
    EXPECT_TRUE(log.waitFor(line)) << toUtf8(line) << " is not in " << testing::PrintToString(log.messages());
  }

  // Has the service offer this entry.
  void entered(const std::string& json, const std::wstring& line) { answered(answerWith(json), line); }

  // Has the service offer this package, and waits for the end of its task and the line.
  void packed(const std::string& package, const std::wstring& line) {
    Offer offer = makeOffer("2.0.0.47");
    offer.package = package;
    offer.pmd5 = md5(package);
    offered(offer, line);
  }

  void offered(const Offer& offer, const std::wstring& line) {
    serve(offer);
    begin();
    send("setHostInfo", hostInformation());
    const std::wstring end = L"Publish plugin fail, skip update callback, ver: " + toWide(offer.version);
    EXPECT_TRUE(log.waitFor(end));
    EXPECT_THAT(log.messages(), Contains(line));
  }

  // One module with these entries beside it.
  static PackageBuilder withModule() {
    PackageBuilder builder;
    builder.add(L"zuimpl.dll", readFile(moduleFile(L"2.0.0.47")));
    return builder;
  }

 private:
  void expectUnchanged() {
    EXPECT_TRUE(loader().isLoaded());
    EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
    EXPECT_EQ(send("echo", "still here"), "still here");
    entry().onUnload();
    EXPECT_EQ(describeChanges(before_, tree.list()), "");
    EXPECT_THAT(events(), IsEmpty());
    const std::wstring downloads = cachePath(L"update");
    if (directoryExists(downloads)) {
      EXPECT_THAT(listTree(downloads), IsEmpty());
    }
    SecondProcess second;
    for (const wchar_t* name :
         {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginUpdate-2.0.0.47", L"Local\\ZuviaPluginCleanup"}) {
      EXPECT_EQ(second.tryMutex(name), MutexState::Missing) << toUtf8(name);
    }
  }

  TreeListing before_;
};

// ---- Host information

TEST_F(BadInputTest, HostInformationThatIsNotWhatItShouldBe) {
  begin();
  const TreeListing before = tree.listAll();
  const std::string deep(10000, '[');
  const auto sendAll = [&] {
    for (const char* json :
         {"{", "[]", "7", R"({"uid": "x"})", R"({"uid": -1})", R"({"ver": []})", R"({"app_path": {}})",
          R"({"test_env": "x"})", "\x01\x02", "{\"uid\": 1e400}", deep.c_str()}) {
      EXPECT_EQ(send("setHostInfo", json), "0") << json;
      EXPECT_TRUE(log.messages().back().starts_with(L"setHostInfo parse ")) << json;
    }
  };
  sendAll();
  const HandleCheck handles;
  sendAll();
  EXPECT_EQ(log.messages().back(), L"setHostInfo parse exception: Exceeded stackLimit in readValue().");
  EXPECT_EQ(tree.listAll(), before);
}

// ---- Answers

TEST_F(BadInputTest, AnAnswerThatIsEmpty) {
  answered("", L"onFetch fail key: zu_plugin_update, body: ");
}

TEST_F(BadInputTest, AnAnswerThatIsNoJson) {
  answered("<html>",
           L"OnResponse parse error: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n"
           L", body: <html>");
}

TEST_F(BadInputTest, AnAnswerThatIsNoObject) {
  server.expect("POST", "/configs/pc/post", Answer::respond(200, "[1]"));
  begin();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(log.waitForStart(L"OnResponse parse exception: "));
}

TEST_F(BadInputTest, AnAnswerWithoutTheEntry) {
  answered(R"({"configs": {"other": "{}"}})",
           LR"(onFetch success but configs err, key: zu_plugin_update, body: {"configs": {"other": "{}"}})");
}

TEST_F(BadInputTest, AnAnswerWithAnObjectForTheEntry) {
  answered(R"({"configs": {"zu_plugin_update": {}}})",
           L"OnResponse parse exception: Type is not convertible to string");
}

TEST_F(BadInputTest, AnAnswerThatIsTooLong) {
  server.expect("POST", "/configs/pc/post", Answer::oversize(1'048'577));
  begin();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(log.waitForStart(L"DoFetchJob bssCode: zu_kx_anchor, ret: false, curlCode: 23, curlError: "));
  EXPECT_TRUE(log.waitForStart(L"onFetch fail key: zu_plugin_update, body: "));
}

TEST_F(BadInputTest, AnAnswerOfAnUnhappyService) {
  server.expect("POST", "/configs/pc/post", Answer::respond(503, "down"));
  begin();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(
      log.waitForStart(L"DoFetchJob bssCode: zu_kx_anchor, ret: false, curlCode: 22, curlError: The requested "
                       L"URL returned error: 503, url: "));
  EXPECT_TRUE(log.waitFor(L"onFetch fail key: zu_plugin_update, body: "));
}

// ---- Entries and versions

TEST_F(BadInputTest, AnEntryThatIsNoJson) {
  entered("oops", L"onFetch parse error: * Line 1, Column 1\n  Syntax error: value, object or array expected.\n");
}

TEST_F(BadInputTest, AnEntryWithAValueOfAnotherType) {
  entered(R"({"ver": []})", L"onFetch parse exception: Type is not convertible to string");
}

TEST_F(BadInputTest, AnEntryWithoutHttps) {
  Offer offer = makeOffer("2.0.0.47");
  offer.url = "http://config.zuvia.example/x.7z";
  entered(offer.entry(), L"Update plugin fail! HTTPS is required: http://config.zuvia.example/x.7z");
}

TEST_F(BadInputTest, AnEntryWithAFileForAnAddress) {
  Offer offer = makeOffer("2.0.0.47");
  offer.url = "file:///C:/x.7z";
  entered(offer.entry(), L"Update plugin fail! HTTPS is required: file:///C:/x.7z");
}

TEST_F(BadInputTest, AnEntryWithAPathForAVersion) {
  Offer offer = makeOffer("2.0.0.47");
  offer.version = "..\\..\\x";
  entered(offer.entry(), L"Update plugin fail! Invalid version: ..\\..\\x");
}

TEST_F(BadInputTest, AnEntryWithAVersionOutOfRange) {
  Offer offer = makeOffer("2.0.0.47");
  offer.version = "2.0.0.70000";
  entered(offer.entry(), L"Update plugin fail! Invalid version: 2.0.0.70000");
}

TEST_F(BadInputTest, AnEntryWithAnOlderVersion) {
  Offer offer = makeOffer("2.0.0.44");
  entered(offer.entry(), L"No needed to upgrade for version: 2.0.0.44, local ver is newest!");
}

// ---- Packages and names

TEST_F(BadInputTest, APackageThatIsNoArchive) {
  packed("MZ, not a 7z archive", L"Check unzip file fail. Invalid 7z signature, size: 20");
}

TEST_F(BadInputTest, APackageThatIsCutOff) {
  const std::string package = withModule().build();
  packed(package.substr(0, package.size() / 2), L"Check unzip file fail. UnZip7zToMemory error, entries: 0");
}

TEST_F(BadInputTest, APackageWithoutAModule) {
  packed(PackageBuilder().add(L"bin/zuimpl.dll", "module").build(),
         L"Check unzip file fail. File zuimpl.dll not exist!");
}

TEST_F(BadInputTest, APackageThatReachesOutOfItsDirectory) {
  packed(withModule().add(L"../2.0.0.45/zuimpl.dll", "evil").build(),
         L"Unzip file fail! Illegal archive entry: ../2.0.0.45/zuimpl.dll");
}

TEST_F(BadInputTest, APackageThatNamesADrive) {
  packed(withModule().add(L"C:\\evil.dll", "evil").build(), L"Unzip file fail! Illegal archive entry: C:\\evil.dll");
}

TEST_F(BadInputTest, APackageThatStartsAtTheRoot) {
  packed(withModule().add(L"\\evil.dll", "evil").build(), L"Unzip file fail! Illegal archive entry: \\evil.dll");
}

TEST_F(BadInputTest, APackageWithAnotherModuleThanTheEntrySays) {
  Offer offer = makeOffer("2.0.0.47");
  offer.dmd5 = md5("another");
  offered(offer, L"Publish plugin fail, skip update callback, ver: 2.0.0.47");
}

TEST_F(BadInputTest, APackageWithAnotherVersionThanTheEntrySays) {
  const std::string content = readFile(moduleFile(L"2.0.1.0"));
  const std::string package = PackageBuilder().add(L"zuimpl.dll", content).build();
  offered({"2.0.0.47", package, md5(package), md5(content), "https://config.zuvia.example/zuimpl-2.0.0.47.7z"},
          L"Publish plugin fail, skip update callback, ver: 2.0.0.47");
}

TEST_F(BadInputTest, APackageThatIsNotThere) {
  const Offer offer = makeOffer("2.0.0.47");
  serveEntry(offer.entry());
  server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(404, "gone"));
  begin();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(log.waitFor(L"Download fail!"));
}

TEST_F(BadInputTest, APackageThatIsRedirectedOutOfHttps) {
  const Offer offer = makeOffer("2.0.0.47");
  serveEntry(offer.entry());
  server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::redirect(302, "http://config.zuvia.example/plain.7z"));
  begin();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(log.waitFor(L"Download fail!"));
  EXPECT_EQ(network.refused(), 0u);
}

// ---- Peers

TEST_F(BadInputTest, AServiceWithAnotherName) {
  const Offer offer = makeOffer("2.0.0.47");
  Offer elsewhere = offer;
  elsewhere.url = "https://127.0.0.1:" + std::to_string(server.port()) + "/zuimpl-2.0.0.47.7z";
  serveEntry(elsewhere.entry());
  begin();
  send("setHostInfo", hostInformation());
  EXPECT_TRUE(log.waitFor(L"Download fail!"));
  EXPECT_TRUE(log.waitForStart(L"Download fail! path: "));
  EXPECT_EQ(server.requests().size(), 1u);
}

}  // namespace
}  // namespace zuvia::test
