// Before windows.h.
#include <winsock2.h>
#include <ws2tcpip.h>

#include <atomic>
#include <utility>

#include "support/ImportHook.h"
#include "support/NetworkRedirect.h"

namespace zuvia::test {
namespace {

// The address by which an endpoint is known between its look-up and its connection: 127.77.0.index.
std::string stationAddress(std::size_t index) {
  return "127.77.0." + std::to_string(index);
}

constexpr u_long kFirstStation = 0x7F4D0000;

// libcurl knows this name by itself and looks it up nowhere.
bool isLocalName(const std::string& name) {
  return name == "localhost" || name == "127.0.0.1";
}

}  // namespace

struct NetworkRedirect::Private {
  using GetAddresses = decltype(getaddrinfo);
  using Connect = decltype(connect);

  Private(HMODULE module, std::vector<Endpoint> chosen)
      : endpoints(std::move(chosen)),
        lookUpHook(module, "getaddrinfo",
                   [this](auto* original, auto... arguments) { return lookUp(original, arguments...); }),
        connectHook(module, "connect", [this](auto* original, SOCKET socket, const sockaddr* address, int) {
          return open(original, socket, address);
        }) {}

  int lookUp(GetAddresses* original, const char* name, const char* service, const addrinfo* hints, addrinfo** found);
  int open(Connect* original, SOCKET socket, const sockaddr* address);
  const Endpoint* endpointOf(const sockaddr_in& address) const;

  const std::vector<Endpoint> endpoints;
  std::atomic<unsigned> refused = 0;
  ImportHook<GetAddresses> lookUpHook;
  ImportHook<Connect> connectHook;
};

NetworkRedirect::NetworkRedirect(HMODULE module, std::vector<Endpoint> endpoints)
    : m(std::make_unique<Private>(module, std::move(endpoints))) {}

NetworkRedirect::~NetworkRedirect() = default;

unsigned NetworkRedirect::refused() const {
  return m->refused;
}

int NetworkRedirect::Private::lookUp(GetAddresses* original, const char* name, const char* service,
                                     const addrinfo* hints, addrinfo** found) {
  const std::string wanted = name == nullptr ? "" : name;
  for (std::size_t index = 0; index < endpoints.size(); ++index) {
    if (endpoints[index].host == wanted) return original(stationAddress(index).c_str(), service, hints, found);
  }
  if (isLocalName(wanted)) return original(name, service, hints, found);
  ++refused;
  return EAI_NONAME;
}

int NetworkRedirect::Private::open(Connect* original, SOCKET socket, const sockaddr* address) {
  if (address->sa_family == AF_INET) {
    auto target = *reinterpret_cast<const sockaddr_in*>(address);
    if (const Endpoint* endpoint = endpointOf(target)) {
      target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      target.sin_port = htons(endpoint->servedPort);
    }
    if (target.sin_addr.s_addr == htonl(INADDR_LOOPBACK)) {
      return original(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target);
    }
  }
  // Clients try the other addresses of a name, such as ::1 for localhost, one after another.
  const bool otherLoopback = address->sa_family == AF_INET6 &&
                             IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(address)->sin6_addr);
  if (!otherLoopback) ++refused;
  WSASetLastError(WSAECONNREFUSED);
  return SOCKET_ERROR;
}

const Endpoint* NetworkRedirect::Private::endpointOf(const sockaddr_in& address) const {
  const u_long host = ntohl(address.sin_addr.s_addr);
  const unsigned short port = ntohs(address.sin_port);
  for (std::size_t index = 0; index < endpoints.size(); ++index) {
    const Endpoint& endpoint = endpoints[index];
    const bool station = host == kFirstStation + index;
    const bool local = host == INADDR_LOOPBACK && isLocalName(endpoint.host);
    if ((station || local) && port == endpoint.port) return &endpoint;
  }
  return nullptr;
}

}  // namespace zuvia::test
