#pragma once

namespace zuvia {

// The identifiers that IZUPlugin::queryInterface understands. It compares their texts, so every
// module may have constants of its own.
inline constexpr const char* IID_IPluginEntryPoint = "IID_IPluginEntryPoint";
inline constexpr const char* IID_IPluginLoader = "IID_IPluginLoader";
inline constexpr const char* IID_IWxMonitor = "IID_IWxMonitor";
inline constexpr const char* IID_IZUPlugin = "IID_IZUPlugin";

}  // namespace zuvia
