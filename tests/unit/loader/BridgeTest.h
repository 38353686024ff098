#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "Events.h"
#include "loader/ZuLoader.h"
#include "support/ImportHook.h"
#include "support/InstallTree.h"
#include "support/LogCapture.h"

namespace zuvia::test {

// A plugin object that takes a fresh install tree for the place of its module. What it would fetch is not
// fetched: see `submitted`.
class BridgeTest : public testing::Test {
 protected:
  BridgeTest();
  ~BridgeTest() override;

  // The user's directory for temporary files, as the plugin sees it.
  std::wstring temporaryFiles() const { return tree.base() + L"\\temp\\"; }

  // The tree gets this module of tests/modules as its version directory; the module's name, when it is a version.
  void addVersion(const std::wstring& directoryName, const std::wstring& module) {
    tree.addVersion(directoryName, moduleFile(module));
  }
  void addVersion(const std::wstring& version) { addVersion(version, version); }

  // The path of the module in a version directory, and the line about its loading.
  std::wstring modulePath(const std::wstring& directoryName) const;
  std::wstring loadedLine(const std::wstring& version) const;

  // With 2.0.0.45 loaded, the log and the record of the module empty.
  void load();

  // What the loaded module was called with since load() or the last call of this.
  std::string takeRecord();

  // The lines so far, which are forgotten.
  std::vector<WideText> takeMessages();

  IPluginEntryPoint& entry() { return *plugin; }
  IPluginLoader& loader() { return *plugin; }
  IWxMonitor& monitor() { return *plugin; }

  InstallTree tree;
  LogCapture log;
  Events events;

  // The fetches that were asked for; none of them runs.
  std::atomic<int> submitted = 0;

  ImportHook<decltype(GetModuleFileNameW)> moduleFileName;
  ImportHook<decltype(GetTempPathW)> temporaryPath;
  ImportHook<decltype(SubmitThreadpoolWork)> submitWork;
  std::unique_ptr<ZuLoader> plugin = std::make_unique<ZuLoader>();
};

// Keeps a module in the process. Its run-time library, when that is linked into it, opens a thread and an event
// for each thread that uses it, and leaves them open when the module goes: with the module kept, what grows is
// the plugin's own.
class KeptModule {
 public:
  explicit KeptModule(const std::wstring& path) : module_(LoadLibraryW(path.c_str())) {}
  ~KeptModule() { FreeLibrary(module_); }
  KeptModule(const KeptModule&) = delete;
  KeptModule& operator=(const KeptModule&) = delete;

 private:
  HMODULE module_;
};

}  // namespace zuvia::test
