#pragma once

#include <gtest/gtest.h>

// Before windows.h, which would bring the older one.
#include <winsock2.h>

#include <windows.h>

#include <string>

#include "Journal.h"
#include "common/HostInfo.h"
#include "support/Files.h"
#include "support/InstallTree.h"
#include "support/LogCapture.h"

namespace zuvia::test {

// A host that has sent its information, with an application path of its own.
class ConfigTest : public testing::Test {
 protected:
  ConfigTest() {
    hostInfo().hostVersion = "9.8.7";
    hostInfo().appPathW = tree.appPath();
    hostInfo().testEnv = false;
    Journal::instance().clear();
  }

  ~ConfigTest() override { hostInfo() = {}; }

  static HMODULE self() { return GetModuleHandleW(nullptr); }
  std::wstring cachePath() const { return tree.appPath() + L"\\zuviaplugin\\cache\\bbs.cache"; }

  InstallTree tree;
  LogCapture log;
};

}  // namespace zuvia::test
