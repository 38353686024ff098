#include "platform/NamedMutex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>

#include "support/HandleCount.h"
#include "support/ImportHook.h"
#include "support/SecondProcess.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;

const std::wstring kName = L"Local\\zuvia-test-named-mutex";

HMODULE self() {
  return GetModuleHandleW(nullptr);
}

TEST(NamedMutex, IsHeldUntilTheScopeEnds) {
  SecondProcess other;
  {
    const MutexHold hold = acquireNamedMutex(kName, 0);
    EXPECT_TRUE(hold);
    EXPECT_EQ(other.tryMutex(kName), MutexState::Taken);
  }
  EXPECT_EQ(other.tryMutex(kName), MutexState::Missing);
}

TEST(NamedMutex, IsReleasedBeforeItIsClosed) {
  // Another handle of this process keeps the mutex alive; closing alone would leave it held.
  const MutexHandle kept(CreateMutexW(nullptr, FALSE, kName.c_str()));
  SecondProcess other;
  { EXPECT_TRUE(acquireNamedMutex(kName, 0)); }
  EXPECT_EQ(other.tryMutex(kName), MutexState::Free);
}

TEST(NamedMutex, IsReleasedOnDemandOnce) {
  SecondProcess other;
  MutexHold hold = acquireNamedMutex(kName, 0);
  hold.release();
  EXPECT_FALSE(hold);
  EXPECT_EQ(other.tryMutex(kName), MutexState::Missing);
  FailingImport<decltype(ReleaseMutex)> released(self(), "ReleaseMutex", FALSE, {});
  hold.release();
  EXPECT_EQ(released.calls(), 0u);
}

TEST(NamedMutex, StaysHeldWhenTheHoldMoves) {
  SecondProcess other;
  std::optional<MutexHold> first(acquireNamedMutex(kName, 0));
  const MutexHold second(std::move(*first));
  first.reset();
  EXPECT_TRUE(second);
  EXPECT_EQ(other.tryMutex(kName), MutexState::Taken);
}

TEST(NamedMutex, IsNotHadWhileAnotherProcessHoldsIt) {
  SecondProcess other;
  other.lockMutex(kName);
  EXPECT_FALSE(acquireNamedMutex(kName, 20));
  other.releaseMutex(kName);
  EXPECT_EQ(other.tryMutex(kName), MutexState::Missing);  // nothing was left open here
  EXPECT_TRUE(acquireNamedMutex(kName, 20));
}

TEST(NamedMutex, IsTakenOverWhenItsOwnerDied) {
  const MutexHandle kept(CreateMutexW(nullptr, FALSE, kName.c_str()));
  SecondProcess dying;
  dying.lockMutex(kName);
  dying.die();
  SecondProcess other;
  {
    const MutexHold hold = acquireNamedMutex(kName, 1000);
    EXPECT_TRUE(hold);
    EXPECT_EQ(other.tryMutex(kName), MutexState::Taken);
  }
  EXPECT_EQ(other.tryMutex(kName), MutexState::Free);
}

TEST(NamedMutex, IsAskedForByNameUnownedAndForThatTime) {
  RecordedImport<decltype(CreateMutexW), std::tuple<bool, BOOL, std::wstring>> made(
      self(), "CreateMutexW", [](SECURITY_ATTRIBUTES* attributes, BOOL owned, const wchar_t* name) {
        return std::tuple(attributes != nullptr, owned, std::wstring(name));
      });
  RecordedImport<decltype(WaitForSingleObject), DWORD> waited(self(), "WaitForSingleObject",
                                                              [](HANDLE, DWORD milliseconds) { return milliseconds; });
  EXPECT_TRUE(acquireNamedMutex(kName, 4321));
  EXPECT_THAT(made.records(), ElementsAre(std::tuple(false, FALSE, kName)));
  EXPECT_THAT(waited.records(), ElementsAre(4321u));
}

TEST(NamedMutex, IsNotHadWhenItCannotBeMade) {
  FailingImport<decltype(CreateMutexW)> failing(self(), "CreateMutexW", nullptr, {.lastError = 0x80000005});
  EXPECT_FALSE(acquireNamedMutex(kName, 0));
  EXPECT_EQ(GetLastError(), 0x80000005u);
  EXPECT_EQ(failing.failures(), 1u);
}

TEST(NamedMutex, IsClosedUnreleasedWhenTheWaitFails) {
  { acquireNamedMutex(kName, 0); }
  const HandleCheck check;
  FailingImport<decltype(WaitForSingleObject)> failing(self(), "WaitForSingleObject", WAIT_FAILED,
                                                       {.lastError = 0x80000006});
  FailingImport<decltype(ReleaseMutex)> released(self(), "ReleaseMutex", FALSE, {});
  EXPECT_FALSE(acquireNamedMutex(kName, 0));
  EXPECT_EQ(GetLastError(), 0x80000006u);
  EXPECT_EQ(failing.failures(), 1u);
  EXPECT_EQ(released.calls(), 0u);
}

}  // namespace
}  // namespace zuvia::test
