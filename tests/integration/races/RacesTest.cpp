// The plugin among sixteen threads, while its host's own thread goes on, and an update with it.

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/order/Stage.h"
#include "integration/races/Crowd.h"
#include "support/Clock.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/Invariants.h"
#include "support/MemoryCount.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::IsEmpty;

constexpr std::size_t kThreads = 16;
constexpr std::size_t kSteps = 10000;

class RacesTest : public PluginTest {
 protected:
  // The loaded implementation raises it on the calling thread.
  using RaiseEvent = void(const char*, const char*);
  RaiseEvent* raiseEvent() const {
    const HMODULE implementation = GetModuleHandleW(modulePath(L"2.0.0.45").c_str());
    EXPECT_NE(implementation, nullptr);
    return reinterpret_cast<RaiseEvent*>(reinterpret_cast<void*>(GetProcAddress(implementation, "testRaise")));
  }

  // What the log says about the events of a crowd.
  std::map<WideText, std::size_t> crowdsLogLines() const {
    std::map<WideText, std::size_t> lines;
    for (const WideText& message : log.messages()) {
      if (message.starts_with(L"onNotifyEvent cmd: event ")) ++lines[message];
    }
    return lines;
  }
};

// ---- An update in the middle of a crowd

class UpdateRacesTest : public RacesTest {
 protected:
  UpdateRacesTest() {
    addVersion(L"2.0.0.45");
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    // For about a second.
    const auto bytesPerSecond = static_cast<unsigned>(offer.package.size());
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package).drip(bytesPerSecond));
  }

  // Loads; has a crowd take its steps while the plugin updates itself, and go on while the update is published and
  // announced; unloads.
  void updateInACrowd(std::size_t steps) {
    clock.advance(std::chrono::seconds(31));  // or the cache file is not written again
    removeTree(tree.root() + L"\\2.0.0.47");
    entry().onLoaded(nullptr);
    Crowd crowd(monitor(), raiseEvent(), kThreads, steps, 1);
    update(crowd);
    crowd.leave();
    send("forget", "");
    entry().onUnload();
    EXPECT_THAT(crowd.faults(), IsEmpty());
    EXPECT_TRUE(crowdsLogLines() == crowd.logLines());
    EXPECT_GE(crowd.steps(), steps);
    EXPECT_EQ(readFile(modulePath(L"2.0.0.47")), offer.module);
    log.clear();
  }

  void update(const Crowd& crowd) {
    const StageHook publishing(module, monitor(), Stage::Publish, [&] { EXPECT_TRUE(crowd.waitForSteps()); });
    EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
    int commands = 0;
    while (!crowd.waitForUpgrade(1) && commands < 60000) command(++commands);
    EXPECT_LT(commands, 60000) << "The update did not end";
  }

  // What the host's one thread may do meanwhile.
  void command(int number) {
    const std::string text = "command " + std::to_string(number);
    if (number < 200) {
      EXPECT_EQ(send("echo", text), text);
    }
    EXPECT_EQ(send("isLoaded", ""), "1");
    EXPECT_EQ(send("getVersion", ""), "2.0.0.45");
    EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
    EXPECT_EQ(send("", text), "0");
  }

  struct Offered : Offer {
    Offered() : Offer(makeOffer("2.0.0.47")), module(readFile(moduleFile(L"2.0.0.47"))) {}
    std::string module;
  };
  const Offered offer;
  Clock clock{module};
};

// Less than one for each thread, update or event: the test's server keeps what it was asked.
void expectAsBefore(const HandleCount& handles, const MemoryCount& memory) {
  const MemoryCount after = countMemory();
  EXPECT_LT(after.heapBlocks, memory.heapBlocks + kThreads);
  EXPECT_LT(after.heapBytes, memory.heapBytes + 4096);
  for (const auto& [type, count] : countHandles()) {
    const auto before = handles.find(type);
    EXPECT_LT(count, (before == handles.end() ? 0 : before->second) + kThreads) << type;
  }
}

TEST_F(UpdateRacesTest, ListenersGetWhatTheyArePromisedAndNothingIsLeft) {
  // Kept in the process, so that what its run-time library opens at each load does not count.
  const HMODULE kept = LoadLibraryW(modulePath(L"2.0.0.45").c_str());
  updateInACrowd(kSteps / 10);  // opens what is opened once
  const Invariants invariants(tree);
  const HandleCount handles = countHandles();
  const MemoryCount memory = countMemory();
  updateInACrowd(kSteps);
  expectAsBefore(handles, memory);
  FreeLibrary(kept);
  EXPECT_THAT(invariants.violations(), IsEmpty());
}

// ---- Loads and unloads in the middle of a crowd

TEST_F(RacesTest, LoadsAndUnloadsAreHeardInOrderWhileListenersChange) {
  addVersion(L"2.0.0.45");
  const Invariants invariants(tree);
  Crowd crowd(monitor(), {}, kThreads, kSteps, 1);
  std::vector<std::string> heard;  // on this thread only
  const DWORD host = GetCurrentThreadId();
  std::atomic<int> late = 0;
  const uint64_t listener = monitor().addListener([&](const char* name, const char* data) {
    if (GetCurrentThreadId() == host) {
      heard.push_back(std::string(name) + '=' + data);
    } else if (std::string(name) + '=' + data == "late=event") {
      ++late;
    }
  });
  std::vector<std::string> expected;
  constexpr int kCycles = 100;
  for (int i = 0; i < kCycles; ++i) {
    entry().onLoaded(nullptr);
    EXPECT_EQ(send("emit-async", "late event"), "started");  // the unload overtakes it, or it does the unload
    entry().onUnload();
    expected.insert(expected.end(), {"pluginLoadedEvent=", "pluginLoadedDoneEvent=2.0.0.45"});
  }
  EXPECT_TRUE(crowd.waitForSteps());
  crowd.leave();
  EXPECT_TRUE(monitor().removeListener(listener));
  EXPECT_EQ(heard, expected);
  EXPECT_LE(late, kCycles);
  EXPECT_THAT(crowd.faults(), IsEmpty());
  EXPECT_THAT(invariants.violations(), IsEmpty());
}

}  // namespace
}  // namespace zuvia::test
