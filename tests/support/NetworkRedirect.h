#pragma once

// A source that includes curl.h or winsock2.h as well does so before this.
#include <windows.h>

#include <memory>
#include <string>
#include <vector>

namespace zuvia::test {

// A server that a module believes to talk to, and the port on 127.0.0.1 that it really reaches.
struct Endpoint {
  std::string host;           // as in the URL; for the TLS handshake it stays the server's name
  unsigned short port;        // as in the URL
  unsigned short servedPort;  // a TestServer's
};

// Leads the connections of one module to local ports, for as long as it lives, and keeps the module off every
// network: any other name is unknown to it, any other address beyond 127.0.0.1 unreachable. The module must
// import connect and getaddrinfo, as one with libcurl does. One at a time for a module.
class NetworkRedirect {
 public:
  // Throws as ImportHook does.
  NetworkRedirect(HMODULE module, std::vector<Endpoint> endpoints);
  ~NetworkRedirect();

  // How many look-ups and connections were refused. Any thread.
  unsigned refused() const;

 private:
  struct Private;
  std::unique_ptr<Private> m;
};

}  // namespace zuvia::test
