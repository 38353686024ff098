#pragma once

#include <windows.h>

#include <objbase.h>

#include <chrono>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/faults/Fault.h"
#include "integration/faults/MutexFault.h"
#include "support/Clock.h"
#include "support/Files.h"
#include "support/HandleCount.h"
#include "support/SecondProcess.h"

namespace zuvia::test {

// When no fetch is due yet: every client's last one counts as made then.
inline constexpr Clock::Ticks kBeginningOf1970 = std::chrono::seconds(11'644'473'600);

// Which calls of GetModuleHandleExW are the module's own, by an address within it; the libraries in it make others.
bool isByAddress(DWORD flags, const wchar_t* address, HMODULE* result);

// A line of the log: the function that logs it, by its qualified name, and the whole message.
struct Line {
  std::string function;
  WideText message;

  bool operator==(const Line&) const = default;
  friend void PrintTo(const Line& line, std::ostream* stream);
};
using Lines = std::vector<Line>;

// The plugin that ships, with calls of Windows that fail. The verbs of the rooms (load, remove, fetch, update) are in
// the fixtures that derive from this one.
class FaultsTest : public PluginTest {
 protected:
  FaultsTest();
  ~FaultsTest() override;

  // Puts a fault to work.
  std::unique_ptr<ArmedFault> arm(const Fault& fault) const { return fault(module); }

  // The lines of one thread, in their order. Level, class, source file and module name are checked, too.
  Lines linesOf(unsigned long threadId) const;
  Lines ownLines() const { return linesOf(GetCurrentThreadId()); }
  // The lines of all other threads.
  Lines otherLines() const;

  // The thread that logged the first line of this function; 0: none did.
  unsigned long threadOf(const std::string& function) const;

  // Nobody holds any of the plugin's mutexes, as another process sees it.
  void expectMutexesFree();

  std::wstring directoryOf(const std::wstring& version) const { return tree.root() + L'\\' + version; }
  // Where the configuration cache, the hit sequence and the downloads are.
  std::wstring cacheDirectory() const { return tree.appPath() + L"\\zuviaplugin\\cache"; }
  std::wstring downloadDirectory() const { return cacheDirectory() + L"\\update\\"; }

  // Another process, which looks at mutexes and holds them.
  SecondProcess second;

 private:
  Lines select(const std::function<bool(const LogLine&)>& isWanted) const;

  // A mutex that is closed is gone, whoever held it: what is held too long shows only while they stay open here.
  std::vector<HANDLE> kept_;
};

// Fails the test when more is open at its end than at its beginning, as HandleCheck does, but for what the tested calls
// cannot help: each module that is loaded and freed leaves a thread and an event behind, which are the run-time
// library's that is linked into it; and the system's pool adds threads, and these keep what they open, as it likes.
class LeakCheck {
 public:
  // helpless: how many threads, events and semaphores may come to stay.
  explicit LeakCheck(std::size_t helpless) : helpless_(helpless), before_(countHandles()) {}
  ~LeakCheck();

  LeakCheck(const LeakCheck&) = delete;
  LeakCheck& operator=(const LeakCheck&) = delete;

 private:
  std::string growth() const;

  const std::size_t helpless_;
  HandleCount before_;
};

// Polls a condition for at most ten seconds. Returns whether it came true.
bool waitUntil(const std::function<bool()>& condition);

}  // namespace zuvia::test
