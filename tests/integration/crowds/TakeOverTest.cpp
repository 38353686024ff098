// A host that dies holding a lock, and those that want it.

#include <windows.h>

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "integration/crowds/CrowdTest.h"
#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

struct CloseHandleOf {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using MutexHandle = std::unique_ptr<void, CloseHandleOf>;

// A host is stopped where it holds a lock: by its server, or at a message.
struct Holding {
  const char* name;
  const wchar_t* lock;
  std::size_t requests;    // it waits for the answer to the last of so many; 0: it stops at a message
  const wchar_t* message;  // it stops there
  std::size_t temporary;   // what it leaves when it dies
  std::size_t packages;
};

void PrintTo(const Holding& holding, std::ostream* stream) {
  *stream << holding.name;
}

constexpr const wchar_t* kTransferLock = L"Local\\ZuviaPluginCurlGlobal";

const Holding kHoldings[] = {
    {"InARequest", kTransferLock, 1, nullptr, 0, 0},
    {"InADownload", kTransferLock, 2, nullptr, 0, 1},
    {"Publishing", L"Local\\ZuviaPluginUpdate-2.0.0.47", 0, L"Try published download plugin : false", 1, 1},
    {"CleaningUp", L"Local\\ZuviaPluginCleanup", 0, L"Try delete unused plugin: ", 0, 0},
};

class TakeOverTest : public CrowdTest, public testing::WithParamInterface<Holding> {
 protected:
  // The first host, and nobody else, is at work until it holds the lock.
  void stopTheFirst() {
    const auto& [name, lock, requests, message, temporary, packages] = GetParam();
    if (requests == 2) service.server.expect("POST", "/configs/pc/post", Answer::respond(200, service.offer.answer()));
    if (requests == 1) service.server.expect("POST", "/configs/pc/post", Answer::respond(200).stallBeforeHeaders());
    if (requests == 2) {
      service.server.expect("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, service.offer.package).stallAfter(1000));
    }
    if (message != nullptr) crowd[0].stopAt(message);
    crowd.inform(0);
    ASSERT_TRUE(message == nullptr ? service.server.waitForRequests(requests) : crowd[0].waitForMessage(message));
  }
};

TEST_P(TakeOverTest, GoesOnWithTheUpdate) {
  add(4);
  crowd.load();
  // It stays abandoned, also when nobody waits for it yet.
  MutexHandle kept(CreateMutexW(nullptr, FALSE, GetParam().lock));
  ASSERT_NO_FATAL_FAILURE(stopTheFirst());
  EXPECT_EQ(SecondProcess().tryMutex(GetParam().lock), MutexState::Taken);
  crowd.informAll();
  Sleep(500);
  crowd[0].terminate();
  ASSERT_EQ(crowd.settle(), "");
  std::map<Ending, std::size_t> endings = crowd.endings();
  EXPECT_EQ(endings[Ending::Published], 1u);
  EXPECT_EQ(endings[Ending::Published] + endings[Ending::FoundPublished] + endings[Ending::Installed], 3u);
  EXPECT_FALSE(directoryExists(directory(L"2.0.0.44")));
  EXPECT_EQ(SecondProcess().tryMutex(GetParam().lock), MutexState::Free) << "taken over, and let go of";
  kept.reset();
  expectAfterwards({L"2.0.0.45", L"2.0.0.47"}, GetParam().temporary, GetParam().packages);
}

INSTANTIATE_TEST_SUITE_P(FromOneThatDies, TakeOverTest, testing::ValuesIn(kHoldings),
                         [](const auto& holding) { return std::string(holding.param.name); });

}  // namespace
}  // namespace zuvia::test
