#pragma once

#include <zuvia/Exports.h>
#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IWxMonitor.h>

#include <string>

#include "support/InstallTree.h"
#include "support/NetworkRedirect.h"

namespace zuvia::test {

// A plugin that can be destroyed, because its module is no other test's: loaded from a copy of the file in an install
// tree of its own, with 2.0.0.45 installed. Both configuration services are at a local port. One thread at a time.
class OwnPlugin {
 public:
  explicit OwnPlugin(unsigned short port);

  // The plugin object, also after it was destroyed.
  IPluginEntryPoint* object() const { return create_(); }

  // Where its operations are, before it is destroyed.
  IWxMonitor& monitor() const { return *static_cast<IWxMonitor*>(object()->queryInterface(IID_IWxMonitor)); }

  // Deletes it through this interface: one of the identifiers.
  void destroyThrough(const char* iid) const;

  // The command's data: the test service, the tree's application path.
  std::string hostInformation() const;

  std::wstring modulePath() const { return tree_.root() + L"\\2.0.0.45\\zuimpl.dll"; }
  bool implementationIsLoaded() const { return GetModuleHandleW(modulePath().c_str()) != nullptr; }

  HMODULE module() const { return module_; }
  const InstallTree& tree() const { return tree_; }

 private:
  InstallTree tree_;
  HMODULE module_;
  NetworkRedirect network_;
  CreateFunction* create_;
};

}  // namespace zuvia::test
