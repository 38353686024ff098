#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Candidates.h"
#include "support/ChildProcess.h"
#include "support/HandleCount.h"
#include "support/InstallTree.h"
#include "support/MemoryCount.h"
#include "support/WideText.h"

namespace zuvia::test {

// Thrown by operations of a host process that has ended meanwhile.
class HostEnded : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A process that hosts the plugin of an InstallTree as an application does, and that may be ended anywhere. Both
// configuration services and the packages of config.zuvia.example are reached at a TestServer's port; nothing else on
// any network is. It ends with the object at the latest. One thread at a time.
//
// Operations return when the host has done them and throw HostEnded when it ended before; a host that does not
// answer within the time throws std::runtime_error.
class HostProcess {
 public:
  // Starts it. The plugin is not loaded yet. port: 0 for a host that reaches no server.
  explicit HostProcess(const InstallTree& tree, unsigned short port = 0);

  // Has its plugin trust this root certificate (PEM) and no other, instead of those of the system, which take long to
  // read. Before the first load.
  void trustOnly(const std::string& rootPem);

  // Loads the plugin, if it is not, and has it load the newest implementation. Returns that one's version; "" when
  // there is none. milliseconds: how long it may take.
  std::string load(unsigned milliseconds = 30000);

  // Gives it the host information, which makes it clean up and ask for an update.
  void sendHostInformation(unsigned milliseconds = 60000);

  // Has it unload, which waits for a running update.
  void unload(unsigned milliseconds = 330000);

  // Waits for an event with this text ("NAME=DATA"), or a message that begins so; one that came before counts.
  // False: it did not come within that time, or the host ended.
  bool waitForEvent(const std::string& text, unsigned milliseconds = 30000);
  bool waitForMessage(const std::wstring& start, unsigned milliseconds = 30000);

  // Waits for its end, without telling it. Returns its exit status; nothing: it still runs.
  std::optional<unsigned long> waitForEnd(unsigned milliseconds = 30000);

  // Ends it at once, wherever it is.
  void terminate();

  // It returns from main, without unloading.
  void exit();

  // What it logged and raised so far, in its order, up to its very end.
  std::vector<WideText> messages();
  std::vector<std::string> events();

  // The named mutexes that its plugin "holds", and those that it "wants", by their names. Up to its very end.
  std::map<std::string, std::string> locks();

  // Forgets what it logged and raised so far: in a long life, waiting looks through all of it.
  void forget();

  // See CallCutter, for the plugin: counts from its loading on. Before the first load.
  void cutAt(const std::string& function, std::size_t number);
  std::map<std::string, std::size_t> calls();

  // What it has open, and what it holds in memory.
  HandleCount handles();
  MemoryCount memory();

  // Loads a library that stays for as long as the process.
  void keepLoaded(const std::wstring& library);

  // The candidates below the tree's root, as findCandidates() finds them in this process, which hosts nothing then.
  std::vector<Candidate> findCandidates();

  // The answer to one more command of host_main.cpp.
  std::string ask(const std::string& command, unsigned milliseconds = 30000);

  // Its halves, for hosts that are at work at the same time: sends the command, and waits for the answer.
  void begin(const std::string& command);
  std::string finish(unsigned milliseconds = 30000);

  // The thread that logs the first message that begins so from now on stays in the logger, with everything that it
  // holds, until resume(). One message in the life of a host.
  void stopAt(const std::wstring& start);
  void resume();

  ChildProcess& process() { return process_; }

 private:
  bool takeLine(unsigned milliseconds);  // false: none came
  void takeAll();
  void noteLock(const std::string& step, const std::string& name);

  ChildProcess process_;
  std::vector<WideText> messages_;
  std::vector<std::string> events_;
  std::vector<std::string> candidates_;
  std::map<std::string, std::string> locks_;
  std::string command_;  // the last one
  std::optional<std::string> answer_;
  const std::wstring root_;
};

// The name of the event that has a stopped host go on.
std::wstring nameOfResumeEvent(unsigned long processId);

}  // namespace zuvia::test
