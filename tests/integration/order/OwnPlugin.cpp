#include "integration/order/OwnPlugin.h"

#include <zuvia/IPluginLoader.h>

#include <string_view>

#include "support/Text.h"

namespace zuvia::test {

OwnPlugin::OwnPlugin(unsigned short port)
    : module_(LoadLibraryW(tree_.installPlugin().c_str())),
      network_(module_, {{"config.zuvia.example", 443, port}, {"localhost", 18443, port}}),
      create_(reinterpret_cast<CreateFunction*>(reinterpret_cast<void*>(GetProcAddress(module_, kCreateExport)))) {
  tree_.addVersion(L"2.0.0.45", moduleFile(L"2.0.0.45"));
}

void OwnPlugin::destroyThrough(const char* iid) const {
  void* const found = object()->queryInterface(iid);
  const std::string_view id = iid;
  if (id == IID_IPluginEntryPoint) delete static_cast<IPluginEntryPoint*>(found);
  if (id == IID_IPluginLoader) delete static_cast<IPluginLoader*>(found);
  if (id == IID_IWxMonitor) delete static_cast<IWxMonitor*>(found);
  if (id == IID_IZUPlugin) delete static_cast<IZUPlugin*>(found);
}

std::string OwnPlugin::hostInformation() const {
  std::string path;
  for (const char character : toUtf8(tree_.appPath())) {
    if (character == '\\') path += '\\';
    path += character;
  }
  return R"({"uid": 4711, "ver": "9.1.2", "test_env": true, "app_path": ")" + path + "\"}";
}

}  // namespace zuvia::test
