#pragma once

namespace zuvia {

// The events that the plugin raises itself. Every event of the implementation reaches the
// listeners unchanged beside them.

// Loading begins. Data: empty. On the host's thread, inside onLoaded.
inline constexpr const char* kPluginLoadedEvent = "pluginLoadedEvent";

// An implementation was loaded and has not been told yet. Data: its version, four numbers.
// On the host's thread, inside onLoaded.
inline constexpr const char* kPluginLoadedDoneEvent = "pluginLoadedDoneEvent";

// A newer version was published; the next load after an unload uses it. Data: its version as
// the update entry names it. On the update task's thread.
inline constexpr const char* kPluginUpgradeEvent = "pluginUpgradeEvent";

}  // namespace zuvia
