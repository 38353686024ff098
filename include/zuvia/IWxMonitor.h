#pragma once

#include <cstdint>
#include <functional>

#include <zuvia/IZUPlugin.h>

namespace zuvia {

// Receives the events of a plugin: a name and its data, both narrow texts owned by the caller and
// valid during the call only.
using Listener = std::function<void(const char* name, const char* data)>;

// Commands to a plugin and events from it.
class IWxMonitor : public virtual IZUPlugin {
 public:
  // Two relays whose meaning is agreed between host and implementation. The plugin object passes
  // the three machine words on to the implementation as they are; without one, the first returns
  // false and the second does nothing. On Windows x64 any list of up to three integer or pointer
  // arguments arrives in the same registers.
  virtual bool monitorRelay1(void* first, void* second, void* third) = 0;
  virtual void monitorRelay2(void* first, void* second, void* third) = 0;

  // Sends a command.
  //
  // cmd:  the command word (Commands.h), compared exactly; null and "" are answered "0".
  // data: what the command takes; may be null where the command takes nothing.
  // Returns the answer, never null. The text is owned by the object and valid until the next
  // sendCommand or IPluginLoader::getVersion. Of the plugin object: a command that it does not
  // know is answered by the implementation, and by "" when there is none.
  virtual const char* sendCommand(const char* cmd, const char* data) = 0;

  // Registers a listener, of which a copy is kept. Returns its id, never 0; ids are not reused.
  // Any thread, also from inside a listener: one that is added during an event does not get it.
  //
  // A listener is called on whichever thread raises the event: the host's own, a thread of the
  // implementation, or the update task's; several at once. The listeners are called in the order
  // of their ids. What a listener throws reaches the one who raised the event, and the listeners
  // after it do not get that event; an empty function counts as one that throws.
  // A listener must not call IPluginEntryPoint::onUnload.
  virtual uint64_t addListener(const Listener& listener) = 0;

  // Removes a listener. Returns whether it was registered. Any thread, also from inside a
  // listener: one that is removed during an event may still get that event.
  virtual bool removeListener(uint64_t id) = 0;
};

}  // namespace zuvia
