#pragma once

#include <zuvia/IPluginEntryPoint.h>

namespace zuvia {

// The one export of zuviaplugin.dll. Takes nothing and returns the plugin object of the process,
// the same at every call, never null. The first call makes it: no file, network or thread is
// touched. Any thread. Throws std::bad_alloc when there is no memory; the next call tries again.
inline constexpr const char* kCreateExport = "create";
using CreateFunction = IPluginEntryPoint*();

// The one export that an implementation module needs. Takes nothing and returns the
// implementation object, or null to refuse, whereupon an older version is tried. The object
// belongs to its module, is never deleted by the plugin and must stay valid until
// IPluginEntryPoint::onUnload has returned. An exception counts as a refusal.
inline constexpr const char* kCreateImplExport = "createImpl";
using CreateImplFunction = IPluginEntryPoint*();

}  // namespace zuvia
