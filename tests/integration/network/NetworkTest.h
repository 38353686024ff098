#pragma once

// Before windows.h.
#include <winsock2.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "support/Clock.h"
#include "support/SecondProcess.h"

namespace zuvia::test {

// What all transfers of a session hold. A test keeps it open, so that one that was not released stays held.
inline constexpr const wchar_t* kTransferLock = L"Local\\ZuviaPluginCurlGlobal";

// The answer of a service that offers nothing.
inline constexpr const char* kNothingOffered = R"({"configs":{"zu_plugin_update":"{}"}})";

// A server in the place of the right one, whose root is trusted unless it is said otherwise.
struct Peer {
  explicit Peer(const TestServerOptions& options = {}, bool isTrusted = true) : server(options) {
    if (isTrusted) trusted.emplace(server.rootPem());
  }

  TestServer server;
  std::optional<TrustedRoot> trusted;
};

// A port of this machine at which nobody listens.
unsigned short deadPort();

// The plugin that ships, through whole sessions of a host: loaded, told the host information, unloaded. The names of
// the files that it makes are known, and its time stands still while a session lasts.
class NetworkTest : public PluginTest {
 protected:
  NetworkTest();

  // Leads the requests to the test service to another port, until it ends.
  class Detour {
   public:
    Detour(HMODULE module, unsigned short port);

   private:
    ImportHook<decltype(connect)> hook_;
  };

  // A host loads the plugin and gives its information.
  void begin();

  // Waits for a line that begins so. Then the host unloads, which waits for what still runs, and half a minute
  // passes. Returns what was logged on the thread of that line; nothing, with the session left open, when it does not
  // come.
  std::vector<WideText> end(const std::wstring& start, unsigned milliseconds = 10000);

  // A session from its begin to its end.
  std::vector<WideText> live(const std::wstring& start);

  // The line about a configuration request with this body.
  std::wstring requestLine(int code, const std::string& error, const std::string& body) const;

  // The answers that the cache file holds, each of one exchange with the test service; none when it is empty.
  std::vector<std::string> cachedAnswers() const;

  // No download is left, and the lock of the transfers is free, as another process sees it.
  void expectNothingLeft();

  Offer offer = makeOffer("2.0.0.47");
  const std::wstring packagePath = cachePath(L"update\\89abcdef01234567.zip");

 private:
  Clock clock_{module};
  ImportHook<HRESULT(GUID*)> guid_;
  SecondProcess second_;
  const std::unique_ptr<void, decltype(&CloseHandle)> lock_{CreateMutexW(nullptr, FALSE, kTransferLock), &CloseHandle};
};

}  // namespace zuvia::test
