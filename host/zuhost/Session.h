#pragma once

#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <chrono>
#include <string>
#include <vector>

#include "Command.h"
#include "EventLog.h"
#include "Record.h"

namespace zuhost {

class Output;

// Carries commands out on a plugin object, on the thread that calls, and tells the events.
//
// Its listeners are called on threads of the plugin for as long as the process lives: a session and
// its output must live as long. A listener must not unload the plugin, which would wait for itself;
// the ones here only tell.
class Session {
 public:
  Session(zuvia::IPluginEntryPoint& plugin, Output& output);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Returns the answer. Throws BadCommand, and whatever the plugin lets pass. "quit" is only answered.
  Record execute(const Command& command);

 private:
  using Arguments = std::vector<std::string>;

  zuvia::IPluginEntryPoint& plugin() const;
  template <typename Interface>
  Interface& interfaceOf(const char* iid) const;
  zuvia::IPluginLoader& loader() const;
  zuvia::IWxMonitor& monitor() const;

  Record load(const Arguments& arguments);
  Record unload(const Arguments& arguments);
  Record send(const Arguments& arguments);
  Record listen(const Arguments& arguments);
  Record unlisten(const Arguments& arguments);
  Record query(const Arguments& arguments);
  Record loaded(const Arguments& arguments);
  Record version(const Arguments& arguments);
  Record relay1(const Arguments& arguments);
  Record relay2(const Arguments& arguments);
  Record wait(const Arguments& arguments);
  Record sleep(const Arguments& arguments);
  Record destroy(const Arguments& arguments);
  Record showHelp(const Arguments& arguments);
  Record quit(const Arguments& arguments);

  void tell(const char* name, const char* data, uint64_t listener);

  zuvia::IPluginEntryPoint* plugin_;  // null once it was destroyed
  Output& output_;
  EventLog events_;
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace zuhost
