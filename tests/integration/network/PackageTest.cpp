// The download of a package by the plugin that ships, when servers and connections misbehave.

#include "integration/network/NetworkTest.h"

#include <openssl/opensslv.h>

#include <chrono>

#include "integration/network/TransferClock.h"
#include "support/Digest.h"
#include "support/Files.h"

namespace zuvia::test {
namespace {

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using namespace std::chrono_literals;

const std::string kPath = "/zuimpl-2.0.0.47.7z";

class PackageTest : public NetworkTest {
 protected:
  // Has the service offer the package at an address, to one request.
  void offerAt(const std::string& url) {
    offer.url = url;
    serveEntry(offer.entry());
  }

  // Lets a session take the offer. Returns the lines of its download and what came of it.
  std::vector<WideText> update() { return live(L"Try download plugin "); }

  // The same from the usual address, with this answer.
  std::vector<WideText> download(Answer answer) {
    offerAt(kUsual);
    server.expect("GET", kPath, std::move(answer));
    return update();
  }

  // The lines of a download that succeeded, with what came of it.
  std::vector<WideText> success(const std::vector<WideText>& outcome) const {
    std::vector<WideText> lines = {L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url),
                                   L"Download success ver:  2.0.0.47"};
    lines.insert(lines.end(), outcome.begin(), outcome.end());
    return lines;
  }

  // That of the package that was offered.
  std::vector<WideText> publication() const {
    return {L"Unzip file success path: " + tree.root() + L"\\.update-2.0.0.47-89abcdef01234567",
            L"Try published download plugin : false", L"MoveFileExW  published: true, dest: " + version_,
            L"onUpdateSuccess newVer: 2.0.0.47", L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47"};
  }

  // That of another one.
  std::vector<WideText> refusal(const std::string& package) const {
    return {L"Download exception! Expected md5: " + toWide(offer.pmd5) + L", but found: " + toWide(md5(package)) +
            L", del: true"};
  }

  // The lines of a download that failed.
  std::vector<WideText> failure(int code, const std::string& error, int status = 0, std::size_t received = 0) const {
    return {L"Try download plugin ver: 2.0.0.47, url:  " + toWide(offer.url),
            L"Download fail! path: " + packagePath + L", curl code: " + std::to_wstring(code) + L", msg: " +
                toWide(error) + L", http code: " + std::to_wstring(status) + L", received bytes: " +
                std::to_wstring(received) + L", write succeeded: true, url: " + toWide(offer.url),
            L"Download fail!"};
  }

  // The version was published, and nothing else is left. Takes it away again, as if it had not been.
  void expectPublished() {
    expectNothingLeft();
    EXPECT_EQ(readFile(version_ + L"\\zuimpl.dll"), readFile(moduleFile(L"2.0.0.47")));
    removeTree(version_);
    EXPECT_EQ(describeChanges(installed_, tree.list()), "");
  }

  // Nothing came of an update but the exchange that it began with, and the next one succeeds.
  void expectNothingCameOfIt() {
    EXPECT_THAT(cachedAnswers(), ElementsAre(offer.answer()));
    expectNothingLeft();
    EXPECT_FALSE(directoryExists(version_));
    offer = good_;
    EXPECT_THAT(download(Answer::respond(200, offer.package)), ElementsAreArray(success(publication())));
    expectPublished();
  }

  const std::string kUsual = offer.url;

 private:
  const std::wstring version_ = tree.root() + L"\\2.0.0.47";
  const Offer good_ = offer;
  const TreeListing installed_ = tree.list();
};

// ---- Transfers that succeed.

TEST_F(PackageTest, IsTakenInAnyForm) {
  for (const Answer& answer : {Answer(Answer::respond(200, offer.package).withoutLength()),
                               Answer(Answer::respond(200, offer.package).chunked())}) {
    EXPECT_THAT(download(answer), ElementsAreArray(success(publication())));
    expectPublished();
  }
}

TEST_F(PackageTest, IsTakenFromWhereItHasMoved) {
  for (const int status : {301, 302, 307}) {
    SCOPED_TRACE(status);
    offerAt(kUsual);
    server.expect("GET", kPath, Answer::redirect(status, "https://config.zuvia.example/moved.7z"));
    server.expect("GET", "/moved.7z", Answer::respond(200, offer.package));
    EXPECT_THAT(update(), ElementsAreArray(success(publication())));
    expectPublished();
  }
}

TEST_F(PackageTest, IsDeletedWhenItIsAnother) {
  struct Row {
    const char* name;
    Answer answer;
    std::string received;
  };
  const std::string& whole = offer.package;
  const std::size_t half = whole.size() / 2;
  const std::string butOne = whole.substr(0, whole.size() - 1);
  const std::vector<Row> table = {
      {"HTML", Answer::respond(200, "<html></html>"), "<html></html>"},
      {"no content", Answer::respond(204), ""},
      {"redirect to nowhere", Answer::respond(302, "moved"), "moved"},
      {"too short a length", Answer::respond(200, whole).declareLength(butOne.size()), butOne},
      // Nothing tells it from a whole one but its digest.
      {"cut halfway, without a length", Answer::respond(200, whole).withoutLength().cutAfter(half),
       whole.substr(0, half)}};
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    EXPECT_THAT(download(row.answer), ElementsAreArray(success(refusal(row.received))));
    expectNothingCameOfIt();
  }
}

// ---- Transfers that fail.

class FailingPackageTest : public PackageTest {
 protected:
  // An answer, and how its transfer ends.
  struct Row {
    const char* name;
    Answer answer;
    int code;
    std::string error;
    int status;
    std::size_t received = 0;
  };

  void expectFailures(const std::vector<Row>& table) {
    for (const Row& row : table) {
      SCOPED_TRACE(row.name);
      EXPECT_THAT(download(row.answer), ElementsAreArray(failure(row.code, row.error, row.status, row.received)));
      expectNothingCameOfIt();
    }
  }
};

TEST_F(FailingPackageTest, HasAnErrorStatus) {
  expectFailures({{"400", Answer::respond(400, "error"), 22, "The requested URL returned error: 400", 400},
                  {"404", Answer::respond(404, "error"), 22, "The requested URL returned error: 404", 404},
                  {"500", Answer::respond(500, "error"), 22, "The requested URL returned error: 500", 500},
                  {"503", Answer::respond(503, "error"), 22, "The requested URL returned error: 503", 503}});
}

TEST_F(FailingPackageTest, HasMovedOutOfHttps) {
  expectFailures({{"to plain HTTP", Answer::redirect(302, "http://config.zuvia.example/moved.7z"), 1,
                   "Protocol \"http\" not supported or disabled in libcurl", 302},
                  {"to another scheme", Answer::redirect(302, "ftp://config.zuvia.example/moved.7z"), 1,
                   "The redirect target URL could not be parsed: Unsupported URL scheme", 302},
                  {"to a file", Answer::redirect(302, "file:///C:/moved.7z"), 3,
                   "URL using bad/illegal format or missing URL", 302}});
  EXPECT_EQ(network.refused(), 0u);
}

TEST_F(FailingPackageTest, EndsEarly) {
  const std::string body(1000, 'x');
  expectFailures({{"cut at once", Answer::respond(200, body).cutAfter(0), 18,
                   "transfer closed with 1000 bytes remaining to read", 200, 0},
                  {"cut after 1 byte", Answer::respond(200, body).cutAfter(1), 18,
                   "transfer closed with 999 bytes remaining to read", 200, 1},
                  {"cut halfway", Answer::respond(200, body).cutAfter(500), 18,
                   "transfer closed with 500 bytes remaining to read", 200, 500},
                  {"cut before the last byte", Answer::respond(200, body).cutAfter(999), 18,
                   "transfer closed with 1 bytes remaining to read", 200, 999},
                  {"closed halfway", Answer::respond(200, body).closeAfter(500), 18,
                   "transfer closed with 500 bytes remaining to read", 200, 500},
                  {"chunks cut halfway", Answer::respond(200, body).chunked().cutAfter(500), 18,
                   "transfer closed with outstanding read data remaining", 200, 500},
                  {"too long a length", Answer::respond(200, body).declareLength(1001), 18,
                   "transfer closed with 1 bytes remaining to read", 200, 1000}});
}

// ---- Peers that are not the server.

TEST_F(PackageTest, IsNotAskedFromAStranger) {
  struct Row {
    const char* name;
    TestServerOptions options;
    bool isTrusted;
    std::string error;
  };
  const std::vector<Row> table = {
      {"unknown root", {}, false, "SSL certificate problem: unable to get local issuer certificate"},
      {"another name",
       {.names = {"other.example"}},
       true,
       "SSL: no alternative certificate subject name matches target host name 'localhost'"},
      {"expired", {.expired = true}, true, "SSL certificate problem: certificate has expired"}};
  for (const Row& row : table) {
    SCOPED_TRACE(row.name);
    const Peer peer(row.options, row.isTrusted);
    offerAt(peer.server.url(kPath));
    EXPECT_THAT(update(), ElementsAreArray(failure(60, row.error)));
    EXPECT_EQ(peer.server.connections(), 1u);
    EXPECT_THAT(peer.server.requests(), IsEmpty());
    expectNothingCameOfIt();
  }
}

TEST_F(PackageTest, FailsWithoutAConnectionOrTls) {
  {
    SCOPED_TRACE("nobody listens");
    const std::string port = std::to_string(deadPort());
    offerAt("https://localhost:" + port + kPath);
    {
      const TransferClock clock(module);
      EXPECT_THAT(update(), ElementsAreArray(failure(7, "Failed to connect to localhost port " + port +
                                                            " after 0 ms: Couldn't connect to server")));
    }
    expectNothingCameOfIt();
  }
  Peer peer;
  const std::string port = std::to_string(peer.server.port());
  {
    SCOPED_TRACE("the peer hangs up");
    offerAt(peer.server.url(kPath));
    peer.server.answerWithoutTls("");
    EXPECT_THAT(update(), ElementsAreArray(failure(
                              35, "OpenSSL SSL_connect: SSL_ERROR_SYSCALL in connection to localhost:" + port + " ")));
    expectNothingCameOfIt();
  }
  {
    SCOPED_TRACE("the peer speaks plain HTTP");
    offerAt(peer.server.url(kPath));
    peer.server.answerWithoutTls("HTTP/1.1 200 OK\r\n\r\n");
    EXPECT_THAT(update(), ElementsAreArray(failure(35, "OpenSSL/" OPENSSL_VERSION_STR
                                                       ": error:0A00010B:SSL routines::wrong version number")));
    expectNothingCameOfIt();
  }
}

// ---- The largest ones: zero bytes, which are no archive.

class LargePackageTest : public PackageTest {
 protected:
  // Has a package with this digest downloaded.
  std::vector<WideText> downloadLarge(Answer answer, const std::string& digest) {
    offer.pmd5 = digest;
    return download(std::move(answer));
  }

  const std::string kDigestAtLimit = "2f282b84e7e608d5852449ed940bfc51";
  const std::string kDigestBeyond = "25bf561e356f15310fd4a68c90cc0fcb";
  const std::vector<WideText> kTakenAsNoArchive = {L"Check unzip file fail. Invalid 7z signature, size: 104857600",
                                                   L"Unzip file return fail!",
                                                   L"Publish plugin fail, skip update callback, ver: 2.0.0.47"};
};

TEST_F(LargePackageTest, IsTakenAt100Mebibytes) {
  EXPECT_THAT(downloadLarge(Answer::oversize(104'857'600), kDigestAtLimit),
              ElementsAreArray(success(kTakenAsNoArchive)));
  expectNothingCameOfIt();
}

TEST_F(LargePackageTest, IsTakenAt100MebibytesWithoutALength) {
  EXPECT_THAT(downloadLarge(Answer::oversize(104'857'600).withoutLength(), kDigestAtLimit),
              ElementsAreArray(success(kTakenAsNoArchive)));
  expectNothingCameOfIt();
}

TEST_F(LargePackageTest, IsRefusedAtOnceForAGreaterLength) {
  EXPECT_THAT(downloadLarge(Answer::oversize(104'857'601), kDigestBeyond),
              ElementsAreArray(failure(63, "Maximum file size exceeded", 200)));
  expectNothingCameOfIt();
}

// libcurl 7.88.1 looks at the length that is declared, and at no other.
TEST_F(LargePackageTest, IsRefusedWhenItIsReadWithoutALength) {
  EXPECT_THAT(downloadLarge(Answer::oversize(104'857'601).withoutLength(), kDigestBeyond),
              ElementsAreArray(success({L"Read file fail! Invalid file size: 104857601, max: 104857600, error: 0, "
                                        L"path: " +
                                            packagePath,
                                        L"Read unzip file fail: " + packagePath, L"Unzip file return fail!",
                                        L"Publish plugin fail, skip update callback, ver: 2.0.0.47"})));
  expectNothingCameOfIt();
}

// ---- Servers that take their time.

class SlowPackageTest : public PackageTest {
 protected:
  // Begins a download from a server that answers so, and returns when it has been asked.
  void beginDownload(Answer answer) {
    offerAt(kUsual);
    server.expect("GET", kPath, std::move(answer));
    begin();
    EXPECT_TRUE(server.waitForRequests(2));
  }

  // Sets the clock, and checks that the download goes on.
  void expectItGoesOnAt(TransferClock::Duration time) {
    clock.set(time);
    clock.waitForLook();
    EXPECT_THAT(log.messages(), Not(Contains(WideStartsWith(std::wstring(L"Download fail!")))));
  }

  // Sets the clock, at which the download ends, and lets the session end.
  std::vector<WideText> endAt(TransferClock::Duration time) {
    clock.set(time);
    EXPECT_TRUE(log.waitForStart(L"Download fail!")) << "it goes on";
    clock.set(time + 1min);
    return end(L"Try download plugin ");
  }

  const std::string kBody = "the body of a package";
  TransferClock clock{module};
};

TEST_F(SlowPackageTest, IsTakenAtOneByteASecond) {
  offer.pmd5 = md5(kBody);
  clock.moveWithEachByte(1s);
  beginDownload(Answer::respond(200, kBody).drip(19));
  EXPECT_THAT(
      end(L"Try download plugin "),
      ElementsAreArray(success({L"Check unzip file fail. Invalid 7z signature, size: 21", L"Unzip file return fail!",
                                L"Publish plugin fail, skip update callback, ver: 2.0.0.47"})));
  EXPECT_EQ(clock.passed(), 21s);
  expectNothingCameOfIt();
}

TEST_F(SlowPackageTest, IsGivenUpWhenItIsSlowerThanOneByteASecond) {
  clock.moveWithEachByte(1001ms);
  beginDownload(Answer::respond(200, kBody).drip(19));
  const auto failureAfter = [this](std::size_t received) {
    return ElementsAreArray(
        failure(28, "Operation too slow. Less than 1 bytes/sec transferred the last 6 seconds", 200, received));
  };
  // A busy machine takes several bytes at once.
  EXPECT_THAT(end(L"Try download plugin "), AnyOf(failureAfter(6), failureAfter(7), failureAfter(8), failureAfter(9)));
  EXPECT_GE(clock.passed(), 6s);
  expectNothingCameOfIt();
}

TEST_F(SlowPackageTest, IsGivenUpAfter6SecondsOfSilence) {
  beginDownload(Answer::respond(200, kBody).stallAfter(0));
  // The silence counts from when the transfer has taken in what the server says at once.
  for (int i = 0; i < 3; ++i) clock.waitForLook();
  expectItGoesOnAt(5'999ms);
  EXPECT_THAT(
      endAt(6'000ms),
      ElementsAreArray(failure(28, "Operation too slow. Less than 1 bytes/sec transferred the last 6 seconds", 200)));
  expectNothingCameOfIt();
}

TEST_F(SlowPackageTest, IsGivenUpAfter300Seconds) {
  beginDownload(Answer::respond(200, std::string(4000, 'x')).stallAfter(2000));
  // They are the speed of these 300 seconds: more than 1 byte each.
  for (int i = 0; i < 1000 && readFile(packagePath).size() < 2000; ++i) Sleep(5);
  expectItGoesOnAt(299'999ms);
  EXPECT_THAT(
      endAt(300'000ms),
      ElementsAreArray(failure(28, "Operation timed out after 300000 milliseconds with 2000 out of 4000 bytes received",
                               200, 2000)));
  expectNothingCameOfIt();
}

// libcurl 7.88.1 follows as many redirects as there are; later ones stop at 30 by themselves.
TEST_F(SlowPackageTest, IsGivenUpAfter300SecondsOfRedirects) {
  server.serve("GET", "/loop.7z", Answer::redirect(302, "https://config.zuvia.example/loop.7z"));
  beginDownload(Answer::redirect(302, "https://config.zuvia.example/loop.7z"));
  EXPECT_TRUE(server.waitForRequests(33, 60'000));
  server.expect("GET", "/loop.7z", Answer::respond(302).stallBeforeHeaders());
  const std::size_t count = server.requests().size();
  EXPECT_TRUE(server.waitForRequests(count + 1));
  expectItGoesOnAt(0s);
  EXPECT_THAT(endAt(300'000ms), ElementsAreArray(failure(
                                    28, "Operation timed out after 300000 milliseconds with 0 bytes received", 302)));
  expectNothingCameOfIt();
}

}  // namespace
}  // namespace zuvia::test
