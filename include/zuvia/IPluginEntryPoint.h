#pragma once

#include <zuvia/IZUPlugin.h>

namespace zuvia {

// Life of a plugin. The address of a plugin object is the address of this part of it.
class IPluginEntryPoint : public virtual IZUPlugin {
 public:
  // Tells the object that it has been loaded.
  //
  // path: narrow text for the log and for the implementation, passed on as it is; may be null.
  // Of the plugin object: loads the newest usable implementation module, raising
  // kPluginLoadedEvent before and kPluginLoadedDoneEvent after a successful load, and passes the
  // notification on to the implementation. Failures are logged; IPluginLoader::isLoaded tells.
  // A repeated call only logs.
  // Lets pass: exceptions of a listener.
  virtual void onLoaded(const char* path) = 0;

  // Tells the object that it is about to be unloaded; nothing runs in it after the return.
  //
  // Of the plugin object: ends the updater, passes the notification on and frees the
  // implementation module. Registered listeners stay registered. onLoaded may follow again.
  //
  // It waits for a fetch and for an update task that are under way. Such a wait adds up from: at
  // most 60 s for the lock and 60 s for the transfer of a fetch; at most 60 s for the lock and
  // 300 s for the transfer of a download; at most 30 s for the lock of the version that is
  // published; and the time that hashing, unpacking and writing the package take. An update task
  // raises its kPluginUpgradeEvent while this call waits.
  //
  // Never call it from inside a listener: raised by the update task, it would wait for itself,
  // and raised by the implementation, it would free the module that is running.
  virtual void onUnload() = 0;
};

}  // namespace zuvia
