#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "../platform/PluginLocation.h"
#include "dllloader/ZuDllLoader.h"
#include "support/InstallTree.h"
#include "support/LogCapture.h"

namespace zuvia::test {

// Matches a line of ZuDllLoader with exactly this message, by all its fields.
// function: without the class.
testing::Matcher<const LogLine&> isLine(const std::string& function, const std::wstring& message);

// Whether a module is loaded in this process from exactly this file.
bool isModuleLoaded(const std::wstring& path);

// A loader whose plugin seems to lie in the root of an install tree. What is still loaded at the end makes the
// removal of the tree, and so the test, fail.
class DllLoaderTest : public testing::Test {
 protected:
  static HMODULE self() { return GetModuleHandleW(nullptr); }
  std::wstring root() const { return tree_.root(); }

  // Adds a module that the build made to a directory below the root. Returns its path as the scan gives it.
  std::wstring add(const std::wstring& directory, const std::wstring& module) const {
    return tree_.addVersion(directory, moduleFile(module)) + L"\\zuimpl.dll";
  }

  // The same for well-behaved modules, in directories of their versions' names.
  std::wstring addVersion(const std::wstring& version) const { return add(version, version); }

  // Loads and expects it to succeed; forgets the log lines of that.
  void load();

  InstallTree tree_;
  PluginLocation location_{tree_.pluginPath()};
  LogCapture log_;
  ZuDllLoader loader_;
  IPluginEntryPoint* object_ = nullptr;
};

}  // namespace zuvia::test
