#include "common/config/CurlGlobalGuard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "ConfigService.h"
#include "CurlCalls.h"
#include "FetchTest.h"
#include "support/HandleCount.h"

namespace zuvia {
namespace {

using test::Answer;
using test::ConfigService;
using test::CurlMutexWatch;
using test::kAnswer;
using test::kCurlMutex;
using test::LogLine;
using test::MutexState;
using test::SecondProcess;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::wstring kNotAcquired = L"curl global mutex acquisition failed.";
const std::wstring kNotInitialised = L"curl global initialization failed.";

class CurlGlobalGuardTest : public test::FetchTest {
 protected:
  // The last line about the mutex or the initialisation, and no delivery.
  void expectFailure(const std::wstring& message) {
    EXPECT_THAT(client.deliveries(), IsEmpty());
    ASSERT_THAT(log.messages(), ElementsAre(message));
    const LogLine line = log.lines().front();
    EXPECT_EQ(line.level, 1);
    EXPECT_EQ(line.className, "BssConfig");
    EXPECT_EQ(line.sourceFile, "..\\common\\config\\BssConfig");
    EXPECT_EQ(line.functionName, "BssConfig::DoFetchJob");
    EXPECT_EQ(cacheContent(), "");
  }

  void expectSuccess() const { EXPECT_THAT(client.deliveries(), SizeIs(1)); }
};

TEST_F(CurlGlobalGuardTest, FailsWhenTheMutexCannotBeOpened) {
  const CurlMutexWatch watch({.opening = true, .lastError = 0x80000005});
  client.DoFetchJob();
  expectFailure(kNotAcquired);
  EXPECT_THAT(journal(), ElementsAre("mutex opened"));
}

TEST_F(CurlGlobalGuardTest, FailsAfter60SecondsAndClosesTheMutex) {
  SecondProcess second;
  ASSERT_EQ(second.lockMutex(kCurlMutex), MutexState::Free);
  const CurlMutexWatch watch({.waiting = WAIT_TIMEOUT});
  client.DoFetchJob();
  expectFailure(kNotAcquired);
  EXPECT_THAT(journal(), ElementsAre("mutex opened", "mutex waited for 60000", "mutex closed"));
}

TEST_F(CurlGlobalGuardTest, FailsWhenTheWaitFailsAndClosesTheMutex) {
  const CurlMutexWatch watch({.waiting = WAIT_FAILED, .lastError = 0x80000005});
  client.DoFetchJob();
  expectFailure(kNotAcquired);
  EXPECT_THAT(journal(), ElementsAre("mutex opened", "mutex waited for 60000", "mutex closed"));
}

TEST_F(CurlGlobalGuardTest, LeavesTheHoldersMutexToIt) {
  SecondProcess second;
  second.lockMutex(kCurlMutex);
  {
    const CurlMutexWatch watch({.waiting = WAIT_TIMEOUT});
    client.DoFetchJob();
  }
  EXPECT_EQ(curlMutex(), MutexState::Taken);
  second.releaseMutex(kCurlMutex);
  EXPECT_EQ(curlMutex(), MutexState::Missing);
}

TEST_F(CurlGlobalGuardTest, WaitsForTheHolder) {
  ConfigService service;
  SecondProcess second;
  second.lockMutex(kCurlMutex);
  service.expectPost(Answer::respond(200, kAnswer));
  std::jthread fetching([this] { client.DoFetchJob(); });
  Sleep(300);
  EXPECT_EQ(service.server.connections(), 0U);
  EXPECT_THAT(log.messages(), IsEmpty());
  second.releaseMutex(kCurlMutex);
  fetching.join();
  expectSuccess();
}

TEST_F(CurlGlobalGuardTest, TakesAnAbandonedMutexOver) {
  ConfigService service;
  const HANDLE kept = CreateMutexW(nullptr, FALSE, kCurlMutex);  // or it would end with its holder
  SecondProcess second;
  second.lockMutex(kCurlMutex);
  second.die();
  service.expectPost(Answer::respond(200, kAnswer));
  client.DoFetchJob();
  expectSuccess();
  EXPECT_EQ(curlMutex(), MutexState::Free);
  CloseHandle(kept);
}

TEST_F(CurlGlobalGuardTest, CountsAnAbandonedMutexAsAcquired) {
  const HANDLE kept = CreateMutexW(nullptr, FALSE, kCurlMutex);
  SecondProcess second;
  second.lockMutex(kCurlMutex);
  second.die();
  EXPECT_TRUE(CurlGlobalGuard::instance().acquireCurlGlobal());
  CloseHandle(kept);
}

TEST_F(CurlGlobalGuardTest, LeavesNothingOpenWhenItFails) {
  SecondProcess second;
  second.lockMutex(kCurlMutex);
  const CurlMutexWatch watch({.waiting = WAIT_TIMEOUT});
  client.DoFetchJob();
  const test::HandleCheck unchanged;
  for (int i = 0; i < 10; ++i) client.DoFetchJob();
}

TEST_F(CurlGlobalGuardTest, FailsWhenLibcurlCannotBeInitialised) {
  const CurlMutexWatch watch;
  test::curlFaults().globalInit = CURLE_FAILED_INIT;
  client.DoFetchJob();
  expectFailure(kNotInitialised);
  EXPECT_THAT(journal(), ElementsAre("mutex opened", "mutex waited for 60000", "curl_global_init 3", "mutex released",
                                     "mutex closed"));
  EXPECT_EQ(curlMutex(), MutexState::Missing);
}

TEST_F(CurlGlobalGuardTest, SaysSoBeforeItReleasesTheMutex) {
  test::curlFaults().globalInit = CURLE_FAILED_INIT;
  size_t linesAtRelease = 0;
  const test::ImportHook<decltype(ReleaseMutex)> releasing(self(), "ReleaseMutex", [&](auto* original, HANDLE mutex) {
    linesAtRelease = log.lines().size();
    return original(mutex);
  });
  client.DoFetchJob();
  EXPECT_EQ(linesAtRelease, 1U);
}

TEST_F(CurlGlobalGuardTest, RemembersThatTheInitialisationFailed) {
  test::curlFaults().globalInit = CURLE_OUT_OF_MEMORY;
  client.DoFetchJob();
  test::curlFaults().globalInit = CURLE_OK;
  test::Journal::instance().clear();
  log.clear();
  client.DoFetchJob();
  expectFailure(kNotInitialised);
  EXPECT_THAT(journal(), IsEmpty());
}

TEST_F(CurlGlobalGuardTest, InitialisesNothingBeforeItHasTheMutex) {
  {
    const CurlMutexWatch watch({.waiting = WAIT_TIMEOUT});
    client.DoFetchJob();
  }
  test::Journal::instance().clear();
  EXPECT_TRUE(CurlGlobalGuard::instance().acquireCurlGlobal());
  EXPECT_THAT(journal(), ElementsAre("curl_global_init 3"));
  EXPECT_EQ(CurlGlobalGuard::instance().initialisation(), CURLE_OK);
}

TEST_F(CurlGlobalGuardTest, IsInitialisedOncePerInstance) {
  CurlGlobalGuard one;
  EXPECT_TRUE(one.acquireCurlGlobal());
  EXPECT_TRUE(one.acquireCurlGlobal());
  CurlGlobalGuard other;
  EXPECT_TRUE(other.acquireCurlGlobal());
  EXPECT_THAT(journal(), ElementsAre("curl_global_init 3", "curl_global_init 3"));
}

TEST_F(CurlGlobalGuardTest, EndsQuietlyWhenThereIsNoHandle) {
  const CurlMutexWatch watch;
  test::curlFaults().easyInit = true;
  client.DoFetchJob();
  EXPECT_THAT(log.messages(), IsEmpty());
  EXPECT_THAT(client.deliveries(), IsEmpty());
  EXPECT_THAT(journal(), ElementsAre("mutex opened", "mutex waited for 60000", "curl_global_init 3", "curl_easy_init",
                                     "mutex released", "mutex closed"));
}

}  // namespace
}  // namespace zuvia
