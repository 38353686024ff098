// Calls an object through its tables by hand, the way a module that was built before does: by place,
// not by name. What check-layout lists of another compiler holds for this one too.
#include <array>
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>
#include <zuvia/Commands.h>
#include <zuvia/Events.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

namespace {

using namespace zuvia;

class Recorder : public IPluginEntryPoint, public IPluginLoader, public IWxMonitor {
 public:
  explicit Recorder(std::string& calls) : calls_(calls) {}
  ~Recorder() override { calls_ += "destroyed "; }

  void* queryInterface(const char* const& iid) override {
    calls_ += std::string("query:") + iid + " ";
    return this;
  }
  void onLoaded(const char* path) override { calls_ += std::string("loaded:") + path + " "; }
  void onUnload() override { calls_ += "unload "; }
  bool isLoaded() override {
    calls_ += "isLoaded ";
    return true;
  }
  void noOperation() override { calls_ += "nothing "; }
  const char* getVersion() override { return "1.2.3.4"; }
  bool monitorRelay1(void* first, void* second, void* third) override {
    calls_ += "relay1 ";
    words_ = {first, second, third};
    return true;
  }
  void monitorRelay2(void* first, void* second, void* third) override {
    calls_ += "relay2 ";
    words_ = {third, second, first};
  }
  const char* sendCommand(const char* cmd, const char* data) override {
    calls_ += std::string("command:") + cmd + "," + data + " ";
    return "answer";
  }
  uint64_t addListener(const Listener& listener) override {
    listener("event", "data");
    return 0x123456789abcdef0;
  }
  bool removeListener(uint64_t id) override { return id == 0x123456789abcdef0; }

  const std::array<void*, 3>& words() const { return words_; }

 private:
  std::string& calls_;
  std::array<void*, 3> words_{};
};

// Calls the operation at a place of the table to which the interface points.
template <class Result, class... Arguments>
Result callAt(void* interface, size_t place, Arguments... arguments) {
  using Operation = Result(void*, Arguments...);
  void** table = nullptr;
  std::memcpy(&table, interface, sizeof table);
  Operation* operation = nullptr;
  std::memcpy(&operation, table + place, sizeof operation);
  return operation(interface, arguments...);
}

// Two places of the root's destructor come first, then the root's query, then the interface's own.
constexpr size_t kDelete = 1;
constexpr size_t kQuery = 2;
constexpr size_t kFirst = 3;

class LayoutTest : public testing::Test {
 protected:
  std::string calls_;
  Recorder recorder_{calls_};
  void* entryPoint_ = static_cast<IPluginEntryPoint*>(&recorder_);
  void* loader_ = static_cast<IPluginLoader*>(&recorder_);
  void* monitor_ = static_cast<IWxMonitor*>(&recorder_);
};

TEST_F(LayoutTest, ObjectBeginsWithItsEntryPointThenLoaderThenMonitor) {
  EXPECT_EQ(entryPoint_, &recorder_);
  EXPECT_EQ(loader_, reinterpret_cast<char*>(&recorder_) + sizeof(void*));
  EXPECT_EQ(monitor_, reinterpret_cast<char*>(&recorder_) + 2 * sizeof(void*));
  EXPECT_EQ(static_cast<IZUPlugin*>(static_cast<IPluginEntryPoint*>(&recorder_)),
            static_cast<IZUPlugin*>(static_cast<IWxMonitor*>(&recorder_)));
}

TEST_F(LayoutTest, EntryPointOperationsAreInOrder) {
  callAt<void>(entryPoint_, kFirst, "where");
  callAt<void>(entryPoint_, kFirst + 1);
  EXPECT_EQ(calls_, "loaded:where unload ");
}

TEST_F(LayoutTest, LoaderOperationsAreInOrder) {
  EXPECT_TRUE(callAt<bool>(loader_, kFirst));
  callAt<void>(loader_, kFirst + 1);
  EXPECT_STREQ(callAt<const char*>(loader_, kFirst + 2), "1.2.3.4");
  EXPECT_EQ(calls_, "isLoaded nothing ");
}

TEST_F(LayoutTest, RelaysTakeThreeWordsInRegisters) {
  void* const one = &calls_;
  void* const two = &recorder_;
  void* const three = this;
  EXPECT_TRUE(callAt<bool>(monitor_, kFirst, one, two, three));
  EXPECT_EQ(recorder_.words(), (std::array<void*, 3>{one, two, three}));
  callAt<void>(monitor_, kFirst + 1, one, two, three);
  EXPECT_EQ(recorder_.words(), (std::array<void*, 3>{three, two, one}));
  EXPECT_EQ(calls_, "relay1 relay2 ");
}

TEST_F(LayoutTest, MonitorOperationsAreInOrder) {
  EXPECT_STREQ(callAt<const char*>(monitor_, kFirst + 2, "word", "data"), "answer");
  EXPECT_EQ(calls_, "command:word,data ");

  std::string heard;
  const Listener listener = [&](const char* name, const char* data) { heard = std::string(name) + "=" + data; };
  EXPECT_EQ(callAt<uint64_t>(monitor_, kFirst + 3, &listener), 0x123456789abcdef0U);
  EXPECT_EQ(heard, "event=data");

  EXPECT_TRUE(callAt<bool>(monitor_, kFirst + 4, uint64_t{0x123456789abcdef0}));
  EXPECT_FALSE(callAt<bool>(monitor_, kFirst + 4, uint64_t{0x9abcdef0}));
}

TEST_F(LayoutTest, QueryTakesTheAddressOfTheIdentifier) {
  void* root = static_cast<IZUPlugin*>(static_cast<IPluginEntryPoint*>(&recorder_));
  const char* const identifier = IID_IWxMonitor;
  EXPECT_EQ(callAt<void*>(root, kQuery, &identifier), &recorder_);
  EXPECT_EQ(calls_, "query:IID_IWxMonitor ");
}

TEST(LayoutOfDestructor, DeletesTheWholeObjectThroughTheRoot) {
  std::string calls;
  auto* recorder = new Recorder(calls);
  callAt<void>(static_cast<IZUPlugin*>(static_cast<IPluginLoader*>(recorder)), kDelete);
  EXPECT_EQ(calls, "destroyed ");
}

TEST(ContractTexts, AreTheAgreedOnes) {
  EXPECT_STREQ(IID_IPluginEntryPoint, "IID_IPluginEntryPoint");
  EXPECT_STREQ(IID_IPluginLoader, "IID_IPluginLoader");
  EXPECT_STREQ(IID_IWxMonitor, "IID_IWxMonitor");
  EXPECT_STREQ(IID_IZUPlugin, "IID_IZUPlugin");
  EXPECT_STREQ(kCreateExport, "create");
  EXPECT_STREQ(kCreateImplExport, "createImpl");
  EXPECT_STREQ(kIsLoadedCommand, "isLoaded");
  EXPECT_STREQ(kGetVersionCommand, "getVersion");
  EXPECT_STREQ(kSetHostInfoCommand, "setHostInfo");
  EXPECT_STREQ(kPluginLoadedEvent, "pluginLoadedEvent");
  EXPECT_STREQ(kPluginLoadedDoneEvent, "pluginLoadedDoneEvent");
  EXPECT_STREQ(kPluginUpgradeEvent, "pluginUpgradeEvent");
}

}  // namespace
