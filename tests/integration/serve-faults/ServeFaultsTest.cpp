// The plugin that ships against zuserve.exe: what its settings choose and what its faults come to.

#include <chrono>
#include <optional>

#include "../../unit/support/HttpClient.h"
#include "integration/network/NetworkTest.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using WallClock = std::chrono::steady_clock;

const WideText kNothing = L"onFetch success but configs err, key: zu_plugin_update, body: {\"configs\":{}}";

class ServeFaultsTest : public NetworkTest {
 protected:
  ServeFaultsTest() {
    offer.url = "https://localhost:18443/zuimpl-2.0.0.47.7z";
    writeFile(site_ + L"\\zuimpl-2.0.0.47.7z", offer.package);
    writeFile(site_ + L"\\zuimpl-2.0.0.47.json", offer.entry());
    start();
  }

  // Changes settings of the service, as QA does with any HTTP client.
  void set(const std::string& settings) {
    const TransferResult result = transfer(
        {.url = address_ + "api/settings", .postBody = settings, .headers = {"Content-Type: application/json"}});
    ASSERT_EQ(result.status, 200) << result.body;
  }

  // A session that asks and downloads, and what it logged about the download.
  std::vector<WideText> update() {
    const Detour detour(module, port_);
    return live(L"Try download plugin ");
  }

  // A session that asks, and what it logged about that.
  std::vector<WideText> ask() {
    const Detour detour(module, port_);
    return live(L"DoFetchJob ");
  }

  // The lines of a download that failed.
  auto failure(int code, const std::string& error, int status, std::size_t received) const {
    return ElementsAre(L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url),
                       L"Download fail! path: " + packagePath + L", curl code: " + std::to_wstring(code) + L", msg: " +
                           toWide(error) + L", http code: " + std::to_wstring(status) + L", received bytes: " +
                           std::to_wstring(received) + L", write succeeded: true, url: " + toWide(offer.url),
                       L"Download fail!");
  }

  // The next line of the service about a request that begins so.
  std::string lineAbout(const std::string& request) {
    return service_
        ->readUntil([&](const std::string& line) { return line.find(" " + request + " ") != std::string::npos; })
        .value_or("");
  }

  void expectPublished() {
    EXPECT_EQ(readFile(tree.root() + L"\\2.0.0.47\\zuimpl.dll"), readFile(moduleFile(L"2.0.0.47")));
    expectNothingLeft();
  }

 private:
  void start() {
    const std::wstring authority = tree.base() + L"\\authority";
    service_.emplace(joinPath(programDirectory(), L"zuserve.exe"),
                     std::vector<std::wstring>{L"--site", site_, L"--port", L"0", L"--ca", authority});
    const std::string line = service_->readLine(60'000).value_or("");
    const std::string lead = "zuserve: ";
    ASSERT_THAT(line, testing::StartsWith(lead + "https://localhost:"));
    address_ = line.substr(lead.size(), line.find(' ', lead.size()) - lead.size());
    port_ = static_cast<unsigned short>(std::stoi(address_.substr(address_.rfind(':') + 1)));
    trusted_.emplace(readFile(authority + L"\\authority.crt"));
  }

  const std::wstring site_ = tree.base() + L"\\site";
  std::optional<ChildProcess> service_;
  std::optional<TrustedRoot> trusted_;
  std::string address_;
  unsigned short port_ = 0;
};

TEST_F(ServeFaultsTest, OffersNothingToThoseWhoAreNotMeant) {
  // The host is 9.1.2, its user 4711.
  for (const char* settings :
       {R"({"share":0})", R"({"share":100,"hostVersion":">=9.2"})", R"({"hostVersion":"","paused":true})"}) {
    set(settings);
    EXPECT_THAT(ask(), Contains(kNothing)) << settings;
  }
  EXPECT_THAT(lineAbout("POST /configs/pc/post"), HasSubstr(R"(answer="nothing" why="user not among the 0 %")"));
  EXPECT_THAT(lineAbout("POST /configs/pc/post"),
              HasSubstr(R"(answer="nothing" why="host version does not fit >=9.2")"));
  EXPECT_THAT(lineAbout("POST /configs/pc/post"), HasSubstr(R"(answer="nothing" why="paused")"));
  set(R"({"hostVersion":">=9.1.2, <10","paused":false})");
  update();
  EXPECT_THAT(lineAbout("POST /configs/pc/post"), HasSubstr(R"(uid="4711" version="2.0.0" hostver="9.1.2")"));
  expectPublished();
}

TEST_F(ServeFaultsTest, FailsADownloadInEachWay) {
  const std::size_t size = offer.package.size();
  set(R"({"fault":"cut"})");
  EXPECT_THAT(update(),
              failure(18, "transfer closed with " + std::to_string(size - size / 2) + " bytes remaining to read", 200,
                      size / 2));
  set(R"({"fault":"cut:1"})");
  EXPECT_THAT(update(),
              failure(18, "transfer closed with " + std::to_string(size - 1) + " bytes remaining to read", 200, 1));
  set(R"({"fault":"status:503"})");
  EXPECT_THAT(update(), failure(22, "The requested URL returned error: 503", 503, 0));
  set(R"({"fault":"badmd5"})");
  std::string wrong = offer.pmd5;
  wrong.front() = wrong.front() == '0' ? '1' : '0';
  EXPECT_THAT(update(), Contains(WideText(L"Download exception! Expected md5: " + toWide(wrong) + L", but found: " +
                                          toWide(offer.pmd5) + L", del: true")));
  expectNothingLeft();
  set(R"({"fault":"none"})");
  update();
  expectPublished();
}

TEST_F(ServeFaultsTest, StallsADownload) {
  set(R"({"fault":"stall:1000"})");
  const auto begin = WallClock::now();
  EXPECT_THAT(update(),
              failure(28, "Operation too slow. Less than 1 bytes/sec transferred the last 6 seconds", 200, 1000));
  EXPECT_GE(WallClock::now() - begin, std::chrono::seconds(6));
  EXPECT_THAT(lineAbout("GET /zuimpl-2.0.0.47.7z"), HasSubstr(R"( 200 1000 fault="stall:1000" transfer="incomplete")"));
  expectNothingLeft();
}

TEST_F(ServeFaultsTest, SlowsADownload) {
  const std::size_t size = offer.package.size();
  set(R"({"fault":"slow:)" + std::to_string(size / 2) + "\"}");
  const auto begin = WallClock::now();
  update();
  EXPECT_GE(WallClock::now() - begin, std::chrono::milliseconds(1500));
  expectPublished();
}

TEST_F(ServeFaultsTest, FailsAConfigurationRequest) {
  set(R"({"fault":"config:status:503"})");
  const std::vector<WideText> lines = ask();
  ASSERT_FALSE(lines.empty());
  EXPECT_THAT(toUtf8(lines[0]),
              HasSubstr("ret: false, curlCode: 22, curlError: The requested URL returned error: 503"));
  set(R"({"fault":"config:cut:5"})");
  EXPECT_THAT(toUtf8(ask().at(0)), HasSubstr("ret: false, curlCode: 18, curlError: transfer closed with"));
  set(R"({"fault":"none"})");
  update();
  expectPublished();
}

}  // namespace
}  // namespace zuvia::test
