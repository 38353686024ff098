#pragma once

// Before windows.h.
#include <winsock2.h>

#include <zuvia/IPluginEntryPoint.h>
#include <zuvia/IPluginLoader.h>
#include <zuvia/IWxMonitor.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "integration/order/Story.h"
#include "support/ImportHook.h"
#include "support/LogCapture.h"

namespace zuvia::test {

// A host that takes its steps and tells what it sees, in the words of Model. The plugin's connections are refused, so
// that a fetch fails at once. The implementation module stays in the process, because the record of its calls is read
// after it has been freed. One thread, which is the host's.
class Host {
 public:
  // plugin: its module. modulePath: the one implementation module, from tests/modules.
  Host(HMODULE plugin, IPluginEntryPoint& entry, LogCapture& log, const std::wstring& modulePath,
       const std::string& hostInformation);
  ~Host();

  // Registers listeners, and removes all that are registered.
  void invite(Audience audience);
  void dismissAudience();

  // Forgets the log, to begin another sequence.
  void beginAnew();

  // awaitsFetch: whether a fetch must end at Step::Wait. Returns the story of this step. Between any two
  // other lines, those of the log come before what the implementation was called with.
  Story take(Step step, bool awaitsFetch);

  // The same for anything else that the host does.
  Story tellOf(const std::function<void()>& action);

 private:
  using TestRecord = const char*();

  void act(Step step, bool awaitsFetch);
  void load();
  void wait(bool awaitsFetch);
  void expectWholeFetches();
  std::size_t countFetchLines(const std::wstring& start) const;
  std::string state();

  uint64_t add(const Listener& listener);
  Listener hearer(const std::string& who);
  Listener thrower(const std::string& at);
  void meddle(const std::string& name, const std::string& data);

  void tellLog();
  void tell(const std::string& line);
  void tellRecord();

  IPluginEntryPoint& entry_;
  IPluginLoader& loader_;
  IWxMonitor& monitor_;
  LogCapture& log_;
  const std::string hostInformation_;
  const HMODULE implementation_;
  TestRecord* const record_;

  Story story_;
  std::size_t toldLines_ = 0;
  std::size_t toldRecord_ = 0;
  std::size_t fetches_ = 0;  // that had ended at the last unload
  std::vector<uint64_t> listeners_;
  uint64_t added_ = 0;  // by the meddling one

  ImportHook<decltype(connect)> refuse_;
  ImportHook<decltype(FreeLibrary)> freed_;
};

}  // namespace zuvia::test
