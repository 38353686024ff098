// The host unloads, or destroys, the plugin while its update is held at one of its stages.

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/order/OwnPlugin.h"
#include "integration/order/Signal.h"
#include "integration/order/Stage.h"
#include "support/Clock.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Long enough for an end that does not wait to be seen.
constexpr DWORD kHeldMilliseconds = 50;

class UpdateStageTest : public PluginTest {
 protected:
  UpdateStageTest() {
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
  }

  // Runs an update of the plugin in this module until it comes to the stage, and has the host call `end`, which logs
  // "onUnload" at its beginning, while it is held there. The implementation hears nothing of it until then.
  template <typename End>
  void endHeldAt(Stage stage, HMODULE held, IWxMonitor& host, const InstallTree& installed,
                 const std::string& information, End end) {
    const std::size_t unloads = unloadsOfImplementation(installed);
    const auto ended = std::make_shared<std::atomic<bool>>(false);
    const auto reached = std::make_shared<Signal>();
    const StageHook hook(held, host, stage, [&installed, this, unloads, reached, ended] {
      reached->set();
      EXPECT_TRUE(log.waitFor(L"onUnload"));
      Sleep(kHeldMilliseconds);
      EXPECT_FALSE(*ended) << "It did not wait for the update";
      EXPECT_EQ(unloadsOfImplementation(installed), unloads);
    });
    host.sendCommand("setHostInfo", information.c_str());
    ASSERT_TRUE(reached->wait()) << testing::PrintToString(log.messages());
    end();
    *ended = true;
  }

  // How often the loaded implementation was told to unload.
  static std::size_t unloadsOfImplementation(const InstallTree& installed) {
    using TestRecord = const char*();
    const HMODULE implementation = GetModuleHandleW((installed.root() + L"\\2.0.0.45\\zuimpl.dll").c_str());
    EXPECT_NE(implementation, nullptr);
    if (implementation == nullptr) return 0;
    const std::string record =
        reinterpret_cast<TestRecord*>(reinterpret_cast<void*>(GetProcAddress(implementation, "testRecord")))();
    std::size_t count = 0;
    for (std::size_t at = 0; (at = record.find("onUnload\n", at)) != std::string::npos; ++at) ++count;
    return count;
  }

  // The update has run to its end, and nothing of it is left but the new version.
  void expectUpdated(const InstallTree& installed) {
    const std::wstring version = installed.root() + L"\\2.0.0.47\\";
    EXPECT_EQ(readFile(version + L"zuimpl.dll"), readFile(moduleFile(L"2.0.0.47")));
    EXPECT_EQ(readFile(version + L"sub\\companion.txt"), "companion");
    EXPECT_EQ(installed.list().size(), 7u)
        << "plugin, two versions with a module, a directory and a file: nothing else";
    EXPECT_THAT(listTree(installed.appPath() + L"\\zuviaplugin\\cache\\update"), IsEmpty());
    EXPECT_EQ(log.messages().back(), L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47");
    for (const wchar_t* name :
         {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginUpdate-2.0.0.47", L"Local\\ZuviaPluginCleanup"}) {
      EXPECT_EQ(second.tryMutex(name), MutexState::Missing) << toUtf8(name);
    }
  }

  const Offer offer = makeOffer("2.0.0.47");
  SecondProcess second;
};

TEST_F(UpdateStageTest, AnUnloadWaitsAtEachAndLeavesNothing) {
  load();
  entry().onUnload();
  Clock clock(module);
  // Kept in the process, so that what its run-time library opens at each load does not count.
  const HMODULE kept = LoadLibraryW(modulePath(L"2.0.0.45").c_str());
  HandleCount before;
  for (const Stage stage : allStages()) {
    SCOPED_TRACE(nameOf(stage));
    clock.advance(std::chrono::seconds(31));  // or the cache file is not written again
    removeTree(tree.root() + L"\\2.0.0.47");
    log.clear();
    entry().onLoaded(nullptr);
    ASSERT_NO_FATAL_FAILURE(
        endHeldAt(stage, module, monitor(), tree, hostInformation(), [this] { entry().onUnload(); }));
    EXPECT_FALSE(loader().isLoaded());
    expectUpdated(tree);
    if (before.empty()) before = countHandles();
  }
  const std::size_t updates = allStages().size() - 1;
  for (const auto& [type, count] : countHandles()) EXPECT_LT(count, before[type] + updates) << type;
  FreeLibrary(kept);
  EXPECT_EQ(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
  entry().onLoaded(nullptr);
  EXPECT_NE(GetModuleHandleW(modulePath(L"2.0.0.47").c_str()), nullptr);
}

// A fetch that was asked for, and whose turn on the system's threads has not come, when the unload waits for it.
TEST_F(UpdateStageTest, AnUnloadOvertakesAFetchThatHasNotBegun) {
  PTP_WORK held = nullptr;
  const ImportHook<decltype(SubmitThreadpoolWork)> submitted(module, "SubmitThreadpoolWork",
                                                             [&](auto*, PTP_WORK work) { held = work; });
  const ImportHook<decltype(WaitForThreadpoolWorkCallbacks)> waited(module, "WaitForThreadpoolWorkCallbacks",
                                                                    [&](auto* original, PTP_WORK work, BOOL cancelled) {
                                                                      EXPECT_EQ(work, held);
                                                                      EXPECT_FALSE(cancelled);
                                                                      SubmitThreadpoolWork(work);
                                                                      original(work, cancelled);
                                                                    });
  load();
  send("setHostInfo", hostInformation());
  entry().onUnload();
  ASSERT_NE(held, nullptr);
  EXPECT_THAT(log.messages(), ElementsAre(L"setHostInfo uid: 4711, ver: 9.1.2, env: true",
                                          L"setHostInfo path: " + tree.appPath(), L"onUnload"));
  EXPECT_EQ(server.connections(), 0u);
}

TEST_F(UpdateStageTest, ADestructionWaitsAtEachAndLeavesNothing) {
  for (const Stage stage : allStages()) {
    SCOPED_TRACE(nameOf(stage));
    const OwnPlugin own(server.port());
    IPluginEntryPoint* const object = own.object();
    log.clear();
    object->onLoaded(nullptr);
    // The last line that expectUpdated looks for is logged for a listener.
    own.monitor().addListener([](const char*, const char*) {});
    ASSERT_NO_FATAL_FAILURE(endHeldAt(stage, own.module(), own.monitor(), own.tree(), own.hostInformation(),
                                      [&own] { own.destroyThrough(IID_IZUPlugin); }));
    expectUpdated(own.tree());
    EXPECT_FALSE(own.implementationIsLoaded());
    EXPECT_EQ(own.object(), object) << "a new object was made";
  }
}

// The states in which no update is held, and what the destruction logs.
TEST_F(UpdateStageTest, ADestructionBesidesAnUpdateUnloads) {
  struct State {
    const char* name;
    bool loaded;
    bool updating;
  };
  for (const State& state : {State{"Idle", false, false}, State{"Loaded", true, false}, State{"Updated", true, true}}) {
    SCOPED_TRACE(state.name);
    const OwnPlugin own(server.port());
    IPluginEntryPoint* const object = own.object();
    const auto heard = std::make_shared<int>(0);
    own.monitor().addListener([heard](const char*, const char*) { ++*heard; });
    if (state.loaded) object->onLoaded(nullptr);
    if (state.updating) {
      own.monitor().sendCommand("setHostInfo", own.hostInformation().c_str());
      EXPECT_TRUE(log.waitFor(L"onNotifyEvent cmd: pluginUpgradeEvent, data: 2.0.0.47"));
      EXPECT_TRUE(log.waitForStart(L"onFetch success key: "));
    }
    log.clear();
    const int before = *heard;
    own.destroyThrough(IID_IZUPlugin);
    EXPECT_THAT(log.messages(), ElementsAre(L"onUnload"));
    EXPECT_EQ(*heard, before);
    EXPECT_EQ(heard.use_count(), 1) << "the listener is still held";
    EXPECT_FALSE(own.implementationIsLoaded());
    EXPECT_EQ(own.object(), object) << "a new object was made";
  }
}

}  // namespace
}  // namespace zuvia::test
