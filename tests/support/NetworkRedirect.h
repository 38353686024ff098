#pragma once

#include <winsock2.h>
// After winsock2.h.
#include <ws2tcpip.h>

#include <atomic>
#include <string>
#include <vector>

#include "support/ImportHook.h"

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
  NetworkRedirect(HMODULE module, std::vector<Endpoint> endpoints);

  // How many look-ups and connections were refused. Any thread.
  unsigned refused() const { return m_refused; }

 private:
  using GetAddresses = decltype(getaddrinfo);
  using Connect = decltype(connect);

  int lookUp(GetAddresses* original, const char* name, const char* service, const addrinfo* hints, addrinfo** found);
  int open(Connect* original, SOCKET socket, const sockaddr* address);
  const Endpoint* endpointOf(const sockaddr_in& address) const;

  const std::vector<Endpoint> m_endpoints;
  std::atomic<unsigned> m_refused = 0;
  ImportHook<GetAddresses> m_lookUp;
  ImportHook<Connect> m_connect;
};

}  // namespace zuvia::test
