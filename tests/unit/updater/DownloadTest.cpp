#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <optional>

#include "support/HandleCount.h"
#include "support/SecondProcess.h"
#include "support/TestServer.h"
#include "support/Text.h"
#include "support/TrustedRoot.h"
#include "unit/updater/UpdaterFixture.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::wstring kCurlMutex = L"Local\\ZuviaPluginCurlGlobal";
constexpr DWORD kCurlWait = 60'000;
const std::string kBody = "the body of a package";

class DownloadTest : public UpdaterTest {
 protected:
  DownloadTest() { trusted.emplace(server.rootPem()); }

  void expectGet(Answer answer) { server.expect("GET", "/zuimpl.7z", std::move(answer)); }
  bool download() { return updater.download(path, url); }

  // The one line of a transfer that failed.
  std::wstring failure(int code, const std::wstring& message, int status, size_t received, bool written = true) const {
    return L"download: Download fail! path: " + path + L", curl code: " + std::to_wstring(code) + L", msg: " + message +
           L", http code: " + std::to_wstring(status) + L", received bytes: " + std::to_wstring(received) +
           L", write succeeded: " + (written ? L"true" : L"false") + L", url: " + toWide(url);
  }

  // The lock is free again, and so is the updater: another download gets past both.
  void expectNextIsAdmitted() {
    EXPECT_TRUE(isMutexFree(kCurlMutex));
    log.clear();
    EXPECT_FALSE(updater.download(tree.appPath(), url));
    EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! Open save file failed, path: " + tree.appPath() +
                                      L", errno: 13, msg: Permission denied"));
  }

  TestServer server;
  std::optional<TrustedRoot> trusted;
  ZuDllUpdater updater{1};
  const std::wstring path = packagePath();
  std::string url = server.url("/zuimpl.7z");
};

TEST_F(DownloadTest, WritesTheBodyOverWhatIsThere) {
  writeFile(path, kBody + kBody);
  expectGet(Answer::respond(200, kBody));
  EXPECT_TRUE(download());
  EXPECT_EQ(readFile(path), kBody);
  EXPECT_THAT(logged(), IsEmpty());
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, AsksWithItsOwnNameAndNoHeadersOfItsOwn) {
  expectGet(Answer::respond(200, kBody));
  EXPECT_TRUE(download());
  const Request request = server.requests().at(0);
  const std::string host = "localhost:" + std::to_string(server.port());
  EXPECT_TRUE(request.tls);
  EXPECT_THAT(request.headers, ElementsAre(testing::Pair("Host", host), testing::Pair("User-Agent", "ZuDllUpdater/1.0"),
                                           testing::Pair("Accept", "*/*")));
}

TEST_F(DownloadTest, WritesAnEmptyBody) {
  expectGet(Answer::respond(200));
  EXPECT_TRUE(download());
  EXPECT_EQ(readFile(path), "");
}

TEST_F(DownloadTest, TakesAChunkedBody) {
  expectGet(Answer::respond(200, kBody).chunked());
  EXPECT_TRUE(download());
  EXPECT_EQ(readFile(path), kBody);
}

TEST_F(DownloadTest, JudgesNoStatusBelow400) {
  expectGet(Answer::respond(204));
  EXPECT_TRUE(download());
  EXPECT_EQ(readFile(path), "");
}

TEST_F(DownloadTest, FailsOnAnErrorStatus) {
  expectGet(Answer::respond(404, "no such package"));
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(), ElementsAre(failure(22, L"The requested URL returned error: 404", 404, 0)));
  EXPECT_FALSE(fileExists(path));
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, FollowsARedirectToHttps) {
  expectGet(Answer::redirect(302, server.url("/moved.7z")));
  server.expect("GET", "/moved.7z", Answer::respond(200, kBody));
  EXPECT_TRUE(download());
  EXPECT_EQ(readFile(path), kBody);
}

TEST_F(DownloadTest, RefusesARedirectToHttp) {
  expectGet(Answer::redirect(302, "http://localhost:" + std::to_string(server.port()) + "/zuimpl.7z"));
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(), ElementsAre(failure(1, L"Protocol \"http\" not supported or disabled in libcurl", 302, 0)));
  EXPECT_FALSE(fileExists(path));
  EXPECT_EQ(server.connections(), 1u);
}

TEST_F(DownloadTest, RefusesHttp) {
  url = "http://localhost:" + std::to_string(server.port()) + "/zuimpl.7z";
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(), ElementsAre(failure(1, L"Protocol \"http\" not supported or disabled in libcurl", 0, 0)));
  EXPECT_EQ(server.connections(), 0u);
}

TEST_F(DownloadTest, RefusesADeclaredLengthBeyondTheLimit) {
  expectGet(Answer::oversize(104'857'601));
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(), ElementsAre(failure(63, L"Maximum file size exceeded", 200, 0)));
  EXPECT_FALSE(fileExists(path));
}

TEST_F(DownloadTest, FailsOnABodyThatEndsEarly) {
  expectGet(Answer::respond(200, kBody).closeAfter(5));
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(), ElementsAre(failure(18, L"transfer closed with 16 bytes remaining to read", 200, 5)));
  EXPECT_FALSE(fileExists(path));
}

TEST_F(DownloadTest, RefusesAnUntrustedAuthority) {
  trusted.reset();
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(),
              ElementsAre(failure(60, L"SSL certificate problem: unable to get local issuer certificate", 0, 0)));
  EXPECT_FALSE(fileExists(path));
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(DownloadTest, RefusesAnotherName) {
  url = "https://127.0.0.1:" + std::to_string(server.port()) + "/zuimpl.7z";
  EXPECT_FALSE(download());
  EXPECT_THAT(logged(),
              ElementsAre(failure(
                  60, L"SSL: no alternative certificate subject name matches target host name '127.0.0.1'", 0, 0)));
  EXPECT_THAT(server.requests(), IsEmpty());
}

TEST_F(DownloadTest, WritesNothingWhereItCannotOpen) {
  const std::wstring missing = joinPath(tree.appPath(), L"missing\\package.zip");
  EXPECT_FALSE(updater.download(missing, url));
  EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! Open save file failed, path: " + missing +
                                    L", errno: 2, msg: No such file or directory"));
  EXPECT_EQ(server.connections(), 0u);
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, DeletesNothingThatItCouldNotOpen) {
  writeFile(path, "in use");
  SecondProcess holder;
  holder.holdFile(path);
  const FailingImport<decltype(DeleteFileW)> deletions(self(), "DeleteFileW", TRUE, {.callCount = 0});
  EXPECT_FALSE(download());
  EXPECT_EQ(deletions.calls(), 0u);
  EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! Open save file failed, path: " + path +
                                    L", errno: 13, msg: Permission denied"));
  holder.releaseFiles();
  EXPECT_EQ(readFile(path), "in use");
}

class SinkFailureTest : public DownloadTest {
 protected:
  // Every write of this body fails.
  std::unique_ptr<FailingImport<decltype(_write)>> failWrites(const std::string& start) {
    return std::make_unique<FailingImport<decltype(_write)>>(
        self(), "_write", -1, Failure{.errnoValue = ENOSPC, .callCount = kEveryCall},
        [start](int, const void* data, unsigned size) {
          return std::string_view(static_cast<const char*>(data), size).starts_with(start);
        });
  }
};

TEST_F(SinkFailureTest, AbortsTheTransfer) {
  const std::string body = "MARKED" + std::string(15000, 'x');  // one call of the sink, beyond its buffer
  const auto failing = failWrites("MARKED");
  expectGet(Answer::respond(200, body));
  EXPECT_FALSE(download());
  EXPECT_GE(failing->failures(), 1u);
  const std::vector<WideText> lines = logged();
  ASSERT_THAT(lines, SizeIs(1));
  EXPECT_THAT(lines[0], WideStartsWith(L"download: Download fail! path: " + path + L", curl code: 23, msg: "));
  EXPECT_THAT(lines[0], WideHasSubstr(std::wstring(L", http code: 200, received bytes: ")));
  EXPECT_THAT(lines[0], WideEndsWith(L", write succeeded: false, url: " + toWide(url)));
  EXPECT_FALSE(fileExists(path));
}

TEST_F(SinkFailureTest, IsNoticedWhenTheFileIsClosed) {
  const auto failing = failWrites(kBody);
  expectGet(Answer::respond(200, kBody));
  EXPECT_FALSE(download());
  EXPECT_GE(failing->failures(), 1u);
  EXPECT_THAT(logged(), ElementsAre(failure(0, L"No error", 200, kBody.size(), false)));
  EXPECT_FALSE(fileExists(path));
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, RefusesASecondOneWhileOneRuns) {
  Gate gate;
  const ImportHook<decltype(WaitForSingleObject)> hook(
      self(), "WaitForSingleObject", [&gate](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
        if (milliseconds == kCurlWait) gate.pass();
        return original(handle, milliseconds);
      });
  expectGet(Answer::respond(200, kBody));
  std::future<bool> first = std::async(std::launch::async, [this] { return download(); });
  ASSERT_TRUE(gate.waitForCall());
  const std::wstring refused = L"download: Another download task is running.";
  EXPECT_FALSE(updater.download(path, url));
  EXPECT_FALSE(updater.download(path, url));  // the flag is still the first one's
  EXPECT_THAT(logged(), ElementsAre(refused, refused));
  gate.open();
  EXPECT_TRUE(first.get());
  EXPECT_EQ(readFile(path), kBody);
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, DoesNotStandInTheWayOfAnotherUpdater) {
  Gate gate;
  std::atomic<bool> first = true;
  const ImportHook<decltype(WaitForSingleObject)> hook(self(), "WaitForSingleObject",
                                                       [&](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
                                                         if (milliseconds == kCurlWait && first.exchange(false))
                                                           gate.pass();
                                                         return original(handle, milliseconds);
                                                       });
  server.serve("GET", "/zuimpl.7z", Answer::respond(200, kBody));
  std::future<bool> held = std::async(std::launch::async, [this] { return download(); });
  ASSERT_TRUE(gate.waitForCall());
  ZuDllUpdater other{2};
  EXPECT_TRUE(other.download(joinPath(tree.appPath(), L"other.zip"), url));
  gate.open();
  EXPECT_TRUE(held.get());
}

TEST_F(DownloadTest, HoldsTheSharedLockDuringTheTransferOnly) {
  std::vector<bool> freeInTransfer;
  std::vector<bool> freeAtDeletion;
  const ImportHook<decltype(_write)> writing(self(), "_write",
                                             [&](auto* original, int file, const void* data, unsigned size) {
                                               freeInTransfer.push_back(isMutexFree(kCurlMutex));
                                               return original(file, data, size);
                                             });
  const ImportHook<decltype(DeleteFileW)> deleting(self(), "DeleteFileW", [&](auto* original, const wchar_t* file) {
    freeAtDeletion.push_back(isMutexFree(kCurlMutex));
    return original(file);
  });
  expectGet(Answer::respond(200, kBody).closeAfter(5));
  EXPECT_FALSE(download());
  EXPECT_THAT(freeInTransfer, ElementsAre(false));
  EXPECT_THAT(freeAtDeletion, ElementsAre(true));
}

TEST_F(DownloadTest, FailsWithoutTheSharedLock) {
  const FailingImport<decltype(CreateMutexW)> failing(
      self(), "CreateMutexW", nullptr, {.lastError = 0x80000005},
      [](SECURITY_ATTRIBUTES* attributes, BOOL owned, const wchar_t* name) {
        return name != nullptr && name == kCurlMutex && attributes == nullptr && !owned;
      });
  EXPECT_FALSE(download());
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! Acquire curl mutex timeout or error: 2147483653"));
  EXPECT_FALSE(fileExists(path));
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, FailsWhenTheWaitForTheSharedLockFails) {
  expectNextIsAdmitted();
  log.clear();
  const HandleCheck check;
  const FailingImport<decltype(WaitForSingleObject)> failing(
      self(), "WaitForSingleObject", WAIT_FAILED, {.lastError = ERROR_INVALID_HANDLE},
      [](HANDLE, DWORD milliseconds) { return milliseconds == kCurlWait; });
  EXPECT_FALSE(download());
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! Acquire curl mutex timeout or error: 6"));
}

TEST_F(DownloadTest, GivesUpWhileAnotherProcessHoldsTheSharedLock) {
  SecondProcess holder;
  EXPECT_EQ(holder.lockMutex(kCurlMutex), MutexState::Free);
  DWORD waited = 0;
  {
    const ImportHook<decltype(WaitForSingleObject)> hook(
        self(), "WaitForSingleObject", [&waited](auto* original, HANDLE handle, DWORD milliseconds) -> DWORD {
          if (milliseconds != kCurlWait) return original(handle, milliseconds);
          waited = original(handle, 0);
          SetLastError(ERROR_SUCCESS);
          return waited;
        });
    EXPECT_FALSE(download());
  }
  EXPECT_EQ(waited, DWORD{WAIT_TIMEOUT});
  EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! Acquire curl mutex timeout or error: 0"));
  EXPECT_EQ(server.connections(), 0u);
  holder.releaseMutex(kCurlMutex);
  expectNextIsAdmitted();
}

TEST_F(DownloadTest, TakesAnAbandonedSharedLock) {
  HANDLE kept = CreateMutexW(nullptr, FALSE, kCurlMutex.c_str());
  SecondProcess holder;
  holder.lockMutex(kCurlMutex);
  holder.die();
  expectGet(Answer::respond(200, kBody));
  EXPECT_TRUE(download());
  EXPECT_TRUE(isMutexFree(kCurlMutex));
  CloseHandle(kept);
}

TEST_F(DownloadTest, NeverRepeatsAFailedInitialisation) {
  const RecordedImport<decltype(CreateMutexW), std::wstring> made(
      self(), "CreateMutexW",
      [](SECURITY_ATTRIBUTES*, BOOL, const wchar_t* name) { return std::wstring(name != nullptr ? name : L""); });
  const std::wstring message = L"download: Download fail! curl_global_init error: 2, msg: Failed initialization";
  {
    const FailingImport<decltype(WSAStartup)> failing(self(), "WSAStartup", WSASYSNOTREADY, {.callCount = kEveryCall});
    EXPECT_FALSE(download());
    EXPECT_GE(failing.failures(), 1u);
  }
  EXPECT_FALSE(download());
  ZuDllUpdater other{2};
  EXPECT_FALSE(other.download(path, url));
  EXPECT_THAT(logged(), ElementsAre(message, message, message));
  EXPECT_THAT(made.records(), testing::Not(testing::Contains(kCurlMutex)));  // it comes before the lock
  EXPECT_EQ(server.connections(), 0u);
}

TEST_F(DownloadTest, FailsWithoutATransferHandle) {
  expectNextIsAdmitted();
  log.clear();
  const HandleCheck check;
  const DWORD thread = GetCurrentThreadId();
  const FailingImport<void*(size_t, size_t)> failing(
      self(), "calloc", nullptr, {.errnoValue = ENOMEM},
      [thread](size_t count, size_t size) { return GetCurrentThreadId() == thread && count == 1 && size > 2000; });
  EXPECT_FALSE(download());
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_THAT(logged(), ElementsAre(L"download: Download fail! curl_easy_init returned null."));
  EXPECT_FALSE(fileExists(path));
  EXPECT_TRUE(isMutexFree(kCurlMutex));
}

TEST_F(DownloadTest, LeavesNothingOpen) {
  server.serve("GET", "/zuimpl.7z", Answer::respond(200, kBody));
  server.serve("GET", "/missing.7z", Answer::respond(404));
  download();
  const HandleCheck check;
  EXPECT_TRUE(download());
  EXPECT_FALSE(updater.download(path, server.url("/missing.7z")));
  EXPECT_FALSE(updater.download(tree.appPath(), url));
}

// Lets the clock of one thread's transfers jump, or run faster.
class TransferClock {
 public:
  TransferClock()
      : hook_(self(), "QueryPerformanceCounter", [this](auto* original, LARGE_INTEGER* counter) -> BOOL {
          const BOOL result = original(counter);
          if (GetCurrentThreadId() == thread_.load()) counter->QuadPart += ahead_.load();
          return result;
        }) {}

  void concernThisThread() { thread_ = GetCurrentThreadId(); }
  void jumpTo(int seconds) {
    LARGE_INTEGER frequency = {};
    QueryPerformanceFrequency(&frequency);
    ahead_ = frequency.QuadPart * seconds;
  }

 private:
  std::atomic<DWORD> thread_ = 0;
  std::atomic<LONGLONG> ahead_ = 0;
  ImportHook<decltype(QueryPerformanceCounter)> hook_;
};

TEST_F(DownloadTest, GivesUpAConnectionAfter30Seconds) {
  TransferClock clock;
  server.acceptInSilence();
  std::future<bool> result = std::async(std::launch::async, [&] {
    clock.concernThisThread();
    return download();
  });
  while (server.connections() == 0) Sleep(5);
  clock.jumpTo(28);
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(1100)), std::future_status::timeout);
  clock.jumpTo(31);
  EXPECT_FALSE(result.get());
  EXPECT_THAT(logged(),
              ElementsAre(WideStartsWith(L"download: Download fail! path: " + path + L", curl code: 28, msg: ")));
}

}  // namespace
}  // namespace zuvia::test
