#pragma once

#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Arrivals.h"
#include "Command.h"
#include "EventLog.h"
#include "Record.h"

namespace zuhost {

class Output;
class Recorder;

// Carries commands out on a plugin object, on the thread that calls, and tells the events.
//
// Its listeners are called on threads of the plugin for as long as the process lives: a session and
// its output must live as long. A listener must not unload the plugin, which would wait for itself;
// the ones here only tell.
class Session {
 public:
  // What a session works with. All of it outlives the session.
  struct Surroundings {
    Output& output;
    Arrivals& messages;  // what was logged; emptied when a command begins to act on the plugin
    Recorder* recorder;  // null when nothing is recorded
    std::filesystem::path pluginFile;
  };

  Session(zuvia::IPluginEntryPoint& plugin, const Surroundings& surroundings);
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Returns the answer. Throws BadCommand, and whatever the plugin lets pass. "quit" is only answered.
  Record execute(const Command& command);

  // The names of the events so far. Any thread.
  std::set<std::string> eventNames() const { return events_.names(); }

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
  Record expect(const Arguments& arguments);
  Record status(const Arguments& arguments);
  Record sleep(const Arguments& arguments);
  Record destroy(const Arguments& arguments);
  Record showHelp(const Arguments& arguments);
  Record quit(const Arguments& arguments);

  std::string expectResult(const std::string& pattern) const;
  void tell(const char* name, const char* data, uint64_t listener);

  zuvia::IPluginEntryPoint* plugin_;  // null once it was destroyed
  const Surroundings surroundings_;
  EventLog events_;
  Arrivals raised_;                    // events that no expect has taken
  std::optional<std::string> result_;  // of the last command that can have one
  std::filesystem::path appPath_;      // as it was sent last; empty: none was
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

}  // namespace zuhost
