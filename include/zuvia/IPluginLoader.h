#pragma once

#include <zuvia/IZUPlugin.h>

namespace zuvia {

// What is loaded at present.
class IPluginLoader : public virtual IZUPlugin {
 public:
  // Returns whether an implementation is loaded. Of the plugin object: true from a successful
  // onLoaded until onUnload.
  virtual bool isLoaded() = 0;

  // Does nothing, in any state.
  virtual void noOperation() = 0;

  // Returns the version of the loaded implementation, four decimal numbers joined by ".", or ""
  // when none is loaded. Of the plugin object: the first version that was loaded in this process
  // stays the answer when a later load brings another one. Never null; the text is owned by the
  // object and valid until the next getVersion or IWxMonitor::sendCommand.
  virtual const char* getVersion() = 0;
};

}  // namespace zuvia
