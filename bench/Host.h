#pragma once

#include <hxbase/LogControl.h>
#include <windows.h>
#include <zuvia/Exports.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <string>

#include "ModuleExports.h"
#include "support/InstallTree.h"

namespace zuvia::bench {

// For as long as it lives, the lines that reach the host's logger go nowhere.
class SilentLog {
 public:
  SilentLog();
  SilentLog(const SilentLog&) = delete;
  SilentLog& operator=(const SilentLog&) = delete;
  ~SilentLog();
};

// The level of the plugin's lines is disabled for as long as it lives.
class DisabledLevel {
 public:
  DisabledLevel();
  DisabledLevel(const DisabledLevel&) = delete;
  DisabledLevel& operator=(const DisabledLevel&) = delete;
  ~DisabledLevel();
};

// The benchmarks' implementation module, in a file.
std::wstring benchModule();

// The function of that name that a module exports. Throws std::runtime_error when there is none.
template <typename Function>
Function* findExport(HMODULE module, const char* name);
FARPROC findExportOrThrow(HMODULE module, const char* name);

// The plugin that ships, in a tree of its own, loaded with LoadLibrary as a host loads it. It stays loaded until the
// process ends; the tree is removed.
class InstalledPlugin {
 public:
  InstalledPlugin();
  InstalledPlugin(const InstalledPlugin&) = delete;
  InstalledPlugin& operator=(const InstalledPlugin&) = delete;
  ~InstalledPlugin();

  const test::InstallTree& tree() const { return tree_; }
  HMODULE module() const { return module_; }
  IPluginEntryPoint* create() const { return create_(); }

 private:
  test::InstallTree tree_;
  HMODULE module_;
  CreateFunction* create_;
};

// The plugin object, which has loaded what its tree holds, until it goes: then it unloads, and stays.
class LoadedPlugin {
 public:
  explicit LoadedPlugin(const InstalledPlugin& installed);
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;
  ~LoadedPlugin();

  IPluginEntryPoint& entry() { return *entry_; }
  IPluginLoader& loader() { return *loader_; }
  IWxMonitor& monitor() { return *monitor_; }

 private:
  IPluginEntryPoint* entry_;
  IPluginLoader* loader_;
  IWxMonitor* monitor_;
};

template <typename Function>
Function* findExport(HMODULE module, const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(findExportOrThrow(module, name)));
}

}  // namespace zuvia::bench
