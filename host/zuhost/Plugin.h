#pragma once

#include <zuvia/IPluginEntryPoint.h>

#include <filesystem>
#include <stdexcept>

namespace zuhost {

// The plugin could not be had. what() names the file and says why, in UTF-8, on one line.
class LoadFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Loads a plugin module with LoadLibraryW and asks its export for the plugin object, as a host
// does. The libraries that it needs are looked for beside this program first. The module stays
// loaded until the process ends. Throws LoadFailure.
zuvia::IPluginEntryPoint& loadPlugin(const std::filesystem::path& file);

// The plugin that lies beside this program.
std::filesystem::path defaultPlugin();

}  // namespace zuhost
