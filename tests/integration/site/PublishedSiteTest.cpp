// What nginx serves from a site, and the plugin that updates from it.

#include "integration/site/PublishedSite.h"
#include "support/HostProcess.h"
#include "support/InstallTree.h"

namespace zuvia::test {
namespace {

using testing::HasSubstr;

class PublishedSiteTest : public PublishedSite {
 protected:
  // Where the answer to a user sends hosts for the package, without the server.
  std::string packagePath() {
    const std::string answer = client().ask(configurationRequest(1)).body;
    const std::size_t begin = answer.find("/packages/");
    return answer.substr(begin, answer.find('\\', begin) - begin);
  }

  HttpAnswer get(const std::string& path, const std::string& headers = "", const std::string& method = "GET") {
    return client().ask(method + ' ' + path + " HTTP/1.1\r\nHost: x\r\n" + headers + "\r\n", method != "HEAD");
  }
};

// Runs a host of this user until its exchange, and the update that may follow, are over. Returns its events.
std::vector<std::string> runHost(const InstallTree& tree, unsigned short port, const std::string& root, unsigned uid) {
  HostProcess host(tree, port);
  host.trustOnly(root);
  EXPECT_EQ(host.load(), "2.0.0.45");
  host.ask("command setHostInfo {\"uid\": " + std::to_string(uid) + R"(, "ver": "9.1.2", "app_path": "C:\\unused"})");
  EXPECT_TRUE(host.waitForMessage(L"onFetch ")) << testing::PrintToString(host.messages());
  host.unload();
  return host.events();
}

TEST_F(PublishedSiteTest, UpdatesTheUsersInTheShareAndNoOthers) {
  site({L"--package", pack(L"2.0.0.47"), L"--share", L"50"});
  serve();
  unsigned chosen = 1;
  while (offeredTo(chosen).empty()) ++chosen;
  unsigned other = 1;
  while (!offeredTo(other).empty()) ++other;

  const std::string root = authority.root().certificatePem;
  for (const unsigned uid : {other, chosen}) {
    InstallTree tree(L"zuvia site");
    tree.installPlugin();
    tree.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
    const std::vector<std::string> events = runHost(tree, port, root, uid);
    const bool isUpdated = fileExists(tree.root() + L"\\2.0.0.47\\zuimpl.dll");
    EXPECT_EQ(isUpdated, uid == chosen);
    EXPECT_EQ(std::ranges::count(events, "pluginUpgradeEvent=2.0.0.47"), isUpdated ? 1 : 0);
  }
}

TEST_F(PublishedSiteTest, OffersTheOthersWhatEverybodyHadBefore) {
  site({L"--package", pack(L"2.0.0.45"), L"--share", L"100"});
  site({L"--package", pack(L"2.0.0.47"), L"--share", L"0"});
  serve();
  EXPECT_EQ(offeredTo(1), "2.0.0.45");
  site({L"--share", L"100"});
  serve();
  EXPECT_EQ(offeredTo(1), "2.0.0.47");
}

TEST_F(PublishedSiteTest, ServesPackagesForEverAndInParts) {
  const std::string package = readFile(pack(L"2.0.0.47"));
  site({L"--package", pack(L"2.0.0.47"), L"--share", L"100"});
  serve();
  const std::string path = packagePath();
  const HttpAnswer whole = get(path);
  EXPECT_EQ(whole.status, 200);
  EXPECT_EQ(whole.body, package);
  EXPECT_EQ(whole.header("Cache-Control"), "public, max-age=31536000, immutable");
  EXPECT_EQ(whole.header("Content-Type"), "application/x-7z-compressed");
  EXPECT_EQ(whole.header("Accept-Ranges"), "bytes");
  const HttpAnswer part = get(path, "Range: bytes=10-19\r\n");
  EXPECT_EQ(part.status, 206);
  EXPECT_EQ(part.body, package.substr(10, 10));
  EXPECT_EQ(get(path, "", "HEAD").header("Content-Length"), std::to_string(package.size()));
}

TEST_F(PublishedSiteTest, AnswersConfigurationRequestsAsJsonThatNobodyKeeps) {
  site({L"--package", pack(L"2.0.0.47"), L"--share", L"100"});
  serve();
  const HttpAnswer answer = client().ask(configurationRequest(1));
  EXPECT_EQ(answer.header("Content-Type"), "application/json; charset=utf-8");
  EXPECT_EQ(answer.header("Cache-Control"), "no-store");
  EXPECT_EQ(answer.header("Server"), "nginx") << "and no version";
}

TEST_F(PublishedSiteTest, ServesNothingElse) {
  site({L"--package", pack(L"2.0.0.47"), L"--share", L"100"});
  serve();
  const std::string answer = toUtf8(listTree(pathOf(L"site\\answers")).begin()->first);
  for (const std::string path : {"/", "/nginx.conf", "/packages/", "/packages/none", "/answers/", "/configs/pc/post",
                                 "/packages/../nginx.conf", "/none"}) {
    EXPECT_THAT(get(path).status, testing::AnyOf(403, 404)) << path;
  }
  EXPECT_EQ(get("/answers/" + answer).status, 404);
  EXPECT_EQ(client().ask("POST " + packagePath() + " HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n").status, 403);
  const std::string large = "Content-Length: 65537\r\n\r\n";
  EXPECT_EQ(client().ask("POST /configs/pc/post HTTP/1.1\r\nHost: x\r\n" + large).status, 413);
}

}  // namespace
}  // namespace zuvia::test
