#include <zuvia/ImplementationBase.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Uncopyable.h"

namespace zuvia {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Writes down what the base class asks of it; answers "echo", raises with "raise", throws with "throw".
class Example final : public ImplementationBase {
 public:
  Example() : ImplementationBase("1.2.3.4") {}

  using ImplementationBase::raiseEvent;

  std::vector<std::string> calls;
  bool throws = false;

 private:
  void onStart(const char* path) override { note(std::string("start ") + (path != nullptr ? path : "null")); }
  void onStop() override { note("stop"); }

  std::string onCommand(const std::string& command, const std::string& data) override {
    note(command + '(' + data + ')');
    if (command == "raise") raiseEvent("event", data);
    return command == "echo" ? data : "";
  }

  void note(const std::string& call) {
    calls.push_back(call + (isLoaded() ? ", loaded" : ""));
    if (throws) throw 1;
  }
};

// Overrides nothing.
class Silent final : public ImplementationBase {
 public:
  Silent() : ImplementationBase("0.0.0.1") {}
};

class ImplementationBaseTest : public testing::Test {
 protected:
  std::string send(const char* command, const char* data) { return monitor.sendCommand(command, data); }

  Listener noting() {
    return [this](const char* name, const char* data) { events.push_back(std::string(name) + '=' + data); };
  }

  Example example;
  IPluginEntryPoint& entry = example;
  IPluginLoader& loader = example;
  IWxMonitor& monitor = example;
  std::vector<std::string> events;
};

TEST_F(ImplementationBaseTest, AnswersThroughAllItsInterfaces) {
  IZUPlugin& root = entry;
  const std::string copied = IID_IWxMonitor;
  const char* const copy = copied.c_str();
  for (IZUPlugin* asked : {static_cast<IZUPlugin*>(&entry), static_cast<IZUPlugin*>(&loader), &root}) {
    EXPECT_EQ(asked->queryInterface(IID_IPluginEntryPoint), &entry);
    EXPECT_EQ(asked->queryInterface(IID_IPluginLoader), &loader);
    EXPECT_EQ(asked->queryInterface(copy), &monitor);
    EXPECT_EQ(asked->queryInterface(IID_IZUPlugin), &root);
  }
}

TEST_F(ImplementationBaseTest, KnowsNoOtherInterface) {
  for (const char* unknown : {"", "IID_IZUPlugin ", "iid_izuplugin", "IID", static_cast<const char*>(nullptr)})
    EXPECT_EQ(entry.queryInterface(unknown), nullptr);
}

TEST_F(ImplementationBaseTest, IsLoadedFromItsLoadToItsUnload) {
  EXPECT_FALSE(loader.isLoaded());
  entry.onLoaded("C:\\host");
  EXPECT_TRUE(loader.isLoaded());
  loader.noOperation();
  EXPECT_TRUE(loader.isLoaded());
  entry.onUnload();
  EXPECT_FALSE(loader.isLoaded());
  entry.onLoaded(nullptr);
  EXPECT_TRUE(loader.isLoaded());
  EXPECT_THAT(example.calls, ElementsAre("start C:\\host, loaded", "stop", "start null, loaded"));
}

TEST_F(ImplementationBaseTest, IsNotLoadedWhenItsStartFailed) {
  example.throws = true;
  EXPECT_NO_THROW(entry.onLoaded(nullptr));
  EXPECT_FALSE(loader.isLoaded());
  EXPECT_NO_THROW(entry.onUnload());
  EXPECT_THAT(example.calls, ElementsAre("start null, loaded", "stop"));
}

TEST_F(ImplementationBaseTest, TellsItsVersion) {
  EXPECT_STREQ(loader.getVersion(), "1.2.3.4");
}

TEST_F(ImplementationBaseTest, AnswersCommandsWithTextsThatItKeeps) {
  const std::string large(1000, 'x');
  const char* const answer = monitor.sendCommand("echo", large.c_str());
  EXPECT_EQ(answer, large);
  EXPECT_STREQ(loader.getVersion(), "1.2.3.4");
  EXPECT_EQ(answer, large);
  EXPECT_EQ(send("other", "data"), "");
  EXPECT_THAT(example.calls, ElementsAre("echo(" + large + ")", "other(data)"));
}

TEST_F(ImplementationBaseTest, TakesAbsentTextsForEmptyOnes) {
  EXPECT_EQ(send("echo", nullptr), "");
  EXPECT_EQ(send(nullptr, "data"), "");
  EXPECT_THAT(example.calls, ElementsAre("echo()", "(data)"));
}

TEST_F(ImplementationBaseTest, AnswersNothingWhenACommandThrows) {
  EXPECT_EQ(send("echo", "before"), "before");
  example.throws = true;
  EXPECT_EQ(send("echo", "data"), "");
}

TEST_F(ImplementationBaseTest, RaisesEventsToItsListeners) {
  const uint64_t id = monitor.addListener(noting());
  EXPECT_EQ(id, 1U);
  EXPECT_EQ(send("raise", "data"), "");
  example.raiseEvent("name");
  EXPECT_TRUE(monitor.removeListener(id));
  EXPECT_FALSE(monitor.removeListener(id));
  example.raiseEvent("late", "data");
  EXPECT_THAT(events, ElementsAre("event=data", "name="));
}

TEST_F(ImplementationBaseTest, HandsWhatAListenerThrowsToTheOneWhoRaised) {
  monitor.addListener([](const char*, const char*) { throw std::runtime_error("listener"); });
  EXPECT_THROW(example.raiseEvent("name"), std::runtime_error);
  EXPECT_EQ(send("raise", "data"), "");
}

TEST_F(ImplementationBaseTest, GivesNoNumberToAListenerThatItCannotKeep) {
  bool fails = false;
  const Listener listener = Uncopyable(fails);
  fails = true;
  EXPECT_EQ(monitor.addListener(listener), 0U);
  fails = false;
  EXPECT_EQ(monitor.addListener(listener), 1U);
}

TEST_F(ImplementationBaseTest, RaisesOnAnyThreadWhileTheHostUsesIt) {
  std::atomic<int> delivered = 0;
  entry.onLoaded(nullptr);
  std::thread raising([&] {
    while (loader.isLoaded()) example.raiseEvent("name");
  });
  for (int i = 0; i < 200; ++i) {
    const uint64_t id = monitor.addListener([&](const char*, const char*) { ++delivered; });
    send("echo", "data");
    monitor.removeListener(id);
  }
  const uint64_t last = monitor.addListener([&](const char*, const char*) { ++delivered; });
  for (const int before = delivered; delivered == before;) std::this_thread::yield();
  entry.onUnload();
  raising.join();
  EXPECT_TRUE(monitor.removeListener(last));
}

TEST(ImplementationBaseDefaults, DoNothing) {
  Silent silent;
  silent.onLoaded(nullptr);
  EXPECT_TRUE(silent.isLoaded());
  EXPECT_STREQ(silent.sendCommand("echo", "data"), "");
  int word = 0;
  EXPECT_FALSE(silent.monitorRelay1(&word, &word, &word));
  silent.monitorRelay2(&word, &word, &word);
  silent.onUnload();
  EXPECT_FALSE(silent.isLoaded());
}

TEST(ImplementationBaseDefaults, AreDestroyedWholeThroughTheRoot) {
  const auto owned = std::make_shared<int>();
  IZUPlugin* const root = static_cast<IPluginLoader*>(new Silent);
  static_cast<IWxMonitor*>(root->queryInterface(IID_IWxMonitor))->addListener([owned](const char*, const char*) {});
  EXPECT_EQ(owned.use_count(), 2);
  delete root;
  EXPECT_EQ(owned.use_count(), 1);
}

}  // namespace
}  // namespace zuvia
