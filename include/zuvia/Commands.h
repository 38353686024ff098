#pragma once

namespace zuvia {

// The commands that the plugin answers itself. Every other one goes to the implementation.

// Answer: "1" when an implementation is loaded, else "2". Data is not looked at.
inline constexpr const char* kIsLoadedCommand = "isLoaded";

// Answer: what IPluginLoader::getVersion returns. Data is not looked at.
inline constexpr const char* kGetVersionCommand = "getVersion";

// Data: the host information, a JSON object with the keys "uid" (unsigned 64-bit number), "ver"
// (the host's version), "test_env" (boolean: ask the test service) and "app_path" (UTF-8, the
// host's application data directory). Absent or null keys count as 0, "", false and "".
// Accepted only while an implementation is loaded; the first accepted one after each load starts
// the updater, which waits for the clean-up lock for at most 30 s. The text is passed on to the
// implementation. Answer: "0", also when the text is refused; the log says why.
inline constexpr const char* kSetHostInfoCommand = "setHostInfo";

}  // namespace zuvia
