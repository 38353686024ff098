#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "support/ImportHook.h"
#include "support/InstallTree.h"
#include "support/LogCapture.h"
#include "support/NetworkRedirect.h"
#include "support/TestServer.h"
#include "support/TrustedRoot.h"

namespace zuvia::test {

// A version that the service offers: its package and the update entry about it.
struct Offer {
  std::string version;
  std::string package;
  std::string pmd5;
  std::string dmd5;
  std::string url;

  std::string entry() const;   // the JSON text of the entry
  std::string answer() const;  // the configuration answer that holds it
};

// The module of that version among tests/modules, packed with a companion file in a directory.
Offer makeOffer(const std::string& version);

// The configuration answer with this text as the update entry.
std::string answerWith(const std::string& entry);

// A file of the sample implementation that the build made in this version.
std::wstring sampleFile(const std::wstring& version);

// What happened, as "NAME=DATA", and on which threads.
struct Event {
  std::string text;
  unsigned long threadId;
};

// The plugin that ships, in a process that hosts it as an application does: installed in a tree of its own,
// loaded with LoadLibrary, obtained from its one export. Both configuration services, and the packages of the
// production one, are served by `server`, whose root is trusted; nothing else on any network is reached.
class PluginTest : public testing::Test {
 protected:
  PluginTest();
  // Unloads, and takes the tree away.
  ~PluginTest() override;

  void addVersion(const std::wstring& version) { tree.addVersion(version, moduleFile(version)); }
  std::wstring modulePath(const std::wstring& version) const { return tree.root() + L'\\' + version + L"\\zuimpl.dll"; }
  std::wstring cachePath(const std::wstring& name) const { return tree.appPath() + L"\\zuviaplugin\\cache\\" + name; }

  IPluginEntryPoint& entry() { return *plugin; }
  IPluginLoader& loader() { return *static_cast<IPluginLoader*>(plugin->queryInterface(IID_IPluginLoader)); }
  IWxMonitor& monitor() { return *static_cast<IWxMonitor*>(plugin->queryInterface(IID_IWxMonitor)); }
  std::string send(const char* command, const std::string& data) {
    return monitor().sendCommand(command, data.c_str());
  }

  // Host information that asks the test service, with further members.
  std::string hostInformation(const std::string& members = {}) const;

  // Has the service offer this, to one configuration request and one download.
  void serve(const Offer& offer);
  void serveEntry(const std::string& entry);

  // 2.0.0.45 loaded, a listener registered, the log empty.
  void load();

  // Sends the host information and waits for the end of the fetch that follows.
  void exchange();

  // Waits for an event with this text. Returns the thread that raised it; 0: it did not come.
  unsigned long waitForEvent(const std::string& text, unsigned milliseconds = 20000);
  std::vector<std::string> events() const;

  // The messages of one thread, in their order.
  std::vector<WideText> messagesOf(unsigned long threadId) const;

  // Waits for a line that begins so, and returns the thread that logged it.
  unsigned long threadOf(const std::wstring& start) const;

  InstallTree tree;
  TestServer server;
  const TrustedRoot trusted{server.rootPem()};
  LogCapture log;
  const HMODULE module;
  NetworkRedirect network;
  CreateFunction* const create;
  IPluginEntryPoint* plugin = create();

 private:
  mutable std::mutex mutex_;
  std::condition_variable raised_;
  std::vector<Event> events_;
};

}  // namespace zuvia::test
