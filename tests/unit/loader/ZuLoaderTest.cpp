#include "loader/ZuLoader.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "BridgeTest.h"
#include "support/HandleCount.h"

namespace zuvia::test {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::StartsWith;

void* word(std::uintptr_t value) {
  return reinterpret_cast<void*>(value);
}

class ZuLoaderTest : public BridgeTest {
 protected:
  // What the identifier finds through the root part.
  void* query(const char* iid) { return plugin->queryInterface(iid); }
};

// ---- Interface queries

TEST_F(ZuLoaderTest, HasTheAddressOfItsEntryPoint) {
  EXPECT_EQ(static_cast<void*>(plugin.get()), static_cast<void*>(&entry()));
}

TEST_F(ZuLoaderTest, AnswersEachIdentifierWithItsPart) {
  EXPECT_EQ(query("IID_IPluginEntryPoint"), static_cast<IPluginEntryPoint*>(plugin.get()));
  EXPECT_EQ(query("IID_IPluginLoader"), static_cast<IPluginLoader*>(plugin.get()));
  EXPECT_EQ(query("IID_IWxMonitor"), static_cast<IWxMonitor*>(plugin.get()));
  EXPECT_EQ(query("IID_IZUPlugin"), static_cast<IZUPlugin*>(plugin.get()));
}

TEST_F(ZuLoaderTest, AnswersTheSameThroughEveryInterface) {
  for (const char* iid : {IID_IPluginEntryPoint, IID_IPluginLoader, IID_IWxMonitor, IID_IZUPlugin}) {
    const auto found = query(iid);
    EXPECT_EQ(entry().queryInterface(iid), found) << iid;
    EXPECT_EQ(loader().queryInterface(iid), found) << iid;
    EXPECT_EQ(monitor().queryInterface(iid), found) << iid;
    EXPECT_EQ(static_cast<IZUPlugin*>(query(IID_IZUPlugin))->queryInterface(iid), found) << iid;
  }
}

TEST_F(ZuLoaderTest, SharesOneRootPart) {
  EXPECT_EQ(static_cast<IZUPlugin*>(&loader()), static_cast<IZUPlugin*>(&entry()));
  EXPECT_EQ(static_cast<IZUPlugin*>(&monitor()), static_cast<IZUPlugin*>(&entry()));
}

TEST_F(ZuLoaderTest, ComparesTheTextOfAnIdentifierAndNotItsAddress) {
  const std::string copy = "IID_IWxMonitor";
  ASSERT_NE(copy.c_str(), IID_IWxMonitor);
  EXPECT_EQ(query(copy.c_str()), query(IID_IWxMonitor));
}

TEST_F(ZuLoaderTest, KnowsNoOtherIdentifier) {
  for (const char* iid : {"", "iid_IPluginEntryPoint", "IID_IPLUGINLOADER", "IID_IWxMonitor ", " IID_IWxMonitor",
                          "IID_IZUPlugi", "IID_IZUPluginX", "IID_", "IID_IUnknown"}) {
    EXPECT_EQ(query(iid), nullptr) << '"' << iid << '"';
  }
}

TEST_F(ZuLoaderTest, AnswersQueriesWithoutATrace) {
  const std::string before = loader().getVersion();
  query(IID_IWxMonitor);
  query("unknown");
  EXPECT_THAT(log.messages(), IsEmpty());
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_EQ(loader().getVersion(), before);
}

// ---- Creation

// Fills what the allocator gives out with a pattern.
struct DirtyMemory {
  ImportHook<void*(size_t)> allocation{GetModuleHandleW(nullptr), "malloc", [](auto* original, size_t size) {
                                         void* const memory = original(size);
                                         return memory == nullptr ? memory : std::memset(memory, 0xCD, size);
                                       }};
};

TEST_F(ZuLoaderTest, IsCreatedWithoutATrace) {
  const TreeListing before = tree.listAll();
  const HandleCheck handles;
  const ZuLoader another;
  EXPECT_THAT(log.messages(), IsEmpty());
  EXPECT_EQ(tree.listAll(), before);
}

TEST_F(ZuLoaderTest, BeginsInMemoryOfZeros) {
  const DirtyMemory dirty;
  constexpr size_t kSize = 4096;
  auto* const memory = static_cast<unsigned char*>(ZuLoader::operator new(kSize));
  EXPECT_THAT(std::vector<unsigned char>(memory, memory + kSize), Each(0));
  ZuLoader::operator delete(memory);
}

TEST_F(ZuLoaderTest, IsReadyWhateverItsMemoryHeldBefore) {
  const DirtyMemory dirty;
  ZuLoader another;
  EXPECT_FALSE(another.isLoaded());
  EXPECT_STREQ(another.getVersion(), "");
  EXPECT_FALSE(another.monitorRelay1(nullptr, nullptr, nullptr));
  another.onUnload();
}

// ---- Before anything is loaded

TEST_F(ZuLoaderTest, HasNothingLoadedAtFirst) {
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_STREQ(loader().getVersion(), "");
  EXPECT_FALSE(monitor().monitorRelay1(word(1), word(2), word(3)));
  monitor().monitorRelay2(word(1), word(2), word(3));
  EXPECT_THAT(log.messages(), IsEmpty());
}

// ---- With an implementation

TEST_F(ZuLoaderTest, TellsWhatIsLoaded) {
  load();
  EXPECT_TRUE(loader().isLoaded());
  EXPECT_STREQ(loader().getVersion(), "2.0.0.45");
  entry().onUnload();
  EXPECT_FALSE(loader().isLoaded());
  EXPECT_STREQ(loader().getVersion(), "");
}

TEST_F(ZuLoaderTest, PassesRelaysOnUnchanged) {
  load();
  EXPECT_TRUE(monitor().monitorRelay1(word(1), word(0x7FFFFFFFFFFFFFFF), word(~std::uintptr_t{0})));
  monitor().monitorRelay2(nullptr, word(5), word(0x8000000000000000));
  EXPECT_EQ(takeRecord(),
            "monitorRelay1 1 9223372036854775807 18446744073709551615\n"
            "monitorRelay2 0 5 9223372036854775808\n");
  EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(ZuLoaderTest, RelaysNothingAfterUnloading) {
  load();
  entry().onUnload();
  EXPECT_FALSE(monitor().monitorRelay1(word(1), word(2), word(3)));
  monitor().monitorRelay2(word(1), word(2), word(3));
}

TEST_F(ZuLoaderTest, DoesNothingForNoOperation) {
  loader().noOperation();
  load();
  loader().noOperation();
  EXPECT_EQ(takeRecord(), "");
  EXPECT_TRUE(loader().isLoaded());
  EXPECT_THAT(log.messages(), IsEmpty());
  entry().onUnload();
  log.clear();
  loader().noOperation();
  EXPECT_THAT(log.messages(), IsEmpty());
}

// ---- Destruction

// Notes its own destruction, once for all its copies.
struct Witness {
  std::vector<std::string>& journal;
  ~Witness() { journal.emplace_back("listener destroyed"); }
};

TEST_F(ZuLoaderTest, UnloadsBeforeItDestroysItsMembers) {
  load();
  monitor().sendCommand("setHostInfo", "{}");
  std::vector<std::string> journal;
  monitor().addListener([witness = std::make_shared<Witness>(journal)](const char*, const char*) {});
  log.clear();
  takeRecord();
  const ImportHook<decltype(CloseThreadpoolWork)> closeWork(
      GetModuleHandleW(nullptr), "CloseThreadpoolWork", [&](auto* original, PTP_WORK work) {
        EXPECT_THAT(log.messages(), testing::ElementsAre(L"onUnload"));
        journal.emplace_back("updater ended");
        original(work);
      });
  const ImportHook<decltype(FreeLibrary)> freeLibrary(
      GetModuleHandleW(nullptr), "FreeLibrary", [&](auto* original, HMODULE module) {
        using TestRecord = const char*();
        const auto record =
            reinterpret_cast<TestRecord*>(reinterpret_cast<void*>(GetProcAddress(module, "testRecord")));
        if (record != nullptr) journal.emplace_back(std::string("module freed after ") + record());
        return original(module);
      });

  delete static_cast<IZUPlugin*>(plugin.release());
  EXPECT_THAT(journal, testing::ElementsAre("updater ended", "module freed after removeListener 7\nonUnload\n",
                                            "listener destroyed"));
}

TEST_F(ZuLoaderTest, IsDeletedThroughAnyInterface) {
  load();
  const HMODULE module = GetModuleHandleW(modulePath(L"2.0.0.45").c_str());
  ASSERT_NE(module, nullptr);
  delete static_cast<IWxMonitor*>(plugin.release());
  EXPECT_EQ(GetModuleHandleW(modulePath(L"2.0.0.45").c_str()), nullptr);
  EXPECT_THAT(log.messages(), testing::ElementsAre(L"onUnload"));
}

TEST_F(ZuLoaderTest, LeavesNothingOpen) {
  addVersion(L"2.0.0.45");
  const auto live = [] {
    ZuLoader another;
    another.onLoaded(nullptr);
    another.sendCommand("setHostInfo", "{}");
  };
  const KeptModule kept(modulePath(L"2.0.0.45"));
  live();
  const HandleCheck handles;
  live();
}

// ---- One object, many threads

TEST_F(ZuLoaderTest, AnswersQueriesOnManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 1000; ++n) EXPECT_EQ(query(IID_IWxMonitor), static_cast<IWxMonitor*>(plugin.get()));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace zuvia::test
