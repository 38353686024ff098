#include "common/config/BssConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "ConfigTest.h"
#include "FakeClock.h"
#include "RecordingClient.h"
#include "config/ZuUpdateConfig.h"
#include "support/HandleCount.h"
#include "support/ImportHook.h"

namespace zuvia {
namespace {

using test::FailingImport;
using test::FakeClock;
using test::ImportHook;
using test::Journal;
using test::kEveryCall;
using test::RecordingClient;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int64_t kStart = 1'700'000'000 * FakeClock::kSecond;

// The system's thread pool as the client sees it. What is submitted runs only when the test says so; what the
// client is called back with and asks for is in the journal.
class HeldPool {
 public:
  int created() const { return created_; }
  int submitted() const { return submitted_; }
  void* context() const { return context_; }

  // Calls the client's own callback, as the pool would.
  void callBack(void* context) const { callback_(nullptr, context, nullptr); }

  // Submits while the client waits for its callbacks, after it has said that it stops.
  void runPendingOneWhileStopping() { pending_ = true; }

 private:
  static HMODULE self() { return GetModuleHandleW(nullptr); }

  PTP_WORK create(decltype(CreateThreadpoolWork)* original, PTP_WORK_CALLBACK callback, void* context,
                  PTP_CALLBACK_ENVIRON environment) {
    ++created_;
    callback_ = callback;
    context_ = context;
    Journal::instance().add(environment == nullptr ? "work made" : "work made in an environment");
    return original(callback, context, environment);
  }

  void wait(decltype(WaitForThreadpoolWorkCallbacks)* original, PTP_WORK work, BOOL cancel) {
    Journal::instance().add(cancel ? "callbacks cancelled" : "callbacks waited for");
    if (pending_) SubmitThreadpoolWork(work);
    original(work, cancel);
  }

  std::atomic<int> created_ = 0;
  std::atomic<int> submitted_ = 0;
  std::atomic<bool> pending_ = false;
  PTP_WORK_CALLBACK callback_ = nullptr;
  void* context_ = nullptr;

  ImportHook<decltype(CreateThreadpoolWork)> create_{
      self(), "CreateThreadpoolWork", [this](auto* original, auto... args) { return create(original, args...); }};
  ImportHook<decltype(SubmitThreadpoolWork)> submit_{self(), "SubmitThreadpoolWork",
                                                     [this](auto* original, PTP_WORK work) {
                                                       ++submitted_;
                                                       if (pending_) original(work);
                                                     }};
  ImportHook<decltype(WaitForThreadpoolWorkCallbacks)> wait_{
      self(), "WaitForThreadpoolWorkCallbacks", [this](auto* original, auto... args) { wait(original, args...); }};
  ImportHook<decltype(CloseThreadpoolWork)> close_{self(), "CloseThreadpoolWork", [](auto* original, PTP_WORK work) {
                                                     Journal::instance().add("work closed");
                                                     original(work);
                                                   }};
};

class BssConfigTest : public test::ConfigTest {
 protected:
  static std::vector<std::string> journal() { return Journal::instance().events(); }
};

TEST_F(BssConfigTest, MakesItsWorkItemWithItselfAsTheContext) {
  const HeldPool pool;
  const BssConfig client(1, "code", "key");
  EXPECT_EQ(pool.context(), &client);
  EXPECT_THAT(journal(), ElementsAre("work made"));
}

TEST_F(BssConfigTest, MakesItsWorkItemBeforeItsFile) {
  const HeldPool pool;
  bool workFirst = false;
  const ImportHook<decltype(CreateFileW)> hook(self(), "CreateFileW", [&](auto* original, auto... args) {
    workFirst = pool.created() == 1;
    return original(args...);
  });
  const RecordingClient client;
  EXPECT_TRUE(workFirst);
}

TEST_F(BssConfigTest, FetchesNothingByItself) {
  const HeldPool pool;
  { const RecordingClient client; }
  EXPECT_EQ(pool.submitted(), 0);
}

TEST_F(BssConfigTest, SubmitsOneFetchForRequestsWithin60Seconds) {
  const HeldPool pool;
  FakeClock clock(kStart);
  RecordingClient client;
  client.RequestFetch();
  clock.advance(60 * FakeClock::kSecond);
  client.RequestFetch();
  EXPECT_EQ(pool.submitted(), 1);
}

TEST_F(BssConfigTest, SubmitsTwoFetchesForRequests61SecondsApart) {
  const HeldPool pool;
  FakeClock clock(kStart);
  RecordingClient client;
  client.RequestFetch();
  clock.advance(61 * FakeClock::kSecond);
  client.RequestFetch();
  EXPECT_EQ(pool.submitted(), 2);
}

TEST_F(BssConfigTest, CountsWholeSeconds) {
  const HeldPool pool;
  FakeClock clock(kStart + FakeClock::kSecond - 1);
  RecordingClient client;
  client.RequestFetch();
  clock.set(kStart + 61 * FakeClock::kSecond - 1);  // 60 seconds later, of which 60 are whole
  client.RequestFetch();
  EXPECT_EQ(pool.submitted(), 1);
  clock.set(kStart + 61 * FakeClock::kSecond);  // the 61st second begins
  client.RequestFetch();
  EXPECT_EQ(pool.submitted(), 2);
}

TEST_F(BssConfigTest, CountsTheSecondsAs32Bits) {
  constexpr int64_t kAround = int64_t{1} << 32;
  const HeldPool pool;
  FakeClock clock((kAround + 60) * FakeClock::kSecond);
  RecordingClient client;
  client.RequestFetch();
  EXPECT_EQ(pool.submitted(), 0);
  clock.advance(FakeClock::kSecond);
  client.RequestFetch();
  EXPECT_EQ(pool.submitted(), 1);
}

TEST_F(BssConfigTest, CountsTheSecondsOfEachClientByItself) {
  const HeldPool pool;
  FakeClock clock(kStart);
  RecordingClient one;
  RecordingClient other;
  one.RequestFetch();
  other.RequestFetch();
  EXPECT_EQ(pool.submitted(), 2);
}

TEST_F(BssConfigTest, SubmitsOneFetchForThreadsThatAskAtOnce) {
  const HeldPool pool;
  RecordingClient client;
  std::vector<std::jthread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([&] { client.RequestFetch(); });
  threads.clear();
  EXPECT_EQ(pool.submitted(), 1);
}

TEST_F(BssConfigTest, IsHarmlessWithoutAWorkItem) {
  const HeldPool pool;
  const FailingImport<decltype(CreateThreadpoolWork)> failing(self(), "CreateThreadpoolWork", nullptr,
                                                              {.lastError = 0x80000005, .callCount = kEveryCall});
  {
    RecordingClient client;
    client.RequestFetch();
    EXPECT_TRUE(test::fileExists(cachePath()));
  }
  EXPECT_EQ(failing.failures(), 1U);
  EXPECT_EQ(pool.submitted(), 0);
  EXPECT_THAT(journal(), IsEmpty());
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(BssConfigTest, IgnoresACallbackWithoutAContext) {
  const HeldPool pool;
  const RecordingClient client;
  pool.callBack(nullptr);
  EXPECT_THAT(log.messages(), IsEmpty());
}

bool isCurlMutex(const wchar_t* name) {
  return name != nullptr && std::wstring_view(name) == L"Local\\ZuviaPluginCurlGlobal";
}

// The curl mutex cannot be had here, so that every fetch ends at once in a line of its own.
class FetchesThatEndAtOnce {
 public:
  size_t count() const { return failing_.failures(); }

 private:
  FailingImport<decltype(CreateMutexW)> failing_{GetModuleHandleW(nullptr),
                                                 "CreateMutexW",
                                                 nullptr,
                                                 {.callCount = kEveryCall},
                                                 [](auto*, BOOL, const wchar_t* name) { return isCurlMutex(name); }};
};

TEST_F(BssConfigTest, FetchesWhenItIsCalledBack) {
  const HeldPool pool;
  const RecordingClient client;
  const FetchesThatEndAtOnce fetches;
  pool.callBack(pool.context());
  EXPECT_EQ(fetches.count(), 1U);
  EXPECT_THAT(log.messages(), ElementsAre(L"curl global mutex acquisition failed."));
}

TEST_F(BssConfigTest, FetchesOnAnotherThread) {
  RecordingClient client;
  const FetchesThatEndAtOnce fetches;
  client.RequestFetch();
  ASSERT_TRUE(log.waitFor(L"curl global mutex acquisition failed."));
  EXPECT_NE(log.lines().front().threadId, GetCurrentThreadId());
}

TEST_F(BssConfigTest, DoesNotFetchWhatIsStillPendingWhenItStops) {
  HeldPool pool;
  const FetchesThatEndAtOnce fetches;
  {
    RecordingClient client;
    client.RequestFetch();
    EXPECT_EQ(pool.submitted(), 1);
    pool.runPendingOneWhileStopping();
  }
  EXPECT_EQ(pool.submitted(), 2);  // the pool had it, and its callback has ended
  EXPECT_EQ(fetches.count(), 0U);
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(BssConfigTest, WaitsForItsCallbacksWithoutCancellingAndClosesTheWorkItem) {
  const HeldPool pool;
  { const BssConfig client(1, "code", "key"); }
  EXPECT_THAT(journal(), ElementsAre("work made", "callbacks waited for", "work closed"));
}

TEST_F(BssConfigTest, StopsOnceWhenASubclassStopsFirst) {
  const HeldPool pool;
  { const ZuUpdateConfig client(1); }
  EXPECT_THAT(journal(), ElementsAre("work made", "callbacks waited for", "work closed"));
}

TEST_F(BssConfigTest, EndsAfterAFetchThatRuns) {
  std::atomic<bool> entered = false;
  std::atomic<bool> left = false;
  const ImportHook<decltype(CreateMutexW)> slow(
      self(), "CreateMutexW", [&](auto* original, auto* attributes, BOOL owned, const wchar_t* name) -> HANDLE {
        if (!isCurlMutex(name)) return original(attributes, owned, name);
        entered = true;
        Sleep(300);
        left = true;
        return nullptr;
      });
  {
    RecordingClient client;
    client.RequestFetch();
    while (!entered) Sleep(1);
    EXPECT_FALSE(left);
  }
  EXPECT_TRUE(left);
  EXPECT_THAT(log.messages(), ElementsAre(L"curl global mutex acquisition failed."));
}

TEST_F(BssConfigTest, LeavesNothingOpen) {
  { const RecordingClient first; }
  const test::HandleCheck unchanged;
  for (int i = 0; i < 20; ++i) {
    const RecordingClient client;
  }
}

}  // namespace
}  // namespace zuvia
