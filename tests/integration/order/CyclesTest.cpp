// Many loads and unloads in one process: what they leave behind, and whose it is.

// Before windows.h.
#include <winsock2.h>

#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/MemoryCount.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

// How many indexes for thread-local storage are left in this process, by taking them all for a moment.
int countFreeTlsIndexes() {
  std::vector<DWORD> taken;
  for (DWORD index = TlsAlloc(); index != TLS_OUT_OF_INDEXES; index = TlsAlloc()) taken.push_back(index);
  for (const DWORD index : taken) TlsFree(index);
  return static_cast<int>(taken.size());
}

class CyclesTest : public PluginTest {
 protected:
  void install(const std::wstring& name) { tree.addVersion(L"2.0.0.50", moduleFile(name)); }

  void cycle() {
    log.clear();
    entry().onLoaded("C:\\host");
    if (!hostInformationSent.empty() && loader().isLoaded()) send("setHostInfo", hostInformationSent);
    entry().onUnload();
  }

  // Lives so many cycles before it looks, and so many more. Only what grows with every tenth cycle at least counts: the
  // system may add a thread to its pool at any time, which then keeps what it opens.
  void expectNoGrowth(int settling, int cycles) {
    for (int i = 0; i < settling; ++i) cycle();
    const int indexes = countFreeTlsIndexes();
    HandleCount handles = countHandles();
    const MemoryCount memory = countMemory();
    for (int i = 0; i < cycles; ++i) cycle();
    const auto few = static_cast<std::size_t>(cycles) / 10;
    const MemoryCount after = countMemory();
    for (const auto& [type, count] : countHandles()) EXPECT_LE(count, handles[type] + few) << type;
    EXPECT_LE(after.heapBlocks, memory.heapBlocks + few);
    EXPECT_LE(after.heapBytes, memory.heapBytes + few * 1024);
    EXPECT_LE(indexes, countFreeTlsIndexes() + static_cast<int>(few));
  }

  std::string hostInformationSent;
};

#if defined(__MINGW32__)

// A process in which the run-time libraries of the compiler stay loaded, one copy for all modules.
class SharedRunTime {
 public:
  SharedRunTime() {
    const std::wstring directory = parentOf(programDirectory()) + L"\\modules\\runtime\\";
    for (const wchar_t* library : {L"libwinpthread-1.dll", L"libgcc_s_seh-1.dll", L"libstdc++-6.dll"}) {
      EXPECT_NE(LoadLibraryW((directory + library).c_str()), nullptr);
    }
  }
};

constexpr const wchar_t* kGood = L"shared-good";
constexpr const wchar_t* kThrowing = L"shared-throwing";

#else

struct SharedRunTime {};
constexpr const wchar_t* kGood = L"no-monitor";
constexpr const wchar_t* kThrowing = L"throws";

#endif

TEST_F(CyclesTest, LeaveNothingBehind) {
  const SharedRunTime runTime;
  install(kGood);
  monitor().addListener([](const char*, const char*) {});
  cycle();
  EXPECT_THAT(log.messages(), testing::Contains(L"onNotifyEvent cmd: pluginLoadedDoneEvent, data: 2.0.0.50"));
  expectNoGrowth(200, 1000);
}

TEST_F(CyclesTest, LeaveNothingBehindOfAModuleThatThrowsAtEachLoad) {
  const SharedRunTime runTime;
  install(kThrowing);
  cycle();
  EXPECT_THAT(log.messages(), testing::Contains(L"Plugin create returned null, path: " + modulePath(L"2.0.0.50") +
                                                L", version: 2.0.0.50"));
  expectNoGrowth(200, 1000);
}

TEST_F(CyclesTest, LeaveNothingBehindOfAnUpdaterAndItsFetch) {
  const SharedRunTime runTime;
  install(kGood);
  hostInformationSent = hostInformation();
  const ImportHook<decltype(connect)> refuse(module, "connect", [](auto...) {
    WSASetLastError(WSAECONNREFUSED);
    return SOCKET_ERROR;
  });
  expectNoGrowth(100, 300);
}

#if defined(__MINGW32__)

// What a module takes from the process at each load, and never gives back, when its run-time libraries are linked into
// it, in the libraries that this compiler comes with: docs/implementation-modules.md tells its author.
TEST_F(CyclesTest, TakeTlsIndexesForModulesWithRunTimeLibrariesOfTheirOwn) {
  struct Module {
    const wchar_t* name;
    int indexesPerLoad;
  };
  for (const Module& one : {Module{L"2.0.0.45", 1},      // locks a mutex
                            Module{L"throws", 1},        // and throws
                            Module{L"no-export", 0}}) {  // is not called at all
    SCOPED_TRACE(toUtf8(one.name));
    install(one.name);
    cycle();
    const int before = countFreeTlsIndexes();
    constexpr int kLoads = 20;
    for (int i = 0; i < kLoads; ++i) cycle();
    EXPECT_EQ(before - countFreeTlsIndexes(), kLoads * one.indexesPerLoad);
  }
}

#endif

}  // namespace
}  // namespace zuvia::test
