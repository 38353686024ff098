// Every order in which a host can call its plugin, with an update that succeeds; and listeners that do something while
// they are told of it.

#include <atomic>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/order/Story.h"
#include "support/Files.h"
#include "support/SecondProcess.h"
#include "support/Text.h"

namespace zuvia::test {
namespace {

using enum Step;
using testing::ElementsAre;
using testing::IsEmpty;

const std::wstring kOld = L"2.0.0.45";
const std::wstring kNew = L"2.0.0.47";

class UpdateSequencesTest : public PluginTest {
 protected:
  UpdateSequencesTest() {
    server.serve("POST", "/configs/pc/post", Answer::respond(200, offer.answer()));
    server.serve("GET", "/zuimpl-2.0.0.47.7z", Answer::respond(200, offer.package));
    // The first load settles the text by which the plugin calls every later version.
    load();
    entry().onUnload();
    monitor().addListener([this](const char* name, const char*) {
      if (std::string(name) == "pluginUpgradeEvent") ++upgrades;
    });
  }

  // Only the old version is installed, and nothing has happened yet.
  void startAnew() {
    removeTree(directoryOf(kNew));
    if (!directoryExists(directoryOf(kOld))) addVersion(kOld);
    log.clear();
    upgrades = 0;
    known = {};
  }

  void take(Step step) {
    switch (step) {
      case Load:
        return takeLoad();
      case HostInformation:
        EXPECT_EQ(send("setHostInfo", hostInformation()), "0");
        known.fetching = known.fetching || (!known.loaded.empty() && !known.updating);
        known.updating = !known.loaded.empty();
        return;
      case Wait:
        return takeWait();
      case Unload:
        return takeUnload();
      case Raise:
        return;
    }
  }

  // The newest one that is installed, if none is loaded.
  void takeLoad() {
    if (known.loaded.empty()) known.loaded = directoryExists(directoryOf(kNew)) ? kNew : kOld;
    entry().onLoaded("C:\\host");
    EXPECT_NE(GetModuleHandleW(modulePath(known.loaded).c_str()), nullptr);
    EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  }

  // The old version is updated, once; the new one is not.
  void takeWait() {
    if (!known.fetching) return;
    known.fetching = false;
    if (known.loaded == kNew) {
      EXPECT_TRUE(log.waitFor(L"No needed to upgrade for version: 2.0.0.47, local ver is newest!"));
      return;
    }
    ++known.upgrades;
    for (int tried = 0; tried < 10000 && upgrades < known.upgrades; ++tried) Sleep(1);
    EXPECT_EQ(upgrades, known.upgrades);
    EXPECT_TRUE(fileExists(modulePath(kNew)));
  }

  // It waits for an update that has begun; one that has not never begins.
  void takeUnload() {
    const bool wasThere = directoryExists(directoryOf(kNew));
    entry().onUnload();
    if (directoryExists(directoryOf(kNew)) && !wasThere && known.fetching) ++known.upgrades;
    EXPECT_EQ(upgrades, known.upgrades);
    EXPECT_FALSE(loader().isLoaded());
    for (const std::wstring& version : {kOld, kNew}) {
      EXPECT_EQ(GetModuleHandleW(modulePath(version).c_str()), nullptr) << toUtf8(version);
    }
    known.loaded.clear();
    known.updating = known.fetching = false;
  }

  void expectNothingLeft() {
    EXPECT_THAT(log.messages(), testing::Not(testing::Contains(WideStartsWith(L"Publish plugin fail"))));
    for (const auto& [path, kind] : tree.list()) EXPECT_FALSE(path.starts_with(L".update-")) << toUtf8(path);
    if (directoryExists(cachePath(L"update"))) {
      EXPECT_THAT(listTree(cachePath(L"update")), IsEmpty());
    }
    for (const wchar_t* name :
         {L"Local\\ZuviaPluginCurlGlobal", L"Local\\ZuviaPluginUpdate-2.0.0.47", L"Local\\ZuviaPluginCleanup"}) {
      EXPECT_EQ(second.tryMutex(name), MutexState::Missing) << toUtf8(name);
    }
  }

  std::wstring directoryOf(const std::wstring& version) const { return tree.root() + L'\\' + version; }

  // What must be so after the steps so far.
  struct Known {
    std::wstring loaded;    // its version
    bool updating = false;  // there is an updater
    bool fetching = false;  // and its fetch has not been waited for
    int upgrades = 0;
  };

  const Offer offer = makeOffer("2.0.0.47");
  SecondProcess second;
  Known known;
  std::atomic<int> upgrades = 0;
};

TEST_F(UpdateSequencesTest, UpdateOnceAndStayUpdated) {
  for (const Sequence& order : allOrders({Load, HostInformation, Wait, Unload})) {
    for (const Sequence& sequence : {doubled(order), repeated(order)}) {
      SCOPED_TRACE(nameOf(sequence));
      startAnew();
      for (const Step step : sequence) take(step);
      take(Unload);
      expectNothingLeft();
      if (HasFailure()) return;
    }
  }
}

// ---- Listeners of an upgrade, which are told on the update's thread

class UpgradeListenerTest : public UpdateSequencesTest {
 protected:
  // Updates with these listeners, the first and the last of which write down what they hear; unloads, and loads the new
  // version. Returns what was heard of the upgrade.
  std::vector<std::string> update(const Listener& listener) {
    std::vector<std::string> heard;
    std::vector<uint64_t> ids;
    const auto hearer = [&](const std::string& who) {
      return [&heard, who](const char* name, const char* data) { heard.push_back(who + name + '=' + data); };
    };
    startAnew();
    entry().onLoaded(nullptr);
    for (const Listener& one : {Listener(hearer("first ")), listener, Listener(hearer("last "))}) {
      ids.push_back(monitor().addListener(one));
    }
    log.clear();
    send("setHostInfo", hostInformation());
    EXPECT_TRUE(log.waitFor(L"onUpdateSuccess newVer: 2.0.0.47"));
    entry().onUnload();
    for (const uint64_t id : ids) monitor().removeListener(id);
    expectNothingLeft();
    entry().onLoaded(nullptr);
    EXPECT_NE(GetModuleHandleW(modulePath(kNew).c_str()), nullptr);
    entry().onUnload();
    return heard;
  }
};

TEST_F(UpgradeListenerTest, MayDoWhatItLikes) {
  const std::string upgrade = "pluginUpgradeEvent=2.0.0.47";
  uint64_t added = 0;
  EXPECT_THAT(update([&](const char* name, const char*) {
                if (std::string(name) != "pluginUpgradeEvent") return;
                added = monitor().addListener([](const char* later, const char*) {
                  EXPECT_STRNE(later, "pluginUpgradeEvent") << "told of the past";
                });
              }),
              ElementsAre("first " + upgrade, "last " + upgrade));
  EXPECT_TRUE(monitor().removeListener(added));

  EXPECT_THAT(update([&](const char* name, const char*) {
                // The host's thread only waits meanwhile.
                if (std::string(name) == "pluginUpgradeEvent") {
                  EXPECT_STREQ(monitor().sendCommand("emit", "inner 2"), "raised");
                }
              }),
              ElementsAre("first " + upgrade, "first inner=2", "last inner=2", "last " + upgrade));
}

// The task ends with what was thrown, and nobody asks it; what it held was given back before.
TEST_F(UpgradeListenerTest, MayThrow) {
  EXPECT_THAT(update([](const char* name, const char*) {
                if (std::string(name) == "pluginUpgradeEvent") throw std::runtime_error("enough");
              }),
              ElementsAre("first pluginUpgradeEvent=2.0.0.47"));
  EXPECT_THAT(update([](const char* name, const char*) {
                if (std::string(name) == "pluginUpgradeEvent") throw 42;
              }),
              ElementsAre("first pluginUpgradeEvent=2.0.0.47"));
  EXPECT_EQ(upgrades, 1) << "the listener before them is told all the same";
}

TEST_F(UpgradeListenerTest, MayBeEmpty) {
  EXPECT_THAT(update(Listener()), ElementsAre("first pluginUpgradeEvent=2.0.0.47"));
}

}  // namespace
}  // namespace zuvia::test
